// The element numbers that a field is read at.
#pragma once

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// Copies `count` element numbers of kind `Int32` or `Int64` from the register data `operand` to
/// `out`. Also copies the numbers of invalid elements.
void copyIndices(std::int64_t* out, const unsigned char* operand, CpuElementKind kind, int count);

} // namespace Fenlet
