// Looks up the loop for a pair.
#include "fused/pairs.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const PairKernels pairKernels)

namespace {

constexpr KernelSets<PairKernels> kernels = {FENLET_ADDRESSES(pairKernels)};

} // namespace

PairLoop pairLoop(CpuElementKind kind, ArithmeticOp first, ArithmeticOp second, PairSide side) {
    const PairKernels::Loops* const loops = kernels.chosen().kinds.find(kind);
    return loops == nullptr ? nullptr
                            : loops->of[static_cast<int>(first)][static_cast<int>(second)]
                                       [static_cast<int>(side)];
}

} // namespace Fenlet
