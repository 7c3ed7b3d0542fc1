// The records of a program and their lookups: numbering, arities, names, constants, registers.
#include <fenletir/program.h>

#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace Fenlet {
namespace {

TEST(OpCodes, HaveTheTokenOfTheirNumbering) {
    EXPECT_EQ(opCodeTableToken(), 6155);
}

TEST(OpCodes, HaveTheirNumbersArityAndName) {
    const struct {
        OpCode op;
        std::int32_t arity;
        const char* name;
    } rows[] = {
        {OpCode::Nop, 0, "Nop"},
        {OpCode::ElementIndex, 0, "ElementIndex"},
        {OpCode::LoadConstant, 0, "LoadConstant"},
        {OpCode::LoadUniform, 0, "LoadUniform"},
        {OpCode::LoadField, 1, "LoadField"},
        {OpCode::Sample, 1, "Sample"},
        {OpCode::Component, 1, "Component"},
        {OpCode::Negate, 1, "Negate"},
        {OpCode::Not, 1, "Not"},
        {OpCode::Length, 1, "Length"},
        {OpCode::IsTrue, 1, "IsTrue"},
        {OpCode::Add, 2, "Add"},
        {OpCode::Subtract, 2, "Subtract"},
        {OpCode::Multiply, 2, "Multiply"},
        {OpCode::Divide, 2, "Divide"},
        {OpCode::Less, 2, "Less"},
        {OpCode::LessEqual, 2, "LessEqual"},
        {OpCode::Greater, 2, "Greater"},
        {OpCode::GreaterEqual, 2, "GreaterEqual"},
        {OpCode::Equal, 2, "Equal"},
        {OpCode::NotEqual, 2, "NotEqual"},
        {OpCode::And, 2, "And"},
        {OpCode::Or, 2, "Or"},
        {OpCode::Select, 3, "Select"},
    };
    std::uint32_t number = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(static_cast<std::uint32_t>(row.op), number++) << row.name;
        EXPECT_EQ(opCodeArity(row.op), row.arity) << row.name;
        EXPECT_STREQ(opCodeName(row.op), row.name);
    }
    EXPECT_EQ(number, opCodeCount);
}

TEST(OpCodes, OutsideTheTableTakeNoOperandAndHaveNoName) {
    for (const std::uint32_t number : {24u, 25u, 255u, 256u, 0x7FFFFFFFu, 0x80000000u, UINT_MAX}) {
        EXPECT_EQ(opCodeArity(static_cast<OpCode>(number)), 0) << number;
        EXPECT_STREQ(opCodeName(static_cast<OpCode>(number)), "Unknown") << number;
    }
}

TEST(RegisterFormats, AreNamedByTheirNumber) {
    const char* const names[] = {"Tribool", "Int8", "Int16",   "Int32",
                                 "Int64",   "Half", "Float32", "Float64"};
    std::int32_t number = 0;
    for (const char* const name : names)
        EXPECT_STREQ(registerFormatName(static_cast<RegisterFormat>(number++)), name);
    for (const std::int32_t outside : {8, 9, 255, -1, INT_MAX, INT_MIN})
        EXPECT_STREQ(registerFormatName(static_cast<RegisterFormat>(outside)), "Unknown")
            << outside;
}

TEST(Records, StartAsTheLeastThatStands) {
    const Instruction instruction;
    EXPECT_EQ(instruction.op, OpCode::Nop);
    EXPECT_EQ(instruction.result, -1);
    for (const std::int32_t operand : instruction.operands)
        EXPECT_EQ(operand, -1);
    EXPECT_EQ(instruction.immediate, -1);

    const RegisterInfo info;
    EXPECT_EQ(info.multiplicity, 1);
    EXPECT_EQ(info.format, RegisterFormat::Float32);
    EXPECT_EQ(info.name, "");
    EXPECT_FALSE(info.output);
}

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double twoTo63 = 9223372036854775808.0;

TEST(Constants, OfTruthKeepTheirByteAndCountAsOneOnlyIfTrue) {
    for (int byte = 0; byte < 256; ++byte) {
        const Constant constant = Constant::ofTribool(static_cast<unsigned char>(byte));
        EXPECT_EQ(constant.multiplicity, 1);
        EXPECT_EQ(constant.boolean, byte);
        EXPECT_TRUE(constant.integers.empty() && constant.reals.empty());
        EXPECT_EQ(constant.realComponent(0), byte == 1 ? 1.0 : 0.0) << byte;
        EXPECT_EQ(constant.integralComponent(0), byte == 1 ? 1 : 0) << byte;
        for (const std::int32_t beside : {-1, 1, 63, INT_MAX, INT_MIN}) {
            EXPECT_EQ(constant.realComponent(beside), 0.0) << beside;
            EXPECT_EQ(constant.integralComponent(beside), 0) << beside;
        }
    }
}

TEST(Constants, OfIntegersAreExactAndRoundToNearestEvenAsReals) {
    const struct {
        std::int64_t integer;
        double real;
    } rows[] = {
        {0, 0.0},
        {-1, -1.0},
        {INT64_MAX, twoTo63},
        {INT64_MIN, -twoTo63},
        {9007199254740992, 9007199254740992.0}, // 2^53
        {9007199254740993, 9007199254740992.0}, // a tie, down to even
        {9007199254740995, 9007199254740996.0}, // a tie, up to even
        {-9007199254740993, -9007199254740992.0},
        {-9007199254740995, -9007199254740996.0},
    };
    std::vector<std::int64_t> values;
    for (const auto& row : rows)
        values.push_back(row.integer);
    const Constant constant = Constant::ofIntegers(values);
    EXPECT_EQ(constant.multiplicity, 9);
    EXPECT_EQ(constant.boolean, 0);
    EXPECT_EQ(constant.integers, values);
    EXPECT_TRUE(constant.reals.empty());
    std::int32_t c = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(constant.integralComponent(c), row.integer);
        EXPECT_EQ(constant.realComponent(c), row.real) << row.integer;
        ++c;
    }
}

TEST(Constants, OfRealsAreExactAndTruncateAsIntegers) {
    const struct {
        double real;
        std::int64_t integer;
    } rows[] = {
        {0.0, 0},
        {-0.0, 0},
        {0.999, 0},
        {-0.999, 0},
        {1.5, 1},
        {-1.5, -1},
        {2147483648.7, 2147483648},
        {9223372036854774784.0, 9223372036854774784}, // the last below 2^63
        {-twoTo63, INT64_MIN},
        {5e-324, 0},
        // Values that no Int64 can hold.
        {twoTo63, INT64_MIN},
        {-9223372036854777856.0, INT64_MIN},
        {1e300, INT64_MIN},
        {-1e300, INT64_MIN},
        {infinity, INT64_MIN},
        {-infinity, INT64_MIN},
        {nan, INT64_MIN},
    };
    std::vector<double> values;
    for (const auto& row : rows)
        values.push_back(row.real);
    const Constant constant = Constant::ofReals(values);
    EXPECT_EQ(constant.multiplicity, 17);
    EXPECT_EQ(constant.boolean, 0);
    EXPECT_TRUE(constant.integers.empty());
    std::int32_t c = 0;
    for (const auto& row : rows) {
        EXPECT_EQ(constant.integralComponent(c), row.integer) << row.real;
        const double real = constant.realComponent(c);
        if (std::isnan(row.real))
            EXPECT_TRUE(std::isnan(real));
        else
            EXPECT_EQ(real, row.real);
        EXPECT_EQ(std::signbit(real), std::signbit(row.real)) << row.real;
        ++c;
    }
}

TEST(Constants, HaveZerosBesideTheirComponents) {
    const Constant integers = Constant::ofIntegers({7, 8, 9});
    const Constant reals = Constant::ofReals({7.5, 8.5, 9.5});
    for (const std::int32_t beside : {-1, 3, 64, INT_MAX, INT_MIN})
        for (const Constant& constant : {integers, reals}) {
            EXPECT_EQ(constant.integralComponent(beside), 0) << beside;
            EXPECT_EQ(constant.realComponent(beside), 0.0) << beside;
        }
    EXPECT_EQ(integers.integralComponent(2), 9);
    EXPECT_EQ(reals.realComponent(2), 9.5);
}

TEST(Constants, OfNumbersMakeNoUseOfTheTribool) {
    Constant constant = Constant::ofIntegers({0, 0});
    constant.boolean = 1;
    EXPECT_EQ(constant.realComponent(0), 0.0);
    EXPECT_EQ(constant.integralComponent(0), 0);
    EXPECT_EQ(constant.integralComponent(2), 0);
}

TEST(Constants, TakeAnyNumberOfComponents) {
    for (const std::size_t count : {0u, 1u, 64u, 65u}) {
        EXPECT_EQ(Constant::ofIntegers(std::vector<std::int64_t>(count)).multiplicity,
                  static_cast<std::int32_t>(count));
        EXPECT_EQ(Constant::ofReals(std::vector<double>(count)).multiplicity,
                  static_cast<std::int32_t>(count));
    }
}

TEST(Programs, CountAndFindTheirRegisters) {
    FenletProgram program;
    EXPECT_EQ(program.registerCount(), 0);
    EXPECT_EQ(program.instructionCount(), 0);
    EXPECT_FALSE(program.isValidRegister(0));
    EXPECT_FALSE(program.isValidRegister(noRegister));

    program.registers = {{1, RegisterFormat::Int64, "index"}, {3, RegisterFormat::Half, "", true}};
    program.instructions.resize(5);
    EXPECT_EQ(program.registerCount(), 2);
    EXPECT_EQ(program.instructionCount(), 5);
    for (const std::int32_t number : {-1, 2, INT_MAX, INT_MIN})
        EXPECT_FALSE(program.isValidRegister(number)) << number;
    for (const std::int32_t number : {0, 1}) {
        ASSERT_TRUE(program.isValidRegister(number));
        EXPECT_EQ(&program.registerInfo(number),
                  &program.registers[static_cast<std::size_t>(number)]);
    }
    EXPECT_EQ(program.registerInfo(1).multiplicity, 3);
    EXPECT_EQ(program.registerInfo(1).format, RegisterFormat::Half);
}

} // namespace
} // namespace Fenlet
