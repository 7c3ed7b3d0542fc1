// The loops that callers run directly: the same bytes, the answer about validity, and no byte
// beyond the areas.
#include "kernels/fenced_area.h"
#include "naive_select.h"

#include <algorithm>

namespace Fenlet {
namespace {

using Fence = FencedArea::Fence;

constexpr CpuElementKind everyKind[] = {CpuElementKind::Tribool, CpuElementKind::Int32,
                                        CpuElementKind::Int64,   CpuElementKind::Half,
                                        CpuElementKind::Float32, CpuElementKind::Float64};

bool runFlat(const SelectKinds& kinds, const SelectArgs& args) {
    const FlatSelect loop = flatSelect(kinds.result, args.multiplicity);
    if (loop == nullptr)
        return false;
    const bool isValid = loop(args);
    EXPECT_EQ(isValid,
              std::count(args.resultValidity, args.resultValidity + args.count, 1) == args.count);
    return true;
}

const SelectBuild flatBuild{"the flat loop", &runFlat};

SelectCall callOf(CpuElementKind kind, std::int32_t count, std::int32_t multiplicity) {
    return {{kind, kind, kind}, count, multiplicity, 1, true, true, {}};
}

/// Calls `visit(kind, multiplicity)` for every flat loop.
template <class Visit>
void forEveryFlatSelect(const Visit& visit) {
    for (const CpuElementKind kind : everyKind)
        for (std::int32_t multiplicity = 1; multiplicity <= 4; ++multiplicity)
            if (flatSelect(kind, multiplicity) != nullptr)
                visit(kind, multiplicity);
}

/// Any bytes, about one in four of them 0.
void drawAnyValidity(unsigned char* area, std::int64_t elements, Draw& draw) {
    for (std::int64_t element = 0; element < elements; ++element)
        area[element] = draw.below(4) == 0 ? 0 : static_cast<unsigned char>(draw.next());
}

TEST(FlatSelects, ExistForOneComponentOfEveryKind) {
    for (const CpuElementKind kind : everyKind)
        EXPECT_NE(flatSelect(kind, 1), nullptr) << cpuElementKindName(kind);
    EXPECT_EQ(flatSelect(CpuElementKind::Unsupported, 1), nullptr);
    EXPECT_EQ(flatSelect(static_cast<CpuElementKind>(99), 1), nullptr);
    EXPECT_EQ(flatSelect(CpuElementKind::Float32, 0), nullptr);
    EXPECT_EQ(flatSelect(CpuElementKind::Float32, 5), nullptr);
}

TEST(FlatSelects, EqualANaiveLoopInEveryLengthAndAlignment) {
    Draw draw(11);
    forEveryFlatSelect([&](CpuElementKind kind, std::int32_t multiplicity) {
        for (int count = 0; count <= 130; ++count)
            for (const int runLength : {1, 20, 1000}) {
                SelectCall call = callOf(kind, count, multiplicity);
                call.hasTrueValidity = draw.below(3) != 0;
                call.hasFalseValidity = draw.below(3) != 0;
                LaneMemory memory = layOutApart(call, draw.below(64), runLength, draw);
                if (draw.below(2) == 0) {
                    drawAnyValidity(memory.at(call.places.whenTrueValidity), count, draw);
                    drawAnyValidity(memory.at(call.places.whenFalseValidity), count, draw);
                }
                EXPECT_EQ(differenceFromNaive(flatBuild, call, memory), "");
            }
    });
}

TEST(FlatSelects, EqualANaiveLoopAcrossTiles) {
    Draw draw(12);
    forEveryFlatSelect([&](CpuElementKind kind, std::int32_t multiplicity) {
        for (const int count : {128, 170, 256, 511, 512, 513, 1024, 1100, 2000})
            for (const int runLength : {1, 300, 5000}) {
                SelectCall call = callOf(kind, count, multiplicity);
                call.hasTrueValidity = draw.below(3) != 0;
                call.hasFalseValidity = draw.below(3) != 0;
                const LaneMemory memory = layOutApart(call, draw.below(8), runLength, draw);
                EXPECT_EQ(differenceFromNaive(flatBuild, call, memory), "");
            }
    });
}

TEST(FlatSelects, TellEveryConditionFromTheOthers) {
    Draw draw(13);
    forEveryFlatSelect([&](CpuElementKind kind, std::int32_t multiplicity) {
        SelectCall call = callOf(kind, 512, multiplicity);
        LaneMemory memory = layOutApart(call, draw.below(8), 1, draw);
        for (int i = 0; i < 512; ++i)
            memory.at(call.places.condition)[i] = static_cast<unsigned char>(i * 7);
        EXPECT_EQ(differenceFromNaive(flatBuild, call, memory), "");
    });
}

// Only these answer yes, so a loop that never does would fail here.
TEST(FlatSelects, AreValidThroughoutWithoutUnknownsAndMissingElements) {
    forEveryFlatSelect([&](CpuElementKind kind, std::int32_t multiplicity) {
        for (const int count : {1, 16, 33, 64, 100, 512, 700})
            for (const bool isAlike : {false, true}) {
                const std::vector<std::int64_t> arm(static_cast<std::size_t>(count * 4), 5);
                std::vector<std::int64_t> result(arm.size());
                std::vector<unsigned char> condition(static_cast<std::size_t>(count), 1);
                std::vector<unsigned char> valid(condition.size(), 9);
                const std::vector<unsigned char> present(condition.size(), 2);
                for (std::size_t i = 0; !isAlike && i < condition.size(); i += 3)
                    condition[i] = 0;
                const SelectArgs args{result.data(), valid.data(),   condition.data(), 1,
                                      arm.data(),    present.data(), arm.data(),       nullptr,
                                      count,         multiplicity};
                EXPECT_TRUE(flatSelect(kind, multiplicity)(args));
                for (std::size_t unknown : {std::size_t{0}, condition.size() - 1}) {
                    condition[unknown] = 255;
                    EXPECT_FALSE(flatSelect(kind, multiplicity)(args));
                    condition[unknown] = 1;
                }
            }
    });
}

TEST(FlatSelects, MayOverwriteAnArmOrTheCondition) {
    Draw draw(14);
    forEveryFlatSelect([&](CpuElementKind kind, std::int32_t multiplicity) {
        for (const int count : {1, 15, 33, 64, 100, 600})
            for (const int runLength : {1, 2000})
                for (const int overwritten : {0, 1, 2}) {
                    SelectCall call = callOf(kind, count, multiplicity);
                    LaneMemory memory = layOutApart(call, draw.below(8), runLength, draw);
                    if (overwritten == 2 && (kind != CpuElementKind::Tribool || multiplicity > 1))
                        continue;
                    call.places.result = overwritten == 0   ? call.places.whenTrue
                                         : overwritten == 1 ? call.places.whenFalse
                                                            : call.places.condition;
                    EXPECT_EQ(differenceFromNaive(flatBuild, call, memory), "");
                }
    });
}

TEST(FlatSelects, TouchNothingBeyondTheirAreas) {
    Draw draw(15);
    forEveryFlatSelect([&](CpuElementKind kind, std::int32_t multiplicity) {
        for (const Fence fence : {Fence::Before, Fence::After})
            for (int turn = 0; turn < 60; ++turn) {
                const int count = draw.below(131);
                const auto elements = static_cast<std::size_t>(count);
                const auto bytes =
                    elements * static_cast<std::size_t>(multiplicity * elementSize(kind));
                const FencedArea result(bytes, fence);
                const FencedArea whenTrue(bytes, fence);
                const FencedArea whenFalse(bytes, fence);
                const FencedArea condition(elements, fence);
                const FencedArea resultValidity(elements, fence);
                const FencedArea trueValidity(elements, fence);
                const FencedArea falseValidity(elements, fence);
                drawConditions(condition.data(), count, 1 + draw.below(80), draw);
                EXPECT_TRUE(runFlat(
                    {kind, kind, kind},
                    {result.data(), resultValidity.data(), condition.data(), 1, whenTrue.data(),
                     draw.below(4) != 0 ? trueValidity.data() : nullptr, whenFalse.data(),
                     draw.below(4) != 0 ? falseValidity.data() : nullptr, count, multiplicity}));
            }
    });
}

} // namespace
} // namespace Fenlet
