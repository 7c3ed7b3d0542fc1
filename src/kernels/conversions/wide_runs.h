// Runs of conversions by the processor's own instructions, where the set has them.
#pragma once

#include "kernels/conversions/wide_lanes.h"

namespace Fenlet {
inline namespace FENLET_TARGET {

/// Lanes of `From` to the working type of `Result`.
template <class Result, class From>
struct ConvertOperands {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        return forEachVector<lanesOfVector<Working<Result>>>(lanes, [=](std::int64_t i) {
            storeLane(out + i * std::int64_t{sizeof(Working<Result>)}, 0,
                      WideOperand<Result, From>::load(in + i * std::int64_t{sizeof(From)}));
        });
    }
};

#ifdef __SSE2__
template <>
struct WideRun<Convert<std::int32_t, float>> : ConvertOperands<std::int32_t, float> {};
template <>
struct WideRun<Convert<std::int32_t, double>> : ConvertOperands<std::int32_t, double> {};
template <>
struct WideRun<ToWorking<std::int32_t, float>> : ConvertOperands<std::int32_t, float> {};
template <>
struct WideRun<ToWorking<std::int32_t, double>> : ConvertOperands<std::int32_t, double> {};
#endif

#ifdef __x86_64__
/// Several at a time only in sets that have an instruction for that.
template <class From>
struct TruncateToInt64 {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        std::int64_t i = 0;
#ifdef __AVX512DQ__
        for (; i + 8 <= lanes; i += 8)
            storeLane(out + i * 8, 0, truncated(in + i * std::int64_t{sizeof(From)}, From{}));
#endif
        for (; i < lanes; ++i)
            storeLane(out, i, truncated(loadLane<From>(in, i)));
        return lanes;
    }

  private:
    static long long truncated(float value) {
        return _mm_cvttss_si64(_mm_set_ss(value));
    }
    static long long truncated(double value) {
        return _mm_cvttsd_si64(_mm_set_sd(value));
    }
#ifdef __AVX512DQ__
    static __m512i truncated(const unsigned char* in, float /*kind*/) {
        return _mm512_maskz_cvttps_epi64(WideLanes::half, loadLane<__m256>(in, 0));
    }
    static __m512i truncated(const unsigned char* in, double /*kind*/) {
        return _mm512_maskz_cvttpd_epi64(WideLanes::half, _mm512_loadu_pd(in));
    }
#endif
};
template <>
struct WideRun<Convert<std::int64_t, float>> : TruncateToInt64<float> {};
template <>
struct WideRun<Convert<std::int64_t, double>> : TruncateToInt64<double> {};
#endif

#ifdef __F16C__
template <>
struct WideRun<Convert<std::int32_t, Half>> : ConvertOperands<std::int32_t, Half> {};
template <>
struct WideRun<ToWorking<std::int32_t, Half>> : ConvertOperands<std::int32_t, Half> {};
#endif

#if defined(__F16C__) || defined(__aarch64__)
template <>
struct WideRun<Convert<float, Half>> : ConvertOperands<float, Half> {};
template <>
struct WideRun<ToWorking<float, Half>> : ConvertOperands<float, Half> {};
template <>
struct WideRun<ToWorking<Half, Half>> : ConvertOperands<Half, Half> {};
template <>
struct WideRun<ToWorking<Half, float>> : ConvertOperands<Half, float> {};
template <>
struct WideRun<ToWorking<Half, std::int32_t>> : ConvertOperands<Half, std::int32_t> {};

/// Lanes of `From`, which binary32 has no less room for than a Half, to halves.
template <class From>
struct NarrowToHalves {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        return forEachVector<lanesOfVector<float>>(lanes, [=](std::int64_t i) {
            WideLanes::storeHalves(out + i * 2, WideOperand<float, From>::load(in + i * 4));
        });
    }
};
template <>
struct WideRun<Convert<Half, float>> : NarrowToHalves<float> {};
template <>
struct WideRun<Convert<Half, std::int32_t>> : NarrowToHalves<std::int32_t> {};
#endif

} // namespace FENLET_TARGET
} // namespace Fenlet
