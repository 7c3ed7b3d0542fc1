// Every kernel, over lanes of all sorts. Areas do not overlap.
#include "kernels/special_values.h"
#include "naive_arithmetic.h"

#include <cstring>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

TEST(ArithmeticLanes, EqualANaiveLoopInEveryKernelAndMultiplicity) {
    Draw draw(1);
    int number = 0;
    for (const int multiplicity : everyMultiplicity)
        forEveryKernel([&](ArithmeticCall call) {
            // Neighbouring cases differ in length. Together the cases cover all lengths.
            const int longest = multiplicity > 100 ? 3 : multiplicity > 10 ? 40 : 200;
            call.count = 1 + number * 37 % longest;
            call.multiplicity = multiplicity;
            const LaneMemory memory = layOutApart(call, number % 8, draw);
            expectNaiveLanes(everyArithmeticBuild()[0], call, memory);
            ++number;
        });
}

TEST(ArithmeticLanes, EqualANaiveLoopAcrossTheBoundariesBetweenTiles) {
    Draw draw(2);
    int number = 0;
    forEveryKernel([&](ArithmeticCall call) {
        for (const int multiplicity : {1, 2, 3, 5, 8, 20}) {
            call.count = 1 + number % 23;
            call.multiplicity = multiplicity;
            const LaneMemory memory = layOutApart(call, number % 8, draw);
            for (const ArithmeticBuild& build : everyArithmeticBuild())
                expectNaiveLanes(build, call, memory);
            ++number;
        }
    });
}

TEST(ArithmeticLanes, EqualANaiveLoopAroundTheLengthOfATile) {
    Draw draw(3);
    int number = 0;
    forEveryKernel([&](ArithmeticCall call) {
        constexpr int sizes[][2] = {{511, 1}, {512, 1},  {513, 1}, {1025, 1}, {171, 3},
                                    {342, 3}, {2, 511},  {2, 512}, {2, 513},  {1, 1030},
                                    {257, 2}, {103, 10}, {129, 4}};
        const auto& size = sizes[static_cast<std::size_t>(number) % std::size(sizes)];
        call.count = size[0];
        call.multiplicity = size[1];
        expectNaiveLanes(everyArithmeticBuild()[0], call, layOutApart(call, number % 8, draw));
        ++number;
    });
}

// The kernel uses one loop if no divisor is zero, and a different loop if any divisor is zero.
TEST(ArithmeticLanes, EqualANaiveLoopWhateverTheShareOfZeroDivisors) {
    Draw draw(4);
    forEveryKernel([&](ArithmeticCall call) {
        if (!call.dividesIntegers())
            return;
        for (const int zeroOneIn : {1, 2, 3, 10, 100, 100000})
            for (const int multiplicity : {1, 2, 3, 4, 7, 600}) {
                call.multiplicity = multiplicity;
                call.count = 1 + draw.below(multiplicity > 100 ? 3 : 300);
                LaneMemory memory = layOutApart(call, draw.below(8), draw);
                const auto bytes = static_cast<std::size_t>(elementSize(call.kinds.right));
                for (std::int64_t lane = 0; lane < call.rightLanes(); ++lane) {
                    // Two bytes of 0x42 are a number above 1 in every kind.
                    unsigned char* const at =
                        memory.at(call.places.right) + static_cast<std::size_t>(lane) * bytes;
                    const bool zero = draw.below(zeroOneIn) == 0;
                    std::memset(at, zero ? 0 : 0x42, bytes);
                }
                for (const ArithmeticBuild& build : everyArithmeticBuild())
                    expectNaiveLanes(build, call, memory);
            }
    });
}

// Lanes are counted modulo 2 to the power 32: 65536 * 65537 lanes are 65536.
TEST(ArithmeticLanes, AreCountedIn32BitsInTheFullShape) {
    std::vector<float> left(65537, 2);
    std::vector<float> right(65537, 3);
    std::vector<float> result(65537, 100);
    const ArithmeticArgs args{result.data(), nullptr, left.data(), right.data(),     65536,
                              65537,         false,   false,       ArithmeticOp::Add};
    EXPECT_TRUE(dispatchArithmetic(CpuElementKind::Float32, CpuElementKind::Float32,
                                   CpuElementKind::Float32, args));
    std::vector<float> expected(65537, 5);
    expected.back() = 100;
    EXPECT_EQ(result, expected);
}

// Lanes are counted modulo 2 to the power 32: -(65537 * 65535) is 1.
TEST(ArithmeticLanes, AreOneForANegativeProductThatWrapsToOne) {
    for (const ArithmeticBuild& build : everyArithmeticBuild()) {
        const std::int32_t left[2] = {20, 20};
        const std::int32_t right[2] = {30, 30};
        std::int32_t result[2] = {100, 100};
        const ArithmeticArgs args{&result[0], nullptr, &left[0], &right[0],        65537,
                                  -65535,     false,   false,    ArithmeticOp::Add};
        EXPECT_TRUE(
            build.run({CpuElementKind::Int32, CpuElementKind::Int32, CpuElementKind::Int32}, args));
        EXPECT_EQ(result[0], 50) << build.name;
        EXPECT_EQ(result[1], 100) << build.name;
    }
}

TEST(ArithmeticLanes, TakeTheLeftOperandAsScalarWhereBothAreMarked) {
    const float left[4] = {10, 20, 30, 40};
    const float right[4] = {1, 2, 3, 4};
    float result[5] = {0, 0, 0, 0, 99};
    const ArithmeticArgs args{
        &result[0], nullptr, &left[0], &right[0], 2, 2, true, true, ArithmeticOp::Subtract};
    EXPECT_TRUE(dispatchArithmetic(CpuElementKind::Float32, CpuElementKind::Float32,
                                   CpuElementKind::Float32, args));
    const float expected[5] = {9, 8, 17, 16, 99};
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), std::begin(result)));
}

} // namespace
} // namespace Fenlet
