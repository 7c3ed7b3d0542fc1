// Comparing many lanes at once by the processor's masks, where the set has them.
//
// A comparison answers by a bit for each lane, and a bit becomes a byte in one step: no vectors of
// longer lanes are packed into bytes, whatever the kind.
#pragma once

#include "kernels/lanes/vectors.h"

#include <cstdint>

#if defined(__AVX512BW__) && defined(__AVX512VL__)
#include <immintrin.h>
#endif

namespace Fenlet {
inline namespace FENLET_TARGET {

/// All lanes of a comparison. Not every set has masks, nor are there loads for every pair of kinds.
template <class Predicate, class Left, class Right>
struct MaskedComparison {
    static constexpr bool isThere = false;
};

#if defined(__AVX512BW__) && defined(__AVX512VL__)

/// How some lanes of an operand are loaded in the type that both are compared in: those that have a
/// bit in the mask. No others are read.
template <class Lane, class From>
struct ComparedLanes;
template <>
struct ComparedLanes<std::int32_t, std::int32_t> {
    static auto load(const unsigned char* in, __mmask16 some) {
        return _mm512_maskz_loadu_epi32(some, in);
    }
};
template <>
struct ComparedLanes<std::int64_t, std::int64_t> {
    static auto load(const unsigned char* in, __mmask8 some) {
        return _mm512_maskz_loadu_epi64(some, in);
    }
};
template <>
struct ComparedLanes<float, std::int32_t> {
    static auto load(const unsigned char* in, __mmask16 some) {
        return _mm512_maskz_cvtepi32_ps(some, _mm512_maskz_loadu_epi32(some, in));
    }
};
template <>
struct ComparedLanes<float, Half> {
    static auto load(const unsigned char* in, __mmask16 some) {
        return _mm512_maskz_cvtph_ps(some, _mm256_maskz_loadu_epi16(some, in));
    }
};
template <>
struct ComparedLanes<float, float> {
    static auto load(const unsigned char* in, __mmask16 some) {
        return _mm512_maskz_loadu_ps(some, in);
    }
};
template <>
struct ComparedLanes<double, std::int32_t> {
    static auto load(const unsigned char* in, __mmask8 some) {
        return _mm512_maskz_cvtepi32_pd(some, _mm256_maskz_loadu_epi32(some, in));
    }
};
template <>
struct ComparedLanes<double, float> {
    static auto load(const unsigned char* in, __mmask8 some) {
        return _mm512_maskz_cvtps_pd(some, _mm256_maskz_loadu_ps(some, in));
    }
};
template <>
struct ComparedLanes<double, double> {
    static auto load(const unsigned char* in, __mmask8 some) {
        return _mm512_maskz_loadu_pd(some, in);
    }
};

// The processor's numbers for the predicates, by ours. Of floats, only "not equal" holds for a NaN.
inline constexpr int floatOrders[] = {_CMP_LT_OQ, _CMP_LE_OQ, _CMP_GT_OQ,
                                      _CMP_GE_OQ, _CMP_EQ_OQ, _CMP_NEQ_UQ};
inline constexpr int integerOrders[] = {_MM_CMPINT_LT,  _MM_CMPINT_LE, _MM_CMPINT_NLE,
                                        _MM_CMPINT_NLT, _MM_CMPINT_EQ, _MM_CMPINT_NE};

template <int predicate>
struct MaskWhere {
    static constexpr int floatOrder = floatOrders[predicate];
    static constexpr int integerOrder = integerOrders[predicate];
    static __mmask16 holds(const __m512& left, const __m512& right, float /*lane*/) {
        return _mm512_cmp_ps_mask(left, right, floatOrder);
    }
    static __mmask8 holds(const __m512d& left, const __m512d& right, double /*lane*/) {
        return _mm512_cmp_pd_mask(left, right, floatOrder);
    }
    static __mmask16 holds(const __m512i& left, const __m512i& right, std::int32_t /*lane*/) {
        return _mm512_cmp_epi32_mask(left, right, integerOrder);
    }
    static __mmask8 holds(const __m512i& left, const __m512i& right, std::int64_t /*lane*/) {
        return _mm512_cmp_epi64_mask(left, right, integerOrder);
    }
};

template <class Predicate, class Left, class Right>
requires requires {
    ComparedLanes<typename Predicate::Lane, Left>::load(nullptr, 0);
    ComparedLanes<typename Predicate::Lane, Right>::load(nullptr, 0);
}
struct MaskedComparison<Predicate, Left, Right> {
    static constexpr bool isThere = true;

    static void run(unsigned char* out, const unsigned char* left, const unsigned char* right,
                    std::int64_t lanes) {
        const __m512i ones = _mm512_set1_epi8(1);
        std::int64_t i = 0;
        for (; i + 64 <= lanes; i += 64) {
            const auto sixteen = [=](std::int64_t part) {
                return maskOfSixteen(left, right, i + 16 * part);
            };
            const __mmask32 low = _mm512_kunpackw(sixteen(1), sixteen(0));
            const __mmask32 high = _mm512_kunpackw(sixteen(3), sixteen(2));
            _mm512_storeu_si512(out + i, _mm512_maskz_mov_epi8(_mm512_kunpackd(high, low), ones));
        }
        for (; i < lanes; i += together) {
            const std::int64_t rest = lanes - i < together ? lanes - i : together;
            const auto some = static_cast<Mask>((1u << rest) - 1);
            const __m128i truths = _mm_maskz_mov_epi8(mask(left, right, i, some), _mm_set1_epi8(1));
            _mm_mask_storeu_epi8(out + i, some, truths);
        }
    }

  private:
    using Lane = typename Predicate::Lane;
    static constexpr std::int64_t together = lanesOfVector<Lane>;
    using Mask = UnsignedOfSize<together / 8>;

    static Mask mask(const unsigned char* left, const unsigned char* right, std::int64_t first,
                     Mask some) {
        return MaskWhere<Predicate::number>::holds(
            ComparedLanes<Lane, Left>::load(left + first * std::int64_t{sizeof(Left)}, some),
            ComparedLanes<Lane, Right>::load(right + first * std::int64_t{sizeof(Right)}, some),
            Lane{});
    }
    static __mmask16 maskOfSixteen(const unsigned char* left, const unsigned char* right,
                                   std::int64_t first) {
        constexpr auto all = static_cast<Mask>(~0u);
        if constexpr (together == 16)
            return mask(left, right, first, all);
        else
            return _mm512_kunpackb(mask(left, right, first + 8, all),
                                   mask(left, right, first, all));
    }
};

#endif

} // namespace FENLET_TARGET
} // namespace Fenlet
