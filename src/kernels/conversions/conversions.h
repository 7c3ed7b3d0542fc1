// Conversions between storage kinds. The library converts values only with these functions.
//
// Integers and floats round to nearest, ties to even, once. Floats are truncated toward zero to
// become integers; NaN, infinities and floats out of range become the most negative integer. `Half`
// is IEEE 754 binary16. The conversions have no branches, so that compilers can vectorise loops
// over them. No result depends on what a processor does with a value that does not fit. The
// floating-point environment must be the default one.
#pragma once

#include "kernels/lanes/lanes.h"
#include "vocabulary/kinds.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

template <class T>
inline constexpr bool isInteger = isSame<T, std::int32_t> || isSame<T, std::int64_t>;

/// Widens exactly. A NaN keeps its sign and its ten fraction bits, and becomes quiet.
inline float halfToFloat32(Half value) {
    const std::uint32_t magnitude = value.bits & 0x7FFFu;
    const std::uint32_t sign = (value.bits & 0x8000u) << 16;
    const std::uint32_t normal = (magnitude << 13) + (112u << 23);
    const std::uint32_t special =
        (magnitude << 13) | 0x7F800000u | (magnitude > 0x7C00u ? 0x00400000u : 0u);
    // A subnormal is its fraction times 2 to the power -24. That product is exact and normal.
    const auto subnormal =
        bitCast<std::uint32_t>(static_cast<float>(static_cast<std::int32_t>(magnitude)) * 0x1p-24f);
    const std::uint32_t finite = magnitude < 0x0400u ? subnormal : normal;
    return bitCast<float>(sign | (magnitude >= 0x7C00u ? special : finite));
}

/// Widens exactly. A NaN keeps its sign and its ten fraction bits, and becomes quiet.
inline double halfToFloat64(Half value) {
    const std::uint64_t magnitude = value.bits & 0x7FFFu;
    const std::uint64_t sign = std::uint64_t{value.bits & 0x8000u} << 48;
    const std::uint64_t normal = (magnitude << 42) + (std::uint64_t{1008} << 52);
    const std::uint64_t special =
        (magnitude << 42) | 0x7FF0000000000000u | (magnitude > 0x7C00u ? 0x0008000000000000u : 0u);
    const auto subnormal =
        bitCast<std::uint64_t>(static_cast<double>(static_cast<std::int32_t>(magnitude)) * 0x1p-24);
    const std::uint64_t finite = magnitude < 0x0400u ? subnormal : normal;
    return bitCast<double>(sign | (magnitude >= 0x7C00u ? special : finite));
}

/// Rounds to nearest, ties to even. Magnitudes of 65520 and above become infinity; 2 to the power
/// -25 and below become zero. A NaN keeps its sign and the top ten bits of its fraction, and
/// becomes quiet.
inline Half float32ToHalf(float value) {
    const auto bits = bitCast<std::uint32_t>(value);
    const std::uint32_t magnitude = bits & 0x7FFFFFFFu;
    const std::uint32_t sign = (bits >> 16) & 0x8000u;
    // Adds just under half a unit in the last place that is kept, plus the bit in that place, so
    // that ties round to even. A carry correctly increases the exponent, up to infinity.
    const std::uint32_t normal =
        (magnitude - (112u << 23) + 0x0FFFu + ((magnitude >> 13) & 1u)) >> 13;
    // Below 2 to the power -14, the last place of a Half is 2 to the power -24. The last place of
    // 0.5 in binary32 is the same, so adding 0.5 rounds as required.
    const auto shifted = bitCast<std::uint32_t>(bitCast<float>(magnitude) + 0.5f);
    const std::uint32_t subnormal = shifted - bitCast<std::uint32_t>(0.5f);
    const std::uint32_t nan = 0x7E00u | ((magnitude >> 13) & 0x03FFu);
    const std::uint32_t finite = magnitude < 0x38800000u ? subnormal : normal;
    const std::uint32_t rounded = magnitude >= 0x477FF000u ? 0x7C00u : finite;
    const std::uint32_t result = magnitude > 0x7F800000u ? nan : rounded;
    return {static_cast<std::uint16_t>(sign | result)};
}

/// Like `float32ToHalf`, but rounds the binary64 value directly, once.
inline Half float64ToHalf(double value) {
    const auto bits = bitCast<std::uint64_t>(value);
    const auto low = static_cast<std::uint32_t>(bits);
    const auto high = static_cast<std::uint32_t>(bits >> 32);
    const std::uint32_t sign = high & 0x80000000u;
    // The upper word, with its last bit set if any bit of the lower word is set. Twenty fraction
    // bits are enough to round to ten: ties stay ties, other values do not become ties, and a NaN
    // stays a NaN.
    const std::uint32_t magnitude = (high & 0x7FFFFFFFu) | (low != 0 ? 1u : 0u);
    // Below 2 to the power -26 everything rounds to zero, from 2 to the power 17 on everything is
    // infinite, and a NaN keeps its bits. In between, the exponent fits into binary32.
    const std::uint32_t rebiased = (magnitude - (std::uint32_t{1023 - 127} << 20)) << 3;
    const std::uint32_t nan = 0x7FC00000u | (rebiased & 0x007FFFFFu);
    const std::uint32_t inRange = magnitude < (std::uint32_t{1023 - 26} << 20) ? 0u : rebiased;
    const std::uint32_t finite =
        magnitude >= (std::uint32_t{1023 + 17} << 20) ? 0x7F800000u : inRange;
    const std::uint32_t narrowed = magnitude > 0x7FF00000u ? nan : finite;
    return float32ToHalf(bitCast<float>(sign | narrowed));
}

/// Rounds the exact integer once. Magnitudes of 65520 and above become infinity.
template <class Integer>
inline Half integerToHalf(Integer value) {
    // Integers beyond the limit become infinite, so clamping does not change the result. Within the
    // limit every integer is exact in binary32.
    constexpr std::int32_t limit = 131072;
    const Integer above = value < -limit ? Integer{-limit} : value;
    const auto clamped = static_cast<std::int32_t>(above > limit ? Integer{limit} : above);
    return float32ToHalf(static_cast<float>(clamped));
}

/// Truncates toward zero. NaN, infinities and values out of range give the most negative integer.
/// The range is tested before the cast, since processors differ in how they cast a value that does
/// not fit.
template <class Integer, class Float>
inline Integer truncate(Float value) {
    // The limit is the magnitude of the least integer: it is a power of two, which both float kinds
    // hold exactly. The greatest integer is not exact in every float kind.
    constexpr auto indefinite =
        static_cast<Integer>(isSame<Integer, std::int32_t> ? INT32_MIN : INT64_MIN);
    constexpr auto limit = -static_cast<Float>(indefinite);
    bool inside = value >= -limit && value < limit;
    if constexpr (isSame<Integer, std::int32_t> && isSame<Float, double>)
        inside = value > -limit - 1.0 && value < limit;
    const auto truncated = static_cast<Integer>(inside ? value : Float{0});
    return inside ? truncated : indefinite;
}

/// Converts a value to the storage kind `To`. Equal kinds keep every bit.
template <class To, class From>
inline To convert(From value) {
    if constexpr (isSame<To, From>)
        return value;
    else if constexpr (isSame<To, Half> && isInteger<From>)
        return integerToHalf(value);
    else if constexpr (isSame<To, Half> && isSame<From, float>)
        return float32ToHalf(value);
    else if constexpr (isSame<To, Half>)
        return float64ToHalf(value);
    else if constexpr (isSame<From, Half> && isSame<To, double>)
        return halfToFloat64(value);
    else if constexpr (isSame<From, Half> && isSame<To, float>)
        return halfToFloat32(value);
    else if constexpr (isSame<From, Half>)
        return truncate<To>(halfToFloat32(value));
    else if constexpr (isInteger<To> && !isInteger<From>)
        return truncate<To>(value);
    else if constexpr (isSame<To, std::int32_t> && isSame<From, std::int64_t>)
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
    else
        return static_cast<To>(value);
}

/// The map that makes `mapRun` convert lanes.
template <class To, class From>
struct Convert {
    using In = From;
    using Out = To;
    static To apply(From value) { return convert<To>(value); }
};

} // namespace FENLET_TARGET
} // namespace Fenlet
