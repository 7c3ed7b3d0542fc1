// The place and the message of every error in a text.
#include "text_support.h"

#include <fenletir/program_builder.h>
#include <fenletir/text.h>

#include <algorithm>
#include <gtest/gtest.h>

namespace Fenlet::TextTests {
namespace {

struct Row {
    const char* text;
    int line;
    int column;
    const char* message;
};

void expectRows(std::initializer_list<Row> rows) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        const ParseResult result = parseProgram(row.text);
        EXPECT_FALSE(result.ok());
        EXPECT_EQ(result.error.line, row.line);
        EXPECT_EQ(result.error.column, row.column);
        EXPECT_EQ(result.error.message, row.message);
        EXPECT_EQ(image(result.program), "");
    }
}

TEST(TextErrors, TellWhatALineBeginsWith) {
    expectRows({
        {"\n = 5", 2, 2, "expected a declaration or an instruction, found \"=\""},
        {"5 = Nop", 1, 1, "expected a declaration or an instruction, found \"5\""},
        {"filed x", 1, 7, "expected \":\" and the type of a new register, found \"x\""},
        {"Add %1, %2", 1, 1,
         "expected the register to write, such as \"height : f32 =\", found \"Add\""},
        {"Nop 5", 1, 5, "expected the end of the line, found \"5\""},
        {"i : i64 = Nop", 1, 11, "Nop has no result; write it alone on its line"},
        {"field a b", 1, 9, "expected the end of the line, found \"b\""},
        {"i : i64 = ElementIndex, 5", 1, 23, "expected the end of the line, found \",\""},
    });
}

TEST(TextErrors, TellAboutNames) {
    expectRows({
        {"field", 1, 6,
         "expected a name such as elevation or \"any words\", found the end of the line"},
        {"field 7up", 1, 7, "expected a name such as elevation or \"any words\", found \"7up\""},
        {"field \"sea", 1, 7, "this quoted name does not end on its line"},
        {"field \"sea\nlevel\"", 1, 7, "this quoted name does not end on its line"},
        {"field \"a\\q\"", 1, 9,
         "in a quoted name a backslash begins \\\\, \\\", \\n, \\t or two hexadecimal digits such "
         "as \\x0d"},
        {"field \"a\\x4\"", 1, 9,
         "in a quoted name a backslash begins \\\\, \\\", \\n, \\t or two hexadecimal digits such "
         "as \\x0d"},
        {"field \"a\\x", 1, 9,
         "in a quoted name a backslash begins \\\\, \\\", \\n, \\t or two hexadecimal digits such "
         "as \\x0d"},
        {"field \"a\\", 1, 9,
         "in a quoted name a backslash begins \\\\, \\\", \\n, \\t or two hexadecimal digits such "
         "as \\x0d"},
        {"field a\xc2\xa0", 1, 8, "expected the end of the line, found \"\\xc2\\xa0\""},
    });
}

TEST(TextErrors, TellAboutTypes) {
    expectRows({
        {"a : f33 = ElementIndex", 1, 5,
         "expected a type such as f32 or i64x3, found \"f33\"; did you mean \"f32\"?"},
        {"a : f320 = ElementIndex", 1, 5, "expected a type such as f32 or i64x3, found \"f320\""},
        {"a : f32y3 = ElementIndex", 1, 5, "expected a type such as f32 or i64x3, found \"f32y3\""},
        {"a : f32x = ElementIndex", 1, 9, "expected the multiplicity, found \"=\""},
        {"a : f32x3000000000 = ElementIndex", 1, 9, "the multiplicity is out of range"},
        {"a : f32x3x = ElementIndex", 1, 5,
         "expected a type such as f32 or i64x3, found \"f32x3x\""},
        {"a : format() = ElementIndex", 1, 12, "expected the format number, found \")\""},
        {"a : format(99999999999) = ElementIndex", 1, 12, "the format number is out of range"},
        {"a : format(9 = ElementIndex", 1, 14,
         "expected \")\" after the format number, found \"=\""},
        {"a : = ElementIndex", 1, 5, "expected a type such as f32 or i64x3, found \"=\""},
    });
}

TEST(TextErrors, TellAboutTargets) {
    expectRows({
        {"a = ElementIndex", 1, 3, "expected \":\" and the type of a new register, found \"=\""},
        {"%0 = ElementIndex", 1, 4, "expected \":\" and the type of a new register, found \"=\""},
        {"% : i64 = ElementIndex", 1, 2, "expected the register number, found \":\""},
        {"%-1 : i64 = ElementIndex", 1, 2, "a register number cannot be negative"},
        {"%2147483648 : i64 = ElementIndex", 1, 2, "the register number is out of range"},
        {"a : i64 ElementIndex", 1, 9, "expected \"=\" before an opcode, found \"ElementIndex\""},
        {"a : i64 = ElementIndx", 1, 11,
         "expected an opcode such as Add or LoadField, found \"ElementIndx\"; did you mean "
         "\"ElementIndex\"?"},
        {"a : i64 = 1", 1, 11, "expected an opcode such as Add or LoadField, found \"1\""},
        {"a : i64 = ElementIndex\n a : i64 = ElementIndex", 2, 2,
         "register %0 is already declared in line 1; to write it again, give its name without a "
         "type"},
        {"a : i64 = ElementIndex\n%0 : i64 = ElementIndex", 2, 1,
         "register %0 is already declared in line 1; to write it again, give its number alone"},
        {"a : i64 = ElementIndex\n%0 a = ElementIndex", 2, 1,
         "register %0 is already declared in line 1; to write it again, give its number alone"},
        {"%0 a : i64 = ElementIndex\n%1 a : i64 = ElementIndex\na = ElementIndex", 3, 1,
         "several registers are named \"a\"; use its number instead"},
        {"register a : i64\nregister a", 2, 10, "register %0 is already declared in line 1"},
        {"register a", 1, 11,
         "expected \":\" and the type of a new register, found the end of the line"},
        {"register", 1, 9,
         "expected a name such as %3, height or \"any words\", found the end of the line"},
        {"%2000000000 : i64 = ElementIndex", 1, 1,
         "register numbers must have no gaps, but %0, below %2000000000, is not declared"},
        {"%0 : i64 = ElementIndex\n\n%2 : i64 = ElementIndex", 3, 1,
         "register numbers must have no gaps, but %1, below %2, is not declared"},
        {"%2147483647 : i64 = ElementIndex\nb : i64 = ElementIndex", 2, 1,
         "no register number is left after %2147483647"},
    });
}

TEST(TextErrors, TellAboutOperands) {
    expectRows({
        {"a : f32 = Negate", 1, 17,
         "expected a register, by name or by number such as %3, found the end of the line"},
        {"a : f32 = Negate a", 1, 18, "no register \"a\" is declared above"},
        {"register heigth : f32\nb : f32 = Negate height", 2, 18,
         "no register \"height\" is declared above; did you mean \"heigth\"?"},
        {"a : f32 = Negate %0", 1, 18, "no register %0 is declared above"},
        {"a : f32 = Negate %x", 1, 19, "expected the register number, found \"x\""},
        {"register a : f32\nb : f32 = Add a b", 2, 17,
         "expected \",\" before the next operand, found \"b\""},
        {"register a : f32\nb : f32 = Add a,", 2, 17,
         "expected a register, by name or by number such as %3, found the end of the line"},
        {"%0 a : f32 = LoadConstant 1\n%1 a : f32 = LoadConstant 1\noutput a", 3, 8,
         "several registers are named \"a\"; use its number instead"},
        {"register a : f32\nb : f32 = Component a", 2, 22,
         "expected \"[\" before the component number, found the end of the line"},
        {"register a : f32\nb : f32 = Component a[]", 2, 23,
         "expected the component number, found \"]\""},
        {"register a : f32\nb : f32 = Component a[1", 2, 24,
         "expected \"]\" after the component number, found the end of the line"},
        {"register a : i32\nb : f32 = LoadField x a", 2, 23,
         "expected \"[\" before the element number, found \"a\""},
        {"register a : i32\nb : f32 = LoadField x[a", 2, 24,
         "expected \"]\" after the element number, found the end of the line"},
        {"register a : i32\nb : f32 = Sample x a", 2, 20,
         "expected \"[\" before the coordinates, found \"a\""},
        {"register a : i32\nb : f32 = Sample x[a", 2, 21,
         "expected \"]\" after the coordinates, found the end of the line"},
        {"register a : f32\noutput a\noutput %0", 3, 8, "register %0 is already an output"},
    });
}

TEST(TextErrors, TellAboutFieldsUniformsAndSamplers) {
    expectRows({
        {"a : f32 = LoadUniform", 1, 22,
         "expected a name such as elevation, @0 or \"any words\", found the end of the line"},
        {"a : f32 = LoadUniform @0", 1, 23, "no uniform @0 is declared above"},
        {"a : f32 = LoadUniform @-1", 1, 23, "no uniform @-1 is declared above"},
        {"a : f32 = LoadUniform @x", 1, 24, "expected the number of a uniform, found \"x\""},
        {"uniform sun\na : f32 = LoadUniform sum", 2, 23,
         "no uniform \"sum\" is declared above; did you mean \"sun\"?"},
        {"uniform sun\nuniform sun\na : f32 = LoadUniform sun", 3, 23,
         "several uniforms are named \"sun\"; use a number such as @0 instead"},
        {"a : f32 = LoadUniform sun\nuniform moon", 2, 9,
         "a uniform cannot be declared after the first use of one, in line 1; declare all above "
         "it"},
    });
}

TEST(TextErrors, TellAboutConstants) {
    expectRows({
        {"constant 5", 1, 10, "expected the number of this constant, @0, found \"5\""},
        {"constant @1 = 5", 1, 11, "constants are numbered in order; this one is @0"},
        {"constant @-1 = 5", 1, 11, "expected the number of this constant, found \"-\""},
        {"constant @0 5", 1, 13, "expected \"=\" before the value of a constant, found \"5\""},
        {"constant @0 =", 1, 14,
         "expected a number such as 12, 0.5 or -inf, found the end of the line"},
        {"constant @0 = \"5\"", 1, 15, "expected a number such as 12, 0.5 or -inf, found \"\\\"\""},
        {"constant @0 = yes", 1, 15, "expected a number such as 12, 0.5 or -inf, found \"yes\""},
        {"constant @0 = truer", 1, 15,
         "expected a number such as 12, 0.5 or -inf, found \"truer\""},
        {"constant @0 = 1.2.3", 1, 15, "\"1.2.3\" is not a number"},
        {"constant @0 = 0x10", 1, 15, "\"0x10\" is not a number"},
        {"constant @0 = 9223372036854775808", 1, 15,
         "\"9223372036854775808\" does not fit into 64 bits; a real number is written with a point "
         "or an exponent"},
        {"constant @0 = 1e999", 1, 15, "\"1e999\" is out of range for a 64-bit real number"},
        {"constant @0 = -nan", 1, 15,
         "a NaN with a sign is written by its bits, such as bits(0xfff8000000000000)"},
        {"constant @0 = bits(0x)", 1, 15,
         "bits takes 1 to 16 hexadecimal digits, such as bits(0x7ff8000000000001)"},
        {"constant @0 = bits(7)", 1, 15,
         "bits takes 1 to 16 hexadecimal digits, such as bits(0x7ff8000000000001)"},
        {"constant @0 = bits", 1, 15,
         "bits takes 1 to 16 hexadecimal digits, such as bits(0x7ff8000000000001)"},
        {"constant @0 = bits(0x10000000000000000)", 1, 15,
         "bits takes 1 to 16 hexadecimal digits, such as bits(0x7ff8000000000001)"},
        {"constant @0 = ()", 1, 15, "a constant has at least one number"},
        {"constant @0 = (1, )", 1, 19, "expected a number such as 12, 0.5 or -inf, found \")\""},
        {"constant @0 = (1 2)", 1, 18, "expected \")\" or \",\" in a list of numbers, found \"2\""},
        {"constant @0 = (1,\n2)", 1, 18,
         "expected a number such as 12, 0.5 or -inf, found the end of the line"},
        {"constant @0 = (true)", 1, 16,
         "expected a number such as 12, 0.5 or -inf, found \"true\""},
        {"constant @0 = raw", 1, 18, "expected the multiplicity, found the end of the line"},
        {"constant @0 = raw 1 256 () ()", 1, 21, "the Tribool byte is out of range"},
        {"constant @0 = raw 1 0 (0.5) ()", 1, 24, "expected an integer, found \"0.5\""},
        {"constant @0 = raw 1 0 5", 1, 23, "expected \"(\" before a list of numbers, found \"5\""},
        {"constant @0 = raw 1 0 (5)", 1, 26,
         "expected \"(\" before a list of numbers, found the end of the line"},
        {"a : f32 = LoadConstant @0", 1, 24, "no constant @0 is declared above"},
        {"a : f32 = LoadConstant @x", 1, 25, "expected the number of a constant, found \"x\""},
    });
}

TEST(TextErrors, TellAboutRawLines) {
    expectRows({
        {"raw", 1, 4, "expected an opcode such as Add or LoadField, found the end of the line"},
        {"raw Addd %1 (%1, %1, %1) 0", 1, 5,
         "expected an opcode such as Add or LoadField, found \"Addd\"; did you mean \"Add\"?"},
        {"raw 4294967296 %1 (%1, %1, %1) 0", 1, 5, "the opcode number is out of range"},
        {"raw Add 1 (%1, %1, %1) 0", 1, 9,
         "expected a register number such as %3 or %-1, found \"1\""},
        {"raw Add % (%1, %1, %1) 0", 1, 10, "expected the register number, found \"(\""},
        {"raw Add %1 %1", 1, 12, "expected \"(\" before three operands, found \"%\""},
        {"raw Add %1 (%1 %1, %1) 0", 1, 16, "expected \",\" between operands, found \"%\""},
        {"raw Add %1 (%1, %1, 1) 0", 1, 21,
         "expected a register number such as %3 or %-1, found \"1\""},
        {"raw Add %1 (%1, %1, %1 0", 1, 24, "expected \")\" after three operands, found \"0\""},
        {"raw Add %1 (%1, %1, %1)", 1, 24, "expected the immediate, found the end of the line"},
    });
}

} // namespace
} // namespace Fenlet::TextTests
