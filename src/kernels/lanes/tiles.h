// Processing a block in tiles. A tile is a run of lanes short enough to stay in the first-level
// cache from one pass over it to the next.
#pragma once

#include "kernels/lanes/lanes.h"
#include "kernels/lanes/vectors.h"

#include <cstddef>
#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// Lanes in a tile. Tests compile the kernels with smaller tiles, so that small blocks reach every
/// tile boundary.
#ifdef FENLET_TILE_LANES
inline constexpr std::int64_t tileLanes = FENLET_TILE_LANES;
#else
inline constexpr std::int64_t tileLanes = 512;
#endif

/// An uninitialised buffer for the lanes of a tile. Kernels have it on the stack.
template <class Lane>
struct Tile {
    alignas(64) unsigned char bytes[static_cast<std::size_t>(tileLanes) * sizeof(Lane)];
};

/// How many elements or lanes a loop processes at a time. Loops over elements use `elements`, and
/// loops over the lanes of these elements use `lanes`. Both are 1 if lanes depend on one another,
/// so that they are processed in order.
struct Pace {
    std::int64_t elements;
    std::int64_t lanes;
};

inline Pace paceOf(bool lanesIndependent, std::int64_t multiplicity) {
    if (!lanesIndependent)
        return {1, 1};
    // Avoids the division below in the most common case.
    if (multiplicity == 1)
        return {tileLanes, tileLanes};
    const std::int64_t elements = tileLanes / multiplicity;
    // A multiple of 64 elements fills whole vectors of every lane type.
    if (elements >= 64)
        return {elements / 64 * 64, tileLanes};
    return {elements > 0 ? elements : 1, tileLanes};
}

inline std::int64_t atMost(std::int64_t limit, std::int64_t value) {
    return value < limit ? value : limit;
}

/// A run of consecutive elements or lanes.
struct Piece {
    std::int64_t first;
    std::int64_t length;
};

/// Cuts `count` elements or lanes into pieces for a range-based `for`. Each piece has the length
/// `pace`, except that the last piece has what remains.
struct Pieces {
    std::int64_t count;
    std::int64_t pace;

    struct Iterator {
        std::int64_t first;
        const Pieces& all;
        Piece operator*() const { return {first, atMost(all.pace, all.count - first)}; }
        void operator++() { first += all.pace; }
        bool operator!=(const Iterator& end) const { return first < end.first; }
    };
    Iterator begin() const { return {0, *this}; }
    Iterator end() const { return {count, *this}; }
};

/// `value` repeated 2 or 4 times, in an integer of 2 or 4 bytes.
template <int times>
inline UnsignedOfSize<times> repeated(std::uint8_t value) {
    using Wide = UnsignedOfSize<times>;
    const auto twice = static_cast<Wide>(value | value << 8);
    if constexpr (times == 2)
        return twice;
    else
        return twice | twice << 16;
}

// Repeats each lane `multiplicity` times. Shuffles vectors if the set has a suitable instruction.
template <class Lane, int multiplicity>
[[gnu::noinline]] void spreadFixed(unsigned char* out, const unsigned char* in,
                                   std::int64_t elements) {
    constexpr bool fitsInteger = sizeof(Lane) == 1 && (multiplicity == 2 || multiplicity == 4);
    // Sets with vectors of 16 bytes lack an instruction that shuffles lanes of 1 or 2 bytes into
    // any order.
    constexpr bool isWide = multiplicity > 1 && (sizeof(Lane) > 2 || vectorBytes > 16);
    constexpr std::int64_t laneBytes = sizeof(Lane);
    const std::int64_t done = isWide ? elements - elements % lanesOfVector<Lane> : 0;
    for (std::int64_t i = 0; i < done * laneBytes; i += vectorBytes) {
        const auto some = loadLane<VectorOf<Lane>>(in + i, 0);
        [&]<int... part>(Numbers<part...>) {
            (storeLane(out + i * multiplicity, part, spreadPart<multiplicity, part, Lane>(some)),
             ...);
        }
        (numbersBelow<multiplicity>);
    }
    FENLET_INDEPENDENT_LANES
    for (std::int64_t e = done; e < elements; ++e) {
        const auto value = loadLane<Lane>(in, e);
        if constexpr (fitsInteger)
            storeLane(out, e, repeated<multiplicity>(value));
        else
            for (std::int64_t c = 0; c < multiplicity; ++c)
                storeLane(out, e * multiplicity + c, value);
    }
}

/// out[e * multiplicity + c] = in[e]: repeats each element's value over its components. The areas
/// must not overlap.
template <class Lane>
[[gnu::noinline]] void spreadRun(unsigned char* out, const unsigned char* in, std::int64_t elements,
                                 std::int64_t multiplicity) {
    switch (multiplicity) {
    case 1:
        return spreadFixed<Lane, 1>(out, in, elements);
    case 2:
        return spreadFixed<Lane, 2>(out, in, elements);
    case 3:
        return spreadFixed<Lane, 3>(out, in, elements);
    case 4:
        return spreadFixed<Lane, 4>(out, in, elements);
    default:
        for (std::int64_t e = 0; e < elements; ++e) {
            const Lane value = loadLane<Lane>(in, e);
            unsigned char* const lanes =
                out + e * multiplicity * static_cast<std::int64_t>(sizeof(Lane));
            FENLET_INDEPENDENT_LANES
            for (std::int64_t c = 0; c < multiplicity; ++c)
                storeLane(lanes, c, value);
        }
    }
}

} // namespace FENLET_TARGET
} // namespace Fenlet
