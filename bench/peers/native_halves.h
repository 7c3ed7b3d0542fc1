// Arithmetic on halves with the instructions of the target processor.
#pragma once

#include <cstdint>

#if defined(__F16C__)
#include <immintrin.h>

namespace Fenlet::Bench {

constexpr bool hasHalves = true;

#if defined(__AVX512F__)
constexpr std::int64_t halvesAtOnce = 16;
// Unmasked intrinsics in the headers of g++ 12 cause warnings about values that they leave
// undefined.
constexpr __mmask16 all = 0xFFFF;
using WideSingles = __m512;
inline WideSingles widen(const std::uint16_t* halves) {
    return _mm512_maskz_cvtph_ps(all, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(halves)));
}
inline void narrow(std::uint16_t* halves, WideSingles singles) {
    _mm256_storeu_si256(
        reinterpret_cast<__m256i*>(halves),
        _mm512_maskz_cvtps_ph(all, singles, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
}
#else
constexpr std::int64_t halvesAtOnce = 8;
using WideSingles = __m256;
inline WideSingles widen(const std::uint16_t* halves) {
    return _mm256_cvtph_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(halves)));
}
inline void narrow(std::uint16_t* halves, WideSingles singles) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(halves),
                     _mm256_cvtps_ph(singles, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
}
#endif

inline float widenOne(std::uint16_t half) {
    return _cvtsh_ss(half);
}
inline std::uint16_t narrowOne(float single) {
    const __m128i halves =
        _mm_cvtps_ph(_mm_set_ss(single), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    return static_cast<std::uint16_t>(_mm_cvtsi128_si32(halves));
}

/// out[i] = left[i] `operate` right[i], computed in Float32 and rounded.
template <class Operate>
void onHalves(std::uint16_t* out, const std::uint16_t* left, const std::uint16_t* right,
              std::int64_t count, Operate operate) {
    std::int64_t i = 0;
    for (; i + halvesAtOnce <= count; i += halvesAtOnce)
        narrow(out + i, operate(widen(left + i), widen(right + i)));
    for (; i < count; ++i)
        out[i] = narrowOne(operate(widenOne(left[i]), widenOne(right[i])));
}

/// out[i] = a[i] * b[i] + c[i], rounded after each operation.
inline void multiplyAdd(std::uint16_t* out, const std::uint16_t* a, const std::uint16_t* b,
                        const std::uint16_t* c, std::int64_t count) {
    std::int64_t i = 0;
    for (; i + halvesAtOnce <= count; i += halvesAtOnce) {
        std::uint16_t product[halvesAtOnce];
        narrow(product, widen(a + i) * widen(b + i));
        narrow(out + i, widen(product) + widen(c + i));
    }
    for (; i < count; ++i)
        out[i] = narrowOne(widenOne(narrowOne(widenOne(a[i]) * widenOne(b[i]))) + widenOne(c[i]));
}

} // namespace Fenlet::Bench
#else
namespace Fenlet::Bench {

constexpr bool hasHalves = false;

template <class Operate>
void onHalves(std::uint16_t*, const std::uint16_t*, const std::uint16_t*, std::int64_t, Operate) {}
inline void multiplyAdd(std::uint16_t*, const std::uint16_t*, const std::uint16_t*,
                        const std::uint16_t*, std::int64_t) {}

} // namespace Fenlet::Bench
#endif
