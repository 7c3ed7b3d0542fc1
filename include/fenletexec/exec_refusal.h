// Why the library said no.
#pragma once

#include <fenletexec/export.h>

#include <cstdint>

namespace Fenlet {

/// The reason of a refusal. With each comes a fixed text of static lifetime; `Interpreter` keeps
/// both.
enum class ExecRefusal : std::int32_t {
    None = 0,                 ///< nothing is refused
    NotConfigured = 1,        ///< `configure` was never called
    StaleOpCodeTable = 2,     ///< the two libraries disagree about the opcode numbering
    UnsupportedFormat = 3,    ///< a register's format has no storage kind
    ScratchRefused = 4,       ///< the register file cannot be laid out
    BadRegister = 5,          ///< a register number outside the program
    BadImmediate = 6,         ///< an immediate that does not index what it must
    ArityMismatch = 7,        ///< an operand slot beyond the opcode's arity is in use
    MultiplicityMismatch = 8, ///< component counts that do not fit together
    KindMismatch = 9,         ///< storage kinds that the instruction cannot take
    UnboundField = 10,        ///< a field that the program reads has no accessor
    UnboundUniform = 11,      ///< the program reads a uniform and no source is bound
    UnboundSampler = 12,      ///< a sampler that the program uses is not bound
    ProviderFailed = 13,      ///< a provider of the host declined
};

/// The reason's name as the enumeration spells it, "None" for a value outside it. The text has
/// static lifetime.
FENLETEXEC_API const char* execRefusalName(ExecRefusal refusal);

} // namespace Fenlet
