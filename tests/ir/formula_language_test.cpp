// The grammar of formulas, the kinds of results, and where instructions come from.
#include "formula_bench.h"

#include <fenletir/text.h>

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace Fenlet::FormulaTests {
namespace {

Inputs inputs() {
    Inputs all = {
        {"a", floats({6})},      {"b", floats({3})},
        {"c", floats({2})},      {"v", floats({1, 2, 3}, {}, 3)},
        {"i", integers({7})},    {"l", longs({9})},
        {"h", halves({0x3c00})}, {"d", doubles({0.1})},
        {"t", truths({1})},      {"sea level", floats({5})},
    };
    all["i8"] = integers({5});
    all["i8"].format = RegisterFormat::Int8;
    all["i16"] = integers({300});
    all["i16"].format = RegisterFormat::Int16;
    return all;
}

float number(std::string_view text) {
    const Data result = value(text, inputs(), 1);
    EXPECT_EQ(result.format, RegisterFormat::Float32) << text;
    return result.as<float>()[0];
}

int truth(std::string_view text) {
    const Data result = value(text, inputs(), 1);
    EXPECT_EQ(result.format, RegisterFormat::Tribool) << text;
    return result.lanes[0];
}

TEST(FormulaLanguage, BindsOperators) {
    EXPECT_EQ(number("a - b - c"), 1);
    EXPECT_EQ(number("a / b / c"), 1);
    EXPECT_EQ(number("a - b * c"), 0);
    EXPECT_EQ(number("(a - b) * c"), 6);
    EXPECT_EQ(number("-c**2"), -4);
    EXPECT_EQ(number("(-c)**2"), 4);
    EXPECT_EQ(number("a * -c"), -12);
    EXPECT_EQ(number("a - -c"), 8);
    EXPECT_EQ(number("- - a"), 6);
    EXPECT_EQ(number("(c**2)**1"), 4);
    EXPECT_EQ(number("-v.y"), -2);
    EXPECT_EQ(number("v.[2]**2"), 9);
    EXPECT_EQ(number("c**16"), 65536);
    EXPECT_EQ(truth("a > b and b > c or a < c"), 1);
    EXPECT_EQ(truth("a < b and b > c or a > c"), 1);
    EXPECT_EQ(truth("a > c or a < b and false"), 1);
    EXPECT_EQ(truth("not a < b"), 1);
    EXPECT_EQ(truth("not t or t"), 1);
    EXPECT_EQ(truth("~t | t"), 1);
    EXPECT_EQ(truth("(a > b) & (b > c)"), 1);
    EXPECT_EQ(truth("t & (a < b) | t"), 1);
    EXPECT_EQ(truth("a + b > c * c"), 1);
    EXPECT_EQ(truth("a != b"), 1);
    EXPECT_EQ(truth("a >= 6"), 1);
    EXPECT_EQ(truth("a <= 5"), 0);
    EXPECT_EQ(truth("2 * 3 == a"), 1);
}

TEST(FormulaLanguage, ReadsNumbers) {
    EXPECT_EQ(number("a + 1"), 7);
    EXPECT_EQ(number("a + 1."), 7);
    EXPECT_EQ(number("a + .5"), 6.5f);
    EXPECT_EQ(number("a + 1e-3"), 6 + 1e-3f);
    EXPECT_EQ(number("a + 2E+1"), 26);
    EXPECT_EQ(number("a + 0xff"), 261);
    EXPECT_EQ(number("a + 0xe+1"), 21);
    EXPECT_EQ(number("a + inf"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(truth("isnan(a + nan)"), 1);
    EXPECT_EQ(number("a + 1/2"), 6.5f);
    EXPECT_EQ(number("a + (2 * 3 - 1)"), 11);
    EXPECT_EQ(number("a * (1 + 2)**2"), 54);
    EXPECT_EQ(value("i * -2147483648", inputs(), 1).as<std::int32_t>()[0], -2147483647 - 1);
    EXPECT_EQ(value("where(l > -9223372036854775808, l, 0)", inputs(), 1).as<std::int64_t>()[0], 9);
    EXPECT_TRUE(std::signbit(number("a * -0.0")));
    EXPECT_FALSE(std::signbit(number("clamp(a, 0, -0)")));
}

TEST(FormulaLanguage, ReadsLines) {
    EXPECT_EQ(number("\xef\xbb\xbf# a comment\n\nx = a + b  # nine\r\ny = x * c\n"), 18);
    EXPECT_EQ(number("x = (a +\n     b)\nx * c"), 18);
    EXPECT_EQ(number("max(a,\n    # in between\n    b)"), 6);
    EXPECT_EQ(number("\"sea level\" + a"), 11);
    EXPECT_EQ(number("field = a\noutput = field + 1\noutput + 1"), 8);
    EXPECT_EQ(number("h\xc3\xb6he = a\nh\xc3\xb6he * 2"), 12);
    EXPECT_EQ(number("k = 2\na * k"), 12);
    EXPECT_EQ(number("k = missing\ncoalesce(k, a)"), 6);
}

std::vector<std::string> outputNames(std::string_view text) {
    const FormulaResult result = compileFormula(text, declarationsOf(inputs()));
    std::vector<std::string> names;
    for (const std::int32_t number : result.outputs)
        names.push_back(result.program.registerInfo(number).name);
    return names;
}

TEST(FormulaLanguage, ChoosesOutputs) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(outputNames("a + b"), Names{"result"});
    EXPECT_EQ(outputNames("a"), Names{"result"});
    EXPECT_EQ(outputNames("x = a"), Names{"x"});
    EXPECT_EQ(outputNames("x = a + b\ny = x"), Names{"y"});
    EXPECT_EQ(outputNames("output x = a + b\ny = x"), Names{"x"});
    EXPECT_EQ(outputNames("output x = a\noutput y = a\noutput z = 1\noutput w = 1"),
              (Names{"x", "y", "z", "w"}));
    EXPECT_EQ(outputNames("x = a + 1\ny = x\noutput y\noutput x\noutput a"),
              (Names{"y", "x", "a"}));
    EXPECT_EQ(outputNames("x = a + 1\nx * 2"), Names{"result"});
    EXPECT_EQ(outputNames("output x = a + 1\nx * 2"), (Names{"x", "result"}));
    EXPECT_EQ(outputNames("x = t"), Names{"x"});
    EXPECT_EQ(outputNames("output x = index\noutput y = index"), (Names{"x", "y"}));
    const std::vector<Data> all =
        run("x = a + 1\ny = x\noutput y\noutput x\noutput a\noutput w = v", inputs(), 1);
    EXPECT_EQ(all[0].as<float>()[0], 7);
    EXPECT_EQ(all[1].as<float>()[0], 7);
    EXPECT_EQ(all[2].as<float>()[0], 6);
    EXPECT_EQ(all[3].as<float>(), (std::vector<float>{1, 2, 3}));
}

std::string kind(std::string_view text) {
    const FormulaResult result = compileFormula(text, declarationsOf(inputs()));
    if (!result.ok())
        return result.errors[0].message();
    const RegisterInfo& info = result.program.registerInfo(result.outputs[0]);
    return std::string(registerFormatName(info.format)) +
           (info.multiplicity == 1 ? "" : "x" + std::to_string(info.multiplicity));
}

TEST(FormulaLanguage, GivesKinds) {
    EXPECT_EQ(kind("a + b"), "Float32");
    EXPECT_EQ(kind("a + d"), "Float64");
    EXPECT_EQ(kind("a + h"), "Float32");
    EXPECT_EQ(kind("i + a"), "Float64");
    EXPECT_EQ(kind("i + h"), "Float64");
    EXPECT_EQ(kind("i + d"), "Float64");
    EXPECT_EQ(kind("i + 1"), "Int32");
    EXPECT_EQ(kind("i / 2"), "Float64");
    EXPECT_EQ(kind("i / i"), "Float64");
    EXPECT_EQ(kind("i / a"), "Float64");
    EXPECT_EQ(kind("i / 0.5"), "Float64");
    EXPECT_EQ(kind("quotient(i, 2)"), "Int32");
    EXPECT_EQ(kind("\"i8\" + 1000"), "Int32");
    EXPECT_EQ(kind("\"i8\" + \"i16\""), "Int32");
    EXPECT_EQ(kind("\"i8\" + h"), "Half");
    EXPECT_EQ(kind("\"i16\" + h"), "Float32");
    EXPECT_EQ(kind("\"i16\""), "Int16");
    EXPECT_EQ(kind("-\"i8\""), "Int32");
    EXPECT_EQ(kind("h * 0.1"), "Half");
    EXPECT_EQ(kind("1 + 2"), "Float64");
    EXPECT_EQ(kind("v + 1"), "Float32x3");
    EXPECT_EQ(kind("1 - v"), "Float32x3");
    EXPECT_EQ(kind("v > i"), "Triboolx3");
    EXPECT_EQ(kind("v.z"), "Float32");
    EXPECT_EQ(kind("length(v)"), "Float32");
    EXPECT_EQ(kind("dot(v, v)"), "Float32");
    EXPECT_EQ(kind("vec(a, 1, d)"), "Float64x3");
    EXPECT_EQ(kind("vec(i, i)"), "Int32x2");
    EXPECT_EQ(kind("length(vec(i, i))"), "Float64");
    EXPECT_EQ(kind("f16(v)"), "Halfx3");
    EXPECT_EQ(kind("i64(a)"), "Int64");
    EXPECT_EQ(kind("index"), "Float64");
    EXPECT_EQ(kind("row"), "Float64");
    EXPECT_EQ(kind("where(t, i, l)"), "Int64");
    EXPECT_EQ(kind("where(t, i, a)"), "Float64");
    EXPECT_EQ(kind("where(t, 1, 2)"), "Float64");
    EXPECT_EQ(kind("where(t, t, unknown)"), "Tribool");
    EXPECT_EQ(kind("i32(missing)"), "Int32");
}

// Float32 would round the integer, and the comparison would be true.
TEST(FormulaLanguage, ComparesIntegersWithFloatsExactly) {
    const Inputs pair = {{"i", integers({16777217, 16777217})},
                         {"x", floats({16777216, 16777218})},
                         {"h", halves({0x7c00, 0x3c00})}};
    EXPECT_EQ(value("i == x", pair, 2).lanes, (std::vector<unsigned char>{0, 0}));
    EXPECT_EQ(value("x < i", pair, 2).lanes, (std::vector<unsigned char>{1, 0}));
    EXPECT_EQ(value("i < h", pair, 2).lanes, (std::vector<unsigned char>{1, 0}));
    EXPECT_EQ(value("i + x", pair, 2).as<double>()[0], 33554433.0);
    EXPECT_EQ(value("max(i, x)", pair, 2).as<double>(), (std::vector<double>{16777217, 16777218}));
    const Inputs whole = {{"i", integers({7, -7, 7})}, {"k", integers({2, 2, 0})}};
    EXPECT_EQ(value("i / k", whole, 3).as<double>()[0], 3.5);
    EXPECT_EQ(value("i / k", whole, 3).as<double>()[1], -3.5);
    EXPECT_EQ(value("1 / k", whole, 3).as<double>()[0], 0.5);
}

TEST(FormulaLanguage, DeclaresNames) {
    const char* const text = "field nir : f32\n"
                             "grid height : i16\n"
                             "uniform sun : f32x3\n"
                             "sampler noise(f32x2) : f64x2\n"
                             "field b\n"
                             "nir + shift(height, 1, -2) + dot(sun, sun) + noise(1, nir).y + b";
    FormulaDeclaration bound;
    bound.name = "b";
    bound.format = RegisterFormat::Half;
    const FormulaResult result = compileFormula(text, {bound});
    EXPECT_EQ(errorsOf(text, {{"b", halves({})}}), "");
    ASSERT_TRUE(result.ok());
    ASSERT_EQ(result.fields.size(), 3u);
    EXPECT_EQ(result.fields[0].array, "nir");
    EXPECT_EQ(result.fields[1].array, "height");
    EXPECT_EQ(result.fields[1].sort, FormulaFieldSort::Shifted);
    EXPECT_EQ(result.fields[1].offsets, (std::vector<std::int64_t>{1, -2}));
    EXPECT_EQ(result.fields[1].format, RegisterFormat::Int16);
    EXPECT_EQ(result.program.fields[1].name, "shift(height, 1, -2)");
    EXPECT_EQ(result.fields[2].format, RegisterFormat::Half);
    EXPECT_EQ(result.program.uniforms[0].name, "sun");
    EXPECT_EQ(result.program.samplers[0].name, "noise");
}

TEST(FormulaLanguage, MakesFieldsOfPositions) {
    FormulaOptions options;
    options.indexIsField = true;
    const FormulaResult result = compileFormula("row + column + index + row", {}, options);
    ASSERT_TRUE(result.ok());
    ASSERT_EQ(result.fields.size(), 3u);
    EXPECT_EQ(result.fields[0].sort, FormulaFieldSort::Row);
    EXPECT_EQ(result.fields[1].sort, FormulaFieldSort::Column);
    EXPECT_EQ(result.fields[2].sort, FormulaFieldSort::Index);
    EXPECT_TRUE(compileFormula("index").fields.empty());
    // A declared name hides them.
    FormulaDeclaration bound;
    bound.name = "row";
    EXPECT_EQ(compileFormula("row", {bound}).fields[0].sort, FormulaFieldSort::Array);
}

TEST(FormulaLanguage, LoadsEachFieldAndConstantOnce) {
    const FormulaResult result = compileFormula(
        "(a + 1) * (a + 1.0) * v * v + shift(a, 1) + shift(a, 1)", declarationsOf(inputs()));
    ASSERT_TRUE(result.ok());
    int fields = 0;
    int constants = 0;
    for (const Instruction& instruction : result.program.instructions) {
        fields += instruction.op == OpCode::LoadField;
        constants += instruction.op == OpCode::LoadConstant;
    }
    EXPECT_EQ(fields, 3);
    EXPECT_EQ(constants, 1);
}

// A truth value that is never missing needs no steps that make it unknown.
TEST(FormulaLanguage, UsesWhatTheCallerKnowsAboutPresence) {
    FormulaDeclaration truth;
    truth.name = "t";
    truth.format = RegisterFormat::Tribool;
    EXPECT_EQ(compileFormula("not t", {truth}).program.instructions.size(), 9u);
    truth.isAlwaysPresent = true;
    EXPECT_EQ(compileFormula("not t", {truth}).program.instructions.size(), 3u);
    EXPECT_EQ(compileFormula("present(t)", {truth}).program.instructions.size(), 3u);
}

TEST(FormulaLanguage, KeepsThePlaceOfEachInstruction) {
    const std::string text = "# greenness\nndvi = (nir - red) / (nir + red)\n";
    const FormulaResult result =
        compileFormula(text, declarationsOf({{"nir", floats({})}, {"red", floats({})}}));
    ASSERT_TRUE(result.ok());
    EXPECT_EQ(listing(result.program, text, result.places),
              "field nir\n"
              "field red\n"
              "\n"
              "%0      : i64 = ElementIndex       # 2: nir\n"
              "%1 nir  : f32 = LoadField nir[%0]  # 2: nir\n"
              "%2 red  : f32 = LoadField red[%0]  # 2: red\n"
              "%3      : f32 = Subtract %1, %2    # 2: (nir - red)\n"
              "%4      : f32 = Add %1, %2         # 2: (nir + red)\n"
              "%5 ndvi : f32 = Divide %3, %4      # 2: (nir - red) / (nir + red)\n"
              "\n"
              "output ndvi\n");
    const ParseResult again = parseProgram(listing(result.program, text, result.places));
    ASSERT_TRUE(again.ok());
    EXPECT_EQ(listing(again.program), listing(result.program));
}

TEST(FormulaLanguage, ReturnsThePlacesOfProgramText) {
    const std::string text = "\xef\xbb\xbfindex : i64 = ElementIndex # first\n\n"
                             "  a : f32 = LoadField a[index]  \n";
    const ParseResult read = parseProgram(text);
    ASSERT_TRUE(read.ok());
    ASSERT_EQ(read.places.size(), 2u);
    EXPECT_EQ(text.substr(read.places[0].offset, read.places[0].bytes),
              "index : i64 = ElementIndex");
    EXPECT_EQ(text.substr(read.places[1].offset, read.places[1].bytes),
              "a : f32 = LoadField a[index]");
    EXPECT_EQ(read.places[1].line, 3);
}

TEST(FormulaLanguage, CompilesADeclaredNameOfAWordWhenItIsQuoted) {
    EXPECT_EQ(value("\"nan\" + 1", {{"nan", floats({2})}}, 1).as<float>()[0], 3);
    EXPECT_EQ(value("\"and\" + 1", {{"and", floats({2})}}, 1).as<float>()[0], 3);
    EXPECT_EQ(value("min(min, 1)", {{"min", floats({2})}}, 1).as<float>()[0], 1);
}

} // namespace
} // namespace Fenlet::FormulaTests
