// The division of integers that callers run directly: the same quotients and validity, and no byte
// beyond the areas.
#include "kernels/fenced_area.h"
#include "kernels/special_values.h"
#include "naive_arithmetic.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <vector>

namespace Fenlet {
namespace {

using Fence = FencedArea::Fence;

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

/// What a division reads. Validity may be absent.
struct Operands {
    std::vector<std::int32_t> left;
    std::vector<std::int32_t> right;
    std::vector<unsigned char> leftValidity;
    std::vector<unsigned char> rightValidity;
    bool hasLeftValidity = true;
    bool hasRightValidity = true;

    std::size_t count() const { return left.size(); }
    bool isValid(std::size_t i) const {
        return right[i] != 0 && (!hasLeftValidity || leftValidity[i] != 0) &&
               (!hasRightValidity || rightValidity[i] != 0);
    }
    std::int32_t quotient(std::size_t i) const {
        if (right[i] == 0)
            return 0;
        const std::int64_t exact = std::int64_t{left[i]} / right[i];
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(exact));
    }
};

std::int32_t drawInteger(Draw& draw) {
    constexpr std::int32_t special[] = {0,      1,       -1,         2,           -2,
                                        lowest, highest, lowest + 1, highest - 1, 3};
    if (draw.below(3) == 0)
        return special[draw.below(10)];
    return static_cast<std::int32_t>(draw.next()) >> draw.below(31);
}

Operands drawOperands(std::size_t count, Draw& draw) {
    Operands operands;
    for (std::size_t i = 0; i < count; ++i) {
        operands.left.push_back(drawInteger(draw));
        operands.right.push_back(drawInteger(draw));
        const auto validity = [&] {
            return draw.below(4) == 0 ? static_cast<unsigned char>(0)
                                      : static_cast<unsigned char>(draw.next());
        };
        operands.leftValidity.push_back(validity());
        operands.rightValidity.push_back(validity());
    }
    operands.hasLeftValidity = draw.below(3) != 0;
    operands.hasRightValidity = draw.below(3) != 0;
    return operands;
}

/// Where the results go.
enum class Place { Apart, OverLeft, OverRight };

/// Divides with areas that end or begin at a fence.
void expectDivides(const Operands& operands, Place place, Fence fence) {
    const std::size_t count = operands.count();
    const auto filled = [fence](const auto& values) {
        const std::size_t bytes = values.size() * sizeof values[0];
        auto area = std::make_unique<FencedArea>(bytes, fence);
        std::copy_n(reinterpret_cast<const unsigned char*>(values.data()), bytes, area->data());
        return area;
    };
    const auto left = filled(operands.left);
    const auto right = filled(operands.right);
    const auto leftValidity = filled(operands.leftValidity);
    const auto rightValidity = filled(operands.rightValidity);
    const FencedArea apart(count * 4, fence);
    const FencedArea validityApart(count, fence);
    unsigned char* const result = place == Place::Apart      ? apart.data()
                                  : place == Place::OverLeft ? left->data()
                                                             : right->data();
    unsigned char* const validity = place == Place::Apart      ? validityApart.data()
                                    : place == Place::OverLeft ? leftValidity->data()
                                                               : rightValidity->data();
    const bool isValid = flatDivision()(
        result, validity, left->data(), operands.hasLeftValidity ? leftValidity->data() : nullptr,
        right->data(), operands.hasRightValidity ? rightValidity->data() : nullptr,
        static_cast<std::int64_t>(count));
    bool isExpectedValid = true;
    for (std::size_t i = 0; i < count; ++i) {
        std::int32_t quotient = 0;
        std::memcpy(&quotient, result + i * 4, 4);
        EXPECT_EQ(quotient, operands.quotient(i)) << operands.left[i] << " / " << operands.right[i];
        EXPECT_EQ(validity[i], operands.isValid(i)) << i << " of " << count;
        isExpectedValid = isExpectedValid && operands.isValid(i);
    }
    EXPECT_EQ(isValid, isExpectedValid);
}

/// Some sets divide in the careful kernel alone.
class FlatDivision : public testing::Test {
  protected:
    void SetUp() override {
        if (flatDivision() == nullptr)
            GTEST_SKIP() << "this set has no flat division";
    }
};

#ifdef FENLET_X86_SETS
TEST(FlatDivisions, ExistInEverySetOfX86) {
    EXPECT_NE(flatDivision(), nullptr);
}
#endif

TEST_F(FlatDivision, GivesQuotientsAndValidityInEveryLengthAndPlace) {
    Draw draw(1);
    for (std::size_t count = 0; count <= 130; ++count)
        for (const Fence fence : {Fence::Before, Fence::After})
            for (const Place place : {Place::Apart, Place::OverLeft, Place::OverRight})
                for (int turn = 0; turn < 3; ++turn)
                    expectDivides(drawOperands(count, draw), place, fence);
}

TEST_F(FlatDivision, IsExactForEveryPairOfSpecialNumbers) {
    const std::vector<std::uint64_t>& special = specialBits(CpuElementKind::Int32);
    Operands operands;
    for (const std::uint64_t left : special)
        for (const std::uint64_t right : special) {
            operands.left.push_back(static_cast<std::int32_t>(static_cast<std::uint32_t>(left)));
            operands.right.push_back(static_cast<std::int32_t>(static_cast<std::uint32_t>(right)));
        }
    operands.hasLeftValidity = operands.hasRightValidity = false;
    expectDivides(operands, Place::Apart, Fence::After);
}

TEST_F(FlatDivision, IsExactAroundWholeQuotients) {
    Draw draw(2);
    Operands operands;
    for (int i = 0; i < 100'000; ++i) {
        const std::int32_t divisor = drawInteger(draw);
        const std::int32_t quotient = drawInteger(draw);
        const auto product =
            static_cast<std::uint32_t>(divisor) * static_cast<std::uint32_t>(quotient);
        operands.left.push_back(
            static_cast<std::int32_t>(product + static_cast<std::uint32_t>(draw.below(3)) - 1));
        operands.right.push_back(divisor);
    }
    operands.hasLeftValidity = operands.hasRightValidity = false;
    expectDivides(operands, Place::Apart, Fence::After);
}

TEST_F(FlatDivision, WrapsTheLowestNumberDividedByMinusOne) {
    for (const std::size_t count : std::vector<std::size_t>{1, 16, 64, 65, 200}) {
        Operands operands;
        operands.left.assign(count, lowest);
        operands.right.assign(count, -1);
        operands.hasLeftValidity = operands.hasRightValidity = false;
        expectDivides(operands, Place::Apart, Fence::After);
        EXPECT_EQ(operands.quotient(0), lowest);
    }
}

} // namespace
} // namespace Fenlet
