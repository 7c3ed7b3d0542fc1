// Comparisons as steps of a program.
#include "doubles/expectations.h"
#include "kernels/step_bench.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Bytes = std::vector<unsigned char>;

constexpr OpCode everyComparison[] = {OpCode::Less,         OpCode::LessEqual, OpCode::Greater,
                                      OpCode::GreaterEqual, OpCode::Equal,     OpCode::NotEqual};
constexpr const char* noKernel =
    "no comparison kernel for this combination of operand storage kinds";
constexpr const char* noBoolean = "a comparison must define a boolean register";
constexpr const char* scalarLeft =
    "a comparison with a scalar LEFT operand needs a kernel this backend does not have";

/// Compares register 0 with register 1 into register 2.
struct ComparisonBench : StepBench {
    ComparisonBench(OpCode op, int resultMultiplicity, const LoadedRegister& left,
                    const LoadedRegister& right)
        : StepBench(op, RegisterFormat::Tribool, resultMultiplicity, {left, right}) {}

    Bytes compared() const { return lanesIn<unsigned char>(2); }
};

TEST(ComparisonStep, FollowsItsOpCode) {
    constexpr unsigned char expected[6][3] = {{1, 0, 0}, {1, 1, 0}, {0, 0, 1},
                                              {0, 1, 1}, {0, 1, 0}, {1, 0, 1}};
    for (int i = 0; i < 6; ++i) {
        ComparisonBench bench(everyComparison[i], 1, loadedSingles(1, {1, 2, 3}, {1, 1, 1}),
                              loadedSingles(1, {2, 2, 2}, {1, 1, 1}));
        ASSERT_TRUE(bench.run(3));
        EXPECT_EQ(bench.compared(), Bytes(expected[i], expected[i] + 3));
        EXPECT_EQ(bench.validityIn(2), (Bytes{1, 1, 1}));
    }
}

TEST(ComparisonStep, IsUnknownAndValidWhereEitherSideIsInvalid) {
    for (const OpCode op : everyComparison) {
        ComparisonBench bench(op, 2, loadedSingles(2, {1, 1, 1, 1, 1, 1, 1, 1}, {0, 1, 0, 77}),
                              loadedSingles(2, {1, 1, 1, 1, 1, 1, 1, 1}, {1, 0, 0, 255}));
        ASSERT_TRUE(bench.run(4));
        const bool holds =
            op == OpCode::LessEqual || op == OpCode::GreaterEqual || op == OpCode::Equal;
        const unsigned char known = holds ? 1 : 0;
        EXPECT_EQ(bench.compared(), (Bytes{255, 255, 255, 255, 255, 255, known, known}));
        EXPECT_EQ(bench.validityIn(2), (Bytes{1, 1, 1, 1}));
    }
}

TEST(ComparisonStep, OfNansIsFalseOrTrueAndValid) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const OpCode op : everyComparison) {
        ComparisonBench bench(op, 1, loadedSingles(1, {nan, nan, 1}, {1, 1, 1}),
                              loadedSingles(1, {nan, 1, nan}, {1, 1, 1}));
        ASSERT_TRUE(bench.run(3));
        EXPECT_EQ(bench.compared(), Bytes(3, op == OpCode::NotEqual ? 1 : 0));
        EXPECT_EQ(bench.validityIn(2), (Bytes{1, 1, 1}));
    }
}

TEST(ComparisonStep, GoesComponentByComponent) {
    ComparisonBench bench(OpCode::Less, 3, loadedSingles(3, {1, 5, 3}, {1}),
                          loadedSingles(3, {2, 4, 3}, {1}));
    ASSERT_TRUE(bench.run(1));
    EXPECT_EQ(bench.compared(), (Bytes{1, 0, 0}));
    EXPECT_EQ(bench.validityIn(2), Bytes{1});
}

TEST(ComparisonStep, MeetsEachComponentWithItsElementsOwnScalar) {
    ComparisonBench bench(
        OpCode::Equal, 3,
        loaded<std::int32_t>(RegisterFormat::Int32, 3, {7, 8, 7, 9, 7, 9, 7, 8, 9}, {1, 1, 1}),
        loaded<double>(RegisterFormat::Float64, 1, {7, 9, 8}, {1, 0, 1}));
    ASSERT_TRUE(bench.run(3));
    EXPECT_EQ(bench.compared(), (Bytes{1, 0, 1, 255, 255, 255, 0, 1, 0}));
    EXPECT_EQ(bench.validityIn(2), (Bytes{1, 1, 1}));
}

TEST(ComparisonStep, MayHaveOneRegisterOnBothSides) {
    for (const OpCode op : {OpCode::Equal, OpCode::Less}) {
        ComparisonBench bench(op, 2, loadedSingles(2, {1, 2, 3, 4, 5, 6}, {1, 0, 2}),
                              loadedSingles(2, {}, {}));
        bench.program.instructions.back().operands[1] = 0;
        ASSERT_TRUE(bench.run(3));
        const unsigned char known = op == OpCode::Equal ? 1 : 0;
        EXPECT_EQ(bench.compared(), (Bytes{known, known, 255, 255, known, known}));
    }
}

TEST(ComparisonStep, ReadsItsOperandsWithTheResultsStride) {
    ComparisonBench bench(OpCode::Less, 1, loadedSingles(2, {1, 4, 3, 3}, {1, 1}),
                          loadedSingles(2, {2, 2, 9, 9}, {1, 1}));
    ASSERT_TRUE(bench.run(2));
    EXPECT_EQ(lanesOf<unsigned char>(bench.interpreter.registerFile(), 2, 4), (Bytes{1, 0, 0, 0}));
}

TEST(ComparisonStep, WritesEveryBlockAnew) {
    ComparisonBench bench(OpCode::Greater, 1, loadedSingles(1, {1, 2, 3, 4}, {1, 1, 0, 1}),
                          loadedSingles(1, {2, 2, 2, 2}, {1, 1, 1, 1}));
    Bytes seen;
    bench.host.sink.answer = [&seen](const RegisterFile& registers) {
        const Bytes lanes = liveLanes<unsigned char>(registers, 2);
        seen.insert(seen.end(), lanes.begin(), lanes.end());
        EXPECT_EQ(liveValidity(registers, 2), Bytes(lanes.size(), 1));
        return true;
    };
    bench.host.field.answer = [answer = bench.host.field.answer](const FieldRead& request) {
        if (request.count == 4)
            return answer(request);
        storeLanes(request.values, std::vector<float>{5});
        return true;
    };
    ASSERT_TRUE(bench.interpreter.configure(bench.program, 4));
    ASSERT_TRUE(bench.interpreter.evaluate(0, 5, bench.host.bindings, bench.host.sink));
    EXPECT_EQ(seen, (Bytes{0, 0, 255, 1, 0}));
}

TEST(ComparisonStep, WritesNothingForNoElements) {
    ComparisonBench bench(OpCode::Equal, 1, loadedSingles(1, {1, 1}, {0, 0}),
                          loadedSingles(1, {1, 1}, {1, 1}));
    ASSERT_TRUE(bench.interpreter.configure(bench.program, 2));
    const Interpreter::Step step = bench.interpreter.plan().back();
    EXPECT_TRUE(bench.interpreter.runStep(step, bench.host.bindings, 0));
    const RegisterFile& registers = bench.interpreter.registerFile();
    ASSERT_EQ(registers.liveElements(), 0);
    EXPECT_EQ(lanesOf<unsigned char>(registers, 2, 2), (Bytes{0, 0}));
    EXPECT_EQ(Bytes(registers.validity(2), registers.validity(2) + 2), (Bytes{0, 0}));
}

TEST(ComparisonStep, IsRefusedForAScalarOnTheLeft) {
    for (const OpCode op : everyComparison) {
        ComparisonBench bench(op, 3, loadedSingles(1, {}, {}), loadedSingles(3, {}, {}));
        expectConfigureRefuses(bench.program, ExecRefusal::MultiplicityMismatch, scalarLeft);
        ComparisonBench mirrored(op, 3, loadedSingles(3, {}, {}), loadedSingles(1, {}, {}));
        expectConfigures(mirrored.program);
    }
}

// `runStep` makes the same checks in the same order, for a step that `validateStep` has not
// checked.
TEST(ComparisonStep, IsCheckedAgainWhenItRuns) {
    ComparisonBench bench(OpCode::Less, 1, loadedSingles(1, {1, 2}, {1, 0}),
                          loadedSingles(1, {2, 1}, {1, 1}));
    ASSERT_TRUE(bench.run(2));
    Interpreter::Step step = bench.interpreter.plan().back();
    const auto expectRefused = [&](ExecRefusal code, const char* message) {
        EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
        expectReason(bench.interpreter, code, message);
        EXPECT_EQ(bench.compared(), (Bytes{1, 255}));
        EXPECT_TRUE(bench.interpreter.isConfigured());
    };
    step.op = OpCode::GreaterEqual;
    step.operandKinds[1] = CpuElementKind::Tribool;
    expectRefused(ExecRefusal::KindMismatch, noKernel);
    step.leftScalar = true;
    expectRefused(ExecRefusal::MultiplicityMismatch, scalarLeft);
    step.resultKind = CpuElementKind::Int32;
    expectRefused(ExecRefusal::KindMismatch, noBoolean);
}

// Every pair of formats passes `configure`. A pair without a kernel is refused in the first block,
// so a run without blocks is not refused.
TEST(ComparisonStep, RefusesKindsWithoutAKernelWhenItFirstRuns) {
    constexpr RegisterFormat formats[] = {RegisterFormat::Tribool, RegisterFormat::Int32,
                                          RegisterFormat::Int64,   RegisterFormat::Half,
                                          RegisterFormat::Float32, RegisterFormat::Float64};
    for (const OpCode op : everyComparison)
        for (const RegisterFormat left : formats)
            for (const RegisterFormat right : formats) {
                ComparisonBench bench(op, 1, {left, 1}, {right, 1});
                Interpreter& interpreter = bench.interpreter;
                ASSERT_TRUE(interpreter.configure(bench.program, 4));
                EXPECT_TRUE(interpreter.evaluate(0, 0, bench.host.bindings, bench.host.sink));
                const bool fits =
                    left != RegisterFormat::Tribool && right != RegisterFormat::Tribool;
                EXPECT_EQ(interpreter.evaluate(0, 4, bench.host.bindings, bench.host.sink), fits);
                expectReason(interpreter, fits ? ExecRefusal::None : ExecRefusal::KindMismatch,
                             fits ? nullptr : noKernel);
                EXPECT_TRUE(interpreter.isConfigured());
                EXPECT_EQ(bench.host.sink.blocks.size(), fits ? 1u : 0u);
            }
}

} // namespace
} // namespace Fenlet
