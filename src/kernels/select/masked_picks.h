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

/// Lanes picked from the first on, and how many that were: those that fill whole vectors. The way
/// of a lane is `falseWay`, `trueWay` or another one, for neither.
template <class Word, unsigned char falseWay, unsigned char trueWay>
struct MaskedPick {
    static constexpr bool isWide = false;
    static std::int64_t run(unsigned char*, const unsigned char*, const TwoArms&, std::int64_t) {
        return 0;
    }
};

#ifdef __AVX512BW__

/// Sixty-four bytes of words, and loads of some of them.
template <class Word>
struct MaskedWords;

template <>
struct MaskedWords<std::uint8_t> {
    using Mask = __mmask64;
    static Mask equal(const unsigned char* ways, unsigned char way) {
        return _mm512_cmpeq_epi8_mask(_mm512_loadu_si512(ways),
                                      _mm512_set1_epi8(static_cast<char>(way)));
    }
    static __m512i all(std::uint8_t word) { return _mm512_set1_epi8(static_cast<char>(word)); }
    static __m512i load(__m512i otherwise, Mask mask, const unsigned char* in) {
        return _mm512_mask_loadu_epi8(otherwise, mask, in);
    }
};

template <>
struct MaskedWords<std::uint16_t> {
    using Mask = __mmask32;
    static Mask equal(const unsigned char* ways, unsigned char way) {
        return _mm256_cmpeq_epi8_mask(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(ways)),
                                      _mm256_set1_epi8(static_cast<char>(way)));
    }
    static __m512i all(std::uint16_t word) { return _mm512_set1_epi16(static_cast<short>(word)); }
    static __m512i load(__m512i otherwise, Mask mask, const unsigned char* in) {
        return _mm512_mask_loadu_epi16(otherwise, mask, in);
    }
};

template <>
struct MaskedWords<std::uint32_t> {
    using Mask = __mmask16;
    static Mask equal(const unsigned char* ways, unsigned char way) {
        return _mm_cmpeq_epi8_mask(_mm_loadu_si128(reinterpret_cast<const __m128i*>(ways)),
                                   _mm_set1_epi8(static_cast<char>(way)));
    }
    static __m512i all(std::uint32_t word) { return _mm512_set1_epi32(static_cast<int>(word)); }
    static __m512i load(__m512i otherwise, Mask mask, const unsigned char* in) {
        return _mm512_mask_loadu_epi32(otherwise, mask, in);
    }
};

template <>
struct MaskedWords<std::uint64_t> {
    using Mask = __mmask8;
    static Mask equal(const unsigned char* ways, unsigned char way) {
        return static_cast<Mask>(
            _mm_cmpeq_epi8_mask(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(ways)),
                                _mm_set1_epi8(static_cast<char>(way))));
    }
    static __m512i all(std::uint64_t word) {
        return _mm512_set1_epi64(static_cast<long long>(word));
    }
    static __m512i load(__m512i otherwise, Mask mask, const unsigned char* in) {
        return _mm512_mask_loadu_epi64(otherwise, mask, in);
    }
};

template <class Word, unsigned char falseWay, unsigned char trueWay>
requires requires {
    typename MaskedWords<Word>::Mask;
}
struct MaskedPick<Word, falseWay, trueWay> {
    static constexpr bool isWide = true;
    static std::int64_t run(unsigned char* out, const unsigned char* ways, const TwoArms& arms,
                            std::int64_t lanes) {
        using Words = MaskedWords<Word>;
        constexpr std::int64_t bytes = sizeof(Word);
        constexpr std::int64_t together = 64 / bytes;
        const __m512i unknown = Words::all(loadLane<Word>(arms.unknown, 0));
        std::int64_t i = 0;
        for (; i + together <= lanes; i += together) {
            __m512i picked = unknown;
            if (arms.whenTrue != nullptr)
                picked =
                    Words::load(picked, Words::equal(ways + i, trueWay), arms.whenTrue + i * bytes);
            if (arms.whenFalse != nullptr)
                picked = Words::load(picked, Words::equal(ways + i, falseWay),
                                     arms.whenFalse + i * bytes);
            _mm512_storeu_si512(out + i * bytes, picked);
        }
        return i;
    }
};

#elif defined(__AVX2__)

/// Thirty-two bytes of words, and loads of some of them; the others are zero.
template <class Word>
struct MaskedWords;

template <>
struct MaskedWords<std::uint32_t> {
    static __m256i equal(const unsigned char* ways, unsigned char way) {
        const __m128i some = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(ways));
        return _mm256_cvtepi8_epi32(_mm_cmpeq_epi8(some, _mm_set1_epi8(static_cast<char>(way))));
    }
    static __m256i all(std::uint32_t word) { return _mm256_set1_epi32(static_cast<int>(word)); }
    static __m256i load(__m256i mask, const unsigned char* in) {
        return _mm256_maskload_epi32(reinterpret_cast<const int*>(in), mask);
    }
};

template <>
struct MaskedWords<std::uint64_t> {
    static __m256i equal(const unsigned char* ways, unsigned char way) {
        const __m128i some = _mm_cvtsi32_si128(loadLane<std::int32_t>(ways, 0));
        return _mm256_cvtepi8_epi64(_mm_cmpeq_epi8(some, _mm_set1_epi8(static_cast<char>(way))));
    }
    static __m256i all(std::uint64_t word) {
        return _mm256_set1_epi64x(static_cast<long long>(word));
    }
    static __m256i load(__m256i mask, const unsigned char* in) {
        return _mm256_maskload_epi64(reinterpret_cast<const long long*>(in), mask);
    }
};

template <class Word, unsigned char falseWay, unsigned char trueWay>
requires requires {
    MaskedWords<Word>::all(Word{});
}
struct MaskedPick<Word, falseWay, trueWay> {
    static constexpr bool isWide = true;
    static std::int64_t run(unsigned char* out, const unsigned char* ways, const TwoArms& arms,
                            std::int64_t lanes) {
        using Words = MaskedWords<Word>;
        constexpr std::int64_t bytes = sizeof(Word);
        constexpr std::int64_t together = 32 / bytes;
        const __m256i unknown = Words::all(loadLane<Word>(arms.unknown, 0));
        std::int64_t i = 0;
        for (; i + together <= lanes; i += together) {
            __m256i picked = unknown;
            const auto take = [&](const unsigned char* arm, unsigned char way) {
                if (arm == nullptr)
                    return;
                const __m256i mask = Words::equal(ways + i, way);
                picked = _mm256_blendv_epi8(picked, Words::load(mask, arm + i * bytes), mask);
            };
            take(arms.whenTrue, trueWay);
            take(arms.whenFalse, falseWay);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i * bytes), picked);
        }
        return i;
    }
};

#endif

} // namespace FENLET_TARGET
} // namespace Fenlet
