// Compares the kernels' loops over Half conversions, in vectors of any width, with conversions of
// one lane at a time.
#include "kernels/conversions/conversions.h"
#include "sources/component.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

template <class Lane>
void storeAt(std::vector<unsigned char>& area, std::size_t place, Lane lane) {
    std::memcpy(area.data() + place * sizeof lane, &lane, sizeof lane);
}

/// Runs the kernel of Component, which converts. Both areas are misaligned by one byte.
template <class To, class From>
std::vector<unsigned char> extracted(CpuElementKind to, CpuElementKind from,
                                     const std::vector<unsigned char>& lanes) {
    const std::size_t count = lanes.size() / sizeof(From);
    std::vector<unsigned char> in(lanes.size() + 1);
    std::copy(lanes.begin(), lanes.end(), in.begin() + 1);
    std::vector<unsigned char> out(count * sizeof(To) + 1);
    EXPECT_TRUE(dispatchComponent(
        to, from, {out.data() + 1, in.data() + 1, static_cast<std::int32_t>(count), 1, 0}));
    return {out.begin() + 1, out.end()};
}

TEST(WideHalves, WidenEveryHalfAsOneLaneDoes) {
    std::vector<unsigned char> halves(65536 * sizeof(Half));
    std::vector<unsigned char> expected(65536 * sizeof(float));
    for (std::uint32_t bits = 0; bits < 65536; ++bits) {
        const Half half{static_cast<std::uint16_t>(bits)};
        storeAt(halves, bits, half);
        storeAt(expected, bits, convert<float>(half));
    }
    EXPECT_TRUE((extracted<float, Half>(CpuElementKind::Float32, CpuElementKind::Half, halves) ==
                 expected));
}

/// Converts every `step`th Float32 to Half, in blocks, and compares the results with single
/// conversions.
void narrowAsOneLaneDoes(std::uint64_t step) {
    constexpr std::size_t block = 4099;
    std::vector<unsigned char> floats(block * sizeof(float));
    std::vector<unsigned char> expected(block * sizeof(Half));
    std::uint64_t bits = 0;
    while (bits >> 32 == 0) {
        for (std::size_t i = 0; i < block; ++i, bits += step) {
            const auto value = bitCast<float>(static_cast<std::uint32_t>(bits));
            storeAt(floats, i, value);
            storeAt(expected, i, convert<Half>(value));
        }
        ASSERT_TRUE((extracted<Half, float>(CpuElementKind::Half, CpuElementKind::Float32,
                                            floats) == expected))
            << "up to " << bits;
    }
}

#ifdef FENLET_EVERY_FLOAT
TEST(WideHalves, NarrowEveryFloat32AsOneLaneDoes) {
    narrowAsOneLaneDoes(1);
}
#else
TEST(WideHalves, NarrowManyFloat32AsOneLaneDoes) {
    narrowAsOneLaneDoes(997);
}

TEST(WideHalves, TakeInt32AsOneLaneDoes) {
    std::vector<unsigned char> integers;
    std::vector<unsigned char> expected;
    const auto append = [&](std::int64_t wide) {
        const auto value = static_cast<std::int32_t>(wide);
        const Half half = convert<Half>(value);
        integers.resize(integers.size() + sizeof value);
        expected.resize(expected.size() + sizeof half);
        storeAt(integers, integers.size() / sizeof value - 1, value);
        storeAt(expected, expected.size() / sizeof half - 1, half);
    };
    for (std::int64_t value = -70000; value <= 70000; ++value)
        append(value);
    for (std::int64_t value = INT32_MIN; value <= INT32_MAX; value += 65521)
        append(value);
    append(INT32_MAX);
    EXPECT_TRUE((extracted<Half, std::int32_t>(CpuElementKind::Half, CpuElementKind::Int32,
                                               integers) == expected));
}
#endif

} // namespace
} // namespace Fenlet
