// Areas that overlap, so that the kernel reads lanes that it writes.
#include "naive_boolean.h"

#include <cstdlib>

namespace Fenlet {
namespace {

constexpr std::size_t BooleanPlaces::*everyOtherPlace[] = {
    &BooleanPlaces::left, &BooleanPlaces::right, &BooleanPlaces::leftValidity,
    &BooleanPlaces::resultValidity};

/// Places `moving` at `distance` bytes from `fixed` and the other areas elsewhere. Then fills the
/// areas that are read, validity last.
LaneMemory layOutPair(BooleanCall& call, std::size_t BooleanPlaces::*fixed,
                      std::size_t BooleanPlaces::*moving, int distance, Draw& draw) {
    const std::size_t room = static_cast<std::size_t>(call.lanes() + std::abs(distance)) + 64;
    call.places = {room, 3 * room, 5 * room, 7 * room, 9 * room};
    call.places.*moving =
        static_cast<std::size_t>(static_cast<std::int64_t>(call.places.*fixed) + distance);
    LaneMemory memory(11 * room);
    drawTribools(memory.at(call.places.left), call.lanes(), draw);
    drawTribools(memory.at(call.places.right), call.lanes(), draw);
    drawValidity(memory.at(call.places.leftValidity), call.count, draw);
    return memory;
}

void expectLaneOrder(const BooleanCall& call, const LaneMemory& memory) {
    for (const BooleanBuild& build : everyBooleanBuild())
        EXPECT_EQ(differenceFromNaive(build, call, memory), "");
}

TEST(BooleanOverlap, OfResultAndAnythingElseGivesWhatLaneOrderGives) {
    Draw draw(1);
    for (const BooleanOp op : everyBooleanOp)
        for (auto other : everyOtherPlace)
            for (int distance = -72; distance <= 72; ++distance)
                for (const int multiplicity : {1, 2, 3, 4, 7}) {
                    BooleanCall call{op, 1 + draw.below(100), multiplicity, draw.below(6) != 0, {}};
                    expectLaneOrder(
                        call, layOutPair(call, other, &BooleanPlaces::result, distance, draw));
                }
}

// The kernel writes the result's validity after it has read everything.
TEST(BooleanOverlap, OfResultValidityAndAnythingElseGivesWhatLaneOrderGives) {
    Draw draw(2);
    for (auto other : {&BooleanPlaces::left, &BooleanPlaces::leftValidity, &BooleanPlaces::result})
        for (int distance = -72; distance <= 72; ++distance)
            for (const int multiplicity : {1, 2, 3, 4, 7}) {
                BooleanCall call{
                    BooleanOp::IsTrue, 1 + draw.below(100), multiplicity, draw.below(6) != 0, {}};
                expectLaneOrder(
                    call, layOutPair(call, other, &BooleanPlaces::resultValidity, distance, draw));
            }
}

TEST(BooleanOverlap, ManyLanesAwayGivesWhatLaneOrderGives) {
    Draw draw(3);
    for (const BooleanOp op : everyBooleanOp)
        for (auto other : everyOtherPlace)
            for (const int distance : {-1500, -1030, -1024, -513, -511, 300, 512, 1023, 1400})
                for (const int multiplicity : {1, 2, 3, 4, 600}) {
                    const int count = (1550 + draw.below(9)) / multiplicity;
                    BooleanCall call{op, count, multiplicity, draw.below(6) != 0, {}};
                    expectLaneOrder(
                        call, layOutPair(call, other, &BooleanPlaces::result, distance, draw));
                }
}

TEST(BooleanOverlap, OfAllAreasInAnyWayGivesWhatLaneOrderGives) {
    Draw draw(4);
    for (const BooleanOp op : everyBooleanOp)
        for (int turn = 0; turn < 2000; ++turn) {
            BooleanCall call{op, 1 + draw.below(60), 1 + draw.below(5), draw.below(6) != 0, {}};
            LaneMemory memory(800);
            drawTribools(memory.at(0), 800, draw);
            // In programs, areas often begin at the same place. At random they would rarely do so.
            std::size_t start = 0;
            for (auto place : {&BooleanPlaces::result, &BooleanPlaces::left, &BooleanPlaces::right,
                               &BooleanPlaces::leftValidity, &BooleanPlaces::resultValidity}) {
                if (draw.below(3) != 0)
                    start = static_cast<std::size_t>(draw.below(450));
                call.places.*place = start;
            }
            expectLaneOrder(call, memory);
        }
}

// The result is the same register as one operand, or as both.
TEST(BooleanOverlap, OfEqualAreasGivesWhatAreasApartGive) {
    Draw draw(5);
    for (const BooleanOp op : everyBooleanOp)
        for (const int sameAs : {1, 2, 3})
            for (const int count : {1, 2, 17, 64, 171, 200, 513, 1100})
                for (const int multiplicity : {1, 2, 3, 40}) {
                    BooleanCall call{op, count, multiplicity, true, {}};
                    const LaneMemory apart = layOutApart(call, draw.below(8), draw);
                    BooleanCall shared = call;
                    LaneMemory same = apart;
                    const auto lanes = static_cast<std::size_t>(call.lanes());
                    if ((sameAs & 2) != 0) {
                        shared.places.right = call.places.left;
                        std::copy_n(same.at(call.places.left), lanes, same.at(call.places.right));
                    }
                    LaneMemory expected = same;
                    runNaively(call, expected);
                    if ((sameAs & 1) != 0) {
                        shared.places.result = shared.places.left;
                        shared.places.resultValidity = shared.places.leftValidity;
                    }
                    for (const BooleanBuild& build : everyBooleanBuild()) {
                        LaneMemory actual = same;
                        build.run(shared, actual);
                        EXPECT_EQ(std::memcmp(actual.at(shared.places.result),
                                              expected.at(call.places.result), lanes),
                                  0)
                            << shared.name() << ", by " << build.name;
                    }
                    expectLaneOrder(shared, same);
                }
}

} // namespace
} // namespace Fenlet
