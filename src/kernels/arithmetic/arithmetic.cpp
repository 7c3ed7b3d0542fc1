// Choosing the arithmetic kernel for three kinds.
#include "kernels/arithmetic/arithmetic.h"

#include "kernels/lanes/kinds.h"

namespace Fenlet {

inline namespace FENLET_TARGET {
extern const ArithmeticKernels arithmeticKernels;
}

bool dispatchArithmetic(CpuElementKind result, CpuElementKind left, CpuElementKind right,
                        const ArithmeticArgs& args) {
    constexpr auto position = positionAmong<CpuElementKind::Int32, CpuElementKind::Half,
                                            CpuElementKind::Float32, CpuElementKind::Float64>;
    if (position(result) < 0 || position(left) < 0 || position(right) < 0)
        return false;
    arithmeticKernels.of[position(result)].of[position(left)][position(right)](args);
    return true;
}

} // namespace Fenlet
