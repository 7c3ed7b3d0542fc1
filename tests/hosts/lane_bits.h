// Lanes of any kind as bit patterns, and the expected results of conversions.
#pragma once

#include "oracle/exact_conversions.h"
#include "oracle/lane_bits.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>
#include <ostream>
#include <vector>

namespace Fenlet {

/// Prints a kind in the message of a failed check.
inline void PrintTo(CpuElementKind kind, std::ostream* out) {
    *out << cpuElementKindName(kind);
}

namespace Hosts {

using Bytes = std::vector<unsigned char>;

inline constexpr CpuElementKind allKinds[] = {CpuElementKind::Tribool, CpuElementKind::Int32,
                                              CpuElementKind::Int64,   CpuElementKind::Half,
                                              CpuElementKind::Float32, CpuElementKind::Float64};
inline constexpr CpuElementKind kindsWithoutStorage[] = {
    CpuElementKind::Unsupported, static_cast<CpuElementKind>(7), static_cast<CpuElementKind>(-1)};

/// Whether there is a conversion from `from` to `to`.
constexpr bool converts(CpuElementKind to, CpuElementKind from) {
    return to == from || (to != CpuElementKind::Tribool && from != CpuElementKind::Tribool);
}

/// The bits of a lane of kind `from` after conversion to kind `to`.
constexpr std::uint64_t converted(CpuElementKind to, CpuElementKind from, std::uint64_t bits) {
    return to == from ? bits : Oracle::convertBits(to, from, bits);
}

using Oracle::loadBits;
using Oracle::storeBits;

/// Values of a kind that conversions treat differently: exact ones, ties, and values that do not
/// fit into a smaller kind.
inline std::vector<std::uint64_t> tellingBits(CpuElementKind kind) {
    switch (kind) {
    case CpuElementKind::Tribool:
        return {0, 1, 255, 7};
    case CpuElementKind::Int32:
        return {0, 1, 0xFFFFFFFE, 2049, 65520, 16777217, 0x7FFFFFFF, 0x80000000};
    case CpuElementKind::Int64:
        return {0,          ~std::uint64_t{1},     2051,
                0x80000000, (1ULL << 53) + 1,      0x123456789ABCDEF0,
                1ULL << 63, ~std::uint64_t{0} >> 1};
    case CpuElementKind::Half:
        return {0x0000, 0x8000, 0x3E00, 0xC500, 0x0001, 0x7BFF, 0x7C00, 0xFC00, 0x7E01};
    case CpuElementKind::Float32:
        return {0x00000000, 0x80000000, 0x40300000, 0xC0300000, 0x3F801000,
                0x4F000000, 0x7F7FFFFF, 0x00000001, 0x7F800000, 0xFFC12345};
    default:
        return {0,
                1ULL << 63,
                0x4006000000000000,
                0xC006000000000000,
                0x3FF0000010000000,
                0x41DFFFFFFFC00000,
                0x43E0000000000000,
                0x7FEFFFFFFFFFFFFF,
                1,
                0xFFF0000000000000,
                0x7FF8123456789ABC};
    }
}

/// `count` lanes that repeat the values of `tellingBits`.
inline Bytes tellingLanes(CpuElementKind kind, std::size_t count) {
    const auto size = static_cast<std::size_t>(elementSize(kind));
    const std::vector<std::uint64_t> bits = tellingBits(kind);
    Bytes bytes(count * size);
    for (std::size_t i = 0; i < count; ++i)
        storeBits(kind, bytes.data() + i * size, bits[i % bits.size()]);
    return bytes;
}

} // namespace Hosts
} // namespace Fenlet
