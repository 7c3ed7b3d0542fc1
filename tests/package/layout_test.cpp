// Pins the layout of the records and the numbers of the enumerations that cross library boundaries:
// code built with one version of these headers must be able to use libraries built with another.
// Most of these tests are checks at compile time. The layout of private fields is tested through
// references that the class returns.
#include <fenletexec/interpreter.h>
#include <fenletir/number_fit.h>
#include <fenletir/program.h>
#include <fenletir/program_builder.h>
#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

namespace Fenlet {
namespace {

constexpr bool ascending(std::initializer_list<std::size_t> offsets) {
    const std::size_t* const values = offsets.begin();
    for (std::size_t i = 1; i < offsets.size(); ++i)
        if (values[i - 1] >= values[i])
            return false;
    return offsets.size() > 0 && values[0] == 0;
}

template <class Enumeration, class... Numbers>
constexpr bool numberedFromZero(Enumeration first, Numbers... rest) {
    int number = 0;
    return static_cast<int>(first) == 0 && (... && (static_cast<int>(rest) == ++number));
}

static_assert(std::is_standard_layout_v<Instruction>);
static_assert(offsetof(Instruction, op) == 0);
static_assert(offsetof(Instruction, result) == 4);
static_assert(offsetof(Instruction, operands) == 8);
static_assert(offsetof(Instruction, immediate) == 20);
static_assert(sizeof(Instruction) == 24);

using Step = Interpreter::Step;
static_assert(std::is_standard_layout_v<Step>);
static_assert(offsetof(Step, op) == 0);
static_assert(offsetof(Step, result) == 4);
static_assert(offsetof(Step, operands) == 8);
static_assert(offsetof(Step, immediate) == 20);
static_assert(offsetof(Step, resultKind) == 24);
static_assert(offsetof(Step, operandKinds) == 28);
static_assert(offsetof(Step, resultMultiplicity) == 40);
static_assert(offsetof(Step, operandMultiplicities) == 44);
static_assert(offsetof(Step, arity) == 56);
static_assert(offsetof(Step, leftScalar) == 60);
static_assert(offsetof(Step, rightScalar) == 61);
static_assert(sizeof(Step) == 64);

static_assert(std::is_standard_layout_v<RegisterSpec>);
static_assert(offsetof(RegisterSpec, kind) == 0);
static_assert(offsetof(RegisterSpec, multiplicity) == 4);
static_assert(sizeof(RegisterSpec) == 8);

static_assert(std::is_standard_layout_v<RegisterSlot>);
static_assert(offsetof(RegisterSlot, spec) == 0);
static_assert(offsetof(RegisterSlot, dataOffset) == 8);
static_assert(offsetof(RegisterSlot, validityOffset) == 16);
static_assert(sizeof(RegisterSlot) == 24);

static_assert(std::is_standard_layout_v<Bindings>);
static_assert(ascending({offsetof(Bindings, fields), offsetof(Bindings, fieldCount),
                         offsetof(Bindings, uniforms), offsetof(Bindings, samplers),
                         offsetof(Bindings, samplerCount)}));

static_assert(std::is_standard_layout_v<FieldRead>);
static_assert(ascending({offsetof(FieldRead, values), offsetof(FieldRead, validity),
                         offsetof(FieldRead, kind), offsetof(FieldRead, multiplicity),
                         offsetof(FieldRead, indices), offsetof(FieldRead, contiguous),
                         offsetof(FieldRead, count)}));
static_assert(sizeof(FieldRead::contiguous) == 1);

static_assert(std::is_standard_layout_v<RegisterInfo>);
static_assert(ascending({offsetof(RegisterInfo, multiplicity), offsetof(RegisterInfo, format),
                         offsetof(RegisterInfo, name), offsetof(RegisterInfo, output)}));
static_assert(offsetof(RegisterInfo, format) == 4);

static_assert(std::is_standard_layout_v<Constant>);
static_assert(ascending({offsetof(Constant, multiplicity), offsetof(Constant, boolean),
                         offsetof(Constant, integers), offsetof(Constant, reals)}));
static_assert(sizeof(Constant::boolean) == 1 && offsetof(Constant, boolean) == 4);

static_assert(sizeof(FieldBinding) == sizeof(std::string));
static_assert(sizeof(UniformDeclaration) == sizeof(std::string));
static_assert(sizeof(SamplerDeclaration) == sizeof(std::string));

// The registers lie between the instructions and the pools.
static_assert(std::is_standard_layout_v<FenletProgram>);
static_assert(ascending({offsetof(FenletProgram, instructions), offsetof(FenletProgram, registers),
                         offsetof(FenletProgram, constants), offsetof(FenletProgram, fields),
                         offsetof(FenletProgram, uniforms), offsetof(FenletProgram, samplers)}));
static_assert(sizeof(FenletProgram) == 6 * sizeof(std::vector<int>));

static_assert(sizeof(CpuElementKind) == 4 && sizeof(RegisterFormat) == 4);
static_assert(sizeof(ExecRefusal) == 4 && sizeof(OpCode) == 4);
static_assert(numberedFromZero(CpuElementKind::Unsupported, CpuElementKind::Tribool,
                               CpuElementKind::Int32, CpuElementKind::Int64, CpuElementKind::Half,
                               CpuElementKind::Float32, CpuElementKind::Float64));
static_assert(numberedFromZero(RegisterFormat::Tribool, RegisterFormat::Int8, RegisterFormat::Int16,
                               RegisterFormat::Int32, RegisterFormat::Int64, RegisterFormat::Half,
                               RegisterFormat::Float32, RegisterFormat::Float64));
static_assert(numberedFromZero(ExecRefusal::None, ExecRefusal::NotConfigured,
                               ExecRefusal::StaleOpCodeTable, ExecRefusal::UnsupportedFormat,
                               ExecRefusal::ScratchRefused, ExecRefusal::BadRegister,
                               ExecRefusal::BadImmediate, ExecRefusal::ArityMismatch,
                               ExecRefusal::MultiplicityMismatch, ExecRefusal::KindMismatch,
                               ExecRefusal::UnboundField, ExecRefusal::UnboundUniform,
                               ExecRefusal::UnboundSampler, ExecRefusal::ProviderFailed));
static_assert(numberedFromZero(OpCode::Nop, OpCode::ElementIndex, OpCode::LoadConstant,
                               OpCode::LoadUniform, OpCode::LoadField, OpCode::Sample,
                               OpCode::Component, OpCode::Negate, OpCode::Not, OpCode::Length,
                               OpCode::IsTrue, OpCode::Add, OpCode::Subtract, OpCode::Multiply,
                               OpCode::Divide, OpCode::Less, OpCode::LessEqual, OpCode::Greater,
                               OpCode::GreaterEqual, OpCode::Equal, OpCode::NotEqual, OpCode::And,
                               OpCode::Or, OpCode::Select));

static_assert(sizeof(Truth) == 1);
static_assert(static_cast<int>(Truth::False) == 0 && static_cast<int>(Truth::True) == 1 &&
              static_cast<int>(Truth::Unknown) == 255);
static_assert(noRegister == -1);

static_assert(std::is_standard_layout_v<Finding>);
static_assert(ascending({offsetof(Finding, severity), offsetof(Finding, code),
                         offsetof(Finding, instruction), offsetof(Finding, opCode),
                         offsetof(Finding, slot), offsetof(Finding, registerNumber),
                         offsetof(Finding, message)}));
static_assert(std::is_standard_layout_v<ParseError>);
static_assert(ascending({offsetof(ParseError, line), offsetof(ParseError, column),
                         offsetof(ParseError, message), offsetof(ParseError, shown)}));
static_assert(std::is_standard_layout_v<ParseResult>);
static_assert(ascending({offsetof(ParseResult, program), offsetof(ParseResult, lines),
                         offsetof(ParseResult, error)}));
static_assert(numberedFromZero(NumberFit::Fits, NumberFit::NoNumber, NumberFit::OutOfRange,
                               NumberFit::Fraction, NumberFit::Inexact));
static_assert(sizeof(FindingClass) == 4 && sizeof(FindingCode) == 4);
static_assert(numberedFromZero(FindingClass::Refused, FindingClass::RefusedInRun,
                               FindingClass::OutsideItsArea, FindingClass::ProbablyAMistake));

// The program library uses the numbers of `ExecRefusal` in `FindingCode`, but cannot include its
// header.
template <FindingCode finding, ExecRefusal refusal>
constexpr bool sameNumber = static_cast<int>(finding) == static_cast<int>(refusal);
static_assert(sameNumber<FindingCode::UnsupportedFormat, ExecRefusal::UnsupportedFormat>);
static_assert(sameNumber<FindingCode::BadRegister, ExecRefusal::BadRegister>);
static_assert(sameNumber<FindingCode::BadImmediate, ExecRefusal::BadImmediate>);
static_assert(sameNumber<FindingCode::ArityMismatch, ExecRefusal::ArityMismatch>);
static_assert(sameNumber<FindingCode::MultiplicityMismatch, ExecRefusal::MultiplicityMismatch>);
static_assert(sameNumber<FindingCode::KindMismatch, ExecRefusal::KindMismatch>);

/// The fields of a `RegisterFile`, which are private there.
struct RegisterFileFields {
    std::vector<RegisterSlot> slots;
    std::vector<unsigned char> storage;
    std::int32_t blockSize;
    std::int32_t blockLength;
    const char* lastError;
};
static_assert(std::is_standard_layout_v<RegisterFile>);
static_assert(sizeof(RegisterFile) == sizeof(RegisterFileFields));

/// The fields of an `Interpreter`, which are private there.
struct InterpreterFields {
    const FenletProgram* program;
    std::vector<Step> steps;
    std::vector<std::int64_t> elementIndices;
    RegisterFile registers;
    bool configured;
    ExecRefusal refusal;
    const char* refusalMessage;
    std::uint64_t stepsExecuted;
    // The library's private additions.
    std::vector<Step> resolvedSteps;
    std::vector<bool*> registerFacts;
    std::uint64_t planNumber;
    bool planIncomplete;
};
static_assert(std::is_standard_layout_v<Interpreter>);
static_assert(sizeof(Interpreter) == sizeof(InterpreterFields));

template <class Field>
std::ptrdiff_t distance(const Interpreter& interpreter, const Field& field) {
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&interpreter);
}

TEST(InterpreterLayout, HasThePlanAndTheRegistersInTheirPlaces) {
    const Interpreter interpreter;
    EXPECT_EQ(distance(interpreter, interpreter.plan()),
              static_cast<std::ptrdiff_t>(offsetof(InterpreterFields, steps)));
    EXPECT_EQ(distance(interpreter, interpreter.registerFile()),
              static_cast<std::ptrdiff_t>(offsetof(InterpreterFields, registers)));
}

/// The field at `offset` bytes in the object, for private fields that no function returns.
template <class Field, class Object>
Field fieldAt(const Object& object, std::size_t offset) {
    Field field;
    std::memcpy(&field, reinterpret_cast<const char*>(&object) + offset, sizeof field);
    return field;
}

/// The interpreter's fields that are neither arrays nor the register file.
struct InterpreterState {
    const FenletProgram* program;
    bool configured;
    ExecRefusal refusal;
    const char* refusalMessage;
    std::uint64_t stepsExecuted;
};

InterpreterState stateOf(const Interpreter& interpreter) {
    using Fields = InterpreterFields;
    return {fieldAt<const FenletProgram*>(interpreter, offsetof(Fields, program)),
            fieldAt<unsigned char>(interpreter, offsetof(Fields, configured)) != 0,
            fieldAt<ExecRefusal>(interpreter, offsetof(Fields, refusal)),
            fieldAt<const char*>(interpreter, offsetof(Fields, refusalMessage)),
            fieldAt<std::uint64_t>(interpreter, offsetof(Fields, stepsExecuted))};
}

void expectState(const Interpreter& interpreter, const InterpreterState& expected) {
    const InterpreterState state = stateOf(interpreter);
    EXPECT_EQ(state.program, expected.program);
    EXPECT_EQ(state.configured, expected.configured);
    EXPECT_EQ(state.refusal, expected.refusal);
    EXPECT_STREQ(state.refusalMessage, expected.refusalMessage);
    EXPECT_EQ(state.stepsExecuted, expected.stepsExecuted);
}

class NoSink : public BlockSink {
  public:
    bool consume(const RegisterFile&, long long, int) override { return true; }
};

TEST(InterpreterLayout, HasItsStateInItsPlacesThroughItsLife) {
    FenletProgram program;
    program.registers = {{1, RegisterFormat::Int64, {}}};
    program.instructions = {{OpCode::ElementIndex, 0}, {}};
    FenletProgram bad;
    bad.instructions = {{OpCode::ElementIndex, 0}};
    NoSink sink;
    Interpreter interpreter;
    expectState(interpreter, {nullptr, false, ExecRefusal::NotConfigured, nullptr, 0});
    ASSERT_TRUE(interpreter.configure(program, 4));
    expectState(interpreter, {&program, true, ExecRefusal::None, nullptr, 0});
    ASSERT_TRUE(interpreter.evaluate(0, 9, {}, sink));
    interpreter.refuseAtRun(ExecRefusal::ProviderFailed, "declined");
    expectState(interpreter, {&program, true, ExecRefusal::ProviderFailed, "declined", 6});
    // After a refusal there is no plan and no program.
    EXPECT_FALSE(interpreter.configure(bad, 4));
    expectState(interpreter,
                {nullptr, false, ExecRefusal::BadRegister, "result register out of range", 0});
}

// The first word of a vector is the address of its entries.
TEST(RegisterFileLayout, HasItsStateInItsPlaces) {
    using Fields = RegisterFileFields;
    const RegisterSpec specs[] = {{CpuElementKind::Float32, 3}, {CpuElementKind::Tribool, 1}};
    RegisterFile registers;
    ASSERT_TRUE(registers.configure(specs, 2, 1000));
    registers.setBlockLength(77);
    EXPECT_EQ(fieldAt<const RegisterSlot*>(registers, offsetof(Fields, slots)),
              &registers.slotOf(0));
    EXPECT_EQ(fieldAt<const unsigned char*>(registers, offsetof(Fields, storage)),
              registers.data(0));
    EXPECT_EQ(fieldAt<std::int32_t>(registers, offsetof(Fields, blockSize)), 1000);
    EXPECT_EQ(fieldAt<std::int32_t>(registers, offsetof(Fields, blockLength)), 77);
    EXPECT_FALSE(registers.configure(specs, 2, 0));
    EXPECT_STREQ(fieldAt<const char*>(registers, offsetof(Fields, lastError)),
                 "block size must be positive");
}

} // namespace
} // namespace Fenlet
