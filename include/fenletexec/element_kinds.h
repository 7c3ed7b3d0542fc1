// The storage kinds: how registers are stored in memory.
#pragma once

#include <fenletexec/export.h>
#include <fenletir/program.h>

#include <cstdint>

namespace Fenlet {

/// How one component of a register is stored.
enum class CpuElementKind : std::int32_t {
    Unsupported = 0, ///< no storage; no register of a running program has this kind
    Tribool = 1,     ///< one byte: 0 false, 1 true, 255 unknown
    Int32 = 2,       ///< two's complement
    Int64 = 3,       ///< two's complement
    Half = 4,        ///< IEEE 754 binary16, held as its 16 raw bits
    Float32 = 5,     ///< IEEE 754 binary32
    Float64 = 6,     ///< IEEE 754 binary64
};

/// The enumerator's name, "Unsupported" for a value outside the enumeration. The text has static
/// lifetime.
FENLETEXEC_API const char* cpuElementKindName(CpuElementKind kind);

/// Bytes of one component: 0 for `Unsupported` and for a value outside the enumeration.
FENLETEXEC_API std::int32_t elementSize(CpuElementKind kind);

/// The kind in which a register of this format is stored. `Int8`, `Int16` and `Int32` are all
/// stored as `CpuElementKind::Int32`. A format outside the enumeration gives `Unsupported`.
FENLETEXEC_API CpuElementKind blockElement(RegisterFormat format);

} // namespace Fenlet
