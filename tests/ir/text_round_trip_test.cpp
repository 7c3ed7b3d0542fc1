// A listing reads back as the identical program, whatever the program contains.
#include "text_support.h"

#include <fenletir/program_builder.h>
#include <fenletir/text.h>

#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>

namespace Fenlet::TextTests {
namespace {

/// Whether writing and reading gives back the same program, and listing it again the same text.
testing::AssertionResult survives(const FenletProgram& program) {
    const std::string text = listing(program);
    const ParseResult result = parseProgram(text);
    if (!result.ok())
        return testing::AssertionFailure() << result.error.line << ":" << result.error.column
                                           << ": " << result.error.message << "\n"
                                           << result.error.shown << "\nin\n"
                                           << text;
    if (image(result.program) != image(program))
        return testing::AssertionFailure() << "written:\n"
                                           << image(program) << "read:\n"
                                           << image(result.program) << "from\n"
                                           << text;
    if (listing(result.program) != text)
        return testing::AssertionFailure() << "listed anew:\n"
                                           << listing(result.program) << "before:\n"
                                           << text;
    return testing::AssertionSuccess();
}

/// Removes instructions, ends of pools and names without which the program still fails.
FenletProgram shrunk(FenletProgram program) {
    for (std::size_t place = program.instructions.size(); place-- > 0;) {
        FenletProgram smaller = program;
        smaller.instructions.erase(smaller.instructions.begin() +
                                   static_cast<std::ptrdiff_t>(place));
        if (!survives(smaller))
            program = smaller;
    }
    const auto shorten = [&program](auto pool) {
        while (!(program.*pool).empty()) {
            FenletProgram smaller = program;
            (smaller.*pool).pop_back();
            if (survives(smaller))
                break;
            program = smaller;
        }
    };
    shorten(&FenletProgram::registers);
    shorten(&FenletProgram::constants);
    shorten(&FenletProgram::fields);
    shorten(&FenletProgram::uniforms);
    shorten(&FenletProgram::samplers);
    return program;
}

TEST(ProgramText, ReadsBackAsTheIdenticalProgram) {
    std::size_t longest = 0;
    std::size_t rawLines = 0;
    for (std::uint64_t seed = 0; seed < 20000; ++seed) {
        const FenletProgram program = ProgramDice(seed).draw();
        const testing::AssertionResult result = survives(program);
        ASSERT_TRUE(result) << "seed " << seed << "\n" << survives(shrunk(program)).message();
        const std::string text = listing(program);
        longest = std::max(longest, program.instructions.size());
        rawLines += text.find("\nraw ") != std::string::npos;
    }
    // The random programs covered long programs and raw lines.
    EXPECT_EQ(longest, 15u);
    EXPECT_GT(rawLines, 2000u);
}

TEST(ProgramText, ReadsBackWhateverOneInstructionHolds) {
    constexpr std::int32_t values[] = {-2, -1, 0, 1, 2, 1000};
    FenletProgram program;
    program.registers = {{1, RegisterFormat::Float32, "a", false},
                         {3, RegisterFormat::Tribool, "", true}};
    program.constants = {Constant::ofTribool(1), Constant::ofIntegers({4, 5})};
    program.fields = {{"f"}, {"f"}};
    program.uniforms = {{"u"}, {""}};
    program.samplers = {{"s"}, {"f"}};
    program.instructions.resize(1);
    Instruction& instruction = program.instructions.front();
    for (std::uint32_t op = 0; op <= opCodeCount; ++op)
        for (const std::int32_t result : values)
            for (const std::int32_t operand : values)
                for (const std::int32_t immediate : values)
                    for (int slot = 0; slot < 8; ++slot) {
                        instruction.op = static_cast<OpCode>(op);
                        instruction.result = result;
                        for (int bit = 0; bit < 3; ++bit)
                            instruction.operands[bit] = (slot >> bit & 1) != 0 ? operand : -1;
                        instruction.immediate = immediate;
                        ASSERT_TRUE(survives(program));
                    }
}

TEST(ProgramText, ReadsBackEveryNameOfOneOrTwoBytes) {
    FenletProgram program;
    program.fields.resize(1);
    program.registers.resize(1);
    program.registers.front().output = true;
    for (int first = 0; first < 256; ++first)
        for (int second = -1; second < 256; ++second) {
            std::string name(1, static_cast<char>(static_cast<unsigned char>(first)));
            if (second >= 0)
                name += static_cast<char>(static_cast<unsigned char>(second));
            program.fields.front().name = name;
            program.registers.front().name = name;
            const ParseResult result = parseProgram(listing(program));
            ASSERT_TRUE(result.ok()) << listing(program) << result.error.message;
            ASSERT_EQ(image(result.program), image(program));
        }
}

TEST(ProgramText, HasNoByteThatDisturbsATerminal) {
    for (std::uint64_t seed = 0; seed < 2000; ++seed)
        for (const char byte : listing(ProgramDice(seed).draw())) {
            const auto value = static_cast<unsigned char>(byte);
            ASSERT_TRUE(value == '\n' || (value >= 0x20 && value != 0x7f)) << "seed " << seed;
        }
}

/// The processor time to build, write and read a program of that many lines.
std::clock_t timeOfLines(int lines) {
    const std::clock_t begin = std::clock();
    ProgramBuilder builder;
    Register sum = builder.constant(Format::Float32, {0.5});
    for (int line = 0; line < lines; ++line)
        sum = builder.add(sum, sum);
    builder.output(sum, "sum");
    const BuildResult built = builder.build();
    EXPECT_TRUE(built.ok());
    const ParseResult result = parseProgram(listing(built.program));
    EXPECT_TRUE(result.ok()) << result.error.message;
    EXPECT_EQ(image(result.program), image(built.program));
    return std::clock() - begin;
}

// Ten times the lines take a little more than ten times as long, because of the caches. If
// building, writing or reading took quadratic time, it would take a hundred times as long.
TEST(ProgramText, TakesTimeInProportionToItsLines) {
    EXPECT_LT(timeOfLines(100000), 40 * timeOfLines(10000));
}

} // namespace
} // namespace Fenlet::TextTests
