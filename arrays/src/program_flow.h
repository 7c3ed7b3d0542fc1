// Which instructions of a program are needed, and which instruction reads a register last.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletexec/exec_refusal.h>
#include <fenletir/program.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet {

/// How the registers and instructions of a program depend on each other. The program is borrowed
/// and must not change.
class ProgramFlow {
  public:
    /// Why the program is refused, and the code; empty and `None` if it is not.
    std::string error;
    ExecRefusal refusal = ExecRefusal::None;

    struct RegisterFlow {
        CpuElementKind kind = CpuElementKind::Unsupported;
        std::int32_t multiplicity = 1;
        /// The first instruction that writes the register; -1 if none does.
        std::int32_t writer = -1;
        /// Whether several instructions write the register, or one that also reads it. Its validity
        /// can then come from several instructions. So it shares its memory with no other register,
        /// and its validity is written in every block.
        bool isRewritten = false;
        /// The last needed instruction that reads it, -1 if none does.
        std::int32_t lastRead = -1;
        /// Whether a needed instruction reads it other than as the element numbers of a field.
        bool isReadAsValue = false;
    };
    std::vector<RegisterFlow> registers;
    /// Whether each instruction has to run.
    std::vector<bool> isNeeded;

    /// Examines the program. If the program is refused, sets only `error` and `refusal`.
    explicit ProgramFlow(const FenletProgram& newProgram);
    /// For a program that is known not to be refused.
    struct Verified {};
    ProgramFlow(const FenletProgram& newProgram, Verified) : program(newProgram) { findWriters(); }

    /// Finds which instructions are needed to compute these registers. An instruction for which
    /// `canDecline` returns true is always needed: it asks a provider, which can end the run.
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
    // All instructions that write a wanted register are needed: a later one may keep validity that
    // an earlier one has set.
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
