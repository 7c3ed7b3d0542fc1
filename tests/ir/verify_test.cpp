// Each finding of the verifier by itself: its code, its place and its words.
#include <fenletir/program_builder.h>
#include <fenletir/verify.h>

#include <gtest/gtest.h>

namespace Fenlet {
namespace {

/// A program of a few registers, written without any help.
struct Sketch {
    FenletProgram program;

    std::int32_t reg(Format format, std::int32_t multiplicity = 1, std::string name = {}) {
        RegisterInfo info;
        info.format = format;
        info.multiplicity = multiplicity;
        info.name = std::move(name);
        program.registers.push_back(std::move(info));
        return program.registerCount() - 1;
    }
    /// A register that a sampler has filled, and that is an output.
    std::int32_t filled(Format format, std::int32_t multiplicity = 1, std::string name = {}) {
        const std::int32_t number = reg(format, multiplicity, std::move(name));
        program.registers.back().output = true;
        if (program.fields.empty()) {
            program.fields.resize(1);
            program.uniforms.resize(1);
            const std::int32_t index = reg(Format::Int64);
            op(OpCode::ElementIndex, index);
        }
        op(OpCode::LoadField, number, {indexRegister()}, 0);
        return number;
    }
    std::int32_t output(Format format, std::int32_t multiplicity = 1, std::string name = {}) {
        const std::int32_t number = reg(format, multiplicity, std::move(name));
        program.registers.back().output = true;
        return number;
    }
    std::int32_t op(OpCode code, std::int32_t result, std::vector<std::int32_t> operands = {},
                    std::int32_t immediate = -1) {
        Instruction instruction;
        instruction.op = code;
        instruction.result = result;
        for (std::size_t i = 0; i < operands.size(); ++i)
            instruction.operands[i] = operands[i];
        instruction.immediate = immediate;
        program.instructions.push_back(instruction);
        return program.instructionCount() - 1;
    }

  private:
    std::int32_t indexRegister() const { return program.instructions[0].result; }
};

/// All that is found, a line each: class, code and the finding in words.
std::string findingsOf(const FenletProgram& program) {
    constexpr const char* classes[] = {"refused", "refused in run", "outside", "mistake"};
    std::string all;
    for (const Finding& finding : verifyProgram(program))
        all += std::string(classes[static_cast<int>(finding.severity)]) + " " +
               findingCodeName(finding.code) + ": " + describeFinding(finding) + "\n";
    return all;
}

TEST(Verify, FindsNothingInWhatTheBuilderWrites) {
    ProgramBuilder builder(ProgramBuilder::OnError::Throw);
    const auto height =
        builder.loadField(builder.field("height"), builder.elementIndex(), Format::Float32);
    const auto limit = builder.loadUniform(builder.uniform("limit"), Format::Float32);
    builder.output(builder.less(limit, height), "above");
    EXPECT_EQ(findingsOf(builder.build().program), "");
    EXPECT_EQ(findingsOf(FenletProgram{}), "");
}

TEST(Verify, FindsRegistersWithoutStorageUsedOrNot) {
    Sketch sketch;
    sketch.reg(static_cast<Format>(8));
    sketch.reg(static_cast<Format>(-1), 0);
    sketch.reg(Format::Half, 0);
    EXPECT_EQ(findingsOf(sketch.program),
              "refused UnsupportedFormat: Register %0 has the format 8, which is none; they are "
              "numbered from 0 (Tribool) to 7 (Float64).\n"
              "refused UnsupportedFormat: Register %1 has the format -1, which is none; they are "
              "numbered from 0 (Tribool) to 7 (Float64).\n"
              "refused MultiplicityMismatch: Register %2 has 0 components; it takes at least 1.\n");
}

TEST(Verify, FindsRegisterNumbersOutsideTheProgram) {
    Sketch sketch;
    const auto value = sketch.filled(Format::Float32);
    sketch.op(OpCode::Add, 9, {-1, value, 4});
    EXPECT_EQ(findingsOf(sketch.program),
              "refused BadRegister: Instruction 2 (Add): The result names register %9, and the "
              "program has 2 registers, numbered from 0.\n"
              "refused BadRegister: Instruction 2 (Add), operand 0: The operand names register "
              "%-1, and the program has 2 registers, numbered from 0.\n"
              "refused ArityMismatch: Instruction 2 (Add), operand 2: Add takes 2 operands; this "
              "slot must hold -1, not 4.\n");
}

TEST(Verify, FindsPoolNumbersAndComponentsThatAreNotThere) {
    Sketch sketch;
    const auto value = sketch.filled(Format::Float32, 3, "normal");
    sketch.op(OpCode::Component, sketch.output(Format::Float32), {value}, 3);
    sketch.op(OpCode::LoadConstant, sketch.output(Format::Float32), {}, 0);
    sketch.op(OpCode::LoadUniform, sketch.output(Format::Float32), {}, 1);
    EXPECT_EQ(findingsOf(sketch.program),
              "refused BadImmediate: Instruction 2 (Component), operand 0: Component 3 is asked "
              "for of register %0 \"normal\" (Float32, 3 components); they are numbered from 0.\n"
              "refused BadImmediate: Instruction 3 (LoadConstant): The immediate 0 names no "
              "constant; the program has 0, numbered from 0.\n"
              "refused BadImmediate: Instruction 4 (LoadUniform): The immediate 1 names no "
              "uniform; the program has 1, numbered from 0.\n");
}

TEST(Verify, FindsMultiplicitiesThatDoNotFitTogether) {
    Sketch sketch;
    const auto two = sketch.filled(Format::Float32, 2);
    const auto three = sketch.filled(Format::Float32, 3);
    sketch.op(OpCode::Add, sketch.output(Format::Float32, 3), {two, three});
    EXPECT_EQ(findingsOf(sketch.program),
              "refused MultiplicityMismatch: Instruction 3 (Add): The operands, register %0 "
              "(Float32, 2 components) and register %2 (Float32, 3 components), differ in "
              "multiplicity; they take as many components, or one of them one.\n");
}

TEST(Verify, FindsAScalarOnTheLeftOfAComparisonAndSaysHowToMirrorIt) {
    Sketch sketch;
    const auto limit = sketch.filled(Format::Float32, 1, "limit");
    const auto colour = sketch.filled(Format::Half, 3);
    sketch.op(OpCode::LessEqual, sketch.output(Format::Tribool, 3), {limit, colour});
    EXPECT_EQ(findingsOf(sketch.program),
              "refused MultiplicityMismatch: Instruction 3 (LessEqual), operand 0: The left "
              "operand, register %0 \"limit\" (Float32, 1 component), is a scalar and the right "
              "one, register %2 (Half, 3 components), is not; a comparison takes its scalar on "
              "the right.\n"
              "mistake MirrorComparison: Instruction 3 (LessEqual): The same comparison with its "
              "sides exchanged would stand: GreaterEqual with register %2 (Half, 3 components) on "
              "the left.\n");
}

TEST(Verify, FindsConditionsWithoutTruthOrOfTheWrongWidth) {
    Sketch sketch;
    const auto number = sketch.filled(Format::Int32, 2);
    const auto value = sketch.filled(Format::Float32, 3);
    sketch.op(OpCode::Select, sketch.output(Format::Float32, 3), {number, value, value});
    EXPECT_EQ(findingsOf(sketch.program),
              "refused KindMismatch: Instruction 3 (Select), operand 0: The operand, register %0 "
              "(Int32, 2 components), has no truth value; it takes a Tribool register.\n"
              "refused MultiplicityMismatch: Instruction 3 (Select), operand 0: The condition, "
              "register %0 (Int32, 2 components), does not fit the result, register %3 (Float32, "
              "3 components); it takes as many components, or one.\n");
}

TEST(Verify, FindsKindsThatOnlyTheFirstBlockWouldRefuse) {
    Sketch sketch;
    const auto wide = sketch.filled(Format::Int64);
    const auto truth = sketch.filled(Format::Tribool);
    sketch.op(OpCode::Negate, sketch.output(Format::Float64), {wide});
    sketch.op(OpCode::Less, sketch.output(Format::Tribool), {wide, truth});
    sketch.op(OpCode::Component, sketch.output(Format::Int32), {truth}, 0);
    sketch.op(OpCode::Select, sketch.output(Format::Half), {truth, wide, truth});
    sketch.op(static_cast<OpCode>(24), sketch.output(Format::Half));
    EXPECT_EQ(
        findingsOf(sketch.program),
        "refused in run KindMismatch: Instruction 3 (Negate): Register %0 (Int64, 1 component) "
        "into register %3 (Float64, 1 component) has no kernel; it takes Int8 to Int32, Half, "
        "Float32 and Float64.\n"
        "refused in run KindMismatch: Instruction 4 (Less): Register %0 (Int64, 1 component) and "
        "register %2 (Tribool, 1 component) cannot be compared; it takes numbers.\n"
        "refused in run KindMismatch: Instruction 5 (Component): Register %2 (Tribool, 1 "
        "component) into register %5 (Int32, 1 component) has no kernel; a Tribool stays one, and "
        "a number stays a number.\n"
        "refused in run KindMismatch: Instruction 6 (Select): Register %0 (Int64, 1 component) "
        "and register %2 (Tribool, 1 component) into register %6 (Half, 1 component) has no "
        "kernel; it takes Tribool in all three places or in none.\n"
        "refused in run KindMismatch: Instruction 7 (Unknown): Opcode 24 is none; they are "
        "numbered from 0 to 23.\n");
}

TEST(Verify, FindsLanesBesideTheRegisters) {
    Sketch sketch;
    const auto one = sketch.filled(Format::Float32);
    const auto three = sketch.filled(Format::Float32, 3);
    sketch.op(OpCode::Add, sketch.output(Format::Float32, 3), {one, one});
    sketch.op(OpCode::Negate, sketch.output(Format::Float32), {three});
    EXPECT_EQ(
        findingsOf(sketch.program),
        "outside ReadsPastOperand: Instruction 3 (Add), operand 0: It takes 3 components for each "
        "element of register %0 (Float32, 1 component), which has less: it would read beside it.\n"
        "outside ReadsPastOperand: Instruction 3 (Add), operand 1: It takes 3 components for each "
        "element of register %0 (Float32, 1 component), which has less: it would read beside it.\n"
        "outside WritesPastResult: Instruction 4 (Negate): It makes 3 components for each "
        "element, and register %4 (Float32, 1 component) has less: it would write beside it. It "
        "takes a result of 3 components.\n");
}

TEST(Verify, FindsAScalarThatLogicDoesNotRepeat) {
    Sketch sketch;
    const auto one = sketch.filled(Format::Tribool);
    const auto two = sketch.filled(Format::Tribool, 2);
    sketch.op(OpCode::Or, sketch.output(Format::Tribool, 2), {two, one});
    EXPECT_EQ(findingsOf(sketch.program),
              "outside ReadsPastOperand: Instruction 3 (Or), operand 1: It takes 2 components for "
              "each element of register %0 (Tribool, 1 component), which has less: it would read "
              "beside it.\n");
}

TEST(Verify, FindsValuesThatWouldStandAtTheWrongElements) {
    Sketch sketch;
    const auto three = sketch.filled(Format::Float32, 3);
    sketch.op(OpCode::Subtract, sketch.output(Format::Float32, 2), {three, three});
    sketch.op(OpCode::Length, sketch.output(Format::Float32, 2), {three});
    EXPECT_EQ(
        findingsOf(sketch.program),
        "mistake MisreadOperand: Instruction 2 (Subtract), operand 0: It takes 2 components for "
        "each element of register %0 (Float32, 3 components), which has more: values of the wrong "
        "elements would be taken.\n"
        "mistake MisreadOperand: Instruction 2 (Subtract), operand 1: It takes 2 components for "
        "each element of register %0 (Float32, 3 components), which has more: values of the wrong "
        "elements would be taken.\n"
        "mistake PartlyWritten: Instruction 3 (Length): It makes 1 component for each element, "
        "and register %3 (Float32, 2 components) has more: values come to stand at the wrong "
        "elements. It takes a result of 1 component.\n");
}

TEST(Verify, FindsWhatNobodyWroteAndWhatNobodyReads) {
    Sketch sketch;
    const auto empty = sketch.reg(Format::Float32, 1, "empty");
    const auto result = sketch.reg(Format::Float32, 1, "result");
    sketch.op(OpCode::Negate, result, {empty});
    sketch.output(Format::Half);
    EXPECT_EQ(findingsOf(sketch.program),
              "mistake NeverWritten: Instruction 0 (Negate), operand 0: The operand, register %0 "
              "\"empty\" (Float32, 1 component), is read before any instruction has written it.\n"
              "mistake NeverRead: Instruction 0 (Negate): The result, register %1 \"result\" "
              "(Float32, 1 component), is read by no instruction and is no output.\n"
              "mistake NeverWritten: The output, register %2 (Half, 1 component), is written by "
              "no instruction.\n");
}

TEST(Verify, TakesAResultThatIsWrittenAgainForUnread) {
    Sketch sketch;
    const auto value = sketch.filled(Format::Float32);
    sketch.op(OpCode::Negate, value, {value});
    EXPECT_EQ(findingsOf(sketch.program), "");
    sketch.op(OpCode::LoadField, value, {1}, 0);
    EXPECT_EQ(findingsOf(sketch.program),
              "mistake NeverRead: Instruction 2 (Negate): The result, register %0 (Float32, 1 "
              "component), is read by no instruction and is no output.\n");
}

TEST(Verify, FindsConstantsThatDoNotFitTheirRegister) {
    Sketch sketch;
    sketch.program.constants = {Constant::ofReals({1, 2}), Constant::ofTribool(1),
                                Constant::ofIntegers(std::vector<std::int64_t>(65, 1))};
    sketch.op(OpCode::LoadConstant, sketch.output(Format::Float32, 3), {}, 0);
    sketch.op(OpCode::LoadConstant, sketch.output(Format::Float32, 1), {}, 0);
    sketch.op(OpCode::LoadConstant, sketch.output(Format::Tribool, 2), {}, 0);
    sketch.op(OpCode::LoadConstant, sketch.output(Format::Float64), {}, 1);
    sketch.op(OpCode::LoadConstant, sketch.output(Format::Float64), {}, 2);
    EXPECT_EQ(findingsOf(sketch.program),
              "mistake ConstantWidth: Instruction 0 (LoadConstant): Constant 0 has 2 components "
              "for register %0 (Float32, 3 components); the others would be zero.\n"
              "mistake ConstantWidth: Instruction 1 (LoadConstant): Constant 0 has 2 components "
              "for register %1 (Float32, 1 component); the last ones would be left out.\n"
              "mistake ConstantKind: Instruction 2 (LoadConstant): Constant 0 is a number, and "
              "register %2 (Tribool, 2 components) would be false; it takes a truth value.\n"
              "refused MultiplicityMismatch: Instruction 4 (LoadConstant): Constant 2 has 65 "
              "components; it takes 64 at most.\n");
}

TEST(Verify, TellsPlacesInNumbersToo) {
    Sketch sketch;
    const auto value = sketch.filled(Format::Float32);
    sketch.op(OpCode::Negate, 7, {value});
    const std::vector<Finding> findings = verifyProgram(sketch.program);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].instruction, 2);
    EXPECT_STREQ(findings[0].opCode, "Negate");
    EXPECT_EQ(findings[0].slot, resultSlot);
    EXPECT_EQ(findings[0].registerNumber, 7);
    EXPECT_FALSE(isSound(findings));
    EXPECT_TRUE(isSound({}));
    EXPECT_STREQ(findingCodeName(static_cast<FindingCode>(4)), "Unknown");
}

} // namespace
} // namespace Fenlet
