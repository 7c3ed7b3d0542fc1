// Which registers and instructions of a program depend on each other.
#include "program_flow.h"

#include <fenletir/verify.h>

namespace Fenlet {
namespace {

/// Whether a finding means that the results of a block could depend on an earlier block.
bool dependsOnEarlierBlock(const Finding& finding) {
    return finding.code == FindingCode::NeverWritten ||
           finding.code == FindingCode::PartlyWritten ||
           finding.code == FindingCode::MisreadOperand;
}

/// The refusal for a finding. If a backend refuses such a program, the codes have the same number.
ExecRefusal refusalOf(const Finding& finding) {
    switch (finding.severity) {
    case FindingClass::Refused:
    case FindingClass::RefusedInRun:
        return static_cast<ExecRefusal>(finding.code);
    default:
        return ExecRefusal::MultiplicityMismatch;
    }
}

} // namespace

ProgramFlow::ProgramFlow(const FenletProgram& newProgram) : program(newProgram) {
    for (const Finding& finding : verifyProgram(program)) {
        if (finding.severity == FindingClass::ProbablyAMistake && !dependsOnEarlierBlock(finding))
            continue;
        error = "the program cannot run over arrays: " + describeFinding(finding);
        refusal = refusalOf(finding);
        return;
    }
    findWriters();
}

void ProgramFlow::findWriters() {
    registers.resize(program.registers.size());
    for (std::size_t number = 0; number < registers.size(); ++number) {
        const RegisterInfo& info = program.registers[number];
        registers[number].kind = blockElement(info.format);
        registers[number].multiplicity = info.multiplicity;
    }
    for (std::int32_t i = 0; i < program.instructionCount(); ++i) {
        const Instruction& instruction = program.instructions[static_cast<std::size_t>(i)];
        if (instruction.op == OpCode::Nop)
            continue;
        RegisterFlow& result = of(instruction.result);
        if (result.writer >= 0)
            result.isRewritten = true;
        else
            result.writer = i;
        forEachOperand(instruction, [&](std::int32_t, std::int32_t number) {
            if (number == instruction.result)
                result.isRewritten = true;
        });
    }
}

} // namespace Fenlet
