// What each function of a formula computes, to the bit.
#include "formula_bench.h"

#include <bit>
#include <cfenv>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>

namespace Fenlet::FormulaTests {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

/// Floats at which functions change their mind.
const std::vector<float>& corners() {
    static const std::vector<float> all = [] {
        std::vector<float> list = {
            0,        0x1p-149f, 0x1p-126f, 0.25f,   0.49999997f, 0.5f,          0.75f,    1,
            1.5f,     2,         2.5f,      3.5f,    4194303.5,   8388607.5,     8388608,  8388609,
            16777216, 0x1p31f,   0x1p62f,   0x1p63f, 0x1p64f,     3.4028235e38f, infinity, nan};
        const std::size_t count = list.size();
        for (std::size_t i = 0; i < count; ++i)
            list.push_back(-list[i]);
        return list;
    }();
    return all;
}

std::string bits(float value) {
    return std::isnan(value) ? "nan"
                             : std::to_string(value) + " 0x" +
                                   std::to_string(std::bit_cast<std::uint32_t>(value));
}

void expectEach(const std::string& call, const std::function<float(float)>& expected) {
    const std::vector<float> results =
        value(call, {{"x", floats(corners())}}, static_cast<std::int64_t>(corners().size()))
            .as<float>();
    for (std::size_t i = 0; i < results.size(); ++i)
        EXPECT_EQ(bits(results[i]), bits(expected(corners()[i]))) << call << " at " << corners()[i];
}

/// All pairs of corners as the fields x and y.
Inputs pairs() {
    std::vector<float> x;
    std::vector<float> y;
    for (const float a : corners())
        for (const float b : corners()) {
            x.push_back(a);
            y.push_back(b);
        }
    return {{"x", floats(x)}, {"y", floats(y)}};
}

void expectPairs(const std::string& call, const std::function<float(float, float)>& expected) {
    const Inputs inputs = pairs();
    const std::vector<float> x = inputs.at("x").as<float>();
    const std::vector<float> y = inputs.at("y").as<float>();
    const std::vector<float> results =
        value(call, inputs, static_cast<std::int64_t>(x.size())).as<float>();
    for (std::size_t i = 0; i < results.size(); ++i)
        ASSERT_EQ(bits(results[i]), bits(expected(x[i], y[i])))
            << call << " at " << x[i] << ", " << y[i];
}

float absolute(float x) {
    return std::abs(x);
}
float signOf(float x) {
    return x > 0 ? 1.0f : x < 0 ? -1.0f : x;
}
float least(float x, float y) {
    return x <= y || std::isnan(y) ? x : y;
}
float greatest(float x, float y) {
    return x >= y || std::isnan(y) ? x : y;
}

TEST(FormulaFunctions, TakeFloatsOfEverySort) {
    expectEach("abs(x)", absolute);
    expectEach("sign(x)", signOf);
    expectEach("floor(x)", [](float x) { return std::floor(x); });
    expectEach("ceil(x)", [](float x) { return std::ceil(x); });
    expectEach("trunc(x)", [](float x) { return std::trunc(x); });
    expectEach("round(x)", [](float x) { return std::nearbyint(x); });
    expectEach("x**0", [](float) { return 1.0f; });
    expectEach("x**1", [](float x) { return x; });
    expectEach("x**2", [](float x) { return x * x; });
    expectEach("x**3", [](float x) { return x * x * x; });
    expectEach("x**5", [](float x) { return x * x * (x * x) * x; });
    expectEach("-x", [](float x) { return -x; });
    expectEach("+x", [](float x) { return x; });
    expectEach("clamp(x, -1, 2.5)", [](float x) { return x < -1 ? -1 : x > 2.5f ? 2.5f : x; });
    expectEach("min(x, 1, 0.5)", [](float x) { return least(least(x, 1), 0.5f); });
    expectEach("length(x)", [](float x) { return std::sqrt(x * x); });
    expectEach("where(isnan(x), 1, where(isinf(x), 2, where(isfinite(x), f32(3), 4)))",
               [](float x) { return std::isnan(x)   ? 1.0f
                                    : std::isinf(x) ? 2.0f
                                                    : 3.0f; });
}

TEST(FormulaFunctions, TakePairsOfFloats) {
    expectPairs("min(x, y)", least);
    expectPairs("max(x, y)", greatest);
    expectPairs("clamp(0.5, x, y)", [](float x, float y) {
        return 0.5f < x ? x : 0.5f > y ? y : 0.5f;
    });
    expectPairs("clamp(x, y, 1)", [](float x, float y) { return x < y ? y : x > 1 ? 1 : x; });
    expectPairs("(x - y) / (x + y)", [](float x, float y) { return (x - y) / (x + y); });
    expectPairs("dot(vec(x, y), vec(y, x))", [](float x, float y) { return x * y + y * x; });
    expectPairs("vec(x, y).x", [](float x, float) { return x; });
    expectPairs("vec(x, y).y", [](float, float y) { return y; });
    expectPairs("vec(1, x, y).z", [](float, float y) { return y; });
    expectPairs("vec(x, 7, y).[1]", [](float, float) { return 7.0f; });
    expectPairs("coalesce(x, y)", [](float x, float) { return x; });
    expectPairs("length(vec(x, y))", [](float x, float y) { return std::sqrt(x * x + y * y); });
}

/// All 2^16 halves.
std::vector<std::uint16_t> allHalves() {
    std::vector<std::uint16_t> all(65536);
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<std::uint16_t>(i);
    return all;
}

float widened(std::uint16_t half) {
    const int exponent = half >> 10 & 31;
    const int fraction = half & 1023;
    const float sign = half & 0x8000 ? -1.0f : 1.0f;
    if (exponent == 31)
        return fraction ? nan : sign * infinity;
    return sign * std::ldexp(static_cast<float>(exponent ? fraction + 1024 : fraction),
                             (exponent ? exponent : 1) - 25);
}

bool isHalfNan(std::uint16_t half) {
    return (half & 0x7fff) > 0x7c00;
}

/// `expected` is exact in Half for every half.
void expectHalves(const std::string& call, const std::function<float(float)>& expected) {
    const std::vector<std::uint16_t> all = allHalves();
    const std::vector<std::uint16_t> results =
        value(call, {{"x", halves(all)}}, 65536).as<std::uint16_t>();
    ASSERT_EQ(results.size(), all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        const float wanted = expected(widened(all[i]));
        if (std::isnan(wanted)) {
            ASSERT_TRUE(isHalfNan(results[i])) << call << " at " << i;
            continue;
        }
        ASSERT_EQ(bits(widened(results[i])), bits(wanted)) << call << " at " << i;
    }
}

TEST(FormulaFunctions, TakeEveryHalf) {
    expectHalves("abs(x)", absolute);
    expectHalves("sign(x)", signOf);
    expectHalves("floor(x)", [](float x) { return std::floor(x); });
    expectHalves("ceil(x)", [](float x) { return std::ceil(x); });
    expectHalves("trunc(x)", [](float x) { return std::trunc(x); });
    expectHalves("round(x)", [](float x) { return std::nearbyint(x); });
    expectHalves("-x", [](float x) { return -x; });
    expectHalves("min(x, 0.5)", [](float x) { return least(x, 0.5f); });
    expectHalves("max(0.5, x)", [](float x) { return greatest(0.5f, x); });
    expectHalves("clamp(x, -2, 3)", [](float x) { return x < -2 ? -2 : x > 3 ? 3 : x; });
    expectHalves("vec(x, 1).x", [](float x) { return x; });
    expectHalves("where(isnan(x), f16(1), where(isinf(x), f16(2), 3))", [](float x) {
        return std::isnan(x) ? 1.0f : std::isinf(x) ? 2.0f : 3.0f;
    });
}

TEST(FormulaFunctions, KeepTheBitsOfANan) {
    const float marked = std::bit_cast<float>(0x7fc12345u);
    for (const char* const call :
         {"abs(x)", "sign(x)", "floor(x)", "round(x)", "clamp(x, 0, 1)", "x**1"}) {
        const float result = value(call, {{"x", floats({marked})}}, 1).as<float>()[0];
        EXPECT_EQ(std::bit_cast<std::uint32_t>(result), 0x7fc12345u) << call;
    }
}

TEST(FormulaFunctions, TakeDoublesNearTheLimitOfWholeNumbers) {
    const std::vector<double> x = {
        0x1p52, 0x1p52 - 0.5, -0x1p52 + 0.5,      0x1p53,   0x1p63, 1e300, -1e300, 0.5, -0.5, -0.0,
        2.5,    -2.5,         4503599627370495.5, 0x1p-1074};
    const auto count = static_cast<std::int64_t>(x.size());
    const struct {
        const char* call;
        double (*expected)(double);
    } rows[] = {{"floor(x)", std::floor},
                {"ceil(x)", std::ceil},
                {"trunc(x)", std::trunc},
                {"round(x)", std::nearbyint}};
    for (const auto& row : rows) {
        const std::vector<double> results =
            value(row.call, {{"x", doubles(x)}}, count).as<double>();
        for (std::size_t i = 0; i < x.size(); ++i)
            EXPECT_EQ(std::bit_cast<std::uint64_t>(results[i]),
                      std::bit_cast<std::uint64_t>(row.expected(x[i])))
                << row.call << " at " << x[i];
    }
}

TEST(FormulaFunctions, TakeIntegers) {
    constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();
    const Inputs inputs = {{"i", integers({lowest, -7, -1, 0, 1, 7, highest})},
                           {"k", integers({-1, 2, 0, 3, -1, -2, highest})}};
    using Row = std::vector<std::int32_t>;
    EXPECT_EQ(value("abs(i)", inputs, 7).as<std::int32_t>(), (Row{lowest, 7, 1, 0, 1, 7, highest}));
    EXPECT_EQ(value("sign(i)", inputs, 7).as<std::int32_t>(), (Row{-1, -1, -1, 0, 1, 1, 1}));
    EXPECT_EQ(value("min(i, k)", inputs, 7).as<std::int32_t>(),
              (Row{lowest, -7, -1, 0, -1, -2, highest}));
    EXPECT_EQ(value("clamp(i, -1, 5)", inputs, 7).as<std::int32_t>(),
              (Row{-1, -1, -1, 0, 1, 5, 5}));
    EXPECT_EQ(value("round(i)", inputs, 7).as<std::int32_t>(), inputs.at("i").as<std::int32_t>());
    EXPECT_EQ(value("i**2", inputs, 7).as<std::int32_t>(), (Row{0, 49, 1, 0, 1, 49, 1}));
    EXPECT_EQ(value("vec(i, k).y", inputs, 7).as<std::int32_t>(),
              inputs.at("k").as<std::int32_t>());
    const Data quotient = value("quotient(i, k)", inputs, 7);
    EXPECT_EQ(quotient.as<std::int32_t>(), (Row{lowest, -3, 0, 0, -1, -3, 1}));
    EXPECT_EQ(quotient.validity, (std::vector<unsigned char>{1, 1, 0, 1, 1, 1, 1}));
    const Data rest = value("remainder(i, k)", inputs, 7);
    EXPECT_EQ(rest.as<std::int32_t>(), (Row{0, -1, -1, 0, 0, 1, 0}));
    EXPECT_EQ(rest.validity, (std::vector<unsigned char>{1, 1, 0, 1, 1, 1, 1}));
    EXPECT_EQ(value("isnan(i) or isinf(i)", inputs, 7).as<unsigned char>(),
              (std::vector<unsigned char>(7, 0)));
    EXPECT_EQ(value("isfinite(i)", inputs, 7).as<unsigned char>(),
              (std::vector<unsigned char>(7, 1)));
    EXPECT_EQ(value("length(vec(i, 0))", inputs, 7).as<double>()[0], 2147483648.0);
}

TEST(FormulaFunctions, ChooseAmongLongs) {
    const Inputs inputs = {{"a", longs({9007199254740993, -5, 0})},
                           {"b", longs({9007199254740992, 4, -1})}};
    using Row = std::vector<std::int64_t>;
    EXPECT_EQ(value("max(a, b)", inputs, 3).as<std::int64_t>(), (Row{9007199254740993, 4, 0}));
    EXPECT_EQ(value("sign(a)", inputs, 3).as<std::int64_t>(), (Row{1, -1, 0}));
    EXPECT_EQ(value("where(a > b, a, 9007199254740995)", inputs, 3).as<std::int64_t>(),
              (Row{9007199254740993, 9007199254740995, 0}));
    EXPECT_EQ(value("f64(a)", inputs, 3).as<double>()[0], 9007199254740992.0);
}

TEST(FormulaFunctions, NormalizeAVector) {
    const Inputs inputs = {{"v", floats({3, 4, 0, 0, 0, 0}, {}, 3)}};
    const std::vector<float> results = value("normalize(v)", inputs, 2).as<float>();
    EXPECT_EQ(results[0], 3.0f / 5.0f);
    EXPECT_EQ(results[1], 4.0f / 5.0f);
    EXPECT_EQ(results[2], 0.0f);
    EXPECT_TRUE(std::isnan(results[3]));
}

TEST(FormulaFunctions, RepeatAScalarBesideAVector) {
    const Inputs inputs = {{"v", floats({1, 2, 3}, {}, 3)}, {"s", floats({-0.0f})}};
    EXPECT_EQ(value("where(v > 1, v, s)", inputs, 1).as<float>(),
              (std::vector<float>{-0.0f, 2, 3}));
    EXPECT_TRUE(std::signbit(value("where(v > 1, v, s)", inputs, 1).as<float>()[0]));
    EXPECT_EQ(value("max(v, 2)", inputs, 1).as<float>(), (std::vector<float>{2, 2, 3}));
    EXPECT_EQ(value("min(2, v)", inputs, 1).as<float>(), (std::vector<float>{1, 2, 2}));
    EXPECT_EQ(value("clamp(s, v, 5)", inputs, 1).as<float>(), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(value("where(v > 1, 5, 6)", inputs, 1).as<double>(), (std::vector<double>{6, 5, 5}));
    EXPECT_EQ(value("2 < v", inputs, 1).as<unsigned char>(), (std::vector<unsigned char>{0, 0, 1}));
    EXPECT_EQ(value("i32(v * 1.5)", inputs, 1).as<std::int32_t>(),
              (std::vector<std::int32_t>{1, 3, 4}));
}

} // namespace
} // namespace Fenlet::FormulaTests
