// AVX-512: F, BW, DQ and VL.
#pragma once

#include "kernels/target/x86.h"
#include "vocabulary/kinds.h"

#include <cstdint>
#include <immintrin.h>

namespace Fenlet {
inline namespace FENLET_TARGET {

inline constexpr int vectorBytes = 64;

/// Whether any bit of a vector is set. Compilers do not emit this instruction for a plain loop.
template <class Vector>
inline bool isAnySet(const Vector& bytes) {
    const auto all = bitCast<__m512i>(bytes);
    return _mm512_test_epi8_mask(all, all) != 0;
}

/// Narrows masks. The instruction for that keeps the 16-byte quarters of vectors apart.
struct NarrowMasks {
    using Bytes = __m512i;
    /// The masks of two vectors, each half as wide as before.
    static Bytes halved(const Bytes& low, const Bytes& high) {
        return _mm512_packs_epi16(low, high);
    }
    using Fours [[gnu::vector_size(vectorBytes)]] = std::uint32_t;
    /// Puts masks of lanes of 4 bytes in order, after the last halving.
    template <int laneBytes>
    static Bytes inOrder(const Bytes& masks) {
        static_assert(laneBytes == 4);
        const auto fours = bitCast<Fours>(masks);
        return bitCast<Bytes>(__builtin_shufflevector(fours, fours, 0, 4, 8, 12, 1, 5, 9, 13, 2, 6,
                                                      10, 14, 3, 7, 11, 15));
    }
};

/// Sixteen lanes at a time.
struct WideLanes : Int64Truncation {
    using Floats = __m512;
    using Integers = __m512i;
    // g++ 12 warns that the forms without a mask read uninitialised values.
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
    static Integers divided(Integers left, Integers right) {
        const auto eight = [](__m256i a, __m256i b) {
            return _mm512_maskz_cvttpd_epi32(half,
                                             _mm512_div_pd(_mm512_maskz_cvtepi32_pd(half, a),
                                                           _mm512_maskz_cvtepi32_pd(half, b)));
        };
        const __m256i low = eight(_mm512_maskz_extracti64x4_epi64(half, left, 0),
                                  _mm512_maskz_extracti64x4_epi64(half, right, 0));
        const __m256i high = eight(_mm512_maskz_extracti64x4_epi64(half, left, 1),
                                   _mm512_maskz_extracti64x4_epi64(half, right, 1));
        return _mm512_maskz_inserti64x4(half, _mm512_castsi256_si512(low), high, 1);
    }
    static __m512i truncateToInt64(const unsigned char* in, float /*kind*/) {
        return _mm512_maskz_cvttps_epi64(half, loadLane<__m256>(in, 0));
    }
    static __m512i truncateToInt64(const unsigned char* in, double /*kind*/) {
        return _mm512_maskz_cvttpd_epi64(half, _mm512_loadu_pd(in));
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

/// Loads lanes of an operand in the type that both operands are compared in. Lanes that have no bit
/// in the mask are not read.
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

// The processor's number for each of our predicates. Of the predicates on floats, only "not equal"
// holds for a NaN.
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

    /// Validity is null, or given for both sides.
    static void run(unsigned char* out, const unsigned char* left,
                    const unsigned char* leftValidity, const unsigned char* right,
                    const unsigned char* rightValidity, std::int64_t lanes) {
        const bool isInDoubt = leftValidity != nullptr;
        const auto missing = [=](std::int64_t first, __mmask64 some) {
            const __m512i bytes =
                _mm512_min_epu8(_mm512_maskz_loadu_epi8(some, leftValidity + first),
                                _mm512_maskz_loadu_epi8(some, rightValidity + first));
            return _mm512_testn_epi8_mask(bytes, bytes);
        };
        std::int64_t i = 0;
        if (!isInDoubt)
            for (; i + 64 <= lanes; i += 64)
                _mm512_storeu_si512(out + i, truths(left, right, i));
        else
            for (; i + 64 <= lanes; i += 64)
                _mm512_storeu_si512(out + i,
                                    _mm512_or_si512(truths(left, right, i),
                                                    _mm512_movm_epi8(missing(i, ~__mmask64{0}))));
        for (; i < lanes; i += together) {
            const std::int64_t rest = lanes - i < together ? lanes - i : together;
            const auto some = static_cast<Mask>((1u << rest) - 1);
            const __m128i known = _mm_maskz_mov_epi8(mask(left, right, i, some), _mm_set1_epi8(1));
            const __m128i unknown =
                _mm_movm_epi8(static_cast<__mmask16>(isInDoubt ? missing(i, some) : 0));
            _mm_mask_storeu_epi8(out + i, some, _mm_or_si128(known, unknown));
        }
    }

  private:
    using Lane = typename Predicate::Lane;
    static constexpr std::int64_t together = (vectorBytes / std::int64_t{sizeof(Lane)});
    using Mask = UnsignedOfSize<together / 8>;

    /// The truth of 64 lanes.
    static __m512i truths(const unsigned char* left, const unsigned char* right,
                          std::int64_t first) {
        const auto sixteen = [=](std::int64_t part) {
            return maskOfSixteen(left, right, first + 16 * part);
        };
        const __mmask32 low = _mm512_kunpackw(sixteen(1), sixteen(0));
        const __mmask32 high = _mm512_kunpackw(sixteen(3), sixteen(2));
        return _mm512_maskz_mov_epi8(_mm512_kunpackd(high, low), _mm512_set1_epi8(1));
    }
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

/// Marks the lanes among sixty-four with a given choice: a bit for each lane.
struct ManyChoices {
    using Bytes = __m512i;
    static __mmask64 equal(const Bytes& choices, unsigned char choice) {
        return _mm512_cmpeq_epi8_mask(choices, _mm512_set1_epi8(static_cast<char>(choice)));
    }
    static __mmask64 neither(__mmask64 some, __mmask64 others) { return ~(some | others); }
};

/// Vectors of words, 64 bytes long: one word repeated, and masked loads and stores.
template <class Word>
struct MaskedWords;

template <>
struct MaskedWords<std::uint8_t> {
    using Mask = __mmask64;
    static __m512i all(std::uint8_t word) { return _mm512_set1_epi8(static_cast<char>(word)); }
    static __m512i load(__m512i otherwise, Mask mask, const unsigned char* in) {
        return _mm512_mask_loadu_epi8(otherwise, mask, in);
    }
    static void store(unsigned char* out, Mask mask, __m512i words) {
        _mm512_mask_storeu_epi8(out, mask, words);
    }
};

template <>
struct MaskedWords<std::uint16_t> {
    using Mask = __mmask32;
    static __m512i all(std::uint16_t word) { return _mm512_set1_epi16(static_cast<short>(word)); }
    static __m512i load(__m512i otherwise, Mask mask, const unsigned char* in) {
        return _mm512_mask_loadu_epi16(otherwise, mask, in);
    }
    static void store(unsigned char* out, Mask mask, __m512i words) {
        _mm512_mask_storeu_epi16(out, mask, words);
    }
};

template <>
struct MaskedWords<std::uint32_t> {
    using Mask = __mmask16;
    static __m512i all(std::uint32_t word) { return _mm512_set1_epi32(static_cast<int>(word)); }
    static __m512i load(__m512i otherwise, Mask mask, const unsigned char* in) {
        return _mm512_mask_loadu_epi32(otherwise, mask, in);
    }
    static void store(unsigned char* out, Mask mask, __m512i words) {
        _mm512_mask_storeu_epi32(out, mask, words);
    }
};

template <>
struct MaskedWords<std::uint64_t> {
    using Mask = __mmask8;
    static __m512i all(std::uint64_t word) {
        return _mm512_set1_epi64(static_cast<long long>(word));
    }
    static __m512i load(__m512i otherwise, Mask mask, const unsigned char* in) {
        return _mm512_mask_loadu_epi64(otherwise, mask, in);
    }
    static void store(unsigned char* out, Mask mask, __m512i words) {
        _mm512_mask_storeu_epi64(out, mask, words);
    }
};

template <class Word, class Choice>
requires requires {
    typename MaskedWords<Word>::Mask;
}
struct MaskedPick<Word, Choice> {
    static constexpr bool isWide = true;

    static std::int64_t run(unsigned char* out, const unsigned char* choices, const TwoArms& arms,
                            std::int64_t lanes) {
        const __m512i unknown = MaskedWords<Word>::all(loadLane<Word>(arms.unknown, 0));
        const auto sourceOf = [&](const unsigned char* arm) {
            return arm != nullptr ? arm : arms.unknown;
        };
        const TwoArms sources{sourceOf(arms.whenFalse), sourceOf(arms.whenTrue), nullptr};
        std::int64_t i = 0;
        for (; i + 64 <= lanes; i += 64)
            pick<true>(out, _mm512_loadu_si512(choices + i), sources, unknown, i, 64);
        if (i < lanes) {
            const __mmask64 some = (__mmask64{1} << (lanes - i)) - 1;
            pick<false>(out, _mm512_maskz_loadu_epi8(some, choices + i), sources, unknown, i,
                        lanes - i);
        }
        return lanes;
    }

  private:
    /// Picks `count` lanes, starting at `first`: sixty-four if `isWhole`, otherwise fewer.
    template <bool isWhole>
    static void pick(unsigned char* out, const __m512i& choices, const TwoArms& arms,
                     const __m512i& unknown, std::int64_t first, std::int64_t count) {
        using Words = MaskedWords<Word>;
        using Mask = typename Words::Mask;
        constexpr std::int64_t bytes = sizeof(Word);
        constexpr std::int64_t together = 64 / bytes;
        const __mmask64 some = isWhole ? ~__mmask64{0} : (__mmask64{1} << count) - 1;
        const __mmask64 whenTrue = Choice::template whenTrue<ManyChoices>(choices) & some;
        const __mmask64 whenFalse = Choice::template whenFalse<ManyChoices>(choices) & some;
        for (std::int64_t done = 0; done < (isWhole ? 64 : count); done += together) {
            const std::int64_t at = (first + done) * bytes;
            __m512i picked =
                Words::load(unknown, static_cast<Mask>(whenTrue >> done), arms.whenTrue + at);
            picked = Words::load(picked, static_cast<Mask>(whenFalse >> done), arms.whenFalse + at);
            if constexpr (isWhole)
                _mm512_storeu_si512(out + at, picked);
            else
                Words::store(out + at, static_cast<Mask>(some >> done), picked);
        }
    }
};

} // namespace FENLET_TARGET
} // namespace Fenlet
