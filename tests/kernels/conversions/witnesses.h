// Witnesses: other implementations of conversions to and from `Half`, if the machine or the
// compiler has them.
#pragma once

#include "conversion_checks.h"

#include <cstring>
#include <vector>

#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace Fenlet {

/// Converts all values with another implementation, called `name`.
template <class To, class From>
struct Witness {
    const char* name;
    std::vector<To> (*convert)(const std::vector<From>& in);
};

#if defined(__x86_64__)
inline constexpr std::size_t f16cLanes = 8;

/// Whether the processor has the instructions, and the system keeps the registers that they use.
inline bool hasF16c() {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    return __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_F16C) != 0 &&
           __builtin_cpu_supports("avx");
}

[[gnu::target("avx,f16c")]] inline void narrowEight(Half* out, const float* in) {
    const __m128i halves = _mm256_cvtps_ph(_mm256_loadu_ps(in), _MM_FROUND_TO_NEAREST_INT);
    std::memcpy(out, &halves, sizeof halves);
}

[[gnu::target("avx,f16c")]] inline void widenEight(float* out, const Half* in) {
    __m128i halves;
    std::memcpy(&halves, in, sizeof halves);
    _mm256_storeu_ps(out, _mm256_cvtph_ps(halves));
}

/// Converts all of `in` with `convertEight`. The last group is filled up to eight values.
template <class To, class From, void (*convertEight)(To* out, const From* in)>
std::vector<To> convertedInEights(const std::vector<From>& in) {
    std::vector<From> padded = in;
    padded.resize((in.size() + f16cLanes - 1) / f16cLanes * f16cLanes);
    std::vector<To> out(padded.size());
    for (std::size_t i = 0; i < padded.size(); i += f16cLanes)
        convertEight(&out[i], &padded[i]);
    out.resize(in.size());
    return out;
}
#endif

#ifdef FENLET_TEST_HAS_FLOAT16
/// Converts with the compiler's binary16 type, which is software here and too slow for an
/// exhaustive test.
template <class To, class From>
std::vector<To> convertedThroughFloat16(const std::vector<From>& in) {
    std::vector<To> out(in.size());
    std::transform(in.begin(), in.end(), out.begin(), [](From value) {
        if constexpr (isSame<To, Half>)
            return std::bit_cast<Half>(static_cast<_Float16>(value));
        else
            return static_cast<To>(std::bit_cast<_Float16>(value));
    });
    return out;
}
#endif

/// The witnesses that this machine and compiler have.
template <class To, class From>
std::vector<Witness<To, From>> witnessesHere() {
    std::vector<Witness<To, From>> witnesses;
#if defined(__x86_64__)
    if constexpr (isSame<To, Half> && isSame<From, float>)
        if (hasF16c())
            witnesses.push_back({"F16C", convertedInEights<Half, float, narrowEight>});
    if constexpr (isSame<To, float> && isSame<From, Half>)
        if (hasF16c())
            witnesses.push_back({"F16C", convertedInEights<float, Half, widenEight>});
#endif
#ifdef FENLET_TEST_HAS_FLOAT16
    constexpr bool narrows = isSame<To, Half> && sizeof(From) == 8;
    constexpr bool widens = isSame<From, Half> && (isSame<To, float> || isSame<To, double>);
    if constexpr (narrows || widens)
        witnesses.push_back({"_Float16", convertedThroughFloat16<To, From>});
#endif
    return witnesses;
}

} // namespace Fenlet
