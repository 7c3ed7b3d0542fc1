// Single values with known results.
#include "naive_select.h"

#include <cmath>
#include <limits>

namespace Fenlet {
namespace {

constexpr CpuElementKind tribool = CpuElementKind::Tribool;
constexpr CpuElementKind int32 = CpuElementKind::Int32;
constexpr CpuElementKind int64 = CpuElementKind::Int64;
constexpr CpuElementKind half = CpuElementKind::Half;
constexpr CpuElementKind single = CpuElementKind::Float32;
constexpr CpuElementKind wide = CpuElementKind::Float64;

using Bytes = std::vector<unsigned char>;

template <class Lane>
struct Outcome {
    std::vector<Lane> lanes;
    Bytes validity;
    bool operator==(const Outcome& other) const {
        return lanes == other.lanes && validity == other.validity;
    }
};

template <class Lane>
std::ostream& operator<<(std::ostream& out, const Outcome<Lane>& outcome) {
    return out << testing::PrintToString(outcome.lanes) << " with validity "
               << testing::PrintToString(outcome.validity);
}

/// One arm: its lanes and its validity. Empty validity means that there is no validity area.
template <class Lane>
struct Arm {
    std::vector<Lane> lanes;
    Bytes validity;
};

/// Selects by `condition` into elements of `multiplicity` components, as many as the arms have. The
/// result's validity bytes are 0 before the call.
template <class Result, class True, class False>
Outcome<Result> select(const SelectKinds& kinds, std::int32_t multiplicity, const Bytes& condition,
                       const Arm<True>& whenTrue, const Arm<False>& whenFalse) {
    const std::size_t count = whenTrue.lanes.size() / static_cast<std::size_t>(multiplicity);
    const auto optional = [](const Bytes& bytes) { return bytes.empty() ? nullptr : bytes.data(); };
    Outcome<Result> outcome{std::vector<Result>(whenTrue.lanes.size(), Result(77)),
                            Bytes(count, 0)};
    EXPECT_TRUE(dispatchSelect(kinds.result, kinds.whenTrue, kinds.whenFalse,
                               {outcome.lanes.data(), outcome.validity.data(), condition.data(),
                                static_cast<std::int32_t>(condition.size() / count),
                                whenTrue.lanes.data(), optional(whenTrue.validity),
                                whenFalse.lanes.data(), optional(whenFalse.validity),
                                static_cast<std::int32_t>(count), multiplicity}));
    return outcome;
}

constexpr SelectKinds singles{single, single, single};

Outcome<float> selectOne(unsigned char condition, const Bytes& trueValidity,
                         const Bytes& falseValidity) {
    return select<float, float, float>(singles, 1, {condition}, {{1.0f}, trueValidity},
                                       {{2.0f}, falseValidity});
}

using Floats = Outcome<float>;

TEST(Select, TakesTheFirstArmForTrueWithItsValidityAlone) {
    EXPECT_EQ(selectOne(1, {1}, {1}), (Floats{{1}, {1}}));
    EXPECT_EQ(selectOne(1, {0}, {1}), (Floats{{1}, {0}}));
    EXPECT_EQ(selectOne(1, {1}, {0}), (Floats{{1}, {1}}));
}

TEST(Select, TakesTheSecondArmForFalseWithItsValidityAlone) {
    EXPECT_EQ(selectOne(0, {0}, {1}), (Floats{{2}, {1}}));
    EXPECT_EQ(selectOne(0, {1}, {0}), (Floats{{2}, {0}}));
}

TEST(Select, TakesTheSecondArmForAnyStrayByte) {
    for (int byte = 0; byte < 256; ++byte)
        if (byte != 1 && byte != 255) {
            EXPECT_EQ(selectOne(static_cast<unsigned char>(byte), {0}, {1}), (Floats{{2}, {1}}))
                << byte;
        }
}

TEST(Select, GivesAnInvalidZeroForUnknown) {
    const Floats unknown = selectOne(255, {1}, {1});
    EXPECT_EQ(unknown, (Floats{{0}, {0}}));
    EXPECT_FALSE(std::signbit(unknown.lanes[0]));
    EXPECT_EQ((select<std::int32_t, float, float>({int32, single, single}, 2, {255}, {{1, 2}, {}},
                                                  {{3, 4}, {}})),
              (Outcome<std::int32_t>{{0, 0}, {0}}));
}

TEST(Select, GivesUnknownForUnknownAmongTribools) {
    EXPECT_EQ((select<unsigned char, unsigned char, unsigned char>(
                  {tribool, tribool, tribool}, 1, {1, 0, 255, 2}, {{1, 1, 1, 1}, {1, 1, 1, 1}},
                  {{0, 0, 0, 0}, {1, 1, 1, 1}})),
              (Outcome<unsigned char>{{1, 0, 255, 0}, {1, 1, 0, 1}}));
}

TEST(Select, CopiesStrayTriboolBytesAsTheyStand) {
    EXPECT_EQ((select<unsigned char, unsigned char, unsigned char>(
                  {tribool, tribool, tribool}, 1, {1, 0, 1, 0}, {{2, 2, 255, 2}, {}},
                  {{77, 254, 3, 0}, {}})),
              (Outcome<unsigned char>{{2, 254, 255, 0}, {1, 1, 1, 1}}));
}

TEST(Select, CountsAnyByteButZeroAsValidAndWritesOne) {
    for (const unsigned char byte : Bytes{1, 2, 128, 255}) {
        EXPECT_EQ(selectOne(1, {byte}, {0}), (Floats{{1}, {1}}));
        EXPECT_EQ(selectOne(0, {0}, {byte}), (Floats{{2}, {1}}));
    }
}

TEST(Select, CountsAnAbsentValidityAsValidInEitherArm) {
    EXPECT_EQ(selectOne(1, {}, {0}), (Floats{{1}, {1}}));
    EXPECT_EQ(selectOne(0, {}, {0}), (Floats{{2}, {0}}));
    EXPECT_EQ(selectOne(0, {0}, {}), (Floats{{2}, {1}}));
    EXPECT_EQ(selectOne(1, {0}, {}), (Floats{{1}, {0}}));
    EXPECT_EQ(selectOne(255, {}, {}), (Floats{{0}, {0}}));
}

TEST(Select, TakesComponentsFromBothArmsWhereEachHasACondition) {
    EXPECT_EQ(
        (select<float, float, float>(singles, 3, {1, 0, 255}, {{1, 2, 3}, {1}}, {{4, 5, 6}, {1}})),
        (Floats{{1, 5, 0}, {0}}));
    EXPECT_EQ(
        (select<float, float, float>(singles, 3, {1, 0, 1}, {{1, 2, 3}, {1}}, {{4, 5, 6}, {1}})),
        (Floats{{1, 5, 3}, {1}}));
}

TEST(Select, IsValidOnlyWhereEveryArmThatItDrewFromIs) {
    EXPECT_EQ(
        (select<float, float, float>(singles, 3, {1, 0, 1}, {{1, 2, 3}, {1}}, {{4, 5, 6}, {0}})),
        (Floats{{1, 5, 3}, {0}}));
    EXPECT_EQ(
        (select<float, float, float>(singles, 3, {1, 0, 1}, {{1, 2, 3}, {0}}, {{4, 5, 6}, {1}})),
        (Floats{{1, 5, 3}, {0}}));
    EXPECT_EQ(
        (select<float, float, float>(singles, 3, {1, 1, 1}, {{1, 2, 3}, {1}}, {{4, 5, 6}, {0}})),
        (Floats{{1, 2, 3}, {1}}));
    EXPECT_EQ(
        (select<float, float, float>(singles, 3, {0, 2, 0}, {{1, 2, 3}, {0}}, {{4, 5, 6}, {3}})),
        (Floats{{4, 5, 6}, {1}}));
}

TEST(Select, TakesAllComponentsFromOneArmForOneCondition) {
    EXPECT_EQ((select<float, float, float>(singles, 3, {1, 0}, {{1, 2, 3, 4, 5, 6}, {1, 1}},
                                           {{7, 8, 9, 10, 11, 12}, {1, 1}})),
              (Floats{{1, 2, 3, 10, 11, 12}, {1, 1}}));
}

TEST(Select, LeavesNoTraceOfTheArmThatIsNotTaken) {
    EXPECT_EQ((select<std::int32_t, float, std::int64_t>(
                  {int32, single, int64}, 1, {0, 1},
                  {{std::numeric_limits<float>::quiet_NaN(), 2.9f}, {}}, {{5000000000, -1}, {}})),
              (Outcome<std::int32_t>{{705032704, 2}, {1, 1}}));
}

/// Converts one value, taken from either arm. The other arm has another kind.
template <class Result, class Lane>
Result converted(CpuElementKind result, CpuElementKind kind, Lane value) {
    const auto first = select<Result, Lane, std::int64_t>({result, kind, int64}, 1, {1},
                                                          {{value}, {}}, {{-1}, {}});
    const auto second =
        select<Result, double, Lane>({result, wide, kind}, 1, {0}, {{-1}, {}}, {{value}, {}});
    EXPECT_EQ(first, second) << cpuElementKindName(kind);
    return first.lanes[0];
}

TEST(Select, ConvertsEachArmStraightToTheResultsKind) {
    EXPECT_EQ(converted<std::int32_t>(int32, single, 2.9f), 2);
    EXPECT_EQ(converted<std::int32_t>(int32, int64, std::int64_t{5000000000}), 705032704);
    EXPECT_EQ(converted<std::int32_t>(int32, wide, 3e9), INT32_MIN);
    EXPECT_EQ(converted<std::int32_t>(int32, int64, std::int64_t{3000000000}), -1294967296);
    EXPECT_EQ(
        converted<float>(single, int64, (std::int64_t{1} << 60) + (std::int64_t{1} << 36) + 1),
        0x1p60f + 0x1p37f);
    EXPECT_EQ(converted<std::uint16_t>(half, int32, std::int32_t{65520}), 0x7C00);
    EXPECT_EQ(converted<std::uint16_t>(half, int32, std::int32_t{2049}), 0x6800);
    // The arms are not converted to a common type: an integer keeps its value although the other
    // arm is a float.
    EXPECT_EQ(converted<std::int64_t>(int64, int32, std::int32_t{16777217}), 16777217);
    EXPECT_EQ((select<std::int64_t, std::int32_t, float>({int64, int32, single}, 1, {1, 0},
                                                         {{16777217, 0}, {}}, {{0, 0.5f}, {}})),
              (Outcome<std::int64_t>{{16777217, 0}, {1, 1}}));
}

TEST(Select, KeepsTheBitsOfSignallingNansInEqualKinds) {
    const SelectKinds bits{single, single, single};
    EXPECT_EQ((select<std::uint32_t, std::uint32_t, std::uint32_t>(
                  bits, 1, {1, 0}, {{0x7F800001, 0}, {}}, {{0, 0xFF812345}, {}})),
              (Outcome<std::uint32_t>{{0x7F800001, 0xFF812345}, {1, 1}}));
    EXPECT_EQ((select<std::uint16_t, std::uint16_t, float>({half, half, single}, 1, {1, 0},
                                                           {{0x7C01, 0}, {}}, {{0, -0.0f}, {}})),
              (Outcome<std::uint16_t>{{0x7C01, 0x8000}, {1, 1}}));
}

} // namespace
} // namespace Fenlet
