// Looks up the kernel of Negate or Length for two kinds.
#include "kernels/unary/unary.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const UnaryKernels unaryKernels)

namespace {

constexpr KernelSets<UnaryKernels> kernels = {FENLET_ADDRESSES(unaryKernels)};

} // namespace

UnaryKernel unaryKernel(UnaryOp op, CpuElementKind result, CpuElementKind operand) {
    switch (op) {
    case UnaryOp::Negate:
        return kernels.chosen().negate.find(result, operand);
    case UnaryOp::Length:
        return kernels.chosen().length.find(result, operand);
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
