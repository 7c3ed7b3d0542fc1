// What each call of the builder writes: the instruction, and the register for its result.
#include "builder_bench.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet::BuilderTests {
namespace {

/// Makes `call` on a new bench. Returns the instruction that it writes and the type of the result,
/// such as `Component real3 #2 : Float32 x1`. If the call writes anything else, fails the test and
/// returns nothing.
template <class Call>
std::string written(Call&& call) {
    Bench bench;
    const Register handle = call(bench.builder, bench);
    const FenletProgram program = bench.builder.build().program;
    EXPECT_EQ(handle.number, benchRegisters);
    EXPECT_EQ(program.registerCount(), benchRegisters + 1);
    EXPECT_EQ(program.instructionCount(), benchRegisters + 1);
    if (program.registerCount() == 0 || program.instructionCount() == 0)
        return {};
    const Instruction& instruction = program.instructions.back();
    EXPECT_EQ(instruction.result, benchRegisters);
    std::string words = opCodeName(instruction.op);
    for (std::int32_t slot = 0; slot < 3; ++slot) {
        const bool isUsed = slot < opCodeArity(instruction.op);
        EXPECT_EQ(program.isValidRegister(instruction.operands[slot]), isUsed);
        if (isUsed)
            words += " " + program.registerInfo(instruction.operands[slot]).name;
        else
            EXPECT_EQ(instruction.operands[slot], noRegister);
    }
    if (instruction.immediate != -1)
        words += " #" + std::to_string(instruction.immediate);
    const RegisterInfo& result = program.registers.back();
    EXPECT_EQ(result.name, "");
    EXPECT_FALSE(result.output);
    return words + " : " + registerFormatName(result.format) + " x" +
           std::to_string(result.multiplicity);
}

using Builder = ProgramBuilder;

TEST(Builder, NumbersRegistersAndPoolsFromZero) {
    Bench bench;
    EXPECT_EQ(bench.otherField.number, 0);
    EXPECT_EQ(bench.field.number, 1);
    EXPECT_EQ(bench.otherUniform.number, 0);
    EXPECT_EQ(bench.uniform.number, 1);
    EXPECT_EQ(bench.otherSampler.number, 0);
    EXPECT_EQ(bench.sampler.number, 1);
    EXPECT_EQ(bench.index.number, 0);
    EXPECT_EQ(bench.wide3.number, benchRegisters - 1);
    const FenletProgram program = bench.builder.build().program;
    ASSERT_EQ(program.fields.size(), 2u);
    EXPECT_EQ(program.fields[1].name, "field");
    ASSERT_EQ(program.uniforms.size(), 2u);
    EXPECT_EQ(program.uniforms[1].name, "uniform");
    ASSERT_EQ(program.samplers.size(), 2u);
    EXPECT_EQ(program.samplers[1].name, "sampler");
    EXPECT_EQ(program.registerCount(), benchRegisters);
}

TEST(Builder, WritesElementIndexAndNop) {
    EXPECT_EQ(written([](Builder& p, Bench&) { return p.elementIndex(); }),
              "ElementIndex : Int64 x1");
    Builder builder;
    builder.nop();
    const FenletProgram program = builder.build().program;
    EXPECT_EQ(program.registerCount(), 0);
    ASSERT_EQ(program.instructionCount(), 1);
    EXPECT_EQ(program.instructions[0].op, OpCode::Nop);
    EXPECT_EQ(program.instructions[0].result, noRegister);
    for (const std::int32_t operand : program.instructions[0].operands)
        EXPECT_EQ(operand, noRegister);
}

TEST(Builder, WritesUniforms) {
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.loadUniform(b.uniform, Format::Half); }),
              "LoadUniform #1 : Half x1");
    EXPECT_EQ(written([](Builder& p, Bench& b) {
                  return p.loadUniform(b.otherUniform, Format::Tribool, 64);
              }),
              "LoadUniform #0 : Tribool x64");
}

TEST(Builder, WritesFields) {
    EXPECT_EQ(written([](Builder& p, Bench& b) {
                  return p.loadField(b.field, b.index, Format::Float64);
              }),
              "LoadField index #1 : Float64 x1");
    EXPECT_EQ(written([](Builder& p, Bench& b) {
                  return p.loadField(b.otherField, b.int8, Format::Tribool, 65);
              }),
              "LoadField int8 #0 : Tribool x65");
    EXPECT_EQ(written([](Builder& p, Bench& b) {
                  return p.loadField(b.field, b.int32, Format::Int64, 2);
              }),
              "LoadField int32 #1 : Int64 x2");
}

TEST(Builder, WritesSamples) {
    EXPECT_EQ(
        written([](Builder& p, Bench& b) { return p.sample(b.sampler, b.real2, Format::Int16); }),
        "Sample real2 #1 : Int16 x1");
    EXPECT_EQ(written([](Builder& p, Bench& b) {
                  return p.sample(b.otherSampler, b.truth, Format::Half, 70);
              }),
              "Sample truth #0 : Half x70");
}

TEST(Builder, WritesComponentsInTheirFormatOrAnother) {
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.component(b.real3, 2); }),
              "Component real3 #2 : Float32 x1");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.component(b.truth2, 0); }),
              "Component truth2 #0 : Tribool x1");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.component(b.wide3, 1, Format::Int64); }),
              "Component wide3 #1 : Int64 x1");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.convert(b.index, Format::Half); }),
              "Component index #0 : Half x1");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.convert(b.truth, Format::Tribool); }),
              "Component truth #0 : Tribool x1");
}

TEST(Builder, WritesNegateAndLength) {
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.negate(b.half3); }),
              "Negate half3 : Half x3");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.negate(b.int16x3, Format::Float64); }),
              "Negate int16x3 : Float64 x3");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.length(b.real3); }),
              "Length real3 : Float32 x1");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.length(b.int16x3, Format::Half); }),
              "Length int16x3 : Half x1");
}

/// Tests an arithmetic call in each shape, with and without a format.
template <class Short, class Long>
void expectArithmetic(const std::string& name, Short call, Long callInto) {
    SCOPED_TRACE(name);
    EXPECT_EQ(written([&](Builder& p, Bench& b) { return (p.*call)(b.real, b.real); }),
              name + " real real : Float32 x1");
    EXPECT_EQ(written([&](Builder& p, Bench& b) { return (p.*call)(b.int16x3, b.int16x3); }),
              name + " int16x3 int16x3 : Int16 x3");
    EXPECT_EQ(written([&](Builder& p, Bench& b) { return (p.*call)(b.wide, b.wide3); }),
              name + " wide wide3 : Float64 x3");
    EXPECT_EQ(written([&](Builder& p, Bench& b) { return (p.*call)(b.half3, b.half); }),
              name + " half3 half : Half x3");
    EXPECT_EQ(written([&](Builder& p, Bench& b) {
                  return (p.*callInto)(b.int8, b.real3, Format::Int32);
              }),
              name + " int8 real3 : Int32 x3");
    EXPECT_EQ(written([&](Builder& p, Bench& b) {
                  return (p.*callInto)(b.real2, b.half, Format::Float64);
              }),
              name + " real2 half : Float64 x2");
}

TEST(Builder, WritesArithmetic) {
    using Short = Register (Builder::*)(Register, Register);
    using Long = Register (Builder::*)(Register, Register, Format);
    expectArithmetic("Add", Short(&Builder::add), Long(&Builder::add));
    expectArithmetic("Subtract", Short(&Builder::subtract), Long(&Builder::subtract));
    expectArithmetic("Multiply", Short(&Builder::multiply), Long(&Builder::multiply));
    expectArithmetic("Divide", Short(&Builder::divide), Long(&Builder::divide));
}

TEST(Builder, WritesComparisonsWithTheirScalarOnTheRight) {
    const struct {
        Register (Builder::*call)(Register, Register);
        std::string name;
        std::string mirrored;
    } rows[] = {
        {&Builder::less, "Less", "Greater"},
        {&Builder::lessEqual, "LessEqual", "GreaterEqual"},
        {&Builder::greater, "Greater", "Less"},
        {&Builder::greaterEqual, "GreaterEqual", "LessEqual"},
        {&Builder::equal, "Equal", "Equal"},
        {&Builder::notEqual, "NotEqual", "NotEqual"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(written([&](Builder& p, Bench& b) { return (p.*row.call)(b.index, b.half); }),
                  row.name + " index half : Tribool x1");
        EXPECT_EQ(written([&](Builder& p, Bench& b) { return (p.*row.call)(b.half3, b.wide3); }),
                  row.name + " half3 wide3 : Tribool x3");
        EXPECT_EQ(written([&](Builder& p, Bench& b) { return (p.*row.call)(b.real3, b.int8); }),
                  row.name + " real3 int8 : Tribool x3");
        EXPECT_EQ(written([&](Builder& p, Bench& b) { return (p.*row.call)(b.int8, b.real3); }),
                  row.mirrored + " real3 int8 : Tribool x3");
    }
}

TEST(Builder, WritesLogic) {
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.logicalNot(b.truth3); }),
              "Not truth3 : Tribool x3");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.isTrue(b.truth2); }),
              "IsTrue truth2 : Tribool x2");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.logicalAnd(b.truth3, b.truth3); }),
              "And truth3 truth3 : Tribool x3");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.logicalOr(b.truth, b.truth); }),
              "Or truth truth : Tribool x1");
}

TEST(Builder, WritesSelections) {
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.select(b.truth, b.index, b.index); }),
              "Select truth index index : Int64 x1");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.select(b.truth, b.real3, b.real3); }),
              "Select truth real3 real3 : Float32 x3");
    EXPECT_EQ(written([](Builder& p, Bench& b) { return p.select(b.truth3, b.truth3, b.truth3); }),
              "Select truth3 truth3 truth3 : Tribool x3");
    EXPECT_EQ(written([](Builder& p, Bench& b) {
                  return p.select(b.truth3, b.int16x3, b.wide3, Format::Half);
              }),
              "Select truth3 int16x3 wide3 : Half x3");
}

/// The constant of a builder that has written one LoadConstant.
Constant constantOf(Builder& builder) {
    const FenletProgram program = builder.build().program;
    EXPECT_EQ(program.constants.size(), 1u);
    EXPECT_EQ(program.instructionCount(), 1);
    return program.constants.empty() ? Constant{} : program.constants[0];
}

TEST(Builder, WritesConstantsOfRealsInEveryNumericFormat) {
    for (std::int32_t format = 1; format < 8; ++format)
        EXPECT_EQ(written([format](Builder& p, Bench&) {
                      return p.constant(Format{format}, {3.0, -2.0});
                  }),
                  "LoadConstant #0 : " + std::string(registerFormatName(Format{format})) + " x2");
    for (const std::size_t count : {1u, 2u, 63u, 64u}) {
        std::vector<double> values(count, 0.25);
        values.back() = -1e300;
        Builder builder(Builder::OnError::Throw);
        builder.constant(Format::Float64, values);
        const Constant constant = constantOf(builder);
        EXPECT_EQ(constant.reals, values);
        EXPECT_TRUE(constant.integers.empty());
        EXPECT_EQ(constant.multiplicity, static_cast<std::int32_t>(count));
    }
}

TEST(Builder, WritesConstantsOfIntegersExactlyInEveryNumericFormat) {
    for (std::int32_t format = 1; format < 8; ++format)
        EXPECT_EQ(written([format](Builder& p, Bench&) {
                      return p.integerConstant(Format{format}, {1, 2, 3});
                  }),
                  "LoadConstant #0 : " + std::string(registerFormatName(Format{format})) + " x3");
    for (const std::size_t count : {1u, 2u, 63u, 64u}) {
        std::vector<std::int64_t> values(count, INT64_MIN);
        values.back() = 9007199254740993;
        Builder builder(Builder::OnError::Throw);
        builder.integerConstant(Format::Int64, values);
        const Constant constant = constantOf(builder);
        EXPECT_EQ(constant.integers, values);
        EXPECT_TRUE(constant.reals.empty());
        EXPECT_EQ(constant.multiplicity, static_cast<std::int32_t>(count));
    }
}

TEST(Builder, WritesTruthConstants) {
    EXPECT_EQ(written([](Builder& p, Bench&) { return p.truthConstant(Truth::True); }),
              "LoadConstant #0 : Tribool x1");
    const struct {
        Truth value;
        int byte;
    } rows[] = {{Truth::False, 0}, {Truth::True, 1}, {Truth::Unknown, 255}};
    for (const auto& row : rows) {
        Builder builder(Builder::OnError::Throw);
        builder.truthConstant(row.value);
        const Constant constant = constantOf(builder);
        EXPECT_EQ(constant.boolean, row.byte);
        EXPECT_TRUE(constant.integers.empty() && constant.reals.empty());
        EXPECT_EQ(constant.multiplicity, 1);
    }
}

TEST(Builder, GivesEachConstantAPlaceOfItsOwn) {
    Builder builder(Builder::OnError::Throw);
    for (int i = 0; i < 40; ++i)
        builder.integerConstant(Format::Int32, {i});
    const FenletProgram program = builder.build().program;
    ASSERT_EQ(program.constants.size(), 40u);
    for (std::int32_t i = 0; i < 40; ++i) {
        const auto place = static_cast<std::size_t>(i);
        EXPECT_EQ(program.instructions[place].immediate, i);
        EXPECT_EQ(program.instructions[place].result, i);
        EXPECT_EQ(program.constants[place].integers, std::vector<std::int64_t>{i});
    }
}

} // namespace
} // namespace Fenlet::BuilderTests
