// Select where every element has a value: one loop, with the comparison that decides if there is
// one.
#pragma once

#include "kernels/arithmetic/arithmetic.h"

#include <cstdint>

namespace Fenlet {

/// For every lane, result[i] = condition[i] is 1 ? whenTrue[i] : whenFalse[i]. No condition may be
/// unknown. Lane i of the result may be lane i of an arm, or of the condition if lanes have one
/// byte; apart from that, areas must not overlap.
using KnownSelect = void (*)(unsigned char* result, const unsigned char* condition,
                             const unsigned char* whenTrue, const unsigned char* whenFalse,
                             std::int64_t lanes);

/// The loop for lanes of 1, 2, 4 or 8 bytes in the instruction set in use; null for other sizes.
KnownSelect knownSelect(std::int32_t laneBytes);

/// The kinds that have loops for a comparison and a selection. Both sides and both arms have the
/// same kind.
using KindsToCompareAndSelect =
    KindList<Kind<CpuElementKind::Float32, float>, Kind<CpuElementKind::Float64, double>>;

/// For every lane, result[i] = left[i] predicate right[i] ? whenTrue[i] : whenFalse[i]. Lane i of
/// the result may be lane i of an operand; apart from that, areas must not overlap.
using ComparedSelect = void (*)(unsigned char* result, const unsigned char* left,
                                const unsigned char* right, const unsigned char* whenTrue,
                                const unsigned char* whenFalse, std::int64_t lanes);

/// The loop for a predicate, numbered as in a comparison; null if the kind has none.
ComparedSelect comparedSelect(CpuElementKind kind, std::uint32_t predicate);

/// The loops of an instruction set.
struct SelectLoops {
    struct Predicates {
        ComparedSelect of[6];
    };
    KnownSelect known[4]; ///< for 1, 2, 4 and 8 bytes
    KindTable<Predicates, KindsToCompareAndSelect> compared;
};

} // namespace Fenlet
