// Looks up the select kernel for three kinds.
#include "kernels/select/select.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const SelectKernels selectKernels)

namespace {

constexpr KernelSets<SelectKernels> kernels = {FENLET_ADDRESSES(selectKernels)};

} // namespace

SelectKernel selectKernel(CpuElementKind result, CpuElementKind whenTrue,
                          CpuElementKind whenFalse) {
    return kernels.chosen().kernels.find(result, whenTrue, whenFalse);
}

FlatSelect flatSelect(CpuElementKind kind, std::int32_t multiplicity) {
    const SelectKernels& chosen = kernels.chosen();
    const bool fits = multiplicity >= 1 && multiplicity <= chosen.mostFlatComponents;
    return fits ? chosen.flat.find(kind) : nullptr;
}

bool dispatchSelect(CpuElementKind result, CpuElementKind whenTrue, CpuElementKind whenFalse,
                    const SelectArgs& args) {
    const SelectKernel kernel = selectKernel(result, whenTrue, whenFalse);
    if (kernel != nullptr)
        kernel(args);
    return kernel != nullptr;
}

} // namespace Fenlet
