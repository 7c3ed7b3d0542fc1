// Numbers of any storage kind as exact values, and their one rounding into another kind.
//
// Integers and bit patterns only: nothing here converts with the processor's own instructions, so
// that it can be held against code that does.
#pragma once

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet::Model {

/// A value: sign, and magnitude * 2 to the power exponent; or an infinity; or a NaN with the ten
/// bits at the top of its fraction.
struct ExactNumber {
    enum class Class { Finite, Infinite, Nan };
    Class form = Class::Finite;
    bool negative = false;
    std::uint64_t magnitude = 0;
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

/// Truncated toward zero; the most negative integer for what has none.
inline std::uint64_t encodeInteger(const ExactNumber& number, int width) {
    const std::uint64_t indefinite = std::uint64_t{1} << (width - 1);
    if (number.form != ExactNumber::Class::Finite)
        return indefinite;
    std::uint64_t whole = number.magnitude;
    for (int i = number.exponent; i < 0 && whole != 0; ++i)
        whole >>= 1;
    for (int i = 0; i < number.exponent && whole != 0; ++i) {
        if (whole >= indefinite)
            return indefinite;
        whole <<= 1;
    }
    const std::uint64_t limit = number.negative ? indefinite : indefinite - 1;
    if (whole > limit)
        return indefinite;
    const std::uint64_t mask = indefinite | (indefinite - 1);
    return (number.negative ? 0 - whole : whole) & mask;
}

/// Rounded to nearest, ties to even, once.
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

    // The last place is that of the leading bit less the fraction, but no lower than a subnormal's.
    const int leading = 63 - __builtin_clzll(number.magnitude) + number.exponent;
    const int lowest = 1 - format.bias() - format.fractionBits;
    int place = leading - format.fractionBits;
    if (place < lowest)
        place = lowest;
    std::uint64_t kept = number.magnitude;
    bool half = false;
    bool sticky = false;
    int dropped = place - number.exponent;
    for (; dropped > 0; --dropped) {
        sticky = sticky || half;
        half = (kept & 1) != 0;
        kept >>= 1;
    }
    for (; dropped < 0; ++dropped)
        kept <<= 1;
    if (half && (sticky || (kept & 1) != 0))
        ++kept;
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

/// The bits of `to` that the value with these bits of `from` becomes. Numeric kinds only.
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
