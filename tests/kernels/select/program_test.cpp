// Select as a step of a program.
#include "doubles/expectations.h"
#include "kernels/step_bench.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Bytes = std::vector<unsigned char>;

/// Selects by register 0 between registers 1 and 2 into register 3.
struct SelectBench : StepBench {
    SelectBench(RegisterFormat resultFormat, int resultMultiplicity,
                const std::vector<LoadedRegister>& operands)
        : StepBench(OpCode::Select, resultFormat, resultMultiplicity, operands) {}
};

TEST(SelectStep, TakesByTheConditionsValueWhateverItsValidity) {
    SelectBench bench(RegisterFormat::Float32, 1,
                      {loadedTribools(1, {1, 1, 0, 0, 255}, {0, 0, 0, 1, 1}),
                       loadedSingles(1, {1, 2, 3, 4, 5}, {1, 0, 1, 1, 1}),
                       loadedSingles(1, {6, 7, 8, 9, 10}, {1, 1, 1, 0, 1})});
    ASSERT_TRUE(bench.run(5));
    EXPECT_EQ(bench.lanesIn<float>(3), (std::vector<float>{1, 2, 8, 9, 0}));
    EXPECT_EQ(bench.validityIn(3), (Bytes{1, 0, 1, 0, 0}));
}

TEST(SelectStep, TakesAConditionForEachComponent) {
    SelectBench bench(RegisterFormat::Int32, 2,
                      {loadedTribools(2, {1, 0, 1, 1, 255, 0}, {1, 1, 0}),
                       loadedSingles(2, {1.9f, 2, 3, 4, 5, 6}, {1, 1, 1}),
                       loaded<std::int64_t>(RegisterFormat::Int64, 2,
                                            {7, 5000000000, 9, 10, 11, 12}, {0, 0, 1})});
    ASSERT_TRUE(bench.run(3));
    EXPECT_EQ(bench.lanesIn<std::int32_t>(3),
              (std::vector<std::int32_t>{1, 705032704, 3, 4, 0, 12}));
    EXPECT_EQ(bench.validityIn(3), (Bytes{0, 1, 0}));
}

// Before the kernel runs, the evaluator writes the combined validity of the condition and the first
// arm to the result. This overwrites the second arm's validity, as the second arm is the result.
TEST(SelectStep, MayHaveItsSecondArmAsResult) {
    SelectBench bench(RegisterFormat::Float32, 1,
                      {loadedTribools(1, {0, 0, 0, 1}, {1, 0, 1, 1}),
                       loadedSingles(1, {1, 2, 3, 4}, {1, 1, 0, 1}),
                       loadedSingles(1, {5, 6, 7, 8}, {1, 1, 1, 0})});
    bench.program.instructions.back().result = 2;
    ASSERT_TRUE(bench.run(4));
    EXPECT_EQ(bench.lanesIn<float>(2), (std::vector<float>{5, 6, 7, 4}));
    EXPECT_EQ(bench.validityIn(2), (Bytes{1, 0, 0, 1}));
}

TEST(SelectStep, MayHaveItsFirstArmAsResult) {
    SelectBench bench(RegisterFormat::Float32, 1,
                      {loadedTribools(1, {1, 1, 0, 255}, {1, 0, 0, 1}),
                       loadedSingles(1, {1, 2, 3, 4}, {1, 1, 1, 1}),
                       loadedSingles(1, {5, 6, 7, 8}, {1, 1, 1, 1})});
    bench.program.instructions.back().result = 1;
    ASSERT_TRUE(bench.run(4));
    EXPECT_EQ(bench.lanesIn<float>(1), (std::vector<float>{1, 2, 7, 0}));
    EXPECT_EQ(bench.validityIn(1), (Bytes{1, 0, 1, 0}));
}

TEST(SelectStep, MayHaveItsConditionAsResult) {
    SelectBench bench(RegisterFormat::Tribool, 2,
                      {loadedTribools(2, {1, 0, 255, 1, 2, 2}, {1, 1, 1}),
                       loadedTribools(2, {0, 0, 1, 255, 0, 0}, {1, 1, 1}),
                       loadedTribools(2, {1, 1, 1, 1, 77, 1}, {1, 1, 1})});
    bench.program.instructions.back().result = 0;
    ASSERT_TRUE(bench.run(3));
    EXPECT_EQ(bench.lanesIn<unsigned char>(0), (Bytes{0, 1, 255, 255, 77, 1}));
    EXPECT_EQ(bench.validityIn(0), (Bytes{1, 0, 1}));
}

TEST(SelectStep, ReadsAnArmWithTheResultsStride) {
    SelectBench bench(RegisterFormat::Float32, 1,
                      {loadedTribools(1, {1, 1, 1, 0}, {1, 1, 1, 1}),
                       loadedSingles(2, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 1, 1, 1}),
                       loadedSingles(1, {10, 20, 30, 40}, {1, 1, 1, 1})});
    ASSERT_TRUE(bench.run(4));
    EXPECT_EQ(bench.lanesIn<float>(3), (std::vector<float>{1, 2, 3, 40}));
}

TEST(SelectStep, IsRefusedForAConditionThatIsNoTribool) {
    SelectBench bench(
        RegisterFormat::Float32, 1,
        {loadedSingles(1, {}, {}), loadedSingles(1, {}, {}), loadedSingles(1, {}, {})});
    expectConfigureRefuses(bench.program, ExecRefusal::KindMismatch,
                           "Select's condition must be a boolean register");
}

TEST(SelectStep, IsRefusedForAConditionOfAnotherMultiplicity) {
    SelectBench bench(
        RegisterFormat::Float32, 3,
        {loadedTribools(2, {}, {}), loadedSingles(3, {}, {}), loadedSingles(3, {}, {})});
    expectConfigureRefuses(bench.program, ExecRefusal::MultiplicityMismatch,
                           "Select's condition is neither scalar nor component-matched");
}

// `runStep` makes the same two refusals in the same order, for a step that `validateStep` has not
// checked.
TEST(SelectStep, IsCheckedAgainWhenItRuns) {
    SelectBench bench(RegisterFormat::Float32, 3,
                      {loadedTribools(1, {1}, {1}), loadedSingles(3, {1, 2, 3}, {1}),
                       loadedSingles(3, {4, 5, 6}, {1})});
    ASSERT_TRUE(bench.run(1));
    Interpreter::Step step = bench.interpreter.plan().back();
    step.operandMultiplicities[0] = 2;
    EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
    expectReason(bench.interpreter, ExecRefusal::MultiplicityMismatch,
                 "Select's condition is neither scalar nor component-matched");
    step.operandKinds[0] = CpuElementKind::Int32;
    EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
    expectReason(bench.interpreter, ExecRefusal::KindMismatch,
                 "Select's condition must be a boolean register");
    EXPECT_EQ(bench.lanesIn<float>(3), (std::vector<float>{1, 2, 3}));
}

// Every combination of formats passes `configure`. A combination without a kernel is refused in the
// first block, so a run without blocks is not refused.
TEST(SelectStep, RefusesArmsWithoutAKernelWhenItFirstRuns) {
    constexpr RegisterFormat formats[] = {RegisterFormat::Tribool, RegisterFormat::Int32,
                                          RegisterFormat::Int64,   RegisterFormat::Half,
                                          RegisterFormat::Float32, RegisterFormat::Float64};
    for (const RegisterFormat result : formats)
        for (const RegisterFormat whenTrue : formats)
            for (const RegisterFormat whenFalse : formats) {
                SelectBench bench(result, 1,
                                  {{RegisterFormat::Tribool, 1}, {whenTrue, 1}, {whenFalse, 1}});
                Interpreter& interpreter = bench.interpreter;
                ASSERT_TRUE(interpreter.configure(bench.program, 4));
                EXPECT_TRUE(interpreter.evaluate(0, 0, bench.host.bindings, bench.host.sink));
                const int tribools = (result == RegisterFormat::Tribool) +
                                     (whenTrue == RegisterFormat::Tribool) +
                                     (whenFalse == RegisterFormat::Tribool);
                const bool fits = tribools == 0 || tribools == 3;
                EXPECT_EQ(interpreter.evaluate(0, 4, bench.host.bindings, bench.host.sink), fits);
                expectReason(interpreter, fits ? ExecRefusal::None : ExecRefusal::KindMismatch,
                             fits ? nullptr
                                  : "select between these arm storage kinds has no kernel");
                EXPECT_TRUE(interpreter.isConfigured());
                EXPECT_EQ(bench.host.sink.blocks.size(), fits ? 1u : 0u);
            }
}

} // namespace
} // namespace Fenlet
