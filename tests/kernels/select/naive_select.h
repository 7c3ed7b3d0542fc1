// The reference for the kernels of Select: takes one component at a time, with separate
// conversions.
#pragma once

#include "kernels/lane_memory.h"
#include "kernels/select/select.h"
#include "kernels/special_values.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet {

struct SelectKinds {
    CpuElementKind result;
    CpuElementKind whenTrue;
    CpuElementKind whenFalse;
};

/// Where the areas of a call are in a `LaneMemory`. The arms' validity areas exist only if the call
/// has them.
struct SelectPlaces {
    std::size_t result;
    std::size_t resultValidity;
    std::size_t condition;
    std::size_t whenTrue;
    std::size_t whenTrueValidity;
    std::size_t whenFalse;
    std::size_t whenFalseValidity;
};

/// One call of a kernel, with offsets instead of pointers.
struct SelectCall {
    SelectKinds kinds;
    std::int32_t count;
    std::int32_t multiplicity;
    std::int32_t conditionMultiplicity;
    bool hasTrueValidity;
    bool hasFalseValidity;
    SelectPlaces places;

    std::int64_t lanes() const { return std::int64_t{count} * multiplicity; }
    std::int64_t conditions() const {
        return conditionMultiplicity == 1 || multiplicity < 1
                   ? count
                   : std::int64_t{count - 1} * conditionMultiplicity + multiplicity;
    }

    SelectArgs argsIn(LaneMemory& memory) const;
    std::string name() const;
};

/// Runs the call in `memory`: elements in ascending order, and the components of each in ascending
/// order. Each component reads the validity of its arm. The element's validity byte is written
/// last.
void runNaively(const SelectCall& call, LaneMemory& memory);

/// One way of compiling the kernels.
struct SelectBuild {
    const char* name;
    bool (*run)(const SelectKinds& kinds, const SelectArgs& args);
};

/// The kernels of the library, through its dispatcher, and the same kernels with tiles of a few
/// lanes.
const std::vector<SelectBuild>& everySelectBuild();

/// Calls `visit` for all kinds that have a kernel.
template <class Visit>
void forEverySelectKernel(const Visit& visit) {
    visit(SelectKinds{CpuElementKind::Tribool, CpuElementKind::Tribool, CpuElementKind::Tribool});
    for (const CpuElementKind result : numericKinds)
        for (const CpuElementKind whenTrue : numericKinds)
            for (const CpuElementKind whenFalse : numericKinds)
                visit(SelectKinds{result, whenTrue, whenFalse});
}

/// Fills conditions: runs of one byte, `runLength` long on average. Half of the bytes are 1, and
/// the others are false, unknown and stray ones.
void drawConditions(unsigned char* area, std::int64_t conditions, int runLength, Draw& draw);

/// Lays the call's areas out apart from each other, beginning `misalignment` bytes past an aligned
/// place, with guard bytes around each, and fills what is read with drawn values.
LaneMemory layOutApart(SelectCall& call, int misalignment, int runLength, Draw& draw);

/// Runs the build and the naive loop, each in a copy of `memory`. Returns the first difference;
/// empty if there is none.
std::string differenceFromNaive(const SelectBuild& build, const SelectCall& call,
                                const LaneMemory& memory);

} // namespace Fenlet
