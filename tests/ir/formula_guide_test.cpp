// The examples and tables of docs/formulas.md are correct.
#include "formula_bench.h"

#include <fenletir/text.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>

namespace Fenlet::FormulaTests {
namespace {

std::vector<std::string> lines() {
    std::ifstream file(FENLET_DOCS "/formulas.md");
    std::vector<std::string> all;
    for (std::string line; std::getline(file, line);)
        all.push_back(line);
    return all;
}

/// The indented blocks outside C++, without their indent. Empty lines do not end a block.
std::vector<std::string> blocks() {
    std::vector<std::string> all;
    bool isInside = false;
    bool isFenced = false;
    for (const std::string& line : lines()) {
        isFenced = isFenced != line.starts_with("```");
        const bool isIndented = !isFenced && line.starts_with("    ");
        if (isIndented && !isInside)
            all.emplace_back();
        isInside = isIndented || (isInside && line.empty());
        if (isInside)
            all.back() += (isIndented ? line.substr(4) : line) + "\n";
    }
    for (std::string& block : all)
        block.erase(block.find_last_not_of('\n') + 2);
    return all;
}

/// The cells of the rows of a table below the heading `first`.
std::vector<std::vector<std::string>> table(const std::string& first) {
    std::vector<std::vector<std::string>> rows;
    bool isInside = false;
    for (const std::string& line : lines()) {
        if (line.starts_with(first)) {
            isInside = true;
            continue;
        }
        isInside = isInside && line.starts_with("|");
        if (!isInside || line.starts_with("|---"))
            continue;
        std::vector<std::string> cells;
        for (std::size_t at = 1; at < line.size();) {
            const std::size_t end = line.find(" |", at);
            cells.push_back(at + 1 < end ? line.substr(at + 1, end - at - 1) : "");
            at = end + 2;
        }
        rows.push_back(cells);
    }
    return rows;
}

/// What is between the first two backticks.
std::string code(const std::string& cell) {
    const std::size_t begin = cell.find('`') + 1;
    return cell.substr(begin, cell.find('`', begin) - begin);
}

std::vector<FormulaDeclaration> names() {
    using enum RegisterFormat;
    const struct {
        const char* name;
        RegisterFormat format;
        std::int32_t components;
    } all[] = {{"nir", Float32, 1}, {"red", Float32, 1}, {"x", Float32, 1},    {"y", Float32, 1},
               {"z", Float32, 1},   {"low", Float32, 1}, {"high", Float32, 1}, {"v", Float32, 3},
               {"w", Float32, 3},   {"c", Tribool, 1},   {"i", Int32, 1},      {"k", Int32, 1},
               {"j", Int16, 1},     {"l", Int64, 1},     {"h", Half, 1},       {"a", Float32, 1},
               {"d", Float64, 1},   {"g", Float32, 1}};
    std::vector<FormulaDeclaration> declarations;
    for (const auto& each : all) {
        FormulaDeclaration declaration;
        declaration.name = each.name;
        declaration.format = each.format;
        declaration.components = each.components;
        declarations.push_back(declaration);
    }
    return declarations;
}

std::string described(const FormulaResult& result) {
    std::string words;
    for (const Diagnostic& error : result.errors)
        words += describeDiagnostic(error, "") + "\n";
    return words;
}

TEST(FormulaGuide, ShowsFormulasThatCompile) {
    const std::vector<std::string> all = blocks();
    ASSERT_EQ(all.size(), 5u);
    EXPECT_EQ(described(compileFormula(all[0], names())), "");
    EXPECT_EQ(described(compileFormula(all[1])), "");
    EXPECT_EQ(described(compileFormula("(nir - red) / (nir + red)", names())), "");
    // A formula and its error.
    const std::size_t end = all[2].find("\n\n") + 1;
    EXPECT_EQ(described(compileFormula(all[2].substr(0, end), names())), all[2].substr(end + 1));
    const FormulaResult ndvi = compileFormula(all[0], names());
    EXPECT_NE(listing(ndvi.program, all[0], ndvi.places).find(all[3]), std::string::npos);
}

// The C++ of the document.
TEST(FormulaGuide, ShowsHowToCompile) {
    FormulaDeclaration nir, red;
    nir.name = "nir";
    red.name = "red";
    const FormulaResult formula = compileFormula("(nir - red) / (nir + red)", {nir, red});
    for (const Diagnostic& error : formula.errors)
        std::puts(describeDiagnostic(error, "formula").c_str());
    EXPECT_TRUE(formula.ok());
    std::string expected = "FormulaDeclaration nir, red;\n"
                           "nir.name = \"nir\";\n"
                           "red.name = \"red\";\n"
                           "const FormulaResult formula = compileFormula(\"(nir - red) / (nir + "
                           "red)\", {nir, red});\n"
                           "for (const Diagnostic& error : formula.errors)\n"
                           "    std::puts(describeDiagnostic(error, \"formula\").c_str());\n";
    std::string text;
    for (const std::string& line : lines())
        text += line + "\n";
    EXPECT_NE(text.find("```cpp\n" + expected + "```"), std::string::npos);
}

TEST(FormulaGuide, CountsSteps) {
    const auto rows = table("| Function |");
    ASSERT_GT(rows.size(), 20u);
    for (const auto& row : rows) {
        ASSERT_EQ(row.size(), 5u);
        const FormulaResult result = compileFormula(code(row[0]), names());
        EXPECT_EQ(described(result), "");
        const auto steps =
            std::count_if(result.program.instructions.begin(), result.program.instructions.end(),
                          [](const Instruction& instruction) {
                              return instruction.op != OpCode::ElementIndex &&
                                     instruction.op != OpCode::LoadField &&
                                     instruction.op != OpCode::LoadConstant;
                          });
        EXPECT_EQ(std::to_string(steps), row[4]) << row[0];
    }
}

TEST(FormulaGuide, ListsEveryFunction) {
    const auto rows = table("| Function |");
    for (const FormulaFunction& function : formulaFunctions()) {
        const bool isListed = std::any_of(rows.begin(), rows.end(), [&](const auto& row) {
            const std::string name = function.name;
            return row[0].starts_with("`" + name + "(") ||
                   row[1].find("`" + name + "`") != std::string::npos;
        });
        EXPECT_TRUE(isListed) << function.name;
    }
}

TEST(FormulaFunctionTable, IsInOrder) {
    const std::vector<FormulaFunction>& all = formulaFunctions();
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end(), [](const auto& a, const auto& b) {
        return std::string(a.name) < b.name;
    }));
    for (const FormulaFunction& function : all)
        EXPECT_TRUE(std::string(function.usage).starts_with(std::string(function.name) + "("));
}

TEST(FormulaGuide, GivesKinds) {
    const auto rows = table("| | Here |");
    ASSERT_GT(rows.size(), 12u);
    for (const auto& row : rows) {
        const FormulaResult result = compileFormula(code(row[0]), names());
        const std::string here = row[1].substr(0, row[1].find_first_of(",:"));
        if (!result.ok()) {
            EXPECT_EQ(here, "error") << row[0];
            // What the table says to write is what the message says.
            if (row[1].find('`') != std::string::npos) {
                EXPECT_NE(result.errors[0].right.find(code(row[1]).substr(0, 6)), std::string::npos)
                    << row[0] << result.errors[0].right;
            }
            continue;
        }
        const RegisterInfo& info = result.program.registerInfo(result.outputs[0]);
        EXPECT_EQ(registerFormatName(info.format) + std::string(), here == "i32"   ? "Int32"
                                                                   : here == "f32" ? "Float32"
                                                                   : here == "f64" ? "Float64"
                                                                                   : "Tribool")
            << row[0];
    }
}

} // namespace
} // namespace Fenlet::FormulaTests
