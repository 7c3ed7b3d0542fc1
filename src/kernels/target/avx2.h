// AVX2 with F16C.
#pragma once

#include "kernels/target/x86.h"

#include <cstdint>
#include <immintrin.h>

namespace Fenlet {
inline namespace FENLET_TARGET {

inline constexpr int vectorBytes = 32;

/// Whether any bit of a vector is set. Compilers do not emit this instruction for a plain loop.
template <class Vector>
inline bool isAnySet(const Vector& bytes) {
    const auto all = bitCast<__m256i>(bytes);
    return _mm256_testz_si256(all, all) == 0;
}

/// Narrows masks. The instruction for that keeps the 16-byte halves of vectors apart.
struct NarrowMasks {
    using Bytes = __m256i;
    /// The masks of two vectors, each half as wide as before.
    static Bytes halved(const Bytes& low, const Bytes& high) {
        return _mm256_packs_epi16(low, high);
    }
    using Fours [[gnu::vector_size(vectorBytes)]] = std::uint32_t;
    using Twos [[gnu::vector_size(vectorBytes)]] = std::uint16_t;
    /// Puts masks of lanes of `laneBytes` bytes in order, after the last halving: 4 or 8.
    template <int laneBytes>
    static Bytes inOrder(const Bytes& masks) {
        if constexpr (laneBytes == 4) {
            const auto fours = bitCast<Fours>(masks);
            return bitCast<Bytes>(__builtin_shufflevector(fours, fours, 0, 4, 1, 5, 2, 6, 3, 7));
        } else {
            const auto twos = bitCast<Twos>(masks);
            return bitCast<Bytes>(__builtin_shufflevector(twos, twos, 0, 8, 1, 9, 2, 10, 3, 11, 4,
                                                          12, 5, 13, 6, 14, 7, 15));
        }
    }
};

/// Eight lanes at a time.
struct WideLanes : Int64Truncation {
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
    static Integers divided(Integers left, Integers right) {
        const auto four = [](__m128i a, __m128i b) {
            return _mm256_cvttpd_epi32(_mm256_div_pd(_mm256_cvtepi32_pd(a), _mm256_cvtepi32_pd(b)));
        };
        return _mm256_set_m128i(
            four(_mm256_extracti128_si256(left, 1), _mm256_extracti128_si256(right, 1)),
            four(_mm256_castsi256_si128(left), _mm256_castsi256_si128(right)));
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

template <>
struct WidenedBytes<std::uint16_t> {
    static constexpr bool isThere = true;
    static __m256i load(const unsigned char* in) {
        return _mm256_cvtepi8_epi16(loadLane<__m128i>(in, 0));
    }
};
template <>
struct WidenedBytes<std::uint32_t> {
    static constexpr bool isThere = true;
    static __m256i load(const unsigned char* in) {
        const void* const area = in;
        return _mm256_cvtepi8_epi32(_mm_loadl_epi64(static_cast<const __m128i*>(area)));
    }
};
template <>
struct WidenedBytes<std::uint64_t> {
    static constexpr bool isThere = true;
    static __m256i load(const unsigned char* in) {
        return _mm256_cvtepi8_epi64(_mm_cvtsi32_si128(loadLane<std::int32_t>(in, 0)));
    }
};

/// Marks the lanes with a given choice: a byte for each lane, with all bits set or none.
struct FewChoices {
    using Bytes = __m128i;
    static Bytes equal(const Bytes& choices, unsigned char choice) {
        return _mm_cmpeq_epi8(choices, _mm_set1_epi8(static_cast<char>(choice)));
    }
    static Bytes neither(const Bytes& some, const Bytes& others) {
        return _mm_andnot_si128(_mm_or_si128(some, others), _mm_set1_epi8(-1));
    }
};

/// Vectors of words, 32 bytes long. A masked load reads only some of the words and sets the others
/// to zero.
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

} // namespace FENLET_TARGET
} // namespace Fenlet
