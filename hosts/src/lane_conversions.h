// The library's conversions, chosen by kind.
#pragma once

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

using LaneConversion = void (*)(unsigned char* out, const unsigned char* in, std::int64_t lanes);

/// Converts lanes of kind `from` to kind `to`, between areas that do not overlap. Null for a pair
/// that has no conversion: kinds without storage, and `Tribool` with a number.
LaneConversion laneConversion(CpuElementKind to, CpuElementKind from);

} // namespace Fenlet
