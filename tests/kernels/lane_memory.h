// The memory in which tests compare kernels with loops over single lanes.
#pragma once

#include "oracle/exact_conversions.h"
#include "oracle/lane_bits.h"

#include <fenletexec/element_kinds.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet {

/// A piece of memory in which a test places areas freely: apart, misaligned or overlapping. A test
/// runs a naive loop on one copy and the kernel on another, and compares the two as a whole,
/// including all bytes that the kernel should not touch.
///
/// The naive loop loads and stores lanes here as bits. If a lane may be any NaN, the loop stores it
/// with `storeNan`; this is an open lane. If the loop reads an open lane later, its result is not
/// defined, and `isAmbiguous` returns true.
class LaneMemory {
  public:
    /// Fills the memory with bytes of which neighbours differ and none is 0 or 1.
    explicit LaneMemory(std::size_t size) : bytes(size), openLanes(size, 0) {
        for (std::size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<unsigned char>(0x60 + i % 29);
    }

    unsigned char* at(std::size_t offset) { return bytes.data() + offset; }
    std::size_t size() const { return bytes.size(); }

    std::uint64_t load(CpuElementKind kind, std::size_t area, std::int64_t index) {
        const std::size_t start = offsetOf(kind, area, index);
        for (std::size_t i = start; i < start + sizeOf(kind); ++i)
            ambiguous = ambiguous || openLanes[i] != 0;
        return bitsAt(kind, start);
    }

    void store(CpuElementKind kind, std::size_t area, std::int64_t index, std::uint64_t bits) {
        put(kind, offsetOf(kind, area, index), bits, 0);
    }

    /// A lane that must be a NaN, with any bits. All such lanes of a memory have the same kind.
    void storeNan(CpuElementKind kind, std::size_t area, std::int64_t index) {
        const std::size_t start = offsetOf(kind, area, index);
        nanKind = kind;
        put(kind, start, ~std::uint64_t{0}, static_cast<std::uint32_t>(start + 1));
    }

    bool isAmbiguous() const { return ambiguous; }

    /// The first byte in which `actual` differs from this memory, in words; empty if there is none.
    /// An open lane may be any NaN.
    std::string firstDifference(const LaneMemory& actual) const {
        if (actual.bytes == bytes)
            return {};
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const std::size_t open = openLanes[i];
            const bool same = open == 0 ? actual.bytes[i] == bytes[i]
                                        : !isWhole(open - 1) || isNanAt(actual, open - 1);
            if (!same)
                return "byte " + std::to_string(i) + ": " + std::to_string(actual.bytes[i]) +
                       " instead of " + (open == 0 ? std::to_string(bytes[i]) : "that of a NaN");
        }
        return {};
    }

  private:
    static std::size_t sizeOf(CpuElementKind kind) {
        return static_cast<std::size_t>(elementSize(kind));
    }
    static std::size_t offsetOf(CpuElementKind kind, std::size_t area, std::int64_t index) {
        return area + static_cast<std::size_t>(index) * sizeOf(kind);
    }

    std::uint64_t bitsAt(CpuElementKind kind, std::size_t start) const {
        return Oracle::loadBits(kind, &bytes.at(start));
    }

    void put(CpuElementKind kind, std::size_t start, std::uint64_t bits, std::uint32_t open) {
        Oracle::storeBits(kind, &bytes.at(start), bits);
        std::fill_n(&openLanes[start], sizeOf(kind), open);
    }

    /// Whether no later store has overwritten a part of the open lane at `start`.
    bool isWhole(std::size_t start) const {
        const auto first = openLanes.begin() + static_cast<std::ptrdiff_t>(start);
        return std::count(first, first + static_cast<std::ptrdiff_t>(sizeOf(nanKind)),
                          static_cast<std::uint32_t>(start + 1)) ==
               static_cast<std::ptrdiff_t>(sizeOf(nanKind));
    }

    bool isNanAt(const LaneMemory& actual, std::size_t start) const {
        return Oracle::isNan(nanKind, actual.bitsAt(nanKind, start));
    }

    std::vector<unsigned char> bytes;
    /// For each byte of an open lane, the offset at which this lane starts, plus 1; 0 for all other
    /// bytes.
    std::vector<std::uint32_t> openLanes;
    CpuElementKind nanKind = CpuElementKind::Float32;
    bool ambiguous = false;
};

/// The offsets of separate areas, with guard bytes around each.
class AreaRow {
  public:
    /// The first area begins `misalignment` bytes after an aligned offset.
    explicit AreaRow(int misalignment) : end(static_cast<std::size_t>(misalignment)) {}

    /// The start of the next area, which has that many lanes.
    std::size_t place(CpuElementKind kind, std::int64_t lanes) {
        const std::size_t start = end + guardBytes;
        end = start + static_cast<std::size_t>(lanes * elementSize(kind));
        return start;
    }
    /// A memory with room for all areas.
    LaneMemory memory() const { return LaneMemory(end + guardBytes); }

  private:
    static constexpr std::size_t guardBytes = 64;
    std::size_t end;
};

} // namespace Fenlet
