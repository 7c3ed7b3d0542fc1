// Lanes in memory as bit patterns, on machines of either byte order.
#pragma once

#include <fenletexec/element_kinds.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Fenlet::Oracle {

/// The offset of the lowest `size` bytes within a std::uint64_t.
constexpr std::size_t lowBytes(std::size_t size) {
    return __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? sizeof(std::uint64_t) - size : 0;
}

/// The bits of the lane, as many as the kind has; higher bits are 0.
inline std::uint64_t loadBits(CpuElementKind kind, const unsigned char* lane) {
    const auto size = static_cast<std::size_t>(elementSize(kind));
    std::uint64_t bits = 0;
    std::memcpy(reinterpret_cast<unsigned char*>(&bits) + lowBytes(size), lane, size);
    return bits;
}

/// Writes the lowest bits to the lane, as many as the kind has.
inline void storeBits(CpuElementKind kind, unsigned char* lane, std::uint64_t bits) {
    const auto size = static_cast<std::size_t>(elementSize(kind));
    std::memcpy(lane, reinterpret_cast<const unsigned char*>(&bits) + lowBytes(size), size);
}

} // namespace Fenlet::Oracle
