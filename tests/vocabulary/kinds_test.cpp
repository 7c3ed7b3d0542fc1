// The list of kinds, and the tables that follow it.
#include "vocabulary/kinds.h"

#include <gtest/gtest.h>
#include <string>

namespace Fenlet {
namespace {

constexpr auto stray = static_cast<CpuElementKind>(100);

TEST(KindLists, HaveEveryKindWithStorage) {
    for (int number = -1; number < 1000; ++number) {
        const auto kind = static_cast<CpuElementKind>(number);
        EXPECT_EQ(AllKinds::positionOf(kind) >= 0, elementSize(kind) > 0) << number;
    }
}

TEST(KindLists, LeaveOutWhatTheyName) {
    EXPECT_EQ(NumericKinds::count, AllKinds::count - 1);
    EXPECT_EQ(KindsWithArithmetic::count, AllKinds::count - 2);
    EXPECT_EQ(NumericKinds::positionOf(CpuElementKind::Tribool), -1);
    EXPECT_EQ(NumericKinds::positionOf(CpuElementKind::Int32), 0);
    EXPECT_EQ(KindsWithArithmetic::positionOf(CpuElementKind::Int64), -1);
    EXPECT_EQ(KindsWithArithmetic::positionOf(CpuElementKind::Half), 1);
    using Both = AllKinds::Without<CpuElementKind::Float64, CpuElementKind::Tribool>;
    EXPECT_EQ(Both::count, AllKinds::count - 2);
    EXPECT_EQ(Both::positionOf(CpuElementKind::Float64), -1);
}

TEST(KindLists, KnowTheKindOfALane) {
    EXPECT_EQ(kindOf<Half>, CpuElementKind::Half);
    EXPECT_EQ(kindOf<Tribool>, CpuElementKind::Tribool);
    EXPECT_EQ(kindOf<std::int64_t>, CpuElementKind::Int64);
    EXPECT_EQ(kindOf<std::string>, CpuElementKind::Unsupported);
}

/// The numbers of three kinds as the digits of one number.
template <class First, class Second, class Third>
constexpr int digitsOf = static_cast<int>(kindOf<First>) * 100 +
                         static_cast<int>(kindOf<Second>) * 10 + static_cast<int>(kindOf<Third>);

TEST(KindTables, FindWhatWasMadeForTheKinds) {
    constexpr auto one =
        kindTable<int, AllKinds>([]<class Lane>() { return static_cast<int>(kindOf<Lane>); });
    constexpr auto pairs = pairTable<int, NumericKinds>(
        []<class First, class Second>() { return digitsOf<Tribool, First, Second> - 100; });
    constexpr auto triples = tripleTable<int, AllKinds>(
        []<class First, class Second, class Third>() { return digitsOf<First, Second, Third>; });
    EXPECT_EQ(one.find(CpuElementKind::Float32), 5);
    EXPECT_EQ(pairs.find(CpuElementKind::Int64, CpuElementKind::Half), 34);
    EXPECT_EQ(triples.find(CpuElementKind::Float64, CpuElementKind::Tribool, CpuElementKind::Int32),
              612);
}

TEST(KindTables, FindNothingForOtherNumbers) {
    constexpr auto one = kindTable<int, AllKinds>([]<class>() { return 1; });
    constexpr auto pairs = pairTable<int, NumericKinds>([]<class, class>() { return 1; });
    constexpr auto triples =
        tripleTable<int, NumericKinds>([]<class, class, class>() { return 1; });
    const CpuElementKind there = CpuElementKind::Half;
    for (const CpuElementKind none : {CpuElementKind::Unsupported, stray, CpuElementKind(-1)}) {
        EXPECT_EQ(one.find(none), 0);
        EXPECT_EQ(pairs.find(none, there) + pairs.find(there, none), 0);
        EXPECT_EQ(triples.find(none, there, there) + triples.find(there, none, there) +
                      triples.find(there, there, none),
                  0);
    }
    EXPECT_EQ(pairs.find(CpuElementKind::Tribool, there), 0);
}

} // namespace
} // namespace Fenlet
