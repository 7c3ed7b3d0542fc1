// Each instruction set has its own fused loops. A library that did not know of a set would run
// those of the baseline: right, but slow.
#include "fused/pairs.h"
#include "fused/selects.h"
#include "kernels/target/sets.h"

#include <gtest/gtest.h>
#include <set>

namespace Fenlet {
namespace {

TEST(FusedLoops, DifferInEverySet) {
    const InstructionSet before = chosenInstructionSet;
    std::set<PairLoop> pairs;
    std::set<ComparedSelect> selects;
    std::size_t available = 0;
    for (int number = 0; number < instructionSetCount; ++number) {
        if (!chooseInstructionSet(static_cast<InstructionSet>(number)))
            continue;
        ++available;
        pairs.insert(pairLoop(CpuElementKind::Float32, ArithmeticOp::Add, ArithmeticOp::Multiply,
                              PairSide::Left));
        selects.insert(comparedSelect(CpuElementKind::Float32, 0));
    }
    EXPECT_TRUE(chooseInstructionSet(before));
    EXPECT_EQ(pairs.size(), available);
    EXPECT_EQ(selects.size(), available);
}

} // namespace
} // namespace Fenlet
