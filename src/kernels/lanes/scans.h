// Searches validity bytes for exceptions, a vector at a time.
#pragma once

#include "kernels/lanes/masks.h"

#include <cstdint>
#include <cstring>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// Looks for a byte that is 0.
struct Zeros {
    static ByteVector of(const ByteVector& bytes) { return bytes; }
    static ByteVector together(const ByteVector& a, const ByteVector& b) { return a < b ? a : b; }
    static bool areIn(const ByteVector& seen) { return isAnySet(bitCast<ByteVector>(seen == 0)); }
};

/// Looks for a byte that is not 1.
struct OthersThanOne {
    static ByteVector of(const ByteVector& bytes) { return bytes ^ std::uint8_t{1}; }
    static ByteVector together(const ByteVector& a, const ByteVector& b) { return a | b; }
    static bool areIn(const ByteVector& seen) { return isAnySet(seen); }
};

/// Whether none of `count` bytes is one that `Sought` looks for. `Sought` must not look for 1,
/// because bytes of 1 pad the last vector. Tests after every four vectors, as a byte that is sought
/// often comes early.
template <class Sought>
[[gnu::noinline]] bool hasNone(const unsigned char* bytes, std::int64_t count) {
    const auto seen = [bytes](std::int64_t i) {
        return Sought::of(loadLane<ByteVector>(bytes + i, 0));
    };
    std::int64_t i = 0;
    for (; i + 4 * vectorBytes <= count; i += 4 * vectorBytes) {
        const ByteVector low = Sought::together(seen(i), seen(i + vectorBytes));
        const ByteVector high =
            Sought::together(seen(i + 2 * vectorBytes), seen(i + 3 * vectorBytes));
        if (Sought::areIn(Sought::together(low, high)))
            return false;
    }
    for (; i + vectorBytes <= count; i += vectorBytes)
        if (Sought::areIn(seen(i)))
            return false;
    if (i >= count)
        return true;
    ByteVector rest = ByteVector{} + std::uint8_t{1};
    std::memcpy(&rest, bytes + i, static_cast<std::size_t>(count - i));
    return !Sought::areIn(Sought::of(rest));
}

} // namespace FENLET_TARGET
} // namespace Fenlet
