// Checks of conversions, one by one and in runs, to the bit.
#pragma once

#include "kernels/conversions/conversions.h"
#include "oracle/exact_conversions.h"
#include "vocabulary/kinds.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <gtest/gtest.h>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

namespace Fenlet {

inline std::string nameOf(CpuElementKind kind) {
    return cpuElementKindName(kind);
}

/// Calls `visit.operator()<To, From>()` for every pair of numeric kinds.
template <class Visit>
void forEveryPair(const Visit& visit) {
    NumericKinds::forEach([&]<class From>(int) {
        NumericKinds::forEach([&]<class To>(int) { visit.template operator()<To, From>(); });
    });
}

template <class T>
constexpr std::uint64_t bitsOf(T value) {
    return std::bit_cast<UnsignedOfSize<sizeof(T)>>(value);
}

template <class T>
constexpr T valueOf(std::uint64_t bits) {
    return std::bit_cast<T>(static_cast<UnsignedOfSize<sizeof(T)>>(bits));
}

/// Converts a single value. The compiler cannot make this part of a vector loop.
template <class To, class From>
[[gnu::noinline]] To convertAlone(From value) {
    return convert<To>(value);
}

template <class T>
std::string hexOf(std::uint64_t bits) {
    std::ostringstream text;
    text << "0x" << std::hex << std::uppercase << std::setfill('0') << std::setw(int{sizeof(T)} * 2)
         << bits;
    return text.str();
}

template <class T>
const unsigned char* bytesOf(const std::vector<T>& lanes) {
    return reinterpret_cast<const unsigned char*>(lanes.data());
}

template <class T>
unsigned char* bytesOf(std::vector<T>& lanes) {
    return reinterpret_cast<unsigned char*>(lanes.data());
}

/// The first lane in which `actual` and `expected` differ in any bit, in words; empty if there is
/// none. `in` has the values that were converted. For the message, `how` says how `actual` was
/// computed, and `witness` how `expected` was computed.
template <class To, class From>
std::string firstDifference(const std::vector<From>& in, const std::vector<To>& actual,
                            const std::vector<To>& expected, const char* how, const char* witness) {
    if (std::equal(bytesOf(actual), bytesOf(actual) + actual.size() * sizeof(To),
                   bytesOf(expected)))
        return {};
    std::size_t i = 0;
    while (bitsOf(actual[i]) == bitsOf(expected[i]))
        ++i;
    return nameOf(kindOf<From>) + ' ' + hexOf<From>(bitsOf(in[i])) + " to " + nameOf(kindOf<To>) +
           ": " + hexOf<To>(bitsOf(actual[i])) + ' ' + how + ", " + hexOf<To>(bitsOf(expected[i])) +
           " by " + witness;
}

/// The first difference between `expected` and the conversion of `in`, one value at a time and all
/// in a run.
template <class To, class From>
std::string firstMismatch(const std::vector<From>& in, const std::vector<To>& expected,
                          const char* witness) {
    std::vector<To> actual(in.size());
    std::transform(in.begin(), in.end(), actual.begin(), convertAlone<To, From>);
    const std::string alone = firstDifference(in, actual, expected, "by itself", witness);
    mapRun<Convert<To, From>>(bytesOf(actual), bytesOf(in), static_cast<std::int64_t>(in.size()));
    return alone + firstDifference(in, actual, expected, "in a run", witness);
}

template <class To, class From>
std::vector<To> exactlyConverted(const std::vector<From>& in) {
    std::vector<To> out(in.size());
    std::transform(in.begin(), in.end(), out.begin(), [](From value) {
        return valueOf<To>(Oracle::convertBits(kindOf<To>, kindOf<From>, bitsOf(value)));
    });
    return out;
}

/// `firstMismatch` with the results of exact integer arithmetic as `expected`.
template <class To, class From>
std::string firstInexactness(const std::vector<From>& in) {
    return firstMismatch(in, exactlyConverted<To>(in), "integer arithmetic");
}

} // namespace Fenlet
