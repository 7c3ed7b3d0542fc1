// Areas that overlap, so that the kernel writes lanes of one area that are read as lanes of
// another.
#include "kernels/special_values.h"
#include "naive_arithmetic.h"

#include <cstring>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

/// Counts the cases of a sweep, and those that it could not compare. These must be few.
class Sweep {
  public:
    void hold(const ArithmeticBuild& build, const ArithmeticCall& call, const LaneMemory& memory) {
        const ArithmeticVerdict verdict = holdAgainstNaive(build, call, memory);
        ++cases;
        ambiguous += verdict.isAmbiguous;
        EXPECT_EQ(verdict.difference, "");
    }
    ~Sweep() {
        EXPECT_GT(cases, 1000);
        EXPECT_LT(ambiguous, cases / 20);
    }
    Sweep() = default;
    Sweep(const Sweep&) = delete;
    Sweep& operator=(const Sweep&) = delete;

  private:
    int cases = 0;
    int ambiguous = 0;
};

std::size_t bytesOf(CpuElementKind kind, std::int64_t lanes) {
    return static_cast<std::size_t>(elementSize(kind) * lanes);
}

/// Fills all of a memory with lanes of one kind.
void drawEverywhere(LaneMemory& memory, CpuElementKind kind, Draw& draw) {
    drawLanes(memory.at(0), kind, static_cast<std::int64_t>(memory.size()) / elementSize(kind),
              draw);
}

/// Places the areas of `call` apart from each other, except `moving`, which starts `distance` bytes
/// from `fixed`.
LaneMemory layOutPair(ArithmeticCall& call, std::size_t ArithmeticPlaces::*fixed,
                      std::size_t ArithmeticPlaces::*moving, int distance) {
    const std::size_t room = bytesOf(CpuElementKind::Float64, call.lanes()) +
                             static_cast<std::size_t>(std::abs(distance)) + 8;
    call.places = {room, 3 * room, 5 * room, 7 * room};
    call.places.*moving =
        static_cast<std::size_t>(static_cast<std::int64_t>(call.places.*fixed) + distance);
    return LaneMemory(9 * room);
}

void drawOperands(const ArithmeticCall& call, LaneMemory& memory, Draw& draw,
                  DrawBits drawOne = &drawBits) {
    drawLanes(memory.at(call.places.left), call.kinds.left, call.leftLanes(), draw, drawOne);
    drawLanes(memory.at(call.places.right), call.kinds.right, call.rightLanes(), draw, drawOne);
}

TEST(ArithmeticOverlap, OfResultAndOperandGivesWhatLaneOrderGives) {
    Sweep sweep;
    Draw draw(1);
    int number = 0;
    forEveryKernel([&](ArithmeticCall call) {
        for (auto operand : {&ArithmeticPlaces::left, &ArithmeticPlaces::right})
            for (int distance = -72; distance <= 72; ++distance) {
                call.multiplicity = 1 + number % 5;
                call.count = 1 + number % 31 / call.multiplicity;
                LaneMemory memory = layOutPair(call, operand, &ArithmeticPlaces::result, distance);
                drawOperands(call, memory, draw);
                sweep.hold(everyArithmeticBuild()[0], call, memory);
                ++number;
            }
    });
}

// The areas begin about a tile's length apart, or a part of it. The operands are small numbers,
// because a case in which the loop reads back a computed NaN cannot be compared.
TEST(ArithmeticOverlap, ManyLanesAwayGivesWhatLaneOrderGives) {
    Sweep sweep;
    Draw draw(2);
    int number = 0;
    forEveryKernel([&](ArithmeticCall call) {
        for (auto operand : {&ArithmeticPlaces::left, &ArithmeticPlaces::right}) {
            constexpr int distances[] = {-4096, -2049, -2048, -1030, -513, 511, 1024, 2047, 4090};
            const int distance = distances[static_cast<std::size_t>(number) % std::size(distances)];
            call.multiplicity = 1 + number % 4;
            call.count = 600 / call.multiplicity + number % 7;
            LaneMemory memory = layOutPair(call, operand, &ArithmeticPlaces::result, distance);
            drawOperands(call, memory, draw, &drawWholeBits);
            sweep.hold(everyArithmeticBuild()[0], call, memory);
            ++number;
        }
    });
}

// Only integer divisions write validity, so only for these does it matter what the validity
// overlaps.
TEST(ArithmeticOverlap, OfValidityAndAnythingElseGivesWhatLaneOrderGives) {
    Sweep sweep;
    Draw draw(3);
    int number = 0;
    forEveryKernel([&](ArithmeticCall call) {
        for (auto other :
             {&ArithmeticPlaces::left, &ArithmeticPlaces::right, &ArithmeticPlaces::result})
            for (int distance = -72; distance <= 72; distance += call.dividesIntegers() ? 1 : 29) {
                call.multiplicity = 1 + number % 4;
                call.count = 1 + number % 41 / call.multiplicity;
                LaneMemory memory = layOutPair(call, other, &ArithmeticPlaces::validity, distance);
                drawOperands(call, memory, draw);
                sweep.hold(everyArithmeticBuild()[0], call, memory);
                ++number;
            }
    });
}

TEST(ArithmeticOverlap, OfAllAreasInAnyWayGivesWhatLaneOrderGives) {
    Sweep sweep;
    Draw draw(4);
    forEveryKernel([&](ArithmeticCall call) {
        for (int number = 0; number < 60; ++number) {
            call.multiplicity = 1 + draw.below(5);
            call.count = 1 + draw.below(24);
            LaneMemory memory(1400);
            drawEverywhere(memory, number % 2 == 0 ? call.kinds.left : call.kinds.right, draw);
            const auto somewhere = [&draw](bool again, std::size_t other) {
                return again ? other : static_cast<std::size_t>(draw.below(400));
            };
            // In programs, areas often begin at the same place. At random they would rarely do so.
            const int equal = draw.below(6);
            call.places.left = somewhere(false, 0);
            call.places.right = somewhere(equal == 0 || equal == 1, call.places.left);
            call.places.result = somewhere(equal == 1 || equal == 2, call.places.left);
            call.places.validity = somewhere(equal == 3, call.places.result);
            for (const ArithmeticBuild& build : everyArithmeticBuild())
                sweep.hold(build, call, memory);
        }
    });
}

// The result is the same register as one operand, or as both.
TEST(ArithmeticOverlap, OfEqualAreasGivesWhatAreasApartGive) {
    Draw draw(5);
    forEveryKernel([&](const ArithmeticCall& kernel) {
        for (const int sameAs : {1, 2, 3}) {
            const bool leftToo = (sameAs & 1) != 0;
            const bool rightToo = (sameAs & 2) != 0;
            ArithmeticCall call = kernel;
            call.count = 1 + draw.below(700);
            const bool fits = (!leftToo || call.kinds.left == call.kinds.result) &&
                              (!rightToo || call.kinds.right == call.kinds.result) &&
                              !(call.shape == ArithmeticShape::LeftScalar && leftToo) &&
                              !(call.shape == ArithmeticShape::RightScalar && rightToo);
            if (!fits)
                continue;
            call.multiplicity = 1 + draw.below(4);
            LaneMemory memory = layOutApart(call, draw.below(8), draw);
            const std::size_t bytes = bytesOf(call.kinds.result, call.lanes());
            if (leftToo && rightToo)
                std::copy_n(memory.at(call.places.left), bytes, memory.at(call.places.right));
            LaneMemory apart = memory;
            ASSERT_TRUE(everyArithmeticBuild()[0].run(call.kinds, call.argsIn(apart)));
            ArithmeticCall shared = call;
            shared.places.left = leftToo ? call.places.result : call.places.left;
            shared.places.right = rightToo ? call.places.result : call.places.right;
            LaneMemory same = memory;
            std::copy_n(memory.at(leftToo ? call.places.left : call.places.right), bytes,
                        same.at(call.places.result));
            ASSERT_TRUE(everyArithmeticBuild()[0].run(shared.kinds, shared.argsIn(same)));
            EXPECT_EQ(std::memcmp(same.at(call.places.result), apart.at(call.places.result), bytes),
                      0)
                << shared.name();
            EXPECT_EQ(std::memcmp(same.at(call.places.validity), apart.at(call.places.validity),
                                  static_cast<std::size_t>(call.count)),
                      0)
                << shared.name();
        }
    });
}

} // namespace
} // namespace Fenlet
