// Numbers of any storage kind as exact values, and the rounding of such values to another kind.
//
// Uses only integers and bit patterns, and none of the processor's conversions, so that tests can
// compare it with code that uses them.
#pragma once

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet::Model {

/// An integer that holds the product of two significands, or one significand shifted far to the
/// left.
__extension__ using Wide = unsigned __int128;

/// A value: finite, an infinity or a NaN. If finite, it is `magnitude` times 2 to the power
/// `exponent`, with a sign. Of a NaN, `nanBits` keeps the upper ten fraction bits.
struct ExactNumber {
    enum class Class { Finite, Infinite, Nan };
    Class form = Class::Finite;
    bool negative = false;
    Wide magnitude = 0;
    int exponent = 0;
    std::uint64_t nanBits = 0;
};

/// The layout of an IEEE 754 binary format.
struct FloatFormat {
    int fractionBits;
    int exponentBits;

    int bias() const { return (1 << (exponentBits - 1)) - 1; }
    std::uint64_t topField() const { return (std::uint64_t{1} << exponentBits) - 1; }
    std::uint64_t unit() const { return std::uint64_t{1} << fractionBits; }
};

inline bool isFloatKind(CpuElementKind kind) {
    return kind == CpuElementKind::Half || kind == CpuElementKind::Float32 ||
           kind == CpuElementKind::Float64;
}

inline FloatFormat formatOf(CpuElementKind kind) {
    if (kind == CpuElementKind::Half)
        return {10, 5};
    return kind == CpuElementKind::Float32 ? FloatFormat{23, 8} : FloatFormat{52, 11};
}

inline ExactNumber decodeInteger(std::uint64_t bits, int width) {
    const std::uint64_t signBit = std::uint64_t{1} << (width - 1);
    const std::uint64_t mask = signBit | (signBit - 1);
    ExactNumber number;
    number.negative = (bits & signBit) != 0;
    number.magnitude = number.negative ? (0 - bits) & mask : bits & mask;
    return number;
}

inline ExactNumber decodeFloat(std::uint64_t bits, FloatFormat format) {
    ExactNumber number;
    const std::uint64_t fraction = bits & (format.unit() - 1);
    const std::uint64_t field = (bits >> format.fractionBits) & format.topField();
    number.negative = ((bits >> (format.fractionBits + format.exponentBits)) & 1) != 0;
    if (field == format.topField()) {
        number.form = fraction ? ExactNumber::Class::Nan : ExactNumber::Class::Infinite;
        number.nanBits = fraction >> (format.fractionBits - 10);
        return number;
    }
    number.magnitude = field ? fraction + format.unit() : fraction;
    number.exponent = static_cast<int>(field ? field : 1) - format.bias() - format.fractionBits;
    return number;
}

inline ExactNumber decode(CpuElementKind kind, std::uint64_t bits) {
    if (kind == CpuElementKind::Int32)
        return decodeInteger(bits, 32);
    if (kind == CpuElementKind::Int64)
        return decodeInteger(bits, 64);
    return decodeFloat(bits, formatOf(kind));
}

/// The position of the highest set bit, counted from 0. Must not be called with 0.
inline int leadingBit(Wide magnitude) {
    const auto high = static_cast<std::uint64_t>(magnitude >> 64);
    const auto low = static_cast<std::uint64_t>(magnitude);
    return high != 0 ? 127 - __builtin_clzll(high) : 63 - __builtin_clzll(low);
}

/// The bits of the number truncated toward zero. The most negative integer if the number is out of
/// range or a NaN.
inline std::uint64_t encodeInteger(const ExactNumber& number, int width) {
    const std::uint64_t indefinite = std::uint64_t{1} << (width - 1);
    if (number.form != ExactNumber::Class::Finite)
        return indefinite;
    if (number.magnitude == 0)
        return 0;
    const int leading = leadingBit(number.magnitude) + number.exponent;
    if (leading < 0)
        return 0;
    if (leading >= width)
        return indefinite;
    const auto whole =
        static_cast<std::uint64_t>(number.exponent < 0 ? number.magnitude >> -number.exponent
                                                       : number.magnitude << number.exponent);
    const std::uint64_t limit = number.negative ? indefinite : indefinite - 1;
    if (whole > limit)
        return indefinite;
    const std::uint64_t mask = indefinite | (indefinite - 1);
    return (number.negative ? 0 - whole : whole) & mask;
}

/// `magnitude` / 2 to the power `places`, rounded to nearest, ties to even. If `places` is
/// negative, the result must have room for that many zeros.
inline Wide roundedShift(Wide magnitude, int places) {
    if (places <= 0)
        return magnitude << -places;
    if (places > 128)
        return 0;
    const Wide half = Wide{1} << (places - 1);
    const Wide dropped = magnitude & (half | (half - 1));
    // In two steps, since no shift may be as wide as the number.
    const Wide kept = magnitude >> (places - 1) >> 1;
    const bool roundsUp = dropped > half || (dropped == half && (kept & 1) != 0);
    return roundsUp ? kept + 1 : kept;
}

/// The bits of the number, rounded once to nearest, ties to even.
inline std::uint64_t encodeFloat(const ExactNumber& number, FloatFormat format) {
    const std::uint64_t sign = std::uint64_t{number.negative}
                               << (format.fractionBits + format.exponentBits);
    const std::uint64_t infinity = format.topField() << format.fractionBits;
    if (number.form == ExactNumber::Class::Infinite)
        return sign | infinity;
    if (number.form == ExactNumber::Class::Nan)
        return sign | infinity | (number.nanBits << (format.fractionBits - 10)) |
               (format.unit() >> 1);
    if (number.magnitude == 0)
        return sign;

    // The leading bit determines the last place, but the last place is not below that of a
    // subnormal.
    const int lowest = 1 - format.bias() - format.fractionBits;
    int place = leadingBit(number.magnitude) + number.exponent - format.fractionBits;
    if (place < lowest)
        place = lowest;
    auto kept = static_cast<std::uint64_t>(roundedShift(number.magnitude, place - number.exponent));
    if (kept == format.unit() << 1) {
        kept >>= 1;
        ++place;
    }
    if (kept < format.unit())
        return sign | kept;
    const auto field = static_cast<std::uint64_t>(place - lowest + 1);
    if (field >= format.topField())
        return sign | infinity;
    return sign | (field << format.fractionBits) | (kept - format.unit());
}

/// Converts: the bits of `to` for the value that has these bits in `from`. Numeric kinds only.
inline std::uint64_t convertBits(CpuElementKind to, CpuElementKind from, std::uint64_t bits) {
    if (to == from)
        return bits;
    if (to == CpuElementKind::Int32 && from == CpuElementKind::Int64)
        return bits & 0xFFFFFFFFu;
    const ExactNumber number = decode(from, bits);
    if (to == CpuElementKind::Int32)
        return encodeInteger(number, 32);
    if (to == CpuElementKind::Int64)
        return encodeInteger(number, 64);
    return encodeFloat(number, formatOf(to));
}

inline bool isNan(CpuElementKind kind, std::uint64_t bits) {
    return isFloatKind(kind) && decode(kind, bits).form == ExactNumber::Class::Nan;
}

} // namespace Fenlet::Model
