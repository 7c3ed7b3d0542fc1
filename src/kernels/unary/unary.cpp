// Choosing the kernel of Negate or Length for two kinds.
#include "kernels/unary/unary.h"

#include "kernels/lanes/kinds.h"
#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const UnaryKernels unaryKernels)

namespace {

constexpr KernelSets<UnaryKernels> kernels = {FENLET_ADDRESSES(unaryKernels)};

} // namespace

bool dispatchUnary(UnaryOp op, CpuElementKind result, CpuElementKind operand,
                   const UnaryArgs& args) {
    constexpr auto position = positionAmong<CpuElementKind::Int32, CpuElementKind::Half,
                                            CpuElementKind::Float32, CpuElementKind::Float64>;
    if (position(result) < 0 || position(operand) < 0)
        return false;
    switch (op) {
    case UnaryOp::Negate:
        kernels.chosen().negate[position(result)][position(operand)](args);
        return true;
    case UnaryOp::Length:
        kernels.chosen().length[position(result)][position(operand)](args);
        return true;
    }
    return false;
}

} // namespace Fenlet
