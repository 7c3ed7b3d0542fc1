// One call of a select kernel: its areas and what follows from them. A part of select_kernels.cpp.
#pragma once

#include "kernels/conversions/working.h"
#include "kernels/lanes/tiles.h"
#include "kernels/select/picks.h"
#include "kernels/select/select.h"
#include "kernels/select/ways.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

/// One kernel. A map is null if its arm has the kind of the result.
struct Recipe {
    LaneMap trueToResult;
    LaneMap falseToResult;
    std::int64_t trueBytes;
    std::int64_t falseBytes;
    std::int64_t resultBytes;
    bool armsAreAlike;     ///< both arms have the same kind
    unsigned char unknown; ///< every byte of an unknown lane
};

/// One arm of a call.
struct Arm {
    const unsigned char* lanes;
    const unsigned char* validity; ///< may be null
    std::int64_t bytes;
    LaneMap toResult;

    const unsigned char* lane(std::int64_t number) const { return lanes + number * bytes; }
};

/// Entries of `lanesEach` lanes, with one way each.
struct Batch {
    const unsigned char* ways;
    std::int64_t entries;
    std::int64_t lanesEach;
    std::int64_t firstLane;

    std::int64_t lanes() const { return entries * lanesEach; }
};

/// Runs of fewer lanes are not worth copying at once.
constexpr std::int64_t fewestLanes = 32;

/// One call that follows a recipe.
struct Run {
    const SelectArgs& args;
    const Recipe& recipe;
    Arm whenTrue;
    Arm whenFalse;
    std::int64_t multiplicity;
    bool oneCondition; ///< for all components of an element
    bool independent;  ///< whether the lanes are independent of one another

    bool lanesIndependent() const;
    void selectByElement() const;
    std::int64_t selectStraight() const;
    void selectByLane() const;
    void take(const Batch& batch, unsigned char way) const;
    void takeRun(unsigned char way, std::int64_t firstLane, std::int64_t lanes) const;
    void pick(const Batch& batch) const;
    void pickEntries(unsigned char* out, const Batch& batch, const TwoArms& arms,
                     std::int64_t laneBytes) const;
    const unsigned char* pickArm(const Arm& arm, unsigned char way, const Batch& batch,
                                 WidestTile& picked, WidestTile& converted) const;
    void findValidityByLane(unsigned char* valid, const unsigned char* ways, std::int64_t lanes,
                            std::int64_t firstElement, std::int64_t elements) const;
    void findValidity(unsigned char* valid, const unsigned char* ways, std::int64_t firstElement,
                      const Stretch& stretch) const;
    void pickValidity(unsigned char* valid, const unsigned char* ways, std::int64_t firstElement,
                      std::int64_t elements) const;
    void pickValidityStraight(const Tribool* conditions, std::int64_t firstElement,
                              std::int64_t elements) const;

    bool isPickedWide(std::int64_t lanesEach) const;
    std::int64_t enoughAlike(std::int64_t lanesEach, std::int64_t fewest) const;
    /// Whether every element of both arms is valid.
    bool areBothValid() const {
        return whenTrue.validity == nullptr && whenFalse.validity == nullptr;
    }
    /// The arm's validity bytes from `firstElement` on, as many as a tile needs.
    static const unsigned char* validityOf(const Arm& arm, std::int64_t firstElement) {
        return arm.validity != nullptr ? arm.validity + firstElement : ones.bytes;
    }
    const unsigned char* unknownLanes() const {
        return recipe.unknown == 0 ? zeros.bytes : unknowns.bytes;
    }
    unsigned char* resultLane(std::int64_t number) const {
        return static_cast<unsigned char*>(args.result) + number * recipe.resultBytes;
    }
};

// Comparing elements is enough: areas that start together and have elements of the same size also
// have lanes of the same size.
bool Run::lanesIndependent() const {
    const auto ofElements = [this](const void* start, std::int64_t bytes) {
        return LaneRange{start, start != nullptr ? args.count : 0, bytes};
    };
    const LaneRange result = ofElements(args.result, multiplicity * recipe.resultBytes);
    const LaneRange validity = ofElements(args.resultValidity, 1);
    const LaneRange read[] = {ofElements(args.condition, args.conditionMultiplicity),
                              ofElements(whenTrue.lanes, multiplicity * whenTrue.bytes),
                              ofElements(whenFalse.lanes, multiplicity * whenFalse.bytes),
                              ofElements(whenTrue.validity, 1), ofElements(whenFalse.validity, 1)};
    bool fits = lanesAreIndependent(result, validity) &&
                (oneCondition || args.conditionMultiplicity == multiplicity);
    for (const LaneRange& area : read)
        fits = fits && lanesAreIndependent(result, area) && lanesAreIndependent(validity, area);
    return fits;
}

/// Whether entries of `lanesEach` lanes are picked a whole vector at a time. Runs shorter than a
/// tile are then ignored, since finding one would cost more than it saves.
bool Run::isPickedWide(std::int64_t lanesEach) const {
    return independent && lanesEach <= 4 && arePickedWide(whenTrue.bytes) &&
           arePickedWide(whenFalse.bytes);
}

/// The shortest run of equal ways that is handled as a run: `fewest`, or a whole tile if values and
/// validity are both picked a whole vector at a time.
std::int64_t Run::enoughAlike(std::int64_t lanesEach, std::int64_t fewest) const {
    return isPickedWide(lanesEach) && arePickedWide(1) ? tileLanes : fewest;
}

} // namespace
} // namespace FENLET_TARGET
} // namespace Fenlet
