// Taking one component out of a register, in any kind.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// result[e] = source[e * multiplicity + component] for e below `count`, counted in components of
/// the areas' own kinds. `component` is at least 0 and below `multiplicity`.
struct ComponentArgs {
    unsigned char* result;
    const unsigned char* source;
    std::int32_t count;
    std::int32_t multiplicity; ///< of the source
    std::int32_t component;
};

/// Extracts and converts from the `source` kind to the `result` kind. Returns false, with nothing
/// written, for a pair without a kernel. Every pair of numeric kinds has one; `Tribool` has one
/// with itself alone, which keeps any byte as it is.
bool dispatchComponent(CpuElementKind result, CpuElementKind source, const ComponentArgs& args);

using ComponentKernel = void (*)(const ComponentArgs&);

/// The kernel that `dispatchComponent` runs, in the instruction set that runs now; null when there
/// is none.
ComponentKernel componentKernel(CpuElementKind result, CpuElementKind source);

/// The kernels by result kind and source kind; null where there is none.
using ComponentKernels = PairTable<ComponentKernel, AllKinds>;

} // namespace Fenlet
