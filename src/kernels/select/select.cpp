// Choosing the select kernel for three kinds.
#include "kernels/select/select.h"

#include "kernels/lanes/kinds.h"
#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const SelectKernels selectKernels)

namespace {

constexpr KernelSets<SelectKernels> kernels = {FENLET_ADDRESSES(selectKernels)};

} // namespace

SelectKernel selectKernel(CpuElementKind result, CpuElementKind whenTrue,
                          CpuElementKind whenFalse) {
    if (result == CpuElementKind::Tribool && whenTrue == result && whenFalse == result)
        return kernels.chosen().tribool;
    constexpr auto position =
        positionAmong<CpuElementKind::Int32, CpuElementKind::Int64, CpuElementKind::Half,
                      CpuElementKind::Float32, CpuElementKind::Float64>;
    if (position(result) < 0 || position(whenTrue) < 0 || position(whenFalse) < 0)
        return nullptr;
    return kernels.chosen().numeric[position(result)].of[position(whenTrue)][position(whenFalse)];
}

bool dispatchSelect(CpuElementKind result, CpuElementKind whenTrue, CpuElementKind whenFalse,
                    const SelectArgs& args) {
    const SelectKernel kernel = selectKernel(result, whenTrue, whenFalse);
    if (kernel != nullptr)
        kernel(args);
    return kernel != nullptr;
}

} // namespace Fenlet
