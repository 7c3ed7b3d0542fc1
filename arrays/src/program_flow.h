// What flows where in a program: which instructions are needed, and until when a register is read.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletexec/exec_refusal.h>
#include <fenletir/program.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet {

/// The flow of a program that is fit for a flat list of steps. It holds positions in the program
/// and stays right as long as the program is not changed.
class ProgramFlow {
  public:
    /// Why the program is refused, empty if it is not; and the code of that refusal.
    std::string error;
    ExecRefusal refusal = ExecRefusal::None;

    struct RegisterFlow {
        CpuElementKind kind = CpuElementKind::Unsupported;
        std::int32_t multiplicity = 1;
        /// The instruction that writes the register, the first one if there are several; -1 if
        /// there is none.
        std::int32_t writer = -1;
        /// Whether more than one instruction writes the register, or one that reads it, too. Its
        /// validity can then come from more than one instruction. Such a register keeps memory for
        /// itself, and its validity is written out for every block.
        bool isRewritten = false;
        /// The last needed instruction that reads it, -1 if none does.
        std::int32_t lastRead = -1;
        /// Whether a needed instruction reads it other than as the element numbers of a field.
        bool isReadAsValue = false;
    };
    std::vector<RegisterFlow> registers;
    /// Whether each instruction has to run.
    std::vector<bool> isNeeded;

    /// Looks at the program. Fills `error` instead where it is refused.
    explicit ProgramFlow(const FenletProgram& newProgram);

    /// Finds out what is needed for these registers. An instruction that asks a provider which can
    /// decline is needed in any case: `canDecline` says of an instruction whether it does.
    template <class CanDecline>
    void need(const std::vector<std::int32_t>& outputs, CanDecline canDecline);

    /// Whether a `LoadField` reads at the block's own element numbers.
    bool readsOwnNumbers(const Instruction& instruction) const {
        const RegisterFlow& index = registers[static_cast<std::size_t>(instruction.operands[0])];
        return !index.isRewritten && index.writer >= 0 &&
               program.instructions[static_cast<std::size_t>(index.writer)].op ==
                   OpCode::ElementIndex;
    }

    RegisterFlow& of(std::int32_t number) { return registers[static_cast<std::size_t>(number)]; }
    const RegisterFlow& of(std::int32_t number) const {
        return registers[static_cast<std::size_t>(number)];
    }

  private:
    void findWriters();

    const FenletProgram& program;
};

/// Calls `visit(slot, register number)` for each operand that an instruction has.
template <class Visit>
void forEachOperand(const Instruction& instruction, Visit visit) {
    const std::int32_t arity = opCodeArity(instruction.op);
    for (std::int32_t slot = 0; slot < arity; ++slot)
        visit(slot, instruction.operands[slot]);
}

template <class CanDecline>
void ProgramFlow::need(const std::vector<std::int32_t>& outputs, CanDecline canDecline) {
    std::vector<bool> isWanted(registers.size());
    for (const std::int32_t number : outputs)
        isWanted[static_cast<std::size_t>(number)] = true;
    for (RegisterFlow& one : registers) {
        one.lastRead = -1;
        one.isReadAsValue = false;
    }
    isNeeded.assign(program.instructions.size(), false);
    // A register stays wanted above an instruction that writes it: where several do, an earlier one
    // may have left the validity that a later one keeps.
    for (std::int32_t i = program.instructionCount(); i-- > 0;) {
        const auto place = static_cast<std::size_t>(i);
        const Instruction& instruction = program.instructions[place];
        if (instruction.op == OpCode::Nop)
            continue;
        const bool declines = canDecline(instruction);
        if (!declines && !isWanted[static_cast<std::size_t>(instruction.result)])
            continue;
        isNeeded[place] = true;
        const bool readsNumbers =
            instruction.op == OpCode::LoadField && !declines && readsOwnNumbers(instruction);
        forEachOperand(instruction, [&](std::int32_t, std::int32_t number) {
            RegisterFlow& operand = of(number);
            isWanted[static_cast<std::size_t>(number)] = true;
            if (operand.lastRead < 0)
                operand.lastRead = i;
            if (!readsNumbers)
                operand.isReadAsValue = true;
        });
    }
    for (const std::int32_t number : outputs)
        of(number).isReadAsValue = true;
}

} // namespace Fenlet
