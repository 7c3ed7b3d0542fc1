// Every kernel, over lanes of all sorts. Areas do not overlap.
#include "naive_select.h"

#include <iterator>

namespace Fenlet {
namespace {

constexpr int everyRunLength[] = {1, 3, 20, 100, 1000};

/// A case of a sweep. Neighbouring cases differ in everything except kinds and multiplicity.
struct Case {
    SelectCall call;
    int misalignment;
    int runLength;
};

Case caseOf(int number, const SelectKinds& kinds, int count, int multiplicity) {
    const bool matched = number % 2 == 1;
    return {{kinds,
             count,
             multiplicity,
             matched ? multiplicity : 1,
             number % 7 != 3,
             number % 5 != 2,
             {}},
            number % 8,
            everyRunLength[static_cast<std::size_t>(number / 2) % std::size(everyRunLength)]};
}

TEST(SelectLanes, EqualANaiveLoopInEveryKernelAndMultiplicity) {
    Draw draw(1);
    int number = 0;
    for (const int multiplicity : everyMultiplicity)
        for (int turn = 0; turn < 10; ++turn)
            forEverySelectKernel([&](const SelectKinds& kinds) {
                // Together the cases cover all lengths.
                const int longest = multiplicity > 100 ? 3 : multiplicity > 10 ? 20 : 200;
                Case one = caseOf(number, kinds, 1 + number * 37 % longest, multiplicity);
                const LaneMemory memory =
                    layOutApart(one.call, one.misalignment, one.runLength, draw);
                EXPECT_EQ(differenceFromNaive(everySelectBuild()[0], one.call, memory), "");
                ++number;
            });
}

TEST(SelectLanes, EqualANaiveLoopAcrossTheBoundariesBetweenTiles) {
    Draw draw(2);
    int number = 0;
    for (const int multiplicity : {1, 2, 3, 4, 5, 8, 20, 33, 40})
        for (int turn = 0; turn < 4; ++turn)
            forEverySelectKernel([&](const SelectKinds& kinds) {
                Case one = caseOf(number, kinds, 1 + number % 23, multiplicity);
                const LaneMemory memory =
                    layOutApart(one.call, one.misalignment, one.runLength, draw);
                for (const SelectBuild& build : everySelectBuild())
                    EXPECT_EQ(differenceFromNaive(build, one.call, memory), "");
                ++number;
            });
}

TEST(SelectLanes, EqualANaiveLoopAroundTheLengthOfATile) {
    Draw draw(3);
    constexpr int sizes[][2] = {{511, 1}, {512, 1}, {513, 1},  {1100, 1}, {171, 3}, {342, 3},
                                {257, 2}, {129, 4}, {103, 10}, {33, 16},  {17, 32}, {17, 33},
                                {2, 511}, {2, 512}, {2, 513},  {1, 1030}};
    int number = 0;
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (int turn = 0; turn < 8; ++turn) {
            const auto& size = sizes[static_cast<std::size_t>(number * 5) % std::size(sizes)];
            Case one = caseOf(number, kinds, size[0], size[1]);
            EXPECT_EQ(
                differenceFromNaive(everySelectBuild()[0], one.call,
                                    layOutApart(one.call, one.misalignment, one.runLength, draw)),
                "");
            ++number;
        }
    });
}

// A caller of the kernels may pass conditions with any stride, larger or smaller than needed.
TEST(SelectLanes, EqualANaiveLoopWithConditionsOfAnotherStride) {
    Draw draw(4);
    int number = 0;
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (const int conditionMultiplicity : {2, 3, 5, 9, 0})
            for (const int multiplicity : {1, 2, 4, 40}) {
                Case one = caseOf(number, kinds, 1 + number % 30, multiplicity);
                one.call.conditionMultiplicity = conditionMultiplicity;
                const LaneMemory memory =
                    layOutApart(one.call, one.misalignment, one.runLength, draw);
                EXPECT_EQ(differenceFromNaive(everySelectBuild()[0], one.call, memory), "");
                ++number;
            }
    });
}

} // namespace
} // namespace Fenlet
