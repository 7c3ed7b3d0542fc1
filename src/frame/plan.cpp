// Turning a program into a plan: `configure` and what it does to each instruction.
#include "frame/register_layout.h"
#include "vocabulary/faults.h"

#include <fenletexec/interpreter.h>

namespace Fenlet {
namespace {

/// The numbering of the opcodes that this library is written for.
constexpr std::int32_t expectedOpCodeTable = 6155;

RegisterSpec specOf(const RegisterInfo& info) {
    return {blockElement(info.format), info.multiplicity};
}

/// The first register that has no storage, whether or not an instruction uses it.
Fault findRegisterFault(const FenletProgram& program) {
    for (std::int32_t number = 0; number < program.registerCount(); ++number) {
        const RegisterSpec spec = specOf(program.registerInfo(number));
        if (spec.kind == CpuElementKind::Unsupported)
            return Faults::registerFormat;
        if (spec.multiplicity < 1)
            return Faults::registerMultiplicity;
    }
    return Faults::none;
}

/// Decides which operand of a binary step is broadcast over the other's components. `Select` keeps
/// out: its first operand is a condition, with a rule of its own.
Fault pairMultiplicities(Interpreter::Step& step) {
    if (step.arity < 2 || step.op == OpCode::Select)
        return Faults::none;
    const std::int32_t left = step.operandMultiplicities[0];
    const std::int32_t right = step.operandMultiplicities[1];
    if (left == right)
        return Faults::none;
    if (left == 1)
        step.leftScalar = true;
    else if (right == 1)
        step.rightScalar = true;
    else
        return Faults::operandMultiplicities;
    return Faults::none;
}

} // namespace

Interpreter::Interpreter() = default;
Interpreter::~Interpreter() = default;

bool Interpreter::refuseAtConfigure(ExecRefusal code, const char* message) {
    refusal = code;
    refusalMessage = message;
    steps.clear();
    program = nullptr;
    configured = false;
    return false;
}

bool Interpreter::refuseAtRun(ExecRefusal code, const char* message) {
    refusal = code;
    refusalMessage = message;
    return false;
}

// The passes over the steps each finish before the next begins, so an error that a later pass finds
// in an early step comes after one that an earlier pass finds in a late step.
bool Interpreter::configure(const FenletProgram& newProgram, int blockSize) {
    steps.clear();
    refusal = ExecRefusal::None;
    refusalMessage = nullptr;
    stepsExecuted = 0;
    program = &newProgram;

    const auto refuse = [this](const Fault& fault) {
        return refuseAtConfigure(fault.code, fault.message);
    };
    if (opCodeTableToken() != expectedOpCodeTable)
        return refuse(Faults::staleOpCodeTable);

    // Reserved before anything is read: a count that no container can hold ends here, and a refused
    // scan leaves the earlier layout as it was.
    registers.slots.reserve(static_cast<std::size_t>(program->registerCount()));
    if (const Fault fault = findRegisterFault(*program))
        return refuse(fault);
    const auto specAt = [this](int number) { return specOf(program->registerInfo(number)); };
    if (!registers.layOut(specAt, program->registerCount(), blockSize))
        return refuseAtConfigure(ExecRefusal::ScratchRefused, registers.failure());
    elementIndices.assign(static_cast<std::size_t>(blockSize), 0);

    steps.resize(static_cast<std::size_t>(program->instructionCount()));
    for (std::int32_t i = 0; i < program->instructionCount(); ++i) {
        const auto number = static_cast<std::size_t>(i);
        if (!planInstruction(program->instructions[number], steps[number]))
            return false;
    }
    for (Step& step : steps)
        if (const Fault fault = pairMultiplicities(step))
            return refuse(fault);
    for (const Step& step : steps)
        if (!validateStep(step))
            return false;
    configured = true;
    return true;
}

bool Interpreter::planInstruction(const Instruction& instruction, Step& step) {
    const auto refuse = [this](const Fault& fault) {
        return refuseAtConfigure(fault.code, fault.message);
    };
    step.op = instruction.op;
    step.result = instruction.result;
    step.immediate = instruction.immediate;
    step.arity = opCodeArity(instruction.op);

    if (instruction.op != OpCode::Nop) {
        if (!program->isValidRegister(instruction.result))
            return refuse(Faults::resultRegister);
        const RegisterSpec spec = specOf(program->registerInfo(instruction.result));
        step.resultKind = spec.kind;
        step.resultMultiplicity = spec.multiplicity;
        if (spec.kind == CpuElementKind::Unsupported)
            return refuse(Faults::resultFormat);
    }
    for (int slot = 0; slot < step.arity && slot < 3; ++slot) {
        if (!program->isValidRegister(instruction.operands[slot]))
            return refuse(Faults::operandRegister);
        const RegisterSpec spec = specOf(program->registerInfo(instruction.operands[slot]));
        step.operands[slot] = instruction.operands[slot];
        step.operandKinds[slot] = spec.kind;
        step.operandMultiplicities[slot] = spec.multiplicity;
        if (spec.kind == CpuElementKind::Unsupported)
            return refuse(Faults::operandFormat);
    }
    for (int slot = step.arity < 0 ? 0 : step.arity; slot < 3; ++slot)
        if (instruction.operands[slot] != noRegister)
            return refuse(Faults::operandPastArity);
    return true;
}

} // namespace Fenlet
