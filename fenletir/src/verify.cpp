// Checks a whole program: its registers, each instruction, and how values flow between them.
#include "formats.h"
#include "verify_instruction.h"

#include <fenletir/verify.h>

#include <algorithm>
#include <string>

namespace Fenlet {
namespace {

Finding aboutRegister(FindingClass severity, FindingCode code, std::int32_t number,
                      std::string message) {
    Finding finding;
    finding.severity = severity;
    finding.code = code;
    finding.registerNumber = number;
    finding.message = std::move(message);
    return finding;
}

// Checks all registers, even unused ones, before the instructions: a backend does so, too.
void verifyRegisters(const FenletProgram& program, std::vector<Finding>& findings) {
    for (std::int32_t number = 0; number < program.registerCount(); ++number) {
        const RegisterInfo& about = program.registerInfo(number);
        if (isFormat(about.format) && about.multiplicity >= 1)
            continue;
        const std::string name = "Register %" + std::to_string(number);
        if (!isFormat(about.format))
            findings.push_back(aboutRegister(
                FindingClass::Refused, FindingCode::UnsupportedFormat, number,
                name + " has the format " +
                    std::to_string(static_cast<std::int32_t>(about.format)) +
                    ", which does not exist; formats are numbered from 0 (" +
                    formatTable.front().name + ") to " + std::to_string(formatCount - 1) + " (" +
                    formatTable.back().name + ")."));
        else
            findings.push_back(aboutRegister(
                FindingClass::Refused, FindingCode::MultiplicityMismatch, number,
                name + " has " + componentsInWords(about.multiplicity) + "; it needs at least 1."));
    }
}

/// Calls `visit` with the slot and number of each operand that names an existing register.
template <class Visit>
void forEachOperand(const FenletProgram& program, const Instruction& instruction, Visit&& visit) {
    for (std::int32_t slot = 0; slot < opCodeArity(instruction.op); ++slot)
        if (program.isValidRegister(instruction.operands[slot]))
            visit(slot, static_cast<std::size_t>(instruction.operands[slot]));
}

bool hasResult(const FenletProgram& program, const Instruction& instruction) {
    return instruction.op != OpCode::Nop && program.isValidRegister(instruction.result);
}

/// For each instruction, whether its result is used: read before it is overwritten, or left in an
/// output register at the end.
std::vector<bool> readResults(const FenletProgram& program) {
    std::vector<bool> wanted(program.registers.size());
    for (std::size_t i = 0; i < wanted.size(); ++i)
        wanted[i] = program.registers[i].output;
    std::vector<bool> read(program.instructions.size());
    for (std::size_t i = program.instructions.size(); i-- > 0;) {
        const Instruction& instruction = program.instructions[i];
        if (hasResult(program, instruction)) {
            const auto result = static_cast<std::size_t>(instruction.result);
            read[i] = wanted[result];
            wanted[result] = false;
        }
        forEachOperand(program, instruction,
                       [&](std::int32_t, std::size_t number) { wanted[number] = true; });
    }
    return read;
}

class ProgramCheck {
  public:
    explicit ProgramCheck(const FenletProgram& newProgram)
        : program(newProgram),
          resultIsRead(readResults(program)),
          written(program.registers.size()) {}

    std::vector<Finding> run() {
        verifyRegisters(program, findings);
        for (std::int32_t number = 0; number < program.instructionCount(); ++number) {
            verifyInstruction(program, number, findings);
            flow(number);
        }
        outputs();
        return std::move(findings);
    }

  private:
    void flow(std::int32_t number);
    void outputs();
    void suspect(FindingCode code, std::int32_t instruction, std::int32_t slot,
                 std::int32_t registerNumber, std::string message);

    const FenletProgram& program;
    const std::vector<bool> resultIsRead;
    std::vector<bool> written;
    std::vector<Finding> findings;
};

void ProgramCheck::suspect(FindingCode code, std::int32_t instruction, std::int32_t slot,
                           std::int32_t registerNumber, std::string message) {
    Finding finding =
        aboutRegister(FindingClass::ProbablyAMistake, code, registerNumber, std::move(message));
    finding.instruction = instruction;
    finding.slot = slot;
    finding.opCode = opCodeName(program.instructions[static_cast<std::size_t>(instruction)].op);
    findings.push_back(std::move(finding));
}

void ProgramCheck::flow(std::int32_t number) {
    const Instruction& instruction = program.instructions[static_cast<std::size_t>(number)];
    forEachOperand(program, instruction, [&](std::int32_t slot, std::size_t operand) {
        if (!written[operand])
            suspect(FindingCode::NeverWritten, number, slot, instruction.operands[slot],
                    "The operand, " + registerInWords(program, instruction.operands[slot]) +
                        ", is read before it is written; an earlier instruction must write it.");
    });
    if (!hasResult(program, instruction))
        return;
    written[static_cast<std::size_t>(instruction.result)] = true;
    if (!resultIsRead[static_cast<std::size_t>(number)])
        suspect(FindingCode::NeverRead, number, resultSlot, instruction.result,
                "Nothing uses the result, " + registerInWords(program, instruction.result) +
                    "; read it, make it an output, or remove the instruction.");
}

void ProgramCheck::outputs() {
    const auto whole = [this](FindingCode code, const char* message) {
        findings.push_back(
            aboutRegister(FindingClass::ProbablyAMistake, code, noRegister, message));
    };
    const bool hasOutput = std::any_of(program.registers.begin(), program.registers.end(),
                                       [](const RegisterInfo& about) { return about.output; });
    if (program.instructions.empty())
        whole(
            FindingCode::NoInstruction,
            "The program is empty; write at least one instruction and make its result an output.");
    else if (!hasOutput)
        whole(FindingCode::NoOutput,
              "The program has no output; make at least one register an output.");
    for (std::int32_t number = 0; number < program.registerCount(); ++number)
        if (program.registerInfo(number).output && !written[static_cast<std::size_t>(number)])
            findings.push_back(aboutRegister(
                FindingClass::ProbablyAMistake, FindingCode::NeverWritten, number,
                "No instruction writes the output, " + registerInWords(program, number) +
                    "; write it, or do not make it an output."));
}

} // namespace

std::vector<Finding> verifyProgram(const FenletProgram& program) {
    return ProgramCheck(program).run();
}

bool isSound(const std::vector<Finding>& findings) {
    return std::all_of(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.severity == FindingClass::ProbablyAMistake;
    });
}

bool spoilsResults(const Finding& finding) {
    switch (finding.code) {
    case FindingCode::NeverWritten:
    case FindingCode::PartlyWritten:
    case FindingCode::MisreadOperand:
    case FindingCode::ConstantWidth:
    case FindingCode::ConstantKind:
    case FindingCode::ConstantValue:
        return true;
    case FindingCode::UnsupportedFormat:
    case FindingCode::BadRegister:
    case FindingCode::BadImmediate:
    case FindingCode::ArityMismatch:
    case FindingCode::MultiplicityMismatch:
    case FindingCode::KindMismatch:
    case FindingCode::ReadsPastOperand:
    case FindingCode::WritesPastResult:
    case FindingCode::NeverRead:
    case FindingCode::MirrorComparison:
    case FindingCode::NoOutput:
    case FindingCode::NoInstruction:
        break;
    }
    return finding.severity == FindingClass::OutsideItsArea;
}

std::string describeFinding(const Finding& finding) {
    if (finding.instruction < 0)
        return finding.message;
    std::string words =
        "Instruction " + std::to_string(finding.instruction) + " (" + finding.opCode + ")";
    if (finding.slot >= 0)
        words += ", operand " + std::to_string(finding.slot);
    return words + ": " + finding.message;
}

const char* findingCodeName(FindingCode code) {
    switch (code) {
    case FindingCode::UnsupportedFormat:
        return "UnsupportedFormat";
    case FindingCode::BadRegister:
        return "BadRegister";
    case FindingCode::BadImmediate:
        return "BadImmediate";
    case FindingCode::ArityMismatch:
        return "ArityMismatch";
    case FindingCode::MultiplicityMismatch:
        return "MultiplicityMismatch";
    case FindingCode::KindMismatch:
        return "KindMismatch";
    case FindingCode::ReadsPastOperand:
        return "ReadsPastOperand";
    case FindingCode::WritesPastResult:
        return "WritesPastResult";
    case FindingCode::NeverWritten:
        return "NeverWritten";
    case FindingCode::NeverRead:
        return "NeverRead";
    case FindingCode::MirrorComparison:
        return "MirrorComparison";
    case FindingCode::ConstantWidth:
        return "ConstantWidth";
    case FindingCode::ConstantKind:
        return "ConstantKind";
    case FindingCode::MisreadOperand:
        return "MisreadOperand";
    case FindingCode::PartlyWritten:
        return "PartlyWritten";
    case FindingCode::ConstantValue:
        return "ConstantValue";
    case FindingCode::NoOutput:
        return "NoOutput";
    case FindingCode::NoInstruction:
        return "NoInstruction";
    }
    return "Unknown";
}

} // namespace Fenlet
