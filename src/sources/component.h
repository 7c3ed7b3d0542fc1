// Extracting one component of a register, and converting it to another kind.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// result[e] = source[e * multiplicity + component] for e below `count`. The indexes count
/// components, not bytes. `component` is at least 0 and below `multiplicity`.
struct ComponentArgs {
    unsigned char* result;
    const unsigned char* source;
    std::int32_t count;
    std::int32_t multiplicity; ///< of the source
    std::int32_t component;
};

/// Extracts a component and converts it. Returns false, and writes nothing, for a pair without a
/// kernel. Every pair of numeric kinds has a kernel. `Tribool` has one with itself, which keeps
/// every byte as it is.
bool dispatchComponent(CpuElementKind result, CpuElementKind source, const ComponentArgs& args);

using ComponentKernel = void (*)(const ComponentArgs&);

/// The kernel that `dispatchComponent` runs, in the instruction set in use; null if there is none.
ComponentKernel componentKernel(CpuElementKind result, CpuElementKind source);

/// The kernels by result kind and source kind; null where there is none.
using ComponentKernels = PairTable<ComponentKernel, AllKinds>;

} // namespace Fenlet
