// Copying one value to every element of a block.
#include "sources/broadcast_value.h"

#include <climits>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned char guard = 0xEE;

// Bytes are copied unchanged, so these bytes need not be meaningful values of any kind.
Bytes valueOf(std::size_t bytes) {
    Bytes value(bytes);
    for (std::size_t i = 0; i < bytes; ++i)
        value[i] = static_cast<unsigned char>(i * 37 + 201);
    return value;
}

TEST(BroadcastValue, CopiesRawBitsOverEachElementAndNothingElse) {
    const struct {
        CpuElementKind kind;
        std::size_t size;
    } kinds[] = {
        {CpuElementKind::Tribool, 1}, {CpuElementKind::Int32, 4},   {CpuElementKind::Int64, 8},
        {CpuElementKind::Half, 2},    {CpuElementKind::Float32, 4}, {CpuElementKind::Float64, 8},
    };
    for (const auto& row : kinds) {
        for (const int multiplicity : {1, 2, 3, 4, 5, 7, 16, 63, 64}) {
            const Bytes value = valueOf(row.size * static_cast<std::size_t>(multiplicity));
            for (const int count : {1, 2, 3, 4, 5, 8, 9, 31, 64, 100, 200}) {
                for (const std::size_t start : {0u, 1u, 3u}) {
                    const std::size_t bytes = value.size() * static_cast<std::size_t>(count);
                    Bytes expected(start + bytes + 8, guard);
                    for (std::size_t i = 0; i < bytes; ++i)
                        expected[start + i] = value[i % value.size()];
                    Bytes block(expected.size(), guard);
                    EXPECT_TRUE(broadcastValue(block.data() + start, row.kind, value.data(), count,
                                               multiplicity));
                    ASSERT_EQ(block, expected) << cpuElementKindName(row.kind) << " x "
                                               << multiplicity << " over " << count;
                }
            }
        }
    }
}

TEST(BroadcastValue, RefusesKindsWithoutStorageBeforeAnythingElse) {
    for (const int number : {0, 7, 8, 1000, -1, INT_MAX, INT_MIN}) {
        const auto kind = static_cast<CpuElementKind>(number);
        Bytes block(64, guard);
        const Bytes value = valueOf(64);
        EXPECT_FALSE(broadcastValue(block.data(), kind, value.data(), 4, 2));
        EXPECT_FALSE(broadcastValue(block.data(), kind, value.data(), 0, 2));
        EXPECT_FALSE(broadcastValue(nullptr, kind, nullptr, -1, -1));
        EXPECT_EQ(block, Bytes(64, guard));
    }
}

TEST(BroadcastValue, WritesNothingForNoElementsOrComponents) {
    for (const auto kind : {CpuElementKind::Tribool, CpuElementKind::Float64}) {
        Bytes block(64, guard);
        const Bytes value = valueOf(64);
        for (const int none : {0, -1, INT_MIN}) {
            EXPECT_TRUE(broadcastValue(block.data(), kind, value.data(), none, 2));
            EXPECT_TRUE(broadcastValue(block.data(), kind, value.data(), 2, none));
            EXPECT_TRUE(broadcastValue(nullptr, kind, nullptr, none, none));
        }
        EXPECT_EQ(block, Bytes(64, guard));
    }
}

} // namespace
} // namespace Fenlet
