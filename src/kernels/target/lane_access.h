// How kernels reach single lanes.
#pragma once

#include "kernels/target/target.h"

#include <cstdint>
#include <cstring>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// Lane `index` of an area. Areas need not be aligned for their lanes, so lanes are read and
/// written through `memcpy`. That costs nothing.
template <class Lane>
inline Lane loadLane(const unsigned char* area, std::int64_t index) {
    Lane value;
    std::memcpy(&value, area + index * static_cast<std::int64_t>(sizeof(Lane)), sizeof(Lane));
    return value;
}

template <class Lane>
inline void storeLane(unsigned char* area, std::int64_t index, Lane value) {
    std::memcpy(area + index * static_cast<std::int64_t>(sizeof(Lane)), &value, sizeof(Lane));
}

/// The same bits as a value of another type.
template <class To, class From>
inline To bitCast(From value) {
    return __builtin_bit_cast(To, value);
}

/// The unsigned integer of that many bytes, to move lanes of any type.
template <int bytes>
struct UnsignedOf;
template <>
struct UnsignedOf<1> {
    using Type = std::uint8_t;
};
template <>
struct UnsignedOf<2> {
    using Type = std::uint16_t;
};
template <>
struct UnsignedOf<4> {
    using Type = std::uint32_t;
};
template <>
struct UnsignedOf<8> {
    using Type = std::uint64_t;
};
template <int bytes>
using UnsignedOfSize = typename UnsignedOf<bytes>::Type;

} // namespace FENLET_TARGET
} // namespace Fenlet
