// Loading a constant into a register.
#pragma once

#include "vocabulary/faults.h"

#include <fenletexec/element_kinds.h>
#include <fenletir/program.h>

namespace Fenlet {

/// Converts `constant`, which has at most `mostScratchComponents` components, to `kind`, and copies
/// it to `count` elements of `multiplicity` components at `result`. Components that the constant
/// does not have are zero; those that the register does not have are dropped. `isAlike` is as for
/// `updateBroadcast`.
Fault loadConstant(const Constant& constant, CpuElementKind kind, unsigned char* result, int count,
                   int multiplicity, bool isAlike);

} // namespace Fenlet
