// Areas that overlap, so that the kernel reads bytes that it writes, or writes bytes twice.
#include "naive_select.h"

#include <cstdlib>

namespace Fenlet {
namespace {

constexpr std::size_t SelectPlaces::*everyOtherPlace[] = {
    &SelectPlaces::condition, &SelectPlaces::whenTrue,          &SelectPlaces::whenTrueValidity,
    &SelectPlaces::whenFalse, &SelectPlaces::whenFalseValidity, &SelectPlaces::resultValidity};

/// Places `moving` at `distance` bytes from `fixed` and the other areas elsewhere. Then fills the
/// areas that are read.
LaneMemory layOutPair(SelectCall& call, std::size_t SelectPlaces::*fixed,
                      std::size_t SelectPlaces::*moving, int distance, Draw& draw) {
    const std::size_t room = static_cast<std::size_t>(call.lanes() * 8 + std::abs(distance)) + 64;
    call.places = {room, 3 * room, 5 * room, 7 * room, 9 * room, 11 * room, 13 * room};
    call.places.*moving =
        static_cast<std::size_t>(static_cast<std::int64_t>(call.places.*fixed) + distance);
    LaneMemory memory(15 * room);
    drawLanes(memory.at(call.places.whenTrue), call.kinds.whenTrue, call.lanes(), draw);
    drawLanes(memory.at(call.places.whenFalse), call.kinds.whenFalse, call.lanes(), draw);
    drawValidity(memory.at(call.places.whenTrueValidity), call.count, draw);
    drawValidity(memory.at(call.places.whenFalseValidity), call.count, draw);
    drawConditions(memory.at(call.places.condition), call.conditions(), 1 + draw.below(30), draw);
    return memory;
}

SelectCall drawCall(const SelectKinds& kinds, int mostLanes, Draw& draw) {
    const int multiplicity = 1 + draw.below(5);
    const int count = 1 + draw.below(mostLanes / multiplicity);
    return {kinds,
            count,
            multiplicity,
            draw.below(2) == 0 ? 1 : multiplicity,
            draw.below(6) != 0,
            draw.below(6) != 0,
            {}};
}

TEST(SelectOverlap, OfResultAndAnythingElseGivesWhatLaneOrderGives) {
    Draw draw(1);
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (auto other : everyOtherPlace)
            for (int distance = -72; distance <= 72; distance += 1 + draw.below(3)) {
                SelectCall call = drawCall(kinds, 100, draw);
                const LaneMemory memory =
                    layOutPair(call, other, &SelectPlaces::result, distance, draw);
                EXPECT_EQ(differenceFromNaive(everySelectBuild()[0], call, memory), "");
            }
    });
}

TEST(SelectOverlap, OfResultValidityAndAnythingElseGivesWhatLaneOrderGives) {
    Draw draw(2);
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (auto other : everyOtherPlace)
            for (int distance = -72; distance <= 72; distance += 1 + draw.below(5)) {
                SelectCall call = drawCall(kinds, 100, draw);
                if (other == &SelectPlaces::resultValidity)
                    other = &SelectPlaces::result;
                const LaneMemory memory =
                    layOutPair(call, other, &SelectPlaces::resultValidity, distance, draw);
                EXPECT_EQ(differenceFromNaive(everySelectBuild()[0], call, memory), "");
            }
    });
}

TEST(SelectOverlap, ManyLanesAwayGivesWhatLaneOrderGives) {
    Draw draw(3);
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (auto other : everyOtherPlace)
            for (const int distance : {-4800, -2048, -1030, -513, 511, 1024, 2047, 4800}) {
                SelectCall call = drawCall(kinds, 600, draw);
                const LaneMemory memory =
                    layOutPair(call, other, &SelectPlaces::result, distance, draw);
                EXPECT_EQ(differenceFromNaive(everySelectBuild()[0], call, memory), "");
            }
    });
}

TEST(SelectOverlap, OfAllAreasInAnyWayGivesWhatLaneOrderGives) {
    Draw draw(4);
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (int turn = 0; turn < 150; ++turn) {
            SelectCall call = drawCall(kinds, 60, draw);
            LaneMemory memory(1400);
            drawConditions(memory.at(0), 1400, 1 + draw.below(20), draw);
            // In programs, areas often begin at the same place. At random they would rarely do so.
            std::size_t start = 0;
            for (auto place :
                 {&SelectPlaces::result, &SelectPlaces::whenTrue, &SelectPlaces::whenFalse,
                  &SelectPlaces::condition, &SelectPlaces::resultValidity,
                  &SelectPlaces::whenTrueValidity, &SelectPlaces::whenFalseValidity}) {
                if (draw.below(3) != 0)
                    start = static_cast<std::size_t>(draw.below(600));
                call.places.*place = start;
            }
            for (const SelectBuild& build : everySelectBuild())
                EXPECT_EQ(differenceFromNaive(build, call, memory), "");
        }
    });
}

// Elements of more components than a tile has lanes. The result overlaps lanes of an arm or of the
// condition that the kernel still needs for later components.
TEST(SelectOverlap, WithinLongElementsGivesWhatLaneOrderGives) {
    Draw draw(5);
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (auto other : everyOtherPlace)
            for (const int distance : {-8, 0, 1, 4, 16, 300}) {
                SelectCall call{
                    kinds, 1 + draw.below(2), 540, draw.below(2) == 0 ? 1 : 540, true, true, {}};
                const LaneMemory memory =
                    layOutPair(call, other, &SelectPlaces::result, distance, draw);
                EXPECT_EQ(differenceFromNaive(everySelectBuild()[0], call, memory), "");
            }
    });
}

// The result is the same register as one arm, as both arms, or as the condition.
TEST(SelectOverlap, OfEqualAreasGivesWhatLaneOrderGives) {
    Draw draw(6);
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (const int equal : {1, 2, 3, 4, 5, 6, 7})
            for (const int mostLanes : {40, 100, 700}) {
                SelectCall call = drawCall(kinds, mostLanes, draw);
                LaneMemory memory =
                    layOutPair(call, &SelectPlaces::result, &SelectPlaces::result, 0, draw);
                SelectPlaces& places = call.places;
                if ((equal & 1) != 0) {
                    places.whenTrue = places.result;
                    places.whenTrueValidity = places.resultValidity;
                }
                if ((equal & 2) != 0) {
                    places.whenFalse = places.result;
                    places.whenFalseValidity = places.resultValidity;
                }
                if ((equal & 4) != 0)
                    places.condition = places.result;
                drawLanes(memory.at(places.result), kinds.result, call.lanes(), draw);
                drawValidity(memory.at(places.resultValidity), call.count, draw);
                for (const SelectBuild& build : everySelectBuild())
                    EXPECT_EQ(differenceFromNaive(build, call, memory), "");
            }
    });
}

// The result's truth values, or its validity bytes, are written over the conditions.
TEST(SelectOverlap, InPlaceOfTheConditionsGivesWhatLaneOrderGives) {
    Draw draw(7);
    constexpr CpuElementKind truth = CpuElementKind::Tribool;
    for (const int count : {1, 63, 64, 65, 130, 640, 1200})
        for (auto place : {&SelectPlaces::result, &SelectPlaces::resultValidity})
            for (int flags = 0; flags < 4; ++flags) {
                SelectCall call{{truth, truth, truth}, count, 1, 1, (flags & 1) != 0,
                                (flags & 2) != 0,      {}};
                const LaneMemory memory =
                    layOutPair(call, &SelectPlaces::condition, place, 0, draw);
                for (const SelectBuild& build : everySelectBuild())
                    EXPECT_EQ(differenceFromNaive(build, call, memory), "");
            }
}

} // namespace
} // namespace Fenlet
