// Checks one instruction against three sets of rules: those that a backend checks when it plans,
// those that follow from the kernels that it has, and those that no backend checks.
#include "verify_instruction.h"

#include "formats.h"
#include "op_codes.h"

#include <fenletir/number_fit.h>

#include <algorithm>

namespace Fenlet {
namespace {

/// Checks one instruction in stages. Each stage relies on what the stages before it have checked.
class InstructionCheck {
  public:
    InstructionCheck(const FenletProgram& newProgram, std::int32_t newNumber,
                     std::vector<Finding>& newFindings)
        : program(newProgram),
          number(newNumber),
          findings(newFindings),
          it(program.instructions[static_cast<std::size_t>(number)]),
          group(factsOf(it.op).group),
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
    void demandsOfComparison();
    void demandsOfSelect();
    void kernels();
    bool hasKernel() const;
    std::string kernelInWords() const;
    void areas();
    void checkWidth(std::int32_t slot, std::int32_t used, std::int32_t has);
    std::int32_t componentsRead(int slot) const;
    std::int32_t componentsWritten() const;
    void constantFits();
    std::string misfitOf(const Constant& constant) const;

    const FenletProgram& program;
    const std::int32_t number;
    std::vector<Finding>& findings;
    const Instruction& it;
    const OpGroup group;
    const std::int32_t arity;
    bool leftScalar = false;
    bool rightScalar = false;
};

// Checks that the registers of the instruction exist and that its unused operand slots are empty.
void InstructionCheck::slots() {
    const auto outside = [this](std::int32_t slot, const char* what, std::int32_t named) {
        refuse(FindingCode::BadRegister, slot,
               std::string(what) + " is register %" + std::to_string(named) +
                   ", but the program has " + std::to_string(program.registerCount()) +
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

/// Whether all registers of the instruction have storage. A register without storage gets a
/// separate finding.
bool InstructionCheck::storable() const {
    const auto fits = [](const RegisterInfo& about) {
        return isFormat(about.format) && about.multiplicity >= 1;
    };
    bool all = fits(result());
    for (int slot = 0; slot < arity; ++slot)
        all = all && fits(operand(slot));
    return all;
}

// Checks that two operands have the same number of components, or that one operand has a single
// component. Select has other rules.
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
                   ", have different numbers of components; they need the same number, or one of "
                   "them must have 1.");
}

void InstructionCheck::demandIndex(std::size_t poolSize, const char* pool) {
    if (it.immediate >= 0 && static_cast<std::size_t>(it.immediate) < poolSize)
        return;
    refuse(FindingCode::BadImmediate, wholeInstruction,
           "There is no " + std::string(pool) + " " + std::to_string(it.immediate) +
               "; the program has " + std::to_string(poolSize) + ", numbered from 0.");
}

void InstructionCheck::demandConstant() {
    demandIndex(program.constants.size(), "constant");
    if (it.immediate < 0 || static_cast<std::size_t>(it.immediate) >= program.constants.size())
        return;
    const Constant& constant = program.constants[static_cast<std::size_t>(it.immediate)];
    if (constant.multiplicity > mostScratchComponents)
        refuse(FindingCode::MultiplicityMismatch, wholeInstruction,
               "Constant " + std::to_string(it.immediate) + " has " +
                   componentsInWords(constant.multiplicity) + "; the limit is " +
                   std::to_string(mostScratchComponents) + ".");
}

void InstructionCheck::demandTribool(std::int32_t slot) {
    const bool ofResult = slot == resultSlot;
    if (isTribool(ofResult ? result().format : operand(slot).format))
        return;
    refuse(FindingCode::KindMismatch, slot,
           (ofResult ? "The result, " + resultWords() : "The operand, " + words(slot)) +
               ", must be Tribool.");
}

void InstructionCheck::demandsOfComparison() {
    demandTribool(resultSlot);
    if (!leftScalar)
        return;
    refuse(FindingCode::MultiplicityMismatch, 0,
           "The left operand, " + words(0) + ", has 1 component and the right one, " + words(1) +
               ", has more; in a comparison only the right one may be a scalar.");
    find(FindingClass::ProbablyAMistake, FindingCode::MirrorComparison, wholeInstruction,
         std::string("With its sides exchanged, the comparison would be accepted: ") +
             opCodeName(factsOf(it.op).mirror) + " with " + words(1) + " on the left.");
}

void InstructionCheck::demandsOfSelect() {
    demandTribool(0);
    const std::int32_t condition = operand(0).multiplicity;
    if (condition != 1 && condition != result().multiplicity)
        refuse(FindingCode::MultiplicityMismatch, 0,
               "The condition, " + words(0) + ", does not match the result, " + resultWords() +
                   "; it needs the same number of components, or 1.");
}

// Checks what a backend checks for each opcode when it plans. A backend refuses an unknown opcode
// only when it runs it.
void InstructionCheck::demands() {
    switch (it.op) {
    case OpCode::ElementIndex:
        if (result().format != RegisterFormat::Int64)
            refuse(FindingCode::KindMismatch, resultSlot,
                   "The result is " + resultWords() + "; element numbers need an Int64 register.");
        break;
    case OpCode::LoadConstant:
        demandConstant();
        break;
    case OpCode::LoadUniform:
        demandIndex(program.uniforms.size(), "uniform");
        if (result().multiplicity > mostScratchComponents)
            refuse(FindingCode::MultiplicityMismatch, resultSlot,
                   "The result is " + resultWords() + "; a uniform has at most " +
                       std::to_string(mostScratchComponents) + " components.");
        break;
    case OpCode::LoadField:
        demandIndex(program.fields.size(), "field");
        if (!isInteger(operand(0).format))
            refuse(FindingCode::KindMismatch, 0,
                   "The index is " + words(0) + "; it must be an integer register.");
        break;
    case OpCode::Sample:
        demandIndex(program.samplers.size(), "sampler");
        break;
    case OpCode::Component:
        if (it.immediate < 0 || it.immediate >= operand(0).multiplicity)
            refuse(FindingCode::BadImmediate, 0,
                   "There is no component " + std::to_string(it.immediate) + " in " + words(0) +
                       "; components are numbered from 0.");
        break;
    case OpCode::Not:
    case OpCode::IsTrue:
    case OpCode::And:
    case OpCode::Or:
        demandTribool(resultSlot);
        for (int slot = 0; slot < arity; ++slot)
            demandTribool(slot);
        break;
    case OpCode::Less:
    case OpCode::LessEqual:
    case OpCode::Greater:
    case OpCode::GreaterEqual:
    case OpCode::Equal:
    case OpCode::NotEqual:
        demandsOfComparison();
        break;
    case OpCode::Select:
        demandsOfSelect();
        break;
    case OpCode::Nop:
    case OpCode::Negate:
    case OpCode::Length:
    case OpCode::Add:
    case OpCode::Subtract:
    case OpCode::Multiply:
    case OpCode::Divide:
        break;
    }
}

/// Whether there is a kernel for the formats of the registers.
bool InstructionCheck::hasKernel() const {
    const auto all = [this](int firstSlot, bool (*fits)(RegisterFormat)) {
        for (int slot = firstSlot; slot < arity; ++slot)
            if (!fits(operand(slot).format))
                return false;
        return true;
    };
    switch (group) {
    case OpGroup::None:
        return false;
    case OpGroup::Nop:
    case OpGroup::Source:
    case OpGroup::Logic:
        return true;
    case OpGroup::Unary:
    case OpGroup::Arithmetic:
        return isArithmetic(result().format) && all(0, isArithmetic);
    case OpGroup::Comparison:
        return all(0, isNumeric);
    case OpGroup::Component:
    case OpGroup::Select:
        break;
    }
    const int firstSlot = group == OpGroup::Select ? 1 : 0;
    return isTribool(result().format) ? all(firstSlot, isTribool) : all(firstSlot, isNumeric);
}

/// Says in words for which formats there is no kernel.
std::string InstructionCheck::kernelInWords() const {
    switch (group) {
    case OpGroup::None:
        return "Opcode " + std::to_string(static_cast<std::uint32_t>(it.op)) +
               " does not exist; opcodes are numbered from 0 to " +
               std::to_string(opCodeCount - 1) + ".";
    case OpGroup::Comparison:
        return "There is no kernel that compares " + words(0) + " and " + words(1) +
               "; both must be numbers.";
    case OpGroup::Select:
        return "There is no kernel for " + words(1) + " and " + words(2) + " into " +
               resultWords() + "; all three must be Tribool, or none.";
    case OpGroup::Component:
        return "There is no kernel for " + words(0) + " into " + resultWords() +
               "; both must be Tribool, or neither.";
    case OpGroup::Nop:
    case OpGroup::Source:
    case OpGroup::Logic:
    case OpGroup::Unary:
    case OpGroup::Arithmetic:
        break;
    }
    return "There is no kernel for " + words(0) + (arity == 2 ? " and " + words(1) : "") +
           " into " + resultWords() + "; use " + formatsInWords(isArithmetic) + ".";
}

// Finds formats that planning accepts although no kernel handles them.
void InstructionCheck::kernels() {
    if (hasKernel())
        return;
    find(FindingClass::RefusedInRun, FindingCode::KindMismatch, wholeInstruction, kernelInWords());
}

/// How many components the instruction reads per element of the operand. Some instructions step
/// through an operand by the operand's number of components, others by the result's. `And` and `Or`
/// use the result's number even for an operand of one component.
std::int32_t InstructionCheck::componentsRead(int slot) const {
    const std::int32_t own = operand(slot).multiplicity;
    switch (group) {
    case OpGroup::None:
    case OpGroup::Nop:
    case OpGroup::Component:
    case OpGroup::Unary:
        return own;
    case OpGroup::Source:
        return it.op == OpCode::LoadField ? 1 : own;
    case OpGroup::Arithmetic:
    case OpGroup::Comparison:
        return (slot == 0 ? leftScalar : rightScalar) ? own : result().multiplicity;
    case OpGroup::Logic:
        break;
    case OpGroup::Select:
        return slot == 0 ? own : result().multiplicity;
    }
    return result().multiplicity;
}

std::int32_t InstructionCheck::componentsWritten() const {
    switch (group) {
    case OpGroup::Component:
        return 1;
    case OpGroup::Unary:
        return it.op == OpCode::Length ? 1 : operand(0).multiplicity;
    case OpGroup::Source:
        return it.op == OpCode::ElementIndex ? 1 : result().multiplicity;
    case OpGroup::None:
    case OpGroup::Nop:
    case OpGroup::Arithmetic:
    case OpGroup::Comparison:
    case OpGroup::Logic:
    case OpGroup::Select:
        break;
    }
    return result().multiplicity;
}

// Checks that the instruction stays within its registers. No backend checks this: a run assumes
// that registers are wide enough.
void InstructionCheck::areas() {
    if (!isOpCode(it.op))
        return;
    checkWidth(resultSlot, componentsWritten(), result().multiplicity);
    for (int slot = 0; slot < arity; ++slot)
        checkWidth(slot, componentsRead(slot), operand(slot).multiplicity);
}

/// Compares the components that the instruction reads or writes for each element with those that
/// the register has.
void InstructionCheck::checkWidth(std::int32_t slot, std::int32_t used, std::int32_t has) {
    if (used == has)
        return;
    const bool isPast = used > has;
    const bool writes = slot == resultSlot;
    std::string message = (writes ? "It writes " : "It reads ") + componentsInWords(used);
    if (writes)
        message += " per element, but " + resultWords() + " has ";
    else
        message += " per element of " + words(slot) + ", which has ";
    if (isPast)
        message +=
            std::string("fewer: it would ") + (writes ? "write" : "read") + " outside the register";
    else
        message += writes ? "more: values would land in the wrong elements"
                          : "more: it would read the values of wrong elements";
    message +=
        (writes ? "; the result needs " : "; the operand needs ") + componentsInWords(used) + ".";
    if (writes)
        find(isPast ? FindingClass::OutsideItsArea : FindingClass::ProbablyAMistake,
             isPast ? FindingCode::WritesPastResult : FindingCode::PartlyWritten, slot,
             std::move(message));
    else
        find(isPast ? FindingClass::OutsideItsArea : FindingClass::ProbablyAMistake,
             isPast ? FindingCode::ReadsPastOperand : FindingCode::MisreadOperand, slot,
             std::move(message));
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
                 " would be false; load false, true or unknown.");
    else if (const std::string misfit = misfitOf(constant); !misfit.empty())
        find(FindingClass::ProbablyAMistake, FindingCode::ConstantValue, resultSlot,
             words + misfit + ".");
    if (constant.multiplicity != result().multiplicity)
        find(FindingClass::ProbablyAMistake, FindingCode::ConstantWidth, resultSlot,
             words + " has " + componentsInWords(constant.multiplicity) + " for " + resultWords() +
                 (constant.multiplicity < result().multiplicity ? ": the rest would be 0"
                                                                : ": the last would be dropped") +
                 "; both need the same number.");
}

/// Finds the first component that does not fit into the result, and says why it does not fit. Empty
/// if all components fit.
std::string InstructionCheck::misfitOf(const Constant& constant) const {
    const RegisterFormat format = result().format;
    if (isTribool(format))
        return "";
    if (constant.integers.empty() && constant.reals.empty())
        return constant.boolean <= 1
                   ? ""
                   : ": unknown does not fit into " + std::string(registerFormatName(format)) +
                         ", where it would be 0; load a number";
    // If a constant has both integers and reals, an integer format uses the integers and a float
    // format the reals, as the accessors of `Constant` do.
    const std::int32_t taken = std::min(constant.multiplicity, result().multiplicity);
    for (std::size_t place = 0; place < static_cast<std::size_t>(std::max(taken, 0)); ++place) {
        const bool hasInteger = place < constant.integers.size();
        const bool hasReal = place < constant.reals.size();
        std::string misfit;
        if (hasInteger && (isInteger(format) || !hasReal))
            misfit = integerMisfit(constant.integers[place], format);
        else if (hasReal)
            misfit = realMisfit(constant.reals[place], format);
        if (!misfit.empty())
            return (taken == 1 ? ": " : ", component " + std::to_string(place) + ": ") + misfit;
    }
    return "";
}

} // namespace

void verifyInstruction(const FenletProgram& program, std::int32_t number,
                       std::vector<Finding>& findings) {
    InstructionCheck(program, number, findings).run();
}

} // namespace Fenlet
