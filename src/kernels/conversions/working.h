// The types that kernels compute in, and the conversion of operands to these types.
#pragma once

#include "kernels/conversions/conversions.h"
#include "kernels/lanes/tiles.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// The type in which an operation with this result kind computes: binary32 for `Half`, otherwise
/// the type of the result's lanes.
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

/// Converts an operand's lane to the result kind, which may round, and from there exactly to the
/// working type.
template <class Result, class From>
struct ToWorking {
    using In = From;
    using Out = Working<Result>;
    static Out apply(In value) { return convert<Out>(convert<Result>(value)); }
};

/// A loop that applies a map, such as `mapRun<Convert<float, Half>>`.
using LaneMap = void (*)(unsigned char* out, const unsigned char* in, std::int64_t lanes);
/// A loop that applies an operation with two operands, such as an instance of `combineRun`.
using LaneOperation = void (*)(unsigned char* out, const unsigned char* left,
                               const unsigned char* right, std::int64_t lanes);
/// A loop that repeats each lane, an instance of `spreadRun`.
using LaneSpread = void (*)(unsigned char* out, const unsigned char* in, std::int64_t elements,
                            std::int64_t multiplicity);

/// The loop that converts lanes to the working type; null if the lanes already have this type.
template <class Result, class From>
constexpr LaneMap toWorking() {
    if constexpr (isSame<From, Working<Result>> && !isSame<Result, Half>)
        return nullptr;
    else
        return &mapRun<ToWorking<Result, From>>;
}

/// The loop that converts lanes from one kind to another; null if the kinds are the same.
template <class To, class From>
constexpr LaneMap conversionRun() {
    if constexpr (isSame<To, From>)
        return nullptr;
    else
        return &mapRun<Convert<To, From>>;
}

/// A tile that has room for lanes of any type.
using WidestTile = Tile<double>;

/// One operand of a call: where its lanes are, and the loop that converts them to the working type.
struct Operand {
    const unsigned char* lanes;
    std::int64_t bytes; ///< of one lane
    LaneMap toWorking;

    /// Returns `count` lanes, starting at `first`, in the working type. They are converted into
    /// `tile`, or stay where they are if no conversion is needed.
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
