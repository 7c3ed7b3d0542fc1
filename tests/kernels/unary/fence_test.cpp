// The kernels touch no bytes outside their areas.
#include "kernels/fenced_area.h"
#include "naive_unary.h"

namespace Fenlet {
namespace {

using Fence = FencedArea::Fence;

std::size_t bytesOf(CpuElementKind kind, std::int64_t lanes) {
    return static_cast<std::size_t>(elementSize(kind) * lanes);
}

TEST(UnaryFences, StandRightAtTheAreasEdges) {
    Draw draw(1);
    forEveryUnaryKernel([&](UnaryCall call) {
        for (const int multiplicity : {1, 2, 3, 4, 7})
            for (const Fence fence : {Fence::Before, Fence::After})
                for (int turn = 0; turn < 10; ++turn) {
                    call.multiplicity = multiplicity;
                    call.count = 1 + draw.below(70);
                    const FencedArea result(bytesOf(call.kinds.result, call.resultLanes()), fence);
                    const FencedArea operand(bytesOf(call.kinds.operand, call.operandLanes()),
                                             fence);
                    drawLanes(operand.data(), call.kinds.operand, call.operandLanes(), draw);
                    EXPECT_TRUE(everyUnaryBuild()[0].run(
                        call.op, call.kinds,
                        {result.data(), operand.data(), call.count, call.multiplicity}));
                }
    });
}

} // namespace
} // namespace Fenlet
