// The four operations, on one lane or on a vector of lanes.
#pragma once

#include "kernels/target/target.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

template <class T>
struct Add {
    static T apply(T left, T right) { return left + right; }
};
template <class T>
struct Subtract {
    static T apply(T left, T right) { return left - right; }
};
template <class T>
struct Multiply {
    static T apply(T left, T right) { return left * right; }
};
template <class T>
struct Divide {
    static T apply(T left, T right) { return left / right; }
};

// Integers wrap as unsigned numbers do.
template <template <class> class Operation>
struct Wrapping {
    static std::int32_t apply(std::int32_t left, std::int32_t right) {
        return static_cast<std::int32_t>(Operation<std::uint32_t>::apply(
            static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(right)));
    }
};
template <>
struct Add<std::int32_t> : Wrapping<Add> {};
template <>
struct Subtract<std::int32_t> : Wrapping<Subtract> {};
template <>
struct Multiply<std::int32_t> : Wrapping<Multiply> {};

// Truncating the binary64 quotient of two 32-bit integers is exact, since the quotient is never so
// close to a whole number that binary64 rounds to it. That also works on several lanes at a time.
// The divisors 0 and -1 are replaced first.
template <>
struct Divide<std::int32_t> {
    static std::int32_t apply(std::int32_t left, std::int32_t right) {
        const bool isSpecial = right == 0 || right == -1;
        const double quotient = static_cast<double>(left) / (isSpecial ? 1.0 : right);
        const auto negated = static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(left));
        const std::int32_t special = right == 0 ? 0 : negated;
        return isSpecial ? special : static_cast<std::int32_t>(quotient);
    }
};

} // namespace FENLET_TARGET
} // namespace Fenlet
