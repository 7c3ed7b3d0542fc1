// Every value of the 32-bit kinds, and every tie where these are few enough to test.
#include "portions.h"

namespace Fenlet {
namespace {

constexpr std::uint64_t everyWord = std::uint64_t{1} << 32;

/// Appends the values whose bits are `middle` - 1, `middle` and `middle` + 1.
template <class T>
void appendWithNeighbours(std::uint64_t middle, std::vector<T>& in) {
    in.insert(in.end(), {valueOf<T>(middle - 1), valueOf<T>(middle), valueOf<T>(middle + 1)});
}

template <class To>
std::string firstFaultFromFloat32() {
    return firstFaultAmong<To, float>(everyWord, [](std::uint64_t bits, std::vector<float>& in) {
        in.push_back(valueOf<float>(bits));
    });
}

TEST(EveryFloat32, ToHalf) {
    EXPECT_EQ(firstFaultFromFloat32<Half>(), "");
}

TEST(EveryFloat32, ToInt32) {
    EXPECT_EQ(firstFaultFromFloat32<std::int32_t>(), "");
}

TEST(EveryFloat32, ToInt64) {
    EXPECT_EQ(firstFaultFromFloat32<std::int64_t>(), "");
}

TEST(EveryFloat32, ToFloat64) {
    EXPECT_EQ(firstFaultFromFloat32<double>(), "");
}

template <class To>
std::string firstFaultFromInt32() {
    return firstFaultAmong<To, std::int32_t>(everyWord,
                                             [](std::uint64_t bits, std::vector<std::int32_t>& in) {
                                                 in.push_back(valueOf<std::int32_t>(bits));
                                             });
}

TEST(EveryInt32, ToFloat32) {
    EXPECT_EQ(firstFaultFromInt32<float>(), "");
}

TEST(EveryInt32, ToHalf) {
    EXPECT_EQ(firstFaultFromInt32<Half>(), "");
}

TEST(EveryInt32, ToFloat64) {
    EXPECT_EQ(firstFaultFromInt32<double>(), "");
}

template <class To>
std::string firstFaultFromHalf() {
    return firstFaultAmong<To, Half>(0x10000, [](std::uint64_t bits, std::vector<Half>& in) {
        in.push_back(valueOf<Half>(bits));
    });
}

TEST(EveryHalf, ToFloat32) {
    EXPECT_EQ(firstFaultFromHalf<float>(), "");
}

TEST(EveryHalf, ToFloat64) {
    EXPECT_EQ(firstFaultFromHalf<double>(), "");
}

/// A tie between two numbers of 24 bits: a leading one at bit `place`, then the 23 bits of
/// `number`, then one half of the last place.
std::uint64_t tieOf24Bits(int place, std::uint64_t number) {
    const std::uint64_t kept = (std::uint64_t{1} << 23) | number;
    return ((kept << 1) | 1) << (place - 24);
}

TEST(EveryTie, FromInt64ToFloat32) {
    constexpr std::uint64_t tiesOfPlace = std::uint64_t{1} << 23;
    const std::string fault = firstFaultAmong<float, std::int64_t>(
        39 * tiesOfPlace, [](std::uint64_t number, std::vector<std::int64_t>& in) {
            const auto place = static_cast<int>(24 + number / tiesOfPlace);
            const std::uint64_t tie = tieOf24Bits(place, number % tiesOfPlace);
            appendWithNeighbours(tie, in);
            appendWithNeighbours(0 - tie, in);
        });
    EXPECT_EQ(fault, "");
}

TEST(EveryTie, FromFloat64ToFloat32) {
    constexpr std::uint64_t infinity = 0x7F800000;
    const auto widened = [](std::uint64_t bits) {
        return valueOf<double>(
            Oracle::convertBits(CpuElementKind::Float64, CpuElementKind::Float32, bits));
    };
    const std::string fault =
        firstFaultAmong<float, double>(infinity, [&](std::uint64_t bits, std::vector<double>& in) {
            const double lower = widened(bits);
            const double upper = bits + 1 == infinity ? 0x1p128 : widened(bits + 1);
            // Of every four consecutive ties, two are negative: one rounds up, the other rounds
            // down.
            const std::uint64_t sign = (bits & 2) << 62;
            appendWithNeighbours(bitsOf((lower + upper) / 2) | sign, in);
        });
    EXPECT_EQ(fault, "");
}

TEST(EveryWholeNumber, FromFloat64ToInt32AndItsNeighbours) {
    const std::string fault = firstFaultAmong<std::int32_t, double>(
        everyWord, [](std::uint64_t bits, std::vector<double>& in) {
            appendWithNeighbours(
                Oracle::convertBits(CpuElementKind::Float64, CpuElementKind::Int32, bits), in);
        });
    EXPECT_EQ(fault, "");
}

} // namespace
} // namespace Fenlet
