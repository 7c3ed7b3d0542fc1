// Tests which kinds have a kernel, and that a call for any other kinds changes nothing.
#include "naive_select.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <type_traits>

namespace Fenlet {
namespace {

static_assert(std::is_same_v<decltype(SelectArgs::result), void*>);
static_assert(std::is_same_v<decltype(SelectArgs::resultValidity), unsigned char*>);
static_assert(std::is_same_v<decltype(SelectArgs::condition), const unsigned char*>);
static_assert(std::is_same_v<decltype(SelectArgs::conditionMultiplicity), std::int32_t>);
static_assert(std::is_same_v<decltype(SelectArgs::whenTrue), const void*>);
static_assert(std::is_same_v<decltype(SelectArgs::whenTrueValidity), const unsigned char*>);
static_assert(std::is_same_v<decltype(SelectArgs::whenFalse), const void*>);
static_assert(std::is_same_v<decltype(SelectArgs::whenFalseValidity), const unsigned char*>);
static_assert(std::is_same_v<decltype(SelectArgs::count), std::int32_t>);
static_assert(std::is_same_v<decltype(SelectArgs::multiplicity), std::int32_t>);
static_assert(offsetof(SelectArgs, result) == 0);
static_assert(offsetof(SelectArgs, resultValidity) == sizeof(void*));
static_assert(offsetof(SelectArgs, condition) == 2 * sizeof(void*));
static_assert(offsetof(SelectArgs, conditionMultiplicity) == 3 * sizeof(void*));
static_assert(offsetof(SelectArgs, whenTrue) == 4 * sizeof(void*));
static_assert(offsetof(SelectArgs, whenTrueValidity) == 5 * sizeof(void*));
static_assert(offsetof(SelectArgs, whenFalse) == 6 * sizeof(void*));
static_assert(offsetof(SelectArgs, whenFalseValidity) == 7 * sizeof(void*));
static_assert(offsetof(SelectArgs, count) == 8 * sizeof(void*));
static_assert(offsetof(SelectArgs, multiplicity) == 8 * sizeof(void*) + 4);

bool hasKernel(const SelectKinds& kinds) {
    const auto isNumeric = [](CpuElementKind kind) {
        return std::find(std::begin(numericKinds), std::end(numericKinds), kind) !=
               std::end(numericKinds);
    };
    const auto isTribool = [](CpuElementKind kind) { return kind == CpuElementKind::Tribool; };
    return (isNumeric(kinds.result) && isNumeric(kinds.whenTrue) && isNumeric(kinds.whenFalse)) ||
           (isTribool(kinds.result) && isTribool(kinds.whenTrue) && isTribool(kinds.whenFalse));
}

template <class Visit>
void forEveryTriple(const Visit& visit) {
    for (const CpuElementKind result : everyKindAndStrays)
        for (const CpuElementKind whenTrue : everyKindAndStrays)
            for (const CpuElementKind whenFalse : everyKindAndStrays)
                visit(SelectKinds{result, whenTrue, whenFalse});
}

TEST(DispatchSelect, ServesAllNumericTriplesAndTriboolsAmongThemselves) {
    int served = 0;
    forEveryTriple([&](const SelectKinds& kinds) {
        double lanes[3] = {1, 1, 1};
        unsigned char validity = 1;
        const unsigned char condition = 1;
        const SelectArgs args{&lanes[0], &validity, &condition, 1, &lanes[1],
                              nullptr,   &lanes[2], nullptr,    1, 1};
        const bool serves = hasKernel(kinds);
        EXPECT_EQ(dispatchSelect(kinds.result, kinds.whenTrue, kinds.whenFalse, args), serves)
            << static_cast<int>(kinds.result) << ' ' << static_cast<int>(kinds.whenTrue) << ' '
            << static_cast<int>(kinds.whenFalse);
        served += serves;
    });
    EXPECT_EQ(served, 126);
}

// All pointers are null, so a single access would end the test.
TEST(DispatchSelect, TouchesNothingWhereItHasNoKernel) {
    forEveryTriple([](const SelectKinds& kinds) {
        const SelectArgs args{nullptr, nullptr, nullptr, 1,   nullptr,
                              nullptr, nullptr, nullptr, 100, 3};
        if (!hasKernel(kinds)) {
            EXPECT_FALSE(dispatchSelect(kinds.result, kinds.whenTrue, kinds.whenFalse, args));
        }
    });
}

TEST(DispatchSelect, WritesNothingForNoElementsAndStillServes) {
    forEverySelectKernel([](const SelectKinds& kinds) {
        for (const std::int32_t count : {0, -1, INT32_MIN})
            for (const std::int32_t multiplicity : {1, 3, 0, -1})
                for (const SelectBuild& build : everySelectBuild())
                    EXPECT_TRUE(build.run(kinds, {nullptr, nullptr, nullptr, 1, nullptr, nullptr,
                                                  nullptr, nullptr, count, multiplicity}));
    });
}

TEST(DispatchSelect, MakesElementsWithoutComponentsValid) {
    forEverySelectKernel([](const SelectKinds& kinds) {
        for (const std::int32_t multiplicity : {0, -1, INT32_MIN})
            for (const std::int32_t conditionMultiplicity : {1, multiplicity})
                for (const SelectBuild& build : everySelectBuild()) {
                    std::vector<unsigned char> validity(600, 7);
                    EXPECT_TRUE(
                        build.run(kinds, {nullptr, validity.data(), nullptr, conditionMultiplicity,
                                          nullptr, nullptr, nullptr, nullptr, 599, multiplicity}));
                    std::vector<unsigned char> expected(600, 1);
                    expected.back() = 7;
                    EXPECT_EQ(validity, expected);
                }
    });
}

} // namespace
} // namespace Fenlet
