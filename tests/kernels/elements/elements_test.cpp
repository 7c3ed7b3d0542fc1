// Compares the loops over elements with naive ones, at every length around the widths of vectors.
#include "kernels/elements/elements.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

constexpr int longest = 200;

std::vector<std::int64_t> runOf(std::int64_t first, int count) {
    std::vector<std::int64_t> numbers;
    for (int i = 0; i < count; ++i)
        numbers.push_back(static_cast<std::int64_t>(static_cast<std::uint64_t>(first) +
                                                    static_cast<std::uint64_t>(i)));
    return numbers;
}

TEST(CountUp, GivesEachPlaceTheNextNumberAndWraps) {
    for (int count = 0; count <= longest; ++count)
        for (const std::int64_t start : {std::int64_t{0}, std::int64_t{-5}, INT64_MAX - 3}) {
            // The area begins one byte after an aligned address, and guard bytes follow it.
            std::vector<unsigned char> bytes(1 + sizeof(std::int64_t) * (longest + 1), 0xCC);
            const std::vector<unsigned char> before = bytes;
            countUp(bytes.data() + 1, start, count);
            const std::vector<std::int64_t> expected = runOf(start, count);
            const std::size_t written = expected.size() * sizeof(std::int64_t);
            EXPECT_TRUE(count == 0 || std::memcmp(bytes.data() + 1, expected.data(), written) == 0)
                << count;
            EXPECT_EQ(bytes[0], before[0]);
            EXPECT_TRUE(std::equal(bytes.begin() + 1 + static_cast<std::ptrdiff_t>(written),
                                   bytes.end(),
                                   before.begin() + 1 + static_cast<std::ptrdiff_t>(written)));
        }
}

TEST(WidenIndices, KeepsEveryInt32) {
    for (int count = 0; count <= longest; ++count) {
        std::vector<unsigned char> bytes(1 + sizeof(std::int32_t) * longest);
        std::vector<std::int64_t> expected;
        for (int i = 0; i < count; ++i) {
            const std::int32_t special[] = {0, -1, INT32_MIN, INT32_MAX, i};
            std::memcpy(bytes.data() + 1 + sizeof(std::int32_t) * static_cast<std::size_t>(i),
                        &special[i % 5], sizeof(std::int32_t));
            expected.push_back(special[i % 5]);
        }
        std::vector<std::int64_t> out(longest + 1, 77);
        widenIndices(out.data(), bytes.data() + 1, count);
        expected.resize(longest + 1, 77);
        EXPECT_EQ(out, expected) << count;
    }
}

TEST(IsContiguous, NoticesEveryPlaceThatBreaksTheRunAndEveryInvalidOne) {
    // Longer than a group of vectors that the loop examines together, in every set.
    constexpr int longestRun = 330;
    for (int count = 1; count <= longestRun; ++count) {
        std::vector<std::int64_t> numbers = runOf(INT64_MAX - 70, count);
        std::vector<unsigned char> validity(static_cast<std::size_t>(count), 255);
        EXPECT_TRUE(isContiguous(numbers.data(), validity.data(), count)) << count;
        EXPECT_TRUE(isContiguous(numbers.data(), nullptr, count)) << count;
        for (int at = 0; at < count; ++at) {
            const auto place = static_cast<std::size_t>(at);
            validity[place] = 0;
            EXPECT_FALSE(isContiguous(numbers.data(), validity.data(), count)) << count << at;
            validity[place] = 2;
            numbers[place] ^= std::int64_t{1} << (at % 64);
            EXPECT_EQ(isContiguous(numbers.data(), nullptr, count), count == 1) << count << at;
            numbers[place] ^= std::int64_t{1} << (at % 64);
        }
    }
}

TEST(IsContiguous, HoldsForNoElements) {
    const std::int64_t number = 9;
    const unsigned char invalid = 0;
    EXPECT_TRUE(isContiguous(&number, &invalid, 0));
}

TEST(IsOneThroughout, NoticesEveryPlaceThatHoldsAnythingElse) {
    // Lengths around one and two groups of vectors that the loop examines together.
    for (const int count : {0, 1, 2, 63, 255, 256, 257, 511, 512, 513, 600}) {
        std::vector<unsigned char> validity(static_cast<std::size_t>(count), 1);
        EXPECT_TRUE(isOneThroughout(validity.data(), count)) << count;
        for (unsigned char& byte : validity) {
            for (const int other : {0, 2, 3, 129, 255}) {
                byte = static_cast<unsigned char>(other);
                EXPECT_FALSE(isOneThroughout(validity.data(), count))
                    << count << ' ' << &byte - validity.data() << ' ' << other;
            }
            byte = 1;
        }
    }
}

TEST(BothValid, TakesEveryByteButZeroForValid) {
    for (int count = 0; count <= longest; ++count) {
        std::vector<unsigned char> left;
        std::vector<unsigned char> right;
        std::vector<unsigned char> expected;
        for (int i = 0; i < longest; ++i) {
            left.push_back(static_cast<unsigned char>(i % 3 == 0 ? 0 : i + 50));
            right.push_back(static_cast<unsigned char>(i % 5 == 0 ? 0 : 255 - i));
            const bool both = left.back() != 0 && right.back() != 0;
            expected.push_back(i < count ? static_cast<unsigned char>(both) : 77);
        }
        std::vector<unsigned char> result(longest, 77);
        bothValid(result.data(), left.data(), right.data(), count);
        EXPECT_EQ(result, expected) << count;
        bothValid(left.data(), left.data(), right.data(), count);
        EXPECT_TRUE(std::equal(left.begin(), left.begin() + count, expected.begin())) << count;
    }
}

} // namespace
} // namespace Fenlet
