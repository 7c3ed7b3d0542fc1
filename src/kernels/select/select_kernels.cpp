// The select kernels, one for each combination of kinds.
//
// An entry is an element, or a lane that has its own condition. The way of an entry is what it
// takes: the true arm, the false arm, or neither. Often many entries in a row have the same way;
// such a run is copied from its arm at once. Where the ways change too often, entries are picked
// one by one through a table of the source of each way, so that the processor has no branch to
// predict. Only what is taken is read from an arm.
#include "kernels/conversions/conversions.h"
#include "kernels/conversions/wide_lanes.h"
#include "kernels/lanes/tiles.h"
#include "kernels/select/flat_select.h"
#include "kernels/select/picks.h"
#include "kernels/select/select.h"
#include "kernels/select/select_call.h"
#include "kernels/select/select_validity.h"
#include "kernels/select/ways.h"
#include "vocabulary/kinds.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

struct EitherBits {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static Out apply(Left left, Right right) { return left | right; }
};

/// Picks elements directly by their conditions, starting with the first. Returns how many it has
/// picked: those that fill whole vectors, or none if the arms need a conversion or if validity
/// cannot be picked as fast.
std::int64_t Run::selectStraight() const {
    constexpr std::int64_t wholeVectors = 64;
    // Only the small tiles of tests have no room for whole vectors of elements of four components.
    constexpr bool tilesAreWhole = tileLanes / 4 >= wholeVectors;
    if (!tilesAreWhole || !isPickedWide(multiplicity) || !recipe.armsAreAlike ||
        whenTrue.toResult != nullptr || !(areBothValid() || arePickedWide(1)))
        return 0;
    const Pace pace = paceOf(independent, multiplicity);
    const std::int64_t straight = args.count / wholeVectors * wholeVectors;
    for (const auto [element, elements] : Pieces{straight, pace.elements}) {
        const std::int64_t lane = element * multiplicity;
        const Tribool* const conditions = args.condition + element;
        if (alikeFromFirst(conditions, elements) == elements) {
            const Stretch tile{elements, WayOf::apply(conditions[0])};
            takeRun(tile.way, lane, elements * multiplicity);
            findValidity(args.resultValidity + element, nullptr, element, tile);
            continue;
        }
        const Tribool* ofLanes = conditions;
        // The conditions, repeated for each component; copied if the result overwrites them.
        Tile<Tribool> spread;
        if (multiplicity > 1 || args.result == args.condition) {
            spreadRun<Tribool>(spread.bytes, conditions, elements, multiplicity);
            ofLanes = spread.bytes;
        }
        pickByCondition(resultLane(lane), ofLanes,
                        {whenFalse.lane(lane), whenTrue.lane(lane), unknownLanes()},
                        elements * multiplicity, recipe.resultBytes);
        pickValidityStraight(multiplicity == 1 ? ofLanes : conditions, element, elements);
    }
    return straight;
}

void Run::selectByElement() const {
    Pace pace = paceOf(independent, multiplicity);
    if (independent && multiplicity > mostPicked)
        pace.elements = tileLanes;
    const std::int64_t fewest = multiplicity < 4 ? fewestLanes / multiplicity : 8;
    const std::int64_t enough = enoughAlike(multiplicity, fewest);
    for (std::int64_t element = selectStraight(); element < args.count; element += pace.elements) {
        const std::int64_t elements = atMost(pace.elements, args.count - element);
        Tile<unsigned char> ways;
        mapRun<WayOf>(ways.bytes, args.condition + element, elements);
        forEachStretch(ways.bytes, elements, enough, [&](std::int64_t first, Stretch stretch) {
            const unsigned char* const some = ways.bytes + first;
            const std::int64_t from = element + first;
            take({some, stretch.length, multiplicity, from * multiplicity}, stretch.way);
            findValidity(args.resultValidity + from, some, from, stretch);
        });
    }
}

// Only a single element is processed in several pieces. It is valid if it is valid in each of them.
void Run::selectByLane() const {
    const Pace pace = paceOf(independent, multiplicity);
    for (const auto [element, elements] : Pieces{args.count, pace.elements}) {
        const std::int64_t lanes = elements * multiplicity;
        unsigned char valid = 1;
        for (const auto [done, some] : Pieces{lanes, pace.lanes}) {
            Tile<unsigned char> ways;
            mapRun<WayOf>(ways.bytes, args.condition + element * args.conditionMultiplicity + done,
                          some);
            const std::int64_t enough = enoughAlike(1, fewestLanes);
            const std::int64_t firstLane = element * multiplicity + done;
            forEachStretch(ways.bytes, some, enough, [&](std::int64_t first, Stretch stretch) {
                take({ways.bytes + first, stretch.length, 1, firstLane + first}, stretch.way);
            });
            if (some == lanes) {
                findValidityByLane(args.resultValidity + element, ways.bytes, some, element,
                                   elements);
            } else {
                unsigned char found = 0;
                findValidityByLane(&found, ways.bytes, some, element, 1);
                valid &= found;
            }
        }
        if (lanes > pace.lanes)
            args.resultValidity[element] = valid;
    }
}

void Run::take(const Batch& batch, unsigned char way) const {
    if (way != 0)
        takeRun(way, batch.firstLane, batch.lanes());
    else if (batch.lanesEach <= mostPicked)
        pick(batch);
    else
        for (std::int64_t e = 0; e < batch.entries; ++e)
            takeRun(batch.ways[e], batch.firstLane + e * batch.lanesEach, batch.lanesEach);
}

void Run::takeRun(unsigned char way, std::int64_t firstLane, std::int64_t lanes) const {
    if (way == takesNeither) {
        std::memset(resultLane(firstLane), recipe.unknown,
                    static_cast<std::size_t>(lanes * recipe.resultBytes));
        return;
    }
    const Arm& arm = way == takesTrue ? whenTrue : whenFalse;
    const std::int64_t pace = independent ? lanes : 1;
    for (std::int64_t lane = firstLane; lane < firstLane + lanes; lane += pace) {
        unsigned char* const out = resultLane(lane);
        const unsigned char* const in = arm.lane(lane);
        if (arm.toResult != nullptr)
            arm.toResult(out, in, pace);
        else if (in != out)
            std::memmove(out, in, static_cast<std::size_t>(pace * arm.bytes));
    }
}

// Arms of one kind are picked together. Arms of two kinds are picked and converted separately, with
// zeros for the lanes that the other arm gives: zero has the same bytes in every kind.
void Run::pick(const Batch& batch) const {
    unsigned char* const out = resultLane(batch.firstLane);
    WidestTile picked;
    if (!recipe.armsAreAlike) {
        WidestTile converted;
        WidestTile otherPicked;
        WidestTile otherConverted;
        combineRun<EitherBits>(out, pickArm(whenTrue, takesTrue, batch, picked, converted),
                               pickArm(whenFalse, takesFalse, batch, otherPicked, otherConverted),
                               batch.lanes() * recipe.resultBytes);
        return;
    }
    const TwoArms arms{whenFalse.lane(batch.firstLane), whenTrue.lane(batch.firstLane),
                       unknownLanes()};
    if (whenTrue.toResult == nullptr) {
        pickEntries(out, batch, arms, whenTrue.bytes);
    } else {
        pickEntries(picked.bytes, batch, arms, whenTrue.bytes);
        whenTrue.toResult(out, picked.bytes, batch.lanes());
    }
}

/// Picks the batch's entries from two arms of the same kind.
void Run::pickEntries(unsigned char* out, const Batch& batch, const TwoArms& arms,
                      std::int64_t laneBytes) const {
    if (batch.lanesEach == 1)
        return pickLanes(out, batch.ways, arms, batch.entries, laneBytes);
    if (isPickedWide(batch.lanesEach)) {
        Tile<unsigned char> ways;
        spreadRun<unsigned char>(ways.bytes, batch.ways, batch.entries, batch.lanesEach);
        return pickLanes(out, ways.bytes, arms, batch.lanes(), laneBytes);
    }
    const auto sourceOf = [&](const unsigned char* arm) {
        return arm != nullptr ? arm : arms.unknown;
    };
    Sources sources{};
    sources.of[takesTrue] = sourceOf(arms.whenTrue);
    sources.of[takesFalse] = sourceOf(arms.whenFalse);
    sources.of[takesNeither] = arms.unknown;
    pickRun(out, batch.ways, sources, batch.entries, batch.lanesEach * laneBytes);
}

/// The lanes that take this arm, whose way is `way`, in the result's kind; all other lanes are
/// zeros.
const unsigned char* Run::pickArm(const Arm& arm, unsigned char way, const Batch& batch,
                                  WidestTile& picked, WidestTile& converted) const {
    const unsigned char* const lanes = arm.lane(batch.firstLane);
    const TwoArms arms{way == takesFalse ? lanes : nullptr, way == takesTrue ? lanes : nullptr,
                       unknownLanes()};
    pickEntries(picked.bytes, batch, arms, arm.bytes);
    if (arm.toResult == nullptr)
        return picked.bytes;
    arm.toResult(converted.bytes, picked.bytes, batch.lanes());
    return converted.bytes;
}

[[gnu::noinline]] void follow(const SelectArgs& args, const Recipe& recipe) {
    if (args.count < 1)
        return;
    if (args.multiplicity < 1) {
        std::memset(args.resultValidity, 1, static_cast<std::size_t>(args.count));
        return;
    }
    Run run{args,
            recipe,
            {static_cast<const unsigned char*>(args.whenTrue), args.whenTrueValidity,
             recipe.trueBytes, recipe.trueToResult},
            {static_cast<const unsigned char*>(args.whenFalse), args.whenFalseValidity,
             recipe.falseBytes, recipe.falseToResult},
            args.multiplicity,
            args.conditionMultiplicity == 1,
            false};
    run.independent = run.lanesIndependent();
    if (run.oneCondition)
        run.selectByElement();
    else
        run.selectByLane();
}

template <class Result, class WhenTrue, class WhenFalse>
void select(const SelectArgs& args) {
    follow(args, {conversionRun<Result, WhenTrue>(), conversionRun<Result, WhenFalse>(),
                  sizeof(WhenTrue), sizeof(WhenFalse), sizeof(Result), isSame<WhenTrue, WhenFalse>,
                  static_cast<unsigned char>(isSame<Result, Tribool> ? 255 : 0)});
}

template <class Lane>
bool selectFlatOf(const SelectArgs& args) {
    static constexpr FlatLoops loops = flatLoops<UnsignedOfSize<sizeof(Lane)>>();
    return selectFlat(args, loops, &select<Lane, Lane, Lane>);
}

template <class Result, class WhenTrue, class WhenFalse>
constexpr SelectKernel kernelFor() {
    if constexpr (hasConversion<Result, WhenTrue> && hasConversion<Result, WhenFalse>)
        return &select<Result, WhenTrue, WhenFalse>;
    else
        return nullptr;
}

} // namespace

extern const SelectKernels selectKernels;
constinit const SelectKernels selectKernels = {
    tripleTable<SelectKernel, AllKinds>([]<class Result, class WhenTrue, class WhenFalse>() {
        return kernelFor<Result, WhenTrue, WhenFalse>();
    }),
    kindTable<FlatSelect, AllKinds>([]<class Lane>() { return &selectFlatOf<Lane>; }),
    mostFlatComponents};

} // namespace FENLET_TARGET
} // namespace Fenlet
