// Single values with known results.
#include "naive_comparisons.h"

#include <limits>
#include <utility>

namespace Fenlet {
namespace {

using Bytes = std::vector<unsigned char>;

template <class Lane>
constexpr CpuElementKind kindOf = CpuElementKind::Float64;
template <>
constexpr CpuElementKind kindOf<std::int32_t> = CpuElementKind::Int32;
template <>
constexpr CpuElementKind kindOf<std::int64_t> = CpuElementKind::Int64;
template <>
constexpr CpuElementKind kindOf<std::uint16_t> = CpuElementKind::Half;
template <>
constexpr CpuElementKind kindOf<float> = CpuElementKind::Float32;

/// Compares two valid values, through the dispatcher. A Half is given as its bits.
template <class Left, class Right>
int compare(Predicate predicate, Left left, Right right) {
    unsigned char result = 99;
    EXPECT_TRUE(dispatchComparison(kindOf<Left>, kindOf<Right>,
                                   {&result, &left, nullptr, &right, nullptr, 1, 1, false,
                                    static_cast<std::uint32_t>(predicate)}));
    return result;
}

/// The results of the six predicates, in the order of their numbers, as digits.
template <class Left, class Right>
std::string answers(Left left, Right right) {
    std::string digits;
    for (const Predicate predicate : everyPredicate)
        digits += std::to_string(compare(predicate, left, right));
    return digits;
}

constexpr const char* less = "110001";
constexpr const char* equal = "010110";
constexpr const char* greater = "001101";
constexpr const char* unordered = "000001";

constexpr std::uint16_t halfInfinity = 0x7C00;
constexpr std::uint16_t halfNegativeInfinity = 0xFC00;
constexpr std::uint16_t half2048 = 0x6800;
constexpr std::uint16_t half2052 = 0x6802;
constexpr std::uint16_t half65504 = 0x7BFF;

TEST(Comparison, OrdersSmallNumbersOfAllKinds) {
    EXPECT_EQ(compare(Predicate::Less, 1, 2), 1);
    EXPECT_EQ(compare(Predicate::Greater, 1, 2), 0);
    EXPECT_EQ(compare(Predicate::LessEqual, 2, 2), 1);
    EXPECT_EQ(answers(1, 2), less);
    EXPECT_EQ(answers(2, 2), equal);
    EXPECT_EQ(answers(3, 2), greater);
    EXPECT_EQ(answers(1.5f, std::int64_t{2}), less);
    EXPECT_EQ(answers(std::uint16_t{0x4200}, 2.5), greater);
    EXPECT_EQ(answers(-1.0, std::uint16_t{0xBC00}), equal);
}

TEST(Comparison, TakesIntegersForSignedNumbers) {
    EXPECT_EQ(answers(-1, std::int64_t{-1}), equal);
    EXPECT_EQ(answers(-1, std::int64_t{0}), less);
    EXPECT_EQ(answers(std::int64_t{0}, -1), greater);
    EXPECT_EQ(answers(INT32_MIN, INT32_MAX), less);
    EXPECT_EQ(answers(INT64_MIN, INT64_MAX), less);
    EXPECT_EQ(answers(INT64_MAX, 5), greater);
    EXPECT_EQ(answers(0, std::int64_t{1} << 32), less);
}

TEST(Comparison, TakesBothZeroesForEqual) {
    EXPECT_EQ(answers(std::uint16_t{0}, std::uint16_t{0x8000}), equal);
    EXPECT_EQ(answers(0.0f, -0.0f), equal);
    EXPECT_EQ(answers(-0.0, 0.0), equal);
    EXPECT_EQ(answers(0, -0.0), equal);
    EXPECT_EQ(answers(std::uint16_t{0x8000}, 0.0f), equal);
}

TEST(Comparison, OrdersInfinitiesAndSubnormals) {
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(answers(-infinity, infinity), less);
    EXPECT_EQ(answers(infinity, halfInfinity), equal);
    EXPECT_EQ(answers(static_cast<double>(-infinity), halfNegativeInfinity), equal);
    EXPECT_EQ(answers(infinity, std::numeric_limits<float>::max()), greater);
    EXPECT_EQ(answers(0x1p-149f, 0.0f), greater);
    EXPECT_EQ(answers(-0x1p-1074, 0.0), less);
    EXPECT_EQ(answers(std::uint16_t{1}, std::uint16_t{0}), greater);
    EXPECT_EQ(answers(std::uint16_t{0x8001}, 0), less);
}

template <class Nan, class Other>
void expectUnordered(Nan nan, Other other) {
    EXPECT_EQ(answers(nan, nan), unordered);
    EXPECT_EQ(answers(nan, other), unordered);
    EXPECT_EQ(answers(other, nan), unordered);
}

TEST(Comparison, FindsANanDifferentFromEverythingAndNeverUnknown) {
    constexpr std::uint16_t halves[] = {0x7C01, 0x7E00, 0xFE12, 0x7FFF};
    for (const std::uint16_t nan : halves) {
        expectUnordered(nan, std::uint16_t{0x3C00});
        expectUnordered(nan, 1);
        expectUnordered(nan, std::int64_t{1});
        expectUnordered(nan, 1.0f);
        expectUnordered(nan, 1.0);
    }
    const float single = std::numeric_limits<float>::quiet_NaN();
    expectUnordered(single, INT32_MIN);
    expectUnordered(single, INT64_MIN);
    expectUnordered(single, half2048);
    expectUnordered(single, std::numeric_limits<double>::infinity());
    const double wide = std::numeric_limits<double>::quiet_NaN();
    expectUnordered(wide, INT32_MIN);
    expectUnordered(wide, INT64_MIN);
    expectUnordered(wide, std::numeric_limits<float>::quiet_NaN());
    expectUnordered(wide, wide);
}

// A signalling NaN must give the same result as a quiet NaN.
TEST(Comparison, FindsSignallingNansAsDifferentAsQuietOnes) {
    const std::uint32_t singles[] = {0x7F800001, 0x3F800000};
    const std::uint64_t wides[] = {0x7FF0000000000001, 0x3FF0000000000000};
    for (const Predicate predicate : everyPredicate)
        for (const auto& sides : {std::pair{0, 0}, std::pair{0, 1}, std::pair{1, 0}}) {
            unsigned char results[2] = {99, 99};
            const auto number = static_cast<std::uint32_t>(predicate);
            EXPECT_TRUE(dispatchComparison(CpuElementKind::Float32, CpuElementKind::Float32,
                                           {&results[0], &singles[sides.first], nullptr,
                                            &singles[sides.second], nullptr, 1, 1, false, number}));
            EXPECT_TRUE(dispatchComparison(CpuElementKind::Float64, CpuElementKind::Float64,
                                           {&results[1], &wides[sides.first], nullptr,
                                            &wides[sides.second], nullptr, 1, 1, false, number}));
            const int expected = predicate == Predicate::NotEqual ? 1 : 0;
            EXPECT_EQ(results[0], expected);
            EXPECT_EQ(results[1], expected);
        }
}

// Both values are compared in the higher kind, even if rounding to this kind makes different values
// equal.
TEST(Comparison, RoundsIntegersToTheFloatThatTheyMeet) {
    EXPECT_EQ(answers(16777217, 16777216.0f), equal);
    EXPECT_EQ(answers(16777216.0f, 16777217), equal);
    EXPECT_EQ(answers(16777217, 16777216.0), greater);
    EXPECT_EQ(answers(INT32_MAX, 2147483648.0f), equal);
    EXPECT_EQ(answers(INT32_MAX, 2147483648.0), less);
    EXPECT_EQ(answers(std::int64_t{9007199254740993}, 9007199254740992.0), equal);
    EXPECT_EQ(answers(9007199254740992.0, std::int64_t{9007199254740993}), equal);
    EXPECT_EQ(answers(INT64_MAX, 0x1p63), equal);
}

// Rounded through Float64, the integer would become 2^60.
TEST(Comparison, RoundsAnInt64ToFloat32Once) {
    const std::int64_t integer = (std::int64_t{1} << 60) + (std::int64_t{1} << 36) + 1;
    EXPECT_EQ(answers(integer, 0x1p60f + 0x1p37f), equal);
    EXPECT_EQ(answers(integer, 0x1p60f), greater);
    EXPECT_EQ(answers(0x1p60f + 0x1p37f, integer), equal);
}

TEST(Comparison, RoundsIntegersToTheHalfThatTheyMeet) {
    EXPECT_EQ(answers(2049, half2048), equal);
    EXPECT_EQ(answers(2051, half2052), equal);
    EXPECT_EQ(answers(half2052, std::int64_t{2051}), equal);
    EXPECT_EQ(answers(65505, half65504), equal);
    EXPECT_EQ(answers(65519, half65504), equal);
    EXPECT_EQ(answers(65520, halfInfinity), equal);
    EXPECT_EQ(answers(65520, half65504), greater);
    EXPECT_EQ(answers(-65520, halfNegativeInfinity), equal);
    EXPECT_EQ(answers(std::int64_t{1} << 62, halfInfinity), equal);
    EXPECT_EQ(answers(INT64_MIN, halfNegativeInfinity), equal);
}

TEST(Comparison, WidensAHalfThatMeetsAWiderFloat) {
    EXPECT_EQ(answers(half2048, 2049.0f), less);
    EXPECT_EQ(answers(half65504, 65505.0), less);
    EXPECT_EQ(answers(halfInfinity, 65520.0f), greater);
}

TEST(Comparison, WidensAFloat32ThatMeetsAFloat64) {
    EXPECT_EQ(answers(0.1f, 0.1), greater);
    EXPECT_EQ(answers(0.1, 0.1f), less);
    EXPECT_EQ(answers(0.5f, 0.5), equal);
    EXPECT_EQ(answers(std::numeric_limits<float>::infinity(), 1e300), greater);
}

/// Compares Float32 elements of three components with Float32 elements of three components, or with
/// scalars.
Bytes compareTriples(Predicate predicate, bool rightScalar, const std::vector<float>& left,
                     const Bytes& leftValidity, const std::vector<float>& right,
                     const Bytes& rightValidity) {
    Bytes result(left.size(), 99);
    EXPECT_TRUE(dispatchComparison(
        CpuElementKind::Float32, CpuElementKind::Float32,
        {result.data(), left.data(), leftValidity.empty() ? nullptr : leftValidity.data(),
         right.data(), rightValidity.empty() ? nullptr : rightValidity.data(),
         static_cast<std::int32_t>(left.size() / 3), 3, rightScalar,
         static_cast<std::uint32_t>(predicate)}));
    return result;
}

TEST(Comparison, GoesComponentByComponent) {
    EXPECT_EQ(compareTriples(Predicate::Less, false, {1, 5, 3}, {1}, {2, 4, 3}, {1}),
              (Bytes{1, 0, 0}));
}

TEST(Comparison, MeetsEachComponentWithItsElementsOwnScalar) {
    EXPECT_EQ(compareTriples(Predicate::Equal, true, {7, 8, 7, 9, 7, 9, 7, 8, 9}, {1, 1, 1},
                             {7, 9, 8}, {1, 1, 1}),
              (Bytes{1, 0, 1, 1, 0, 1, 0, 1, 0}));
}

TEST(Comparison, IsUnknownInEveryComponentWhereEitherSideIsInvalid) {
    const std::vector<float> left{1, 2, 3, 1, 2, 3, 1, 2, 3, 1, 2, 3};
    const std::vector<float> right{2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2};
    const Bytes expected{255, 255, 255, 1, 0, 0, 255, 255, 255, 255, 255, 255};
    for (const bool rightScalar : {false, true})
        EXPECT_EQ(
            compareTriples(Predicate::Less, rightScalar, left, {0, 1, 1, 0}, right, {1, 1, 0, 0}),
            expected);
}

TEST(Comparison, TakesAMissingValidityAreaForAllValid) {
    const std::vector<float> left{1, 2, 3, 1, 2, 3};
    const std::vector<float> right{2, 2, 2, 2, 2, 2};
    const auto run = [&](const Bytes& leftValidity, const Bytes& rightValidity) {
        return compareTriples(Predicate::Less, false, left, leftValidity, right, rightValidity);
    };
    EXPECT_EQ(run({}, {}), (Bytes{1, 0, 0, 1, 0, 0}));
    EXPECT_EQ(run({0, 1}, {}), (Bytes{255, 255, 255, 1, 0, 0}));
    EXPECT_EQ(run({}, {1, 0}), (Bytes{1, 0, 0, 255, 255, 255}));
}

TEST(Comparison, TakesAnyValidityByteButZeroForValid) {
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b) {
            const auto left = static_cast<unsigned char>(a);
            const auto right = static_cast<unsigned char>(b);
            const unsigned char expected = a == 0 || b == 0 ? 255 : 1;
            EXPECT_EQ(
                compareTriples(Predicate::LessEqual, false, {1, 2, 3}, {left}, {3, 3, 3}, {right}),
                Bytes(3, expected));
        }
}

TEST(Comparison, GivesTheSameByteForTheSamePairInEveryMultiplicity) {
    forEveryComparison([](ComparisonCall call) {
        Draw draw(1);
        call.count = 1;
        call.multiplicity = 64;
        call.hasLeftValidity = call.hasRightValidity = false;
        LaneMemory whole = layOutApart(call, 0, 1, draw);
        ASSERT_TRUE(dispatchComparison(call.kinds.left, call.kinds.right, call.argsIn(whole)));
        for (const int multiplicity : {1, 7, 8, 15, 16, 17}) {
            call.multiplicity = multiplicity;
            LaneMemory part = whole;
            std::memset(part.at(call.places.result), 99, 64);
            ASSERT_TRUE(dispatchComparison(call.kinds.left, call.kinds.right, call.argsIn(part)));
            EXPECT_EQ(std::memcmp(part.at(call.places.result), whole.at(call.places.result),
                                  static_cast<std::size_t>(multiplicity)),
                      0);
        }
    });
}

} // namespace
} // namespace Fenlet
