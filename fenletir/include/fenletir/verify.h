// Finds what is wrong, or probably wrong, with a program.
#pragma once

#include <fenletir/export.h>
#include <fenletir/program.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet {

/// How bad a finding is, the worst first.
enum class FindingClass : std::int32_t {
    Refused = 0,          ///< a backend refuses to plan the program
    RefusedInRun = 1,     ///< a backend refuses the first block: it has no kernel for these formats
    OutsideItsArea = 2,   ///< the program runs, but reads or writes outside its registers
    ProbablyAMistake = 3, ///< the program runs safely, but probably not as it was meant
};

/// What a finding is about. The first six have the numbers of a backend's refusals.
enum class FindingCode : std::int32_t {
    UnsupportedFormat = 3,    ///< a register's format does not exist
    BadRegister = 5,          ///< a register number outside the program
    BadImmediate = 6,         ///< an immediate outside the pool or the operand's components
    ArityMismatch = 7,        ///< a register in an operand slot that the opcode does not use
    MultiplicityMismatch = 8, ///< numbers of components that do not match
    KindMismatch = 9,         ///< formats that the instruction cannot use

    ReadsPastOperand = 100, ///< reads more components of an operand than it has
    WritesPastResult = 101, ///< writes more components than the result has

    NeverWritten = 200,     ///< a register is read, or is an output, but nothing has written it
    NeverRead = 201,        ///< a result is not used and is not an output
    MirrorComparison = 202, ///< a comparison that would be accepted with its sides exchanged
    ConstantWidth = 203,    ///< a constant and its register differ in their number of components
    ConstantKind = 204,     ///< a number is loaded into a Tribool register
    MisreadOperand = 205,   ///< reads fewer components of an operand than it has
    PartlyWritten = 206,    ///< writes fewer components than the result has
    ConstantValue = 207,    ///< a constant does not fit into its register's format
    NoOutput = 208,         ///< the program has no output
    NoInstruction = 209,    ///< the program is empty
};

/// Values of `Finding::slot` besides the operands 0 to 2.
inline constexpr std::int32_t wholeInstruction = -2;
inline constexpr std::int32_t resultSlot = -1;

/// One finding.
struct Finding {
    FindingClass severity = FindingClass::Refused;
    FindingCode code = FindingCode::BadRegister;
    std::int32_t instruction = -1;        ///< its number; -1 if it is about no instruction
    const char* opCode = "";              ///< the opcode's name; empty if there is no instruction
    std::int32_t slot = wholeInstruction; ///< operand 0 to 2, `resultSlot` or `wholeInstruction`
    std::int32_t registerNumber = noRegister; ///< the register concerned, if there is one
    std::string message; ///< a full sentence: what is wrong, and what would be right
};

/// The code's name as spelled in the enumeration, or "Unknown" for a number outside it. The text
/// has static lifetime.
FENLETIR_API const char* findingCodeName(FindingCode code);

/// Everything that is wrong with `program`: first its registers, then each instruction in order,
/// then its outputs.
///
/// If no finding is worse than `ProbablyAMistake`, a backend accepts the program, refuses no block
/// as long as the host's providers do not decline, and reads and writes nothing outside the
/// registers that each instruction names. If a backend refuses the program, there is a finding with
/// the code and the instruction of the refusal.
FENLETIR_API std::vector<Finding> verifyProgram(const FenletProgram& program);

/// Whether no finding is worse than `ProbablyAMistake`.
FENLETIR_API bool isSound(const std::vector<Finding>& findings);

/// Whether a program with this finding runs, but its results are wrong or undefined: the class is
/// `OutsideItsArea`, or the code is `NeverWritten`, `PartlyWritten`, `MisreadOperand`,
/// `ConstantWidth`, `ConstantKind` or `ConstantValue`.
FENLETIR_API bool spoilsResults(const Finding& finding);

/// The finding in one line: the instruction, if there is one, and the message.
FENLETIR_API std::string describeFinding(const Finding& finding);

} // namespace Fenlet
