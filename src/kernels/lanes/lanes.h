// Loops over lanes, and the test whether a loop may work on several lanes at once.
#pragma once

#include "kernels/target/lane_access.h"
#include "kernels/target/target.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Fenlet {

inline namespace FENLET_TARGET {

/// The bytes that a kernel reads or writes in one area.
struct LaneRange {
    const void* start;
    std::int64_t lanes;
    std::int64_t laneBytes;
};

inline bool areDisjoint(const LaneRange& a, const LaneRange& b) {
    const auto startOf = [](const LaneRange& range) {
        return reinterpret_cast<std::uintptr_t>(range.start);
    };
    const auto endOf = [startOf](const LaneRange& range) {
        return startOf(range) + static_cast<std::uintptr_t>(range.lanes * range.laneBytes);
    };
    return endOf(a) <= startOf(b) || endOf(b) <= startOf(a);
}

/// Whether a kernel that writes `written` and reads `read` may work on several lanes at once: the
/// result must be the same as for one lane at a time in ascending order. This holds if the ranges
/// do not overlap, or if they begin at the same address and have lanes of the same size.
inline bool lanesAreIndependent(const LaneRange& written, const LaneRange& read) {
    return (written.start == read.start && written.laneBytes == read.laneBytes) ||
           areDisjoint(written, read);
}

/// Applies a map to lanes from the first on, with instructions that only this set has. Returns how
/// many lanes it has processed. Maps without such instructions use this general template, which
/// processes none.
template <class Map>
struct WideRun {
    static std::int64_t run(unsigned char*, const unsigned char*, std::int64_t) { return 0; }
};

/// out[i] = Map::apply(in[i]) for every lane. `Map` defines the types `In` and `Out`. The lanes
/// must be independent (see `lanesAreIndependent`), or `lanes` must be 1. The loop is not unrolled
/// if the map changes the size of a lane or has 8-byte lanes: each iteration then does enough work
/// already.
template <class Map>
[[gnu::noinline]] void mapRun(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
    const std::int64_t done = WideRun<Map>::run(out, in, lanes);
    constexpr std::size_t laneBytes = sizeof(typename Map::Out);
    if constexpr (laneBytes == sizeof(typename Map::In) && laneBytes <= 4) {
        FENLET_INDEPENDENT_LANES
        FENLET_FOUR_IN_A_ROW
        for (std::int64_t i = done; i < lanes; ++i)
            storeLane(out, i, Map::apply(loadLane<typename Map::In>(in, i)));
    } else {
        FENLET_INDEPENDENT_LANES
        for (std::int64_t i = done; i < lanes; ++i)
            storeLane(out, i, Map::apply(loadLane<typename Map::In>(in, i)));
    }
}

/// out[i] = Operation::apply(left[i], right[i]) for every lane. `Operation` defines the types
/// `Left`, `Right` and `Out`. The lanes must be independent, or `lanes` must be 1.
template <class Operation>
[[gnu::noinline]] void combineRun(unsigned char* out, const unsigned char* left,
                                  const unsigned char* right, std::int64_t lanes) {
    FENLET_INDEPENDENT_LANES
    FENLET_FOUR_IN_A_ROW
    for (std::int64_t i = 0; i < lanes; ++i)
        storeLane(out, i,
                  Operation::apply(loadLane<typename Operation::Left>(left, i),
                                   loadLane<typename Operation::Right>(right, i)));
}

} // namespace FENLET_TARGET
} // namespace Fenlet
