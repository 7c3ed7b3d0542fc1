// The select kernels, one for each combination of kinds.
//
// An entry (an element, or a lane that has a condition of its own) goes one of three ways, and many
// in a row often go the same way: such a run is taken from its arm in one go. Where the ways change
// too often for that, entries are picked one by one, by looking up where each one's way leads, so
// that no processor has to guess it. Either way nothing of an arm is read but what is taken.
#include "kernels/conversions/conversions.h"
#include "kernels/conversions/wide_runs.h"
#include "kernels/lanes/tiles.h"
#include "kernels/select/masked_picks.h"
#include "kernels/select/select.h"
#include "vocabulary/kinds.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

// The ways, as bits: an element whose components have conditions of their own can go several.
constexpr unsigned char takesFalse = 1;
constexpr unsigned char takesTrue = 2;
constexpr unsigned char takesNeither = 4;
constexpr std::size_t wayCount = 8;

struct WayOf {
    using In = Tribool;
    using Out = unsigned char;
    static Out apply(In condition) {
        const auto known = condition == 1 ? takesTrue : takesFalse;
        return condition == 255 ? takesNeither : known;
    }
};

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

/// Of an element that goes one way or to both arms.
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

struct EitherBits {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static Out apply(Left left, Right right) { return left | right; }
};

/// Entries that are worked on together: all of them go the one way, or `way` is 0.
struct Stretch {
    std::int64_t length;
    unsigned char way;
};

/// How many entries from the first on go the same way as it does, or a few less: the ways are
/// looked at eight at a time.
std::int64_t alikeFromFirst(const unsigned char* ways, std::int64_t count) {
    const std::uint64_t alike = ways[0] * std::uint64_t{0x0101010101010101};
    std::int64_t length = 0;
    while (length + 8 <= count && loadLane<std::uint64_t>(ways + length, 0) == alike)
        length += 8;
    if (length + 8 <= count)
        return length;
    while (length < count && ways[length] == ways[0])
        ++length;
    return length;
}

/// The stretch that these entries begin with. Fewer of them than `enough` do not pay for a run.
Stretch nextStretch(const unsigned char* ways, std::int64_t count, std::int64_t enough) {
    const std::int64_t alike = alikeFromFirst(ways, count);
    if (alike >= atMost(enough, count))
        return {alike, ways[0]};
    std::int64_t mixed = atMost(enough, count);
    while (mixed < count) {
        const std::int64_t more = atMost(enough, count - mixed);
        if (alikeFromFirst(ways + mixed, more) == more)
            break;
        mixed += more;
    }
    return {mixed, 0};
}

template <class Visit>
void forEachStretch(const unsigned char* ways, std::int64_t count, std::int64_t enough,
                    Visit visit) {
    for (std::int64_t first = 0; first < count;) {
        const Stretch stretch = nextStretch(ways + first, count - first, enough);
        visit(first, stretch);
        first += stretch.length;
    }
}

template <std::int64_t components>
inline void uniteFixed(unsigned char* out, const unsigned char* ways, std::int64_t elements) {
    for (std::int64_t e = 0; e < elements; ++e) {
        unsigned char united = 0;
        for (std::int64_t c = 0; c < components; ++c)
            united = static_cast<unsigned char>(united | ways[e * components + c]);
        out[e] = united;
    }
}

/// All the ways that each element's `components` components go.
[[gnu::noinline]] void uniteWays(unsigned char* out, const unsigned char* ways,
                                 std::int64_t elements, std::int64_t components) {
    switch (components) {
    case 2:
        return uniteFixed<2>(out, ways, elements);
    case 3:
        return uniteFixed<3>(out, ways, elements);
    case 4:
        return uniteFixed<4>(out, ways, elements);
    default:
        for (std::int64_t e = 0; e < elements; ++e) {
            unsigned char united = 0;
            for (std::int64_t c = 0; c < components; ++c)
                united = static_cast<unsigned char>(united | ways[e * components + c]);
            out[e] = united;
        }
    }
}

/// The most components of an element that is picked. One that has more is a run by itself.
constexpr std::int64_t mostPicked = 32;

/// Bytes that are all the same, as many as entries that are picked together have.
template <unsigned char value, std::int64_t laneBytes>
struct SameBytes {
    static constexpr std::int64_t lanes = tileLanes > mostPicked ? tileLanes : mostPicked;
    unsigned char bytes[static_cast<std::size_t>(lanes * laneBytes)] = {};

    consteval SameBytes() {
        for (unsigned char& byte : bytes)
            byte = value;
    }
};
constexpr SameBytes<0, 8> zeros;
constexpr SameBytes<1, 1> ones;
constexpr SameBytes<255, 1> unknowns;

/// Where each way leads: to entry e of an area, for every e.
struct Sources {
    const unsigned char* of[wayCount];
};

template <class Word, std::int64_t words>
void pickFixed(unsigned char* out, const unsigned char* ways, const Sources& sources,
               std::int64_t entries) {
    for (std::int64_t e = 0; e < entries; ++e) {
        const unsigned char* const in = sources.of[ways[e]];
        Word entry[static_cast<std::size_t>(words)];
        for (std::int64_t word = 0; word < words; ++word)
            entry[word] = loadLane<Word>(in, e * words + word);
        for (std::int64_t word = 0; word < words; ++word)
            storeLane(out, e * words + word, entry[word]);
    }
}

/// Entry e of `out` becomes that of the source that its way leads to.
[[gnu::noinline]] void pickRun(unsigned char* out, const unsigned char* ways,
                               const Sources& sources, std::int64_t entries,
                               std::int64_t entryBytes) {
    switch (entryBytes) {
    case 1:
        return pickFixed<std::uint8_t, 1>(out, ways, sources, entries);
    case 2:
        return pickFixed<std::uint16_t, 1>(out, ways, sources, entries);
    case 3:
        return pickFixed<std::uint8_t, 3>(out, ways, sources, entries);
    case 4:
        return pickFixed<std::uint32_t, 1>(out, ways, sources, entries);
    case 6:
        return pickFixed<std::uint16_t, 3>(out, ways, sources, entries);
    case 8:
        return pickFixed<std::uint64_t, 1>(out, ways, sources, entries);
    case 12:
        return pickFixed<std::uint32_t, 3>(out, ways, sources, entries);
    case 16:
        return pickFixed<std::uint64_t, 2>(out, ways, sources, entries);
    case 24:
        return pickFixed<std::uint64_t, 3>(out, ways, sources, entries);
    case 32:
        return pickFixed<std::uint64_t, 4>(out, ways, sources, entries);
    default:
        for (std::int64_t e = 0; e < entries; ++e)
            std::memmove(out + e * entryBytes, sources.of[ways[e]] + e * entryBytes,
                         static_cast<std::size_t>(entryBytes));
    }
}

using LaneWay = ByWay<takesFalse, takesTrue>;

template <class Word>
void pickLanesOf(unsigned char* out, const unsigned char* ways, const TwoArms& arms,
                 std::int64_t lanes) {
    constexpr std::int64_t bytes = sizeof(Word);
    const std::int64_t done = MaskedPick<Word, LaneWay>::run(out, ways, arms, lanes);
    const auto sourceOf = [&](const unsigned char* arm) {
        return (arm != nullptr ? arm : arms.unknown) + done * bytes;
    };
    Sources sources{};
    sources.of[takesTrue] = sourceOf(arms.whenTrue);
    sources.of[takesFalse] = sourceOf(arms.whenFalse);
    sources.of[takesNeither] = sourceOf(nullptr);
    pickFixed<Word, 1>(out + done * bytes, ways + done, sources, lanes - done);
}

/// Whether lanes of so many bytes are picked a whole vector at a time.
bool arePickedWide(std::int64_t laneBytes) {
    switch (laneBytes) {
    case 1:
        return MaskedPick<std::uint8_t, LaneWay>::isWide;
    case 2:
        return MaskedPick<std::uint16_t, LaneWay>::isWide;
    case 4:
        return MaskedPick<std::uint32_t, LaneWay>::isWide;
    default:
        return MaskedPick<std::uint64_t, LaneWay>::isWide;
    }
}

/// As `pickRun`, for entries of one lane, each of which goes one way.
[[gnu::noinline]] void pickLanes(unsigned char* out, const unsigned char* ways, const TwoArms& arms,
                                 std::int64_t lanes, std::int64_t laneBytes) {
    switch (laneBytes) {
    case 1:
        return pickLanesOf<std::uint8_t>(out, ways, arms, lanes);
    case 2:
        return pickLanesOf<std::uint16_t>(out, ways, arms, lanes);
    case 4:
        return pickLanesOf<std::uint32_t>(out, ways, arms, lanes);
    default:
        return pickLanesOf<std::uint64_t>(out, ways, arms, lanes);
    }
}

/// As `pickLanes`, by the lanes' conditions. They must fill whole vectors, and `arePickedWide`.
[[gnu::noinline]] void pickByCondition(unsigned char* out, const unsigned char* conditions,
                                       const TwoArms& arms, std::int64_t lanes,
                                       std::int64_t laneBytes) {
    switch (laneBytes) {
    case 1:
        MaskedPick<std::uint8_t, ByCondition>::run(out, conditions, arms, lanes);
        return;
    case 2:
        MaskedPick<std::uint16_t, ByCondition>::run(out, conditions, arms, lanes);
        return;
    case 4:
        MaskedPick<std::uint32_t, ByCondition>::run(out, conditions, arms, lanes);
        return;
    default:
        MaskedPick<std::uint64_t, ByCondition>::run(out, conditions, arms, lanes);
    }
}

using LaneMap = void (*)(unsigned char* out, const unsigned char* in, std::int64_t lanes);

/// What a kernel does. A map is null where the arm is of the result kind already.
struct Recipe {
    LaneMap trueToResult;
    LaneMap falseToResult;
    std::int64_t trueBytes;
    std::int64_t falseBytes;
    std::int64_t resultBytes;
    bool armsAreAlike;     ///< of one kind
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

/// Entries of `lanesEach` lanes, each with a way of its own.
struct Batch {
    const unsigned char* ways;
    std::int64_t entries;
    std::int64_t lanesEach;
    std::int64_t firstLane;

    std::int64_t lanes() const { return entries * lanesEach; }
};

/// The widest lanes, for tiles that serve any.
using WidestTile = Tile<double>;

/// The fewest lanes that pay for a run.
constexpr std::int64_t fewestLanes = 32;

/// One call on its way through a recipe.
struct Run {
    const SelectArgs& args;
    const Recipe& recipe;
    Arm whenTrue;
    Arm whenFalse;
    std::int64_t multiplicity;
    bool oneCondition; ///< for all components of an element
    bool independent;  ///< lanes of one another

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
    /// Whether every element of either arm is valid.
    bool areBothValid() const {
        return whenTrue.validity == nullptr && whenFalse.validity == nullptr;
    }
    /// The arm's validity from an element on, for a tile.
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

// It is elements that are held against each other. Areas that begin together and have elements of
// one size have lanes of one size, too.
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

/// Whether entries of so many lanes are picked a whole vector at a time. Then no run is shorter
/// than a tile: to find one costs more.
bool Run::isPickedWide(std::int64_t lanesEach) const {
    return independent && lanesEach <= 4 && arePickedWide(whenTrue.bytes) &&
           arePickedWide(whenFalse.bytes);
}

/// How many entries alike pay for a run. Where their validity, too, is picked a whole vector at a
/// time only a tile does: to find a shorter run costs more than it saves.
std::int64_t Run::enoughAlike(std::int64_t lanesEach, std::int64_t fewest) const {
    return isPickedWide(lanesEach) && arePickedWide(1) ? tileLanes : fewest;
}

/// Elements from the first on that are picked straight by their conditions, as many as fill whole
/// vectors, and how many that were: where arms need no conversion and validity is as quick to find.
std::int64_t Run::selectStraight() const {
    constexpr std::int64_t wholeVectors = 64;
    // Only tiles of tests have no room for whole vectors of elements of four components.
    constexpr bool tilesAreWhole = tileLanes / 4 >= wholeVectors;
    if (!tilesAreWhole || !isPickedWide(multiplicity) || !recipe.armsAreAlike ||
        whenTrue.toResult != nullptr || !(areBothValid() || arePickedWide(1)))
        return 0;
    const Pace pace = paceOf(independent, multiplicity);
    const std::int64_t straight = args.count / wholeVectors * wholeVectors;
    for (std::int64_t element = 0; element < straight; element += pace.elements) {
        const std::int64_t elements = atMost(pace.elements, straight - element);
        const std::int64_t lane = element * multiplicity;
        const Tribool* const conditions = args.condition + element;
        if (alikeFromFirst(conditions, elements) == elements) {
            const Stretch tile{elements, WayOf::apply(conditions[0])};
            takeRun(tile.way, lane, elements * multiplicity);
            findValidity(args.resultValidity + element, nullptr, element, tile);
            continue;
        }
        const Tribool* ofLanes = conditions;
        // Spread over the components of their elements, or copied where the result takes their
        // place.
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

// Only an element that is alone goes in several pieces. It is valid if it is in each of them.
void Run::selectByLane() const {
    const Pace pace = paceOf(independent, multiplicity);
    for (std::int64_t element = 0; element < args.count; element += pace.elements) {
        const std::int64_t elements = atMost(pace.elements, args.count - element);
        const std::int64_t lanes = elements * multiplicity;
        unsigned char valid = 1;
        for (std::int64_t done = 0; done < lanes; done += pace.lanes) {
            const std::int64_t some = atMost(pace.lanes, lanes - done);
            Tile<unsigned char> ways;
            mapRun<WayOf>(ways.bytes, args.condition + element * args.conditionMultiplicity + done,
                          some);
            const std::int64_t enough = enoughAlike(1, fewestLanes);
            forEachStretch(ways.bytes, some, enough, [&](std::int64_t first, Stretch stretch) {
                take({ways.bytes + first, stretch.length, 1, element * multiplicity + done + first},
                     stretch.way);
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

/// As `findValidity`, for elements that go the ways of their components: `lanes` ways in all.
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

// Arms of one kind are picked together. Of two kinds each is picked and converted by itself, among
// zeros where the other one is taken: zeros are zeros in every kind.
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

/// What the batch's entries take from two arms of the same kind.
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

/// The lanes of the arm that `way` leads to, as lanes of the result's kind, among zeros.
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

/// Writes 1 to `valid` for an element where every way that it goes is valid, else 0. `ways` may be
/// null where the stretch goes one way.
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

// An element that goes to both arms takes one byte from each.
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

template <class Result, class From>
constexpr LaneMap toResult() {
    if constexpr (isSame<Result, From>)
        return nullptr;
    else
        return &mapRun<Convert<Result, From>>;
}

template <class Result, class WhenTrue, class WhenFalse>
void select(const SelectArgs& args) {
    follow(args, {toResult<Result, WhenTrue>(), toResult<Result, WhenFalse>(), sizeof(WhenTrue),
                  sizeof(WhenFalse), sizeof(Result), isSame<WhenTrue, WhenFalse>,
                  static_cast<unsigned char>(isSame<Result, Tribool> ? 255 : 0)});
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
constinit const SelectKernels selectKernels =
    tripleTable<SelectKernel, AllKinds>([]<class Result, class WhenTrue, class WhenFalse>() {
        return kernelFor<Result, WhenTrue, WhenFalse>();
    });

} // namespace FENLET_TARGET
} // namespace Fenlet
