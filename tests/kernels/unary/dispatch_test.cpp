// Tests which pairs of kinds have a kernel, and that a call for any other pair changes nothing.
#include "naive_unary.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <type_traits>
#include <vector>

namespace Fenlet {
namespace {

static_assert(std::is_same_v<decltype(UnaryArgs::result), void*>);
static_assert(std::is_same_v<decltype(UnaryArgs::operand), const void*>);
static_assert(std::is_same_v<decltype(UnaryArgs::count), std::int32_t>);
static_assert(std::is_same_v<decltype(UnaryArgs::multiplicity), std::int32_t>);
static_assert(offsetof(UnaryArgs, result) == 0);
static_assert(offsetof(UnaryArgs, operand) == sizeof(void*));
static_assert(offsetof(UnaryArgs, count) == 2 * sizeof(void*));
static_assert(offsetof(UnaryArgs, multiplicity) == 2 * sizeof(void*) + 4);

bool isUnaryKind(CpuElementKind kind) {
    return std::find(std::begin(unaryKinds), std::end(unaryKinds), kind) != std::end(unaryKinds);
}

TEST(DispatchUnary, ServesTheFourKindsInBothPlacesAndNoOthers) {
    for (const UnaryOp op : everyUnaryOp) {
        int served = 0;
        for (const CpuElementKind result : everyKindAndStrays)
            for (const CpuElementKind operand : everyKindAndStrays) {
                double lanes[2] = {1, 1};
                const bool serves = isUnaryKind(result) && isUnaryKind(operand);
                EXPECT_EQ(dispatchUnary(op, result, operand, {&lanes[0], &lanes[1], 1, 1}), serves)
                    << static_cast<int>(result) << ' ' << static_cast<int>(operand);
                served += serves;
            }
        EXPECT_EQ(served, 16);
    }
}

// All pointers are null, so a single access would end the test.
TEST(DispatchUnary, TouchesNothingWhereItHasNoKernel) {
    for (const UnaryOp op : everyUnaryOp)
        for (const CpuElementKind result : everyKindAndStrays)
            for (const CpuElementKind operand : everyKindAndStrays)
                if (!isUnaryKind(result) || !isUnaryKind(operand)) {
                    EXPECT_FALSE(dispatchUnary(op, result, operand, {nullptr, nullptr, 100, 3}));
                }
}

TEST(DispatchUnary, ServesNoOtherOperation) {
    for (const std::uint32_t op : {2u, 7u, 100u, 0xFFFFFFFFu})
        EXPECT_FALSE(dispatchUnary(static_cast<UnaryOp>(op), CpuElementKind::Float32,
                                   CpuElementKind::Float32, {nullptr, nullptr, 100, 3}));
}

TEST(DispatchUnary, DoesNothingForNoElementsAndStillServes) {
    forEveryUnaryKernel([](const UnaryCall& call) {
        for (const std::int32_t count : {0, -1, INT32_MIN})
            for (const std::int32_t multiplicity : {1, 3, 600, 0, -1})
                for (const UnaryBuild& build : everyUnaryBuild())
                    EXPECT_TRUE(
                        build.run(call.op, call.kinds, {nullptr, nullptr, count, multiplicity}));
    });
}

TEST(Negate, DoesNothingForNoComponentsAndStillServes) {
    forEveryUnaryKernel([](const UnaryCall& call) {
        for (const std::int32_t multiplicity : {0, -1, INT32_MIN})
            for (const UnaryBuild& build : everyUnaryBuild())
                if (call.op == UnaryOp::Negate) {
                    EXPECT_TRUE(
                        build.run(call.op, call.kinds, {nullptr, nullptr, 100, multiplicity}));
                }
    });
}

TEST(Length, IsZeroWithoutComponents) {
    forEveryUnaryKernel([](const UnaryCall& kernel) {
        if (kernel.op != UnaryOp::Length)
            return;
        for (const std::int32_t multiplicity : {0, -1, INT32_MIN})
            for (const UnaryBuild& build : everyUnaryBuild()) {
                constexpr std::size_t count = 20;
                std::vector<double> result(count, 99.0);
                const auto bytes =
                    count * static_cast<std::size_t>(elementSize(kernel.kinds.result));
                EXPECT_TRUE(build.run(kernel.op, kernel.kinds,
                                      {result.data(), nullptr, count, multiplicity}));
                std::vector<double> expected(count, 99.0);
                std::memset(expected.data(), 0, bytes);
                EXPECT_EQ(result, expected) << kernel.name();
            }
    });
}

TEST(Length, ElementMayHaveMoreComponentsThanATileHasLanes) {
    constexpr CpuElementKind kind = CpuElementKind::Float64;
    constexpr int multiplicity = 1600;
    std::vector<double> operand(2 * multiplicity, 1);
    std::fill(operand.begin() + multiplicity, operand.end(), -2);
    std::vector<double> result(2);
    ASSERT_TRUE(dispatchUnary(UnaryOp::Length, kind, kind,
                              {result.data(), operand.data(), 2, multiplicity}));
    EXPECT_EQ(result, (std::vector<double>{40, 80}));
}

} // namespace
} // namespace Fenlet
