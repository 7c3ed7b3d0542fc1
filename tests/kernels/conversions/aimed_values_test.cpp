// A hundred million values of the 64-bit kinds, drawn near ties and near the ends of ranges.
#include "portions.h"

namespace Fenlet {
namespace {

constexpr std::uint64_t draws = 100'000'000;

/// Maps each number to 64 evenly distributed bits (SplitMix; Steele, Lea and Flood 2014).
constexpr std::uint64_t scatter(std::uint64_t number) {
    std::uint64_t bits = (number + 1) * 0x9E3779B97F4A7C15;
    bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EB;
    return bits ^ (bits >> 31);
}

/// Draws several small numbers from the same 64 bits.
struct Choices {
    std::uint64_t bits;

    int below(std::uint64_t count) {
        const auto choice = static_cast<int>(bits % count);
        bits /= count;
        return choice;
    }
};

/// Makes a tie, or a value next to a tie. Of the lowest `width` bits of `bits`, keeps the upper
/// `kept` bits. The remaining bits become one half of the last place kept, or one half plus or
/// minus 1.
std::uint64_t nearTie(std::uint64_t bits, int width, int kept, Choices& choices) {
    const std::uint64_t half = std::uint64_t{1} << (width - kept - 1);
    const auto nudge = static_cast<std::uint64_t>(choices.below(3));
    return (bits & ~(half | (half - 1))) + half + nudge - 1;
}

/// Draws any bits, or a value whose fraction is random or near a tie. The exponent of such a value
/// lies between the least of `Half` and the greatest of `Int64`, or is that of any Float32.
double drawFloat64(std::uint64_t number) {
    const std::uint64_t even = scatter(number);
    Choices choices{scatter(~number)};
    const int style = choices.below(8);
    if (style == 0)
        return valueOf<double>(even);
    const int exponent =
        style < 5 ? 1023 - 30 + choices.below(96) : 1023 - 152 + choices.below(284);
    std::uint64_t fraction = even & 0x000FFFFFFFFFFFFF;
    if (style % 2 == 0)
        fraction = nearTie(fraction, 52, choices.below(52), choices) & 0x000FFFFFFFFFFFFF;
    return valueOf<double>((even & 0x8000000000000000) |
                           (static_cast<std::uint64_t>(exponent) << 52) | fraction);
}

/// Draws an integer of random width, either random or near a tie of a float kind.
std::int64_t drawInt64(std::uint64_t number) {
    const std::uint64_t even = scatter(number);
    Choices choices{scatter(~number)};
    const int width = 1 + choices.below(64);
    std::uint64_t magnitude = (even | 0x8000000000000000) >> (64 - width);
    constexpr int precisions[] = {11, 24, 53};
    const int kept = precisions[choices.below(3)];
    if (choices.below(4) != 0 && kept < width)
        magnitude = nearTie(magnitude, width, kept, choices);
    return valueOf<std::int64_t>(choices.below(2) != 0 ? 0 - magnitude : magnitude);
}

template <class To>
std::string firstFaultFromFloat64() {
    return firstFaultAmong<To, double>(draws, [](std::uint64_t number, std::vector<double>& in) {
        in.push_back(drawFloat64(number));
    });
}

template <class To>
std::string firstFaultFromInt64() {
    return firstFaultAmong<To, std::int64_t>(
        draws, [](std::uint64_t number, std::vector<std::int64_t>& in) {
            in.push_back(drawInt64(number));
        });
}

TEST(AimedFloat64, ToHalf) {
    EXPECT_EQ(firstFaultFromFloat64<Half>(), "");
}

TEST(AimedFloat64, ToInt32) {
    EXPECT_EQ(firstFaultFromFloat64<std::int32_t>(), "");
}

TEST(AimedFloat64, ToInt64) {
    EXPECT_EQ(firstFaultFromFloat64<std::int64_t>(), "");
}

TEST(AimedFloat64, ToFloat32) {
    EXPECT_EQ(firstFaultFromFloat64<float>(), "");
}

TEST(AimedInt64, ToHalf) {
    EXPECT_EQ(firstFaultFromInt64<Half>(), "");
}

TEST(AimedInt64, ToFloat32) {
    EXPECT_EQ(firstFaultFromInt64<float>(), "");
}

TEST(AimedInt64, ToFloat64) {
    EXPECT_EQ(firstFaultFromInt64<double>(), "");
}

TEST(AimedInt64, ToInt32) {
    EXPECT_EQ(firstFaultFromInt64<std::int32_t>(), "");
}

} // namespace
} // namespace Fenlet
