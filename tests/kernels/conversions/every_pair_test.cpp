// Compares the conversions between all pairs of kinds with exact integer arithmetic, for every
// `Half` and for patterns of bits.
#include "pattern_values.h"

#include <cmath>

namespace Fenlet {
namespace {

TEST(Conversions, AgreeWithIntegerArithmeticOnPatternsOfBits) {
    forEveryPair(
        []<class To, class From>() { EXPECT_EQ(firstInexactness<To>(patternValues<From>()), ""); });
}

TEST(Conversions, KeepEveryBitBetweenEqualKinds) {
    const auto expectCopies = []<class T>(const std::vector<T>& values) {
        EXPECT_EQ(firstMismatch<T>(values, values, "the input itself"), "");
    };
    expectCopies(patternValues<std::int32_t>());
    expectCopies(patternValues<std::int64_t>());
    expectCopies(patternValues<Half>());
    expectCopies(patternValues<float>());
    expectCopies(patternValues<double>());
}

/// Every value of `Half` that is not a NaN, and every point halfway between two neighbours, up to
/// the point from which values round to infinity.
std::vector<double> halvesAndTies() {
    std::vector<double> values;
    const auto asDouble = [](std::uint64_t bits) {
        return valueOf<double>(
            Oracle::convertBits(CpuElementKind::Float64, CpuElementKind::Half, bits));
    };
    for (std::uint64_t bits = 0; bits < 0x7C00; ++bits) {
        const double lower = asDouble(bits);
        const double upper = bits == 0x7BFF ? 65536.0 : asDouble(bits + 1);
        values.insert(values.end(), {lower, (lower + upper) / 2});
    }
    return values;
}

/// `values` and their neighbours in `Float`, below and above, with both signs.
template <class Float>
std::vector<Float> withNeighbours(const std::vector<double>& values) {
    constexpr Float infinity = std::numeric_limits<Float>::infinity();
    std::vector<Float> all;
    for (const double value : values) {
        const auto narrow = static_cast<Float>(value);
        for (const Float near :
             {std::nextafter(narrow, -infinity), narrow, std::nextafter(narrow, infinity)})
            all.insert(all.end(), {near, -near});
    }
    return all;
}

TEST(ToHalf, DecidesEveryTieAndItsNeighbours) {
    EXPECT_EQ(firstInexactness<Half>(withNeighbours<double>(halvesAndTies())), "");
    EXPECT_EQ(firstInexactness<Half>(withNeighbours<float>(halvesAndTies())), "");
}

TEST(ToHalf, TakesEveryIntegerInReach) {
    std::vector<std::int32_t> integers;
    for (std::int32_t value = -131073; value <= 131073; ++value)
        integers.push_back(value);
    EXPECT_EQ(firstInexactness<Half>(integers), "");
    EXPECT_EQ(firstInexactness<Half>(std::vector<std::int64_t>(integers.begin(), integers.end())),
              "");
}

/// Expects every `Half` to be the same after conversion to `Wide` and back. A NaN becomes quiet.
template <class Wide>
void expectToComeBack() {
    const std::vector<Half> halves = everyHalf();
    std::vector<Half> expected;
    for (const Half value : halves) {
        const bool isNan = (value.bits & 0x7FFF) > 0x7C00;
        expected.push_back(Half{static_cast<std::uint16_t>(value.bits | (isNan ? 0x0200 : 0))});
    }
    const std::vector<Wide> wide = exactlyConverted<Wide>(halves);
    EXPECT_EQ((firstMismatch<Wide, Half>(halves, wide, "integer arithmetic")), "");
    EXPECT_EQ((firstMismatch<Half, Wide>(wide, expected, "the half it came from")), "");
}

TEST(EveryHalf, ComesBackFromFloat32AndFloat64) {
    expectToComeBack<float>();
    expectToComeBack<double>();
}

/// Expects every `Half` from 2 to the power 10 on to be the same after conversion to an integer and
/// back: all of them are whole numbers.
template <class Integer>
void expectWholeOnesToComeBack() {
    std::vector<Half> halves;
    for (const Half value : everyHalf()) {
        const int magnitude = value.bits & 0x7FFF;
        if (magnitude >= 0x6400 && magnitude < 0x7C00)
            halves.push_back(value);
    }
    const std::vector<Integer> integers = exactlyConverted<Integer>(halves);
    EXPECT_EQ((firstMismatch<Integer, Half>(halves, integers, "integer arithmetic")), "");
    EXPECT_EQ((firstMismatch<Half, Integer>(integers, halves, "the half it came from")), "");
}

TEST(EveryHalf, ComesBackFromIntegersWhereItIsWhole) {
    expectWholeOnesToComeBack<std::int32_t>();
    expectWholeOnesToComeBack<std::int64_t>();
}

} // namespace
} // namespace Fenlet
