// What an instruction set can offer beyond the vector code that compilers make of plain loops. Each
// set has a file in this folder. It defines the width of a register (`vectorBytes`), a test for any
// set bit (`isAnySet`) and the conversions of lanes (`WideLanes`, with those functions that the set
// has instructions for), and it specialises the templates below where it can. Code that uses them
// asks what there is and falls back on plain loops.
#pragma once

#include "kernels/target/lane_access.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// Both arms, and the value of an unknown lane, where every lane goes one way. A null arm gives the
/// value of an unknown lane.
struct TwoArms {
    const unsigned char* whenFalse;
    const unsigned char* whenTrue;
    const unsigned char* unknown;
};

/// Picks lanes, starting with the first, and returns how many: those that fill whole vectors.
/// `Choice` tells from the bytes `choices` which arm each lane takes.
template <class Word, class Choice>
struct MaskedPick {
    static constexpr bool isWide = false;
    static std::int64_t run(unsigned char*, const unsigned char*, const TwoArms&, std::int64_t) {
        return 0;
    }
};

/// Compares lanes, starting with the first, and returns how many: all of them, or none where the
/// set has no masks or no loads for these kinds.
template <class Predicate, class Left, class Right>
struct MaskedComparison {
    static constexpr bool isThere = false;
    static std::int64_t run(unsigned char*, const unsigned char*, const unsigned char*,
                            std::int64_t) {
        return 0;
    }
};

} // namespace FENLET_TARGET
} // namespace Fenlet
