// The evaluator's conversions, chosen by kind.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenlethosts/array_view.h>

#include <cstdint>

namespace Fenlet {

using LaneConversion = void (*)(unsigned char* out, const unsigned char* in, std::int64_t lanes);

/// The function that converts lanes of kind `from` to kind `to`. The function's input and output
/// must not overlap. Null for kinds without storage, and between `Tribool` and numbers.
LaneConversion laneConversion(CpuElementKind to, CpuElementKind from);

/// The function that converts lanes of an array of kind `from` to kind `to`. It first converts them
/// to `registerKind(from)`, which holds every value of `from`, and then to `to`.
LaneConversion laneConversion(CpuElementKind to, ArrayKind from);

/// Converts `lanes` lanes of `laneBytes` bytes, which lie `stride` bytes apart, to adjacent lanes
/// of `outBytes` bytes.
inline void convertSpread(LaneConversion convert, unsigned char* out, std::int64_t outBytes,
                          const unsigned char* in, std::int64_t laneBytes, std::int64_t stride,
                          std::int64_t lanes) {
    if (stride == laneBytes)
        return convert(out, in, lanes);
    for (std::int64_t i = 0; i < lanes; ++i)
        convert(out + i * outBytes, in + i * stride, 1);
}

} // namespace Fenlet
