// The ways of a Select's entries: which arm each one takes, or neither. Also finds stretches, which
// are consecutive entries with the same way. A part of select_kernels.cpp.
#pragma once

#include "kernels/lanes/tiles.h"
#include "vocabulary/kinds.h"

#include <cstddef>
#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

// The ways, as bits: an element whose components have their own conditions can have several ways.
constexpr unsigned char takesFalse = 1;
constexpr unsigned char takesTrue = 2;
constexpr unsigned char takesNeither = 4;
constexpr std::size_t wayCount = 8;

struct WayOf {
    using In = Tribool;
    using Out = unsigned char;
    static Out apply(In condition) {
        const auto known = condition == 1 ? takesTrue : takesFalse;
        return condition == 255 ? takesNeither : known;
    }
};

/// Consecutive entries that are processed together. All have the way `way`, or it is 0 and their
/// ways differ.
struct Stretch {
    std::int64_t length;
    unsigned char way;
};

/// How many entries at the start have the same way as the first. The count may be up to seven too
/// low, since eight are compared at a time.
std::int64_t alikeFromFirst(const unsigned char* ways, std::int64_t count) {
    const std::uint64_t alike = ways[0] * std::uint64_t{0x0101010101010101};
    std::int64_t length = 0;
    while (length + 8 <= count && loadLane<std::uint64_t>(ways + length, 0) == alike)
        length += 8;
    if (length + 8 <= count)
        return length;
    while (length < count && ways[length] == ways[0])
        ++length;
    return length;
}

/// The stretch at the start of the entries. It joins entries of different ways where fewer than
/// `enough` in a row have the same one.
Stretch nextStretch(const unsigned char* ways, std::int64_t count, std::int64_t enough) {
    const std::int64_t alike = alikeFromFirst(ways, count);
    if (alike >= atMost(enough, count))
        return {alike, ways[0]};
    std::int64_t mixed = atMost(enough, count);
    while (mixed < count) {
        const std::int64_t more = atMost(enough, count - mixed);
        if (alikeFromFirst(ways + mixed, more) == more)
            break;
        mixed += more;
    }
    return {mixed, 0};
}

template <class Visit>
void forEachStretch(const unsigned char* ways, std::int64_t count, std::int64_t enough,
                    Visit visit) {
    for (std::int64_t first = 0; first < count;) {
        const Stretch stretch = nextStretch(ways + first, count - first, enough);
        visit(first, stretch);
        first += stretch.length;
    }
}

template <std::int64_t components>
inline void uniteFixed(unsigned char* out, const unsigned char* ways, std::int64_t elements) {
    for (std::int64_t e = 0; e < elements; ++e) {
        unsigned char united = 0;
        for (std::int64_t c = 0; c < components; ++c)
            united = static_cast<unsigned char>(united | ways[e * components + c]);
        out[e] = united;
    }
}

/// For each element, the union of the ways of its components.
[[gnu::noinline]] void uniteWays(unsigned char* out, const unsigned char* ways,
                                 std::int64_t elements, std::int64_t components) {
    switch (components) {
    case 2:
        return uniteFixed<2>(out, ways, elements);
    case 3:
        return uniteFixed<3>(out, ways, elements);
    case 4:
        return uniteFixed<4>(out, ways, elements);
    default:
        for (std::int64_t e = 0; e < elements; ++e) {
            unsigned char united = 0;
            for (std::int64_t c = 0; c < components; ++c)
                united = static_cast<unsigned char>(united | ways[e * components + c]);
            out[e] = united;
        }
    }
}

} // namespace
} // namespace FENLET_TARGET
} // namespace Fenlet
