// The reference for the kernels of three-valued logic: computes one lane at a time.
#pragma once

#include "kernels/boolean/boolean.h"
#include "kernels/lane_memory.h"
#include "kernels/special_values.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet {

enum class BooleanOp { Not, And, Or, IsTrue };
inline constexpr BooleanOp everyBooleanOp[] = {BooleanOp::Not, BooleanOp::And, BooleanOp::Or,
                                               BooleanOp::IsTrue};

/// Where the areas of a call are in a `LaneMemory`. `Not` and `IsTrue` have no right side. Only
/// `IsTrue` reads and writes validity.
struct BooleanPlaces {
    std::size_t result;
    std::size_t resultValidity;
    std::size_t left;
    std::size_t leftValidity;
    std::size_t right;
};

/// One call of a kernel, with offsets instead of pointers.
struct BooleanCall {
    BooleanOp op;
    std::int32_t count;
    std::int32_t multiplicity;
    bool hasLeftValidity; ///< for `IsTrue`
    BooleanPlaces places;

    std::int64_t lanes() const { return std::int64_t{count} * multiplicity; }
    std::string name() const;
};

/// The result of the operation on one lane. For `IsTrue` the lane must belong to a valid element.
/// `Not` and `IsTrue` ignore `right`.
unsigned char decide(BooleanOp op, unsigned char left, unsigned char right);

/// Runs the call in `memory`, lane by lane in ascending order; the result's validity comes last.
void runNaively(const BooleanCall& call, LaneMemory& memory);

/// One way of compiling the kernels.
struct BooleanBuild {
    const char* name;
    BooleanKernels kernels;

    void run(const BooleanCall& call, LaneMemory& memory) const;
};

/// The kernels of the library, as steps call them, and the same kernels with tiles of a few lanes.
const std::vector<BooleanBuild>& everyBooleanBuild();

/// Fills lanes. Half of them are false, true or unknown; the others have any byte.
void drawTribools(unsigned char* area, std::int64_t lanes, Draw& draw);

/// Lays the call's areas out apart from each other, beginning `misalignment` bytes past an aligned
/// place, with guard bytes around each, and fills what is read with drawn values.
LaneMemory layOutApart(BooleanCall& call, int misalignment, Draw& draw);

/// Runs the build and the naive loop, each in a copy of `memory`. Returns the first difference;
/// empty if there is none.
std::string differenceFromNaive(const BooleanBuild& build, const BooleanCall& call,
                                const LaneMemory& memory);

} // namespace Fenlet
