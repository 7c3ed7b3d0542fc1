// The reasons for which the library refuses a program or a run.
#pragma once

#include <fenletexec/export.h>

#include <cstdint>

namespace Fenlet {

/// The reason for a refusal. `Interpreter` keeps the reason, and with it a message of static
/// lifetime.
enum class ExecRefusal : std::int32_t {
    None = 0,                 ///< nothing was refused
    NotConfigured = 1,        ///< `configure` was never called
    StaleOpCodeTable = 2,     ///< fenletexec and fenletir number opcodes differently
    UnsupportedFormat = 3,    ///< a register's format has no storage kind
    ScratchRefused = 4,       ///< the register file cannot be laid out
    BadRegister = 5,          ///< a register number outside the program
    BadImmediate = 6,         ///< an immediate outside its pool or component range
    ArityMismatch = 7,        ///< an operand beyond the opcode's arity is in use
    MultiplicityMismatch = 8, ///< component counts that do not fit together
    KindMismatch = 9,         ///< storage kinds that the instruction does not support
    UnboundField = 10,        ///< a field that the program reads has no accessor
    UnboundUniform = 11,      ///< the program reads a uniform and no source is bound
    UnboundSampler = 12,      ///< a sampler that the program uses is not bound
    ProviderFailed = 13,      ///< a provider of the host declined
};

/// The enumerator's name, "None" for a value outside the enumeration. The text has static lifetime.
FENLETEXEC_API const char* execRefusalName(ExecRefusal refusal);

} // namespace Fenlet
