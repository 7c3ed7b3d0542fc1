// Turning a program into a plan.
#include "frame/block_knowledge.h"
#include "frame/register_layout.h"
#include "frame/resolved_step.h"
#include "vocabulary/faults.h"

#include <fenletexec/interpreter.h>

namespace Fenlet {
namespace {

/// The token of the opcode numbering that this library is written for.
constexpr std::int32_t expectedOpCodeTable = 6155;

RegisterSpec specOf(const RegisterInfo& info) {
    return {blockElement(info.format), info.multiplicity};
}

/// Checks the program's `count` registers, including any that no instruction uses.
Fault findRegisterFault(const FenletProgram& program, std::int32_t count) {
    for (std::int32_t number = 0; number < count; ++number) {
        const RegisterSpec spec = specOf(program.registerInfo(number));
        if (spec.kind == CpuElementKind::Unsupported)
            return Faults::registerFormat;
        if (spec.multiplicity < 1)
            return Faults::registerMultiplicity;
    }
    return Faults::none;
}

/// Fills `step` from `instruction`. `specAt(number)` gives a register's `RegisterSpec`, or null if
/// there is no register of that number.
template <class SpecAt>
Fault planStep(const Instruction& instruction, Interpreter::Step& step, SpecAt specAt) {
    step.op = instruction.op;
    step.result = instruction.result;
    step.immediate = instruction.immediate;
    step.arity = opCodeArity(instruction.op);

    if (instruction.op != OpCode::Nop) {
        const RegisterSpec* const spec = specAt(instruction.result);
        if (spec == nullptr)
            return Faults::resultRegister;
        step.resultKind = spec->kind;
        step.resultMultiplicity = spec->multiplicity;
        if (spec->kind == CpuElementKind::Unsupported)
            return Faults::resultFormat;
    }
    for (int slot = 0; slot < step.arity && slot < 3; ++slot) {
        const RegisterSpec* const spec = specAt(instruction.operands[slot]);
        if (spec == nullptr)
            return Faults::operandRegister;
        step.operands[slot] = instruction.operands[slot];
        step.operandKinds[slot] = spec->kind;
        step.operandMultiplicities[slot] = spec->multiplicity;
        if (spec->kind == CpuElementKind::Unsupported)
            return Faults::operandFormat;
    }
    for (int slot = step.arity < 0 ? 0 : step.arity; slot < 3; ++slot)
        if (instruction.operands[slot] != noRegister)
            return Faults::operandPastArity;
    return Faults::none;
}

/// Decides whether one operand of a binary step has a single component that is paired with every
/// component of the other. Skips `Select`: its first operand is a condition, for which a different
/// rule holds.
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
    resolvedSteps.clear();
    ++planNumber;
    program = nullptr;
    configured = false;
    return false;
}

bool Interpreter::refuseAtRun(ExecRefusal code, const char* message) {
    refusal = code;
    refusalMessage = message;
    return false;
}

bool Interpreter::configure(const FenletProgram& newProgram, int blockSize) {
    steps.clear();
    resolvedSteps.clear();
    ++planNumber;
    planIncomplete = true;
    refusal = ExecRefusal::None;
    refusalMessage = nullptr;
    stepsExecuted = 0;
    program = &newProgram;

    if (!layOutRegisters(blockSize) || !planSteps())
        return false;
    resolveAll(steps, registers, resolvedSteps);
    configured = true;
    planIncomplete = false;
    return true;
}

bool Interpreter::layOutRegisters(int blockSize) {
    if (opCodeTableToken() != expectedOpCodeTable)
        return refuseAtConfigure(Faults::staleOpCodeTable.code, Faults::staleOpCodeTable.message);
    // If `count` is too large for a container, this throws before the program is read. If a
    // register is refused below, the register file keeps its earlier layout.
    const std::int32_t count = program->registerCount();
    registers.slots.reserve(static_cast<std::size_t>(count));
    if (const Fault fault = findRegisterFault(*program, count))
        return refuseAtConfigure(fault.code, fault.message);
    const auto specAt = [this](int number) { return specOf(program->registerInfo(number)); };
    if (!registers.layOut(specAt, count, blockSize))
        return refuseAtConfigure(ExecRefusal::ScratchRefused, registers.failure());
    elementIndices.assign(static_cast<std::size_t>(blockSize), 0);
    registerFacts.clear();
    registerFacts.resize(static_cast<std::size_t>(count));
    return true;
}

// Makes several passes over the steps. The first fault of the earliest pass is reported, even if a
// later pass would find a fault in an earlier step.
bool Interpreter::planSteps() {
    const auto refuse = [this](const Fault& fault) {
        return refuseAtConfigure(fault.code, fault.message);
    };
    const std::int32_t count = program->instructionCount();
    // Nothing after these two allocations throws, so an exception never leaves steps behind.
    resolvedSteps.reserve(static_cast<std::size_t>(count));
    steps.resize(static_cast<std::size_t>(count));

    const RegisterSlot* const slots = registers.slots.data();
    const auto registerCount = static_cast<std::uint32_t>(registers.registerCount());
    const auto specAt = [=](std::int32_t number) {
        return static_cast<std::uint32_t>(number) < registerCount ? &slots[number].spec : nullptr;
    };
    const Instruction* instruction = program->instructions.data();
    for (Step& step : steps)
        if (const Fault fault = planStep(*instruction++, step, specAt))
            return refuse(fault);
    for (Step& step : steps)
        if (const Fault fault = pairMultiplicities(step))
            return refuse(fault);
    for (const Step& step : steps)
        if (!validateStep(step))
            return false;
    return true;
}

bool Interpreter::planInstruction(const Instruction& instruction, Step& step) {
    RegisterSpec spec;
    const auto specAt = [&](std::int32_t number) -> const RegisterSpec* {
        if (!program->isValidRegister(number))
            return nullptr;
        spec = specOf(program->registerInfo(number));
        return &spec;
    };
    const Fault fault = planStep(instruction, step, specAt);
    return fault ? refuseAtConfigure(fault.code, fault.message) : true;
}

} // namespace Fenlet
