// Vectors of converted lanes, by the processor's own instructions.
//
// They round, saturate and keep NaNs as the routines for one lane do. Halves: to nearest, ties to
// even, a NaN quiet with its sign and the upper ten bits of its fraction. Integers: truncated
// toward zero, the most negative one where there is none. Compilers do not find these instructions
// by themselves: to them a float that no integer stands for is undefined.
#pragma once

#include "kernels/conversions/working.h"
#include "kernels/lanes/vectors.h"

#if defined(__SSE2__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace Fenlet {
inline namespace FENLET_TARGET {

#if defined(__AVX2__)
/// A value that is in a register now. Compilers would narrow halves and store them by one
/// instruction, which some processors take in many more steps than they do the two.
template <class Vector>
inline Vector inRegister(Vector value) {
    asm("" : "+x"(value));
    return value;
}
#endif

#if defined(__AVX512F__)
/// Sixteen lanes at a time.
struct WideLanes {
    using Floats = __m512;
    using Integers = __m512i;
    // g++ 12 takes the forms without a mask for reads of what was never written.
    static constexpr __mmask16 all = 0xFFFF;
    static constexpr __mmask8 half = 0xFF;

    static Floats loadHalves(const unsigned char* in) {
        return _mm512_maskz_cvtph_ps(all, loadLane<__m256i>(in, 0));
    }
    static Floats loadFloats(const unsigned char* in) { return loadLane<__m512>(in, 0); }
    static Floats loadIntegers(const unsigned char* in) {
        return _mm512_maskz_cvtepi32_ps(all, loadLane<__m512i>(in, 0));
    }
    static Integers truncated(Floats value) { return _mm512_maskz_cvttps_epi32(all, value); }
    static Integers truncateDoubles(const unsigned char* in) {
        const __m256i low = _mm512_maskz_cvttpd_epi32(half, loadLane<__m512d>(in, 0));
        const __m256i high = _mm512_maskz_cvttpd_epi32(half, loadLane<__m512d>(in, 1));
        return _mm512_maskz_inserti64x4(half, _mm512_castsi256_si512(low), high, 1);
    }
    static void storeHalves(unsigned char* out, Floats value) {
        storeLane(out, 0, inRegister(narrowed(value)));
    }
    static Floats rounded(Floats value) { return _mm512_maskz_cvtph_ps(all, narrowed(value)); }

  private:
    static __m256i narrowed(Floats value) {
        return _mm512_maskz_cvtps_ph(all, value, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }
};
#elif defined(__AVX2__)
/// Eight lanes at a time.
struct WideLanes {
    using Floats = __m256;
    using Integers = __m256i;

    static Floats loadHalves(const unsigned char* in) {
        return _mm256_cvtph_ps(loadLane<__m128i>(in, 0));
    }
    static Floats loadFloats(const unsigned char* in) { return loadLane<__m256>(in, 0); }
    static Floats loadIntegers(const unsigned char* in) {
        return _mm256_cvtepi32_ps(loadLane<__m256i>(in, 0));
    }
    static Integers truncated(Floats value) { return _mm256_cvttps_epi32(value); }
    static Integers truncateDoubles(const unsigned char* in) {
        return _mm256_set_m128i(_mm256_cvttpd_epi32(loadLane<__m256d>(in, 1)),
                                _mm256_cvttpd_epi32(loadLane<__m256d>(in, 0)));
    }
    static void storeHalves(unsigned char* out, Floats value) {
        storeLane(out, 0, inRegister(narrowed(value)));
    }
    static Floats rounded(Floats value) { return _mm256_cvtph_ps(narrowed(value)); }

  private:
    static __m128i narrowed(Floats value) {
        return _mm256_cvtps_ph(value, _MM_FROUND_TO_NEAREST_INT);
    }
};
#elif defined(__SSE2__)
/// Four lanes at a time. There are no halves in this set.
struct WideLanes {
    using Floats = __m128;
    using Integers = __m128i;

    static Floats loadFloats(const unsigned char* in) { return loadLane<__m128>(in, 0); }
    static Integers truncated(Floats value) { return _mm_cvttps_epi32(value); }
    static Integers truncateDoubles(const unsigned char* in) {
        return _mm_unpacklo_epi64(_mm_cvttpd_epi32(loadLane<__m128d>(in, 0)),
                                  _mm_cvttpd_epi32(loadLane<__m128d>(in, 1)));
    }
};
#elif defined(__aarch64__)
/// Four lanes at a time. Where there is no integer this processor has others, so that truncation is
/// left to compilers.
struct WideLanes {
    using Floats = float32x4_t;

    static Floats loadHalves(const unsigned char* in) {
        return widened(loadLane<uint16x4_t>(in, 0));
    }
    static Floats loadFloats(const unsigned char* in) { return loadLane<float32x4_t>(in, 0); }
    static Floats loadIntegers(const unsigned char* in) {
        return vcvtq_f32_s32(loadLane<int32x4_t>(in, 0));
    }
    static void storeHalves(unsigned char* out, Floats value) {
        storeLane(out, 0, narrowed(value));
    }
    static Floats rounded(Floats value) { return widened(narrowed(value)); }

  private:
    static Floats widened(uint16x4_t halves) { return vcvt_f32_f16(vreinterpret_f16_u16(halves)); }
    static uint16x4_t narrowed(Floats value) { return vreinterpret_u16_f16(vcvt_f16_f32(value)); }
};
#endif

/// How a vector of an operand's lanes is loaded in the working type of an operation with this
/// result. Not every set has a way, nor every pair of kinds.
template <class Result, class From>
struct WideOperand;

#if defined(__F16C__) || defined(__aarch64__)
template <>
struct WideOperand<Half, Half> {
    static auto load(const unsigned char* in) { return WideLanes::loadHalves(in); }
};
template <>
struct WideOperand<Half, float> {
    static auto load(const unsigned char* in) {
        return WideLanes::rounded(WideLanes::loadFloats(in));
    }
};
/// Rounded twice but with the result of rounding once: whatever binary32 cannot hold is infinite as
/// a Half.
template <>
struct WideOperand<Half, std::int32_t> {
    static auto load(const unsigned char* in) {
        return WideLanes::rounded(WideLanes::loadIntegers(in));
    }
};
template <>
struct WideOperand<float, Half> : WideOperand<Half, Half> {};
template <>
struct WideOperand<float, float> {
    static auto load(const unsigned char* in) { return WideLanes::loadFloats(in); }
};
template <>
struct WideOperand<float, std::int32_t> {
    static auto load(const unsigned char* in) { return WideLanes::loadIntegers(in); }
};
#endif

#ifdef __F16C__
template <>
struct WideOperand<std::int32_t, Half> {
    static auto load(const unsigned char* in) {
        return WideLanes::truncated(WideLanes::loadHalves(in));
    }
};
#endif

#ifdef __SSE2__
template <>
struct WideOperand<std::int32_t, float> {
    static auto load(const unsigned char* in) {
        return WideLanes::truncated(WideLanes::loadFloats(in));
    }
};
template <>
struct WideOperand<std::int32_t, double> {
    static auto load(const unsigned char* in) { return WideLanes::truncateDoubles(in); }
};
template <>
struct WideOperand<std::int32_t, std::int32_t> {
    static auto load(const unsigned char* in) { return loadLane<WideLanes::Integers>(in, 0); }
};
#endif

/// How a vector of the working type becomes lanes of the result.
template <class Result>
struct WideResult {
    template <class Vector>
    static void store(unsigned char* out, const Vector& value) {
        storeLane(out, 0, value);
    }
};
#if defined(__F16C__) || defined(__aarch64__)
template <>
struct WideResult<Half> {
    template <class Vector>
    static void store(unsigned char* out, const Vector& value) {
        WideLanes::storeHalves(out, bitCast<WideLanes::Floats>(value));
    }
};
#endif

template <class Result, class From>
inline constexpr bool hasWideOperand = requires {
    WideOperand<Result, From>::load(nullptr);
};

} // namespace FENLET_TARGET
} // namespace Fenlet
