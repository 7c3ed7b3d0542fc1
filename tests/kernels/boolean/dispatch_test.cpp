// Which kinds have three-valued logic. A call without lanes changes nothing.
#include "doubles/expectations.h"
#include "kernels/step_bench.h"
#include "naive_boolean.h"

#include <cstddef>
#include <type_traits>

namespace Fenlet {
namespace {

using Bytes = std::vector<unsigned char>;

static_assert(std::is_same_v<decltype(LogicArgs::lanes), std::int64_t>);
static_assert(std::is_same_v<decltype(IsTrueArgs::resultValidity), unsigned char*>);
static_assert(std::is_same_v<decltype(IsTrueArgs::operandValidity), const unsigned char*>);
static_assert(std::is_same_v<decltype(IsTrueArgs::count), std::int32_t>);
static_assert(std::is_same_v<decltype(IsTrueArgs::multiplicity), std::int32_t>);

constexpr CpuElementKind tribool = CpuElementKind::Tribool;

/// A step on Tribools. Tests change its kinds after planning.
struct KindsBench : StepBench {
    Interpreter::Step step;

    explicit KindsBench(OpCode op, int operands)
        : StepBench(op, RegisterFormat::Tribool, 1,
                    std::vector<LoadedRegister>(static_cast<std::size_t>(operands),
                                                loadedTribools(1, {1, 0, 255}, {1, 1, 1}))) {
        EXPECT_TRUE(run(3));
        step = interpreter.plan().back();
    }

    /// Runs the step. Expects it to succeed if `serves`; otherwise to be refused with `message` and
    /// to change nothing.
    void expectServed(bool serves, const char* message) {
        const Bytes before = lanesIn<unsigned char>(step.result);
        EXPECT_EQ(interpreter.runStep(step, host.bindings, 0), serves)
            << static_cast<int>(step.resultKind) << ' ' << static_cast<int>(step.operandKinds[0])
            << ' ' << static_cast<int>(step.operandKinds[1]);
        EXPECT_EQ(lanesIn<unsigned char>(step.result), before);
        if (!serves)
            Doubles::expectReason(interpreter, ExecRefusal::KindMismatch, message);
    }
};

TEST(BooleanStep, OfOneOperandServesTriboolsAndNoOtherKinds) {
    for (const OpCode op : {OpCode::Not, OpCode::IsTrue}) {
        KindsBench bench(op, 1);
        for (const CpuElementKind result : everyKindAndStrays)
            for (const CpuElementKind operand : everyKindAndStrays)
                for (const CpuElementKind unused : everyKindAndStrays) {
                    bench.step.resultKind = result;
                    bench.step.operandKinds[0] = operand;
                    bench.step.operandKinds[1] = unused;
                    bench.expectServed(result == tribool && operand == tribool,
                                       "Not and IsTrue require boolean registers");
                }
    }
}

TEST(BooleanStep, OfTwoOperandsServesTriboolsAndNoOtherKinds) {
    for (const OpCode op : {OpCode::And, OpCode::Or}) {
        KindsBench bench(op, 2);
        for (const CpuElementKind result : everyKindAndStrays)
            for (const CpuElementKind left : everyKindAndStrays)
                for (const CpuElementKind right : everyKindAndStrays) {
                    bench.step.resultKind = result;
                    bench.step.operandKinds[0] = left;
                    bench.step.operandKinds[1] = right;
                    bench.expectServed(result == tribool && left == tribool && right == tribool,
                                       "And/Or require boolean registers");
                }
    }
}

// All pointers are null, so a single access would end the test.
TEST(Boolean, TouchesNothingForNoLanes) {
    for (const BooleanBuild& build : everyBooleanBuild()) {
        for (const std::int64_t lanes : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN}) {
            build.kernels.logicalNot({nullptr, nullptr, nullptr, lanes});
            build.kernels.logicalAnd({nullptr, nullptr, nullptr, lanes});
            build.kernels.logicalOr({nullptr, nullptr, nullptr, lanes});
        }
        for (const std::int32_t count : {0, -1, INT32_MIN})
            for (const std::int32_t multiplicity : {1, 3, 600, 0, -1})
                build.kernels.isTrue({nullptr, nullptr, nullptr, nullptr, count, multiplicity});
    }
}

// The bytes before the lanes belong to the test, so it would notice a loop that runs backwards.
TEST(Boolean, WritesNothingForNoLanes) {
    for (const BooleanBuild& build : everyBooleanBuild())
        for (const std::int32_t count : {0, -1, -20})
            for (const BooleanOp op : everyBooleanOp) {
                const BooleanCall call{op, count, 1, true, {100, 200, 300, 400, 500}};
                const LaneMemory memory(600);
                EXPECT_EQ(differenceFromNaive(build, call, memory), "");
            }
}

TEST(IsTrue, MakesElementsWithoutComponentsValid) {
    for (const BooleanBuild& build : everyBooleanBuild())
        for (const std::int32_t multiplicity : {0, -1, INT32_MIN}) {
            Bytes validity(600, 7);
            const Bytes operandValidity(599, 0);
            build.kernels.isTrue(
                {nullptr, validity.data(), nullptr, operandValidity.data(), 599, multiplicity});
            Bytes expected(600, 1);
            expected.back() = 7;
            EXPECT_EQ(validity, expected);
        }
}

} // namespace
} // namespace Fenlet
