// The evaluator's conversions, chosen by kind.
#pragma once

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

using LaneConversion = void (*)(unsigned char* out, const unsigned char* in, std::int64_t lanes);

/// The function that converts lanes of kind `from` to kind `to`. Its areas must not overlap. Null
/// if there is none: for kinds without storage, and between `Tribool` and numbers.
LaneConversion laneConversion(CpuElementKind to, CpuElementKind from);

} // namespace Fenlet
