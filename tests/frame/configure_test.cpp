// What `configure` accepts and refuses, the plans it makes, and the states it leads to.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <climits>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace Fenlet {
namespace {

using namespace Doubles;

constexpr auto noStorage = static_cast<RegisterFormat>(8);

TEST(Configure, StartsFromANewInterpreterWithoutAPlan) {
    const Interpreter interpreter;
    expectNoPlan(interpreter);
    expectReason(interpreter, ExecRefusal::NotConfigured, nullptr);
    EXPECT_EQ(interpreter.executedSteps(), 0u);
    EXPECT_EQ(interpreter.registerFile().registerCount(), 0);
    EXPECT_EQ(interpreter.registerFile().elementCapacity(), 0);
}

TEST(Configure, AcceptsAProgramOfNothing) {
    expectConfigures(ProgramSketch{}, 1);
}

TEST(Configure, AcceptsAProgramWithoutInstructions) {
    expectConfigures(BenchProgram{});
}

TEST(Configure, LaysOutARegisterForEachOfTheProgram) {
    ProgramSketch program;
    program.addRegister(RegisterFormat::Float32, 3);
    program.addRegister(RegisterFormat::Tribool);
    program.addRegister(RegisterFormat::Int8, 2);
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 1000));
    const RegisterFile& registers = interpreter.registerFile();
    ASSERT_EQ(registers.registerCount(), 3);
    EXPECT_EQ(registers.elementCapacity(), 1000);
    EXPECT_EQ(registers.specOf(0).kind, CpuElementKind::Float32);
    EXPECT_EQ(registers.specOf(0).multiplicity, 3);
    EXPECT_EQ(registers.specOf(1).kind, CpuElementKind::Tribool);
    EXPECT_EQ(registers.specOf(2).kind, CpuElementKind::Int32);
    EXPECT_EQ(registers.specOf(2).multiplicity, 2);
    EXPECT_EQ(registers.slotOf(0).validityOffset, 12032u);
    EXPECT_EQ(registers.slotOf(1).dataOffset, 13056u);
    EXPECT_EQ(registers.slotOf(1).validityOffset, 14080u);
}

// Registers and block sizes.

TEST(Configure, RefusesRegistersThatCannotBeStoredEvenUnused) {
    for (const int format : {8, 9, -1, INT_MAX, INT_MIN}) {
        ProgramSketch program;
        program.addRegister(RegisterFormat::Float32);
        program.addRegister(static_cast<RegisterFormat>(format));
        expectConfigureRefuses(program, ExecRefusal::UnsupportedFormat,
                               "a register format has no CPU storage");
    }
    for (const int multiplicity : {0, -1, INT_MIN}) {
        ProgramSketch program;
        program.addRegister(RegisterFormat::Float32);
        program.addRegister(RegisterFormat::Float32, multiplicity);
        expectConfigureRefuses(program, ExecRefusal::MultiplicityMismatch,
                               "a register has non-positive multiplicity");
    }
}

TEST(Configure, ScansRegistersInOrderAndTheFormatOfEachFirst) {
    ProgramSketch both;
    both.addRegister(noStorage, 0);
    expectConfigureRefuses(both, ExecRefusal::UnsupportedFormat,
                           "a register format has no CPU storage");
    ProgramSketch multiplicityFirst;
    multiplicityFirst.addRegister(RegisterFormat::Float32, 0);
    multiplicityFirst.addRegister(noStorage);
    expectConfigureRefuses(multiplicityFirst, ExecRefusal::MultiplicityMismatch,
                           "a register has non-positive multiplicity");
}

TEST(Configure, RefusesABlockSizeBelow1) {
    for (const int blockSize : {0, -1, INT_MIN}) {
        expectConfigureRefuses(BenchProgram{}, ExecRefusal::ScratchRefused,
                               "block size must be positive", blockSize);
        expectConfigureRefuses(ProgramSketch{}, ExecRefusal::ScratchRefused,
                               "block size must be positive", blockSize);
    }
}

TEST(Configure, ReportsABadRegisterBeforeABadBlockSize) {
    ProgramSketch program;
    program.addRegister(noStorage);
    expectConfigureRefuses(program, ExecRefusal::UnsupportedFormat,
                           "a register format has no CPU storage", 0);
}

// Registers of instructions. In the tables below, a null message means that `configure` succeeds.

struct ProgramCase {
    const char* name;
    void (*write)(BenchProgram&);
    ExecRefusal code = ExecRefusal::None;
    const char* message = nullptr;
};

void expectOutcome(const ProgramCase& row) {
    SCOPED_TRACE(row.name);
    BenchProgram program;
    row.write(program);
    if (row.message)
        expectConfigureRefuses(program, row.code, row.message);
    else
        expectConfigures(program);
}

TEST(PlanInstruction, ChecksRegisterNumbersAndSlots) {
    constexpr auto badRegister = ExecRefusal::BadRegister;
    constexpr auto arity = ExecRefusal::ArityMismatch;
    const char* const result = "result register out of range";
    const char* const operand = "operand register out of range";
    const char* const slot = "operand slot used past the opcode's arity";
    const ProgramCase rows[] = {
        {"no result", [](BenchProgram& p) { p.add(OpCode::ElementIndex, -1); }, badRegister,
         result},
        {"result past the last", [](BenchProgram& p) { p.add(OpCode::ElementIndex, p.wide + 1); },
         badRegister, result},
        {"result far below", [](BenchProgram& p) { p.add(OpCode::ElementIndex, INT_MIN); },
         badRegister, result},
        {"operand missing", [](BenchProgram& p) { p.add(OpCode::Negate, p.real); }, badRegister,
         operand},
        {"operand past the last",
         [](BenchProgram& p) { p.add(OpCode::Negate, p.real, {p.wide + 1}); }, badRegister,
         operand},
        {"second operand missing", [](BenchProgram& p) { p.add(OpCode::Add, p.real, {p.real}); },
         badRegister, operand},
        {"third operand missing",
         [](BenchProgram& p) {
             p.add(OpCode::Select, p.real, {p.tribool, p.real});
         },
         badRegister, operand},
        {"slot past arity 0",
         [](BenchProgram& p) { p.add(OpCode::ElementIndex, p.int64, {p.int64}); }, arity, slot},
        {"last slot past arity 0",
         [](BenchProgram& p) {
             p.add(OpCode::ElementIndex, p.int64, {-1, -1, 0});
         },
         arity, slot},
        {"slot past arity 1",
         [](BenchProgram& p) {
             p.add(OpCode::Negate, p.real, {p.real, p.real});
         },
         arity, slot},
        {"slot past arity 2",
         [](BenchProgram& p) {
             p.add(OpCode::Add, p.real, {p.real, p.real, p.real});
         },
         arity, slot},
        {"a stray slot that names no register",
         [](BenchProgram& p) { p.add(OpCode::ElementIndex, p.int64, {-2}); }, arity, slot},
        {"result before operand", [](BenchProgram& p) { p.add(OpCode::Negate, -1, {-1}); },
         badRegister, result},
        {"operand before stray slot",
         [](BenchProgram& p) {
             p.add(OpCode::Negate, p.real, {-1, 0});
         },
         badRegister, operand},
        {"result before stray slot", [](BenchProgram& p) { p.add(OpCode::ElementIndex, -1, {0}); },
         badRegister, result},
        {"the first instruction of two",
         [](BenchProgram& p) {
             p.add(OpCode::ElementIndex, p.int64, {0});
             p.add(OpCode::ElementIndex, -1);
         },
         arity, slot},
        {"Nop with operand 0", [](BenchProgram& p) { p.add(OpCode::Nop, -1, {0}); }, arity, slot},
        {"Nop with operand 1",
         [](BenchProgram& p) {
             p.add(OpCode::Nop, -1, {-1, 0});
         },
         arity, slot},
        {"Nop with operand 2",
         [](BenchProgram& p) {
             p.add(OpCode::Nop, -1, {-1, -1, 0});
         },
         arity, slot},
        {"Nop with no result", [](BenchProgram& p) { p.add(OpCode::Nop, -1); }},
        {"Nop with a result", [](BenchProgram& p) { p.add(OpCode::Nop, p.real); }},
        {"Nop with a result out of range", [](BenchProgram& p) { p.add(OpCode::Nop, 1000); }},
        {"Nop with a result far below", [](BenchProgram& p) { p.add(OpCode::Nop, INT_MIN); }},
        {"a register that is its own operand",
         [](BenchProgram& p) {
             p.add(OpCode::Add, p.real, {p.real, p.real});
         }},
    };
    for (const ProgramCase& row : rows)
        expectOutcome(row);
}

// `configure` refuses a program with such registers before it plans any instruction, so these tests
// change the registers after `configure`.
TEST(PlanInstruction, RefusesRegistersWithoutStorage) {
    Instruction add;
    add.op = OpCode::Add;
    add.result = 0;
    add.operands[0] = 1;
    add.operands[1] = 2;
    const struct {
        int bad[3];
        const char* message;
    } rows[] = {
        {{0, 0, 0}, "result register format has no CPU storage"},
        {{1, 1, 1}, "operand register format has no CPU storage"},
        {{2, 2, 2}, "operand register format has no CPU storage"},
        {{0, 1, 2}, "result register format has no CPU storage"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bad[0]);
        ProgramSketch program;
        for (int i = 0; i < 3; ++i)
            program.addRegister(RegisterFormat::Float32);
        Interpreter interpreter;
        ASSERT_TRUE(interpreter.configure(program, 4));
        for (const int number : row.bad)
            program.registers[static_cast<std::size_t>(number)].format = noStorage;
        Interpreter::Step step;
        EXPECT_FALSE(interpreter.planInstruction(add, step));
        expectReason(interpreter, ExecRefusal::UnsupportedFormat, row.message);
        expectNoPlan(interpreter);
    }
}

TEST(PlanInstruction, TakesOneOperandAfterTheOther) {
    ProgramSketch program;
    program.addRegister(RegisterFormat::Float32);
    program.addRegister(RegisterFormat::Float32);
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    program.registers[1].format = noStorage;
    Instruction instruction;
    instruction.op = OpCode::Add;
    instruction.result = 0;
    instruction.operands[0] = 1;
    instruction.operands[1] = 99;
    Interpreter::Step step;
    EXPECT_FALSE(interpreter.planInstruction(instruction, step));
    expectReason(interpreter, ExecRefusal::UnsupportedFormat,
                 "operand register format has no CPU storage");
}

TEST(PlanInstruction, FillsAStepFromTheRegisters) {
    BenchProgram program;
    program.add(OpCode::Select, program.real3, {program.tribool3, program.int32, program.half}, 7);
    program.add(OpCode::LoadField, program.real2, {program.int64}, 0);
    program.add(OpCode::Nop, 12345, {}, 77);
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_EQ(interpreter.plan().size(), 3u);

    const Interpreter::Step& select = interpreter.plan()[0];
    EXPECT_EQ(select.op, OpCode::Select);
    EXPECT_EQ(select.result, program.real3);
    EXPECT_EQ(select.operands[0], program.tribool3);
    EXPECT_EQ(select.operands[1], program.int32);
    EXPECT_EQ(select.operands[2], program.half);
    EXPECT_EQ(select.immediate, 7);
    EXPECT_EQ(select.resultKind, CpuElementKind::Float32);
    EXPECT_EQ(select.resultMultiplicity, 3);
    EXPECT_EQ(select.operandKinds[0], CpuElementKind::Tribool);
    EXPECT_EQ(select.operandKinds[1], CpuElementKind::Int32);
    EXPECT_EQ(select.operandKinds[2], CpuElementKind::Half);
    EXPECT_EQ(select.operandMultiplicities[0], 3);
    EXPECT_EQ(select.operandMultiplicities[1], 1);
    EXPECT_EQ(select.operandMultiplicities[2], 1);
    EXPECT_EQ(select.arity, 3);

    const Interpreter::Step& field = interpreter.plan()[1];
    EXPECT_EQ(field.arity, 1);
    EXPECT_EQ(field.operands[0], program.int64);
    EXPECT_EQ(field.operandKinds[0], CpuElementKind::Int64);
    for (const int unused : {1, 2}) {
        EXPECT_EQ(field.operands[unused], -1);
        EXPECT_EQ(field.operandKinds[unused], CpuElementKind::Unsupported);
        EXPECT_EQ(field.operandMultiplicities[unused], 1);
    }

    const Interpreter::Step& nop = interpreter.plan()[2];
    EXPECT_EQ(nop.op, OpCode::Nop);
    EXPECT_EQ(nop.result, 12345);
    EXPECT_EQ(nop.immediate, 77);
    EXPECT_EQ(nop.arity, 0);
    EXPECT_EQ(nop.resultKind, CpuElementKind::Unsupported);
    EXPECT_EQ(nop.resultMultiplicity, 1);
}

TEST(PlanInstruction, BeginsWithADefaultStep) {
    const Interpreter::Step step;
    EXPECT_EQ(step.op, OpCode::Nop);
    EXPECT_EQ(step.result, -1);
    EXPECT_EQ(step.immediate, -1);
    EXPECT_EQ(step.resultKind, CpuElementKind::Unsupported);
    EXPECT_EQ(step.resultMultiplicity, 1);
    EXPECT_EQ(step.arity, 0);
    EXPECT_FALSE(step.leftScalar);
    EXPECT_FALSE(step.rightScalar);
    for (int slot = 0; slot < 3; ++slot) {
        EXPECT_EQ(step.operands[slot], -1);
        EXPECT_EQ(step.operandKinds[slot], CpuElementKind::Unsupported);
        EXPECT_EQ(step.operandMultiplicities[slot], 1);
    }
}

// Multiplicities of operands.

TEST(MultiplicityPass, MarksTheOperandThatIsBroadcast) {
    const struct {
        int left;
        int right;
        bool leftScalar;
        bool rightScalar;
    } rows[] = {
        {1, 3, true, false},  {3, 1, false, true},  {3, 3, false, false},
        {1, 1, false, false}, {64, 1, false, true}, {1, 64, true, false},
    };
    for (const OpCode op : {OpCode::Add, OpCode::Subtract, OpCode::Multiply, OpCode::Divide}) {
        for (const auto& row : rows) {
            ProgramSketch program;
            program.addRegister(RegisterFormat::Float32, row.left);
            program.addRegister(RegisterFormat::Float32, row.right);
            program.add(op, 0, {0, 1});
            Interpreter interpreter;
            ASSERT_TRUE(interpreter.configure(program, 4));
            EXPECT_EQ(interpreter.plan()[0].leftScalar, row.leftScalar);
            EXPECT_EQ(interpreter.plan()[0].rightScalar, row.rightScalar);
        }
    }
}

TEST(MultiplicityPass, RefusesTwoDifferentVectorsForEveryBinaryOpcode) {
    for (int number = 11; number <= 22; ++number) {
        SCOPED_TRACE(number);
        BenchProgram program;
        program.add(static_cast<OpCode>(number), program.tribool,
                    {program.tribool2, program.tribool3});
        expectConfigureRefuses(program, ExecRefusal::MultiplicityMismatch,
                               "operands differ in multiplicity and neither is a scalar");
    }
}

TEST(MultiplicityPass, LeavesSelectAlone) {
    BenchProgram program;
    program.add(OpCode::Select, program.real3, {program.tribool, program.real2, program.real3});
    program.add(OpCode::Select, program.real3, {program.tribool3, program.real2, program.real});
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    for (const Interpreter::Step& step : interpreter.plan()) {
        EXPECT_FALSE(step.leftScalar);
        EXPECT_FALSE(step.rightScalar);
    }
}

TEST(MultiplicityPass, DoesNotLookAtTheResult) {
    BenchProgram program;
    program.add(OpCode::Add, program.real3, {program.real, program.real});
    program.add(OpCode::Add, program.real, {program.real3, program.real3});
    expectConfigures(program);
}

TEST(MultiplicityPass, ComesBeforeTheRulesOfEarlierSteps) {
    BenchProgram program;
    program.add(OpCode::And, program.tribool, {program.real, program.real});
    program.add(OpCode::Add, program.real3, {program.real2, program.real3});
    expectConfigureRefuses(program, ExecRefusal::MultiplicityMismatch,
                           "operands differ in multiplicity and neither is a scalar");
}

// States.

TEST(Configure, SucceedsAfterARefusal) {
    BenchProgram bad;
    bad.add(OpCode::ElementIndex, bad.int32);
    BenchProgram good;
    good.add(OpCode::ElementIndex, good.int64);
    Interpreter interpreter;
    EXPECT_FALSE(interpreter.configure(bad, 4));
    expectNoPlan(interpreter);
    EXPECT_EQ(interpreter.executedSteps(), 0u);
    EXPECT_TRUE(interpreter.configure(good, 4));
    expectReason(interpreter, ExecRefusal::None, nullptr);
    EXPECT_EQ(interpreter.plan().size(), 1u);
}

TEST(Configure, LosesTheStandingPlanWhenItRefuses) {
    BenchProgram good;
    good.add(OpCode::ElementIndex, good.int64);
    BenchProgram bad;
    bad.add(OpCode::Negate, -1);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(good, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 8, host.bindings, host.sink));
    EXPECT_EQ(interpreter.executedSteps(), 2u);
    EXPECT_FALSE(interpreter.configure(bad, 4));
    expectNoPlan(interpreter);
    EXPECT_EQ(interpreter.executedSteps(), 0u);
    EXPECT_FALSE(interpreter.evaluate(0, 8, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::BadRegister, "result register out of range");
}

TEST(Configure, StartsEverythingAgain) {
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    program.add(OpCode::Component, program.tribool, {program.real}, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_FALSE(interpreter.evaluate(7, 4, host.bindings, host.sink));
    ASSERT_TRUE(interpreter.configure(program, 4));
    expectReason(interpreter, ExecRefusal::None, nullptr);
    EXPECT_EQ(interpreter.executedSteps(), 0u);
    const RegisterFile& registers = interpreter.registerFile();
    EXPECT_EQ(registers.liveElements(), 0);
    EXPECT_EQ(lanesOf<std::int64_t>(registers, program.int64, 4),
              (std::vector<std::int64_t>{0, 0, 0, 0}));
    for (int number = 0; number < registers.registerCount(); ++number)
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(registers.validity(number)[i], 0);
}

/// The state of a register file that a refusal may change.
void expectLayout(const Interpreter& interpreter, int registerCount, int elementCapacity) {
    EXPECT_EQ(interpreter.registerFile().registerCount(), registerCount);
    EXPECT_EQ(interpreter.registerFile().elementCapacity(), elementCapacity);
}

TEST(Configure, LeavesTheRegisterFileAsFarAsItCame) {
    ProgramSketch good;
    good.addRegister(RegisterFormat::Int64);
    good.addRegister(RegisterFormat::Float32);
    good.add(OpCode::ElementIndex, 0);
    ProgramSketch badRegister;
    badRegister.addRegister(noStorage);
    ProgramSketch badInstruction;
    badInstruction.addRegister(RegisterFormat::Int64);
    badInstruction.add(OpCode::ElementIndex, 7);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(good, 3));
    ASSERT_TRUE(interpreter.evaluate(20, 3, host.bindings, host.sink));

    EXPECT_FALSE(interpreter.configure(badRegister, 5));
    expectLayout(interpreter, 2, 3);
    EXPECT_EQ(liveLanes<std::int64_t>(interpreter.registerFile(), 0),
              (std::vector<std::int64_t>{20, 21, 22}));
    EXPECT_FALSE(interpreter.configure(badInstruction, 5));
    expectLayout(interpreter, 1, 5);
    EXPECT_FALSE(interpreter.configure(good, 0));
    expectLayout(interpreter, 0, 0);
    // Without a plan, `evaluate` does nothing.
    EXPECT_FALSE(interpreter.evaluate(0, 3, host.bindings, host.sink));
    EXPECT_EQ(host.sink.blocks.size(), 1u);
}

TEST(Configure, LeavesNoFieldOfAnEarlierPlan) {
    BenchProgram broadcast;
    broadcast.add(OpCode::Add, broadcast.real3, {broadcast.real, broadcast.real3}, 5);
    BenchProgram plain;
    plain.add(OpCode::ElementIndex, plain.int64);
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(broadcast, 4));
    ASSERT_TRUE(interpreter.configure(plain, 4));
    const Interpreter::Step& step = interpreter.plan()[0];
    EXPECT_FALSE(step.leftScalar);
    for (int slot = 0; slot < 3; ++slot) {
        EXPECT_EQ(step.operands[slot], -1);
        EXPECT_EQ(step.operandKinds[slot], CpuElementKind::Unsupported);
        EXPECT_EQ(step.operandMultiplicities[slot], 1);
    }
}

TEST(Configure, TakesAnotherProgramAndBlockSize) {
    BenchProgram large;
    large.add(OpCode::ElementIndex, large.int64);
    ProgramSketch small;
    small.addRegister(RegisterFormat::Int64);
    small.add(OpCode::ElementIndex, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(large, 100));
    ASSERT_TRUE(interpreter.configure(small, 2));
    EXPECT_EQ(interpreter.registerFile().registerCount(), 1);
    EXPECT_EQ(interpreter.registerFile().elementCapacity(), 2);
    ASSERT_TRUE(interpreter.evaluate(0, 3, host.bindings, host.sink));
    EXPECT_EQ(host.sink.blocks.size(), 2u);
}

TEST(Refusing, AtRunLeavesThePlanStanding) {
    const char* const words = "the host's own words";
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_FALSE(interpreter.refuseAtRun(ExecRefusal::ProviderFailed, words));
    EXPECT_EQ(interpreter.lastRefusal(), ExecRefusal::ProviderFailed);
    EXPECT_EQ(interpreter.lastRefusalMessage(), words);
    EXPECT_TRUE(interpreter.isConfigured());
    EXPECT_EQ(interpreter.plan().size(), 1u);
    EXPECT_TRUE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::None, nullptr);
}

TEST(Refusing, AtConfigureThrowsThePlanAway) {
    const char* const words = "the host's own words";
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    EXPECT_FALSE(interpreter.refuseAtConfigure(ExecRefusal::BadImmediate, words));
    EXPECT_EQ(interpreter.lastRefusal(), ExecRefusal::BadImmediate);
    EXPECT_EQ(interpreter.lastRefusalMessage(), words);
    expectNoPlan(interpreter);
    EXPECT_EQ(interpreter.executedSteps(), 1u);
    EXPECT_FALSE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    EXPECT_EQ(interpreter.lastRefusalMessage(), words);
    EXPECT_EQ(host.sink.blocks.size(), 1u);
}

TEST(Refusing, KeepsItsWordsWhenTheInterpreterIsGone) {
    const ProgramSketch program;
    const char* message = nullptr;
    {
        Interpreter interpreter;
        EXPECT_FALSE(interpreter.configure(program, 0));
        message = interpreter.lastRefusalMessage();
    }
    EXPECT_STREQ(message, "block size must be positive");
}

// A temporary program would no longer exist when it is run.
template <class Program>
constexpr bool canConfigure = requires(Interpreter& interpreter, Program&& program) {
    interpreter.configure(std::forward<Program>(program), 4);
};
static_assert(canConfigure<FenletProgram&> && canConfigure<const FenletProgram&>);
static_assert(canConfigure<ProgramSketch&> && canConfigure<const ProgramSketch&>);
static_assert(!canConfigure<FenletProgram> && !canConfigure<const FenletProgram>);
static_assert(!canConfigure<ProgramSketch> && !canConfigure<const ProgramSketch>);

TEST(Configure, LetsInterpretersShareAProgram) {
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    RecordingHost inner;
    RecordingHost outer;
    Interpreter second;
    ASSERT_TRUE(second.configure(program, 3));
    {
        Interpreter first;
        ASSERT_TRUE(first.configure(program, 2));
        outer.sink.answer = [&](const RegisterFile& registers) {
            const auto before = liveLanes<std::int64_t>(registers, program.int64);
            EXPECT_TRUE(second.evaluate(100, 3, inner.bindings, inner.sink));
            EXPECT_EQ(liveLanes<std::int64_t>(registers, program.int64), before);
            return true;
        };
        EXPECT_TRUE(first.evaluate(0, 4, outer.bindings, outer.sink));
    }
    EXPECT_TRUE(second.evaluate(0, 3, inner.bindings, inner.sink));
    EXPECT_EQ(inner.sink.blocks.size(), 3u);
}

} // namespace
} // namespace Fenlet
