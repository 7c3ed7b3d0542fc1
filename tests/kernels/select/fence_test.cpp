// The kernels touch no bytes outside their areas. They read only those lanes of an arm that the
// condition selects.
#include "kernels/fenced_area.h"
#include "naive_select.h"

#include <algorithm>

#if defined(__SANITIZE_ADDRESS__)
#define FENLET_HAS_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FENLET_HAS_POISON 1
#endif
#endif
#ifdef FENLET_HAS_POISON
#include <sanitizer/asan_interface.h>
#endif

namespace Fenlet {
namespace {

using Fence = FencedArea::Fence;

std::size_t bytesOf(CpuElementKind kind, std::int64_t lanes) {
    return static_cast<std::size_t>(elementSize(kind) * lanes);
}

TEST(SelectFences, StandRightAtTheAreasEdges) {
    Draw draw(1);
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (const int multiplicity : {1, 2, 3, 4, 7})
            for (const Fence fence : {Fence::Before, Fence::After}) {
                const int count = 1 + draw.below(150);
                const int conditionMultiplicity = draw.below(2) == 0 ? 1 : multiplicity;
                const std::int64_t lanes = std::int64_t{count} * multiplicity;
                const std::int64_t conditions = std::int64_t{count} * conditionMultiplicity;
                const auto elements = static_cast<std::size_t>(count);
                const FencedArea result(bytesOf(kinds.result, lanes), fence);
                const FencedArea whenTrue(bytesOf(kinds.whenTrue, lanes), fence);
                const FencedArea whenFalse(bytesOf(kinds.whenFalse, lanes), fence);
                const FencedArea condition(static_cast<std::size_t>(conditions), fence);
                const FencedArea resultValidity(elements, fence);
                const FencedArea trueValidity(elements, fence);
                const FencedArea falseValidity(elements, fence);
                drawConditions(condition.data(), conditions, 1 + draw.below(80), draw);
                EXPECT_TRUE(everySelectBuild()[0].run(
                    kinds, {result.data(), resultValidity.data(), condition.data(),
                            conditionMultiplicity, whenTrue.data(), trueValidity.data(),
                            whenFalse.data(), falseValidity.data(), count, multiplicity}));
            }
    });
}

/// A call that takes one arm only in the first or the last `reached` elements. In all other
/// elements, neither this arm nor its validity can be accessed.
struct FencedCall {
    SelectKinds kinds;
    bool fencesTrue;
    Fence fence; ///< `After` the first elements, or `Before` the last ones
    std::int32_t reached;
    std::int32_t count;
    std::int32_t multiplicity;
    bool matched;

    void expectReadsOnlyWhatIsTaken(const SelectBuild& build, Draw& draw) const;
};

void FencedCall::expectReadsOnlyWhatIsTaken(const SelectBuild& build, Draw& draw) const {
    const CpuElementKind kind = fencesTrue ? kinds.whenTrue : kinds.whenFalse;
    const std::int32_t first = fence == Fence::After ? 0 : count - reached;
    const FencedArea lanes(bytesOf(kind, std::int64_t{reached} * multiplicity), fence);
    const FencedArea validity(static_cast<std::size_t>(reached), fence);
    std::fill_n(validity.data(), reached, static_cast<unsigned char>(1));
    const void* const fenced = lanes.data() - bytesOf(kind, std::int64_t{first} * multiplicity);
    const unsigned char* const fencedValidity = validity.data() - first;

    const std::vector<double> other(static_cast<std::size_t>(count * multiplicity), 1.0);
    const std::vector<unsigned char> otherValidity(static_cast<std::size_t>(count), 1);
    const std::int32_t conditionMultiplicity = matched ? multiplicity : 1;
    std::vector<unsigned char> condition;
    std::vector<unsigned char> expected;
    for (std::int32_t element = 0; element < count; ++element) {
        const bool takesFenced = element >= first && element < first + reached;
        const bool known = takesFenced || draw.below(5) != 0;
        const unsigned char way = takesFenced == fencesTrue ? 1 : 0;
        condition.insert(condition.end(), static_cast<std::size_t>(conditionMultiplicity),
                         known ? way : static_cast<unsigned char>(255));
        expected.push_back(known);
    }
    std::vector<double> result(static_cast<std::size_t>(count * multiplicity));
    std::vector<unsigned char> resultValidity(static_cast<std::size_t>(count), 9);
    EXPECT_TRUE(build.run(kinds, {result.data(), resultValidity.data(), condition.data(),
                                  conditionMultiplicity, fencesTrue ? fenced : other.data(),
                                  fencesTrue ? fencedValidity : otherValidity.data(),
                                  fencesTrue ? other.data() : fenced,
                                  fencesTrue ? otherValidity.data() : fencedValidity, count,
                                  multiplicity}));
    EXPECT_EQ(resultValidity, expected);
}

TEST(SelectFences, StandRightAroundWhatIsTakenOfAnArm) {
    Draw draw(2);
    forEverySelectKernel([&](const SelectKinds& kinds) {
        for (const bool fencesTrue : {false, true})
            for (const Fence fence : {Fence::Before, Fence::After})
                for (const int multiplicity : {1, 2, 3, 4, 5, 40}) {
                    const int count = multiplicity > 10 ? 20 : 200;
                    const int reached = draw.below(3) == 0 ? 0 : draw.below(count);
                    const FencedCall call{kinds,        fencesTrue,        fence, reached, count,
                                          multiplicity, draw.below(2) == 0};
                    call.expectReadsOnlyWhatIsTaken(everySelectBuild()[0], draw);
                }
    });
}

TEST(SelectFences, StandRightAroundAnyNumberOfElementsThatAreTaken) {
    Draw draw(3);
    constexpr CpuElementKind single = CpuElementKind::Float32;
    const SelectKinds alike{single, single, single};
    const SelectKinds mixed{CpuElementKind::Half, CpuElementKind::Int64, CpuElementKind::Float64};
    for (int reached = 0; reached <= 130; ++reached)
        for (const bool fencesTrue : {false, true})
            for (const Fence fence : {Fence::Before, Fence::After})
                for (const bool matched : {false, true})
                    for (const SelectBuild& build : everySelectBuild())
                        for (const FencedCall& call :
                             {FencedCall{alike, fencesTrue, fence, reached, 130, 3, matched},
                              FencedCall{mixed, fencesTrue, fence, reached, 130, 1, matched}})
                            call.expectReadsOnlyWhatIsTaken(build, draw);
}

/// In a build with the address sanitizer, makes every access to these bytes an error.
void poison([[maybe_unused]] const void* bytes, [[maybe_unused]] std::size_t size) {
#ifdef FENLET_HAS_POISON
    ASAN_POISON_MEMORY_REGION(bytes, size);
#endif
}
void heal([[maybe_unused]] const void* bytes, [[maybe_unused]] std::size_t size) {
#ifdef FENLET_HAS_POISON
    ASAN_UNPOISON_MEMORY_REGION(bytes, size);
#endif
}

/// Runs a call whose arms have lanes of eight bytes, all zero. The lanes that are not taken are
/// poisoned.
void expectReadsNoPoison(const SelectKinds& kinds, std::int32_t multiplicity,
                         std::int32_t conditionMultiplicity, int runLength, Draw& draw) {
    const std::int32_t count = 500 / multiplicity;
    const auto lanes = static_cast<std::size_t>(count * multiplicity);
    const auto lanesEach = static_cast<std::size_t>(multiplicity / conditionMultiplicity);
    const std::vector<std::int64_t> whenTrue(lanes, 0);
    const std::vector<std::int64_t> whenFalse(lanes, 0);
    std::vector<std::int64_t> result(lanes, -1);
    std::vector<unsigned char> validity(static_cast<std::size_t>(count), 9);
    std::vector<unsigned char> condition(lanes / lanesEach);
    drawConditions(condition.data(), count * conditionMultiplicity, runLength, draw);
    for (std::size_t i = 0; i < condition.size(); ++i) {
        if (condition[i] != 1)
            poison(&whenTrue[i * lanesEach], lanesEach * 8);
        if (condition[i] == 1 || condition[i] == 255)
            poison(&whenFalse[i * lanesEach], lanesEach * 8);
    }
    EXPECT_TRUE(
        dispatchSelect(kinds.result, kinds.whenTrue, kinds.whenFalse,
                       {result.data(), validity.data(), condition.data(), conditionMultiplicity,
                        whenTrue.data(), nullptr, whenFalse.data(), nullptr, count, multiplicity}));
    heal(whenTrue.data(), lanes * 8);
    heal(whenFalse.data(), lanes * 8);
    std::vector<std::int64_t> expected(lanes, -1);
    std::memset(expected.data(), 0, bytesOf(kinds.result, count * multiplicity));
    EXPECT_EQ(result, expected);
}

TEST(SelectFences, StandBetweenSingleLanes) {
    Draw draw(4);
    forEverySelectKernel([&](const SelectKinds& kinds) {
        if (elementSize(kinds.whenTrue) != 8 || elementSize(kinds.whenFalse) != 8)
            return;
        for (const int multiplicity : {1, 2, 3, 4, 6, 40})
            for (const int conditionMultiplicity : {1, multiplicity})
                for (const int runLength : {1, 10, 50})
                    expectReadsNoPoison(kinds, multiplicity, conditionMultiplicity, runLength,
                                        draw);
    });
}

} // namespace
} // namespace Fenlet
