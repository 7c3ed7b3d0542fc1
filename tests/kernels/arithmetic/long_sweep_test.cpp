// Tests every kernel over blocks of every length from 1 to 200.
#include "kernels/special_values.h"
#include "naive_arithmetic.h"

#include <gtest/gtest.h>

namespace Fenlet {
namespace {

class ArithmeticSweep : public testing::TestWithParam<int> {};

TEST_P(ArithmeticSweep, EqualsANaiveLoopAtEveryBlockLength) {
    const int multiplicity = GetParam();
    Draw draw(static_cast<std::uint64_t>(multiplicity));
    // Every length where there are few lanes, and only some lengths where there are many.
    const int stride = multiplicity > 100 ? 67 : multiplicity > 4 ? 9 : 1;
    int number = 0;
    forEveryKernel([&](ArithmeticCall call) {
        for (int count = 1 + number % stride; count <= 200; count += stride) {
            call.count = count;
            call.multiplicity = multiplicity;
            const LaneMemory memory = layOutApart(call, number % 8, draw);
            expectNaiveLanes(everyArithmeticBuild()[0], call, memory);
            ++number;
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Multiplicities, ArithmeticSweep, testing::ValuesIn(everyMultiplicity));

} // namespace
} // namespace Fenlet
