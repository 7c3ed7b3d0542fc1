// Choosing the comparison kernel for two kinds.
#include "kernels/comparisons/comparisons.h"

#include "kernels/lanes/kinds.h"

namespace Fenlet {

inline namespace FENLET_TARGET {
extern const ComparisonKernels comparisonKernels;
}

bool dispatchComparison(CpuElementKind left, CpuElementKind right, const ComparisonArgs& args) {
    constexpr auto position =
        positionAmong<CpuElementKind::Int32, CpuElementKind::Int64, CpuElementKind::Half,
                      CpuElementKind::Float32, CpuElementKind::Float64>;
    if (position(left) < 0 || position(right) < 0)
        return false;
    comparisonKernels.of[position(left)][position(right)](args);
    return true;
}

} // namespace Fenlet
