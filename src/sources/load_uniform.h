// Bringing a uniform into a register.
#pragma once

#include "vocabulary/faults.h"

#include <fenletexec/providers.h>

namespace Fenlet {

/// Asks `source` once for uniform `index`, in `kind` and with `multiplicity` components (at most
/// 64), and copies what it gives over `count` elements at `result`. `isAlike` says what
/// `updateBroadcast` asks.
Fault loadUniform(UniformSource& source, int index, CpuElementKind kind, unsigned char* result,
                  int count, int multiplicity, bool isAlike);

} // namespace Fenlet
