// Single values with known results.
#include "naive_unary.h"

#include <bit>
#include <cmath>
#include <limits>

namespace Fenlet {
namespace {

constexpr CpuElementKind int32 = CpuElementKind::Int32;
constexpr CpuElementKind half = CpuElementKind::Half;
constexpr CpuElementKind single = CpuElementKind::Float32;
constexpr CpuElementKind wide = CpuElementKind::Float64;

/// Runs one operation on one element, through the dispatcher.
template <class Result, class Operand>
Result run(UnaryOp op, CpuElementKind result, CpuElementKind operand,
           const std::vector<Operand>& components) {
    Result value{};
    EXPECT_TRUE(dispatchUnary(
        op, result, operand,
        {&value, components.data(), 1, static_cast<std::int32_t>(components.size())}));
    return value;
}

template <class Result, class Operand>
Result negate(CpuElementKind result, CpuElementKind operand, Operand value) {
    return run<Result>(UnaryOp::Negate, result, operand, std::vector<Operand>{value});
}

template <class Result, class Operand>
Result length(CpuElementKind result, CpuElementKind operand,
              const std::vector<Operand>& components) {
    return run<Result>(UnaryOp::Length, result, operand, components);
}

TEST(Negate, KeepsTheMostNegativeIntegerAndReachesItsNegativeInFloats) {
    EXPECT_EQ(negate<std::int32_t>(int32, int32, INT32_MIN), INT32_MIN);
    EXPECT_EQ(negate<float>(single, int32, INT32_MIN), 2147483648.0f);
    EXPECT_EQ(negate<double>(wide, int32, INT32_MIN), 2147483648.0);
}

TEST(Negate, OfZeroIsNegativeZeroInFloatsOnly) {
    EXPECT_EQ(negate<std::uint32_t>(single, int32, std::int32_t{0}), 0x80000000u);
    EXPECT_EQ(negate<std::uint64_t>(wide, int32, std::int32_t{0}), 0x8000000000000000u);
    EXPECT_EQ(negate<std::uint16_t>(half, int32, std::int32_t{0}), 0x8000u);
    EXPECT_EQ(negate<std::int32_t>(int32, int32, std::int32_t{0}), 0);
    EXPECT_EQ(negate<std::uint32_t>(single, single, -0.0f), 0u);
    EXPECT_EQ(negate<std::int32_t>(int32, single, -0.0f), 0);
}

TEST(Negate, ConvertsFirst) {
    EXPECT_EQ(negate<std::int32_t>(int32, single, 1e10f), INT32_MIN);
    EXPECT_EQ(negate<std::int32_t>(int32, single, -1e10f), INT32_MIN);
    EXPECT_EQ(negate<std::int32_t>(int32, single, std::numeric_limits<float>::quiet_NaN()),
              INT32_MIN);
    EXPECT_EQ(negate<std::int32_t>(int32, wide, 2.7), -2);
    EXPECT_EQ(negate<std::int32_t>(int32, wide, -2.7), 2);
    EXPECT_EQ(negate<std::int32_t>(int32, half, std::uint16_t{0x7C00}), INT32_MIN);
    EXPECT_EQ(negate<std::uint16_t>(half, wide, 1.0 + 0x1p-11), 0xBC00);
    EXPECT_EQ(negate<std::uint16_t>(half, int32, std::int32_t{2051}), 0xE802);
}

TEST(Negate, TurnsTheSignOfANanAndKeepsTheRest) {
    EXPECT_EQ(negate<std::uint16_t>(half, half, std::uint16_t{0x7C01}), 0xFC01);
    EXPECT_EQ(negate<std::uint16_t>(half, half, std::uint16_t{0xFE12}), 0x7E12);
    EXPECT_EQ(negate<std::uint32_t>(single, single, std::uint32_t{0x7F800001}), 0xFF800001u);
    EXPECT_EQ(negate<std::uint64_t>(wide, wide, std::uint64_t{0xFFF0000000000001}),
              0x7FF0000000000001u);
}

TEST(Length, OfOneComponentIsItsAbsoluteValue) {
    EXPECT_EQ(length<float>(single, single, std::vector{-3.0f}), 3.0f);
    EXPECT_EQ(length<double>(wide, single, std::vector{-3.0f}), 3.0);
    EXPECT_EQ(length<std::int32_t>(int32, int32, std::vector{-3}), 3);
    EXPECT_EQ(length<std::uint32_t>(single, single, std::vector{-0.0f}), 0u);
}

TEST(Length, OfThreeAndFourIsFive) {
    EXPECT_EQ(length<std::int32_t>(int32, int32, std::vector{3, 4}), 5);
    EXPECT_EQ(length<std::int32_t>(int32, wide, std::vector{3.9, 4.9}), 5);
    EXPECT_EQ(length<float>(single, int32, std::vector{3, -4}), 5.0f);
    EXPECT_EQ(length<std::uint16_t>(half, single, std::vector{3.0f, 4.0f}), 0x4500);
}

TEST(Length, OfIntegersWrapsAndIsTruncated) {
    EXPECT_EQ(length<std::int32_t>(int32, int32, std::vector{46340}), 46340);
    EXPECT_EQ(length<std::int32_t>(int32, int32, std::vector{46341}), INT32_MIN);
    EXPECT_EQ(length<std::int32_t>(int32, int32, std::vector{65536}), 0);
    EXPECT_EQ(length<std::int32_t>(int32, int32, std::vector{65537}), 362);
    EXPECT_EQ(length<std::int32_t>(int32, int32, std::vector{INT32_MIN}), 0);
    EXPECT_EQ(length<std::int32_t>(int32, int32, std::vector{1, 1}), 1);
    // The sum wraps to a negative number and then back to a positive one.
    EXPECT_EQ(length<std::int32_t>(int32, int32, std::vector{46341, 46341, 3}), 96);
}

TEST(Length, OfHalvesRoundsTheSumAfterEachComponent) {
    EXPECT_EQ(length<std::uint16_t>(half, half, std::vector{std::uint16_t{0x5C00}}), 0x7C00);
    EXPECT_EQ(length<std::uint16_t>(half, half, std::vector{std::uint16_t{0x5BF8}}), 0x5BF8);
    // In binary16, 2048 + 1 is 2048. So adding 1 four times does not change the sum; the root of
    // 2052 would be larger.
    const std::vector<float> small{32.0f, 32.0f, 1.0f, 1.0f, 1.0f, 1.0f};
    EXPECT_EQ(length<std::uint16_t>(half, single, small),
              length<std::uint16_t>(half, single, std::vector{32.0f, 32.0f}));
    EXPECT_EQ(
        length<std::uint16_t>(half, single, std::vector{1.0f, 1.0f, 1.0f, 1.0f, 32.0f, 32.0f}),
        0x51AA);
    EXPECT_EQ(length<std::uint16_t>(half, single, small), 0x51A8);
}

TEST(Length, TooLongForItsKindIsInfinite) {
    EXPECT_EQ(length<float>(single, single, std::vector{1e20f}),
              std::numeric_limits<float>::infinity());
    EXPECT_EQ(length<double>(wide, single, std::vector{1e20f}), static_cast<double>(1e20f));
    EXPECT_EQ(length<double>(wide, wide, std::vector{1e200}),
              std::numeric_limits<double>::infinity());
    EXPECT_EQ(length<std::uint16_t>(half, int32, std::vector{65520}), 0x7C00);
}

TEST(Length, IsANanWhereAComponentIs) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(length<float>(single, single, std::vector{1.0f, nan, 2.0f})));
    EXPECT_TRUE(std::isnan(length<double>(wide, single, std::vector{nan, 2.0f})));
    EXPECT_GT(length<std::uint16_t>(half, single, std::vector{2.0f, nan}) & 0x7FFF, 0x7C00);
    EXPECT_TRUE(std::isnan(
        length<float>(single, single, std::vector{std::numeric_limits<float>::infinity(), nan})));
    EXPECT_EQ(length<std::int32_t>(int32, single, std::vector{nan}), 0);
}

// The square must be rounded before it is added.
TEST(Length, RoundsTheSquareBeforeTheSum) {
    const float x = 1.0f + 0x1p-12f;
    const float square = x * x;
    EXPECT_EQ(length<float>(single, single, std::vector{1.0f, x}), std::sqrt(1.0f + square));
    const double y = 1.0 + 0x1p-27;
    const double wideSquare = y * y;
    EXPECT_EQ(length<double>(wide, wide, std::vector{0x1p-30, y}), std::sqrt(0x1p-60 + wideSquare));
}

TEST(Length, KeepsSubnormals) {
    EXPECT_EQ(length<std::uint32_t>(single, single, std::vector{0x1p-74f}),
              std::bit_cast<std::uint32_t>(0x1p-74f));
    EXPECT_EQ(length<std::uint16_t>(half, half, std::vector{std::uint16_t{0x0C00}}), 0x0C00);
}

} // namespace
} // namespace Fenlet
