// Sums, products, quotients, square roots and comparisons of floating-point values, computed with
// integers.
//
// Each result is exact, or it rounds to the same float as the exact result. The only rounding is in
// the function that encodes the result. Operands are values of binary32 or binary64.
#pragma once

#include "exact_number.h"

#include <cstdint>
#include <utility>

namespace Fenlet::Model {

inline ExactNumber infinite(bool negative) {
    ExactNumber number;
    number.form = ExactNumber::Class::Infinite;
    number.negative = negative;
    return number;
}

/// The NaN that an operation makes. Its bits are not defined.
inline ExactNumber notANumber() {
    ExactNumber number;
    number.form = ExactNumber::Class::Nan;
    return number;
}

inline ExactNumber zero(bool negative) {
    ExactNumber number;
    number.negative = negative;
    return number;
}

inline bool isNan(const ExactNumber& number) {
    return number.form == ExactNumber::Class::Nan;
}

inline bool isInfinite(const ExactNumber& number) {
    return number.form == ExactNumber::Class::Infinite;
}

inline bool isZero(const ExactNumber& number) {
    return number.form == ExactNumber::Class::Finite && number.magnitude == 0;
}

inline ExactNumber negated(ExactNumber number) {
    number.negative = !number.negative;
    return number;
}

/// The sum of two finite numbers that are not zero.
inline ExactNumber finiteSum(ExactNumber left, ExactNumber right) {
    if (left.exponent < right.exponent)
        std::swap(left, right);
    if (left.exponent - right.exponent > 64) {
        // `right` is less than a thousandth of the last place of `left`. All numbers as small as
        // this have the same effect on the rounded sum, so `right` becomes one of them.
        right.magnitude = 1;
        right.exponent = left.exponent - 64;
    }
    const Wide larger = left.magnitude << (left.exponent - right.exponent);
    ExactNumber sum;
    sum.exponent = right.exponent;
    if (left.negative == right.negative) {
        sum.magnitude = larger + right.magnitude;
        sum.negative = left.negative;
    } else if (larger > right.magnitude) {
        sum.magnitude = larger - right.magnitude;
        sum.negative = left.negative;
    } else if (larger < right.magnitude) {
        sum.magnitude = right.magnitude - larger;
        sum.negative = right.negative;
    }
    return sum;
}

inline ExactNumber add(const ExactNumber& left, const ExactNumber& right) {
    if (isNan(left) || isNan(right))
        return notANumber();
    if (isInfinite(left) && isInfinite(right) && left.negative != right.negative)
        return notANumber();
    if (isInfinite(left) || isInfinite(right))
        return isInfinite(left) ? left : right;
    if (isZero(left) && isZero(right))
        return zero(left.negative && right.negative);
    if (isZero(left) || isZero(right))
        return isZero(left) ? right : left;
    return finiteSum(left, right);
}

inline ExactNumber subtract(const ExactNumber& left, const ExactNumber& right) {
    return add(left, negated(right));
}

inline ExactNumber multiply(const ExactNumber& left, const ExactNumber& right) {
    const bool negative = left.negative != right.negative;
    if (isNan(left) || isNan(right))
        return notANumber();
    if ((isInfinite(left) && isZero(right)) || (isZero(left) && isInfinite(right)))
        return notANumber();
    if (isInfinite(left) || isInfinite(right))
        return infinite(negative);
    ExactNumber product = zero(negative);
    product.magnitude = left.magnitude * right.magnitude;
    product.exponent = left.exponent + right.exponent;
    return product;
}

/// The quotient's magnitude has at least 74 bits. If there is a remainder, the last bit is set.
/// This bit is below all bits that rounding keeps, and shows that the result is not a tie.
inline ExactNumber divide(const ExactNumber& left, const ExactNumber& right) {
    const bool negative = left.negative != right.negative;
    if (isNan(left) || isNan(right))
        return notANumber();
    if ((isInfinite(left) && isInfinite(right)) || (isZero(left) && isZero(right)))
        return notANumber();
    if (isInfinite(left) || isZero(right))
        return infinite(negative);
    if (isInfinite(right) || isZero(left))
        return zero(negative);
    const int room = 127 - leadingBit(left.magnitude);
    const Wide dividend = left.magnitude << room;
    ExactNumber quotient = zero(negative);
    quotient.magnitude = dividend / right.magnitude;
    if (dividend % right.magnitude != 0)
        quotient.magnitude |= 1;
    quotient.exponent = left.exponent - room - right.exponent;
    return quotient;
}

/// The greatest integer whose square is not above `square`.
inline Wide integerRoot(Wide square) {
    Wide root = 0;
    for (int bit = 63; bit >= 0; --bit) {
        const Wide next = root | Wide{1} << bit;
        if (next * next <= square)
            root = next;
    }
    return root;
}

/// The root's magnitude has at least 63 bits. If the root is not a whole number, the last bit is
/// set, as in `divide`.
inline ExactNumber squareRoot(const ExactNumber& number) {
    if (isNan(number) || isZero(number))
        return number;
    if (number.negative)
        return notANumber();
    if (isInfinite(number))
        return number;
    int room = 127 - leadingBit(number.magnitude);
    if ((number.exponent - room) % 2 != 0)
        --room;
    const Wide square = number.magnitude << room;
    ExactNumber root;
    root.magnitude = integerRoot(square);
    if (root.magnitude * root.magnitude != square)
        root.magnitude |= 1;
    root.exponent = (number.exponent - room) / 2;
    return root;
}

/// Compares two values that are not NaN, given as bits: -1, 0 or 1. Magnitudes have the same order
/// as their bits. Both zeros are equal.
inline int compareFloatBits(FloatFormat format, std::uint64_t left, std::uint64_t right) {
    const auto ordered = [format](std::uint64_t bits) {
        const std::uint64_t sign = std::uint64_t{1} << (format.fractionBits + format.exponentBits);
        const auto magnitude = static_cast<std::int64_t>(bits & (sign - 1));
        return (bits & sign) != 0 ? -magnitude : magnitude;
    };
    const std::int64_t a = ordered(left);
    const std::int64_t b = ordered(right);
    return a < b ? -1 : a > b ? 1 : 0;
}

} // namespace Fenlet::Model
