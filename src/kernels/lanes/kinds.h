// The storage kinds as types, for stamping kernels out over them.
#pragma once

#include "kernels/lanes/lanes.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// A `CpuElementKind::Tribool` value: 0 false, 1 true, 255 unknown.
using Tribool = unsigned char;

template <class... Types>
struct KindList {};

/// Where each kind stands in a list, by the kind's number; -1 for those that are not in it.
struct KindPositions {
    static constexpr int kindCount = 7;
    signed char of[kindCount] = {-1, -1, -1, -1, -1, -1, -1};
};

template <CpuElementKind... Kinds>
inline constexpr KindPositions positionsAmong = [] {
    KindPositions positions;
    signed char next = 0;
    ((positions.of[static_cast<int>(Kinds)] = next++), ...);
    return positions;
}();

/// The position of `kind` in `Kinds`, -1 if it is not there. Any number may be asked for.
template <CpuElementKind... Kinds>
constexpr int positionAmong(CpuElementKind kind) {
    const auto number = static_cast<std::uint32_t>(kind);
    return number < KindPositions::kindCount ? positionsAmong<Kinds...>.of[number] : -1;
}

} // namespace Fenlet
