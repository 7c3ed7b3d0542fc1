// Loading a constant into a register.
#pragma once

#include "vocabulary/faults.h"

#include <fenletexec/element_kinds.h>
#include <fenletir/program.h>

namespace Fenlet {

/// Converts `constant` to `kind`, and copies it to `count` elements of `multiplicity` components at
/// `result`. The constant must have at most `mostScratchComponents` components. If it has fewer
/// components than the register, the missing ones become zero; if it has more, the others are
/// ignored. `isAlike` is as for `updateBroadcast`.
Fault loadConstant(const Constant& constant, CpuElementKind kind, unsigned char* result, int count,
                   int multiplicity, bool isAlike);

} // namespace Fenlet
