// What is known of each register of a program that is bound to arrays.
#include "register_facts.h"

namespace Fenlet {

void RegisterFacts::learn(const Instruction& instruction) {
    if (instruction.op == OpCode::Nop)
        return;
    const ProgramFlow::RegisterFlow& about = flow.of(instruction.result);
    const auto number = static_cast<std::size_t>(instruction.immediate);
    KnownOperand operands[3];
    forEachOperand(instruction, [&](std::int32_t slot, std::int32_t operand) {
        operands[slot] = {flow.of(operand).kind, of(operand)};
    });
    ValueFacts facts = factsOfResult(
        instruction.op, about.kind, operands,
        instruction.op == OpCode::LoadConstant ? &program.constants[number] : nullptr);
    if (instruction.op == OpCode::LoadField && fields[number].accessor == nullptr) {
        const FieldSource& field = fields[number];
        if (flow.readsOwnNumbers(instruction))
            facts.canBeMissing = canBeMissing(field.reader->layout());
        if (field.array.kind == ArrayKind::Bool) {
            facts.canBeUnknown = false;
            facts.canBeStray = false;
        }
    }
    // Another instruction that writes the register may have made elements missing.
    facts.canBeMissing = facts.canBeMissing || about.isRewritten;
    known[static_cast<std::size_t>(instruction.result)] = facts;
}

void RegisterFacts::learnAll() {
    for (const Instruction& instruction : program.instructions)
        learn(instruction);
}

} // namespace Fenlet
