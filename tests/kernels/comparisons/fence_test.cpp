// The kernels touch no bytes outside their areas, and no operand before the first or after the last
// element in which both sides are valid.
#include "kernels/fenced_area.h"
#include "naive_comparisons.h"

#include <algorithm>

namespace Fenlet {
namespace {

using Fence = FencedArea::Fence;

std::size_t bytesOf(CpuElementKind kind, std::int64_t lanes) {
    return static_cast<std::size_t>(elementSize(kind) * lanes);
}

TEST(ComparisonFences, StandRightAtTheAreasEdges) {
    Draw draw(1);
    forEveryComparison([&](const ComparisonCall& kernel) {
        for (const int multiplicity : {1, 2, 3, 4, 7})
            for (const Fence fence : {Fence::Before, Fence::After}) {
                ComparisonCall call = kernel;
                call.count = 1 + draw.below(150);
                call.multiplicity = multiplicity;
                const auto elements = static_cast<std::size_t>(call.count);
                const FencedArea result(static_cast<std::size_t>(call.lanes()), fence);
                const FencedArea left(bytesOf(call.kinds.left, call.lanes()), fence);
                const FencedArea right(bytesOf(call.kinds.right, call.rightLanes()), fence);
                const FencedArea leftValidity(elements, fence);
                const FencedArea rightValidity(elements, fence);
                drawLanes(left.data(), call.kinds.left, call.lanes(), draw);
                drawLanes(right.data(), call.kinds.right, call.rightLanes(), draw);
                drawValidityRuns(leftValidity.data(), call.count, 1 + draw.below(50), draw);
                drawValidityRuns(rightValidity.data(), call.count, 1 + draw.below(50), draw);
                EXPECT_TRUE(everyComparisonBuild()[0].run(
                    call.kinds,
                    {result.data(), left.data(), draw.below(5) != 0 ? leftValidity.data() : nullptr,
                     right.data(), draw.below(5) != 0 ? rightValidity.data() : nullptr, call.count,
                     multiplicity, call.rightScalar, static_cast<std::uint32_t>(call.predicate)}));
            }
    });
}

/// A call where only the first or only the last elements are valid. The operands of all other
/// elements cannot be accessed.
struct FencedCall {
    ComparisonKinds kinds;
    bool rightScalar;
    Fence fence; ///< `After` the first elements, or `Before` the last ones
    std::int32_t reached;
    std::int32_t count;
    std::int32_t multiplicity;

    void expectReadsOnlyWhatIsValid(const ComparisonBuild& build, Draw& draw) const;
};

void FencedCall::expectReadsOnlyWhatIsValid(const ComparisonBuild& build, Draw& draw) const {
    const std::int32_t first = fence == Fence::After ? 0 : count - reached;
    const std::int32_t rightMultiplicity = rightScalar ? 1 : multiplicity;
    const FencedArea left(bytesOf(kinds.left, std::int64_t{reached} * multiplicity), fence);
    const FencedArea right(bytesOf(kinds.right, std::int64_t{reached} * rightMultiplicity), fence);
    std::vector<unsigned char> leftValidity(static_cast<std::size_t>(count));
    std::vector<unsigned char> rightValidity(leftValidity);
    std::vector<unsigned char> expected;
    for (std::int32_t element = 0; element < count; ++element) {
        const bool isReached = element >= first && element < first + reached;
        // Elements whose operands can be accessed are valid on both sides, on one or on neither.
        // All others are valid on one side or on neither.
        const int way = draw.below(isReached ? 8 : 3);
        const auto at = static_cast<std::size_t>(element);
        leftValidity[at] = isReached ? way != 1 : way == 1;
        rightValidity[at] = isReached ? way != 2 : way == 2;
        const bool known = leftValidity[at] != 0 && rightValidity[at] != 0;
        // All operands are zero.
        expected.insert(expected.end(), static_cast<std::size_t>(multiplicity), known ? 1 : 255);
    }
    std::vector<unsigned char> result(expected.size(), 99);
    EXPECT_TRUE(build.run(
        kinds, {result.data(), left.data() - bytesOf(kinds.left, first * multiplicity),
                leftValidity.data(), right.data() - bytesOf(kinds.right, first * rightMultiplicity),
                rightValidity.data(), count, multiplicity, rightScalar,
                static_cast<std::uint32_t>(Predicate::Equal)}));
    EXPECT_EQ(result, expected);
}

TEST(ComparisonFences, StandRightAroundTheValidElements) {
    Draw draw(2);
    forEveryComparedPair([&](const ComparisonKinds& kinds) {
        for (const bool rightScalar : {false, true})
            for (const Fence fence : {Fence::Before, Fence::After})
                for (const int multiplicity : {1, 2, 3, 4, 40, 600})
                    for (int turn = 0; turn < 3; ++turn) {
                        const int count = multiplicity > 10 ? 20 : 700 / multiplicity;
                        const int reached = turn == 0 ? 0 : draw.below(count);
                        const FencedCall call{kinds,   rightScalar, fence,
                                              reached, count,       multiplicity};
                        call.expectReadsOnlyWhatIsValid(everyComparisonBuild()[0], draw);
                    }
    });
}

TEST(ComparisonFences, StandRightAroundAnyNumberOfValidElements) {
    Draw draw(3);
    const ComparisonKinds alike{CpuElementKind::Float32, CpuElementKind::Float32};
    const ComparisonKinds mixed{CpuElementKind::Half, CpuElementKind::Int64};
    for (int reached = 0; reached <= 130; ++reached)
        for (const bool rightScalar : {false, true})
            for (const Fence fence : {Fence::Before, Fence::After})
                for (const ComparisonBuild& build : everyComparisonBuild()) {
                    FencedCall{alike, rightScalar, fence, reached, 130, 3}
                        .expectReadsOnlyWhatIsValid(build, draw);
                    FencedCall{mixed, rightScalar, fence, reached, 130, 1}
                        .expectReadsOnlyWhatIsValid(build, draw);
                }
}

} // namespace
} // namespace Fenlet
