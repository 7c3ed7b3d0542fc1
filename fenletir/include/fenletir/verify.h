// What is wrong with a program, and what probably is.
#pragma once

#include <fenletir/export.h>
#include <fenletir/program.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet {

/// When a finding shows, the worst first.
enum class FindingClass : std::int32_t {
    Refused = 0,          ///< a backend refuses the program when it plans it
    RefusedInRun = 1,     ///< a backend refuses it at the first block: no kernel for these kinds
    OutsideItsArea = 2,   ///< runs, but reads or writes beside the registers that it names
    ProbablyAMistake = 3, ///< runs soundly; hardly what was meant
};

/// What a finding is about. The first six are the codes of a backend's refusals, by the same
/// numbers.
enum class FindingCode : std::int32_t {
    UnsupportedFormat = 3,    ///< a register's format is none
    BadRegister = 5,          ///< a register number outside the program
    BadImmediate = 6,         ///< an immediate that does not index what it must
    ArityMismatch = 7,        ///< an operand slot beyond the opcode's arity is in use
    MultiplicityMismatch = 8, ///< component counts that do not fit together
    KindMismatch = 9,         ///< storage kinds that the instruction cannot take

    ReadsPastOperand = 100, ///< takes more components of an operand than it has
    WritesPastResult = 101, ///< makes more components than the result has

    NeverWritten = 200,     ///< reads a register that nothing before it has written
    NeverRead = 201,        ///< makes a result that nobody reads and that is no output
    MirrorComparison = 202, ///< would stand with its sides exchanged
    ConstantWidth = 203,    ///< a constant with another number of components than its register
    ConstantKind = 204,     ///< a number for a Tribool register, which takes only truth values
    MisreadOperand = 205,   ///< takes fewer components of an operand than it has, out of step
    PartlyWritten = 206,    ///< makes fewer components than the result has
    ConstantValue = 207,    ///< a constant that its register's format cannot hold
    NoOutput = 208,         ///< the program has no output
    NoInstruction = 209,    ///< the program is empty
};

/// Where in its instruction a finding stands.
inline constexpr std::int32_t wholeInstruction = -2;
inline constexpr std::int32_t resultSlot = -1;

/// One thing that was found.
struct Finding {
    FindingClass severity = FindingClass::Refused;
    FindingCode code = FindingCode::BadRegister;
    std::int32_t instruction = -1;        ///< its number; -1 for a register by itself
    const char* opCode = "";              ///< the instruction's name; empty for a register
    std::int32_t slot = wholeInstruction; ///< operand 0 to 2, `resultSlot` or `wholeInstruction`
    std::int32_t registerNumber = noRegister; ///< the register in question, if there is one
    std::string message; ///< a full sentence: what is wrong, and what would stand
};

/// The code's name as the enumeration spells it, "Unknown" for a number outside it. The text has
/// static lifetime.
FENLETIR_API const char* findingCodeName(FindingCode code);

/// Everything that is wrong with `program`: first what its registers are, then instruction by
/// instruction.
///
/// Without a finding worse than `ProbablyAMistake`, a backend accepts the program, refuses no block
/// of it as long as the host's providers serve it, and touches nothing outside the areas of the
/// registers that each instruction names. A program that a backend refuses has a finding with the
/// code and the instruction of the refusal.
FENLETIR_API std::vector<Finding> verifyProgram(const FenletProgram& program);

/// Whether nothing among `findings` is worse than `ProbablyAMistake`.
FENLETIR_API bool isSound(const std::vector<Finding>& findings);

/// Whether a run of a program with this finding gives wrong values, or values that nothing in the
/// program decides. So it is with `OutsideItsArea`, and with these codes: `NeverWritten`,
/// `PartlyWritten`, `MisreadOperand`, `ConstantWidth`, `ConstantKind` and `ConstantValue`.
FENLETIR_API bool spoilsResults(const Finding& finding);

/// The finding in one line: where it is, and its message.
FENLETIR_API std::string describeFinding(const Finding& finding);

} // namespace Fenlet
