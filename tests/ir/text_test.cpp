// The exact text of typical programs, and texts written by hand.
#include "text_support.h"

#include <fenletir/program_builder.h>
#include <fenletir/text.h>

#include <climits>
#include <gtest/gtest.h>
#include <limits>

namespace Fenlet::TextTests {
namespace {

FenletProgram slopeProgram() {
    ProgramBuilder builder;
    const FieldHandle elevation = builder.field("elevation");
    const UniformHandle sun = builder.uniform("sun");
    const Register index = builder.name(builder.elementIndex(), "index");
    const Register normal =
        builder.name(builder.loadField(elevation, index, Format::Float32, 3), "normal");
    const Register light = builder.multiply(normal, builder.loadUniform(sun, Format::Float32, 3));
    const Register up = builder.component(light, 2);
    const Register isDark = builder.less(up, builder.constant(Format::Float32, {0.0}));
    const Register shade = builder.select(isDark, builder.constant(Format::Float32, {0.25}), up);
    builder.output(shade, "shade");
    return builder.build().program;
}

/// Reads a program from its text. If the text cannot be read, fails the test and returns an empty
/// program.
FenletProgram read(std::string_view text) {
    const ParseResult result = parseProgram(text);
    EXPECT_TRUE(result.ok()) << result.error.line << ":" << result.error.column << ": "
                             << result.error.message << "\n"
                             << result.error.shown;
    return result.program;
}

TEST(Listings, ShowOneInstructionALineInColumns) {
    EXPECT_EQ(listing(slopeProgram()), R"(field elevation
uniform sun

%0 index  : i64     = ElementIndex
%1 normal : f32x3   = LoadField elevation[%0]
%2        : f32x3   = LoadUniform sun
%3        : f32x3   = Multiply %1, %2
%4        : f32     = Component %3[2]
%5        : f32     = LoadConstant 0.0
%6        : tribool = Less %4, %5
%7        : f32     = LoadConstant 0.25
%8 shade  : f32     = Select %6, %7, %4

output shade
)");
}

TEST(Listings, OfNothingAreEmpty) {
    EXPECT_EQ(listing({}), "");
    EXPECT_EQ(image(read("")), "");
}

TEST(Listings, ShowConstantsExactly) {
    ProgramBuilder builder;
    builder.truthConstant(Truth::Unknown);
    builder.integerConstant(Format::Int64, {INT64_MIN, 0, 9007199254740993});
    builder.constant(Format::Float64, {0.1, -0.0, 1e300, 16777217.0});
    builder.constant(Format::Float32, {std::numeric_limits<double>::infinity()});
    builder.constant(Format::Half, {std::numeric_limits<double>::quiet_NaN()});
    builder.constant(Format::Half, {-std::numeric_limits<double>::quiet_NaN()});
    EXPECT_EQ(listing(builder.build().program),
              R"(%0 : tribool = LoadConstant unknown
%1 : i64x3   = LoadConstant (-9223372036854775808, 0, 9007199254740993)
%2 : f64x4   = LoadConstant (0.1, -0.0, 1e+300, 16777217.0)
%3 : f32     = LoadConstant inf
%4 : f16     = LoadConstant nan
%5 : f16     = LoadConstant bits(0xfff8000000000000)
)");
}

TEST(Listings, DeclareConstantsThatAreSharedOrUnused) {
    FenletProgram program = read("a : f32 = LoadConstant 0.5\nb : f64 = LoadConstant @0");
    program.constants.push_back(Constant::ofIntegers({7}));
    EXPECT_EQ(listing(program), R"(constant @0 = 0.5
constant @1 = 7

%0 a : f32 = LoadConstant @0
%1 b : f64 = LoadConstant @0
)");
}

TEST(Listings, DeclareRegistersThatAreReadTooEarlyOrNeverWritten) {
    FenletProgram program;
    program.registers = {{1, RegisterFormat::Int32, "early", false},
                         {1, RegisterFormat::Int32, "twice", true},
                         {3, RegisterFormat::Half, "", true}};
    program.instructions = {{OpCode::Negate, 1, {0, -1, -1}, -1},
                            {OpCode::Add, 0, {1, 1, -1}, -1},
                            {OpCode::Nop, -1, {-1, -1, -1}, -1},
                            {OpCode::Negate, 1, {1, -1, -1}, -1}};
    EXPECT_EQ(listing(program), R"(register %0 early : i32
register %2       : f16x3

%1 twice : i32 = Negate %0
%0             = Add %1, %1
Nop
%1             = Negate %1

output twice
output %2
)");
}

TEST(Listings, ShowWhatIsWrongInPlainView) {
    FenletProgram program;
    program.registers = {{-1, static_cast<RegisterFormat>(26), "sea level", true},
                         {1, RegisterFormat::Float32, "a\"\n\xff", true}};
    program.constants = {{3, 7, {1, 2}, {0.5}}};
    program.fields = {{""}, {"h\xc3\xb6he"}};
    program.instructions = {{static_cast<OpCode>(26), 1, {-1, 900, 5}, INT_MIN},
                            {OpCode::Add, 1, {1, 900, -1}, -1},
                            {OpCode::LoadField, 1, {1, -1, -1}, 0},
                            {OpCode::LoadField, 1, {1, -1, -1}, 1},
                            {OpCode::LoadField, 1, {1, -1, -1}, 2}};
    EXPECT_EQ(listing(program), "field \"\"\n"
                                "field h\xc3\xb6he\n"
                                "\n"
                                "constant @0 = raw 3 7 (1, 2) (0.5)\n"
                                "\n"
                                "register %0 \"sea level\" : format(26)x-1\n"
                                "register %1 \"a\\\"\\n\\xff\" : f32\n"
                                "\n"
                                "raw 26 %1 (%-1, %900, %5) -2147483648\n"
                                "raw Add %1 (%1, %900, %-1) -1\n"
                                "%1 = LoadField @0[%1]\n"
                                "%1 = LoadField h\xc3\xb6he[%1]\n"
                                "raw LoadField %1 (%1, %-1, %-1) 2\n"
                                "\n"
                                "output \"sea level\"\n"
                                "output \"a\\\"\\n\\xff\"\n");
}

TEST(Listings, QuoteNamesThatAreNoWordsOrWouldNotShow) {
    const struct {
        std::string name;
        std::string shown;
    } rows[] = {
        {"height_2", "height_2"},
        {"_", "_"},
        {"2height", "\"2height\""},
        {"a-b", "\"a-b\""},
        {"#1", "\"#1\""},
        {"", "\"\""},
        {"\"\\", "\"\\\"\\\\\""},
        {"\t\r\n", "\"\\t\\x0d\\n\""},
        {std::string("\0\x1b\x7f", 3), "\"\\x00\\x1b\\x7f\""},
        {"h\xc3\xb6he", "h\xc3\xb6he"},                                 // a Latin letter
        {"\xe9\xab\x98 \xe5\xba\xa6", "\"\xe9\xab\x98 \xe5\xba\xa6\""}, // Chinese, and a space
        {"\xf0\x9f\x8c\x8d", "\xf0\x9f\x8c\x8d"},                       // beyond the first 65536
        {"a\xc2\xa0", "\"a\\xc2\\xa0\""},                 // a space that does not break
        {"\xc2\x85", "\"\\xc2\\x85\""},                   // a control character
        {"\xe2\x80\xae", "\"\\xe2\\x80\\xae\""},          // turns the direction of the line
        {"\xef\xbb\xbf", "\"\\xef\\xbb\\xbf\""},          // a mark of byte order
        {"\xe3\x80\x80", "\"\\xe3\\x80\\x80\""},          // a wide space
        {"\xf3\xa0\x80\xa0", "\"\\xf3\\xa0\\x80\\xa0\""}, // a tag that does not show
        {"\xed\xa0\x80", "\"\\xed\\xa0\\x80\""},          // half of a pair
        {"\xc1\xbf", "\"\\xc1\\xbf\""},                   // too long for its number
        {"\xe0\x9f\xbf", "\"\\xe0\\x9f\\xbf\""},          // the same, in three bytes
        {"\xf0\x8f\xbf\xbf", "\"\\xf0\\x8f\\xbf\\xbf\""}, // the same, in four
        {"\xf4\x90\x80\x80", "\"\\xf4\\x90\\x80\\x80\""}, // beyond the last
        {"\xc3", "\"\\xc3\""},                            // cut off
        {"\xc3x\x80", "\"\\xc3x\\x80\""},
        {"\xff\xf8", "\"\\xff\\xf8\""},
    };
    for (const auto& row : rows) {
        FenletProgram program;
        program.fields = {{row.name}};
        EXPECT_EQ(listing(program), "field " + row.shown + "\n");
    }
}

TEST(Listings, KeepTheirColumnsBesideOneLongName) {
    FenletProgram program;
    program.registers = {{1, RegisterFormat::Int64, std::string(30, 'n'), false},
                         {1, RegisterFormat::Int64, "i", false}};
    program.instructions = {{OpCode::ElementIndex, 0, {-1, -1, -1}, -1},
                            {OpCode::ElementIndex, 1, {-1, -1, -1}, -1}};
    EXPECT_EQ(listing(program), "%0 nnnnnnnnnnnnnnnnnnnnnnnnnnnnnn : i64 = ElementIndex\n"
                                "%1 i : i64 = ElementIndex\n");
}

TEST(HandWrittenText, NeedsNoNumbersNorDeclarationsNorSpaces) {
    EXPECT_EQ(image(read(R"(
# The shade of a slope.
  index:i64=ElementIndex   # counts from 0
normal : f32x3 = LoadField elevation [ index ]
    light : f32x3 = LoadUniform sun
product : f32x3 = Multiply normal,light
	up : f32 = Component product[2]
zero : f32 = LoadConstant 0.0
isDark : tribool = Less up, zero
quarter : f32 = LoadConstant (0.25)
shade : f32 = Select isDark, quarter, up
output shade)")),
              image(read(R"(field elevation
uniform sun
%0 index : i64 = ElementIndex
%1 normal : f32x3 = LoadField elevation[%0]
%2 light : f32x3 = LoadUniform sun
%3 product : f32x3 = Multiply %1, %2
%4 up : f32 = Component %3[2]
%5 zero : f32 = LoadConstant 0.0
%6 isDark : tribool = Less %4, %5
%7 quarter : f32 = LoadConstant 0.25
%8 shade : f32 = Select %6, %7, %4
output shade
)")));
}

TEST(HandWrittenText, ReadsLinesThatEndWithCarriageReturns) {
    EXPECT_EQ(image(read("a : i64 = ElementIndex\r\n\r\noutput a\r\n")),
              image(read("a : i64 = ElementIndex\noutput a")));
}

TEST(HandWrittenText, TellsTheLineOfEachInstruction) {
    const std::string text = "# Two fields.\r\n"
                             "field a\n"
                             "\n"
                             "i : i64 = ElementIndex # the first\n"
                             "register x : f32\n"
                             "Nop\n"
                             "  \n"
                             "x = LoadField a[i]";
    EXPECT_EQ(parseProgram(text).lines, (std::vector<int>{4, 6, 8}));
    EXPECT_EQ(parseProgram(text + "\n\noutput x\n").lines, (std::vector<int>{4, 6, 8}));
    EXPECT_EQ(parseProgram(text + "\noutput y\n").lines, std::vector<int>());
    EXPECT_EQ(parseProgram(text + "\n%9 : f32 = Negate x\n").lines, std::vector<int>());
    EXPECT_EQ(parseProgram("").lines, std::vector<int>());
}

TEST(HandWrittenText, NumbersRegistersAfterTheHighestAbove) {
    const FenletProgram program = read("%1 b : i64 = ElementIndex\n"
                                       "c : i64 = ElementIndex\n"
                                       "%0 a : i64 = ElementIndex\n"
                                       "d : i64 = ElementIndex\n");
    ASSERT_EQ(program.registerCount(), 4);
    for (std::int32_t number = 0; number < 4; ++number)
        EXPECT_EQ(program.registerInfo(number).name, std::string(1, "abcd"[number]));
}

TEST(HandWrittenText, WritesARegisterAgainByItsNameAlone) {
    const FenletProgram program = read("sum : f32 = LoadConstant 1\nsum = Add sum, sum");
    ASSERT_EQ(program.instructionCount(), 2);
    EXPECT_EQ(program.registerCount(), 1);
    EXPECT_EQ(program.instructions[1].result, 0);
}

TEST(HandWrittenText, ReservesNoWord) {
    const FenletProgram program = read("field : i64 = ElementIndex\n"
                                       "Nop : i64 = ElementIndex\n"
                                       "raw : f32 = LoadField output[field]\n"
                                       "true : f32 = Negate raw\n"
                                       "raw = Negate true\n"
                                       "output field\n");
    ASSERT_EQ(program.registerCount(), 4);
    EXPECT_EQ(program.instructionCount(), 5);
    EXPECT_TRUE(program.registerInfo(0).output);
    ASSERT_EQ(program.fields.size(), 1u);
    EXPECT_EQ(program.fields[0].name, "output");
}

TEST(HandWrittenText, TakesAListWithOneRealNumberForRealNumbers) {
    const FenletProgram program = read("a : f32x3 = LoadConstant (1, 2.5, -9223372036854775809)");
    ASSERT_EQ(program.constants.size(), 1u);
    EXPECT_EQ(program.constants[0].reals, (std::vector<double>{1, 2.5, -9223372036854775808.0}));
    EXPECT_TRUE(program.constants[0].integers.empty());
    EXPECT_EQ(program.constants[0].multiplicity, 3);
}

TEST(HandWrittenText, KeepsIntegersExact) {
    const FenletProgram program = read("a : i64 = LoadConstant 9223372036854775807");
    ASSERT_EQ(program.constants.size(), 1u);
    EXPECT_EQ(program.constants[0].integers, std::vector<std::int64_t>{INT64_MAX});
}

TEST(HandWrittenText, MayHoldAnyNumberOfRegistersOfAnyWidth) {
    const FenletProgram program = read("register a : f32x2147483647");
    ASSERT_EQ(program.registerCount(), 1);
    EXPECT_EQ(program.registerInfo(0).multiplicity, INT_MAX);
}

} // namespace
} // namespace Fenlet::TextTests
