// What is known of each register of a program that is bound to arrays.
#pragma once

#include "array_plan.h"
#include "value_facts.h"

#include <vector>

namespace Fenlet {

/// Learns what registers can hold, instruction by instruction. All that it is given is borrowed.
class RegisterFacts {
  public:
    RegisterFacts(const FenletProgram& newProgram, const ProgramFlow& newFlow,
                  const std::vector<FieldSource>& newFields)
        : program(newProgram), flow(newFlow), fields(newFields), known(newFlow.registers.size()) {}

    /// Takes the next instruction. Those that are not needed may be left out.
    void learn(const Instruction& instruction);
    /// Takes all instructions.
    void learnAll();

    /// What the last instruction so far that writes the register leaves there.
    const ValueFacts& of(std::int32_t number) const {
        return known[static_cast<std::size_t>(number)];
    }

  private:
    const FenletProgram& program;
    const ProgramFlow& flow;
    const std::vector<FieldSource>& fields;
    std::vector<ValueFacts> known;
};

} // namespace Fenlet
