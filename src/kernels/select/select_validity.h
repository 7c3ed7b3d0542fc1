// Which elements of a Select are valid. A part of select_kernels.cpp.
#pragma once

#include "kernels/lanes/tiles.h"
#include "kernels/select/select_call.h"

#include <cstdint>
#include <cstring>

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

struct IsKnown {
    using In = Tribool;
    using Out = unsigned char;
    static Out apply(In condition) { return condition != 255; }
};

struct IsValid {
    using In = unsigned char;
    using Out = unsigned char;
    static Out apply(In validity) { return validity != 0; }
};

/// 1 for an element without an unknown component.
struct GoesToArms {
    using In = unsigned char;
    using Out = unsigned char;
    static Out apply(In way) { return (way & takesNeither) == 0; }
};

struct BothValid {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static Out apply(Left left, Right right) {
        return static_cast<Out>((left != 0) & (right != 0));
    }
};

/// Writes 1 for each element that has no unknown component and is valid in each arm that it takes
/// from, otherwise 0. `ways` may be null if all elements have the same way.
void Run::findValidity(unsigned char* valid, const unsigned char* ways, std::int64_t firstElement,
                       const Stretch& stretch) const {
    const auto bytes = static_cast<std::size_t>(stretch.length);
    if ((stretch.way & takesNeither) != 0) {
        std::memset(valid, 0, bytes);
    } else if (stretch.way == takesTrue || stretch.way == takesFalse) {
        const Arm& arm = stretch.way == takesTrue ? whenTrue : whenFalse;
        if (arm.validity != nullptr)
            mapRun<IsValid>(valid, arm.validity + firstElement, stretch.length);
        else
            std::memset(valid, 1, bytes);
    } else {
        pickValidity(valid, ways, firstElement, stretch.length);
    }
}

// An element that takes from both arms needs the validity of both.
void Run::pickValidity(unsigned char* valid, const unsigned char* ways, std::int64_t firstElement,
                       std::int64_t elements) const {
    if (areBothValid()) {
        mapRun<GoesToArms>(valid, ways, elements);
        return;
    }
    constexpr unsigned char bothArms = takesTrue | takesFalse;
    const auto sourceOf = [=](const Arm& arm) { return validityOf(arm, firstElement); };
    Tile<unsigned char> picked;
    if (oneCondition) {
        const TwoArms arms{sourceOf(whenFalse), sourceOf(whenTrue), zeros.bytes};
        pickLanesOf<std::uint8_t>(picked.bytes, ways, arms, elements);
        mapRun<IsValid>(valid, picked.bytes, elements);
        return;
    }
    Sources sources{};
    for (std::size_t way = 0; way < wayCount; ++way) {
        const Arm& taken = (way & takesTrue) != 0 ? whenTrue : whenFalse;
        sources.of[way] = (way & takesNeither) != 0 ? zeros.bytes : sourceOf(taken);
    }
    pickRun(picked.bytes, ways, sources, elements, 1);
    for (const unsigned char*& source : sources.of)
        source = ones.bytes;
    sources.of[bothArms] = sourceOf(whenFalse);
    Tile<unsigned char> otherPicked;
    pickRun(otherPicked.bytes, ways, sources, elements, 1);
    combineRun<BothValid>(valid, picked.bytes, otherPicked.bytes, elements);
}

/// Like `findValidity`, for elements whose components have their own ways, `lanes` of them in all.
void Run::findValidityByLane(unsigned char* valid, const unsigned char* ways, std::int64_t lanes,
                             std::int64_t firstElement, std::int64_t elements) const {
    if (alikeFromFirst(ways, lanes) == lanes) {
        findValidity(valid, ways, firstElement, {elements, ways[0]});
        return;
    }
    Tile<unsigned char> united;
    uniteWays(united.bytes, ways, elements, lanes / elements);
    forEachStretch(united.bytes, elements, fewestLanes, [&](std::int64_t first, Stretch stretch) {
        findValidity(valid + first, united.bytes + first, firstElement + first, stretch);
    });
}

void Run::pickValidityStraight(const Tribool* conditions, std::int64_t firstElement,
                               std::int64_t elements) const {
    unsigned char* const valid = args.resultValidity + firstElement;
    if (areBothValid())
        return mapRun<IsKnown>(valid, conditions, elements);
    const TwoArms arms{validityOf(whenFalse, firstElement), validityOf(whenTrue, firstElement),
                       zeros.bytes};
    pickByCondition(valid, conditions, arms, elements, 1);
    mapRun<IsValid>(valid, valid, elements);
}

} // namespace
} // namespace FENLET_TARGET
} // namespace Fenlet
