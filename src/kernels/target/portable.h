// An unknown processor: everything is left to the compiler.
#pragma once

#include "kernels/target/offers.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

inline constexpr int vectorBytes = 16;

/// Whether any bit of a vector is set.
template <class Vector>
inline bool isAnySet(const Vector& bytes) {
    using Words [[gnu::vector_size(vectorBytes)]] = std::uint64_t;
    const auto words = bitCast<Words>(bytes);
    return (words[0] | words[1]) != 0;
}

/// Narrows masks.
struct NarrowMasks {
    using Bytes [[gnu::vector_size(vectorBytes)]] = std::uint8_t;
    /// The masks of two vectors, each half as wide as before.
    static Bytes halved(const Bytes& low, const Bytes& high) {
        return __builtin_shufflevector(low, high, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26,
                                       28, 30);
    }
    /// Puts masks of lanes of `laneBytes` bytes in order, after the last halving.
    template <int laneBytes>
    static Bytes inOrder(const Bytes& masks) {
        return masks;
    }
};

/// There are no conversions here.
struct WideLanes {};

} // namespace FENLET_TARGET
} // namespace Fenlet
