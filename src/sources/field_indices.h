// The element numbers that a field is read at.
#pragma once

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// Copies `count` element numbers from the data area `operand`, of kind `Int32` or `Int64`, to
/// `out`. They are taken as they stand, valid or not.
void copyIndices(std::int64_t* out, const unsigned char* operand, CpuElementKind kind, int count);

} // namespace Fenlet
