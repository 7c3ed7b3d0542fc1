// The kernels touch no bytes outside their areas.
#include "kernels/fenced_area.h"
#include "naive_boolean.h"

namespace Fenlet {
namespace {

using Fence = FencedArea::Fence;

/// A call whose areas all begin or end at a fence: an access beyond it ends the test.
struct FencedCall {
    BooleanOp op;
    int count;
    int multiplicity;
    bool hasValidity;
    Fence fence;

    void run(const BooleanBuild& build, Draw& draw) const;
};

void FencedCall::run(const BooleanBuild& build, Draw& draw) const {
    const std::int64_t lanes = std::int64_t{count} * multiplicity;
    const auto bytes = static_cast<std::size_t>(lanes);
    const auto elements = static_cast<std::size_t>(count);
    const FencedArea result(bytes, fence);
    const FencedArea left(bytes, fence);
    drawTribools(left.data(), lanes, draw);
    if (op == BooleanOp::Not) {
        build.kernels.logicalNot({result.data(), left.data(), nullptr, lanes});
    } else if (op == BooleanOp::IsTrue) {
        const FencedArea validity(elements, fence);
        const FencedArea resultValidity(elements, fence);
        drawValidity(validity.data(), count, draw);
        build.kernels.isTrue({result.data(), resultValidity.data(), left.data(),
                              hasValidity ? validity.data() : nullptr, count, multiplicity});
    } else {
        const FencedArea right(bytes, fence);
        drawTribools(right.data(), lanes, draw);
        const auto logic =
            op == BooleanOp::And ? build.kernels.logicalAnd : build.kernels.logicalOr;
        logic({result.data(), left.data(), right.data(), lanes});
    }
}

TEST(BooleanFences, StandRightAtTheAreasEdges) {
    Draw draw(1);
    for (const BooleanOp op : everyBooleanOp)
        for (const int multiplicity : {1, 2, 3, 4, 7, 600})
            for (const Fence fence : {Fence::Before, Fence::After})
                for (const bool hasValidity : {false, true})
                    for (int count = 1; count <= (multiplicity > 100 ? 3 : 70); ++count)
                        FencedCall{op, count, multiplicity, hasValidity, fence}.run(
                            everyBooleanBuild()[0], draw);
}

TEST(BooleanFences, StandRightAtTheAreasEdgesInShortTiles) {
    Draw draw(2);
    for (const BooleanBuild& build : everyBooleanBuild())
        for (const BooleanOp op : everyBooleanOp)
            for (const int multiplicity : {1, 2, 3, 4, 7, 9})
                for (const Fence fence : {Fence::Before, Fence::After})
                    FencedCall{op, 1 + draw.below(70), multiplicity, true, fence}.run(build, draw);
}

} // namespace
} // namespace Fenlet
