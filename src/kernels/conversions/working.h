// The types that kernels compute in, and how operands reach them.
#pragma once

#include "kernels/conversions/conversions.h"
#include "kernels/lanes/tiles.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// The type that an operation with this result computes in. `Half` is computed in binary32.
template <class Result>
struct WorkingOf {
    using Type = Result;
};
template <>
struct WorkingOf<Half> {
    using Type = float;
};
template <class Result>
using Working = typename WorkingOf<Result>::Type;

/// An operand's lane, converted to the result kind and from there, exactly, to the working type.
template <class Result, class From>
struct ToWorking {
    using In = From;
    using Out = Working<Result>;
    static Out apply(In value) { return convert<Out>(convert<Result>(value)); }
};

/// A loop over one map: `mapRun<...>`.
using LaneMap = void (*)(unsigned char* out, const unsigned char* in, std::int64_t lanes);
/// A loop over one operation: `combineRun<...>` or one like it.
using LaneOperation = void (*)(unsigned char* out, const unsigned char* left,
                               const unsigned char* right, std::int64_t lanes);
/// `spreadRun<...>`.
using LaneSpread = void (*)(unsigned char* out, const unsigned char* in, std::int64_t elements,
                            std::int64_t multiplicity);

/// Converts lanes to the working type; null if they have it already.
template <class Result, class From>
constexpr LaneMap toWorking() {
    if constexpr (isSame<From, Working<Result>> && !isSame<Result, Half>)
        return nullptr;
    else
        return &mapRun<ToWorking<Result, From>>;
}

/// Converts lanes from one kind to another; null if the kinds are the same.
template <class To, class From>
constexpr LaneMap conversionRun() {
    if constexpr (isSame<To, From>)
        return nullptr;
    else
        return &mapRun<Convert<To, From>>;
}

/// A tile for lanes of any type.
using WidestTile = Tile<double>;

/// One operand of a call: where its lanes are, and how they reach the working type.
struct Operand {
    const unsigned char* lanes;
    std::int64_t bytes; ///< of one lane
    LaneMap toWorking;

    /// `count` lanes, starting at `first`, in the working type: in `tile`, or in place if there is
    /// nothing to convert.
    const unsigned char* fetch(std::int64_t first, std::int64_t count, WidestTile& tile) const {
        const unsigned char* const start = lanes + first * bytes;
        if (toWorking == nullptr)
            return start;
        toWorking(tile.bytes, start, count);
        return tile.bytes;
    }
};

} // namespace FENLET_TARGET
} // namespace Fenlet
