// Looks up the arithmetic kernel for three kinds.
#include "kernels/arithmetic/arithmetic.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const ArithmeticKernels arithmeticKernels)

namespace {

constexpr KernelSets<ArithmeticKernels> kernels = {FENLET_ADDRESSES(arithmeticKernels)};

} // namespace

ArithmeticKernel arithmeticKernel(CpuElementKind result, CpuElementKind left,
                                  CpuElementKind right) {
    return kernels.chosen().kernels.find(result, left, right);
}

FlatArithmetic flatArithmetic(ArithmeticOp op, CpuElementKind result, CpuElementKind left,
                              CpuElementKind right) {
    const FlatArithmeticOf loopOf = kernels.chosen().flat.find(result, left, right);
    return loopOf != nullptr ? loopOf(op) : nullptr;
}

FlatDivision flatDivision() {
    return kernels.chosen().flatDivision;
}

bool dispatchArithmetic(CpuElementKind result, CpuElementKind left, CpuElementKind right,
                        const ArithmeticArgs& args) {
    const ArithmeticKernel kernel = arithmeticKernel(result, left, right);
    if (kernel != nullptr)
        kernel(args);
    return kernel != nullptr;
}

} // namespace Fenlet
