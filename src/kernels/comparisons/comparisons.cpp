// Choosing the comparison kernel for two kinds.
#include "kernels/comparisons/comparisons.h"

#include "kernels/lanes/kinds.h"
#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const ComparisonKernels comparisonKernels)

namespace {

constexpr KernelSets<ComparisonKernels> kernels = {FENLET_ADDRESSES(comparisonKernels)};

} // namespace

ComparisonKernel comparisonKernel(CpuElementKind left, CpuElementKind right) {
    constexpr auto position =
        positionAmong<CpuElementKind::Int32, CpuElementKind::Int64, CpuElementKind::Half,
                      CpuElementKind::Float32, CpuElementKind::Float64>;
    if (position(left) < 0 || position(right) < 0)
        return nullptr;
    return kernels.chosen().of[position(left)][position(right)];
}

bool dispatchComparison(CpuElementKind left, CpuElementKind right, const ComparisonArgs& args) {
    const ComparisonKernel kernel = comparisonKernel(left, right);
    if (kernel != nullptr)
        kernel(args);
    return kernel != nullptr;
}

} // namespace Fenlet
