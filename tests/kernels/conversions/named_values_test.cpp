// The values at which conversions usually go wrong, by name.
#include "conversion_checks.h"

#include <cmath>
#include <limits>

namespace Fenlet {
namespace {

constexpr std::int32_t noInt32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t noInt64 = std::numeric_limits<std::int64_t>::min();
constexpr float infinity32 = std::numeric_limits<float>::infinity();
constexpr double infinity64 = std::numeric_limits<double>::infinity();

/// The `Half` of a value that has one exactly.
constexpr Half half(double exactValue) {
    return valueOf<Half>(
        Oracle::convertBits(CpuElementKind::Half, CpuElementKind::Float64, bitsOf(exactValue)));
}

/// Whether `from` becomes `to` as a single value, in a run, and in exact integer arithmetic.
template <class From, class To>
testing::AssertionResult converts(From from, To to) {
    const std::vector<From> in(19, from);
    const std::string fault = firstMismatch(in, std::vector<To>(19, to), "expectation");
    const std::string doubt = firstInexactness<To>(in);
    if (fault.empty() && doubt.empty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << fault << ' ' << doubt;
}

std::int32_t i32(std::int32_t value) {
    return value;
}

std::int64_t i64(std::int64_t value) {
    return value;
}

TEST(Int32ToFloat, RoundsToFloat32AndIsExactInFloat64) {
    EXPECT_TRUE(converts(i32(16777217), 16777216.0f));
    EXPECT_TRUE(converts(i32(16777219), 16777220.0f));
    EXPECT_TRUE(converts(i32(-16777217), -16777216.0f));
    EXPECT_TRUE(converts(i32(2147483647), 2147483648.0f));
    EXPECT_TRUE(converts(noInt32, -2147483648.0f));
    EXPECT_TRUE(converts(i32(16777217), 16777217.0));
    EXPECT_TRUE(converts(i32(2147483647), 2147483647.0));
    EXPECT_TRUE(converts(noInt32, -2147483648.0));
}

TEST(Int64ToFloat, RoundsOnceAndNotThroughFloat64) {
    EXPECT_TRUE(converts(i64(1152921573326323713), valueOf<float>(0x5D800001)));
    EXPECT_TRUE(converts(i64(-1152921573326323713), valueOf<float>(0xDD800001)));
    EXPECT_TRUE(converts(i64(1152921573326323712), valueOf<float>(0x5D800000)));
    EXPECT_TRUE(converts(i64(9007199254740993), 9007199254740992.0));
    EXPECT_TRUE(converts(i64(9007199254740995), 9007199254740996.0));
    EXPECT_TRUE(converts(i64(std::numeric_limits<std::int64_t>::max()), 0x1p63));
    EXPECT_TRUE(converts(i64(std::numeric_limits<std::int64_t>::max()), 0x1p63f));
    EXPECT_TRUE(converts(noInt64, -0x1p63));
    EXPECT_TRUE(converts(noInt64, -0x1p63f));
}

TEST(IntegerToInteger, SignExtendsAndKeepsTheLowBits) {
    EXPECT_TRUE(converts(i32(-1), i64(-1)));
    EXPECT_TRUE(converts(noInt32, i64(-2147483648)));
    EXPECT_TRUE(converts(i32(2147483647), i64(2147483647)));
    EXPECT_TRUE(converts(i64(0x100000000), i32(0)));
    EXPECT_TRUE(converts(i64(0x1FFFFFFFF), i32(-1)));
    EXPECT_TRUE(converts(i64(0x80000000), noInt32));
    EXPECT_TRUE(converts(i64(-2147483649), i32(2147483647)));
}

TEST(IntegerToHalf, RoundsTiesToEven) {
    EXPECT_TRUE(converts(i32(2048), half(2048)));
    EXPECT_TRUE(converts(i32(2049), half(2048)));
    EXPECT_TRUE(converts(i32(2051), half(2052)));
    EXPECT_TRUE(converts(i32(-2051), half(-2052)));
    EXPECT_TRUE(converts(i64(2049), half(2048)));
    EXPECT_TRUE(converts(i64(2051), half(2052)));
}

TEST(IntegerToHalf, BecomesInfinityFrom65520On) {
    EXPECT_TRUE(converts(i32(65519), half(65504)));
    EXPECT_TRUE(converts(i32(65520), half(infinity64)));
    EXPECT_TRUE(converts(i32(70000), half(infinity64)));
    EXPECT_TRUE(converts(i32(-65519), half(-65504)));
    EXPECT_TRUE(converts(i32(-65520), half(-infinity64)));
    EXPECT_TRUE(converts(i32(-70000), half(-infinity64)));
    EXPECT_TRUE(converts(noInt32, half(-infinity64)));
    EXPECT_TRUE(converts(i64(65519), half(65504)));
    EXPECT_TRUE(converts(i64(65520), half(infinity64)));
    EXPECT_TRUE(converts(i64(0x100000000), half(infinity64)));
    EXPECT_TRUE(converts(i64(-0x100000000), half(-infinity64)));
    EXPECT_TRUE(converts(noInt64, half(-infinity64)));
}

TEST(FloatToInteger, TruncatesTowardZero) {
    EXPECT_TRUE(converts(1.9f, i32(1)));
    EXPECT_TRUE(converts(-1.9f, i32(-1)));
    EXPECT_TRUE(converts(-0.5f, i32(0)));
    EXPECT_TRUE(converts(-0.99f, i32(0)));
    EXPECT_TRUE(converts(-0.0f, i32(0)));
    EXPECT_TRUE(converts(1.9, i64(1)));
    EXPECT_TRUE(converts(-1.9, i64(-1)));
    EXPECT_TRUE(converts(-0.5, i64(0)));
    EXPECT_TRUE(converts(half(-1.5), i32(-1)));
    EXPECT_TRUE(converts(half(65504), i32(65504)));
    EXPECT_TRUE(converts(half(-65504), i64(-65504)));
}

TEST(FloatToInteger, GivesTheMostNegativeOneForWhatDoesNotFit) {
    EXPECT_TRUE(converts(3e9f, noInt32));
    EXPECT_TRUE(converts(-3e9f, noInt32));
    EXPECT_TRUE(converts(3e9, noInt32));
    EXPECT_TRUE(converts(-3e9, noInt32));
    EXPECT_TRUE(converts(3e10, noInt32));
    EXPECT_TRUE(converts(1e19f, noInt64));
    EXPECT_TRUE(converts(-1e19, noInt64));
    EXPECT_TRUE(converts(infinity32, noInt32));
    EXPECT_TRUE(converts(infinity64, noInt64));
    EXPECT_TRUE(converts(-infinity64, noInt32));
    EXPECT_TRUE(converts(std::numeric_limits<float>::quiet_NaN(), noInt32));
    EXPECT_TRUE(converts(std::numeric_limits<double>::quiet_NaN(), noInt64));
    EXPECT_TRUE(converts(valueOf<float>(0x7F800001), noInt64));
    EXPECT_TRUE(converts(half(infinity64), noInt32));
    EXPECT_TRUE(converts(half(infinity64), noInt64));
    EXPECT_TRUE(converts(half(-infinity64), noInt32));
    EXPECT_TRUE(converts(Half{0x7E00}, noInt32));
    EXPECT_TRUE(converts(Half{0x7E00}, noInt64));
    EXPECT_TRUE(converts(Half{0xFC01}, noInt32));
    EXPECT_TRUE(converts(Half{0xFC01}, noInt64));
}

TEST(FloatToInteger, ReachesTheLastValueThatFits) {
    EXPECT_TRUE(converts(2147483647.9, i32(2147483647)));
    EXPECT_TRUE(converts(std::nextafter(2147483648.0, 0.0), i32(2147483647)));
    EXPECT_TRUE(converts(2147483648.0, noInt32));
    EXPECT_TRUE(converts(-2147483648.9, noInt32));
    EXPECT_TRUE(converts(-2147483647.9, i32(-2147483647)));
    EXPECT_TRUE(converts(-2147483649.0, noInt32));
    EXPECT_TRUE(converts(2147483520.0f, i32(2147483520)));
    EXPECT_TRUE(converts(2147483648.0f, noInt32));
    EXPECT_TRUE(converts(-2147483520.0f, i32(-2147483520)));
    EXPECT_TRUE(converts(9223371487098961920.0f, i64(9223371487098961920)));
    EXPECT_TRUE(converts(0x1p63f, noInt64));
    EXPECT_TRUE(converts(9223372036854774784.0, i64(9223372036854774784)));
    EXPECT_TRUE(converts(0x1p63, noInt64));
    EXPECT_TRUE(converts(-0x1p63, noInt64));
    EXPECT_TRUE(converts(-9223372036854774784.0, i64(-9223372036854774784)));
}

TEST(Float64ToFloat32, RoundsTiesToEvenAndOverflowsToInfinity) {
    EXPECT_TRUE(converts(1e39, infinity32));
    EXPECT_TRUE(converts(-1e39, -infinity32));
    EXPECT_TRUE(converts(1 + 0x1p-24, 1.0f));
    EXPECT_TRUE(converts(1 + 0x3p-24, 1 + 0x1p-22f));
    EXPECT_TRUE(converts(1 + 0x1p-24 + 0x1p-52, 1 + 0x1p-23f));
    EXPECT_TRUE(converts(0x1p-150, 0.0f));
    EXPECT_TRUE(converts(-0x1p-150, -0.0f));
    EXPECT_TRUE(converts(0x1.0000000000001p-150, 0x1p-149f));
    EXPECT_TRUE(converts(0x1.FFFFFEFFFFFFFp127, std::numeric_limits<float>::max()));
    EXPECT_TRUE(converts(0x1.FFFFFFp127, infinity32));
}

TEST(Float32ToHalf, RoundsTiesToEven) {
    EXPECT_TRUE(converts(1 + 0x1p-11f, Half{0x3C00}));
    EXPECT_TRUE(converts(1 + 0x3p-11f, Half{0x3C02}));
    EXPECT_TRUE(converts(1 + 0x1p-11f + 0x1p-23f, Half{0x3C01}));
    EXPECT_TRUE(converts(-1 - 0x3p-11f, Half{0xBC02}));
    EXPECT_TRUE(converts(65519.0f, half(65504)));
    EXPECT_TRUE(converts(65520.0f, Half{0x7C00}));
    EXPECT_TRUE(converts(std::nextafter(65520.0f, 0.0f), half(65504)));
    EXPECT_TRUE(converts(-65520.0f, Half{0xFC00}));
    EXPECT_TRUE(converts(infinity32, Half{0x7C00}));
}

TEST(Float32ToHalf, UnderflowsGraduallyDownToZero) {
    EXPECT_TRUE(converts(1e-7f, Half{0x0002}));
    EXPECT_TRUE(converts(1e-8f, Half{0x0000}));
    EXPECT_TRUE(converts(0x1p-14f, Half{0x0400}));
    EXPECT_TRUE(converts(std::nextafter(0x1p-14f, 0.0f), Half{0x0400}));
    EXPECT_TRUE(converts(0x1.FF8p-15f, Half{0x03FF}));
    EXPECT_TRUE(converts(2.9802322387695312e-08f, Half{0x0000}));
    EXPECT_TRUE(converts(-2.9802322387695312e-08f, Half{0x8000}));
    EXPECT_TRUE(converts(std::nextafter(2.9802322387695312e-08f, 1.0f), Half{0x0001}));
    EXPECT_TRUE(converts(0x3p-25f, Half{0x0002}));
    EXPECT_TRUE(converts(-0.0f, Half{0x8000}));
    EXPECT_TRUE(converts(std::numeric_limits<float>::denorm_min(), Half{0x0000}));
}

TEST(Float64ToHalf, RoundsOnceAndNotThroughFloat32) {
    EXPECT_TRUE(converts(1 + 0x1p-11 + 0x1p-30, Half{0x3C01}));
    EXPECT_TRUE(converts(-1 - 0x1p-11 - 0x1p-30, Half{0xBC01}));
    EXPECT_TRUE(converts(1 + 0x3p-11 - 0x1p-52, Half{0x3C01}));
    EXPECT_TRUE(converts(1 + 0x1p-11, Half{0x3C00}));
    EXPECT_TRUE(converts(1e300, Half{0x7C00}));
    EXPECT_TRUE(converts(-1e300, Half{0xFC00}));
    EXPECT_TRUE(converts(65520.0, Half{0x7C00}));
    EXPECT_TRUE(converts(std::nextafter(65520.0, 0.0), Half{0x7BFF}));
    EXPECT_TRUE(converts(0x1p-25, Half{0x0000}));
    EXPECT_TRUE(converts(-0x1p-25, Half{0x8000}));
    EXPECT_TRUE(converts(std::nextafter(0x1p-25, 1.0), Half{0x0001}));
    EXPECT_TRUE(converts(std::numeric_limits<double>::denorm_min(), Half{0x0000}));
}

TEST(HalfToFloat, IsExact) {
    EXPECT_TRUE(converts(Half{0x0001}, 0x1p-24f));
    EXPECT_TRUE(converts(Half{0x0001}, 0x1p-24));
    EXPECT_TRUE(converts(Half{0x83FF}, -0x3FFp-24f));
    EXPECT_TRUE(converts(Half{0x83FF}, -0x3FFp-24));
    EXPECT_TRUE(converts(Half{0x0400}, 0x1p-14f));
    EXPECT_TRUE(converts(Half{0x7BFF}, 65504.0f));
    EXPECT_TRUE(converts(Half{0x7BFF}, 65504.0));
    EXPECT_TRUE(converts(Half{0x8000}, -0.0f));
    EXPECT_TRUE(converts(Half{0x8000}, -0.0));
    EXPECT_TRUE(converts(Half{0x7C00}, infinity32));
    EXPECT_TRUE(converts(Half{0xFC00}, -infinity64));
}

TEST(NanToHalf, KeepsSignAndTopFractionBitsAndBecomesQuiet) {
    EXPECT_TRUE(converts(valueOf<float>(0x7F800001), Half{0x7E00}));
    EXPECT_TRUE(converts(valueOf<float>(0xFF800001), Half{0xFE00}));
    EXPECT_TRUE(converts(valueOf<float>(0x7F802000), Half{0x7E01}));
    EXPECT_TRUE(converts(valueOf<float>(0x7FBFFFFF), Half{0x7FFF}));
    EXPECT_TRUE(converts(valueOf<float>(0xFFD54000), Half{0xFEAA}));
    EXPECT_TRUE(converts(valueOf<double>(0x7FF0000000000001), Half{0x7E00}));
    EXPECT_TRUE(converts(valueOf<double>(0x7FF0000080000000), Half{0x7E00}));
    EXPECT_TRUE(converts(valueOf<double>(0xFFF0040000000000), Half{0xFE01}));
    EXPECT_TRUE(converts(valueOf<double>(0xFFFAA80000000000), Half{0xFEAA}));
}

TEST(NanFromHalf, KeepsSignAndFractionBitsAndBecomesQuiet) {
    EXPECT_TRUE(converts(Half{0x7C01}, valueOf<float>(0x7FC02000)));
    EXPECT_TRUE(converts(Half{0xFEAA}, valueOf<float>(0xFFD54000)));
    EXPECT_TRUE(converts(Half{0x7C01}, valueOf<double>(0x7FF8040000000000)));
    EXPECT_TRUE(converts(Half{0xFEAA}, valueOf<double>(0xFFFAA80000000000)));
}

TEST(EqualKinds, KeepEveryBit) {
    EXPECT_TRUE(converts(valueOf<float>(0x7F800001), valueOf<float>(0x7F800001)));
    EXPECT_TRUE(converts(valueOf<float>(0xFFFFFFFF), valueOf<float>(0xFFFFFFFF)));
    EXPECT_TRUE(converts(valueOf<double>(0x7FF0000000000001), valueOf<double>(0x7FF0000000000001)));
    EXPECT_TRUE(converts(Half{0x7C01}, Half{0x7C01}));
    EXPECT_TRUE(converts(Half{0xFFFF}, Half{0xFFFF}));
    EXPECT_TRUE(converts(noInt32, noInt32));
    EXPECT_TRUE(converts(noInt64, noInt64));
}

} // namespace
} // namespace Fenlet
