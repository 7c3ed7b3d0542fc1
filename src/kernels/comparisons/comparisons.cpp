// Looks up the comparison kernel for two kinds.
#include "kernels/comparisons/comparisons.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const ComparisonKernels comparisonKernels)

namespace {

constexpr KernelSets<ComparisonKernels> kernels = {FENLET_ADDRESSES(comparisonKernels)};

} // namespace

ComparisonKernel comparisonKernel(CpuElementKind left, CpuElementKind right) {
    return kernels.chosen().kernels.find(left, right);
}

FlatComparison flatComparison(std::uint32_t predicate, CpuElementKind left, CpuElementKind right) {
    const FlatComparisonOf loopOf = kernels.chosen().flat.find(left, right);
    return loopOf != nullptr ? loopOf(predicate) : nullptr;
}

bool dispatchComparison(CpuElementKind left, CpuElementKind right, const ComparisonArgs& args) {
    const ComparisonKernel kernel = comparisonKernel(left, right);
    if (kernel != nullptr)
        kernel(args);
    return kernel != nullptr;
}

} // namespace Fenlet
