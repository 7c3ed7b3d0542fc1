// Which pairs of kinds have a kernel. A call without a kernel, without elements or without a
// predicate changes nothing.
#include "naive_comparisons.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <type_traits>

namespace Fenlet {
namespace {

static_assert(std::is_same_v<decltype(ComparisonArgs::result), unsigned char*>);
static_assert(std::is_same_v<decltype(ComparisonArgs::left), const void*>);
static_assert(std::is_same_v<decltype(ComparisonArgs::leftValidity), const unsigned char*>);
static_assert(std::is_same_v<decltype(ComparisonArgs::right), const void*>);
static_assert(std::is_same_v<decltype(ComparisonArgs::rightValidity), const unsigned char*>);
static_assert(std::is_same_v<decltype(ComparisonArgs::count), std::int32_t>);
static_assert(std::is_same_v<decltype(ComparisonArgs::multiplicity), std::int32_t>);
static_assert(sizeof(ComparisonArgs::rightScalar) == 1);
static_assert(std::is_same_v<decltype(ComparisonArgs::predicate), std::uint32_t>);
static_assert(offsetof(ComparisonArgs, result) == 0);
static_assert(offsetof(ComparisonArgs, left) == sizeof(void*));
static_assert(offsetof(ComparisonArgs, leftValidity) == 2 * sizeof(void*));
static_assert(offsetof(ComparisonArgs, right) == 3 * sizeof(void*));
static_assert(offsetof(ComparisonArgs, rightValidity) == 4 * sizeof(void*));
static_assert(offsetof(ComparisonArgs, count) == 5 * sizeof(void*));
static_assert(offsetof(ComparisonArgs, multiplicity) == 5 * sizeof(void*) + 4);
static_assert(offsetof(ComparisonArgs, rightScalar) == 5 * sizeof(void*) + 8);
static_assert(offsetof(ComparisonArgs, predicate) == 5 * sizeof(void*) + 12);

bool isNumeric(CpuElementKind kind) {
    return std::find(std::begin(numericKinds), std::end(numericKinds), kind) !=
           std::end(numericKinds);
}

/// A call whose pointers are null, so that a single access would end the test.
ComparisonArgs unreachable(std::int32_t count, std::int32_t multiplicity, bool rightScalar,
                           std::uint32_t predicate) {
    return {nullptr, nullptr,      nullptr,     nullptr,  nullptr,
            count,   multiplicity, rightScalar, predicate};
}

TEST(DispatchComparison, ServesEveryPairOfNumericKindsAndNoOthers) {
    int served = 0;
    for (const CpuElementKind left : everyKindAndStrays)
        for (const CpuElementKind right : everyKindAndStrays) {
            unsigned char result = 99;
            const double lanes[2] = {};
            const bool serves = isNumeric(left) && isNumeric(right);
            EXPECT_EQ(
                dispatchComparison(
                    left, right, {&result, &lanes[0], nullptr, &lanes[1], nullptr, 1, 1, false, 4}),
                serves)
                << static_cast<int>(left) << ' ' << static_cast<int>(right);
            EXPECT_EQ(result, serves ? 1 : 99);
            served += serves;
        }
    EXPECT_EQ(served, 25);
}

TEST(DispatchComparison, TouchesNothingWhereItHasNoKernel) {
    for (const CpuElementKind left : everyKindAndStrays)
        for (const CpuElementKind right : everyKindAndStrays)
            if (!isNumeric(left) || !isNumeric(right))
                for (const bool rightScalar : {false, true}) {
                    EXPECT_FALSE(
                        dispatchComparison(left, right, unreachable(100, 3, rightScalar, 0)));
                }
}

TEST(DispatchComparison, TouchesNothingForNoPredicateAndStillServes) {
    forEveryComparedPair([](const ComparisonKinds& kinds) {
        for (const std::uint32_t predicate : {6u, 7u, 100u, 0x80000000u, 0xFFFFFFFFu})
            for (const bool rightScalar : {false, true})
                for (const ComparisonBuild& build : everyComparisonBuild())
                    EXPECT_TRUE(build.run(kinds, unreachable(100, 3, rightScalar, predicate)));
    });
}

// Even invalid elements are not written, although no predicate applies to them.
TEST(DispatchComparison, WritesNothingForNoPredicateWhateverTheValidity) {
    forEveryComparedPair([](const ComparisonKinds& kinds) {
        for (const ComparisonBuild& build : everyComparisonBuild()) {
            std::vector<unsigned char> result(60, 99);
            const std::vector<unsigned char> invalid(20, 0);
            EXPECT_TRUE(build.run(kinds, {result.data(), nullptr, invalid.data(), nullptr,
                                          invalid.data(), 20, 3, false, 6}));
            EXPECT_EQ(result, std::vector<unsigned char>(60, 99));
        }
    });
}

TEST(DispatchComparison, TouchesNothingForNoElementsAndStillServes) {
    forEveryComparison([](const ComparisonCall& call) {
        for (const std::int32_t count : {0, -1, INT32_MIN})
            for (const std::int32_t multiplicity : {1, 3, 600, 0, -1})
                for (const ComparisonBuild& build : everyComparisonBuild())
                    EXPECT_TRUE(build.run(call.kinds,
                                          unreachable(count, multiplicity, call.rightScalar,
                                                      static_cast<std::uint32_t>(call.predicate))));
    });
}

TEST(DispatchComparison, TouchesNothingForNoComponentsAndStillServes) {
    forEveryComparison([](const ComparisonCall& call) {
        for (const std::int32_t multiplicity : {0, -1, INT32_MIN})
            for (const ComparisonBuild& build : everyComparisonBuild())
                EXPECT_TRUE(
                    build.run(call.kinds, unreachable(100, multiplicity, call.rightScalar,
                                                      static_cast<std::uint32_t>(call.predicate))));
    });
}

} // namespace
} // namespace Fenlet
