// What an instruction set can offer beyond the vector code that compilers make of plain loops. Each
// set has a file in this folder. It defines the width of a register (`vectorBytes`), a test for any
// set bit (`isAnySet`), a way to narrow masks (`NarrowMasks`) and the conversions of lanes
// (`WideLanes`, with those functions that the set has instructions for), and it specialises the
// templates below where it can. Code that uses them checks what is available and otherwise uses
// plain loops.
#pragma once

#include "kernels/target/lane_access.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// The sources of lanes that each take one arm or neither. A null arm gives the value of an unknown
/// lane.
struct TwoArms {
    const unsigned char* whenFalse;
    const unsigned char* whenTrue;
    const unsigned char* unknown;
};

/// Picks as many lanes as fill whole vectors, starting with the first, and returns how many.
/// `Choice` decides by a byte for each lane which arm the lane takes.
template <class Word, class Choice>
struct MaskedPick {
    static constexpr bool isWide = false;
    static std::int64_t run(unsigned char*, const unsigned char*, const TwoArms&, std::int64_t) {
        return 0;
    }
};

/// Loads bytes and widens each to a word with the same sign, for a whole vector of words.
template <class Word>
struct WidenedBytes {
    static constexpr bool isThere = false;
};

/// Compares all lanes, in sets with masks that have loads for these kinds. See `compareRun`.
template <class Predicate, class Left, class Right>
struct MaskedComparison {
    static constexpr bool isThere = false;
};

} // namespace FENLET_TARGET
} // namespace Fenlet
