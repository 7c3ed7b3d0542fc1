// Conversions give the same results whether the compiler or the processor computes them.
//
// A cast that is undefined for its value would differ: compilers fold it to one result, and
// processors compute another.
#include "conversion_checks.h"

#include <array>
#include <limits>
#include <utility>

namespace Fenlet {
namespace {

/// Bits of values at which compiler and processor could differ: thresholds, values beyond them,
/// ties and NaNs.
template <class From>
inline constexpr std::array<std::uint64_t, 0> temptations{};
template <>
inline constexpr std::array temptations<std::int32_t>{
    bitsOf(std::int32_t{0}),        bitsOf(std::int32_t{1}),
    bitsOf(std::int32_t{-1}),       bitsOf(std::int32_t{2049}),
    bitsOf(std::int32_t{2051}),     bitsOf(std::int32_t{65519}),
    bitsOf(std::int32_t{65520}),    bitsOf(std::int32_t{-70000}),
    bitsOf(std::int32_t{16777217}), bitsOf(std::int32_t{2147483647}),
    bitsOf(std::int32_t{INT32_MIN})};
template <>
inline constexpr std::array temptations<std::int64_t>{bitsOf(std::int64_t{0}),
                                                      bitsOf(std::int64_t{-1}),
                                                      bitsOf(std::int64_t{2051}),
                                                      bitsOf(std::int64_t{65520}),
                                                      bitsOf(std::int64_t{-70000}),
                                                      bitsOf(std::int64_t{0x1FFFFFFFF}),
                                                      bitsOf(std::int64_t{9007199254740993}),
                                                      bitsOf(std::int64_t{1152921573326323713}),
                                                      bitsOf(std::int64_t{INT64_MAX}),
                                                      bitsOf(std::int64_t{INT64_MIN})};
template <>
inline constexpr std::array<std::uint64_t, 12> temptations<Half>{
    0x0000, 0x8000, 0x0001, 0x03FF, 0x0400, 0xBC00, 0x3E00, 0x7BFF, 0x7C00, 0xFC00, 0x7C01, 0xFEAA};
template <>
inline constexpr std::array temptations<float>{bitsOf(0.0f),
                                               bitsOf(-0.0f),
                                               bitsOf(-0.99f),
                                               bitsOf(1e-8f),
                                               bitsOf(1e-7f),
                                               bitsOf(0x1p-25f),
                                               bitsOf(65520.0f),
                                               bitsOf(2147483520.0f),
                                               bitsOf(2147483648.0f),
                                               bitsOf(-2147483648.0f),
                                               bitsOf(3e9f),
                                               bitsOf(-3e9f),
                                               bitsOf(0x1p63f),
                                               bitsOf(1e20f),
                                               bitsOf(std::numeric_limits<float>::infinity()),
                                               bitsOf(-std::numeric_limits<float>::infinity()),
                                               std::uint64_t{0x7F800001},
                                               std::uint64_t{0x7FC00000},
                                               std::uint64_t{0xFFFFFFFF}};
template <>
inline constexpr std::array temptations<double>{bitsOf(-0.0),
                                                bitsOf(-0.5),
                                                bitsOf(0x1p-25),
                                                bitsOf(1 + 0x1p-11 + 0x1p-30),
                                                bitsOf(65520.0),
                                                bitsOf(2147483647.9),
                                                bitsOf(2147483648.0),
                                                bitsOf(-2147483648.9),
                                                bitsOf(-2147483649.0),
                                                bitsOf(3e9),
                                                bitsOf(-3e10),
                                                bitsOf(0x1p63),
                                                bitsOf(-0x1p63),
                                                bitsOf(1e39),
                                                bitsOf(1e300),
                                                bitsOf(std::numeric_limits<double>::denorm_min()),
                                                bitsOf(std::numeric_limits<double>::infinity()),
                                                bitsOf(-std::numeric_limits<double>::infinity()),
                                                std::uint64_t{0x7FF0000000000001},
                                                std::uint64_t{0x7FF8000000000000},
                                                std::uint64_t{0xFFFFFFFFFFFFFFFF}};

template <class To, class From, std::size_t index>
void expectSameFoldedAndRun() {
    constexpr std::uint64_t bits = temptations<From>[index];
    // On a processor with a single NaN, only the compiler keeps the bits of a NaN.
    if (Oracle::hasSingleNan && Oracle::isNan(kindOf<From>, bits))
        return;
    const volatile std::uint64_t hidden = bits;
    const std::vector<From> in{valueOf<From>(bits)};
    const std::vector<To> folded{convert<To>(valueOf<From>(bits))};
    const std::vector<To> run{convert<To>(valueOf<From>(hidden))};
    EXPECT_EQ(firstDifference(in, folded, run, "folded", "running"), "");
    EXPECT_EQ(firstDifference(in, folded, exactlyConverted<To>(in), "folded", "integer arithmetic"),
              "");
}

TEST(FoldedConversion, EqualsTheOneAtRunTime) {
    forEveryPair([]<class To, class From>() {
        const auto expectAll = []<std::size_t... indices>(std::index_sequence<indices...>) {
            (expectSameFoldedAndRun<To, From, indices>(), ...);
        };
        expectAll(std::make_index_sequence<temptations<From>.size()>{});
    });
}

} // namespace
} // namespace Fenlet
