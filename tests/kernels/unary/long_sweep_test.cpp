// Tests every kernel, multiplicity and block size. The quick tests try only samples of these.
#include "naive_unary.h"

namespace Fenlet {
namespace {

TEST(UnarySweep, EqualsANaiveLoopInEveryKernelMultiplicityAndBlockSize) {
    Draw draw(1);
    int number = 0;
    for (const int multiplicity : everyMultiplicity)
        for (int count = 1; count <= (multiplicity > 100 ? 20 : 200); ++count)
            forEveryUnaryKernel([&](UnaryCall call) {
                call.count = count;
                call.multiplicity = multiplicity;
                const LaneMemory memory = layOutApart(call, number % 8, draw);
                expectNaiveLanes(everyUnaryBuild()[0], call, memory);
                if (count % 10 == 1)
                    for (const UnaryBuild& build : everyUnaryBuild())
                        expectNaiveLanes(build, call, memory);
                ++number;
            });
}

} // namespace
} // namespace Fenlet
