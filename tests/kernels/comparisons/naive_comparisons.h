// The reference for the comparison kernels: compares one component at a time, as bit patterns.
#pragma once

#include "kernels/comparisons/comparisons.h"
#include "kernels/lane_memory.h"
#include "kernels/special_values.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet {

/// The predicates by their numbers.
enum class Predicate : std::uint32_t { Less, LessEqual, Greater, GreaterEqual, Equal, NotEqual };
inline constexpr Predicate everyPredicate[] = {Predicate::Less,    Predicate::LessEqual,
                                               Predicate::Greater, Predicate::GreaterEqual,
                                               Predicate::Equal,   Predicate::NotEqual};

struct ComparisonKinds {
    CpuElementKind left;
    CpuElementKind right;
};

/// Where the areas of a call are in a `LaneMemory`. The operands' validity areas exist only if the
/// call has them.
struct ComparisonPlaces {
    std::size_t result;
    std::size_t left;
    std::size_t leftValidity;
    std::size_t right;
    std::size_t rightValidity;
};

/// One call of a kernel, with offsets instead of pointers.
struct ComparisonCall {
    ComparisonKinds kinds;
    Predicate predicate;
    bool rightScalar;
    std::int32_t count;
    std::int32_t multiplicity;
    bool hasLeftValidity;
    bool hasRightValidity;
    ComparisonPlaces places;

    std::int64_t lanes() const { return std::int64_t{count} * multiplicity; }
    std::int64_t rightLanes() const { return rightScalar ? count : lanes(); }

    ComparisonArgs argsIn(LaneMemory& memory) const;
    std::string name() const;
};

/// The result of the predicate for two values, given as bits: 0 or 1.
unsigned char compareBits(Predicate predicate, const ComparisonKinds& kinds, std::uint64_t left,
                          std::uint64_t right);

/// Runs the call in `memory`: elements in ascending order, and the components of each in ascending
/// order. Reads a scalar right value once for each element.
void runNaively(const ComparisonCall& call, LaneMemory& memory);

/// One way of compiling the kernels.
struct ComparisonBuild {
    const char* name;
    bool (*run)(const ComparisonKinds& kinds, const ComparisonArgs& args);
};

/// The kernels of the library, through its dispatcher, and the same kernels with tiles of a few
/// lanes.
const std::vector<ComparisonBuild>& everyComparisonBuild();

/// Calls `visit` for all pairs of kinds that have a kernel.
template <class Visit>
void forEveryComparedPair(const Visit& visit) {
    for (const CpuElementKind left : numericKinds)
        for (const CpuElementKind right : numericKinds)
            visit(ComparisonKinds{left, right});
}

/// Calls `visit` for every kernel, predicate and shape.
template <class Visit>
void forEveryComparison(const Visit& visit) {
    forEveryComparedPair([&](const ComparisonKinds& kinds) {
        for (const Predicate predicate : everyPredicate)
            for (const bool rightScalar : {false, true})
                visit(ComparisonCall{kinds, predicate, rightScalar, 0, 1, true, true, {}});
    });
}

/// Fills validity bytes: runs of valid and of invalid elements, `runLength` long on average. Every
/// byte except 0 counts as valid.
void drawValidityRuns(unsigned char* area, std::int64_t elements, int runLength, Draw& draw);

/// Fills both operands with drawn values. In every other lane, the right value is the left value
/// converted to the right kind, or a neighbour of this value.
void drawOperands(const ComparisonCall& call, LaneMemory& memory, Draw& draw);

/// Lays the call's areas out apart from each other, beginning `misalignment` bytes past an aligned
/// place, with guard bytes around each, and fills what is read with drawn values.
LaneMemory layOutApart(ComparisonCall& call, int misalignment, int runLength, Draw& draw);

/// Runs the build and the naive loop, each in a copy of `memory`. Returns the first difference;
/// empty if there is none.
std::string differenceFromNaive(const ComparisonBuild& build, const ComparisonCall& call,
                                const LaneMemory& memory);

} // namespace Fenlet
