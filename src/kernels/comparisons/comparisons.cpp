// Choosing the comparison kernel for two kinds.
#include "kernels/comparisons/comparisons.h"

#include "kernels/lanes/kinds.h"
#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const ComparisonKernels comparisonKernels)

namespace {

constexpr KernelSets<ComparisonKernels> kernels = {FENLET_ADDRESSES(comparisonKernels)};

} // namespace

bool dispatchComparison(CpuElementKind left, CpuElementKind right, const ComparisonArgs& args) {
    constexpr auto position =
        positionAmong<CpuElementKind::Int32, CpuElementKind::Int64, CpuElementKind::Half,
                      CpuElementKind::Float32, CpuElementKind::Float64>;
    if (position(left) < 0 || position(right) < 0)
        return false;
    kernels.chosen().of[position(left)][position(right)](args);
    return true;
}

} // namespace Fenlet
