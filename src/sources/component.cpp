// Looks up the kernel that extracts one component of a register.
#include "sources/component.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const ComponentKernels componentKernels)

namespace {

constexpr KernelSets<ComponentKernels> kernels = {FENLET_ADDRESSES(componentKernels)};

} // namespace

ComponentKernel componentKernel(CpuElementKind result, CpuElementKind source) {
    return kernels.chosen().find(result, source);
}

bool dispatchComponent(CpuElementKind result, CpuElementKind source, const ComponentArgs& args) {
    const ComponentKernel kernel = componentKernel(result, source);
    if (kernel != nullptr)
        kernel(args);
    return kernel != nullptr;
}

} // namespace Fenlet
