// Tests every kernel, multiplicity and block size. The quick tests try only samples of these.
#include "naive_select.h"

namespace Fenlet {
namespace {

TEST(SelectSweep, EqualsANaiveLoopInEveryKernelMultiplicityAndBlockSize) {
    Draw draw(1);
    int number = 0;
    for (const int multiplicity : everyMultiplicity)
        for (int count = 1; count <= (multiplicity > 100 ? 10 : 200); ++count)
            forEverySelectKernel([&](const SelectKinds& kinds) {
                const bool matched = number % 2 == 1;
                SelectCall call{kinds,
                                count,
                                multiplicity,
                                matched ? multiplicity : 1,
                                number % 7 != 3,
                                number % 5 != 2,
                                {}};
                const int runLength = number % 3 == 0 ? 1 : number % 3 == 1 ? 20 : 200;
                const LaneMemory memory = layOutApart(call, number % 8, runLength, draw);
                EXPECT_EQ(differenceFromNaive(everySelectBuild()[0], call, memory), "");
                ++number;
            });
}

} // namespace
} // namespace Fenlet
