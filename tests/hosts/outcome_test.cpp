// The outcome of a run in words: every refusal, a run that the sink ended, and success.
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <fenlethosts/outcome.h>
#include <fenletir/verify.h>

#include <gtest/gtest.h>
#include <limits>

namespace Fenlet {
namespace {

using namespace Doubles;

/// The message of the program's first finding with this code.
std::string foundIn(const FenletProgram& program, FindingCode code, std::int32_t instruction) {
    for (const Finding& finding : verifyProgram(program))
        if (finding.code == code && finding.instruction == instruction)
            return finding.message;
    return "(nothing is found)";
}

std::string outcomeOfConfigure(const FenletProgram& program, int blockSize = 4) {
    Interpreter interpreter;
    const bool isDone = interpreter.configure(program, blockSize);
    EXPECT_EQ(isDone, interpreter.isConfigured());
    return describeOutcome(interpreter, program);
}

// -------------------------------------------------------------------------------------------------
// configure

TEST(OutcomeOfConfigure, IsThatNothingWasConfigured) {
    EXPECT_EQ(describeOutcome(Interpreter(), {}),
              "Nothing can run: the interpreter has no program until it is configured.");
}

TEST(OutcomeOfConfigure, IsAPlan) {
    ProgramSketch program;
    EXPECT_EQ(outcomeOfConfigure(program),
              "The program is planned: 0 steps, 0 registers, blocks of at most 4 elements.");
    program.addRegister(RegisterFormat::Int64);
    program.add(OpCode::ElementIndex, 0);
    EXPECT_EQ(outcomeOfConfigure(program, 1),
              "The program is planned: 1 step, 1 register, blocks of at most 1 element.");
}

TEST(OutcomeOfConfigure, IsWithoutAPlaceWhereTheProgramIsNotToBlame) {
    BenchProgram program;
    EXPECT_EQ(outcomeOfConfigure(program, 0),
              "The program was refused: block size must be positive.");
    Interpreter interpreter;
    interpreter.refuseAtConfigure(ExecRefusal::StaleOpCodeTable, "the libraries disagree");
    EXPECT_EQ(describeOutcome(interpreter, program),
              "The program was refused: the libraries disagree.");
}

TEST(OutcomeOfConfigure, NamesARegisterThatHasNoStorage) {
    BenchProgram program;
    const auto odd = static_cast<std::size_t>(program.real);
    program.registers[odd].format = static_cast<RegisterFormat>(99);
    EXPECT_EQ(outcomeOfConfigure(program),
              "The program was refused: a register format has no CPU storage: " +
                  foundIn(program, FindingCode::UnsupportedFormat, -1));
    program.registers[odd].format = RegisterFormat::Float32;
    program.registers[odd].multiplicity = 0;
    EXPECT_EQ(outcomeOfConfigure(program),
              "The program was refused: a register has non-positive multiplicity: " +
                  foundIn(program, FindingCode::MultiplicityMismatch, -1));
}

class RefusedInstruction : public testing::Test {
  protected:
    /// Expects the refusal of the second of three instructions.
    void expectRefused(const char* words, const char* instruction, FindingCode code) {
        program.add(OpCode::Nop, noRegister);
        EXPECT_EQ(outcomeOfConfigure(program), std::string("The program was refused: ") + words +
                                                   " at instruction 2 of 3, " + instruction + ": " +
                                                   foundIn(program, code, 1));
    }
    void addFirst() { program.add(OpCode::ElementIndex, program.int64); }

    BenchProgram program;
};

TEST_F(RefusedInstruction, NamesAnOperandThatIsNoRegister) {
    program.registers[static_cast<std::size_t>(program.int64)].name = "index";
    addFirst();
    program.add(OpCode::Add, program.int64, {program.real, 77});
    expectRefused("operand register out of range", "%4 \"index\" = Add %6, %77",
                  FindingCode::BadRegister);
}

TEST_F(RefusedInstruction, NamesAResultThatIsNoRegister) {
    addFirst();
    program.add(OpCode::Negate, -5, {program.real});
    expectRefused("result register out of range", "%-5 = Negate %6", FindingCode::BadRegister);
}

TEST_F(RefusedInstruction, NamesASlotPastTheArity) {
    addFirst();
    program.add(OpCode::Negate, program.real, {program.real, program.real});
    expectRefused("operand slot used past the opcode's arity", "%6 = Negate %6",
                  FindingCode::ArityMismatch);
}

TEST_F(RefusedInstruction, NamesWhatItsImmediateMisses) {
    addFirst();
    program.add(OpCode::LoadConstant, program.real, {}, 7);
    expectRefused("constant pool index out of range", "%6 = LoadConstant",
                  FindingCode::BadImmediate);
}

TEST_F(RefusedInstruction, NamesKindsThatItCannotTake) {
    addFirst();
    program.add(OpCode::And, program.real, {program.tribool, program.tribool});
    expectRefused("And/Or require boolean registers", "%6 = And %0, %0", FindingCode::KindMismatch);
}

TEST_F(RefusedInstruction, NamesOperandsOfUnequalMultiplicity) {
    addFirst();
    program.add(OpCode::Add, program.real3, {program.real2, program.real3});
    expectRefused("operands differ in multiplicity and neither is a scalar", "%8 = Add %7, %8",
                  FindingCode::MultiplicityMismatch);
}

TEST_F(RefusedInstruction, NamesAConditionThatDoesNotFit) {
    addFirst();
    program.add(OpCode::Select, program.real3, {program.tribool2, program.real3, program.real3});
    expectRefused("Select's condition is neither scalar nor component-matched",
                  "%8 = Select %1, %8, %8", FindingCode::MultiplicityMismatch);
}

// `configure` refuses unequal operands in any instruction before all other mismatches of
// multiplicities.
TEST(OutcomeOfConfigure, NamesTheInstructionThatWasRefusedAndNotAnEarlierOneOfThatCode) {
    BenchProgram program;
    program.add(OpCode::Select, program.real3, {program.tribool2, program.real3, program.real3});
    program.add(OpCode::Add, program.real3, {program.real2, program.real3});
    EXPECT_EQ(outcomeOfConfigure(program),
              "The program was refused: operands differ in multiplicity and neither is a scalar at "
              "instruction 2 of 2, %8 = Add %7, %8: " +
                  foundIn(program, FindingCode::MultiplicityMismatch, 1));
    // `configure` refuses wrong registers before both.
    program.registers[0].multiplicity = -1;
    EXPECT_EQ(outcomeOfConfigure(program),
              "The program was refused: a register has non-positive multiplicity: " +
                  foundIn(program, FindingCode::MultiplicityMismatch, -1));
}

TEST(OutcomeOfConfigure, TakesAnyOtherProgram) {
    BenchProgram program;
    program.add(OpCode::Add, program.real, {program.real, 77});
    Interpreter interpreter;
    EXPECT_FALSE(interpreter.configure(program, 4));
    EXPECT_EQ(describeOutcome(interpreter, {}),
              "The program was refused: operand register out of range.");
}

// -------------------------------------------------------------------------------------------------
// evaluate

/// A program of five steps. The second, third and fourth read a field, a uniform and a sample.
struct ReadingProgram : ProgramSketch {
    std::int32_t index = addRegister(RegisterFormat::Int64);
    std::int32_t height = addRegister(RegisterFormat::Float32, 3);
    std::int32_t scale = addRegister(RegisterFormat::Half);
    std::int32_t colour = addRegister(RegisterFormat::Int32, 2);
    std::int32_t last = addRegister(RegisterFormat::Float64);

    ReadingProgram() {
        registers[static_cast<std::size_t>(height)].name = "height";
        fields.resize(1);
        uniforms.resize(1);
        samplers.resize(1);
        fields[0].name = "elevation";
        uniforms[0].name = "scale";
        samplers[0].name = "palette";
        add(OpCode::ElementIndex, index);
        add(OpCode::LoadField, height, {index}, 0);
        add(OpCode::LoadUniform, scale, {}, 0);
        add(OpCode::Sample, colour, {height}, 0);
        add(OpCode::Negate, last, {scale});
    }
};

class OutcomeOfEvaluate : public testing::Test {
  protected:
    /// Runs the program over `count` elements from `first` on, in blocks of 4.
    std::string outcome(long long first, long long count) {
        EXPECT_TRUE(interpreter.configure(program, 4));
        return outcomeOfNext(first, count);
    }
    std::string outcomeOfNext(long long first, long long count) {
        EvaluateCall call{first, count, host.bindings, interpreter.executedSteps()};
        call.returned = interpreter.evaluate(first, count, call.bindings, host.sink);
        return describeOutcome(interpreter, program, call);
    }
    /// Makes the provider return false at the call with this number, counted from 0.
    template <class Provider>
    static void declineAt(Provider& provider, int number) {
        provider.answer = [number, calls = 0](const auto&) mutable { return calls++ != number; };
    }

    ReadingProgram program;
    RecordingHost host;
    Interpreter interpreter;
};

TEST_F(OutcomeOfEvaluate, IsThatNothingIsConfigured) {
    EXPECT_EQ(outcomeOfNext(0, 4),
              "Nothing can run: the interpreter has no program until it is configured.");
    EXPECT_FALSE(interpreter.configure(program, -1));
    EXPECT_EQ(outcomeOfNext(0, 4), "The program was refused: block size must be positive.");
}

TEST_F(OutcomeOfEvaluate, IsSuccess) {
    EXPECT_EQ(outcome(0, 9), "The run is complete: 9 elements in 3 blocks.");
    EXPECT_EQ(outcome(0, 1), "The run is complete: 1 element in 1 block.");
    EXPECT_EQ(outcome(0, 0), "The run is complete: 0 elements in 0 blocks.");
    EXPECT_EQ(outcome(7, -3), "The run is complete: 0 elements in 0 blocks.");
}

TEST_F(OutcomeOfEvaluate, NamesTheProviderThatIsNotBound) {
    host.fields[0] = nullptr;
    EXPECT_EQ(outcome(0, 9),
              "The run was refused before its first block: no accessor bound for a field the "
              "program reads: field \"elevation\" is needed at step 2 of 5, %1 \"height\" (Float32 "
              "with 3 components) = LoadField %0 (Int64 with 1 component).");
    host.fields[0] = &host.field;
    host.bindings.uniforms = nullptr;
    EXPECT_EQ(outcome(0, 9),
              "The run was refused before its first block: no uniform source bound: uniform "
              "\"scale\" is needed at step 3 of 5, %2 (Half with 1 component) = LoadUniform.");
    host.bindings.uniforms = &host.uniforms;
    host.bindings.samplerCount = 0;
    program.samplers[0].name.clear();
    EXPECT_EQ(outcome(0, 9),
              "The run was refused before its first block: no sampler bound for one the program "
              "uses: sampler 0 is needed at step 4 of 5, %3 (Int32 with 2 components) = Sample %1 "
              "\"height\" (Float32 with 3 components).");
}

TEST_F(OutcomeOfEvaluate, NamesTheProviderThatDeclinedAndWhatItWasAskedFor) {
    declineAt(host.field, 0);
    EXPECT_EQ(outcome(0, 1),
              "The run was refused: field accessor declined: field \"elevation\" was asked for "
              "Float32 with 3 components, at step 2 of 5, %1 \"height\" (Float32 with 3 "
              "components) = LoadField %0 (Int64 with 1 component), in block 1 of 1 (element 0).");
    host.field.answer = [](const auto&) { return true; };
    declineAt(host.uniforms, 1);
    EXPECT_EQ(outcome(-6, 9),
              "The run was refused: uniform source declined: uniform \"scale\" was asked for Half "
              "with 1 component, at step 3 of 5, %2 (Half with 1 component) = LoadUniform, in "
              "block 2 of 3 (elements -2 to 1).");
    host.uniforms.answer = [](const auto&) { return true; };
    declineAt(host.sampler, 2);
    EXPECT_EQ(outcome(100, 11),
              "The run was refused: sampler declined: sampler \"palette\" was asked for Int32 with "
              "2 components, at coordinates of Float32 with 3 components, at step 4 of 5, %3 "
              "(Int32 with 2 components) = Sample %1 \"height\" (Float32 with 3 components), in "
              "block 3 of 3 (elements 108 to 110).");
}

TEST_F(OutcomeOfEvaluate, NamesKindsWithoutAKernel) {
    program.instructions[4] = {OpCode::Negate, program.last, {program.index, -1, -1}, -1};
    EXPECT_EQ(outcome(0, 4),
              "The run was refused: no kernel for this unary operation at the operand's storage "
              "kind at step 5 of 5, %4 (Float64 with 1 component) = Negate %0 (Int64 with 1 "
              "component), in block 1 of 1 (elements 0 to 3).");
    program.instructions[4] = {static_cast<OpCode>(99), program.last, {-1, -1, -1}, -1};
    EXPECT_EQ(outcome(0, 4),
              "The run was refused: opcode has no implementation in this backend at step 5 of 5, "
              "%4 (Float64 with 1 component) = Unknown, in block 1 of 1 (elements 0 to 3).");
}

TEST_F(OutcomeOfEvaluate, NamesTheBlockAfterWhichTheSinkEndedTheRun) {
    declineAt(host.sink, 0);
    EXPECT_EQ(outcome(0, 9), "The sink ended the run after block 1 of 3 (elements 0 to 3).");
    declineAt(host.sink, 2);
    EXPECT_EQ(outcome(5, 9), "The sink ended the run after block 3 of 3 (element 13).");
}

TEST_F(OutcomeOfEvaluate, CountsFromTheStepsBeforeTheRun) {
    EXPECT_EQ(outcome(0, 9), "The run is complete: 9 elements in 3 blocks.");
    declineAt(host.sink, 1);
    EXPECT_EQ(outcomeOfNext(0, 9), "The sink ended the run after block 2 of 3 (elements 4 to 7).");
}

TEST_F(OutcomeOfEvaluate, IsToldWhereElementNumbersWrap) {
    constexpr long long most = std::numeric_limits<long long>::max();
    declineAt(host.sink, 1);
    EXPECT_EQ(outcome(most - 4, 9),
              "The sink ended the run after block 2 of 3 (elements 9223372036854775807 to "
              "-9223372036854775806).");
    declineAt(host.sink, 0);
    EXPECT_EQ(outcome(0, most),
              "The sink ended the run after block 1 of 2305843009213693952 (elements 0 to 3).");
}

// A program without steps has no steps to count, so the sentence cannot name the block.
TEST_F(OutcomeOfEvaluate, OfAProgramWithoutStepsNamesNoBlock) {
    program.instructions.clear();
    declineAt(host.sink, 1);
    EXPECT_EQ(outcome(0, 9), "The sink ended the run.");
}

TEST_F(OutcomeOfEvaluate, NamesNoPlaceAfterASinkThatRanTheInterpreter) {
    struct OtherSink final : BlockSink {
        bool consume(const RegisterFile&, long long, int) override { return true; }
    } other;
    // Steps of the inner run are counted, too, so the outer run seems to have run more blocks than
    // it has.
    host.sink.answer = [&](const RegisterFile&) {
        EXPECT_TRUE(interpreter.evaluate(0, 40, host.bindings, other));
        return false;
    };
    EXPECT_EQ(outcome(0, 9), "The sink ended the run.");
    host.sink.answer = [&](const RegisterFile&) {
        EXPECT_TRUE(interpreter.runStep(interpreter.plan()[0], host.bindings, 0));
        return false;
    };
    EXPECT_EQ(outcome(0, 9), "The sink ended the run.");
}

TEST_F(OutcomeOfEvaluate, NamesWhatASinkHadRefused) {
    ReadingProgram inner;
    inner.instructions[1].operands[0] = 50;
    host.sink.answer = [&](const RegisterFile&) {
        EXPECT_FALSE(interpreter.configure(inner, 4));
        return false;
    };
    EXPECT_TRUE(interpreter.configure(program, 4));
    const EvaluateCall call{0, 9, host.bindings};
    EXPECT_FALSE(interpreter.evaluate(0, 9, host.bindings, host.sink));
    EXPECT_EQ(describeOutcome(interpreter, program, call),
              "The program was refused: operand register out of range.");
    EXPECT_EQ(describeOutcome(interpreter, inner, call),
              "The program was refused: operand register out of range at instruction 2 of 5, %1 "
              "\"height\" = LoadField %50: " +
                  foundIn(inner, FindingCode::BadRegister, 1));
}

// If the counters are not consistent, the sentence names no place, and nothing worse happens.
TEST_F(OutcomeOfEvaluate, TakesAnyCall) {
    declineAt(host.field, 0);
    EXPECT_EQ(outcome(0, 4).find("The run was refused: field accessor declined: field"), 0u);
    const std::string words = "The run was refused: field accessor declined.";
    EXPECT_EQ(describeOutcome(interpreter, program, {0, 0, host.bindings}), words);
    EXPECT_EQ(describeOutcome(interpreter, program, {0, -4, host.bindings}), words);
    EXPECT_EQ(describeOutcome(interpreter, program, {0, 4, host.bindings, 99}), words);
    EXPECT_EQ(describeOutcome(interpreter, program, {0, 4, host.bindings, 1}), words);
    EXPECT_EQ(describeOutcome(interpreter, {}, {0, 4, host.bindings}),
              "The run was refused: field accessor declined: field 0 was asked for Float32 with 3 "
              "components, at step 2 of 5, %1 (Float32 with 3 components) = LoadField %0 (Int64 "
              "with 1 component), in block 1 of 1 (elements 0 to 3).");
}

} // namespace
} // namespace Fenlet
