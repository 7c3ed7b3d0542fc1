// The examples in docs/program-text.md and docs/guide.md are correct.
#include "text_support.h"

#include <fenletir/program_builder.h>
#include <fenletir/text.h>

#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet::TextTests {
namespace {

/// The indented blocks of the document, without their indent.
std::vector<std::string> examples() {
    std::ifstream file(FENLET_DOCS "/program-text.md");
    std::vector<std::string> blocks;
    bool isInside = false;
    for (std::string line; std::getline(file, line);) {
        const bool isIndented = line.starts_with("    ");
        if (isIndented && !isInside)
            blocks.emplace_back();
        isInside = isIndented || (isInside && line.empty());
        if (isInside)
            blocks.back() += (isIndented ? line.substr(4) : line) + "\n";
    }
    for (std::string& block : blocks)
        block.erase(block.find_last_not_of('\n') + 2);
    return blocks;
}

/// The program without the names of its registers.
FenletProgram nameless(FenletProgram program) {
    for (RegisterInfo& info : program.registers)
        info.name.clear();
    return program;
}

TEST(TextGuide, ShowsOneProgramAsAListingAndByHand) {
    ASSERT_GE(examples().size(), 2u);
    const std::string listed = examples()[0];
    const ParseResult read = parseProgram(listed);
    ASSERT_TRUE(read.ok()) << read.error.message << "\n" << read.error.shown;
    EXPECT_EQ(listing(read.program), listed);
    const ParseResult byHand = parseProgram(examples()[1]);
    ASSERT_TRUE(byHand.ok()) << byHand.error.message << "\n" << byHand.error.shown;
    EXPECT_EQ(image(nameless(byHand.program)), image(nameless(read.program)));
}

TEST(TextGuide, ShowsAnErrorAsItIs) {
    ASSERT_FALSE(examples().empty());
    const std::string text = "index : i64 = ElementIndex\n"
                             "height : f33 = LoadField elevation[index]\n";
    const ParseError error = parseProgram(text).error;
    EXPECT_EQ(std::to_string(error.line) + ":" + std::to_string(error.column) + ": " +
                  error.message + "\n" + error.shown + "\n",
              examples().back());
}

TEST(TextGuide, ShowsValuesThatCanBeRead) {
    for (const char* value :
         {"true", "false", "unknown", "12", "-7", "0.5", "1e-3", "inf", "-inf", "nan",
          "bits(0x7ff8000000000001)", "(1, 2, 3)", "raw 3 7 (1, 2) (0.5)", "1.", "-2.5E+3"}) {
        const ParseResult result = parseProgram(std::string("constant @0 = ") + value);
        EXPECT_TRUE(result.ok()) << value << ": " << result.error.message;
    }
}

/// The quoted lines of the guide, joined.
std::string quotedInGuide() {
    std::ifstream file(FENLET_DOCS "/guide.md");
    std::string words;
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("> "))
            words += (words.empty() ? "" : " ") + line.substr(2);
    return words;
}

TEST(Guide, QuotesTheErrorOfItsProgram) {
    ProgramBuilder program;
    const auto elevation = program.field("elevation");
    const auto height = program.name(
        program.loadField(elevation, program.elementIndex(), Format::Float32), "height");
    const auto sea = program.loadUniform(program.uniform("sea level"), Format::Half);
    program.output(program.subtract(height, sea), "depth");
    EXPECT_EQ(program.build().error, quotedInGuide());
}

} // namespace
} // namespace Fenlet::TextTests
