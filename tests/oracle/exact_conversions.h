// The conversions between storage kinds, computed on bit patterns with integers only.
//
// A second implementation, to compare with that of the kernels. Every value becomes an exact
// number, which is rounded once. Nothing here depends on the processor's floating-point arithmetic.
#pragma once

#include <fenletexec/element_kinds.h>

#include <bit>
#include <cstdint>

namespace Fenlet::Oracle {

enum class NumberClass { Finite, Infinite, Nan };

/// A value of any numeric kind: its sign, and significand * 2 to the power exponent. For a NaN, the
/// significand has the fraction in its upper bits instead.
struct ExactNumber {
    NumberClass numberClass;
    bool negative;
    std::uint64_t significand;
    int exponent;
};

/// An IEEE 754 binary interchange format.
struct FloatFormat {
    int exponentBits;
    int fractionBits;

    constexpr std::uint64_t signBit() const {
        return std::uint64_t{1} << (exponentBits + fractionBits);
    }
    constexpr std::uint64_t hiddenBit() const { return std::uint64_t{1} << fractionBits; }
    constexpr std::uint64_t quietBit() const { return hiddenBit() >> 1; }
    constexpr std::uint64_t infinity() const { return signBit() - hiddenBit(); }
    /// The exponent of a subnormal's last place, the lowest of the format.
    constexpr int leastPlace() const { return 2 - (1 << (exponentBits - 1)) - fractionBits; }
};

constexpr bool isIntegerKind(CpuElementKind kind) {
    return kind == CpuElementKind::Int32 || kind == CpuElementKind::Int64;
}

constexpr int widthOf(CpuElementKind integerKind) {
    return integerKind == CpuElementKind::Int32 ? 32 : 64;
}

constexpr FloatFormat formatOf(CpuElementKind floatKind) {
    if (floatKind == CpuElementKind::Half)
        return {5, 10};
    return floatKind == CpuElementKind::Float32 ? FloatFormat{8, 23} : FloatFormat{11, 52};
}

constexpr ExactNumber readInteger(int width, std::uint64_t bits) {
    const std::uint64_t signBit = std::uint64_t{1} << (width - 1);
    const std::uint64_t belowSign = bits & (signBit - 1);
    const bool negative = (bits & signBit) != 0;
    return {NumberClass::Finite, negative, negative ? signBit - belowSign : belowSign, 0};
}

constexpr ExactNumber readFloat(FloatFormat format, std::uint64_t bits) {
    const bool negative = (bits & format.signBit()) != 0;
    const std::uint64_t magnitude = bits & (format.signBit() - 1);
    const std::uint64_t fraction = bits & (format.hiddenBit() - 1);
    if (magnitude > format.infinity())
        return {NumberClass::Nan, negative, fraction << (64 - format.fractionBits), 0};
    if (magnitude == format.infinity())
        return {NumberClass::Infinite, negative, 0, 0};
    if (magnitude < format.hiddenBit())
        return {NumberClass::Finite, negative, fraction, format.leastPlace()};
    const auto exponentField = static_cast<int>(magnitude >> format.fractionBits);
    return {NumberClass::Finite, negative, fraction | format.hiddenBit(),
            format.leastPlace() + exponentField - 1};
}

/// The number truncated toward zero, as an integer of `width` bits. The most negative integer if
/// the number is out of range or a NaN.
constexpr std::uint64_t writeInteger(int width, const ExactNumber& number) {
    const std::uint64_t limit = std::uint64_t{1} << (width - 1);
    const int bits = 64 - std::countl_zero(number.significand);
    if (number.numberClass != NumberClass::Finite || bits + number.exponent > 64)
        return limit;
    std::uint64_t whole = 0;
    if (number.exponent >= 0)
        whole = number.significand << number.exponent;
    else if (number.exponent > -64)
        whole = number.significand >> -number.exponent;
    if (whole >= limit)
        return limit;
    return (number.negative ? 0 - whole : whole) & (limit | (limit - 1));
}

/// The value shifted right, with its last bit set if a set bit was lost.
constexpr std::uint64_t shiftedSticky(std::uint64_t value, int places) {
    if (places > 63)
        return value != 0 ? 1 : 0;
    const bool lost = (value & ((std::uint64_t{1} << places) - 1)) != 0;
    return (value >> places) | (lost ? 1 : 0);
}

/// The significand in units of 2 to the power `place`, to nearest, ties to even.
constexpr std::uint64_t unitsOf(const ExactNumber& number, int place) {
    const int shift = place - number.exponent;
    if (shift <= 0)
        return number.significand << -shift;
    const std::uint64_t quarters =
        shift == 1 ? number.significand << 1 : shiftedSticky(number.significand, shift - 2);
    const std::uint64_t units = quarters >> 2;
    const std::uint64_t rest = quarters & 3;
    const bool up = rest == 3 || (rest == 2 && (units & 1) != 0);
    return units + (up ? 1 : 0);
}

/// The bits of the number, rounded once to nearest, ties to even. A NaN keeps as many of its upper
/// fraction bits as fit, and becomes quiet.
constexpr std::uint64_t writeFloat(FloatFormat format, const ExactNumber& number) {
    const std::uint64_t sign = number.negative ? format.signBit() : 0;
    if (number.numberClass == NumberClass::Nan)
        return sign | format.infinity() | format.quietBit() |
               (number.significand >> (64 - format.fractionBits));
    if (number.numberClass == NumberClass::Infinite)
        return sign | format.infinity();
    if (number.significand == 0)
        return sign;
    const int leadingPlace = 63 - std::countl_zero(number.significand) + number.exponent;
    const int wantedPlace = leadingPlace - format.fractionBits;
    const int place = wantedPlace < format.leastPlace() ? format.leastPlace() : wantedPlace;
    // The significand of a normal number includes the hidden bit, which adds 1 to the exponent
    // field. So the lowest normal place is encoded as 0 here, not as 1. A carry out of the fraction
    // correctly adds 1 more.
    const std::uint64_t encoded =
        (static_cast<std::uint64_t>(place - format.leastPlace()) << format.fractionBits) +
        unitsOf(number, place);
    return sign | (encoded < format.infinity() ? encoded : format.infinity());
}

/// Whether the processor's conversions between Float32 and Float64 turn every NaN into the same
/// one. IEEE 754 allows this.
#ifdef __riscv
inline constexpr bool hasSingleNan = true;
#else
inline constexpr bool hasSingleNan = false;
#endif

constexpr ExactNumber readNumber(CpuElementKind kind, std::uint64_t bits) {
    return isIntegerKind(kind) ? readInteger(widthOf(kind), bits) : readFloat(formatOf(kind), bits);
}

/// Converts the value that `bits` stands for in kind `from`, and returns its bits in kind `to`.
/// Both are numeric kinds. In `bits` and in the result, bits above the width of the kind are 0.
constexpr std::uint64_t convertBits(CpuElementKind to, CpuElementKind from, std::uint64_t bits) {
    if (to == from)
        return bits;
    if (to == CpuElementKind::Int32 && from == CpuElementKind::Int64)
        return bits & 0xFFFFFFFFu;
    const ExactNumber number = readNumber(from, bits);
    if (hasSingleNan && number.numberClass == NumberClass::Nan &&
        ((to == CpuElementKind::Float64 && from == CpuElementKind::Float32) ||
         (to == CpuElementKind::Float32 && from == CpuElementKind::Float64)))
        return formatOf(to).infinity() | formatOf(to).quietBit();
    return isIntegerKind(to) ? writeInteger(widthOf(to), number) : writeFloat(formatOf(to), number);
}

constexpr bool isNan(CpuElementKind kind, std::uint64_t bits) {
    return !isIntegerKind(kind) && readFloat(formatOf(kind), bits).numberClass == NumberClass::Nan;
}

} // namespace Fenlet::Oracle
