// The simplifier: each rule, what only looks as if a rule applied, and random programs, simplified
// and not.
#include "../oracle/exact_conversions.h"
#include "../oracle/lane_bits.h"
#include "random_arrays.h"
#include "sound_program.h"

#include <fenletarrays/array_run.h>
#include <fenletarrays/simplify.h>
#include <fenlethosts/sinks.h>
#include <fenlethosts/uniform_table.h>
#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

namespace Fenlet {
namespace {

using Lines = std::vector<std::string>;

/// What every program here begins with: registers %0 to %12.
constexpr const char* begin = "%0 : i64 = ElementIndex\n"
                              "%1 : f32 = LoadField a[%0]\n"
                              "%2 : f32 = LoadField b[%0]\n"
                              "%3 : f32x3 = LoadField v[%0]\n"
                              "%4 : f32x3 = LoadField w[%0]\n"
                              "%5 : i32 = LoadField n[%0]\n"
                              "%6 : i32 = LoadField m[%0]\n"
                              "%7 : tribool = LoadField t[%0]\n"
                              "%8 : f32 = LoadUniform u\n"
                              "%9 : f16 = LoadField h[%0]\n"
                              "%10 : i32x3 = LoadField k[%0]\n"
                              "%11 : triboolx3 = LoadField s[%0]\n"
                              "%12 : f64 = LoadField d[%0]\n";

FenletProgram read(const std::string& text) {
    ParseResult result = parseProgram(begin + text);
    EXPECT_TRUE(result.ok()) << result.error.message << "\n" << result.error.shown;
    return result.program;
}

/// The instructions after the first ones, without the types of their registers.
Lines stepsOf(const FenletProgram& program) {
    std::istringstream text(listing(program));
    Lines lines;
    for (std::string line; std::getline(text, line);) {
        const std::size_t equals = line.find(" = ");
        if (line[0] != '%' || equals == std::string::npos || std::atoi(line.c_str() + 1) < 13)
            continue;
        const std::string result = line.substr(0, line.find(' '));
        lines.push_back(result + line.substr(equals));
    }
    return lines;
}

bool uses(const SimplifiedProgram& simplified, const std::string& rule) {
    return std::any_of(simplified.rewrites.begin(), simplified.rewrites.end(),
                       [&rule](const Rewrite& rewrite) { return rewrite.rule == rule; });
}

/// Checks that a rule turns the instructions of the text into these.
void expectSteps(const std::string& rule, const std::string& text, const Lines& expected) {
    const FenletProgram program = read(text);
    const SimplifiedProgram simplified = simplifyProgram(program);
    EXPECT_EQ(stepsOf(simplified.program), expected) << text;
    EXPECT_TRUE(uses(simplified, rule)) << text;
    EXPECT_TRUE(isSound(verifyProgram(simplified.program))) << text;
    ASSERT_EQ(simplified.origins.size(), simplified.program.instructions.size());
    for (const std::int32_t origin : simplified.origins)
        EXPECT_TRUE(origin >= 0 && origin < program.instructionCount());
}

void expectKept(const std::string& text) {
    const FenletProgram program = read(text);
    const SimplifiedProgram simplified = simplifyProgram(program);
    EXPECT_EQ(stepsOf(simplified.program), stepsOf(program)) << text;
    EXPECT_TRUE(simplified.rewrites.empty()) << simplified.rewrites.front().rule << "\n" << text;
}

TEST(Simplify, ComputesOperationsOnConstants) {
    expectSteps("constant folding",
                "%13 : f32 = LoadConstant 2.0\n%14 : f32 = LoadConstant 0.5\n"
                "%15 : f32 = Divide %13, %14\n%16 : f32 = Negate %15\n%17 : f32 = Add %1, %16\n"
                "output %17\n",
                {"%16 = LoadConstant -4.0", "%17 = Add %1, %16"});
    expectSteps("constant folding",
                "%13 : i32 = LoadConstant 2147483647\n%14 : i32 = LoadConstant 1\n"
                "%15 : i32 = Add %13, %14\noutput %15\n",
                {"%15 = LoadConstant -2147483648"});
    expectSteps("constant folding",
                "%13 : f32 = LoadConstant 2.0\n%14 : f32 = LoadConstant 0.5\n"
                "%15 : tribool = Less %13, %14\n%16 : tribool = And %15, %7\noutput %16\n",
                {"%15 = LoadConstant false", "%16 = And %15, %7"});
    expectSteps("constant folding",
                "%13 : f32x3 = LoadConstant (2.0, 3.0, 6.0)\n%14 : f32 = Length %13\n"
                "output %14\n",
                {"%14 = LoadConstant 7.0"});
    expectSteps("constant folding",
                "%13 : f32x3 = LoadConstant (2.0, 3.0, 6.0)\n%14 : i64 = Component %13[2]\n"
                "output %14\n",
                {"%14 = LoadConstant 6"});
}

TEST(Simplify, FoldsNoConstantThatIsMissingOrHasSeveralTruths) {
    expectKept("%13 : i32 = LoadConstant 7\n%14 : i32 = LoadConstant 0\n"
               "%15 : i32 = Divide %13, %14\noutput %15\n");
    expectKept("%13 : tribool = LoadConstant unknown\n%14 : f32 = LoadConstant 1.0\n"
               "%15 : f32 = LoadConstant 2.0\n%16 : f32 = Select %13, %14, %15\noutput %16\n");
    expectKept("%13 : f32x3 = LoadConstant (1.0, 0.0, 0.0)\n%14 : f32 = LoadConstant 1.0\n"
               "%15 : triboolx3 = Equal %13, %14\n%16 : f32x3 = Select %15, %3, %4\noutput %16\n");
    // The register has zeros besides.
    expectKept("%13 : f32x3 = LoadConstant 1.0\n%14 : f32x3 = Multiply %3, %13\noutput %14\n");
    // 300 is no constant of an Int8 register, although the register holds it.
    expectKept("%13 : i32 = LoadConstant 200\n%14 : i32 = LoadConstant 100\n"
               "%15 : i8 = Add %13, %14\noutput %15\n");
    // The value of a uniform is not known.
    expectKept("%13 : f32 = LoadConstant 1.0\n%14 : f32 = Add %8, %13\noutput %14\n");
}

TEST(Simplify, TakesTheArmOfAConstantCondition) {
    expectSteps("constant condition",
                "%13 : tribool = LoadConstant true\n%14 : f32 = Add %1, %2\n"
                "%15 : f32 = Select %13, %14, %2\n%16 : f32 = Multiply %15, %1\noutput %16\n",
                {"%14 = Add %1, %2", "%16 = Multiply %14, %1"});
    expectSteps("constant condition",
                "%13 : tribool = LoadConstant false\n%14 : i32 = Select %13, %1, %2\n"
                "output %14\n",
                {"%14 = Component %2[0]"});
    // Several components are converted by the same instruction.
    expectSteps("constant condition",
                "%13 : tribool = LoadConstant false\n%14 : f32x3 = Add %3, %4\n"
                "%15 : f64x3 = Select %13, %14, %3\noutput %15\n",
                {"%13 = LoadConstant false", "%15 = Select %13, %3, %3"});
}

TEST(Simplify, TakesArmsThatAreTheSame) {
    expectSteps("same arms",
                "%13 : tribool = IsTrue %7\n%14 : f32 = Select %13, %1, %1\n"
                "%15 : f32 = Add %14, %2\noutput %15\n",
                {"%15 = Add %1, %2"});
    // An unknown condition makes the element missing, and a field can be unknown.
    expectKept("%13 : f32 = Select %7, %1, %1\noutput %13\n");
    expectKept("%13 : tribool = Less %1, %2\n%14 : f32 = Select %13, %1, %1\noutput %14\n");
}

TEST(Simplify, JoinsConversions) {
    expectSteps("conversion",
                "%13 : i64 = Component %5[0]\n%14 : i32 = Component %13[0]\n"
                "%15 : i32 = Add %14, %6\noutput %15\n",
                {"%15 = Add %5, %6"});
    expectSteps("conversion",
                "%13 : f64 = Component %5[0]\n%14 : f16 = Component %13[0]\noutput %14\n",
                {"%14 = Component %5[0]"});
    expectSteps("conversion",
                "%13 : f32 = Add %1, %2\n%14 : f64 = Component %13[0]\n"
                "%15 : f32 = Component %14[0]\n%16 : f32 = Multiply %15, %1\noutput %16\n",
                {"%13 = Add %1, %2", "%16 = Multiply %13, %1"});
    expectSteps("conversion",
                "%13 : f32 = Component %3[1]\n%14 : i32 = Component %13[0]\noutput %14\n",
                {"%14 = Component %3[1]"});
    expectSteps("conversion", "%13 : f32 = Component %1[0]\n%14 : f32 = Add %13, %2\noutput %14\n",
                {"%14 = Add %1, %2"});
}

TEST(Simplify, KeepsConversionsThatChangeValues) {
    // A signalling NaN becomes quiet.
    expectKept("%13 : f64 = Component %1[0]\n%14 : f32 = Component %13[0]\noutput %14\n");
    expectKept("%13 : f32 = Component %9[0]\n%14 : f16 = Component %13[0]\noutput %14\n");
    // The first conversion rounds, truncates or wraps.
    expectKept("%13 : f32 = Component %5[0]\n%14 : i32 = Component %13[0]\noutput %14\n");
    expectKept("%13 : i32 = Component %0[0]\n%14 : i64 = Component %13[0]\noutput %14\n");
    expectKept("%13 : f32 = Component %12[0]\n%14 : f16 = Component %13[0]\noutput %14\n");
    expectKept("%13 : i64 = Component %1[0]\n%14 : f32 = Component %13[0]\noutput %14\n");
}

TEST(Simplify, NegatesComparisons) {
    expectSteps("negated comparison",
                "%13 : tribool = Equal %1, %2\n%14 : tribool = Not %13\noutput %14\n",
                {"%14 = NotEqual %1, %2"});
    expectSteps("negated comparison",
                "%13 : tribool = NotEqual %1, %2\n%14 : tribool = Not %13\noutput %14\n",
                {"%14 = Equal %1, %2"});
    const char* const pairs[][2] = {{"Less", "GreaterEqual"},
                                    {"LessEqual", "Greater"},
                                    {"Greater", "LessEqual"},
                                    {"GreaterEqual", "Less"}};
    for (const auto& [one, other] : pairs) {
        const std::string name = one;
        expectSteps("negated comparison",
                    "%13 : tribool = " + name + " %5, %6\n%14 : tribool = Not %13\noutput %14\n",
                    {"%14 = " + std::string(other) + " %5, %6"});
        // Both are false where a side is a NaN.
        expectKept("%13 : tribool = " + name + " %1, %2\n%14 : tribool = Not %13\noutput %14\n");
        expectKept("%13 : tribool = " + name + " %5, %2\n%14 : tribool = Not %13\noutput %14\n");
    }
    // The comparison is needed anyway, and negating its bytes is less work.
    expectKept("%13 : tribool = Equal %1, %2\n%14 : tribool = Not %13\noutput %13\noutput %14\n");
}

TEST(Simplify, DropsDoubleNegation) {
    expectSteps("double negation",
                "%13 : tribool = Less %1, %2\n%14 : tribool = Not %13\n%15 : tribool = Not %14\n"
                "%16 : tribool = And %15, %7\noutput %16\n",
                {"%13 = Less %1, %2", "%16 = And %13, %7"});
    // A field may hold stray bytes.
    expectKept("%13 : tribool = Not %7\n%14 : tribool = Not %13\n%15 : f32 = Select %14, %1, %2\n"
               "output %15\n");
}

TEST(Simplify, DropsIsTrueOfAKnownTruth) {
    expectSteps("known truth",
                "%13 : tribool = IsTrue %7\n%14 : tribool = IsTrue %13\n"
                "%15 : f32 = Select %14, %1, %2\noutput %15\n",
                {"%13 = IsTrue %7", "%15 = Select %13, %1, %2"});
    expectSteps("known truth",
                "%13 : f32 = LoadConstant 5.0\n%14 : tribool = Less %8, %13\n"
                "%15 : tribool = IsTrue %14\n%16 : f32 = Select %15, %1, %2\noutput %16\n",
                {"%13 = LoadConstant 5.0", "%14 = Less %8, %13", "%16 = Select %14, %1, %2"});
    expectKept("%13 : tribool = Less %1, %2\n%14 : tribool = IsTrue %13\noutput %14\n");
    // This is never unknown, but it can be missing.
    expectKept("%13 : tribool = Not %7\n%14 : tribool = IsTrue %13\noutput %14\n");
}

TEST(Simplify, DropsNeutralOperands) {
    const auto expectDropped = [](const std::string& constant, const std::string& step) {
        expectSteps("neutral operand",
                    "%13 : f32 = Subtract %1, %2\n%14 : f32 = LoadConstant " + constant +
                        "\n%15 : f32 = " + step + "\n%16 : f32 = Multiply %15, %1\noutput %16\n",
                    {"%13 = Subtract %1, %2", "%16 = Multiply %13, %1"});
    };
    expectDropped("1.0", "Multiply %13, %14");
    expectDropped("1.0", "Multiply %14, %13");
    expectDropped("1.0", "Divide %13, %14");
    expectDropped("-0.0", "Add %13, %14");
    expectDropped("-0.0", "Add %14, %13");
    expectDropped("0.0", "Subtract %13, %14");
    for (const char* const step : {"Multiply %5, %13", "Divide %5, %13"})
        expectSteps("neutral operand",
                    std::string("%13 : i32 = LoadConstant 1\n%14 : i32 = ") + step +
                        "\n%15 : i32 = Add %14, %6\noutput %15\n",
                    {"%15 = Add %5, %6"});
    expectSteps("neutral operand",
                "%13 : i32 = LoadConstant 0\n%14 : i32 = Subtract %5, %13\n"
                "%15 : i32 = Add %13, %14\n%16 : i32 = Add %15, %6\noutput %16\n",
                {"%16 = Add %5, %6"});
}

TEST(Simplify, KeepsOperandsThatAreNotNeutral) {
    const auto expectKeptStep = [](const std::string& constant, const std::string& step) {
        expectKept("%13 : f32 = Subtract %1, %2\n%14 : f32 = LoadConstant " + constant +
                   "\n%15 : f32 = " + step + "\noutput %13\noutput %15\n");
    };
    // -0.0 would stay -0.0.
    expectKeptStep("0.0", "Add %13, %14");
    expectKeptStep("-0.0", "Subtract %13, %14");
    expectKeptStep("0.0", "Subtract %14, %13");
    expectKeptStep("1.0", "Divide %14, %13");
    // Infinity times 0 is a NaN, and so is infinity minus infinity.
    expectKeptStep("0.0", "Multiply %13, %14");
    expectKeptStep("1.0", "Subtract %13, %13\n%16 : f32 = Add %15, %14\noutput %16");
    // A field may hold a signalling NaN, and so may its negative.
    expectKept("%13 : f32 = LoadConstant 1.0\n%14 : f32 = Multiply %1, %13\noutput %14\n");
    expectKept("%13 : f32 = LoadConstant 1.0\n%14 : f32 = Negate %1\n"
               "%15 : f32 = Multiply %14, %13\noutput %15\n");
    expectKept("%13 : f32 = LoadConstant 1.0\n%14 : f32 = Select %7, %1, %2\n"
               "%15 : f32 = Multiply %14, %13\noutput %15\n");
    // The operand is converted.
    expectKept("%13 : f32 = LoadConstant 1.0\n%14 : f64 = Add %1, %2\n"
               "%15 : f32 = Multiply %14, %13\noutput %15\n");
    // One operand has fewer components than the result.
    expectKept("%13 : f32x3 = LoadConstant (1.0, 1.0, 1.0)\n%14 : f32 = Add %1, %2\n"
               "%15 : f32x3 = Multiply %14, %13\n%16 : f32x3 = Negate %15\noutput %16\n");
    expectKept("%13 : f32x3 = LoadConstant (1.0, 1.0, 2.0)\n%14 : f32x3 = Add %3, %4\n"
               "%15 : f32x3 = Multiply %14, %13\n%16 : f32x3 = Negate %15\noutput %16\n");
}

TEST(Simplify, DropsNeutralTruths) {
    const std::string less = "%13 : tribool = Less %1, %2\n";
    const std::string rest = "\n%16 : tribool = Or %15, %7\noutput %16\n";
    const Lines expected = {"%13 = Less %1, %2", "%16 = Or %13, %7"};
    const char* const rule = "neutral truth";
    expectSteps(rule,
                less + "%14 : tribool = LoadConstant true\n%15 : tribool = And %13, %14" + rest,
                expected);
    expectSteps(rule,
                less + "%14 : tribool = LoadConstant false\n%15 : tribool = Or %14, %13" + rest,
                expected);
    expectSteps(rule,
                less + "%15 : tribool = And %13, %13\n%14 : tribool = Or %15, %15\n"
                       "%16 : tribool = Or %14, %7\noutput %16\n",
                expected);
    expectSteps(rule,
                less + "%14 : tribool = LoadConstant false\n%15 : tribool = And %14, %13" + rest,
                {"%14 = LoadConstant false", "%16 = Or %14, %7"});
    // Stray bytes, and missing elements.
    expectKept("%13 : tribool = LoadConstant true\n%14 : tribool = And %7, %13\noutput %14\n");
    expectKept("%13 : tribool = And %7, %7\noutput %13\n");
    expectKept("%13 : tribool = Or %7, %7\noutput %13\n");
    expectKept("%13 : tribool = LoadConstant false\n%14 : tribool = And %7, %13\noutput %14\n");
    expectKept("%13 : tribool = LoadConstant true\n%14 : tribool = Or %7, %13\noutput %14\n");
    expectKept(less + "%14 : tribool = LoadConstant unknown\n%15 : tribool = And %13, %14\n"
                      "output %15\n");
}

TEST(Simplify, JoinsCommonSubexpressions) {
    expectSteps("common subexpression",
                "%13 : f32 = Add %1, %2\n%14 : f32 = Add %1, %2\n%15 : f32 = Multiply %13, %14\n"
                "output %15\n",
                {"%13 = Add %1, %2", "%15 = Multiply %13, %13"});
    expectSteps("common subexpression",
                "%13 : f32 = LoadConstant 2.0\n%14 : f32 = Multiply %1, %13\n"
                "%15 : f32 = LoadConstant 2.0\n%16 : f32 = Multiply %1, %15\n"
                "%17 : f32 = Add %14, %16\noutput %17\n",
                {"%13 = LoadConstant 2.0", "%14 = Multiply %1, %13", "%17 = Add %14, %14"});
    expectSteps("common subexpression",
                "%13 : f32 = Add %1, %2\n%14 : f32 = Add %1, %2\noutput %13\noutput %14\n",
                {"%13 = Add %1, %2", "%14 = Component %13[0]"});
    expectSteps("common subexpression",
                "%13 : i64 = ElementIndex\n%14 : f32 = LoadField a[%13]\noutput %14\n",
                {"%14 = LoadField a[%0]"});
}

TEST(Simplify, KeepsWhatOnlyLooksTheSame) {
    // Sides exchanged, another kind, number of components, component or constant.
    expectKept("%13 : f32 = Add %1, %2\n%14 : f32 = Add %2, %1\noutput %13\noutput %14\n");
    expectKept("%13 : f32 = Add %1, %2\n%14 : f64 = Add %1, %2\noutput %13\noutput %14\n");
    expectKept("%13 : f32 = Component %3[0]\n%14 : f32 = Component %3[1]\n"
               "output %13\noutput %14\n");
    expectKept("constant @0 = (1.0, 2.0, 3.0)\n%13 : f32x3 = LoadConstant @0\n"
               "%14 : f32 = LoadConstant @0\n%15 : f32x3 = Multiply %13, %14\noutput %15\n");
    expectKept("%13 : f32 = LoadConstant 0.0\n%14 : f32 = Add %13, %1\n"
               "%15 : f32 = LoadConstant -0.0\n%16 : f32 = Add %15, %1\noutput %14\noutput %16\n");
    // Calls of providers.
    expectKept("%13 : f32 = LoadField a[%0]\n%14 : f32 = LoadUniform u\n"
               "%15 : f32 = Sample s[%1]\n%16 : f32 = Sample s[%1]\n"
               "output %13\noutput %14\noutput %15\noutput %16\n");
    // An output of several components cannot be copied by less work.
    expectKept("%13 : f32x3 = Add %3, %4\n%14 : f32x3 = Add %3, %4\noutput %13\noutput %14\n");
}

TEST(Simplify, WorksOnTheOnlyComponentThatIsRead) {
    const char* const rule = "component of operation";
    expectSteps(rule,
                "%13 : f32x3 = Multiply %3, %8\n%14 : f32 = Component %13[2]\n"
                "%15 : f32 = Add %14, %1\noutput %15\n",
                {"%16 = Component %3[2]", "%17 = Multiply %16, %8", "%15 = Add %17, %1"});
    // The kind in between stays.
    expectSteps(rule, "%13 : f16x3 = Divide %3, %8\n%14 : f64 = Component %13[0]\noutput %14\n",
                {"%15 = Component %3[0]", "%16 = Divide %15, %8", "%14 = Component %16[0]"});
    // A chain of operations.
    expectSteps(rule,
                "%13 : f32x3 = Subtract %8, %3\n%14 : f32x3 = Negate %13\n"
                "%15 : triboolx3 = Less %14, %1\n%16 : triboolx3 = Not %15\n"
                "%17 : tribool = Component %16[1]\n%18 : tribool = Component %16[1]\n"
                "%19 : tribool = And %17, %18\n%20 : tribool = Or %19, %7\noutput %20\n",
                {"%21 = Component %3[1]", "%22 = Subtract %8, %21", "%23 = Negate %22",
                 "%24 = Less %23, %1", "%25 = Not %24", "%20 = Or %25, %7"});
    // Components of constants are constants.
    expectSteps(rule,
                "%13 : f32x3 = LoadConstant (1.0, 2.0, 3.0)\n%14 : f32x3 = Add %3, %13\n"
                "%15 : f32 = Component %14[1]\n%16 : f32 = Multiply %15, %1\noutput %16\n",
                {"%17 = Component %3[1]", "%18 = LoadConstant 2.0", "%19 = Add %17, %18",
                 "%16 = Multiply %19, %1"});
    expectSteps(rule,
                "%13 : f32x3 = LoadConstant (1.0, 2.0, 3.0)\n%14 : f32x3 = Select %7, %3, %13\n"
                "%15 : f32 = Component %14[1]\n%16 : f32 = Add %15, %1\noutput %16\n",
                {"%17 = Component %3[1]", "%18 = LoadConstant 2.0", "%19 = Select %7, %17, %18",
                 "%16 = Add %19, %1"});
    expectSteps(rule, "%13 : f32x3 = Multiply %3, %3\n%14 : f32 = Component %13[1]\noutput %14\n",
                {"%15 = Component %3[1]", "%14 = Multiply %15, %15"});
}

TEST(Simplify, KeepsOperationsOfWhichAllComponentsMatter) {
    // A zero divisor in another component makes the element missing.
    expectKept("%13 : i32x3 = Divide %10, %5\n%14 : i32 = Component %13[1]\noutput %14\n");
    // So does an unknown condition, or an arm that is missing.
    expectKept("%13 : f32x3 = LoadConstant (1.0, 2.0, 3.0)\n%14 : f32x3 = Select %11, %13, %13\n"
               "%15 : f32 = Component %14[1]\noutput %15\n");
    // Lengths need all components.
    expectKept("%13 : f32 = Length %3\noutput %13\n");
    // Another instruction reads another component, or the result is an output.
    expectKept("%13 : f32x3 = Multiply %3, %8\n%14 : f32 = Component %13[0]\n"
               "%15 : f32 = Component %13[1]\noutput %14\noutput %15\n");
    expectKept("%13 : f32x3 = Multiply %3, %8\n%14 : f32 = Component %13[0]\n"
               "output %13\noutput %14\n");
    // A sampler gets all of them.
    expectKept("%13 : f32x3 = Multiply %3, %8\n%14 : f32 = Sample s[%13]\n"
               "%15 : f32 = Component %13[1]\noutput %14\noutput %15\n");
    // Taking two components would be as much work.
    expectKept("%13 : f32x3 = Multiply %3, %4\n%14 : f32 = Component %13[0]\noutput %14\n");
}

TEST(Simplify, WritesOutputsWithoutCopies) {
    expectSteps("copied output",
                "%13 : f32 = Add %1, %2\n%14 : f32 = Multiply %13, %2\n"
                "%15 : f32 = Component %13[0]\noutput %14\noutput %15\n",
                {"%15 = Add %1, %2", "%14 = Multiply %15, %2"});
    expectSteps("copied output",
                "%13 : f32x3 = Multiply %3, %8\n%14 : f32 = Component %13[2]\noutput %14\n",
                {"%15 = Component %3[2]", "%14 = Multiply %15, %8"});
    expectSteps("copied output",
                "%13 : f32 = Add %1, %2\n%14 : f32 = Component %13[0]\n"
                "%15 : f32 = Component %13[0]\noutput %14\noutput %15\n",
                {"%14 = Add %1, %2", "%15 = Component %14[0]"});
    // A provider is asked with its own register, and both registers are outputs.
    expectKept("%13 : f32 = Component %1[0]\noutput %13\n");
    expectKept("%13 : i64 = Component %0[0]\noutput %13\n");
    expectKept("%13 : f32 = Add %1, %2\n%14 : f32 = Component %13[0]\noutput %13\noutput %14\n");
}

TEST(Simplify, DropsDeadStepsButNoProviders) {
    expectSteps("dead step",
                "%13 : i32 = Component %1[0]\n%14 : f32 = LoadField q[%13]\n"
                "%15 : f32 = Add %14, %1\nNop\n%16 : f32 = Multiply %1, %2\noutput %16\n",
                {"%13 = Component %1[0]", "%14 = LoadField q[%13]", "%16 = Multiply %1, %2"});
}

TEST(Simplify, TouchesNoRegisterThatIsWrittenTwice) {
    // The second constant keeps the presence that the field has left.
    expectKept("%13 : f32 = LoadField q[%0]\n%13 = LoadConstant 1.0\n"
               "%14 : f32 = Add %13, %1\noutput %14\n");
    // %13 is another value each time.
    expectKept("%13 : f32 = Add %1, %2\n%14 : f32 = Add %13, %2\n%13 = Multiply %1, %2\n"
               "%15 : f32 = Add %13, %2\noutput %14\noutput %15\n");
    expectKept("%13 : f32 = Add %1, %2\n%14 : f32 = Component %13[0]\n%13 = Multiply %1, %2\n"
               "%15 : f32 = Add %14, %13\noutput %15\n");
    expectKept("%13 : f32 = Add %1, %2\n%14 : tribool = Equal %13, %2\n"
               "%13 = Multiply %1, %2\n%15 : tribool = Not %14\n"
               "%16 : f32 = Select %15, %13, %1\noutput %16\n");
    expectKept("%13 : tribool = Equal %1, %2\n%14 : tribool = Not %13\n%13 = Not %14\n"
               "%15 : tribool = Not %13\noutput %15\n");
    expectKept("%13 : f32 = Add %1, %2\n%14 : f32 = Component %13[0]\n%13 = Add %13, %2\n"
               "output %13\noutput %14\n");
    // Its operands may be replaced by registers that keep their values.
    expectSteps("conversion",
                "%13 : f32 = Component %1[0]\n%14 : f32 = Add %1, %2\n%14 = Add %14, %13\n"
                "output %14\n",
                {"%14 = Add %1, %2", "%14 = Add %14, %1"});
}

TEST(Simplify, LeavesProgramsThatAreNotSoundAsTheyAre) {
    for (const char* const text :
         {"%13 : f32x3 = Add %1, %2\n%14 : f32x3 = Add %1, %2\noutput %14\n",
          "register %13 : f32\n%14 : f32 = Add %13, %13\n"
          "%15 : f32 = Add %13, %13\noutput %14\n",
          "%13 : i64 = Add %0, %0\n%14 : i64 = Add %0, %0\noutput %14\n"}) {
        const FenletProgram program = read(text);
        const SimplifiedProgram simplified = simplifyProgram(program);
        EXPECT_EQ(listing(simplified.program), listing(program));
        EXPECT_TRUE(simplified.rewrites.empty());
    }
}

TEST(Simplify, ComputesTheRegistersThatAreAskedFor) {
    const std::string text = "%13 : f32 = Add %1, %2\n%14 : f32 = Multiply %13, %2\n";
    EXPECT_EQ(stepsOf(simplifyProgram(read(text + "output %14\n"), {13}).program),
              (Lines{"%13 = Add %1, %2"}));
    // All of them, where none is marked.
    EXPECT_EQ(stepsOf(simplifyProgram(read(text)).program),
              (Lines{"%13 = Add %1, %2", "%14 = Multiply %13, %2"}));
}

TEST(Simplify, TellsWhereInstructionsComeFrom) {
    const FenletProgram program =
        read("%13 : f32 = Add %1, %2\n%14 : f32x3 = Multiply %3, %8\n"
             "%15 : f32 = Component %14[0]\n%16 : f32 = Add %15, %2\noutput %16\n");
    const SimplifiedProgram simplified = simplifyProgram(program);
    EXPECT_EQ(stepsOf(simplified.program),
              (Lines{"%17 = Component %3[0]", "%18 = Multiply %17, %8", "%16 = Add %18, %2"}));
    EXPECT_EQ(simplified.origins,
              (std::vector<std::int32_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 14, 16}));
    std::vector<std::string> rewrites;
    for (const Rewrite& rewrite : simplified.rewrites)
        rewrites.push_back(std::to_string(rewrite.instruction) + " " + rewrite.rule);
    EXPECT_EQ(rewrites, (std::vector<std::string>{"13 dead step", "14 component of operation",
                                                  "15 conversion"}));
}

TEST(Simplify, TakesLongChainsWithoutDeepRecursion) {
    std::string text;
    constexpr int length = 20000;
    for (int i = 0; i < length; ++i) {
        const int before = i == 0 ? 3 : 12 + i;
        text += "%" + std::to_string(13 + i) + " : f32x3 = Multiply %" + std::to_string(before) +
                ", %8\n";
    }
    text += "%" + std::to_string(13 + length) + " : f32 = Component %" +
            std::to_string(12 + length) + "[1]\noutput %" + std::to_string(13 + length) + "\n";
    const SimplifiedProgram simplified = simplifyProgram(read(text));
    EXPECT_EQ(simplified.program.instructionCount(), 13 + 1 + length);
    EXPECT_EQ(simplified.program.registers.back().multiplicity, 1);
}

// What an array run says and refuses is the same with and without the simplifier.

TEST(SimplifiedRun, SpeaksOfTheProgramAsItWasWritten) {
    struct Declining final : CpuFieldAccessor {
        bool read(const FieldRead&) override { return false; }
    };
    const FenletProgram program =
        parseProgram("%0 : i64 = ElementIndex\n%1 : i64 = ElementIndex\nNop\n"
                     "%2 : f32 = LoadField first[%1]\n%3 : f32 = LoadField second[%1]\n"
                     "%4 : f32 = Add %2, %3\noutput %4\n")
            .program;
    const std::vector<float> first(4);
    std::vector<float> sum(4);
    std::vector<unsigned char> present(4);
    Declining second;
    std::string errors[2];
    for (const bool simplify : {false, true}) {
        ArrayRunOptions options;
        options.simplify = simplify;
        ArrayRun run(program, options);
        EXPECT_FALSE(
            run.evaluate({{"first", first}, {"second", second}},
                         {{"%4", MutableArrayView::of(sum).withPresence(present.data())}}));
        EXPECT_EQ(run.refusal(), ExecRefusal::ProviderFailed);
        errors[simplify ? 1 : 0] = run.error();
    }
    EXPECT_EQ(errors[1], errors[0]);
    EXPECT_NE(errors[1].find("instruction 4 (LoadField)"), std::string::npos) << errors[1];
}

TEST(SimplifiedRun, RefusesTheSameOutputs) {
    // Simplified, the quotient and the choice are never missing and the truth never unknown.
    const FenletProgram program =
        parseProgram("%0 : i64 = ElementIndex\n%1 : i32 = LoadField n[%0]\n"
                     "%2 : i32 = LoadConstant 1\n%3 quotient : i32 = Divide %1, %2\n"
                     "%4 : tribool = LoadConstant true\n%5 : tribool = LoadConstant unknown\n"
                     "%6 : tribool = And %4, %5\n%7 : tribool = LoadConstant false\n"
                     "%8 truth : tribool = And %6, %7\n%9 : tribool = Or %8, %5\n"
                     "%10 : i32 = Divide %1, %1\n%11 choice : i32 = Select %4, %1, %10\n")
            .program;
    const std::vector<std::int32_t> numbers = {1, 2};
    std::vector<std::int32_t> whole(2);
    std::vector<unsigned char> truths(2);
    MutableArrayView bools = MutableArrayView::of(truths);
    bools.kind = ArrayKind::Bool;
    for (const char* const name : {"quotient", "truth", "choice"}) {
        std::string errors[2];
        for (const bool simplify : {false, true}) {
            ArrayRunOptions options;
            options.simplify = simplify;
            ArrayRun run(program, options);
            const bool isTruth = std::string(name) == "truth";
            EXPECT_FALSE(run.prepare({{"n", numbers}},
                                     {{name, isTruth ? bools : MutableArrayView::of(whole)}}));
            errors[simplify ? 1 : 0] = run.error();
        }
        EXPECT_EQ(errors[1], errors[0]);
        EXPECT_NE(errors[1], "");
    }
}

TEST(SimplifiedRun, SimplifiesAgainForOtherOutputs) {
    const FenletProgram program =
        parseProgram("%0 : i64 = ElementIndex\n%1 : f32x3 = LoadField v[%0]\n"
                     "%2 : f32 = LoadUniform u\n%3 product : f32x3 = Multiply %1, %2\n"
                     "%4 first : f32 = Component %3[0]\n")
            .program;
    const std::vector<float> values = {1, 2, 3, 4, 5, 6};
    ArrayView vectors = ArrayView::of(values.data(), 2);
    vectors.components = 3;
    vectors.axes[0].stride = 12;
    std::vector<float> first(2);
    std::vector<float> products(6);
    MutableArrayView product = MutableArrayView::of(products.data(), 2);
    product.components = 3;
    product.axes[0].stride = 12;
    ArrayRun run(program);
    for (const float scale : {2.0f, 3.0f}) {
        ASSERT_TRUE(run.evaluate({{"v", vectors}, {"u", scale}}, {{"first", first}}))
            << run.error();
        EXPECT_EQ(first, (std::vector<float>{scale, 4 * scale}));
        EXPECT_EQ(run.figures().droppedSteps, 1);
        ASSERT_TRUE(
            run.evaluate({{"v", vectors}, {"u", scale}}, {{"first", first}, {"product", product}}))
            << run.error();
        EXPECT_EQ(products[5], 6 * scale);
        EXPECT_EQ(run.figures().droppedSteps, 0);
    }
}

// Random programs, run by an interpreter as they are and simplified.

/// Whether two lanes have the same bits. If `isNanOpen`, all quiet NaNs count as the same: which
/// one of two NaNs an operation returns depends on its kernel.
bool areAlike(CpuElementKind kind, const unsigned char* left, const unsigned char* right,
              bool isNanOpen) {
    const std::uint64_t a = Oracle::loadBits(kind, left);
    const std::uint64_t b = Oracle::loadBits(kind, right);
    if (a == b || !isNanOpen || kind == CpuElementKind::Tribool || kind == CpuElementKind::Int32 ||
        kind == CpuElementKind::Int64)
        return a == b;
    const std::uint64_t quiet = kind == CpuElementKind::Half      ? 0x0200u
                                : kind == CpuElementKind::Float32 ? 0x00400000u
                                                                  : 0x0008000000000000u;
    return Oracle::isNan(kind, a) && Oracle::isNan(kind, b) && (a & b & quiet) != 0;
}

class Comparison {
  public:
    explicit Comparison(std::uint64_t seed)
        : chance(seed), program(soundProgram(chance, !chance.oneIn(4))), dataSeed(chance.bits()) {
        for (std::int32_t number = 0; number < program.registerCount(); ++number)
            if (isWritten(number) && (chance.oneIn(4) || (outputs.empty() && chance.oneIn(3))))
                outputs.push_back(number);
        if (outputs.empty())
            outputs.push_back(program.instructions.front().result);
        setUniforms();
    }

    /// Returns the first difference, or an empty text.
    std::string run(std::map<std::string, int>& events);
    std::string listed() const { return listing(program) + "\n" + listing(simplified.program); }

  private:
    struct Outcome {
        std::vector<CollectedRegister> registers;
        Lines log;
        bool evaluated = false;
    };

    bool isWritten(std::int32_t number) const {
        return std::any_of(program.instructions.begin(), program.instructions.end(),
                           [number](const Instruction& one) {
                               return one.op != OpCode::Nop && one.result == number;
                           });
    }
    void setUniforms();
    Outcome evaluate(const FenletProgram& which, int blockSize, long long count, int declineAt);

    Chance chance;
    FenletProgram program;
    std::uint64_t dataSeed;
    SimplifiedProgram simplified;
    std::vector<int> outputs;
    UniformTable uniforms;
};

void Comparison::setUniforms() {
    for (const Instruction& one : program.instructions) {
        if (one.op != OpCode::LoadUniform)
            continue;
        const auto components =
            static_cast<std::size_t>(program.registerInfo(one.result).multiplicity);
        std::vector<double> values;
        for (std::size_t c = 0; c < components; ++c) {
            const std::uint64_t bits = Model::randomComponent(chance, CpuElementKind::Float64);
            values.emplace_back();
            std::memcpy(&values.back(), &bits, sizeof bits);
        }
        uniforms.set(one.immediate, Constant::ofReals(values));
    }
}

Comparison::Outcome Comparison::evaluate(const FenletProgram& which, int blockSize, long long count,
                                         int declineAt) {
    std::vector<std::unique_ptr<ComputedField>> fields;
    std::vector<CpuFieldAccessor*> fieldPointers;
    for (std::size_t i = 0; i < which.fields.size(); ++i) {
        fields.push_back(std::make_unique<ComputedField>(dataSeed + i, i == 1 ? declineAt : -1));
        fieldPointers.push_back(fields.back().get());
    }
    ComputedSampler sampler(dataSeed, -1);
    FenletSampler* const samplers[] = {&sampler};
    Interpreter interpreter;
    Outcome outcome;
    if (!interpreter.configure(which, blockSize))
        return outcome;
    CollectingSink sink(interpreter.registerFile(), outputs, 0, count);
    const Bindings bindings{fieldPointers.data(), static_cast<std::int32_t>(fieldPointers.size()),
                            &uniforms, samplers, 1};
    outcome.evaluated = interpreter.evaluate(0, count, bindings, sink);
    outcome.registers = sink.collected();
    for (const auto& field : fields)
        outcome.log.insert(outcome.log.end(), field->log.begin(), field->log.end());
    outcome.log.insert(outcome.log.end(), sampler.log.begin(), sampler.log.end());
    return outcome;
}

std::string Comparison::run(std::map<std::string, int>& events) {
    simplified = simplifyProgram(program, {outputs.begin(), outputs.end()});
    for (const Rewrite& rewrite : simplified.rewrites)
        ++events[rewrite.rule];
    const bool isNanOpen =
        uses(simplified, "component of operation") || uses(simplified, "constant folding");
    events["programs to the bit"] += isNanOpen ? 0 : 1;
    for (const Finding& finding : verifyProgram(simplified.program))
        if (spoilsResults(finding) && finding.code != FindingCode::ConstantWidth &&
            finding.code != FindingCode::ConstantValue)
            return "simplified: " + describeFinding(finding);
    const int blockSize = 1 + chance.below(40);
    const long long count = 1 + chance.below(120);
    const int declineAt = chance.oneIn(8) ? chance.below(3) : -1;
    const Outcome plain = evaluate(program, blockSize, count, declineAt);
    const Outcome simple = evaluate(simplified.program, blockSize, count, declineAt);
    if (simple.evaluated != plain.evaluated)
        return "one of the two ends early";
    if (simple.log != plain.log)
        return "the providers were asked otherwise";
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const CollectedRegister& wanted = plain.registers[i];
        const CollectedRegister& got = simple.registers[i];
        const std::string name = "register " + std::to_string(outputs[i]);
        if (got.validity != wanted.validity)
            return name + ": the presence differs";
        const CpuElementKind kind = blockElement(program.registerInfo(outputs[i]).format);
        const auto size = static_cast<std::size_t>(elementSize(kind));
        for (std::size_t byte = 0; byte < wanted.values.size(); byte += size)
            if (!areAlike(kind, got.values.data() + byte, wanted.values.data() + byte, isNanOpen))
                return name + ", lane " + std::to_string(byte / size) + " differs";
    }
    return {};
}

TEST(SimplifyModel, KeepsEveryByteOfRandomPrograms) {
    const char* const asked = std::getenv("FENLET_ARRAY_CASES");
    const char* const from = std::getenv("FENLET_ARRAY_SEED");
    const std::uint64_t first = from != nullptr ? std::strtoull(from, nullptr, 10) : 1;
    const std::uint64_t cases = asked != nullptr ? std::strtoull(asked, nullptr, 10) : 4000;
    std::map<std::string, int> events;
    for (std::uint64_t seed = first; seed < first + cases; ++seed) {
        Comparison comparison(seed);
        const std::string difference = comparison.run(events);
        ASSERT_EQ(difference, "") << "seed " << seed << "\n" << comparison.listed();
    }
    std::printf("%llu random programs for arrays agree\n", static_cast<unsigned long long>(cases));
    if (cases < 1000)
        return;
    for (const char* const name :
         {"constant folding", "constant condition", "same arms", "conversion", "negated comparison",
          "double negation", "known truth", "neutral operand", "neutral truth", "copied output",
          "common subexpression", "component of operation", "dead step", "programs to the bit"})
        EXPECT_GT(events[name], static_cast<int>(cases / 1000)) << name;
}

} // namespace
} // namespace Fenlet
