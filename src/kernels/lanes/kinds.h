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

/// The position of `kind` in `Kinds`, -1 if it is not there.
template <CpuElementKind... Kinds>
constexpr int positionAmong(CpuElementKind kind) {
    int position = 0;
    const bool found = (... || (kind == Kinds || (++position, false)));
    return found ? position : -1;
}

} // namespace Fenlet
