// Choosing the kernel of Negate or Length for two kinds.
#include "kernels/unary/unary.h"

#include "kernels/lanes/kinds.h"

namespace Fenlet {

inline namespace FENLET_TARGET {
extern const UnaryKernels unaryKernels;
}

bool dispatchUnary(UnaryOp op, CpuElementKind result, CpuElementKind operand,
                   const UnaryArgs& args) {
    constexpr auto position = positionAmong<CpuElementKind::Int32, CpuElementKind::Half,
                                            CpuElementKind::Float32, CpuElementKind::Float64>;
    if (position(result) < 0 || position(operand) < 0)
        return false;
    switch (op) {
    case UnaryOp::Negate:
        unaryKernels.negate[position(result)][position(operand)](args);
        return true;
    case UnaryOp::Length:
        unaryKernels.length[position(result)][position(operand)](args);
        return true;
    }
    return false;
}

} // namespace Fenlet
