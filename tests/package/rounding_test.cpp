// With the kernels' options, a product and a sum round separately. A single rounding would give
// different bits.
#include "multiply_add.h"

#include <array>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

// More numbers than fit into a vector register, and not a multiple of its size.
constexpr std::size_t count = 35;

/// Computes (1 + e)(1 - e) - 1, where e * e is too small to be kept in the product. The result is 0
/// if the product is rounded, and -e * e if only the sum is rounded.
template <class T>
class Rounding : public testing::Test {
  protected:
    using Numbers = std::array<T, count>;
    static constexpr T e = sizeof(T) == 4 ? T(0x1p-13) : T(0x1p-27);

    template <class Operation>
    static Numbers compute(Operation operation) {
        Numbers a, b, c, out;
        a.fill(1 + e);
        b.fill(1 - e);
        c.fill(-1);
        out.fill(7);
        operation(a.data(), b.data(), c.data(), out.data(), count);
        return out;
    }
    static Numbers all(T value) {
        Numbers numbers;
        numbers.fill(value);
        return numbers;
    }
};
using Types = testing::Types<float, double>;
TYPED_TEST_SUITE(Rounding, Types);

TYPED_TEST(Rounding, HappensAfterTheProductAndAfterTheSum) {
    const auto out = this->compute([](auto... arguments) { Rounded::multiplyAdd(arguments...); });
    EXPECT_EQ(out, this->all(0));
}

TYPED_TEST(Rounding, WouldHappenOnceIfTheOptionsLetIt) {
    const auto out = this->compute([](auto... arguments) { Fused::multiplyAdd(arguments...); });
    EXPECT_EQ(out, this->all(-this->e * this->e));
}

} // namespace
} // namespace Fenlet
