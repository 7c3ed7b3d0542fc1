// Areas that overlap, so that the kernel reads lanes that it writes.
#include "naive_unary.h"

namespace Fenlet {
namespace {

/// Counts the cases of a sweep, and those that it could not compare. These must be few.
class Sweep {
  public:
    void hold(const UnaryBuild& build, const UnaryCall& call, const LaneMemory& memory) {
        const UnaryVerdict verdict = holdAgainstNaive(build, call, memory);
        ++cases;
        ambiguous += verdict.isAmbiguous;
        EXPECT_EQ(verdict.difference, "");
    }
    ~Sweep() {
        EXPECT_GT(cases, 1000);
        EXPECT_LT(ambiguous, cases / 10);
    }
    Sweep() = default;
    Sweep(const Sweep&) = delete;
    Sweep& operator=(const Sweep&) = delete;

  private:
    int cases = 0;
    int ambiguous = 0;
};

/// Places the result at `distance` bytes from the operand. Fills both with lanes of the operand's
/// kind.
LaneMemory layOutPair(UnaryCall& call, int distance, Draw& draw) {
    call.operand = 6000;
    call.result = static_cast<std::size_t>(6000 + distance);
    LaneMemory memory(18000);
    drawLanes(memory.at(call.operand), call.kinds.operand, call.operandLanes(), draw);
    return memory;
}

TEST(UnaryOverlap, GivesWhatLaneOrderGives) {
    Sweep sweep;
    Draw draw(1);
    int number = 0;
    forEveryUnaryKernel([&](UnaryCall call) {
        for (int distance = -72; distance <= 72; ++distance)
            for (const int multiplicity : {1, 2, 3, 4, 7}) {
                call.multiplicity = multiplicity;
                call.count = 1 + number * 7 % 61;
                const LaneMemory memory = layOutPair(call, distance, draw);
                sweep.hold(everyUnaryBuild()[0], call, memory);
                if (number % 5 == 0)
                    for (const UnaryBuild& build : everyUnaryBuild())
                        sweep.hold(build, call, memory);
                ++number;
            }
    });
}

// The counts include the number of bytes of one element.
TEST(UnaryOverlap, FromOnePlaceGivesWhatLaneOrderGivesForEveryCount) {
    Sweep sweep;
    Draw draw(4);
    forEveryUnaryKernel([&](UnaryCall call) {
        for (const int multiplicity : {1, 2, 3})
            for (call.count = 1; call.count <= 24; ++call.count) {
                call.multiplicity = multiplicity;
                sweep.hold(everyUnaryBuild()[0], call, layOutPair(call, 0, draw));
            }
    });
}

TEST(UnaryOverlap, ManyLanesAwayGivesWhatLaneOrderGives) {
    Sweep sweep;
    Draw draw(2);
    forEveryUnaryKernel([&](UnaryCall call) {
        for (const int distance :
             {-4800, -4096, -2049, -2048, -1030, -513, 511, 1024, 2047, 2400, 4090, 4800})
            for (const int multiplicity : {1, 2, 3, 4}) {
                call.multiplicity = multiplicity;
                call.count = (600 + draw.below(7)) / multiplicity;
                sweep.hold(everyUnaryBuild()[0], call, layOutPair(call, distance, draw));
            }
    });
}

// Elements with more components than a tile has lanes. The length of an element is written among
// its components.
TEST(UnaryOverlap, WithinLongElementsGivesWhatLaneOrderGives) {
    Sweep sweep;
    Draw draw(3);
    forEveryUnaryKernel([&](UnaryCall call) {
        for (const int distance : {-8, -1, 0, 1, 4, 8, 40, 600, 1201})
            for (const int multiplicity : {8, 20, 600}) {
                call.multiplicity = multiplicity;
                call.count = 1 + draw.below(multiplicity > 100 ? 2 : 8);
                const LaneMemory memory = layOutPair(call, distance, draw);
                for (const UnaryBuild& build : everyUnaryBuild())
                    sweep.hold(build, call, memory);
            }
    });
}

} // namespace
} // namespace Fenlet
