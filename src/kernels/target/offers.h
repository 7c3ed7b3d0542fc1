// What an instruction set may offer beyond what compilers find in plain loops. Each set has a file
// beside this one, which says how wide its registers are (`vectorBytes`), whether any bit of a
// vector is set (`isAnySet`), how lanes are converted (`WideLanes`, of which a set has the
// functions that it has instructions for), and specialises what it can of the templates here.
// Whoever uses them asks what is there, and has plain loops for the rest.
#pragma once

#include "kernels/target/lane_access.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// Both arms and what an unknown lane holds, for picks in which every lane goes one way. An arm
/// that is null gives what an unknown lane holds.
struct TwoArms {
    const unsigned char* whenFalse;
    const unsigned char* whenTrue;
    const unsigned char* unknown;
};

/// Lanes picked from the first on, and how many that were: those that fill whole vectors. `Choice`
/// tells from the bytes `choices` which arm each lane takes.
template <class Word, class Choice>
struct MaskedPick {
    static constexpr bool isWide = false;
    static std::int64_t run(unsigned char*, const unsigned char*, const TwoArms&, std::int64_t) {
        return 0;
    }
};

/// All lanes of a comparison. Not every set has masks, nor are there loads for every pair of kinds.
template <class Predicate, class Left, class Right>
struct MaskedComparison {
    static constexpr bool isThere = false;
};

} // namespace FENLET_TARGET
} // namespace Fenlet
