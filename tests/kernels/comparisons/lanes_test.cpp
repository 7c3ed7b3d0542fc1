// Every kernel, over lanes of all sorts. Areas do not overlap.
#include "naive_comparisons.h"

#include <iterator>

namespace Fenlet {
namespace {

constexpr int everyRunLength[] = {1, 3, 20, 100, 1000};

/// Lays out the areas of the call apart from each other, with or without validity.
LaneMemory layOutCase(ComparisonCall& call, Draw& draw) {
    call.hasLeftValidity = draw.below(5) != 0;
    call.hasRightValidity = draw.below(5) != 0;
    const int runLength = everyRunLength[draw.next() % std::size(everyRunLength)];
    return layOutApart(call, draw.below(8), runLength, draw);
}

TEST(ComparisonLanes, EqualANaiveLoopInEveryKernelAndMultiplicity) {
    Draw draw(1);
    int number = 0;
    for (const int multiplicity : everyMultiplicity)
        for (int turn = 0; turn < 4; ++turn)
            forEveryComparison([&](ComparisonCall call) {
                // Together the cases cover all lengths.
                const int longest = multiplicity > 100 ? 3 : multiplicity > 10 ? 20 : 200;
                call.count = 1 + number * 37 % longest;
                call.multiplicity = multiplicity;
                const LaneMemory memory = layOutCase(call, draw);
                EXPECT_EQ(differenceFromNaive(everyComparisonBuild()[0], call, memory), "");
                ++number;
            });
}

TEST(ComparisonLanes, EqualANaiveLoopInEveryBlockSize) {
    Draw draw(2);
    for (int count = 1; count <= 200; ++count)
        forEveryComparedPair([&](const ComparisonKinds& kinds) {
            for (const bool rightScalar : {false, true}) {
                const Predicate predicate = everyPredicate[draw.below(6)];
                const int multiplicity = 1 + draw.below(4);
                ComparisonCall call{kinds,        predicate, rightScalar, count,
                                    multiplicity, true,      true,        {}};
                const LaneMemory memory = layOutCase(call, draw);
                EXPECT_EQ(differenceFromNaive(everyComparisonBuild()[0], call, memory), "");
            }
        });
}

TEST(ComparisonLanes, EqualANaiveLoopAcrossTheBoundariesBetweenTiles) {
    Draw draw(3);
    int number = 0;
    for (const int multiplicity : {1, 2, 3, 4, 5, 8, 20})
        for (int turn = 0; turn < 2; ++turn)
            forEveryComparison([&](ComparisonCall call) {
                call.count = 1 + number % 23;
                call.multiplicity = multiplicity;
                const LaneMemory memory = layOutCase(call, draw);
                for (const ComparisonBuild& build : everyComparisonBuild())
                    EXPECT_EQ(differenceFromNaive(build, call, memory), "");
                ++number;
            });
}

TEST(ComparisonLanes, EqualANaiveLoopAroundTheLengthOfATile) {
    Draw draw(4);
    constexpr int sizes[][2] = {{511, 1}, {512, 1}, {513, 1},  {1100, 1}, {171, 3}, {342, 3},
                                {257, 2}, {129, 4}, {103, 10}, {33, 16},  {17, 32}, {17, 33},
                                {2, 511}, {2, 512}, {2, 513},  {1, 1030}, {4, 700}};
    int number = 0;
    forEveryComparison([&](ComparisonCall call) {
        for (int turn = 0; turn < 4; ++turn) {
            const auto& size = sizes[static_cast<std::size_t>(number * 5) % std::size(sizes)];
            call.count = size[0];
            call.multiplicity = size[1];
            EXPECT_EQ(differenceFromNaive(everyComparisonBuild()[0], call, layOutCase(call, draw)),
                      "");
            ++number;
        }
    });
}

// Compares each special value with every other one, in every pair of kinds.
TEST(ComparisonLanes, EqualANaiveLoopForEveryPairOfSpecialValues) {
    forEveryComparedPair([&](const ComparisonKinds& kinds) {
        const std::vector<std::uint64_t>& lefts = specialBits(kinds.left);
        const std::vector<std::uint64_t>& rights = specialBits(kinds.right);
        const auto count = static_cast<std::int32_t>(lefts.size() * rights.size());
        ComparisonCall call{kinds, Predicate::Less, false, count, 1, false, false, {}};
        Draw draw(5);
        LaneMemory memory = layOutApart(call, 0, 1, draw);
        std::int64_t lane = 0;
        for (const std::uint64_t left : lefts)
            for (const std::uint64_t right : rights) {
                memory.store(kinds.left, call.places.left, lane, left);
                memory.store(kinds.right, call.places.right, lane, right);
                ++lane;
            }
        for (const Predicate predicate : everyPredicate) {
            call.predicate = predicate;
            EXPECT_EQ(differenceFromNaive(everyComparisonBuild()[0], call, memory), "");
        }
    });
}

// The values of invalid elements have no effect.
TEST(ComparisonLanes, AreUnknownInEveryComponentOfAnInvalidElementWhateverItHolds) {
    Draw draw(6);
    forEveryComparison([&](ComparisonCall call) {
        call.count = 50;
        call.multiplicity = 1 + draw.below(5);
        const bool leftInvalid = draw.below(2) == 0;
        LaneMemory memory = layOutApart(call, 0, 1, draw);
        std::fill_n(memory.at(leftInvalid ? call.places.leftValidity : call.places.rightValidity),
                    50, static_cast<unsigned char>(0));
        for (const ComparisonBuild& build : everyComparisonBuild()) {
            LaneMemory actual = memory;
            EXPECT_TRUE(build.run(call.kinds, call.argsIn(actual)));
            const unsigned char* const result = actual.at(call.places.result);
            EXPECT_EQ(std::count(result, result + call.lanes(), 255), call.lanes());
        }
    });
}

} // namespace
} // namespace Fenlet
