// Tests which kinds have a kernel, and that a call for any other kinds changes nothing.
#include "kernels/special_values.h"
#include "naive_arithmetic.h"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <iterator>
#include <type_traits>
#include <vector>

namespace Fenlet {
namespace {

static_assert(std::is_same_v<decltype(ArithmeticArgs::result), void*>);
static_assert(std::is_same_v<decltype(ArithmeticArgs::resultValidity), unsigned char*>);
static_assert(std::is_same_v<decltype(ArithmeticArgs::left), const void*>);
static_assert(std::is_same_v<decltype(ArithmeticArgs::right), const void*>);
static_assert(std::is_same_v<decltype(ArithmeticArgs::count), std::int32_t>);
static_assert(std::is_same_v<decltype(ArithmeticArgs::multiplicity), std::int32_t>);
static_assert(std::is_same_v<decltype(ArithmeticArgs::leftScalar), bool>);
static_assert(std::is_same_v<decltype(ArithmeticArgs::rightScalar), bool>);
static_assert(std::is_same_v<std::underlying_type_t<ArithmeticOp>, std::uint32_t>);
static_assert(offsetof(ArithmeticArgs, result) == 0);
static_assert(offsetof(ArithmeticArgs, resultValidity) == sizeof(void*));
static_assert(offsetof(ArithmeticArgs, left) == 2 * sizeof(void*));
static_assert(offsetof(ArithmeticArgs, right) == 3 * sizeof(void*));
static_assert(offsetof(ArithmeticArgs, count) == 4 * sizeof(void*));
static_assert(offsetof(ArithmeticArgs, multiplicity) == 4 * sizeof(void*) + 4);
static_assert(offsetof(ArithmeticArgs, leftScalar) == 4 * sizeof(void*) + 8);
static_assert(offsetof(ArithmeticArgs, rightScalar) == 4 * sizeof(void*) + 9);
static_assert(offsetof(ArithmeticArgs, op) == 4 * sizeof(void*) + 12);
static_assert(static_cast<int>(ArithmeticOp::Add) == 0);
static_assert(static_cast<int>(ArithmeticOp::Subtract) == 1);
static_assert(static_cast<int>(ArithmeticOp::Multiply) == 2);
static_assert(static_cast<int>(ArithmeticOp::Divide) == 3);

bool isArithmeticKind(CpuElementKind kind) {
    return std::find(std::begin(arithmeticKinds), std::end(arithmeticKinds), kind) !=
           std::end(arithmeticKinds);
}

template <class Visit>
void forEveryTriple(const Visit& visit) {
    for (const CpuElementKind result : everyKindAndStrays)
        for (const CpuElementKind left : everyKindAndStrays)
            for (const CpuElementKind right : everyKindAndStrays)
                visit(ArithmeticKinds{result, left, right});
}

TEST(DispatchArithmetic, ServesTheFourKindsInEveryPlaceAndNoOthers) {
    int served = 0;
    forEveryTriple([&](const ArithmeticKinds& kinds) {
        double lanes[3] = {1, 1, 1};
        unsigned char validity = 1;
        const bool serves = isArithmeticKind(kinds.result) && isArithmeticKind(kinds.left) &&
                            isArithmeticKind(kinds.right);
        for (const ArithmeticOp op : everyArithmeticOp) {
            const ArithmeticArgs args{&lanes[0], &validity, &lanes[1], &lanes[2], 1,
                                      1,         false,     false,     op};
            EXPECT_EQ(dispatchArithmetic(kinds.result, kinds.left, kinds.right, args), serves)
                << static_cast<int>(kinds.result) << ' ' << static_cast<int>(kinds.left) << ' '
                << static_cast<int>(kinds.right);
        }
        served += serves;
    });
    EXPECT_EQ(served, 64);
}

TEST(DispatchArithmetic, TouchesNothingWhereItHasNoKernel) {
    forEveryTriple([](const ArithmeticKinds& kinds) {
        // All pointers are null, so a single access would end the test.
        for (const ArithmeticOp op : everyArithmeticOp) {
            const ArithmeticArgs args{nullptr, nullptr, nullptr, nullptr, 100, 3, false, true, op};
            if (!isArithmeticKind(kinds.result) || !isArithmeticKind(kinds.left) ||
                !isArithmeticKind(kinds.right)) {
                EXPECT_FALSE(dispatchArithmetic(kinds.result, kinds.left, kinds.right, args));
            }
        }
    });
}

TEST(DispatchArithmetic, DoesNothingForNoLanesAndStillServes) {
    struct Size {
        std::int32_t count;
        std::int32_t multiplicity;
    };
    constexpr Size sizes[] = {{0, 1},         {-1, 1},        {INT32_MIN, 3}, {5, 0},
                              {5, -1},        {0, 0},         {65536, 65536}, {65536, -32768},
                              {1, INT32_MIN}, {0, INT32_MAX}, {-1, -1},       {-65537, 65535}};
    forEveryKernel([&](const ArithmeticCall& call) {
        for (const Size& size : sizes) {
            const bool full = call.shape == ArithmeticShape::Full && !call.dividesIntegers();
            if (!full && size.count > 0 && size.multiplicity > 0)
                continue;
            const ArithmeticArgs args{nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      size.count,
                                      size.multiplicity,
                                      call.shape == ArithmeticShape::LeftScalar,
                                      call.shape == ArithmeticShape::RightScalar,
                                      call.op};
            for (const ArithmeticBuild& build : everyArithmeticBuild())
                EXPECT_TRUE(build.run(call.kinds, args)) << call.name();
        }
    });
}

TEST(DispatchArithmetic, DoesNothingForAnOperationThatIsNoneAndStillServes) {
    forEveryKernel([](const ArithmeticCall& call) {
        for (const std::uint32_t op : {4u, 7u, 100u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
            const ArithmeticArgs args{nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      10,
                                      2,
                                      call.shape == ArithmeticShape::LeftScalar,
                                      call.shape == ArithmeticShape::RightScalar,
                                      static_cast<ArithmeticOp>(op)};
            for (const ArithmeticBuild& build : everyArithmeticBuild())
                EXPECT_TRUE(build.run(call.kinds, args)) << op;
        }
    });
}

TEST(ArithmeticShapes, LeftScalarWinsOverRightScalar) {
    constexpr CpuElementKind kind = CpuElementKind::Float32;
    const std::vector<float> left{1, 2};
    for (const int multiplicity : {2, 3, 5}) {
        std::vector<float> right;
        std::vector<float> expected;
        for (int i = 0; i < 2 * multiplicity; ++i) {
            right.push_back(static_cast<float>(10 * i));
            expected.push_back(right.back() + (i < multiplicity ? 1.f : 2.f));
        }
        std::vector<float> result(right.size());
        ASSERT_TRUE(dispatchArithmetic(kind, kind, kind,
                                       {result.data(), nullptr, left.data(), right.data(), 2,
                                        multiplicity, true, true, ArithmeticOp::Add}));
        EXPECT_EQ(result, expected);
    }
}

TEST(ArithmeticShapes, ElementMayHaveMoreComponentsThanATileHasLanes) {
    constexpr CpuElementKind kind = CpuElementKind::Float64;
    constexpr int multiplicity = 1300;
    std::vector<double> left;
    std::vector<double> expected;
    const std::vector<double> right{3, -5};
    for (int i = 0; i < 2 * multiplicity; ++i) {
        left.push_back(i);
        expected.push_back(i * (i < multiplicity ? 3. : -5.));
    }
    std::vector<double> result(left.size());
    ASSERT_TRUE(dispatchArithmetic(kind, kind, kind,
                                   {result.data(), nullptr, left.data(), right.data(), 2,
                                    multiplicity, false, true, ArithmeticOp::Multiply}));
    EXPECT_EQ(result, expected);
}

} // namespace
} // namespace Fenlet
