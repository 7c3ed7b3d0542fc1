// How a failing case is shrunk and printed.
#include "shrink.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace Fenlet::Model {
namespace {

/// A case in which everything that can be made smaller is present.
Case largeCase() {
    Case run;
    run.program.registers.resize(3);
    run.program.registers[0].multiplicity = 70;
    run.program.registers[2].multiplicity = 80;
    run.program.instructions.resize(9);
    run.program.instructions[4].op = OpCode::Add;
    run.program.constants = {Constant::ofTribool(1), Constant::ofIntegers({4, 0, 9, 2}),
                             Constant::ofReals({-1.5, 2.5, 0.125})};
    run.blockSize = 1024;
    run.count = 1500;
    run.first = INT64_MAX - 7;
    run.declineAtCall = 5;
    run.stopAtBlock = 2;
    run.holeInFields = true;
    run.holes.fields = {1, 3, true};
    run.holes.samplers = {0, 2, true};
    run.holes.noUniforms = true;
    return run;
}

bool hasConstantOf(const Case& run, double value) {
    const auto& all = run.program.constants;
    return std::any_of(all.begin(), all.end(), [&](const Constant& constant) {
        return std::count(constant.reals.begin(), constant.reals.end(), value) > 0;
    });
}

TEST(Shrink, LeavesNothingWhereEverythingFails) {
    const Case small = shrinkCase(largeCase(), [](const Case&) { return true; });
    EXPECT_TRUE(small.program.instructions.empty());
    EXPECT_TRUE(small.program.constants.empty());
    EXPECT_EQ(small.program.registers[0].multiplicity, 1);
    EXPECT_EQ(small.program.registers[2].multiplicity, 80);
    EXPECT_EQ(describe(small).substr(0, describe(small).find('\n')),
              "block size 1, elements 0 and on, 1 of them, data seed 0, decline at -1, stop at -1");
}

TEST(Shrink, StopsAtTheLeastNumbersThatFail) {
    const Case small = shrinkCase(largeCase(), [](const Case& run) {
        return run.count >= 77 && run.blockSize >= 65 && run.first > 1000 &&
               run.declineAtCall >= 2 && run.stopAtBlock >= 1 &&
               run.program.registers[0].multiplicity >= 3 && run.holes.fields.shortBy >= 2 &&
               run.holes.samplers.nullArray;
    });
    EXPECT_EQ(small.program.registers[0].multiplicity, 3);
    EXPECT_EQ(describe(small).substr(0, describe(small).find('\n')),
              "block size 65, elements 1001 and on, 77 of them, data seed 0, decline at 2, stop at "
              "1, field count short by 2, no sampler array");
}

TEST(Shrink, KeepsTheInstructionAndTheComponentThatFail) {
    const Case small = shrinkCase(largeCase(), [](const Case& run) {
        const auto& all = run.program.instructions;
        return hasConstantOf(run, 2.5) &&
               std::any_of(all.begin(), all.end(),
                           [](const Instruction& one) { return one.op == OpCode::Add; });
    });
    EXPECT_EQ(small.program.instructions.size(), 1u);
    ASSERT_EQ(small.program.constants.size(), 1u);
    EXPECT_EQ(small.program.constants[0].reals, std::vector<double>{2.5});
    EXPECT_EQ(small.program.constants[0].multiplicity, 1);
}

TEST(Shrink, MakesZerosOfTheOtherComponents) {
    const Case small = shrinkCase(largeCase(), [](const Case& run) {
        const auto& all = run.program.constants;
        return all.size() == 3 && all[1].integers.size() == 4 && all[1].integers[2] == 9;
    });
    ASSERT_EQ(small.program.constants.size(), 3u);
    EXPECT_EQ(small.program.constants[1].integers, (std::vector<std::int64_t>{0, 0, 9, 0}));
    EXPECT_EQ(small.program.constants[2].reals, std::vector<double>{0});
}

TEST(Description, ShowsTheHolesAndTheConstants) {
    const std::string text = describe(largeCase());
    for (const char* part : {"no first field", "no field 1", "field count short by 3",
                             "no field array", "no sampler 0", "sampler count short by 2",
                             "no sampler array", "no uniforms", "-1.5", "0.125", "Add"})
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
}

} // namespace
} // namespace Fenlet::Model
