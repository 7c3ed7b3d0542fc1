// Every error of a formula: its place, its words and its carets.
#include "formula_bench.h"

#include <fenletir/near_name.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace Fenlet::FormulaTests {
namespace {

FormulaDeclaration declared(const char* name, RegisterFormat format, std::int32_t components = 1) {
    FormulaDeclaration declaration;
    declaration.name = name;
    declaration.format = format;
    declaration.components = components;
    return declaration;
}

/// The names that the formulas of formula_errors.txt can use.
std::vector<FormulaDeclaration> names() {
    using enum RegisterFormat;
    std::vector<FormulaDeclaration> all = {
        declared("nir", Float32),   declared("red", Float32),    declared("i", Int32),
        declared("l", Int64),       declared("h", Half),         declared("c", Tribool),
        declared("v", Float32, 3),  declared("w", Float32, 2),   declared("cv", Tribool, 3),
        declared("lv", Int64, 3),   declared("sun", Float32, 3), declared("height", Float32),
        declared("noise", Float32),
    };
    all[10].sort = FormulaSort::Uniform;
    all[11].axes = 2;
    all[12].sort = FormulaSort::Sampler;
    all[12].coordinates = 2;
    return all;
}

std::string described(const FormulaResult& result) {
    std::string words;
    for (const Diagnostic& error : result.errors)
        words += describeDiagnostic(error, "") + "\n";
    return words;
}

/// The text with the escapes \n, \t and \xhh replaced by what they mean.
std::string unescaped(const std::string& line) {
    std::string text;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '\\' || i + 1 == line.size() || line[i + 1] == 'q') {
            text += line[i];
            continue;
        }
        const char kind = line[++i];
        if (kind == 'x' && i + 2 < line.size()) {
            text += static_cast<char>(std::stoi(line.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            text += kind == 'n' ? '\n' : kind == 't' ? '\t' : kind;
        }
    }
    return text;
}

// Each block of the file is "== formula" and below it what compileFormula says.
TEST(FormulaErrors, SayWhatIsWrongAndWhatWouldBeRight) {
    std::ifstream file(FENLET_FORMULA_ERRORS);
    ASSERT_TRUE(file);
    std::string formula;
    std::string expected;
    int blocks = 0;
    const auto check = [&] {
        if (blocks++ > 0) {
            const FormulaResult result = compileFormula(unescaped(formula), names());
            EXPECT_EQ(described(result), expected) << formula;
            for (const Diagnostic& error : result.errors)
                EXPECT_NE(error.right, "") << formula;
        }
        expected.clear();
    };
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with("== ")) {
            expected += line + "\n";
            continue;
        }
        check();
        formula = line.substr(3);
    }
    check();
    EXPECT_GT(blocks, 180);
}

TEST(FormulaErrors, CountWhatIsSeen) {
    const auto first = [](const std::string& text) {
        const FormulaResult result = compileFormula(text, names());
        return result.errors.empty() ? Diagnostic{} : result.errors[0];
    };
    const Diagnostic marked = first("\xef\xbb\xbfnri");
    EXPECT_EQ(marked.column, 1);
    EXPECT_EQ(marked.shown, "nri\n^^^");
    // An accent that combines with the letter before it.
    const Diagnostic combined = first("e\xcc\x81 = nri");
    EXPECT_EQ(combined.column, 5);
    EXPECT_EQ(combined.shown, "e\xcc\x81 = nri\n    ^^^");
    // Two characters that are two cells wide.
    const Diagnostic wide = first("\xe5\xa4\x89\xe6\x95\xb0 = nri");
    EXPECT_EQ(wide.column, 6);
    EXPECT_EQ(wide.length, 3);
    EXPECT_EQ(wide.shown, "\xe5\xa4\x89\xe6\x95\xb0 = nri\n       ^^^");
    const Diagnostic tab = first("a =\tnri");
    EXPECT_EQ(tab.column, 5);
    EXPECT_EQ(tab.shown, "a = nri\n    ^^^");
    const Diagnostic second = first("a = nir\r\nb = nri\r\n");
    EXPECT_EQ(second.line, 2);
    EXPECT_EQ(second.span.offset, 13u);
    EXPECT_EQ(second.span.bytes, 3u);
    EXPECT_EQ(second.shown, "b = nri\n    ^^^");
    EXPECT_EQ(describeDiagnostic(second, "a.fen").substr(0, 17), "a.fen:2:5: error:");
}

TEST(FormulaErrors, StopAtTwenty) {
    std::string text;
    for (int line = 0; line < 30; ++line)
        text += "a" + std::to_string(line) + " = foo\n";
    const FormulaResult many = compileFormula(text);
    EXPECT_EQ(many.errors.size(), mostFormulaErrors);
    EXPECT_TRUE(many.hasMoreErrors);
    const FormulaResult few = compileFormula("a = foo\nb = foo +\nc = (a + b");
    EXPECT_EQ(few.errors.size(), 3u);
    EXPECT_FALSE(few.hasMoreErrors);
    for (std::size_t i = 1; i < many.errors.size(); ++i)
        EXPECT_LT(many.errors[i - 1].span.offset, many.errors[i].span.offset);
}

std::string repeated(const std::string& piece, int times) {
    std::string text;
    for (int i = 0; i < times; ++i)
        text += piece;
    return text;
}

TEST(FormulaErrors, LimitTheDepth) {
    const struct {
        const char* before;
        const char* after;
    } nests[] = {{"(", ")"},    {"-", ""},     {"not ", ""},
                 {"abs(", ")"}, {"nir[", "]"}, {"min(1, ", ")"}};
    for (const auto& nest : nests) {
        const bool isTruth = nest.before[0] == 'n' && nest.before[1] == 'o';
        const auto text = [&](int depth) {
            return repeated(nest.before, depth) + (isTruth ? "c" : "i") +
                   repeated(nest.after, depth);
        };
        EXPECT_EQ(described(compileFormula(text(deepestFormula), names())), "") << nest.before;
        const FormulaResult deep = compileFormula(text(deepestFormula + 1), names());
        ASSERT_EQ(deep.errors.size(), 1u) << nest.before;
        EXPECT_EQ(deep.errors[0].message(),
                  "this is nested more than 200 levels deep; give a part of it a name on a line "
                  "above");
        EXPECT_EQ(compileFormula(text(100000), names()).errors.size(), 1u);
    }
}

TEST(FormulaErrors, LimitTheNumberOfFields) {
    const auto sumOf = [](std::size_t count) {
        std::string text;
        std::string sum = "0";
        for (std::size_t i = 0; i < count; ++i) {
            text += "field a" + std::to_string(i) + " : f32\n";
            sum += " + a" + std::to_string(i);
        }
        return compileFormula(text + sum);
    };
    EXPECT_TRUE(sumOf(mostFormulaSources).ok());
    const FormulaResult many = sumOf(mostFormulaSources + 1);
    ASSERT_EQ(many.errors.size(), 1u);
    EXPECT_EQ(many.errors[0].message(),
              "this formula uses more than 1000 fields; split it into several");
}

TEST(FormulaErrors, RefuseDeclarationsThatMakeNoSense) {
    FormulaDeclaration none = declared("x", static_cast<RegisterFormat>(99));
    EXPECT_EQ(described(compileFormula("x + x", {none})),
              "1:1: error: \"x\" is of no kind that formulas know; declare it above, such as field "
              "x : f32\nx + x\n^\n");
    EXPECT_TRUE(compileFormula("1", {none}).ok());
    EXPECT_TRUE(compileFormula("field x : f32\nx", {none}).ok());
    none = declared("x", RegisterFormat::Float32, 65);
    none.sort = FormulaSort::Uniform;
    EXPECT_FALSE(compileFormula("x", {none}).ok());
    none.components = 0;
    EXPECT_FALSE(compileFormula("x", {none}).ok());
}

/// Of the processor, so that other programs matter little.
double secondsToCompile(const std::string& text) {
    double best = 1e9;
    for (int round = 0; round < 3; ++round) {
        const std::clock_t begin = std::clock();
        EXPECT_EQ(compileFormula(text, names()).errors.size(), 0u);
        const std::clock_t taken = std::clock() - begin;
        best = std::min(best, static_cast<double>(taken) / CLOCKS_PER_SEC);
    }
    return best;
}

// Four times the text takes about four times as long, and not sixteen times.
TEST(FormulaErrors, CompileInTimeProportionalToTheText) {
    const auto longLine = [](int terms) { return "nir" + repeated(" + red * 2", terms); };
    const auto manyLines = [](int lines) {
        std::string text = "a0 = nir\n";
        for (int line = 1; line < lines; ++line)
            text += "a" + std::to_string(line) + " = a" + std::to_string(line - 1) + " + " +
                    std::to_string(line) + "\n";
        return text;
    };
    const auto openLines = [](int lines) { return "(nir +\n" + repeated("red +\n", lines) + "1)"; };
    EXPECT_LT(secondsToCompile(longLine(20000)), 12 * secondsToCompile(longLine(5000)));
    EXPECT_LT(secondsToCompile(manyLines(20000)), 12 * secondsToCompile(manyLines(5000)));
    EXPECT_LT(secondsToCompile(openLines(20000)), 12 * secondsToCompile(openLines(5000)));
}

TEST(FormulaErrors, CompileTwentyLinesQuickly) {
    std::string text;
    for (int line = 0; line < 20; ++line)
        text += "a" + std::to_string(line) + " = (nir - red) / (nir + red) * " +
                std::to_string(line) + "\n";
    // It takes about 30 microseconds; the limit leaves room for sanitizers and emulators.
    EXPECT_LT(secondsToCompile(text), 0.02);
}

TEST(NearNames, FindTheNearest) {
    const auto nearest = [](const char* wanted, std::initializer_list<const char*> candidates) {
        NearName near(wanted);
        for (const char* const candidate : candidates)
            near.consider(candidate);
        return std::string(near.best());
    };
    EXPECT_EQ(nearest("nri", {"red", "nir"}), "nir");
    EXPECT_EQ(nearest("NIR", {"red", "nir"}), "nir");
    EXPECT_EQ(nearest("clmap", {"max", "clamp", "clump"}), "clamp");
    EXPECT_EQ(nearest("lenght", {"length"}), "length");
    EXPECT_EQ(nearest("normalise", {"normalize"}), "normalize");
    EXPECT_EQ(nearest("heights", {"height", "weights"}), "height");
    EXPECT_EQ(nearest("x", {"y"}), "");
    EXPECT_EQ(nearest("x", {"X"}), "X");
    EXPECT_EQ(nearest("ab", {"ba"}), "ba");
    EXPECT_EQ(nearest("sun", {"moon", "noise"}), "");
    EXPECT_EQ(nearest("", {"a", ""}), "");
    EXPECT_EQ(nearest(std::string(65, 'a').c_str(), {std::string(64, 'a').c_str()}), "");
    EXPECT_EQ(NearName("foo").question(), "");
    NearName near("nri");
    near.consider("nir");
    EXPECT_EQ(near.question(), "did you mean \"nir\"?");
}

} // namespace
} // namespace Fenlet::FormulaTests
