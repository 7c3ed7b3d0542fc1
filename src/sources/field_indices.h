// The element numbers that a field is read at.
#pragma once

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// Writes `start`, `start` + 1, ... to `count` entries of `out`, wrapping.
void countUp(std::int64_t* out, std::int64_t start, int count);

/// Copies `count` element numbers from the data area `operand`, of kind `Int32` or `Int64`, to
/// `out`. They are taken as they stand, valid or not.
void copyIndices(std::int64_t* out, const unsigned char* operand, CpuElementKind kind, int count);

/// Whether all of `count` positions are valid and their numbers run on by exactly one. `validity`
/// may be null, which counts as all valid.
bool isContiguous(const std::int64_t* indices, const unsigned char* validity, int count);

} // namespace Fenlet
