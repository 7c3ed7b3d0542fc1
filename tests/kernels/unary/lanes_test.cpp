// Every kernel, over lanes of all sorts. Areas do not overlap.
#include "naive_unary.h"

#include <iterator>

namespace Fenlet {
namespace {

TEST(UnaryLanes, EqualANaiveLoopInEveryKernelAndMultiplicity) {
    Draw draw(1);
    int number = 0;
    for (const int multiplicity : everyMultiplicity)
        for (int turn = 0; turn < 8; ++turn)
            forEveryUnaryKernel([&](UnaryCall call) {
                // Neighbouring cases differ in length. Together the cases cover all lengths.
                const int longest = multiplicity > 100 ? 3 : multiplicity > 10 ? 40 : 200;
                call.count = 1 + number * 37 % longest;
                call.multiplicity = multiplicity;
                const LaneMemory memory = layOutApart(call, number % 8, draw);
                expectNaiveLanes(everyUnaryBuild()[0], call, memory);
                ++number;
            });
}

TEST(UnaryLanes, EqualANaiveLoopAcrossTheBoundariesBetweenTiles) {
    Draw draw(2);
    int number = 0;
    forEveryUnaryKernel([&](UnaryCall call) {
        for (const int multiplicity : {1, 2, 3, 5, 8, 20})
            for (int turn = 0; turn < 6; ++turn) {
                call.count = 1 + number % 23;
                call.multiplicity = multiplicity;
                const LaneMemory memory = layOutApart(call, number % 8, draw);
                for (const UnaryBuild& build : everyUnaryBuild())
                    expectNaiveLanes(build, call, memory);
                ++number;
            }
    });
}

TEST(UnaryLanes, EqualANaiveLoopAroundTheLengthOfATile) {
    Draw draw(3);
    int number = 0;
    constexpr int sizes[][2] = {{511, 1}, {512, 1}, {513, 1}, {1025, 1}, {171, 3}, {342, 3},
                                {2, 511}, {2, 512}, {2, 513}, {1, 1030}, {257, 2}, {103, 10},
                                {129, 4}, {5, 128}, {9, 170}, {4, 1537}};
    for (const auto& size : sizes)
        forEveryUnaryKernel([&](UnaryCall call) {
            call.count = size[0];
            call.multiplicity = size[1];
            expectNaiveLanes(everyUnaryBuild()[0], call, layOutApart(call, number % 8, draw));
            ++number;
        });
}

// The sum of these components depends on their order: each partial sum rounds, and the small
// components come last.
TEST(Length, AddsUpInTheOrderOfTheComponents) {
    for (const std::int32_t multiplicity : {2, 3, 4, 5, 9, 40, 600})
        forEveryUnaryKernel([&](UnaryCall call) {
            if (call.op != UnaryOp::Length || call.kinds.operand != CpuElementKind::Float64)
                return;
            Draw draw(4);
            call.count = 37;
            call.multiplicity = multiplicity;
            LaneMemory memory = layOutApart(call, 3, draw);
            for (std::int64_t lane = 0; lane < call.operandLanes(); ++lane) {
                const double value =
                    (lane % multiplicity == 0 ? 40.0 : 0.25) + draw.below(1000) / 512.0;
                std::memcpy(memory.at(call.operand) + lane * 8, &value, sizeof value);
            }
            for (const UnaryBuild& build : everyUnaryBuild())
                expectNaiveLanes(build, call, memory);
        });
}

} // namespace
} // namespace Fenlet
