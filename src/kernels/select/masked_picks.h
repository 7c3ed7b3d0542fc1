// Picking many lanes from two arms at once, by the processor's masked loads, where the set has
// them.
//
// A lane that its mask leaves out is not read, so that an arm may end, or lie in memory that nobody
// may read, wherever nothing is taken from it.
#pragma once

#include "kernels/lanes/lanes.h"

#ifdef __AVX2__
#include <immintrin.h>
#endif

namespace Fenlet {
inline namespace FENLET_TARGET {

/// Both arms and what an unknown lane holds, for picks in which every lane goes one way. An arm
/// that is null gives what an unknown lane holds.
struct TwoArms {
    const unsigned char* whenFalse;
    const unsigned char* whenTrue;
    const unsigned char* unknown;
};

/// Where lanes take their values, by a byte for each: that of one arm, that of the other, or any
/// other byte for neither.
template <unsigned char falseWay, unsigned char trueWay>
struct ByWay {
    template <class Words>
    static auto whenTrue(const typename Words::Bytes& ways) {
        return Words::equal(ways, trueWay);
    }
    template <class Words>
    static auto whenFalse(const typename Words::Bytes& ways) {
        return Words::equal(ways, falseWay);
    }
};

/// The same by a lane's condition: 1 for one arm, 255 for neither, any other byte for the other.
struct ByCondition {
    template <class Words>
    static auto whenTrue(const typename Words::Bytes& conditions) {
        return Words::equal(conditions, 1);
    }
    template <class Words>
    static auto whenFalse(const typename Words::Bytes& conditions) {
        return Words::neither(Words::equal(conditions, 1), Words::equal(conditions, 255));
    }
};

/// Lanes picked from the first on, and how many that were: those that fill whole vectors. `Choice`
/// is one of the two above.
template <class Word, class Choice>
struct MaskedPick {
    static constexpr bool isWide = false;
    static std::int64_t run(unsigned char*, const unsigned char*, const TwoArms&, std::int64_t) {
        return 0;
    }
};

#ifdef __AVX512BW__

/// Which of sixty-four lanes go a way, as bits.
struct ManyChoices {
    using Bytes = __m512i;
    static __mmask64 equal(const Bytes& choices, unsigned char choice) {
        return _mm512_cmpeq_epi8_mask(choices, _mm512_set1_epi8(static_cast<char>(choice)));
    }
    static __mmask64 neither(__mmask64 some, __mmask64 others) { return ~(some | others); }
};

/// Sixty-four bytes of words: all the same, and loads and stores of some of them.
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
    /// `count` lanes from `first` on: sixty-four if `isWhole`, or fewer.
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

#elif defined(__AVX2__)

/// Which of a few lanes go a way, as bytes of all bits or none.
struct FewChoices {
    using Bytes = __m128i;
    static Bytes equal(const Bytes& choices, unsigned char choice) {
        return _mm_cmpeq_epi8(choices, _mm_set1_epi8(static_cast<char>(choice)));
    }
    static Bytes neither(const Bytes& some, const Bytes& others) {
        return _mm_andnot_si128(_mm_or_si128(some, others), _mm_set1_epi8(-1));
    }
};

/// Thirty-two bytes of words, and loads of some of them; the others are zero.
template <class Word>
struct MaskedWords;

template <>
struct MaskedWords<std::uint32_t> : FewChoices {
    static Bytes loadBytes(const void* choices) {
        return _mm_loadl_epi64(static_cast<const __m128i*>(choices));
    }
    static __m256i widen(const Bytes& bytes) { return _mm256_cvtepi8_epi32(bytes); }
    static __m256i all(std::uint32_t word) { return _mm256_set1_epi32(static_cast<int>(word)); }
    static __m256i load(__m256i mask, const void* in) {
        return _mm256_maskload_epi32(static_cast<const int*>(in), mask);
    }
};

template <>
struct MaskedWords<std::uint64_t> : FewChoices {
    static Bytes loadBytes(const unsigned char* choices) {
        return _mm_cvtsi32_si128(loadLane<std::int32_t>(choices, 0));
    }
    static __m256i widen(const Bytes& bytes) { return _mm256_cvtepi8_epi64(bytes); }
    static __m256i all(std::uint64_t word) {
        return _mm256_set1_epi64x(static_cast<long long>(word));
    }
    static __m256i load(__m256i mask, const void* in) {
        return _mm256_maskload_epi64(static_cast<const long long*>(in), mask);
    }
};

template <class Word, class Choice>
requires requires {
    MaskedWords<Word>::all(Word{});
}
struct MaskedPick<Word, Choice> {
    static constexpr bool isWide = true;
    static std::int64_t run(unsigned char* out, const unsigned char* choices, const TwoArms& arms,
                            std::int64_t lanes) {
        using Words = MaskedWords<Word>;
        constexpr std::int64_t bytes = sizeof(Word);
        constexpr std::int64_t together = 32 / bytes;
        const __m256i unknown = Words::all(loadLane<Word>(arms.unknown, 0));
        const auto sourceOf = [&](const unsigned char* arm) {
            return arm != nullptr ? arm : arms.unknown;
        };
        const unsigned char* const whenTrue = sourceOf(arms.whenTrue);
        const unsigned char* const whenFalse = sourceOf(arms.whenFalse);
        std::int64_t i = 0;
        for (; i + together <= lanes; i += together) {
            const typename Words::Bytes some = Words::loadBytes(choices + i);
            __m256i picked = unknown;
            const auto take = [&](const unsigned char* arm, __m256i mask) {
                picked = _mm256_blendv_epi8(picked, Words::load(mask, arm + i * bytes), mask);
            };
            take(whenTrue, Words::widen(Choice::template whenTrue<Words>(some)));
            take(whenFalse, Words::widen(Choice::template whenFalse<Words>(some)));
            storeLane(out + i * bytes, 0, picked);
        }
        return i;
    }
};

#endif

} // namespace FENLET_TARGET
} // namespace Fenlet
