// The reference for the arithmetic kernels: computes one lane at a time, with separate conversions.
#pragma once

#include "kernels/arithmetic/arithmetic.h"
#include "kernels/lane_memory.h"
#include "kernels/special_values.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet {

inline constexpr const auto& arithmeticKinds = KindsWithArithmetic::numbers;
inline constexpr ArithmeticOp everyArithmeticOp[] = {ArithmeticOp::Add, ArithmeticOp::Subtract,
                                                     ArithmeticOp::Multiply, ArithmeticOp::Divide};

enum class ArithmeticShape { Full, LeftScalar, RightScalar };
inline constexpr ArithmeticShape everyArithmeticShape[] = {
    ArithmeticShape::Full, ArithmeticShape::LeftScalar, ArithmeticShape::RightScalar};

struct ArithmeticKinds {
    CpuElementKind result;
    CpuElementKind left;
    CpuElementKind right;
};

/// Where the areas of a call are in a `LaneMemory`.
struct ArithmeticPlaces {
    std::size_t result;
    std::size_t validity;
    std::size_t left;
    std::size_t right;
};

/// One call of a kernel, with offsets instead of pointers.
struct ArithmeticCall {
    ArithmeticKinds kinds;
    ArithmeticOp op;
    ArithmeticShape shape;
    std::int32_t count;
    std::int32_t multiplicity;
    ArithmeticPlaces places;

    bool dividesIntegers() const {
        return kinds.result == CpuElementKind::Int32 && op == ArithmeticOp::Divide;
    }
    /// Lanes that the call stores.
    std::int64_t lanes() const { return std::int64_t{count} * multiplicity; }
    std::int64_t leftLanes() const {
        return shape == ArithmeticShape::LeftScalar ? count : lanes();
    }
    std::int64_t rightLanes() const {
        return shape == ArithmeticShape::RightScalar ? count : lanes();
    }

    ArithmeticArgs argsIn(LaneMemory& memory) const;
    std::string name() const;
};

/// Runs the call in `memory`, lane by lane in ascending order.
void runNaively(const ArithmeticCall& call, LaneMemory& memory);

/// One way of compiling the kernels.
struct ArithmeticBuild {
    const char* name;
    bool (*run)(const ArithmeticKinds& kinds, const ArithmeticArgs& args);
};

/// The kernels of the library, through its dispatcher, and the same kernels with tiles of a few
/// lanes.
const std::vector<ArithmeticBuild>& everyArithmeticBuild();

/// Calls `visit` for all kinds that have a kernel, all operations and all shapes.
template <class Visit>
void forEveryKernel(const Visit& visit) {
    for (const CpuElementKind result : arithmeticKinds)
        for (const CpuElementKind left : arithmeticKinds)
            for (const CpuElementKind right : arithmeticKinds)
                for (const ArithmeticOp op : everyArithmeticOp)
                    for (const ArithmeticShape shape : everyArithmeticShape)
                        visit(ArithmeticCall{{result, left, right}, op, shape, 0, 1, {}});
}

/// Lays the call's areas out apart from each other, beginning `misalignment` bytes past an aligned
/// place, with guard bytes around each, and fills operands and validity with drawn values.
LaneMemory layOutApart(ArithmeticCall& call, int misalignment, Draw& draw);

/// The result of comparing a build with the naive loop.
struct ArithmeticVerdict {
    bool
        isAmbiguous; ///< the naive loop read a NaN whose bits are not defined; nothing was compared
    std::string difference;
};

/// Runs the build and the naive loop, each in a copy of `memory`, and compares the copies.
ArithmeticVerdict holdAgainstNaive(const ArithmeticBuild& build, const ArithmeticCall& call,
                                   const LaneMemory& memory);

/// `holdAgainstNaive` for areas that do not overlap: there the loop reads no such NaN.
inline void expectNaiveLanes(const ArithmeticBuild& build, const ArithmeticCall& call,
                             const LaneMemory& memory) {
    const ArithmeticVerdict verdict = holdAgainstNaive(build, call, memory);
    EXPECT_FALSE(verdict.isAmbiguous) << call.name();
    EXPECT_EQ(verdict.difference, "");
}

} // namespace Fenlet
