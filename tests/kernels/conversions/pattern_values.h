// Values of each kind with regular bit patterns, at which rounding, carries and range tests change
// their results.
#pragma once

#include "conversion_checks.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace Fenlet {

/// Patterns of `width` bits: each single bit, each run of ones that includes the top bit, and their
/// neighbours.
inline std::vector<std::uint64_t> bitPatterns(int width) {
    const std::uint64_t mask = ~std::uint64_t{0} >> (64 - width);
    std::vector<std::uint64_t> patterns;
    for (int place = 0; place < width; ++place)
        for (const std::uint64_t nudge : {~std::uint64_t{0}, std::uint64_t{0}, std::uint64_t{1}}) {
            const std::uint64_t bit = std::uint64_t{1} << place;
            patterns.push_back((bit + nudge) & mask);
            patterns.push_back((0 - bit + nudge) & mask);
        }
    return patterns;
}

/// For every exponent, the power of two and its neighbours. For exponents at which the range of a
/// kind begins or ends, every pattern of the fraction.
template <class Float>
std::vector<Float> floatPatterns() {
    constexpr Oracle::FloatFormat format = Oracle::formatOf(kindOf<Float>);
    constexpr int top = (1 << format.exponentBits) - 1;
    constexpr int bias = top / 2;
    const std::uint64_t all = format.hiddenBit() - 1;
    const std::vector<std::uint64_t> nearPower{0, 1, 2, all - 1, all};
    const std::vector<std::uint64_t> everyPattern = bitPatterns(format.fractionBits);
    std::vector<Float> values;
    for (int exponent = 0; exponent <= top; ++exponent) {
        const bool isEdge = exponent == 0 || exponent == top;
        const bool isNear = exponent > bias - 160 && exponent < bias + 140;
        for (const std::uint64_t fraction : isEdge || isNear ? everyPattern : nearPower) {
            const std::uint64_t magnitude =
                (static_cast<std::uint64_t>(exponent) << format.fractionBits) | fraction;
            values.push_back(valueOf<Float>(magnitude));
            values.push_back(valueOf<Float>(magnitude | format.signBit()));
        }
    }
    return values;
}

/// Sums and differences of two powers of two, with their neighbours.
template <class Integer>
std::vector<Integer> integerPatterns() {
    constexpr int width = std::numeric_limits<Integer>::digits + 1;
    std::vector<Integer> values;
    for (int place = 0; place < width; ++place)
        for (const std::uint64_t low : bitPatterns(place + 1)) {
            const std::uint64_t bit = std::uint64_t{1} << place;
            for (const std::uint64_t bits : {bit + low, bit - low, 0 - bit - low, low - bit})
                values.push_back(valueOf<Integer>(bits));
        }
    return values;
}

inline std::vector<Half> everyHalf() {
    std::vector<Half> values;
    for (std::uint32_t bits = 0; bits <= 0xFFFF; ++bits)
        values.push_back(Half{static_cast<std::uint16_t>(bits)});
    return values;
}

template <class T>
std::vector<T> patternValues() {
    if constexpr (std::numeric_limits<T>::is_integer)
        return integerPatterns<T>();
    else if constexpr (isSame<T, Half>)
        return everyHalf();
    else
        return floatPatterns<T>();
}

} // namespace Fenlet
