// Every kernel, over lanes of all sorts. Areas do not overlap.
#include "naive_boolean.h"

namespace Fenlet {
namespace {

TEST(BooleanLanes, EqualANaiveLoopInEveryMultiplicityAndBlockSize) {
    Draw draw(1);
    int number = 0;
    for (const int multiplicity : everyMultiplicity)
        for (int count = 1; count <= (multiplicity > 100 ? 6 : 200); ++count)
            for (const BooleanOp op : everyBooleanOp) {
                BooleanCall call{op, count, multiplicity, number % 5 != 2, {}};
                const LaneMemory memory = layOutApart(call, number % 8, draw);
                EXPECT_EQ(differenceFromNaive(everyBooleanBuild()[0], call, memory), "");
                ++number;
            }
}

TEST(BooleanLanes, EqualANaiveLoopAcrossTheBoundariesBetweenTiles) {
    Draw draw(2);
    int number = 0;
    for (const int multiplicity : {1, 2, 3, 4, 5, 6, 7, 8, 9, 20})
        for (int count = 1; count <= 25; ++count)
            for (const BooleanOp op : everyBooleanOp)
                for (const bool hasValidity : {false, true}) {
                    BooleanCall call{op, count, multiplicity, hasValidity, {}};
                    const LaneMemory memory = layOutApart(call, number % 8, draw);
                    for (const BooleanBuild& build : everyBooleanBuild())
                        EXPECT_EQ(differenceFromNaive(build, call, memory), "");
                    ++number;
                }
}

TEST(BooleanLanes, EqualANaiveLoopAroundTheLengthOfATile) {
    Draw draw(3);
    int number = 0;
    constexpr int sizes[][2] = {{511, 1}, {512, 1}, {513, 1}, {1025, 1}, {171, 3}, {342, 3},
                                {2, 511}, {2, 512}, {2, 513}, {1, 1030}, {257, 2}, {103, 10},
                                {129, 4}, {5, 128}, {9, 170}, {4, 1537}};
    for (const auto& size : sizes)
        for (const BooleanOp op : everyBooleanOp)
            for (int turn = 0; turn < 4; ++turn) {
                BooleanCall call{op, size[0], size[1], turn != 0, {}};
                const LaneMemory memory = layOutApart(call, number % 8, draw);
                EXPECT_EQ(differenceFromNaive(everyBooleanBuild()[0], call, memory), "");
                ++number;
            }
}

} // namespace
} // namespace Fenlet
