// Areas that overlap, so that the kernel reads bytes that it writes.
#include "naive_comparisons.h"

#include <cstdlib>

namespace Fenlet {
namespace {

constexpr CpuElementKind tribool = CpuElementKind::Tribool;
constexpr std::size_t ComparisonPlaces::*everyOtherPlace[] = {
    &ComparisonPlaces::left, &ComparisonPlaces::leftValidity, &ComparisonPlaces::right,
    &ComparisonPlaces::rightValidity};

/// Places the result at `distance` bytes from `other` and the other areas elsewhere. Then fills the
/// areas that are read.
LaneMemory layOutPair(ComparisonCall& call, std::size_t ComparisonPlaces::*other, int distance,
                      Draw& draw) {
    ComparisonPlaces& places = call.places;
    AreaRow areas(draw.below(8));
    const auto place = [&](std::size_t ComparisonPlaces::*area, CpuElementKind kind,
                           std::int64_t lanes) {
        const std::int64_t reach = area == other ? call.lanes() + std::abs(distance) : 0;
        areas.place(tribool, reach);
        places.*area = areas.place(kind, lanes);
        areas.place(tribool, reach);
    };
    place(&ComparisonPlaces::left, call.kinds.left, call.lanes());
    place(&ComparisonPlaces::right, call.kinds.right, call.rightLanes());
    place(&ComparisonPlaces::leftValidity, tribool, call.count);
    place(&ComparisonPlaces::rightValidity, tribool, call.count);
    places.result = static_cast<std::size_t>(static_cast<std::int64_t>(places.*other) + distance);
    LaneMemory memory = areas.memory();
    const int runLength = 1 + draw.below(30);
    drawOperands(call, memory, draw);
    drawValidityRuns(memory.at(places.leftValidity), call.count, runLength, draw);
    drawValidityRuns(memory.at(places.rightValidity), call.count, runLength, draw);
    return memory;
}

/// Gives the call a random size of at most `mostLanes` lanes, with or without validity.
void drawShape(ComparisonCall& call, int mostLanes, Draw& draw) {
    call.multiplicity = 1 + draw.below(5);
    call.count = 1 + draw.below(mostLanes / call.multiplicity);
    call.hasLeftValidity = draw.below(5) != 0;
    call.hasRightValidity = draw.below(5) != 0;
}

TEST(ComparisonOverlap, OfResultAndAnythingElseGivesWhatLaneOrderGives) {
    Draw draw(1);
    forEveryComparedPair([&](const ComparisonKinds& kinds) {
        for (const bool rightScalar : {false, true})
            for (auto other : everyOtherPlace)
                for (int distance = -72; distance <= 72; ++distance) {
                    ComparisonCall call{
                        kinds, everyPredicate[draw.below(6)], rightScalar, 1, 1, true, true, {}};
                    drawShape(call, 100, draw);
                    const LaneMemory memory = layOutPair(call, other, distance, draw);
                    EXPECT_EQ(differenceFromNaive(everyComparisonBuild()[0], call, memory), "");
                }
    });
}

TEST(ComparisonOverlap, ManyLanesAwayGivesWhatLaneOrderGives) {
    Draw draw(2);
    forEveryComparedPair([&](const ComparisonKinds& kinds) {
        for (const bool rightScalar : {false, true})
            for (auto other : everyOtherPlace)
                for (const int distance : {-1100, -601, -513, -300, 511, 1024, 2047, 4800}) {
                    ComparisonCall call{
                        kinds, everyPredicate[draw.below(6)], rightScalar, 1, 1, true, true, {}};
                    drawShape(call, 50, draw);
                    call.count = (1100 + draw.below(100)) / call.multiplicity;
                    const LaneMemory memory = layOutPair(call, other, distance, draw);
                    EXPECT_EQ(differenceFromNaive(everyComparisonBuild()[0], call, memory), "");
                }
    });
}

TEST(ComparisonOverlap, OfAllAreasInAnyWayGivesWhatLaneOrderGives) {
    Draw draw(3);
    forEveryComparison([&](ComparisonCall call) {
        for (int turn = 0; turn < 12; ++turn) {
            drawShape(call, 60, draw);
            LaneMemory memory(1100);
            const CpuElementKind kind = draw.below(2) == 0 ? call.kinds.left : call.kinds.right;
            drawLanes(memory.at(0), kind, 1100 / elementSize(kind), draw);
            if (draw.below(2) == 0)
                drawValidityRuns(memory.at(0), 1100, 1 + draw.below(20), draw);
            // In programs, areas often begin at the same place. At random they would rarely do so.
            std::size_t start = 0;
            for (auto place :
                 {&ComparisonPlaces::result, &ComparisonPlaces::left, &ComparisonPlaces::right,
                  &ComparisonPlaces::leftValidity, &ComparisonPlaces::rightValidity}) {
                if (draw.below(3) != 0)
                    start = static_cast<std::size_t>(draw.below(600));
                call.places.*place = start;
            }
            for (const ComparisonBuild& build : everyComparisonBuild())
                EXPECT_EQ(differenceFromNaive(build, call, memory), "");
        }
    });
}

// Elements of more components than a tile has lanes. The result overlaps a scalar or a validity
// byte that the kernel still needs for later components.
TEST(ComparisonOverlap, WithinLongElementsGivesWhatLaneOrderGives) {
    Draw draw(4);
    forEveryComparedPair([&](const ComparisonKinds& kinds) {
        for (const bool rightScalar : {false, true})
            for (auto other : everyOtherPlace)
                for (const int distance : {-300, -8, -1, 0, 1, 4, 300}) {
                    ComparisonCall call{kinds,
                                        everyPredicate[draw.below(6)],
                                        rightScalar,
                                        1 + draw.below(3),
                                        540,
                                        draw.below(5) != 0,
                                        draw.below(5) != 0,
                                        {}};
                    const LaneMemory memory = layOutPair(call, other, distance, draw);
                    EXPECT_EQ(differenceFromNaive(everyComparisonBuild()[0], call, memory), "");
                }
    });
}

// The same register on both sides, and a result that begins at the same place as one operand or as
// both.
TEST(ComparisonOverlap, OfEqualAreasGivesWhatLaneOrderGives) {
    Draw draw(5);
    forEveryComparison([&](ComparisonCall call) {
        for (const int equal : {1, 2, 3, 4, 5, 6, 7}) {
            drawShape(call, 600, draw);
            LaneMemory memory = layOutApart(call, draw.below(8), 1 + draw.below(30), draw);
            if ((equal & 1) != 0) {
                call.places.right = call.places.left;
                call.places.rightValidity = call.places.leftValidity;
            }
            if ((equal & 2) != 0)
                call.places.result = call.places.left;
            if ((equal & 4) != 0)
                call.places.leftValidity = call.places.result;
            if (call.places.right +
                    static_cast<std::size_t>(call.rightLanes() * elementSize(call.kinds.right)) >
                memory.size())
                continue;
            for (const ComparisonBuild& build : everyComparisonBuild())
                EXPECT_EQ(differenceFromNaive(build, call, memory), "");
        }
    });
}

} // namespace
} // namespace Fenlet
