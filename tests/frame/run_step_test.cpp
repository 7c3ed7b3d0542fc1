// What is the same for every step: the interpreter counts the step and writes the validity of its
// result.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Bytes = std::vector<unsigned char>;
using Step = Interpreter::Step;

// An opcode that does not exist. A step with it writes only the result's validity, and is then
// refused.
constexpr auto unknown = static_cast<OpCode>(24);

/// Four live elements in a block of six, after one run. Registers 0 to 3 have the given validity
/// bytes.
struct ValidityBench {
    ProgramSketch program;
    RecordingHost host;
    Interpreter interpreter;

    explicit ValidityBench(const std::vector<Bytes>& validity) {
        program.fields.resize(1);
        for (int number = 0; number < 4; ++number)
            program.addRegister(RegisterFormat::Int64);
        for (int number = 0; number < 4; ++number)
            program.add(OpCode::LoadField, number, {number}, 0);
        host.field.answer = [this, &validity](const FieldRead& request) {
            const std::size_t number = host.field.reads.size() - 1;
            if (number < validity.size())
                storeLanes(request.validity, validity[number]);
            return true;
        };
        EXPECT_TRUE(interpreter.configure(program, 6));
        EXPECT_TRUE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    }

    Bytes validityOf(int number) const {
        const unsigned char* const bytes = interpreter.registerFile().validity(number);
        return {bytes, bytes + 6};
    }

    /// Runs a step that is refused after its result's validity has been written.
    void run(int arity, int result, int operand0, int operand1 = -1, int operand2 = -1) {
        Step step;
        step.op = unknown;
        step.arity = arity;
        step.result = result;
        step.operands[0] = operand0;
        step.operands[1] = operand1;
        step.operands[2] = operand2;
        EXPECT_FALSE(interpreter.runStep(step, host.bindings, 0));
        expectReason(interpreter, ExecRefusal::KindMismatch,
                     "opcode has no implementation in this backend");
    }
};

// The last two bytes are beyond the live elements.
const Bytes result{1, 0, 7, 1, 9, 9};
const Bytes left{1, 0, 255, 1, 9, 9};
const Bytes right{2, 1, 1, 0, 9, 9};
const Bytes third{0, 0, 0, 0, 9, 9};

TEST(StepValidity, IsMadeFromTheOperandsByArityAlone) {
    const struct {
        const char* name;
        int arity;
        int operands[3];
        Bytes expected;
    } rows[] = {
        {"no operand leaves it alone", 0, {1, 2, 3}, {1, 0, 7, 1, 9, 9}},
        {"nor does a negative arity touch it", -1, {1, 2, 3}, {1, 0, 7, 1, 9, 9}},
        {"one operand is copied, cleaned", 1, {1, 2, 3}, {1, 0, 1, 1, 9, 9}},
        {"one operand that is absent counts as valid", 1, {-1, 2, 3}, {1, 1, 1, 1, 9, 9}},
        {"one operand out of range is absent", 1, {4, 2, 3}, {1, 1, 1, 1, 9, 9}},
        {"two operands must both be valid", 2, {1, 2, 3}, {1, 0, 1, 0, 9, 9}},
        {"left alone", 2, {1, -1, 3}, {1, 0, 1, 1, 9, 9}},
        {"right alone", 2, {-1, 2, 3}, {1, 1, 1, 0, 9, 9}},
        {"neither", 2, {-1, 99, 3}, {1, 1, 1, 1, 9, 9}},
        {"the third operand plays no part", 3, {1, 2, 3}, {1, 0, 1, 0, 9, 9}},
        {"nor when it is alone", 3, {-1, -1, 3}, {1, 1, 1, 1, 9, 9}},
        {"the result may be the operand", 1, {0, -1, -1}, {1, 0, 1, 1, 9, 9}},
        {"or the left one", 2, {0, 2, -1}, {1, 0, 1, 0, 9, 9}},
        {"or the right one", 2, {2, 0, -1}, {1, 0, 1, 0, 9, 9}},
        {"or both", 2, {0, 0, -1}, {1, 0, 1, 1, 9, 9}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ValidityBench bench({result, left, right, third});
        bench.run(row.arity, 0, row.operands[0], row.operands[1], row.operands[2]);
        EXPECT_EQ(bench.validityOf(0), row.expected);
        EXPECT_EQ(bench.validityOf(1), left);
        EXPECT_EQ(bench.validityOf(2), right);
        EXPECT_EQ(bench.validityOf(3), third);
    }
}

TEST(StepValidity, IsMadeForBlocksOfAnyLength) {
    ProgramSketch program;
    for (int number = 0; number < 3; ++number)
        program.addRegister(RegisterFormat::Int64);
    const RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 201));
    auto& registers = const_cast<RegisterFile&>(interpreter.registerFile());
    Step step;
    step.op = unknown;
    step.arity = 2;
    step.result = 0;
    step.operands[0] = 1;
    step.operands[1] = 2;
    for (int count = 0; count <= 200; ++count) {
        registers.setBlockLength(count);
        Bytes expected(201, 42);
        for (int i = 0; i < 201; ++i) {
            const auto a = static_cast<unsigned char>(i * 7 % 5);
            const auto b = static_cast<unsigned char>(i * 11 % 3 * 85);
            registers.validity(0)[i] = 42;
            registers.validity(1)[i] = a;
            registers.validity(2)[i] = b;
            if (i < count)
                expected[static_cast<std::size_t>(i)] = a != 0 && b != 0;
        }
        EXPECT_FALSE(interpreter.runStep(step, host.bindings, 0));
        EXPECT_EQ(Bytes(registers.validity(0), registers.validity(0) + 201), expected) << count;
    }
}

TEST(StepValidity, IsMadeBeforeAnyCheckOfTheOpcode) {
    ValidityBench bench({result, left, right, third});
    Step step;
    step.op = OpCode::Component;
    step.arity = 1;
    step.result = 0;
    step.operands[0] = 1;
    step.immediate = -1;
    EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
    EXPECT_EQ(bench.validityOf(0), (Bytes{1, 0, 1, 1, 9, 9}));
}

TEST(RunStep, CountsNopAndTouchesNothing) {
    ValidityBench bench({result, left, right, third});
    Step step;
    step.op = OpCode::Nop;
    step.result = 0;
    step.arity = 1;
    step.operands[0] = 1;
    EXPECT_TRUE(bench.interpreter.runStep(step, bench.host.bindings, 0));
    EXPECT_EQ(bench.interpreter.executedSteps(), 5u);
    EXPECT_EQ(bench.validityOf(0), result);
    expectReason(bench.interpreter, ExecRefusal::None, nullptr);
}

TEST(RunStep, RefusesOpcodesThatItDoesNotKnow) {
    for (const std::uint32_t number : {24u, 25u, 63u, 255u, 0x80000000u, 0xFFFFFFFFu}) {
        ValidityBench bench({result, left, right, third});
        Step step;
        step.op = static_cast<OpCode>(number);
        EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
        expectReason(bench.interpreter, ExecRefusal::KindMismatch,
                     "opcode has no implementation in this backend");
        EXPECT_TRUE(bench.interpreter.isConfigured());
        EXPECT_EQ(bench.interpreter.executedSteps(), 5u);
    }
}

TEST(RunStep, KeepsInvalidElementsInvalidThroughZeroOperandSteps) {
    BenchProgram program;
    program.add(OpCode::LoadField, program.int64, {program.int64}, 0);
    program.add(OpCode::LoadConstant, program.int64, {}, program.addConstant(integerConstant({9})));
    program.add(OpCode::ElementIndex, program.int64);
    program.add(OpCode::LoadUniform, program.int64, {}, 0);
    RecordingHost host;
    host.field.answer = [](const FieldRead& request) {
        request.validity[1] = 0;
        request.validity[2] = 200;
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    EXPECT_EQ(liveValidity(interpreter.registerFile(), program.int64), (Bytes{1, 0, 200, 1}));
}

TEST(RunStep, CarriesInvalidityOnAndCleansStrayBytes) {
    BenchProgram program;
    program.add(OpCode::LoadField, program.int64, {program.int64}, 0);
    program.add(OpCode::Component, program.real, {program.int64}, 0);
    program.add(OpCode::Component, program.int64, {program.int64}, 0);
    RecordingHost host;
    host.field.answer = [](const FieldRead& request) {
        storeLanes(request.values, std::vector<std::int64_t>{10, 20, 30, 40});
        storeLanes(request.validity, Bytes{1, 0, 200, 255});
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    const RegisterFile& registers = interpreter.registerFile();
    EXPECT_EQ(liveValidity(registers, program.real), (Bytes{1, 0, 1, 1}));
    EXPECT_EQ(liveValidity(registers, program.int64), (Bytes{1, 0, 1, 1}));
    // Values of invalid elements are computed, too.
    EXPECT_EQ(liveLanes<float>(registers, program.real), (std::vector<float>{10, 20, 30, 40}));
}

} // namespace
} // namespace Fenlet
