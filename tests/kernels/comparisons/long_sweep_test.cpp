// Tests every kernel, multiplicity and block size. The quick tests try only samples of these.
#include "naive_comparisons.h"

namespace Fenlet {
namespace {

TEST(ComparisonSweep, EqualsANaiveLoopInEveryKernelMultiplicityAndBlockSize) {
    Draw draw(1);
    for (const int multiplicity : everyMultiplicity)
        for (int count = 1; count <= (multiplicity > 10 ? 20 : 200); ++count)
            forEveryComparison([&](ComparisonCall call) {
                // Longer blocks run with only one predicate each, in turn.
                if (count > 40 && call.predicate != everyPredicate[count % 6])
                    return;
                call.count = count;
                call.multiplicity = multiplicity;
                call.hasLeftValidity = draw.below(5) != 0;
                call.hasRightValidity = draw.below(5) != 0;
                const int runLength = 1 + draw.below(count);
                const LaneMemory memory = layOutApart(call, draw.below(8), runLength, draw);
                EXPECT_EQ(differenceFromNaive(everyComparisonBuild()[0], call, memory), "");
                if (count % 20 != 1)
                    return;
                for (const ComparisonBuild& build : everyComparisonBuild())
                    EXPECT_EQ(differenceFromNaive(build, call, memory), "");
            });
}

// Compares every Half with every special value, on either side.
TEST(ComparisonSweep, EqualsANaiveLoopForEveryHalf) {
    constexpr CpuElementKind half = CpuElementKind::Half;
    constexpr std::int32_t count = 65536;
    for (const CpuElementKind kind : numericKinds)
        for (const bool halfIsLeft : {false, true}) {
            const ComparisonKinds kinds{halfIsLeft ? half : kind, halfIsLeft ? kind : half};
            ComparisonCall call{kinds, Predicate::Less, false, count, 1, false, false, {}};
            Draw draw(2);
            LaneMemory memory = layOutApart(call, 0, 1, draw);
            const std::size_t halves = halfIsLeft ? call.places.left : call.places.right;
            const std::size_t others = halfIsLeft ? call.places.right : call.places.left;
            for (std::int64_t lane = 0; lane < count; ++lane)
                memory.store(half, halves, lane, static_cast<std::uint64_t>(lane));
            for (const std::uint64_t bits : specialBits(kind)) {
                for (std::int64_t lane = 0; lane < count; ++lane)
                    memory.store(kind, others, lane, bits);
                call.predicate = everyPredicate[draw.below(6)];
                EXPECT_EQ(differenceFromNaive(everyComparisonBuild()[0], call, memory), "");
            }
        }
}

} // namespace
} // namespace Fenlet
