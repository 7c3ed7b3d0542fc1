// Choosing the kernel of Negate or Length for two kinds.
#include "kernels/unary/unary.h"

#include "kernels/lanes/kinds.h"
#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const UnaryKernels unaryKernels)

namespace {

constexpr KernelSets<UnaryKernels> kernels = {FENLET_ADDRESSES(unaryKernels)};

} // namespace

UnaryKernel unaryKernel(UnaryOp op, CpuElementKind result, CpuElementKind operand) {
    constexpr auto position = positionAmong<CpuElementKind::Int32, CpuElementKind::Half,
                                            CpuElementKind::Float32, CpuElementKind::Float64>;
    if (position(result) < 0 || position(operand) < 0)
        return nullptr;
    switch (op) {
    case UnaryOp::Negate:
        return kernels.chosen().negate[position(result)][position(operand)];
    case UnaryOp::Length:
        return kernels.chosen().length[position(result)][position(operand)];
    }
    return nullptr;
}

bool dispatchUnary(UnaryOp op, CpuElementKind result, CpuElementKind operand,
                   const UnaryArgs& args) {
    const UnaryKernel kernel = unaryKernel(op, result, operand);
    if (kernel != nullptr)
        kernel(args);
    return kernel != nullptr;
}

} // namespace Fenlet
