// Choosing the arithmetic kernel for three kinds.
#include "kernels/arithmetic/arithmetic.h"

#include "kernels/lanes/kinds.h"
#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const ArithmeticKernels arithmeticKernels)

namespace {

constexpr KernelSets<ArithmeticKernels> kernels = {FENLET_ADDRESSES(arithmeticKernels)};

constexpr auto position = positionAmong<CpuElementKind::Int32, CpuElementKind::Half,
                                        CpuElementKind::Float32, CpuElementKind::Float64>;

bool haveKernel(CpuElementKind result, CpuElementKind left, CpuElementKind right) {
    return position(result) >= 0 && position(left) >= 0 && position(right) >= 0;
}

} // namespace

ArithmeticKernel arithmeticKernel(CpuElementKind result, CpuElementKind left,
                                  CpuElementKind right) {
    if (!haveKernel(result, left, right))
        return nullptr;
    return kernels.chosen().of[position(result)].of[position(left)][position(right)];
}

FlatArithmetic flatArithmetic(ArithmeticOp op, CpuElementKind result, CpuElementKind left,
                              CpuElementKind right) {
    if (!haveKernel(result, left, right))
        return nullptr;
    return kernels.chosen().of[position(result)].flat[position(left)][position(right)](op);
}

bool dispatchArithmetic(CpuElementKind result, CpuElementKind left, CpuElementKind right,
                        const ArithmeticArgs& args) {
    const ArithmeticKernel kernel = arithmeticKernel(result, left, right);
    if (kernel != nullptr)
        kernel(args);
    return kernel != nullptr;
}

} // namespace Fenlet
