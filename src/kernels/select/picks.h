// Copies each entry of a Select from the source that its way names, one by one or a vector at a
// time. A part of select_kernels.cpp.
#pragma once

#include "kernels/lanes/tiles.h"
#include "kernels/select/ways.h"
#include "kernels/target/instructions.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

/// Decides by way: a lane takes the false arm if its byte is `falseWay`, the true arm if it is
/// `trueWay`, and otherwise neither.
template <unsigned char falseWay, unsigned char trueWay>
struct ByWay {
    template <class Words>
    static auto whenTrue(const typename Words::Bytes& ways) {
        return Words::equal(ways, trueWay);
    }
    template <class Words>
    static auto whenFalse(const typename Words::Bytes& ways) {
        return Words::equal(ways, falseWay);
    }
};

/// Decides by condition: a lane takes the true arm if its byte is 1, neither arm if it is 255, and
/// otherwise the false arm.
struct ByCondition {
    template <class Words>
    static auto whenTrue(const typename Words::Bytes& conditions) {
        return Words::equal(conditions, 1);
    }
    template <class Words>
    static auto whenFalse(const typename Words::Bytes& conditions) {
        return Words::neither(Words::equal(conditions, 1), Words::equal(conditions, 255));
    }
};

/// The most components of an element that is picked. Larger elements are copied as runs.
constexpr std::int64_t mostPicked = 32;

/// Equal bytes, enough for all entries that are picked at once.
template <unsigned char value, std::int64_t laneBytes>
struct SameBytes {
    static constexpr std::int64_t lanes = tileLanes > mostPicked ? tileLanes : mostPicked;
    unsigned char bytes[static_cast<std::size_t>(lanes * laneBytes)] = {};

    consteval SameBytes() {
        for (unsigned char& byte : bytes)
            byte = value;
    }
};
constexpr SameBytes<0, 8> zeros;
constexpr SameBytes<1, 1> ones;
constexpr SameBytes<255, 1> unknowns;

/// The source of each way. Entry e takes its value from entry e of its way's source.
struct Sources {
    const unsigned char* of[wayCount];
};

template <class Word, std::int64_t words>
void pickFixed(unsigned char* out, const unsigned char* ways, const Sources& sources,
               std::int64_t entries) {
    for (std::int64_t e = 0; e < entries; ++e) {
        const unsigned char* const in = sources.of[ways[e]];
        Word entry[static_cast<std::size_t>(words)];
        for (std::int64_t word = 0; word < words; ++word)
            entry[word] = loadLane<Word>(in, e * words + word);
        for (std::int64_t word = 0; word < words; ++word)
            storeLane(out, e * words + word, entry[word]);
    }
}

/// Copies every entry e from entry e of its way's source.
[[gnu::noinline]] void pickRun(unsigned char* out, const unsigned char* ways,
                               const Sources& sources, std::int64_t entries,
                               std::int64_t entryBytes) {
    switch (entryBytes) {
    case 1:
        return pickFixed<std::uint8_t, 1>(out, ways, sources, entries);
    case 2:
        return pickFixed<std::uint16_t, 1>(out, ways, sources, entries);
    case 3:
        return pickFixed<std::uint8_t, 3>(out, ways, sources, entries);
    case 4:
        return pickFixed<std::uint32_t, 1>(out, ways, sources, entries);
    case 6:
        return pickFixed<std::uint16_t, 3>(out, ways, sources, entries);
    case 8:
        return pickFixed<std::uint64_t, 1>(out, ways, sources, entries);
    case 12:
        return pickFixed<std::uint32_t, 3>(out, ways, sources, entries);
    case 16:
        return pickFixed<std::uint64_t, 2>(out, ways, sources, entries);
    case 24:
        return pickFixed<std::uint64_t, 3>(out, ways, sources, entries);
    case 32:
        return pickFixed<std::uint64_t, 4>(out, ways, sources, entries);
    default:
        for (std::int64_t e = 0; e < entries; ++e)
            std::memmove(out + e * entryBytes, sources.of[ways[e]] + e * entryBytes,
                         static_cast<std::size_t>(entryBytes));
    }
}

using LaneWay = ByWay<takesFalse, takesTrue>;

template <class Word>
void pickLanesOf(unsigned char* out, const unsigned char* ways, const TwoArms& arms,
                 std::int64_t lanes) {
    constexpr std::int64_t bytes = sizeof(Word);
    const std::int64_t done = MaskedPick<Word, LaneWay>::run(out, ways, arms, lanes);
    const auto sourceOf = [&](const unsigned char* arm) {
        return (arm != nullptr ? arm : arms.unknown) + done * bytes;
    };
    Sources sources{};
    sources.of[takesTrue] = sourceOf(arms.whenTrue);
    sources.of[takesFalse] = sourceOf(arms.whenFalse);
    sources.of[takesNeither] = sourceOf(nullptr);
    pickFixed<Word, 1>(out + done * bytes, ways + done, sources, lanes - done);
}

/// Whether lanes of `laneBytes` bytes are picked a whole vector at a time.
bool arePickedWide(std::int64_t laneBytes) {
    switch (laneBytes) {
    case 1:
        return MaskedPick<std::uint8_t, LaneWay>::isWide;
    case 2:
        return MaskedPick<std::uint16_t, LaneWay>::isWide;
    case 4:
        return MaskedPick<std::uint32_t, LaneWay>::isWide;
    default:
        return MaskedPick<std::uint64_t, LaneWay>::isWide;
    }
}

/// Like `pickRun`, for entries of one lane and one way each.
[[gnu::noinline]] void pickLanes(unsigned char* out, const unsigned char* ways, const TwoArms& arms,
                                 std::int64_t lanes, std::int64_t laneBytes) {
    switch (laneBytes) {
    case 1:
        return pickLanesOf<std::uint8_t>(out, ways, arms, lanes);
    case 2:
        return pickLanesOf<std::uint16_t>(out, ways, arms, lanes);
    case 4:
        return pickLanesOf<std::uint32_t>(out, ways, arms, lanes);
    default:
        return pickLanesOf<std::uint64_t>(out, ways, arms, lanes);
    }
}

/// Like `pickLanes`, but decides by conditions instead of ways. `arePickedWide` must hold, and the
/// lanes must fill whole vectors.
[[gnu::noinline]] void pickByCondition(unsigned char* out, const unsigned char* conditions,
                                       const TwoArms& arms, std::int64_t lanes,
                                       std::int64_t laneBytes) {
    switch (laneBytes) {
    case 1:
        MaskedPick<std::uint8_t, ByCondition>::run(out, conditions, arms, lanes);
        return;
    case 2:
        MaskedPick<std::uint16_t, ByCondition>::run(out, conditions, arms, lanes);
        return;
    case 4:
        MaskedPick<std::uint32_t, ByCondition>::run(out, conditions, arms, lanes);
        return;
    default:
        MaskedPick<std::uint64_t, ByCondition>::run(out, conditions, arms, lanes);
    }
}

} // namespace
} // namespace FENLET_TARGET
} // namespace Fenlet
