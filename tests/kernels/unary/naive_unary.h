// The reference for the kernels of Negate and Length: computes one lane at a time, with separate
// conversions.
#pragma once

#include "kernels/lane_memory.h"
#include "kernels/special_values.h"
#include "kernels/unary/unary.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet {

inline constexpr const auto& unaryKinds = KindsWithArithmetic::numbers;
inline constexpr UnaryOp everyUnaryOp[] = {UnaryOp::Negate, UnaryOp::Length};

struct UnaryKinds {
    CpuElementKind result;
    CpuElementKind operand;
};

/// One call of a kernel, with offsets into a `LaneMemory` instead of pointers.
struct UnaryCall {
    UnaryOp op;
    UnaryKinds kinds;
    std::int32_t count;
    std::int32_t multiplicity;
    std::size_t result;
    std::size_t operand;

    std::int64_t operandLanes() const { return std::int64_t{count} * multiplicity; }
    std::int64_t resultLanes() const { return op == UnaryOp::Negate ? operandLanes() : count; }

    UnaryArgs argsIn(LaneMemory& memory) const;
    std::string name() const;
};

/// Runs the call in `memory`, lane by lane in ascending order.
void runNaively(const UnaryCall& call, LaneMemory& memory);

/// One way of compiling the kernels.
struct UnaryBuild {
    const char* name;
    bool (*run)(UnaryOp op, const UnaryKinds& kinds, const UnaryArgs& args);
};

/// The kernels of the library, through its dispatcher, and the same kernels with tiles of a few
/// lanes.
const std::vector<UnaryBuild>& everyUnaryBuild();

/// Calls `visit` for both operations and all kinds that have a kernel.
template <class Visit>
void forEveryUnaryKernel(const Visit& visit) {
    for (const UnaryOp op : everyUnaryOp)
        for (const CpuElementKind result : unaryKinds)
            for (const CpuElementKind operand : unaryKinds)
                visit(UnaryCall{op, {result, operand}, 0, 1, 0, 0});
}

/// Lays the two areas out apart from each other, beginning `misalignment` bytes past an aligned
/// place, with guard bytes around each, and fills the operand with drawn values.
LaneMemory layOutApart(UnaryCall& call, int misalignment, Draw& draw);

/// The result of comparing a build with the naive loop.
struct UnaryVerdict {
    bool
        isAmbiguous; ///< the naive loop read a NaN whose bits are not defined; nothing was compared
    std::string difference;
};

/// Runs the build and the naive loop, each in a copy of `memory`, and compares the copies.
UnaryVerdict holdAgainstNaive(const UnaryBuild& build, const UnaryCall& call,
                              const LaneMemory& memory);

/// `holdAgainstNaive` for areas that do not overlap: there the loop reads no such NaN.
inline void expectNaiveLanes(const UnaryBuild& build, const UnaryCall& call,
                             const LaneMemory& memory) {
    const UnaryVerdict verdict = holdAgainstNaive(build, call, memory);
    EXPECT_FALSE(verdict.isAmbiguous) << call.name();
    EXPECT_EQ(verdict.difference, "");
}

} // namespace Fenlet
