// Taking one component out of a register, in any kind.
#include "sources/component.h"

#include "kernels/target/target.h"

namespace Fenlet {

inline namespace FENLET_TARGET {
extern const ComponentKernels componentKernels;
}

bool dispatchComponent(CpuElementKind result, CpuElementKind source, const ComponentArgs& args) {
    if (elementSize(result) == 0 || elementSize(source) == 0)
        return false;
    const ComponentKernel kernel =
        componentKernels.of[static_cast<int>(result) - 1][static_cast<int>(source) - 1];
    if (kernel == nullptr)
        return false;
    kernel(args);
    return true;
}

} // namespace Fenlet
