// SSE2. Every x86-64 processor has it.
#pragma once

#include "kernels/target/x86.h"

#include <immintrin.h>

namespace Fenlet {
inline namespace FENLET_TARGET {

inline constexpr int vectorBytes = 16;

/// Whether any bit of a vector is set. Compilers do not emit this instruction for a plain loop.
template <class Vector>
inline bool isAnySet(const Vector& bytes) {
    const __m128i zeros = _mm_cmpeq_epi8(bitCast<__m128i>(bytes), _mm_setzero_si128());
    return _mm_movemask_epi8(zeros) != 0xFFFF;
}

/// Narrows masks.
struct NarrowMasks {
    using Bytes = __m128i;
    /// The masks of two vectors, each half as wide as before.
    static Bytes halved(const Bytes& low, const Bytes& high) { return _mm_packs_epi16(low, high); }
    /// Puts masks of lanes of `laneBytes` bytes in order, after the last halving.
    template <int laneBytes>
    static Bytes inOrder(const Bytes& masks) {
        return masks;
    }
};

/// Four lanes at a time. This set has no conversions of halves.
struct WideLanes : Int64Truncation {
    using Floats = __m128;
    using Integers = __m128i;

    static Floats loadFloats(const unsigned char* in) { return loadLane<__m128>(in, 0); }
    static Integers truncated(Floats value) { return _mm_cvttps_epi32(value); }
    static Integers truncateDoubles(const unsigned char* in) {
        return _mm_unpacklo_epi64(_mm_cvttpd_epi32(loadLane<__m128d>(in, 0)),
                                  _mm_cvttpd_epi32(loadLane<__m128d>(in, 1)));
    }
    static Integers divided(Integers left, Integers right) {
        const auto two = [](__m128i a, __m128i b) {
            return _mm_cvttpd_epi32(_mm_div_pd(_mm_cvtepi32_pd(a), _mm_cvtepi32_pd(b)));
        };
        return _mm_unpacklo_epi64(two(left, right), two(_mm_unpackhi_epi64(left, left),
                                                        _mm_unpackhi_epi64(right, right)));
    }
};

} // namespace FENLET_TARGET
} // namespace Fenlet
