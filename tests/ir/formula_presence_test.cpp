// What formulas do with what is missing or unknown.
#include "formula_bench.h"

#include <gtest/gtest.h>
#include <limits>

namespace Fenlet::FormulaTests {
namespace {

constexpr unsigned char no = 0;
constexpr unsigned char yes = 1;
constexpr unsigned char unknown = 255;
constexpr char gone = 'm';

/// Truth values as letters: 0, 1, u for unknown, m for missing.
std::string letters(const Data& data) {
    std::string text;
    for (std::size_t i = 0; i < data.lanes.size(); ++i) {
        const auto components = static_cast<std::size_t>(data.components);
        const unsigned char byte = data.lanes[i];
        text += !data.isPresent(i / components) ? gone : byte == no ? '0' : byte == yes ? '1' : 'u';
    }
    return text;
}

/// Every pair of false, true, unknown and missing; the missing ones with every byte below them.
Inputs everyPair() {
    const unsigned char bytes[] = {no, yes, unknown, no, yes, unknown};
    std::vector<unsigned char> a, b, validA, validB;
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 6; ++j) {
            a.push_back(bytes[i]);
            b.push_back(bytes[j]);
            validA.push_back(i < 3);
            validB.push_back(j < 3);
        }
    return {{"a", truths(a, validA)}, {"b", truths(b, validB)}};
}

TEST(FormulaPresence, MakesAMissingTruthUnknown) {
    const Inputs inputs = everyPair();
    EXPECT_EQ(letters(value("a and b", inputs, 36)), "000000"
                                                     "01uuuu"
                                                     "0uuuuu"
                                                     "0uuuuu"
                                                     "0uuuuu"
                                                     "0uuuuu");
    EXPECT_EQ(letters(value("a or b", inputs, 36)), "01uuuu"
                                                    "111111"
                                                    "u1uuuu"
                                                    "u1uuuu"
                                                    "u1uuuu"
                                                    "u1uuuu");
    EXPECT_EQ(value("a and b", inputs, 36).lanes, value("a & b", inputs, 36).lanes);
    EXPECT_EQ(value("a or b", inputs, 36).lanes, value("a | b", inputs, 36).lanes);
    EXPECT_EQ(letters(value("not b", inputs, 6)), "10uuuu");
    EXPECT_EQ(letters(value("~b", inputs, 6)), "10uuuu");
    EXPECT_EQ(letters(value("istrue(b)", inputs, 6)), "010000");
    EXPECT_EQ(letters(value("present(b)", inputs, 6)), "111000");
    EXPECT_EQ(letters(value("b", inputs, 6)), "01ummm");
    EXPECT_EQ(letters(value("coalesce(b, true)", inputs, 6)), "01u111");
    EXPECT_EQ(letters(value("where(b, true, false)", inputs, 6)), "01mmmm");
    EXPECT_EQ(letters(value("where(b, true, false) and false", inputs, 6)), "000000");
    EXPECT_EQ(letters(value("missing and b", inputs, 6)), "0uuuuu");
    EXPECT_EQ(letters(value("unknown or b", inputs, 6)), "u1uuuu");
}

TEST(FormulaPresence, SettlesVectorsOfTruths) {
    const Inputs inputs = {
        {"v", truths({no, yes, unknown, no, yes, unknown}, {1, 0}, 3)},
        {"w", truths({no, no, no, yes, yes, yes}, {1, 1}, 3)},
    };
    EXPECT_EQ(letters(value("v and v", inputs, 2)), "01uuuu");
    EXPECT_EQ(letters(value("v or w", inputs, 2)), "01u111");
    EXPECT_EQ(letters(value("not v", inputs, 2)), "10uuuu");
    EXPECT_EQ(letters(value("missing or w", inputs, 2)), "uuu111");
    EXPECT_EQ(letters(value("v.y", inputs, 2)), "1m");
    EXPECT_EQ(letters(value("present(v)", inputs, 2)), "10");
}

TEST(FormulaPresence, ChoosesByValueAndPresence) {
    const Inputs inputs = {
        {"c", truths({yes, no, unknown, yes, no}, {1, 1, 1, 0, 0})},
        {"x", floats({1, 2, 3, 4, 5})},
    };
    const Data chosen = value("where(c, x, -x)", inputs, 5);
    EXPECT_EQ(chosen.as<float>(), (std::vector<float>{1, -2, 0, 0, 0}));
    EXPECT_EQ(chosen.validity, (std::vector<unsigned char>{1, 1, 0, 0, 0}));
    const Data kept = value("where(c, x, missing)", inputs, 5);
    EXPECT_EQ(kept.validity, (std::vector<unsigned char>{1, 0, 0, 0, 0}));
    EXPECT_EQ(value("where(missing, x, x)", inputs, 5).validity,
              (std::vector<unsigned char>(5, 0)));
}

/// Formulas of x and y, and where they are present for x and y present or not, in the order both,
/// x alone, y alone, none.
TEST(FormulaPresence, FollowsTheArguments) {
    const Inputs inputs = {{"x", floats({1, 1, 1, 1}, {1, 1, 0, 0})},
                           {"y", floats({2, 2, 2, 2}, {1, 0, 1, 0})}};
    const struct {
        const char* text;
        std::vector<unsigned char> validity;
    } rows[] = {
        {"x + y", {1, 0, 0, 0}},
        {"min(x, y)", {1, 0, 0, 0}},
        {"max(x, y)", {1, 0, 0, 0}},
        {"abs(x)", {1, 1, 0, 0}},
        {"sign(y)", {1, 0, 1, 0}},
        {"floor(y)", {1, 0, 1, 0}},
        {"round(x)", {1, 1, 0, 0}},
        {"clamp(0, x, y)", {1, 0, 0, 0}},
        {"clamp(5, x, y)", {1, 0, 0, 0}},
        {"clamp(x, 5, y)", {1, 0, 0, 0}},
        {"clamp(x, y, 7)", {1, 0, 0, 0}},
        {"vec(x, y)", {1, 0, 0, 0}},
        {"vec(x, 1)", {1, 1, 0, 0}},
        {"vec(1, 2, y)", {1, 0, 1, 0}},
        {"dot(vec(x, 1), vec(y, 1))", {1, 0, 0, 0}},
        {"coalesce(x, y)", {1, 1, 1, 0}},
        {"coalesce(x, y, 0)", {1, 1, 1, 1}},
        {"coalesce(missing, x)", {1, 1, 0, 0}},
        {"x**0", {1, 1, 0, 0}},
        {"x**2", {1, 1, 0, 0}},
        {"f64(y)", {1, 0, 1, 0}},
        {"x + missing", {0, 0, 0, 0}},
        {"f32(missing)", {0, 0, 0, 0}},
        {"present(x)", {1, 1, 1, 1}},
        {"x < y", {1, 1, 1, 1}},
        {"isnan(x)", {1, 1, 1, 1}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(value(row.text, inputs, 4).validity, row.validity) << row.text;
    EXPECT_EQ(letters(value("x < y", inputs, 4)), "1uuu");
    EXPECT_EQ(letters(value("isnan(x)", inputs, 4)), "00uu");
    EXPECT_EQ(letters(value("isinf(x)", inputs, 4)), "00uu");
    EXPECT_EQ(letters(value("isfinite(y)", inputs, 4)), "1u1u");
    EXPECT_EQ(letters(value("present(x)", inputs, 4)), "1100");
    EXPECT_EQ(value("coalesce(x, y, 0)", inputs, 4).as<float>(), (std::vector<float>{1, 1, 2, 0}));
}

TEST(FormulaPresence, KnowsThatANanIsPresent) {
    const Inputs inputs = {{"x", floats({std::numeric_limits<float>::quiet_NaN(), 1}, {1, 0})},
                           {"i", integers({1, 2}, {1, 0})}};
    EXPECT_EQ(letters(value("present(x)", inputs, 2)), "10");
    EXPECT_EQ(letters(value("present(i)", inputs, 2)), "10");
    EXPECT_EQ(letters(value("present(x * missing)", inputs, 2)), "00");
    EXPECT_EQ(letters(value("present(vec(x, 1))", inputs, 2)), "10");
}

TEST(FormulaPresence, ReadsElementsByNumber) {
    const Inputs inputs = {{"h", floats({10, 11, 12, 13}, {1, 1, 0, 1})}};
    const Data after = value("h[index + 1]", inputs, 4);
    EXPECT_EQ(after.as<float>(), (std::vector<float>{11, 12, 13, 0}));
    EXPECT_EQ(after.validity, (std::vector<unsigned char>{1, 0, 1, 0}));
    EXPECT_EQ(value("h[index]", inputs, 4).validity, inputs.at("h").validity);
    EXPECT_EQ(value("h[3]", inputs, 4).as<float>(), (std::vector<float>(4, 13)));
    EXPECT_EQ(value("h[index - 0.5]", inputs, 4).as<float>()[0], 10);
    EXPECT_EQ(value("h[0 / (index - index)]", inputs, 4).validity,
              (std::vector<unsigned char>(4, 0)));
    EXPECT_EQ(value("h[missing]", inputs, 4).validity, (std::vector<unsigned char>(4, 0)));
    EXPECT_EQ(value("h[i32(index)] - h", inputs, 4).as<float>()[1], 0);
}

TEST(FormulaPresence, ShiftsFields) {
    const Inputs inputs = {{"h", floats({10, 11, 12, 13})}};
    const Data after = value("shift(h, 1)", inputs, 4);
    EXPECT_EQ(after.as<float>(), (std::vector<float>{11, 12, 13, 0}));
    EXPECT_EQ(after.validity, (std::vector<unsigned char>{1, 1, 1, 0}));
    EXPECT_EQ(value("shift(h, -1) - shift(h, +1)", inputs, 4).validity,
              (std::vector<unsigned char>{0, 1, 1, 0}));
    EXPECT_EQ(value("shift(h, 0) - h", inputs, 4).as<float>(), (std::vector<float>(4, 0)));
    EXPECT_EQ(value("row + column + index", inputs, 4).as<double>(),
              (std::vector<double>{0, 3, 6, 9}));
}

TEST(FormulaPresence, CallsSamplersAndUniforms) {
    Inputs inputs = {{"x", floats({1, 2, 3}, {1, 0, 1})}, {"sun", floats({5, 6}, {}, 2)}};
    inputs.at("sun").sort = FormulaSort::Uniform;
    const Data sampled = value("sampler noise(f32x2) : f32\nnoise(x, 7) + sun.y", inputs, 3);
    EXPECT_EQ(sampled.as<float>()[0], 8);
    EXPECT_EQ(sampled.as<float>()[2], 12);
    EXPECT_EQ(sampled.validity, (std::vector<unsigned char>{1, 0, 1}));
}

} // namespace
} // namespace Fenlet::FormulaTests
