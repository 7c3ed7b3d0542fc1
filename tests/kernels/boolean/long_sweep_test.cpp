// Tests every kernel, build, multiplicity and block size. The quick tests try only samples of
// these.
#include "naive_boolean.h"

namespace Fenlet {
namespace {

TEST(BooleanSweep, EqualsANaiveLoopInEveryBuildMultiplicityAndBlockSize) {
    Draw draw(1);
    int number = 0;
    for (const int multiplicity : everyMultiplicity)
        for (int count = 1; count <= (multiplicity > 100 ? 20 : 200); ++count)
            for (const BooleanOp op : everyBooleanOp)
                for (const bool hasValidity : {false, true}) {
                    BooleanCall call{op, count, multiplicity, hasValidity, {}};
                    const LaneMemory memory = layOutApart(call, number % 8, draw);
                    for (const BooleanBuild& build : everyBooleanBuild())
                        EXPECT_EQ(differenceFromNaive(build, call, memory), "");
                    ++number;
                }
}

} // namespace
} // namespace Fenlet
