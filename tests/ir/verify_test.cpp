// Each finding of the verifier: its code, its place and its message.
#include <fenletir/program_builder.h>
#include <fenletir/verify.h>

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace Fenlet {
namespace {

/// A program of a few registers, written without the builder.
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
    /// A register that a field has filled, and that is an output.
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

/// All findings, one per line: class, code and message.
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
}

TEST(Verify, FindsProgramsThatGiveNothing) {
    EXPECT_EQ(findingsOf(FenletProgram{}),
              "mistake NoInstruction: The program is empty; write at least one instruction and "
              "make its result an output.\n");
    Sketch sketch;
    sketch.op(OpCode::ElementIndex, sketch.reg(Format::Int64, 1, "index"));
    EXPECT_EQ(
        findingsOf(sketch.program),
        "mistake NeverRead: Instruction 0 (ElementIndex): Nothing uses the result, register %0 "
        "\"index\" (Int64, 1 component); read it, make it an output, or remove the instruction.\n"
        "mistake NoOutput: The program has no output; make at least one register an output.\n");
    sketch.program.registers[0].output = true;
    EXPECT_EQ(findingsOf(sketch.program), "");
    for (const FindingCode code : {FindingCode::NoOutput, FindingCode::NoInstruction}) {
        Finding finding;
        finding.severity = FindingClass::ProbablyAMistake;
        finding.code = code;
        EXPECT_FALSE(spoilsResults(finding));
    }
}

TEST(Verify, FindsRegistersWithoutStorageUsedOrNot) {
    Sketch sketch;
    sketch.reg(static_cast<Format>(8));
    sketch.reg(static_cast<Format>(-1), 0);
    sketch.reg(Format::Half, 0);
    sketch.filled(Format::Half);
    EXPECT_EQ(findingsOf(sketch.program),
              "refused UnsupportedFormat: Register %0 has the format 8, which does not exist; "
              "formats are numbered from 0 (Tribool) to 7 (Float64).\n"
              "refused UnsupportedFormat: Register %1 has the format -1, which does not exist; "
              "formats are numbered from 0 (Tribool) to 7 (Float64).\n"
              "refused MultiplicityMismatch: Register %2 has 0 components; it needs at least 1.\n");
}

TEST(Verify, FindsRegisterNumbersOutsideTheProgram) {
    Sketch sketch;
    const auto value = sketch.filled(Format::Float32);
    sketch.op(OpCode::Add, 9, {-1, value, 4});
    EXPECT_EQ(findingsOf(sketch.program),
              "refused BadRegister: Instruction 2 (Add): The result is register %9, but the "
              "program has 2 registers, numbered from 0.\n"
              "refused BadRegister: Instruction 2 (Add), operand 0: The operand is register %-1, "
              "but the program has 2 registers, numbered from 0.\n"
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
              "refused BadImmediate: Instruction 2 (Component), operand 0: There is no component 3 "
              "in register %0 \"normal\" (Float32, 3 components); components are numbered from 0.\n"
              "refused BadImmediate: Instruction 3 (LoadConstant): There is no constant 0; the "
              "program has 0, numbered from 0.\n"
              "refused BadImmediate: Instruction 4 (LoadUniform): There is no uniform 1; the "
              "program has 1, numbered from 0.\n");
}

TEST(Verify, FindsMultiplicitiesThatDoNotFitTogether) {
    Sketch sketch;
    const auto two = sketch.filled(Format::Float32, 2);
    const auto three = sketch.filled(Format::Float32, 3);
    sketch.op(OpCode::Add, sketch.output(Format::Float32, 3), {two, three});
    EXPECT_EQ(findingsOf(sketch.program),
              "refused MultiplicityMismatch: Instruction 3 (Add): The operands, register %0 "
              "(Float32, 2 components) and register %2 (Float32, 3 components), have different "
              "numbers of components; they need the same number, or one of them must have 1.\n");
}

TEST(Verify, FindsAScalarOnTheLeftOfAComparisonAndSaysHowToMirrorIt) {
    Sketch sketch;
    const auto limit = sketch.filled(Format::Float32, 1, "limit");
    const auto colour = sketch.filled(Format::Half, 3);
    sketch.op(OpCode::LessEqual, sketch.output(Format::Tribool, 3), {limit, colour});
    EXPECT_EQ(findingsOf(sketch.program),
              "refused MultiplicityMismatch: Instruction 3 (LessEqual), operand 0: The left "
              "operand, register %0 \"limit\" (Float32, 1 component), has 1 component and the "
              "right one, register %2 (Half, 3 components), has more; in a comparison only the "
              "right one may be a scalar.\n"
              "mistake MirrorComparison: Instruction 3 (LessEqual): With its sides exchanged, the "
              "comparison would be accepted: GreaterEqual with register %2 (Half, 3 components) on "
              "the left.\n");
}

TEST(Verify, FindsConditionsWithoutTruthOrOfTheWrongWidth) {
    Sketch sketch;
    const auto number = sketch.filled(Format::Int32, 2);
    const auto value = sketch.filled(Format::Float32, 3);
    sketch.op(OpCode::Select, sketch.output(Format::Float32, 3), {number, value, value});
    EXPECT_EQ(findingsOf(sketch.program),
              "refused KindMismatch: Instruction 3 (Select), operand 0: The operand, register %0 "
              "(Int32, 2 components), must be Tribool.\n"
              "refused MultiplicityMismatch: Instruction 3 (Select), operand 0: The condition, "
              "register %0 (Int32, 2 components), does not match the result, register %3 (Float32, "
              "3 components); it needs the same number of components, or 1.\n");
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
        "refused in run KindMismatch: Instruction 3 (Negate): There is no kernel for register %0 "
        "(Int64, 1 component) into register %3 (Float64, 1 component); use Int8, Int16, Int32, "
        "Half, Float32 or Float64.\n"
        "refused in run KindMismatch: Instruction 4 (Less): There is no kernel that compares "
        "register %0 (Int64, 1 component) and register %2 (Tribool, 1 component); both must be "
        "numbers.\n"
        "refused in run KindMismatch: Instruction 5 (Component): There is no kernel for register "
        "%2 (Tribool, 1 component) into register %5 (Int32, 1 component); both must be Tribool, or "
        "neither.\n"
        "refused in run KindMismatch: Instruction 6 (Select): There is no kernel for register %0 "
        "(Int64, 1 component) and register %2 (Tribool, 1 component) into register %6 (Half, 1 "
        "component); all three must be Tribool, or none.\n"
        "refused in run KindMismatch: Instruction 7 (Unknown): Opcode 24 does not exist; "
        "opcodes are numbered from 0 to 23.\n");
}

TEST(Verify, FindsLanesBesideTheRegisters) {
    Sketch sketch;
    const auto one = sketch.filled(Format::Float32);
    const auto three = sketch.filled(Format::Float32, 3);
    sketch.op(OpCode::Add, sketch.output(Format::Float32, 3), {one, one});
    sketch.op(OpCode::Negate, sketch.output(Format::Float32), {three});
    EXPECT_EQ(findingsOf(sketch.program),
              "outside ReadsPastOperand: Instruction 3 (Add), operand 0: It reads 3 components per "
              "element of register %0 (Float32, 1 component), which has fewer: it would read "
              "outside the register; the operand needs 3 components.\n"
              "outside ReadsPastOperand: Instruction 3 (Add), operand 1: It reads 3 components per "
              "element of register %0 (Float32, 1 component), which has fewer: it would read "
              "outside the register; the operand needs 3 components.\n"
              "outside WritesPastResult: Instruction 4 (Negate): It writes 3 components per "
              "element, but register %4 (Float32, 1 component) has fewer: it would write outside "
              "the register; the result needs 3 components.\n");
}

TEST(Verify, FindsAScalarThatLogicDoesNotRepeat) {
    Sketch sketch;
    const auto one = sketch.filled(Format::Tribool);
    const auto two = sketch.filled(Format::Tribool, 2);
    sketch.op(OpCode::Or, sketch.output(Format::Tribool, 2), {two, one});
    EXPECT_EQ(findingsOf(sketch.program),
              "outside ReadsPastOperand: Instruction 3 (Or), operand 1: It reads 2 components per "
              "element of register %0 (Tribool, 1 component), which has fewer: it would read "
              "outside the register; the operand needs 2 components.\n");
}

TEST(Verify, FindsValuesThatWouldStandAtTheWrongElements) {
    Sketch sketch;
    const auto three = sketch.filled(Format::Float32, 3);
    sketch.op(OpCode::Subtract, sketch.output(Format::Float32, 2), {three, three});
    sketch.op(OpCode::Length, sketch.output(Format::Float32, 2), {three});
    EXPECT_EQ(findingsOf(sketch.program),
              "mistake MisreadOperand: Instruction 2 (Subtract), operand 0: It reads 2 components "
              "per element of register %0 (Float32, 3 components), which has more: it would read "
              "the values of wrong elements; the operand needs 2 components.\n"
              "mistake MisreadOperand: Instruction 2 (Subtract), operand 1: It reads 2 components "
              "per element of register %0 (Float32, 3 components), which has more: it would read "
              "the values of wrong elements; the operand needs 2 components.\n"
              "mistake PartlyWritten: Instruction 3 (Length): It writes 1 component per element, "
              "but register %3 (Float32, 2 components) has more: values would land in the wrong "
              "elements; the result needs 1 component.\n");
}

TEST(Verify, FindsWhatNobodyWroteAndWhatNobodyReads) {
    Sketch sketch;
    const auto empty = sketch.reg(Format::Float32, 1, "empty");
    const auto result = sketch.reg(Format::Float32, 1, "result");
    sketch.op(OpCode::Negate, result, {empty});
    sketch.output(Format::Half);
    EXPECT_EQ(findingsOf(sketch.program),
              "mistake NeverWritten: Instruction 0 (Negate), operand 0: The operand, register %0 "
              "\"empty\" (Float32, 1 component), is read before it is written; an earlier "
              "instruction must write it.\n"
              "mistake NeverRead: Instruction 0 (Negate): Nothing uses the result, register %1 "
              "\"result\" (Float32, 1 component); read it, make it an output, or remove the "
              "instruction.\n"
              "mistake NeverWritten: No instruction writes the output, register %2 (Half, 1 "
              "component); write it, or do not make it an output.\n");
}

TEST(Verify, TakesAResultThatIsWrittenAgainForUnread) {
    Sketch sketch;
    const auto value = sketch.filled(Format::Float32);
    sketch.op(OpCode::Negate, value, {value});
    EXPECT_EQ(findingsOf(sketch.program), "");
    sketch.op(OpCode::LoadField, value, {1}, 0);
    EXPECT_EQ(findingsOf(sketch.program),
              "mistake NeverRead: Instruction 2 (Negate): Nothing uses the result, register %0 "
              "(Float32, 1 component); read it, make it an output, or remove the instruction.\n");
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
    EXPECT_EQ(
        findingsOf(sketch.program),
        "mistake ConstantWidth: Instruction 0 (LoadConstant): Constant 0 has 2 components "
        "for register %0 (Float32, 3 components): the rest would be 0; both need the same number.\n"
        "mistake ConstantWidth: Instruction 1 (LoadConstant): Constant 0 has 2 components "
        "for register %1 (Float32, 1 component): the last would be dropped; both need the same "
        "number.\n"
        "mistake ConstantKind: Instruction 2 (LoadConstant): Constant 0 is a number, and "
        "register %2 (Tribool, 2 components) would be false; load false, true or unknown.\n"
        "refused MultiplicityMismatch: Instruction 4 (LoadConstant): Constant 2 has 65 components; "
        "the limit is 64.\n");
}

/// A program that loads `constant` into a register, which is the output.
FenletProgram loading(Constant constant, Format format) {
    Sketch sketch;
    const std::int32_t multiplicity = constant.multiplicity;
    sketch.program.constants = {std::move(constant)};
    sketch.op(OpCode::LoadConstant, sketch.output(format, multiplicity), {}, 0);
    return sketch.program;
}

TEST(Verify, FindsConstantsThatTheFormatCannotHold) {
    EXPECT_EQ(findingsOf(loading(Constant::ofIntegers({3000000000}), Format::Int32)),
              "mistake ConstantValue: Instruction 0 (LoadConstant): Constant 0: 3000000000 does "
              "not fit into Int32, which holds -2147483648 to 2147483647; the nearest is "
              "2147483647.\n");
    EXPECT_EQ(findingsOf(loading(Constant::ofReals({0.1, 1e6, 1e7}), Format::Half)),
              "mistake ConstantValue: Instruction 0 (LoadConstant): Constant 0, component 1: "
              "1e+06 does not fit into Half, which holds -65504 to 65504; the nearest is "
              "65504.\n");
    EXPECT_EQ(findingsOf(loading(Constant::ofTribool(255), Format::Float32)),
              "mistake ConstantValue: Instruction 0 (LoadConstant): Constant 0: unknown does not "
              "fit into Float32, where it would be 0; load a number.\n");
    for (const auto& [value, format] :
         {std::pair(1.7, Format::Int32), {300.0, Format::Int8}, {16777217.0, Format::Float32}})
        EXPECT_EQ(verifyProgram(loading(Constant::ofReals({value}), format)).size(), 1u);
    EXPECT_EQ(findingsOf(loading(Constant::ofIntegers({-128, 127}), Format::Int8)), "");
    EXPECT_EQ(
        findingsOf(loading(
            Constant::ofReals({0.1, -65519.9, std::numeric_limits<double>::quiet_NaN(), HUGE_VAL}),
            Format::Half)),
        "");
    EXPECT_EQ(findingsOf(loading(Constant::ofReals({-0.0}), Format::Int8)), "");
}

TEST(Verify, LooksAtTheNumbersThatTheRegisterTakes) {
    // A `Constant` can hold both integers and reals. An integer format uses the integers, a float
    // format the reals.
    Constant both;
    both.integers = {300};
    both.reals = {0.5};
    EXPECT_EQ(findingsOf(loading(both, Format::Float32)), "");
    EXPECT_NE(findingsOf(loading(both, Format::Int8)), "");
    // Components that the register has no room for are not checked: the different width is a
    // separate finding.
    FenletProgram program = loading(Constant::ofIntegers({1, 300}), Format::Int8);
    program.registers[0].multiplicity = 1;
    const std::vector<Finding> findings = verifyProgram(program);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].code, FindingCode::ConstantWidth);
    program.constants[0].multiplicity = -1;
    EXPECT_EQ(verifyProgram(program).size(), 1u);
}

TEST(Verify, TellsWhatSpoilsResultsFromWhatDoesNot) {
    const struct {
        FindingCode code;
        bool spoils;
    } rows[] = {
        {FindingCode::NeverWritten, true},  {FindingCode::NeverRead, false},
        {FindingCode::ConstantWidth, true}, {FindingCode::MirrorComparison, false},
        {FindingCode::ConstantKind, true},  {FindingCode::MisreadOperand, true},
        {FindingCode::PartlyWritten, true}, {FindingCode::ConstantValue, true},
        {FindingCode::NoOutput, false},     {FindingCode::NoInstruction, false},
        {FindingCode::KindMismatch, false},
    };
    Finding finding;
    finding.severity = FindingClass::ProbablyAMistake;
    for (const auto& row : rows) {
        finding.code = row.code;
        EXPECT_EQ(spoilsResults(finding), row.spoils) << findingCodeName(row.code);
    }
    finding.severity = FindingClass::OutsideItsArea;
    finding.code = FindingCode::ReadsPastOperand;
    EXPECT_TRUE(spoilsResults(finding));
    finding.severity = FindingClass::Refused;
    finding.code = FindingCode::KindMismatch;
    EXPECT_FALSE(spoilsResults(finding));
}

TEST(Verify, NamesEveryCode) {
    for (const std::int32_t code :
         {3, 5, 6, 7, 8, 9, 100, 101, 200, 201, 202, 203, 204, 205, 206, 207, 208, 209})
        EXPECT_STRNE(findingCodeName(static_cast<FindingCode>(code)), "Unknown") << code;
    EXPECT_STREQ(findingCodeName(static_cast<FindingCode>(210)), "Unknown");
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
