// Looking through an area for what is not as it should be, whole vectors at a time.
#pragma once

#include "kernels/lanes/vectors.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace Fenlet {
inline namespace FENLET_TARGET {

using ByteVector = VectorOf<std::uint8_t>;

/// Whether any bit of a vector is set. No compiler finds the instruction for that by itself.
inline bool isAnySet(const ByteVector& bytes) {
#if defined(__AVX512BW__)
    const auto all = bitCast<__m512i>(bytes);
    return _mm512_test_epi8_mask(all, all) != 0;
#elif defined(__AVX2__)
    const auto all = bitCast<__m256i>(bytes);
    return _mm256_testz_si256(all, all) == 0;
#elif defined(__SSE2__)
    const __m128i zeros = _mm_cmpeq_epi8(bitCast<__m128i>(bytes), _mm_setzero_si128());
    return _mm_movemask_epi8(zeros) != 0xFFFF;
#elif defined(__aarch64__)
    return vmaxvq_u8(bitCast<uint8x16_t>(bytes)) != 0;
#else
    const auto words = bitCast<VectorOf<std::uint64_t>>(bytes);
    return (words[0] | words[1]) != 0;
#endif
}

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

/// Whether none of `count` bytes is one that `Sought` looks for, which a 1 never is. It asks every
/// four vectors: what is missing is often missing early.
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
