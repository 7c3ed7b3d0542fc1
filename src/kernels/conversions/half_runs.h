// Runs of Half conversions by the processor's own instructions, where the set has them (F16C).
//
// They round, saturate and keep NaNs as the routines for one lane do: to nearest, ties to even, a
// NaN quiet with its sign and the upper ten bits of its fraction.
#pragma once

#include "kernels/conversions/working.h"

#ifdef __F16C__
#include <immintrin.h>

namespace Fenlet {
inline namespace FENLET_TARGET {

#ifdef __AVX512F__
/// Sixteen lanes at a time.
struct WideLanes {
    static constexpr std::int64_t lanes = 16;
    using Floats = __m512;
    // g++ 12 takes the forms without a mask for reads of what was never written.
    static constexpr __mmask16 allLanes = 0xFFFF;

    static Floats loadHalves(const unsigned char* in) {
        return _mm512_maskz_cvtph_ps(allLanes,
                                     _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in)));
    }
    static Floats loadFloats(const unsigned char* in) { return _mm512_loadu_ps(in); }
    static Floats loadIntegers(const unsigned char* in) {
        return _mm512_maskz_cvtepi32_ps(allLanes, _mm512_loadu_si512(in));
    }
    static void storeHalves(unsigned char* out, Floats value) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), narrowed(value));
    }
    static void storeFloats(unsigned char* out, Floats value) { _mm512_storeu_ps(out, value); }
    static Floats rounded(Floats value) { return _mm512_maskz_cvtph_ps(allLanes, narrowed(value)); }

  private:
    static __m256i narrowed(Floats value) {
        return _mm512_maskz_cvtps_ph(allLanes, value,
                                     _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }
};
#else
/// Eight lanes at a time.
struct WideLanes {
    static constexpr std::int64_t lanes = 8;
    using Floats = __m256;

    static Floats loadHalves(const unsigned char* in) {
        return _mm256_cvtph_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in)));
    }
    static Floats loadFloats(const unsigned char* in) {
        return _mm256_loadu_ps(reinterpret_cast<const float*>(in));
    }
    static Floats loadIntegers(const unsigned char* in) {
        return _mm256_cvtepi32_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in)));
    }
    static void storeHalves(unsigned char* out, Floats value) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), narrowed(value));
    }
    static void storeFloats(unsigned char* out, Floats value) {
        _mm256_storeu_ps(reinterpret_cast<float*>(out), value);
    }
    static Floats rounded(Floats value) { return _mm256_cvtph_ps(narrowed(value)); }

  private:
    static __m128i narrowed(Floats value) {
        return _mm256_cvtps_ph(value, _MM_FROUND_TO_NEAREST_INT);
    }
};
#endif

/// Halves to floats, exactly.
struct WidenHalves {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        std::int64_t i = 0;
        for (; i + WideLanes::lanes <= lanes; i += WideLanes::lanes)
            WideLanes::storeFloats(out + i * 4, WideLanes::loadHalves(in + i * 2));
        return i;
    }
};
template <>
struct WideRun<Convert<float, Half>> : WidenHalves {};
template <>
struct WideRun<ToWorking<float, Half>> : WidenHalves {};
template <>
struct WideRun<ToWorking<Half, Half>> : WidenHalves {};

template <>
struct WideRun<Convert<Half, float>> {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        std::int64_t i = 0;
        for (; i + WideLanes::lanes <= lanes; i += WideLanes::lanes)
            WideLanes::storeHalves(out + i * 2, WideLanes::loadFloats(in + i * 4));
        return i;
    }
};

/// Floats rounded to what a Half holds.
template <>
struct WideRun<ToWorking<Half, float>> {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        std::int64_t i = 0;
        for (; i + WideLanes::lanes <= lanes; i += WideLanes::lanes)
            WideLanes::storeFloats(out + i * 4,
                                   WideLanes::rounded(WideLanes::loadFloats(in + i * 4)));
        return i;
    }
};

/// Integers, rounded twice but with the result of rounding once: whatever binary32 cannot hold is
/// infinite as a Half.
template <>
struct WideRun<ToWorking<Half, std::int32_t>> {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        std::int64_t i = 0;
        for (; i + WideLanes::lanes <= lanes; i += WideLanes::lanes)
            WideLanes::storeFloats(out + i * 4,
                                   WideLanes::rounded(WideLanes::loadIntegers(in + i * 4)));
        return i;
    }
};
template <>
struct WideRun<Convert<Half, std::int32_t>> {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        std::int64_t i = 0;
        for (; i + WideLanes::lanes <= lanes; i += WideLanes::lanes)
            WideLanes::storeHalves(out + i * 2, WideLanes::loadIntegers(in + i * 4));
        return i;
    }
};

} // namespace FENLET_TARGET
} // namespace Fenlet
#endif
