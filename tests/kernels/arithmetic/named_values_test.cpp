// Single results that show when operands are converted, where results wrap or round, and what a
// zero divisor gives.
#include "naive_arithmetic.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace Fenlet {
namespace {

constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t greatest = std::numeric_limits<std::int32_t>::max();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr double nan64 = std::numeric_limits<double>::quiet_NaN();

/// The bits of a `Half`, for values written in tests.
using HalfBits = std::uint16_t;
constexpr HalfBits halfInfinity = 0x7C00;

template <class T>
inline constexpr CpuElementKind kindOf = CpuElementKind::Unsupported;
template <>
inline constexpr CpuElementKind kindOf<std::int32_t> = CpuElementKind::Int32;
template <>
inline constexpr CpuElementKind kindOf<HalfBits> = CpuElementKind::Half;
template <>
inline constexpr CpuElementKind kindOf<float> = CpuElementKind::Float32;
template <>
inline constexpr CpuElementKind kindOf<double> = CpuElementKind::Float64;

template <class Result>
struct Outcome {
    std::vector<Result> lanes;
    std::vector<unsigned char> validity;
};

/// Runs one kernel over `elements` elements. All validity bytes are 1 before.
template <class Result, class Left, class Right>
Outcome<Result> run(ArithmeticOp op, ArithmeticShape shape, std::int32_t elements,
                    const std::vector<Left>& left, const std::vector<Right>& right) {
    const std::size_t lanes = std::max(left.size(), right.size());
    Outcome<Result> outcome{std::vector<Result>(lanes),
                            std::vector<unsigned char>(static_cast<std::size_t>(elements), 1)};
    const ArithmeticArgs args{outcome.lanes.data(),
                              outcome.validity.data(),
                              left.data(),
                              right.data(),
                              elements,
                              static_cast<std::int32_t>(lanes) / elements,
                              shape == ArithmeticShape::LeftScalar,
                              shape == ArithmeticShape::RightScalar,
                              op};
    EXPECT_TRUE(dispatchArithmetic(kindOf<Result>, kindOf<Left>, kindOf<Right>, args));
    return outcome;
}

/// Computes one lane of an element that must stay valid.
template <class Result, class Left, class Right>
Result one(ArithmeticOp op, Left left, Right right) {
    const Outcome<Result> outcome =
        run<Result, Left, Right>(op, ArithmeticShape::Full, 1, {left}, {right});
    EXPECT_EQ(outcome.validity[0], 1);
    return outcome.lanes[0];
}

using Ints = std::vector<std::int32_t>;
using Bytes = std::vector<unsigned char>;

TEST(IntegerArithmetic, WrapsAt32Bits) {
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Add, greatest, 1)), least);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Subtract, least, 1)), greatest);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Multiply, 65536, 65536)), 0);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Multiply, least, -1)), least);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Multiply, 46341, 46341)), -2147479015);
}

TEST(IntegerArithmetic, BelongsToTheResultAndNotToTheOperands) {
    EXPECT_EQ((one<double>(ArithmeticOp::Add, greatest, 1)), 2147483648.0);
    EXPECT_EQ((one<float>(ArithmeticOp::Divide, 7, 2)), 3.5f);
    EXPECT_EQ((one<float>(ArithmeticOp::Divide, -7, 2)), -3.5f);
}

TEST(IntegerArithmetic, DropsEachOperandsFractionFirst) {
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Add, 1.9f, 1.9)), 2);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Multiply, 2.9, 2.9f)), 4);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Add, HalfBits{0x3F9A}, HalfBits{0x3F9A})), 2);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Add, -0.99f, 0)), 0);
}

TEST(IntegerArithmetic, TakesNotANumberForTheLeastInteger) {
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Add, nan64, 1)), least + 1);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, nan64, nan64)), 1);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, 1, std::nanf(""))), 0);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Subtract, 3e9, -infinity)), 0);
}

TEST(IntegerDivision, TruncatesTowardZero) {
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, 7, 2)), 3);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, -7, 2)), -3);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, 7, -2)), -3);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, -7, -2)), 3);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, greatest, greatest - 1)), 1);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, greatest - 1, greatest)), 0);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, least, greatest)), -1);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, least, 1)), least);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, least, least)), 1);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, least, 3)), -715827882);
}

TEST(IntegerDivision, NegatesForADivisorOfMinusOneAndWraps) {
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, least, -1)), least);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, 5, -1)), -5);
    EXPECT_EQ((one<std::int32_t>(ArithmeticOp::Divide, 5, -1.9)), -5);
}

// A division that is not exact would fail for quotients near a whole number.
TEST(IntegerDivision, IsExactAroundEveryMultipleOfTheDivisor) {
    for (const std::int32_t divisor :
         {2, 3, 7, 10, 641, 46341, 65537, 715827882, greatest, least}) {
        Ints dividends;
        for (std::int64_t factor : {1, 2, 3, 5, 99, 46340, 65535, 3350208, 6700417, 1073741823})
            for (const int nudge : {-1, 0, 1})
                for (const int sign : {-1, 1}) {
                    const std::int64_t dividend = sign * (divisor * factor + nudge);
                    if (dividend >= least && dividend <= greatest)
                        dividends.push_back(static_cast<std::int32_t>(dividend));
                }
        const auto count = static_cast<std::int32_t>(dividends.size());
        const Ints divisors(dividends.size(), divisor);
        const auto outcome = run<std::int32_t>(ArithmeticOp::Divide, ArithmeticShape::Full, count,
                                               dividends, divisors);
        for (std::size_t i = 0; i < dividends.size(); ++i)
            EXPECT_EQ(outcome.lanes[i], dividends[i] / divisor) << dividends[i] << '/' << divisor;
    }
}

TEST(IntegerDivision, ByZeroStoresZeroAndMakesTheElementInvalid) {
    const auto scalar = run<std::int32_t, std::int32_t, std::int32_t>(
        ArithmeticOp::Divide, ArithmeticShape::Full, 1, {5}, {0});
    EXPECT_EQ(scalar.lanes, Ints{0});
    EXPECT_EQ(scalar.validity, Bytes{0});

    const auto triple = run<std::int32_t, std::int32_t, std::int32_t>(
        ArithmeticOp::Divide, ArithmeticShape::Full, 1, {6, 6, 6}, {1, 0, 2});
    EXPECT_EQ(triple.lanes, (Ints{6, 0, 3}));
    EXPECT_EQ(triple.validity, Bytes{0});
}

TEST(IntegerDivision, ByAScalarZeroStoresZeroInAllComponents) {
    const auto outcome = run<std::int32_t, std::int32_t, std::int32_t>(
        ArithmeticOp::Divide, ArithmeticShape::RightScalar, 3, {5, 6, 7, 8, 9, 10}, {2, 0, -1});
    EXPECT_EQ(outcome.lanes, (Ints{2, 3, 0, 0, -9, -10}));
    EXPECT_EQ(outcome.validity, (Bytes{1, 0, 1}));
}

TEST(IntegerDivision, OfAScalarLooksAtEveryDivisor) {
    const auto outcome = run<std::int32_t, std::int32_t, std::int32_t>(
        ArithmeticOp::Divide, ArithmeticShape::LeftScalar, 3, {12, 13, least}, {5, 3, 0, 2, -1, 7});
    EXPECT_EQ(outcome.lanes, (Ints{2, 4, 0, 6, least, -306783378}));
    EXPECT_EQ(outcome.validity, (Bytes{1, 0, 1}));
}

TEST(IntegerDivision, TestsTheDivisorAfterItsConversion) {
    for (const float divisor : {0.5f, 0.9f, -0.99f, 0.0f, -0.0f, 1e-40f}) {
        const auto outcome = run<std::int32_t, float, float>(
            ArithmeticOp::Divide, ArithmeticShape::Full, 1, {0.9f}, {divisor});
        EXPECT_EQ(outcome.lanes, Ints{0});
        EXPECT_EQ(outcome.validity, Bytes{0}) << divisor;
    }
    const auto half = run<std::int32_t, std::int32_t, HalfBits>(
        ArithmeticOp::Divide, ArithmeticShape::RightScalar, 1, {4, 5}, {0x3800});
    EXPECT_EQ(half.lanes, (Ints{0, 0}));
    EXPECT_EQ(half.validity, Bytes{0});
}

// Bytes other than 0 and 1 count as valid. They stay as they are unless a zero divisor clears them.
TEST(IntegerDivision, TouchesNoValidityButThatOfZeroDivisors) {
    for (const std::int32_t multiplicity : {1, 2, 3}) {
        const Bytes before{1, 0, 255, 2, 0, 7, 128, 1};
        const auto elements = static_cast<std::int32_t>(before.size());
        Ints divisors(before.size() * static_cast<std::size_t>(multiplicity), 3);
        divisors[3 * static_cast<std::size_t>(multiplicity)] = 0;
        divisors.back() = 0;
        Bytes validity = before;
        Ints result(divisors.size());
        const Ints dividends(divisors.size(), 9);
        const ArithmeticArgs args{result.data(),   validity.data(), dividends.data(),
                                  divisors.data(), elements,        multiplicity,
                                  false,           false,           ArithmeticOp::Divide};
        EXPECT_TRUE(dispatchArithmetic(CpuElementKind::Int32, CpuElementKind::Int32,
                                       CpuElementKind::Int32, args));
        EXPECT_EQ(validity, (Bytes{1, 0, 255, 0, 0, 7, 128, 0}));
    }
}

TEST(FloatArithmetic, DividesByZeroAsAnyNumber) {
    EXPECT_EQ((one<float>(ArithmeticOp::Divide, 5, 0)), infinity);
    EXPECT_EQ((one<double>(ArithmeticOp::Divide, -5, 0)), -infinity);
    EXPECT_EQ((one<float>(ArithmeticOp::Divide, 5.0f, -0.0f)), -infinity);
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Divide, 5, 0)), halfInfinity);
    EXPECT_TRUE(std::isnan(one<float>(ArithmeticOp::Divide, 0, 0)));
    EXPECT_TRUE(std::isnan(one<double>(ArithmeticOp::Divide, 0, 0)));
}

TEST(FloatArithmetic, RoundsOperandsToTheResultsKind) {
    EXPECT_EQ((one<float>(ArithmeticOp::Add, 16777217, 0)), 16777216.0f);
    EXPECT_EQ((one<double>(ArithmeticOp::Add, 16777217, 0)), 16777217.0);
    EXPECT_TRUE(std::isnan(one<float>(ArithmeticOp::Multiply, 1e300, 0)));
    EXPECT_EQ((one<double>(ArithmeticOp::Multiply, 1e300, 0)), 0.0);
    // A sum in a wider type would keep 16777217.
    EXPECT_EQ((one<float>(ArithmeticOp::Subtract, 16777217.0, 16777216.0)), 0.0f);
    EXPECT_EQ((one<double>(ArithmeticOp::Multiply, 16777217, 0.1f)),
              16777217.0 * static_cast<double>(0.1f));
}

TEST(FloatArithmetic, KeepsSubnormals) {
    const float leastNormal = std::numeric_limits<float>::min();
    EXPECT_EQ((one<float>(ArithmeticOp::Divide, leastNormal, 2.0f)), leastNormal / 2);
    EXPECT_NE((one<float>(ArithmeticOp::Divide, leastNormal, 2.0f)), 0.0f);
    const float leastFloat = std::numeric_limits<float>::denorm_min();
    EXPECT_EQ((one<float>(ArithmeticOp::Add, leastFloat, leastFloat)), 2 * leastFloat);
    const double leastDouble = std::numeric_limits<double>::denorm_min();
    EXPECT_EQ((one<double>(ArithmeticOp::Subtract, 3 * leastDouble, leastDouble)), 2 * leastDouble);
    EXPECT_EQ((one<double>(ArithmeticOp::Multiply, leastFloat, 1)),
              static_cast<double>(leastFloat));
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Add, HalfBits{1}, HalfBits{1})), 2);
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Divide, HalfBits{0x0400}, 2)), 0x0200);
}

TEST(FloatArithmetic, KeepsTheSignOfZero) {
    EXPECT_TRUE(std::signbit(one<float>(ArithmeticOp::Add, -0.0f, -0.0f)));
    EXPECT_FALSE(std::signbit(one<float>(ArithmeticOp::Add, -0.0f, 0.0f)));
    EXPECT_TRUE(std::signbit(one<float>(ArithmeticOp::Multiply, -0.0f, 3)));
    EXPECT_TRUE(std::signbit(one<double>(ArithmeticOp::Divide, 0, -3)));
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Subtract, HalfBits{0x8000}, HalfBits{0})), 0x8000);
}

TEST(HalfArithmetic, RoundsTheOperandsAndThenTheResult) {
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Multiply, 300, 300)), halfInfinity);
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Subtract, 70000, 70000)) & 0x7C00, 0x7C00);
    EXPECT_NE((one<HalfBits>(ArithmeticOp::Subtract, 70000, 70000)) & 0x03FF, 0);
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Add, 65504.0f, 16.0f)), halfInfinity);
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Add, 65504.0f, 15.0f)), 0x7BFF);
    // Each operand is a tie that goes down to 2048: their sum is 4096 and not 4098.
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Add, 2049, 2049.0)), 0x6C00);
    // 1 + 2^-11 + 2^-30 rounds up. If the last bit were lost first, it would be a tie and round
    // down.
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Add, 1 + 0x1p-11 + 0x1p-30, 0)), 0x3C01);
}

TEST(HalfArithmetic, WorksInBinary32BetweenTheRoundings) {
    // 2049 is a tie between 2048 and 2050. Only a wider sum shows that the exact value lies just
    // above this tie.
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Add, HalfBits{0x6800}, HalfBits{0x3C01})), 0x6801);
    EXPECT_EQ((one<HalfBits>(ArithmeticOp::Add, HalfBits{0x6800}, HalfBits{0x3C00})), 0x6800);
    EXPECT_EQ((one<float>(ArithmeticOp::Multiply, HalfBits{0x7BFF}, HalfBits{0x7BFF})),
              65504.0f * 65504.0f);
    EXPECT_EQ((one<double>(ArithmeticOp::Multiply, HalfBits{0x0001}, HalfBits{0x0001})), 0x1p-48);
}

TEST(ArithmeticShapes, KeepTheScalarOnItsSide) {
    const auto left = run<std::int32_t, std::int32_t, std::int32_t>(
        ArithmeticOp::Subtract, ArithmeticShape::LeftScalar, 1, {10}, {1, 2, 3});
    EXPECT_EQ(left.lanes, (Ints{9, 8, 7}));
    const auto right = run<std::int32_t, std::int32_t, std::int32_t>(
        ArithmeticOp::Subtract, ArithmeticShape::RightScalar, 1, {1, 2, 3}, {10});
    EXPECT_EQ(right.lanes, (Ints{-9, -8, -7}));
    const auto quotients = run<float, std::int32_t, float>(
        ArithmeticOp::Divide, ArithmeticShape::LeftScalar, 2, {12, 30}, {1, 2, 3, 1, 2, 3});
    EXPECT_EQ(quotients.lanes, (std::vector<float>{12, 6, 4, 30, 15, 10}));
}

TEST(ArithmeticShapes, GiveEveryElementItsOwnScalar) {
    std::vector<float> scalars;
    std::vector<std::int32_t> others;
    std::vector<float> expected;
    for (int element = 0; element < 150; ++element) {
        scalars.push_back(static_cast<float>(1000 * element));
        for (int component = 0; component < 4; ++component) {
            others.push_back(component);
            expected.push_back(static_cast<float>(1000 * element + component));
        }
    }
    EXPECT_EQ(
        (run<float>(ArithmeticOp::Add, ArithmeticShape::LeftScalar, 150, scalars, others).lanes),
        expected);
    EXPECT_EQ(
        (run<float>(ArithmeticOp::Add, ArithmeticShape::RightScalar, 150, others, scalars).lanes),
        expected);
}

} // namespace
} // namespace Fenlet
