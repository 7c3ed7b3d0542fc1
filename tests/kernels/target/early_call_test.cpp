// Calls of kernels before the instruction set is chosen: from the initialisation of a static
// object.
#include "kernels/arithmetic/arithmetic.h"
#include "kernels/target/sets.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

constexpr int lanes = 1 << 16;

/// Adds to each `Half` the one before it. Keeps the sums and the instruction set that was used.
struct EarlySums {
    EarlySums() : set(chosenInstructionSet) {
        for (std::size_t i = 0; i < lanes; ++i) {
            left[i] = static_cast<std::uint16_t>(i);
            right[i] = static_cast<std::uint16_t>(i - 1);
        }
        isDone = add(sums);
    }

    bool add(std::array<std::uint16_t, lanes>& out) const {
        return dispatchArithmetic(CpuElementKind::Half, CpuElementKind::Half, CpuElementKind::Half,
                                  {out.data(), nullptr, left.data(), right.data(), lanes, 1, false,
                                   false, ArithmeticOp::Add});
    }

    InstructionSet set;
    bool isDone = false;
    std::array<std::uint16_t, lanes> left{};
    std::array<std::uint16_t, lanes> right{};
    std::array<std::uint16_t, lanes> sums{};
};

// 101 is the first priority that programs may use, so this object is initialised before others.
[[gnu::init_priority(101)]] const EarlySums early;

/// The sign and payload of a NaN depend on the processor.
std::uint16_t oneForNaN(std::uint16_t half) {
    return (half & 0x7FFF) > 0x7C00 ? std::uint16_t{0x7E00} : half;
}

TEST(EarlyCall, RunsTheBaselineAndIsRight) {
    EXPECT_EQ(early.set, InstructionSet::Baseline);
    ASSERT_TRUE(early.isDone);
    static std::array<std::uint16_t, lanes> sums;
    ASSERT_TRUE(early.add(sums));
    for (std::size_t i = 0; i < lanes; ++i)
        ASSERT_EQ(oneForNaN(early.sums[i]), oneForNaN(sums[i])) << i;
    // 1 plus the half before it. This shows that the sums were written: if they were not, they
    // would all be equal.
    EXPECT_EQ(early.sums[0x3C00], 0x4000);
}

} // namespace
} // namespace Fenlet
