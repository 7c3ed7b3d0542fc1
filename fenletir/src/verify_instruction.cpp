// The rules of one instruction: those of a backend's plan, those of its kernels, and those that
// nobody asks at run time.
#include "verify_instruction.h"

#include "formats.h"

namespace Fenlet {
namespace {

bool isArithmeticOp(OpCode op) {
    return op >= OpCode::Add && op <= OpCode::Divide;
}

bool isComparison(OpCode op) {
    return op >= OpCode::Less && op <= OpCode::NotEqual;
}

OpCode mirrorOf(OpCode comparison) {
    switch (comparison) {
    case OpCode::Less:
        return OpCode::Greater;
    case OpCode::LessEqual:
        return OpCode::GreaterEqual;
    case OpCode::Greater:
        return OpCode::Less;
    case OpCode::GreaterEqual:
        return OpCode::LessEqual;
    default:
        return comparison;
    }
}

/// One instruction under examination. Each stage needs what the one before it has made sure of.
class InstructionCheck {
  public:
    InstructionCheck(const FenletProgram& newProgram, std::int32_t newNumber,
                     std::vector<Finding>& newFindings)
        : program(newProgram),
          number(newNumber),
          findings(newFindings),
          it(program.instructions[static_cast<std::size_t>(number)]),
          arity(opCodeArity(it.op)) {}

    void run() {
        const std::size_t before = findings.size();
        slots();
        if (findings.size() != before || it.op == OpCode::Nop || !storable())
            return;
        multiplicities();
        demands();
        if (findings.size() != before)
            return;
        kernels();
        areas();
        constantFits();
    }

  private:
    const RegisterInfo& result() const { return program.registerInfo(it.result); }
    const RegisterInfo& operand(int slot) const { return program.registerInfo(it.operands[slot]); }
    std::string resultWords() const { return registerInWords(program, it.result); }
    std::string words(int slot) const { return registerInWords(program, it.operands[slot]); }

    void find(FindingClass severity, FindingCode code, std::int32_t slot, std::string message) {
        Finding finding;
        finding.severity = severity;
        finding.code = code;
        finding.instruction = number;
        finding.opCode = opCodeName(it.op);
        finding.slot = slot;
        if (slot >= 0 && slot < arity)
            finding.registerNumber = it.operands[slot];
        else if (slot == resultSlot)
            finding.registerNumber = it.result;
        finding.message = std::move(message);
        findings.push_back(std::move(finding));
    }
    void refuse(FindingCode code, std::int32_t slot, std::string message) {
        find(FindingClass::Refused, code, slot, std::move(message));
    }

    void slots();
    bool storable() const;
    void multiplicities();
    void demands();
    void demandIndex(std::size_t poolSize, const char* pool);
    void demandConstant();
    void demandTribool(std::int32_t slot);
    void demandsOfSelect();
    void kernels();
    bool hasKernel() const;
    void areas();
    std::int32_t componentsRead(int slot) const;
    std::int32_t componentsWritten() const;
    void constantFits();

    const FenletProgram& program;
    const std::int32_t number;
    std::vector<Finding>& findings;
    const Instruction& it;
    const std::int32_t arity;
    bool leftScalar = false;
    bool rightScalar = false;
};

// The registers that it names.
void InstructionCheck::slots() {
    const auto outside = [this](std::int32_t slot, const char* what, std::int32_t named) {
        refuse(FindingCode::BadRegister, slot,
               std::string(what) + " names register %" + std::to_string(named) +
                   ", and the program has " + std::to_string(program.registerCount()) +
                   " registers, numbered from 0.");
    };
    if (it.op != OpCode::Nop && !program.isValidRegister(it.result))
        outside(resultSlot, "The result", it.result);
    for (int slot = 0; slot < 3; ++slot) {
        if (slot < arity && !program.isValidRegister(it.operands[slot]))
            outside(slot, "The operand", it.operands[slot]);
        if (slot >= arity && it.operands[slot] != noRegister)
            refuse(FindingCode::ArityMismatch, slot,
                   std::string(opCodeName(it.op)) + " takes " + std::to_string(arity) +
                       (arity == 1 ? " operand" : " operands") + "; this slot must hold -1, not " +
                       std::to_string(it.operands[slot]) + ".");
    }
}

/// Whether its registers have storage. Where one has not, that is found for the register itself.
bool InstructionCheck::storable() const {
    const auto fits = [](const RegisterInfo& about) {
        return isFormat(about.format) && about.multiplicity >= 1;
    };
    bool all = fits(result());
    for (int slot = 0; slot < arity; ++slot)
        all = all && fits(operand(slot));
    return all;
}

// Two operands have as many components, or one of them one. Select has a rule of its own.
void InstructionCheck::multiplicities() {
    if (arity != 2)
        return;
    const std::int32_t left = operand(0).multiplicity;
    const std::int32_t right = operand(1).multiplicity;
    leftScalar = left == 1 && right != 1;
    rightScalar = right == 1 && left != 1;
    if (left != right && !leftScalar && !rightScalar)
        refuse(FindingCode::MultiplicityMismatch, wholeInstruction,
               "The operands, " + words(0) + " and " + words(1) +
                   ", differ in multiplicity; they take as many components, or one of them one.");
}

void InstructionCheck::demandIndex(std::size_t poolSize, const char* pool) {
    if (it.immediate >= 0 && static_cast<std::size_t>(it.immediate) < poolSize)
        return;
    refuse(FindingCode::BadImmediate, wholeInstruction,
           "The immediate " + std::to_string(it.immediate) + " names no " + pool +
               "; the program has " + std::to_string(poolSize) + ", numbered from 0.");
}

void InstructionCheck::demandConstant() {
    demandIndex(program.constants.size(), "constant");
    if (it.immediate < 0 || static_cast<std::size_t>(it.immediate) >= program.constants.size())
        return;
    const Constant& constant = program.constants[static_cast<std::size_t>(it.immediate)];
    if (constant.multiplicity > valueComponents)
        refuse(FindingCode::MultiplicityMismatch, wholeInstruction,
               "Constant " + std::to_string(it.immediate) + " has " +
                   componentsInWords(constant.multiplicity) + "; it takes 64 at most.");
}

void InstructionCheck::demandTribool(std::int32_t slot) {
    const bool ofResult = slot == resultSlot;
    if (isTribool(ofResult ? result().format : operand(slot).format))
        return;
    refuse(FindingCode::KindMismatch, slot,
           (ofResult ? "The result, " + resultWords() : "The operand, " + words(slot)) +
               ", has no truth value; it takes a Tribool register.");
}

void InstructionCheck::demandsOfSelect() {
    demandTribool(0);
    const std::int32_t condition = operand(0).multiplicity;
    if (condition != 1 && condition != result().multiplicity)
        refuse(FindingCode::MultiplicityMismatch, 0,
               "The condition, " + words(0) + ", does not fit the result, " + resultWords() +
                   "; it takes as many components, or one.");
}

// What each opcode asks of its registers and its immediate when it is planned.
void InstructionCheck::demands() {
    switch (it.op) {
    case OpCode::ElementIndex:
        if (result().format != RegisterFormat::Int64)
            refuse(FindingCode::KindMismatch, resultSlot,
                   "The result is " + resultWords() + "; element numbers take an Int64 register.");
        break;
    case OpCode::LoadConstant:
        demandConstant();
        break;
    case OpCode::LoadUniform:
        demandIndex(program.uniforms.size(), "uniform");
        if (result().multiplicity > valueComponents)
            refuse(FindingCode::MultiplicityMismatch, resultSlot,
                   "The result is " + resultWords() + "; a uniform has 64 components at most.");
        break;
    case OpCode::LoadField:
        demandIndex(program.fields.size(), "field");
        if (!isInteger(operand(0).format))
            refuse(FindingCode::KindMismatch, 0,
                   "The index is " + words(0) + "; it takes an integer register.");
        break;
    case OpCode::Sample:
        demandIndex(program.samplers.size(), "sampler");
        break;
    case OpCode::Component:
        if (it.immediate < 0 || it.immediate >= operand(0).multiplicity)
            refuse(FindingCode::BadImmediate, 0,
                   "Component " + std::to_string(it.immediate) + " is asked for of " + words(0) +
                       "; they are numbered from 0.");
        break;
    case OpCode::Not:
    case OpCode::IsTrue:
    case OpCode::And:
    case OpCode::Or:
        demandTribool(resultSlot);
        for (int slot = 0; slot < arity; ++slot)
            demandTribool(slot);
        break;
    case OpCode::Select:
        demandsOfSelect();
        break;
    default:
        break;
    }
    if (isComparison(it.op))
        demandTribool(resultSlot);
    if (isComparison(it.op) && leftScalar) {
        refuse(FindingCode::MultiplicityMismatch, 0,
               "The left operand, " + words(0) + ", is a scalar and the right one, " + words(1) +
                   ", is not; a comparison takes its scalar on the right.");
        find(FindingClass::ProbablyAMistake, FindingCode::MirrorComparison, wholeInstruction,
             std::string("The same comparison with its sides exchanged would stand: ") +
                 opCodeName(mirrorOf(it.op)) + " with " + words(1) + " on the left.");
    }
}

bool InstructionCheck::hasKernel() const {
    const auto all = [this](int firstSlot, bool (*fits)(RegisterFormat)) {
        for (int slot = firstSlot; slot < arity; ++slot)
            if (!fits(operand(slot).format))
                return false;
        return true;
    };
    if (it.op == OpCode::Negate || it.op == OpCode::Length || isArithmeticOp(it.op))
        return isArithmetic(result().format) && all(0, isArithmetic);
    if (isComparison(it.op))
        return all(0, isNumeric);
    if (it.op == OpCode::Component || it.op == OpCode::Select) {
        const int firstSlot = it.op == OpCode::Select ? 1 : 0;
        return isTribool(result().format) ? all(firstSlot, isTribool) : all(firstSlot, isNumeric);
    }
    return static_cast<std::uint32_t>(it.op) < opCodeCount;
}

// Kinds that a plan lets through and no kernel serves.
void InstructionCheck::kernels() {
    if (hasKernel())
        return;
    std::string message;
    if (static_cast<std::uint32_t>(it.op) >= opCodeCount)
        message = "Opcode " + std::to_string(static_cast<std::uint32_t>(it.op)) +
                  " is none; they are numbered from 0 to " + std::to_string(opCodeCount - 1) + ".";
    else if (isComparison(it.op))
        message = words(0) + " and " + words(1) + " cannot be compared; it takes numbers.";
    else if (it.op == OpCode::Select)
        message = words(1) + " and " + words(2) + " into " + resultWords() +
                  " has no kernel; it takes Tribool in all three places or in none.";
    else if (it.op == OpCode::Component)
        message = words(0) + " into " + resultWords() +
                  " has no kernel; a Tribool stays one, and a number stays a number.";
    else
        message = (arity == 2 ? words(0) + " and " + words(1) : words(0)) + " into " +
                  resultWords() +
                  " has no kernel; it takes Int8 to Int32, Half, Float32 and Float64.";
    if (message[0] == 'r')
        message[0] = 'R';
    find(FindingClass::RefusedInRun, FindingCode::KindMismatch, wholeInstruction, message);
}

/// Components of an operand that the instruction takes for each element. Where it knows the
/// operand's own number, that one; else it counts through the operand as through the result. And
/// and Or do so with a scalar too.
std::int32_t InstructionCheck::componentsRead(int slot) const {
    const bool isLogic = it.op == OpCode::And || it.op == OpCode::Or;
    const bool isScalar = !isLogic && ((slot == 0 && leftScalar) || (slot == 1 && rightScalar));
    const bool isCondition = it.op == OpCode::Select && slot == 0;
    if (isScalar || isCondition || it.op == OpCode::Component || it.op == OpCode::Length ||
        it.op == OpCode::Negate || it.op == OpCode::Sample)
        return operand(slot).multiplicity;
    return it.op == OpCode::LoadField ? 1 : result().multiplicity;
}

std::int32_t InstructionCheck::componentsWritten() const {
    switch (it.op) {
    case OpCode::ElementIndex:
    case OpCode::Component:
    case OpCode::Length:
        return 1;
    case OpCode::Negate:
        return operand(0).multiplicity;
    default:
        return result().multiplicity;
    }
}

// Nothing asks these when the program runs: an instruction trusts its registers to fit.
void InstructionCheck::areas() {
    if (static_cast<std::uint32_t>(it.op) >= opCodeCount)
        return;
    const std::int32_t written = componentsWritten();
    const std::string made =
        "It makes " + componentsInWords(written) + " for each element, and " + resultWords();
    if (written > result().multiplicity)
        find(FindingClass::OutsideItsArea, FindingCode::WritesPastResult, resultSlot,
             made + " has less: it would write beside it. It takes a result of " +
                 componentsInWords(written) + ".");
    if (written < result().multiplicity)
        find(FindingClass::ProbablyAMistake, FindingCode::PartlyWritten, resultSlot,
             made + " has more: values come to stand at the wrong elements. It takes a result of " +
                 componentsInWords(written) + ".");
    for (int slot = 0; slot < arity; ++slot) {
        const std::int32_t read = componentsRead(slot);
        const std::string taken =
            "It takes " + componentsInWords(read) + " for each element of " + words(slot);
        if (read > operand(slot).multiplicity)
            find(FindingClass::OutsideItsArea, FindingCode::ReadsPastOperand, slot,
                 taken + ", which has less: it would read beside it.");
        if (read < operand(slot).multiplicity)
            find(FindingClass::ProbablyAMistake, FindingCode::MisreadOperand, slot,
                 taken + ", which has more: values of the wrong elements would be taken.");
    }
}

void InstructionCheck::constantFits() {
    if (it.op != OpCode::LoadConstant)
        return;
    const Constant& constant = program.constants[static_cast<std::size_t>(it.immediate)];
    const bool isNumber = !constant.integers.empty() || !constant.reals.empty();
    const std::string words = "Constant " + std::to_string(it.immediate);
    if (isTribool(result().format) && isNumber)
        find(FindingClass::ProbablyAMistake, FindingCode::ConstantKind, resultSlot,
             words + " is a number, and " + resultWords() +
                 " would be false; it takes a truth value.");
    if (constant.multiplicity != result().multiplicity)
        find(FindingClass::ProbablyAMistake, FindingCode::ConstantWidth, resultSlot,
             words + " has " + componentsInWords(constant.multiplicity) + " for " + resultWords() +
                 (constant.multiplicity < result().multiplicity
                      ? "; the others would be zero."
                      : "; the last ones would be left out."));
}

} // namespace

void verifyInstruction(const FenletProgram& program, std::int32_t number,
                       std::vector<Finding>& findings) {
    InstructionCheck(program, number, findings).run();
}

} // namespace Fenlet
