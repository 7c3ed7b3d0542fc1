// Copies of elements between arrays, which may have strides, and registers, which are packed.
#pragma once

#include "fetch_ahead.h"

#include <fenlethosts/array_layout.h>

#include <cstdint>
#include <cstring>

namespace Fenlet {

/// An element of `size` bytes whose components are adjacent.
template <std::size_t size>
struct FixedElement {
    static constexpr std::int64_t bytes = size;

    void pack(unsigned char* out, const unsigned char* in) const { std::memcpy(out, in, size); }
    void unpack(unsigned char* out, const unsigned char* in) const { std::memcpy(out, in, size); }
    void clear(unsigned char* out) const { std::memset(out, 0, size); }
};

/// An element of any size whose components are adjacent.
struct AdjacentElement {
    std::int64_t bytes;

    void pack(unsigned char* out, const unsigned char* in) const {
        std::memcpy(out, in, static_cast<std::size_t>(bytes));
    }
    void unpack(unsigned char* out, const unsigned char* in) const { pack(out, in); }
    void clear(unsigned char* out) const { std::memset(out, 0, static_cast<std::size_t>(bytes)); }
};

/// An element whose components, of `laneSize` bytes each, lie `stride` bytes apart.
template <std::size_t laneSize>
struct SpreadElement {
    static constexpr std::int64_t laneBytes = laneSize;
    std::int64_t bytes;
    std::int64_t stride;

    void pack(unsigned char* out, const unsigned char* in) const {
        for (std::int64_t at = 0; at < bytes; at += laneBytes, in += stride)
            std::memcpy(out + at, in, laneSize);
    }
    void unpack(unsigned char* out, const unsigned char* in) const {
        for (std::int64_t at = 0; at < bytes; at += laneBytes, out += stride)
            std::memcpy(out, in + at, laneSize);
    }
    void clear(unsigned char* out) const { std::memset(out, 0, static_cast<std::size_t>(bytes)); }
};

/// Calls work(element) with the `FixedElement`, `AdjacentElement` or `SpreadElement` that copies an
/// element of this array.
template <class Work>
void withElementCopy(const ArrayLayout& array, Work work) {
    const std::int64_t bytes = array.elementBytes();
    if (!array.hasAdjacentComponents()) {
        switch (array.laneBytes()) {
        case 1:
            return work(SpreadElement<1>{bytes, array.componentStride()});
        case 2:
            return work(SpreadElement<2>{bytes, array.componentStride()});
        case 4:
            return work(SpreadElement<4>{bytes, array.componentStride()});
        default:
            return work(SpreadElement<8>{bytes, array.componentStride()});
        }
    }
    switch (bytes) {
    case 1:
        return work(FixedElement<1>());
    case 2:
        return work(FixedElement<2>());
    case 3:
        return work(FixedElement<3>());
    case 4:
        return work(FixedElement<4>());
    case 8:
        return work(FixedElement<8>());
    case 12:
        return work(FixedElement<12>());
    case 16:
        return work(FixedElement<16>());
    default:
        return work(AdjacentElement{bytes});
    }
}

/// If an array spans more than `farBytes` bytes, its elements are probably not in the first two
/// caches. They are then prefetched `turnsBefore` elements ahead.
inline constexpr std::int64_t farBytes = 1 << 20;
inline constexpr std::int64_t turnsBefore = 32;

/// Whether the elements span more than `farBytes`.
inline bool reachesFar(const ElementPlaces& places) {
    return places.span() > farBytes;
}

/// Packs `count` elements that lie `stride` bytes apart.
template <class Element>
void packRun(const Element& element, unsigned char* __restrict out,
             const unsigned char* __restrict in, std::int64_t count, std::int64_t stride) {
    for (std::int64_t i = 0; i < count; ++i)
        element.pack(out + i * element.bytes, in + i * stride);
}

/// Does what `packRun` does, for elements that are probably not in the first two caches. Prefetches
/// each group of elements before it packs the group before. A prefetch beyond the last element does
/// no harm.
template <class Element>
void packFarRun(const Element& element, unsigned char* __restrict out,
                const unsigned char* __restrict in, std::int64_t count, std::int64_t stride) {
    const auto address = reinterpret_cast<std::uintptr_t>(in);
    for (std::int64_t done = 0; done < count; done += turnsBefore) {
        const std::int64_t turn = count - done < turnsBefore ? count - done : turnsBefore;
        for (std::int64_t i = done + turnsBefore; i < done + turnsBefore + turn; ++i)
            fetchLine(address + static_cast<std::uint64_t>(i) * static_cast<std::uint64_t>(stride));
        packRun(element, out + done * element.bytes, in + done * stride, turn, stride);
    }
}

/// Packs the elements at these addresses. For a null address, stores zero bytes.
template <class Element>
void packFound(const Element& element, unsigned char* out, const unsigned char* const* addresses,
               std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) {
        if (addresses[i] != nullptr)
            element.pack(out + i * element.bytes, addresses[i]);
        else
            element.clear(out + i * element.bytes);
    }
}

/// Whether elements this far apart share cache lines.
inline bool sharesLines(std::int64_t stride) {
    constexpr auto line = static_cast<std::int64_t>(lineBytes);
    return stride > -line && stride < line;
}

/// Eight bytes for the bits of a byte: 255 for a bit that is set, 0 for the others. The lowest bit
/// comes first in memory.
inline std::uint64_t bytesOfBits(unsigned char bits) {
    constexpr bool isBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
    constexpr std::uint64_t each = 0x0101010101010101;
    constexpr std::uint64_t itsBit = isBigEndian ? 0x0102040810204080 : 0x8040201008040201;
    const std::uint64_t single = bits * each & itsBit;
    // Adding 127 sets the highest bit of each byte that is not 0 and never carries.
    return ((single + 0x7F * each) >> 7 & each) * 255;
}

} // namespace Fenlet
