// The loops that callers run directly: the same bytes, and no byte beyond the areas.
#include "kernels/fenced_area.h"
#include "naive_comparisons.h"

#include <algorithm>
#include <iterator>

namespace Fenlet {
namespace {

using Fence = FencedArea::Fence;

constexpr CpuElementKind tribool = CpuElementKind::Tribool;

bool runFlat(const ComparisonKinds& kinds, const ComparisonArgs& args) {
    const FlatComparison loop = flatComparison(args.predicate, kinds.left, kinds.right);
    if (loop == nullptr)
        return false;
    loop(args.result, static_cast<const unsigned char*>(args.left), args.leftValidity,
         static_cast<const unsigned char*>(args.right), args.rightValidity,
         std::int64_t{args.count} * args.multiplicity);
    return true;
}

const ComparisonBuild flatBuild{"the flat loop", &runFlat};

/// Calls `visit` for every predicate of all pairs of kinds that have a flat loop.
template <class Visit>
void forEveryFlatComparison(const Visit& visit) {
    forEveryComparedPair([&](const ComparisonKinds& kinds) {
        for (const Predicate predicate : everyPredicate)
            if (flatComparison(static_cast<std::uint32_t>(predicate), kinds.left, kinds.right) !=
                nullptr)
                visit(ComparisonCall{kinds, predicate, false, 0, 1, true, true, {}});
    });
}

/// Any bytes, about one in four of them 0.
void drawAnyValidity(unsigned char* area, std::int64_t elements, Draw& draw) {
    for (std::int64_t element = 0; element < elements; ++element)
        area[element] = draw.below(4) == 0 ? 0 : static_cast<unsigned char>(draw.next());
}

TEST(FlatComparisons, ExistForNumbersThatNeedNoSeparateConversion) {
    for (const CpuElementKind kind : {CpuElementKind::Int32, CpuElementKind::Int64,
                                      CpuElementKind::Float32, CpuElementKind::Float64})
        EXPECT_NE(flatComparison(0, kind, kind), nullptr) << cpuElementKindName(kind);
    EXPECT_NE(flatComparison(5, CpuElementKind::Int32, CpuElementKind::Float32), nullptr);
    EXPECT_NE(flatComparison(5, CpuElementKind::Float32, CpuElementKind::Int32), nullptr);
    EXPECT_EQ(flatComparison(6, CpuElementKind::Int32, CpuElementKind::Int32), nullptr);
    EXPECT_EQ(flatComparison(0, tribool, tribool), nullptr);
    EXPECT_EQ(flatComparison(0, CpuElementKind::Unsupported, CpuElementKind::Int32), nullptr);
}

TEST(FlatComparisons, EqualANaiveLoopInEveryLengthAndAlignment) {
    Draw draw(11);
    forEveryFlatComparison([&](ComparisonCall call) {
        for (int count = 0; count <= 130; ++count) {
            call.count = count;
            call.hasLeftValidity = draw.below(3) != 0;
            call.hasRightValidity = draw.below(3) != 0;
            LaneMemory memory = layOutApart(call, draw.below(64), 1 + draw.below(20), draw);
            if (draw.below(2) == 0) {
                drawAnyValidity(memory.at(call.places.leftValidity), count, draw);
                drawAnyValidity(memory.at(call.places.rightValidity), count, draw);
            }
            EXPECT_EQ(differenceFromNaive(flatBuild, call, memory), "");
        }
    });
}

TEST(FlatComparisons, EqualANaiveLoopForElementsOfSeveralComponentsThatAreAllValid) {
    Draw draw(12);
    forEveryFlatComparison([&](ComparisonCall call) {
        for (const int multiplicity : {2, 3, 4, 7, 300}) {
            call.count = 1 + draw.below(60);
            call.multiplicity = multiplicity;
            call.hasLeftValidity = call.hasRightValidity = false;
            EXPECT_EQ(
                differenceFromNaive(flatBuild, call, layOutApart(call, draw.below(8), 1, draw)),
                "");
        }
    });
}

TEST(FlatComparisons, EqualANaiveLoopForEveryPairOfSpecialValues) {
    Draw draw(13);
    forEveryFlatComparison([&](ComparisonCall call) {
        const std::vector<std::uint64_t>& lefts = specialBits(call.kinds.left);
        const std::vector<std::uint64_t>& rights = specialBits(call.kinds.right);
        call.count = static_cast<std::int32_t>(lefts.size() * rights.size());
        LaneMemory memory = layOutApart(call, 0, 50, draw);
        std::int64_t lane = 0;
        for (const std::uint64_t left : lefts)
            for (const std::uint64_t right : rights) {
                memory.store(call.kinds.left, call.places.left, lane, left);
                memory.store(call.kinds.right, call.places.right, lane, right);
                ++lane;
            }
        EXPECT_EQ(differenceFromNaive(flatBuild, call, memory), "");
    });
}

TEST(FlatComparisons, MayOverwriteValidityWithTheResult) {
    Draw draw(14);
    forEveryFlatComparison([&](ComparisonCall call) {
        for (const bool overwritesLeft : {false, true})
            for (const int count : {1, 15, 16, 33, 64, 100, 1000}) {
                call.count = count;
                LaneMemory memory = layOutApart(call, draw.below(8), 1 + draw.below(9), draw);
                call.places.result =
                    overwritesLeft ? call.places.leftValidity : call.places.rightValidity;
                EXPECT_EQ(differenceFromNaive(flatBuild, call, memory), "");
            }
    });
}

TEST(FlatComparisons, MayCompareARegisterWithItself) {
    Draw draw(15);
    forEveryFlatComparison([&](ComparisonCall call) {
        if (call.kinds.left != call.kinds.right)
            return;
        call.count = 1 + draw.below(200);
        LaneMemory memory = layOutApart(call, draw.below(8), 1 + draw.below(9), draw);
        call.places.right = call.places.left;
        call.places.rightValidity = call.places.leftValidity;
        EXPECT_EQ(differenceFromNaive(flatBuild, call, memory), "");
    });
}

TEST(FlatComparisons, TouchNothingBeyondTheirAreas) {
    Draw draw(16);
    forEveryFlatComparison([&](const ComparisonCall& call) {
        for (const Fence fence : {Fence::Before, Fence::After})
            for (int turn = 0; turn < 20; ++turn) {
                const int count = draw.below(131);
                const auto elements = static_cast<std::size_t>(count);
                const auto bytesOf = [=](CpuElementKind kind) {
                    return elements * static_cast<std::size_t>(elementSize(kind));
                };
                const FencedArea result(elements, fence);
                const FencedArea left(bytesOf(call.kinds.left), fence);
                const FencedArea right(bytesOf(call.kinds.right), fence);
                const FencedArea leftValidity(elements, fence);
                const FencedArea rightValidity(elements, fence);
                drawAnyValidity(leftValidity.data(), count, draw);
                drawAnyValidity(rightValidity.data(), count, draw);
                EXPECT_TRUE(runFlat(
                    call.kinds,
                    {result.data(), left.data(), draw.below(5) != 0 ? leftValidity.data() : nullptr,
                     right.data(), draw.below(5) != 0 ? rightValidity.data() : nullptr, count, 1,
                     false, static_cast<std::uint32_t>(call.predicate)}));
            }
    });
}

} // namespace
} // namespace Fenlet
