// Rewrites a program so that it does less work and gives the same bytes.
#include "simplify.h"

#include "rewriter.h"

#include <algorithm>

namespace Fenlet {
namespace {

constexpr const char* deadStep = "dead step";

/// The registers that are marked as outputs; all if none is.
std::vector<std::int32_t> markedOutputs(const FenletProgram& program) {
    const bool isAnyMarked = std::any_of(program.registers.begin(), program.registers.end(),
                                         [](const RegisterInfo& info) { return info.output; });
    std::vector<std::int32_t> marked;
    for (std::int32_t number = 0; number < program.registerCount(); ++number)
        if (!isAnyMarked || program.registerInfo(number).output)
            marked.push_back(number);
    return marked;
}

/// Whether the instruction asks a provider, which can decline and end the run.
bool asksHost(const Instruction& instruction) {
    return instruction.op == OpCode::LoadField || instruction.op == OpCode::LoadUniform ||
           instruction.op == OpCode::Sample;
}

/// Whether the instruction only copies a register that another one could write in its place.
bool copiesResult(const FenletProgram& program, const ProgramFlow& flow,
                  const Instruction& instruction) {
    if (instruction.op != OpCode::Component)
        return false;
    const ProgramFlow::RegisterFlow& result = flow.of(instruction.result);
    const ProgramFlow::RegisterFlow& source = flow.of(instruction.operands[0]);
    if (source.isRewritten || result.isRewritten || source.kind != result.kind ||
        source.multiplicity != 1)
        return false;
    const Instruction& writer = program.instructions[static_cast<std::size_t>(source.writer)];
    return opCodeArity(writer.op) > 0 && !asksHost(writer);
}

/// Lets instructions write wanted registers instead of others that are copied there.
void writeWithoutCopies(SimplifiedProgram& simplified, const ProgramFlow& flow,
                        const std::vector<std::int32_t>& wanted) {
    std::vector<std::int32_t> renamed(simplified.program.registers.size(), noRegister);
    std::vector<bool> isWanted(renamed.size());
    for (const std::int32_t number : wanted)
        isWanted[static_cast<std::size_t>(number)] = true;
    bool isAnyRenamed = false;
    for (std::size_t i = 0; i < simplified.program.instructions.size(); ++i) {
        Instruction& instruction = simplified.program.instructions[i];
        if (!copiesResult(simplified.program, flow, instruction))
            continue;
        const auto source = static_cast<std::size_t>(instruction.operands[0]);
        if (isWanted[source] || renamed[source] != noRegister ||
            !isWanted[static_cast<std::size_t>(instruction.result)])
            continue;
        renamed[source] = instruction.result;
        instruction = {};
        simplified.rewrites.push_back({"copied output", simplified.origins[i]});
        isAnyRenamed = true;
    }
    const auto rename = [&](std::int32_t& number) {
        if (number != noRegister && renamed[static_cast<std::size_t>(number)] != noRegister)
            number = renamed[static_cast<std::size_t>(number)];
    };
    for (Instruction& instruction : simplified.program.instructions) {
        if (!isAnyRenamed)
            return;
        rename(instruction.result);
        for (std::int32_t& operand : instruction.operands)
            rename(operand);
    }
}

/// Leaves out instructions that the new program does not need any more.
void dropDeadSteps(SimplifiedProgram& simplified, ProgramFlow& flow,
                   const std::vector<std::int32_t>& wanted) {
    flow.need(wanted, &asksHost);
    std::vector<Instruction>& instructions = simplified.program.instructions;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < instructions.size(); ++i) {
        if (flow.isNeeded[i]) {
            instructions[kept] = instructions[i];
            simplified.origins[kept++] = simplified.origins[i];
        } else if (instructions[i].op != OpCode::Nop) {
            simplified.rewrites.push_back({deadStep, simplified.origins[i]});
        }
    }
    instructions.resize(kept);
    simplified.origins.resize(kept);
}

/// Leaves out constants that no instruction loads any more, and numbers the others anew.
void dropDeadConstants(FenletProgram& program) {
    std::vector<std::int32_t> numbers(program.constants.size(), -1);
    std::vector<Constant> kept;
    kept.reserve(numbers.size());
    for (Instruction& instruction : program.instructions) {
        if (instruction.op != OpCode::LoadConstant)
            continue;
        const auto old = static_cast<std::size_t>(instruction.immediate);
        if (numbers[old] < 0) {
            numbers[old] = static_cast<std::int32_t>(kept.size());
            kept.push_back(std::move(program.constants[old]));
        }
        instruction.immediate = numbers[old];
    }
    program.constants = std::move(kept);
}

/// The program as it is.
SimplifiedProgram unchanged(const FenletProgram& program) {
    SimplifiedProgram same;
    same.program = program;
    for (std::int32_t i = 0; i < program.instructionCount(); ++i)
        same.origins.push_back(i);
    return same;
}

} // namespace

SimplifiedProgram simplifyExamined(const FenletProgram& program, ProgramFlow& flow,
                                   const std::vector<std::int32_t>& outputs) {
    flow.need(outputs, &asksHost);
    Rewriter rewriter(program, flow, outputs);
    for (std::int32_t i = 0; i < program.instructionCount(); ++i)
        if (flow.isNeeded[static_cast<std::size_t>(i)])
            rewriter.take(i);
        else
            rewriter.drop(i, deadStep);
    SimplifiedProgram simplified = rewriter.finish();
    ProgramFlow newFlow(simplified.program, ProgramFlow::Verified{});
    writeWithoutCopies(simplified, newFlow, outputs);
    dropDeadSteps(simplified, newFlow, outputs);
    dropDeadConstants(simplified.program);
    return simplified;
}

SimplifiedProgram simplifyProgram(const FenletProgram& program,
                                  const std::vector<std::int32_t>& outputs) {
    ProgramFlow flow(program);
    const bool areRegisters =
        std::all_of(outputs.begin(), outputs.end(),
                    [&program](std::int32_t number) { return program.isValidRegister(number); });
    if (!flow.error.empty() || !areRegisters)
        return unchanged(program);
    return simplifyExamined(program, flow, outputs.empty() ? markedOutputs(program) : outputs);
}

} // namespace Fenlet
