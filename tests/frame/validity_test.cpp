// Combining the validity of two operands, by itself.
#include "frame/validity.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using Bytes = std::vector<unsigned char>;

TEST(CombineValidity, CoversBlocksOfAnyLength) {
    for (int count = 0; count <= 200; ++count) {
        Bytes a(201);
        Bytes b(201);
        for (std::size_t i = 0; i < a.size(); ++i) {
            a[i] = static_cast<unsigned char>(i * 7 % 5);
            b[i] = static_cast<unsigned char>(i * 11 % 3 * 85);
        }
        Bytes expected(201, 42);
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i)
            expected[i] = a[i] != 0 && b[i] != 0;
        Bytes combined(201, 42);
        combineValidity(combined.data(), a.data(), b.data(), count);
        EXPECT_EQ(combined, expected) << count;
    }
}

TEST(CombineValidity, WritesNothingForNoElements) {
    unsigned char byte = 7;
    for (const int count : {0, -1}) {
        combineValidity(&byte, nullptr, nullptr, count);
        combineValidity(nullptr, nullptr, nullptr, count);
        EXPECT_EQ(byte, 7);
    }
}

} // namespace
} // namespace Fenlet
