// Taking one component out of a register, in any kind.
#include "sources/component.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const ComponentKernels componentKernels)

namespace {

constexpr KernelSets<ComponentKernels> kernels = {FENLET_ADDRESSES(componentKernels)};

} // namespace

ComponentKernel componentKernel(CpuElementKind result, CpuElementKind source) {
    if (elementSize(result) == 0 || elementSize(source) == 0)
        return nullptr;
    return kernels.chosen().of[static_cast<int>(result) - 1][static_cast<int>(source) - 1];
}

bool dispatchComponent(CpuElementKind result, CpuElementKind source, const ComponentArgs& args) {
    const ComponentKernel kernel = componentKernel(result, source);
    if (kernel != nullptr)
        kernel(args);
    return kernel != nullptr;
}

} // namespace Fenlet
