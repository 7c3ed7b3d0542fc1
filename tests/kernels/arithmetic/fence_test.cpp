// The kernels touch no bytes outside their areas, and no dividends after the last divisor that is
// not zero.
#include "kernels/fenced_area.h"
#include "kernels/special_values.h"
#include "naive_arithmetic.h"

#include <cstring>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

using Fence = FencedArea::Fence;

std::size_t bytesOf(CpuElementKind kind, std::int64_t lanes) {
    return static_cast<std::size_t>(elementSize(kind) * lanes);
}

TEST(ArithmeticFences, StandRightAtTheAreasEdges) {
    Draw draw(1);
    forEveryKernel([&](ArithmeticCall call) {
        for (const int multiplicity : {1, 2, 3, 4, 7})
            for (const Fence fence : {Fence::Before, Fence::After}) {
                call.multiplicity = multiplicity;
                call.count = 1 + draw.below(70);
                const FencedArea result(bytesOf(call.kinds.result, call.lanes()), fence);
                const FencedArea left(bytesOf(call.kinds.left, call.leftLanes()), fence);
                const FencedArea right(bytesOf(call.kinds.right, call.rightLanes()), fence);
                // Only integer divisions write validity.
                const FencedArea validity(
                    call.dividesIntegers() ? static_cast<std::size_t>(call.count) : 0, fence);
                drawLanes(left.data(), call.kinds.left, call.leftLanes(), draw);
                drawLanes(right.data(), call.kinds.right, call.rightLanes(), draw);
                const ArithmeticArgs args{result.data(),
                                          validity.data(),
                                          left.data(),
                                          right.data(),
                                          call.count,
                                          call.multiplicity,
                                          call.shape == ArithmeticShape::LeftScalar,
                                          call.shape == ArithmeticShape::RightScalar,
                                          call.op};
                EXPECT_TRUE(everyArithmeticBuild()[0].run(call.kinds, args));
            }
    });
}

// All divisors are zero, and no lane of the left side can be accessed.
TEST(IntegerDivision, DoesNotReadWhatItWouldDivideByZero) {
    constexpr std::int32_t count = 100;
    constexpr std::int32_t multiplicity = 3;
    for (const CpuElementKind left : arithmeticKinds)
        for (const CpuElementKind right : arithmeticKinds)
            for (const bool rightScalar : {false, true})
                for (const ArithmeticBuild& build : everyArithmeticBuild()) {
                    const FencedArea unreadable(0, Fence::After);
                    const std::vector<double> zeroes(count * multiplicity, 0.0);
                    std::vector<unsigned char> validity(count, 5);
                    std::vector<std::int32_t> result(count * multiplicity, 7);
                    const ArithmeticArgs args{result.data(), validity.data(), unreadable.data(),
                                              zeroes.data(), count,           multiplicity,
                                              false,         rightScalar,     ArithmeticOp::Divide};
                    EXPECT_TRUE(build.run({CpuElementKind::Int32, left, right}, args));
                    EXPECT_EQ(result, std::vector<std::int32_t>(count * multiplicity, 0));
                    EXPECT_EQ(validity, std::vector<unsigned char>(count, 0));
                }
}

// The left side ends, at a fence, after the last lane whose divisor is not zero, in the middle of a
// block.
TEST(IntegerDivision, ReadsItsLeftSideOnlyUpToTheLastDivisorThatIsNotZero) {
    constexpr std::int32_t lanes = 60;
    for (const CpuElementKind left : arithmeticKinds)
        for (std::int32_t readable = 0; readable < lanes; ++readable)
            for (const ArithmeticBuild& build : everyArithmeticBuild()) {
                const FencedArea dividends(bytesOf(left, readable), Fence::After);
                std::vector<std::int32_t> divisors(lanes, 0);
                std::fill_n(divisors.begin(), readable, 3);
                std::vector<unsigned char> validity(lanes, 5);
                std::vector<std::int32_t> result(lanes, 7);
                const ArithmeticArgs args{result.data(),   validity.data(), dividends.data(),
                                          divisors.data(), lanes,           1,
                                          false,           false,           ArithmeticOp::Divide};
                EXPECT_TRUE(build.run({CpuElementKind::Int32, left, CpuElementKind::Int32}, args));
                std::vector<unsigned char> expected(lanes, 0);
                std::fill_n(expected.begin(), readable, static_cast<unsigned char>(5));
                EXPECT_EQ(validity, expected);
                EXPECT_EQ(result, std::vector<std::int32_t>(lanes, 0));
            }
}

} // namespace
} // namespace Fenlet
