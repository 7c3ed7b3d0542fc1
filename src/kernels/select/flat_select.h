// Select where both arms may be read as a whole: values and validity in one pass. A part of
// select_kernels.cpp.
#pragma once

#include "kernels/lanes/masks.h"
#include "kernels/lanes/scans.h"
#include "kernels/lanes/tiles.h"
#include "kernels/select/picks.h"
#include "kernels/select/select.h"
#include "kernels/select/select_validity.h"
#include "kernels/select/ways.h"

#include <cstdint>
#include <cstring>

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

/// What an element takes, as masks.
template <class Vector>
struct Taken {
    Vector whenTrue; ///< from `whenTrue`; otherwise from `whenFalse`, or nothing
    Vector nothing;
};

inline Taken<ByteVector> takenOf(const ByteVector& conditions) {
    return {bitCast<ByteVector>(conditions == 1), bitCast<ByteVector>(conditions == 255)};
}

/// The same for the lanes of vector `part`, where lanes are words. `conditions` holds the bytes at
/// `area`; a set takes whichever is faster.
template <class Word, int part>
inline Taken<VectorOf<Word>> takenWords(const ByteVector& conditions, const unsigned char* area) {
    if constexpr (WidenedBytes<Word>::isThere) {
        const auto words =
            bitCast<VectorOf<Word>>(WidenedBytes<Word>::load(area + part * lanesOfVector<Word>));
        return {bitCast<VectorOf<Word>>(words == 1),
                bitCast<VectorOf<Word>>(words == static_cast<Word>(~Word{0}))};
    } else {
        const Taken<ByteVector> taken = takenOf(conditions);
        return {repeatedBytes<Word, part>(taken.whenTrue),
                repeatedBytes<Word, part>(taken.nothing)};
    }
}

/// Lanes that have a condition and validity each: elements of one component, or components.
struct FlatRun {
    unsigned char* out;
    unsigned char* valid;
    const unsigned char* conditions;
    const unsigned char* whenTrue;
    const unsigned char* trueValidity;
    const unsigned char* whenFalse;
    const unsigned char* falseValidity;
    std::int64_t lanes;
};

/// What a loop finds out about validity.
enum class Validity {
    InDoubt, ///< that of the arms counts
    OfArms,  ///< both arms are valid
    Ignored, ///< nothing
};

/// Stores the values of vector `part` of as many lanes as a vector has bytes, starting with
/// `first`.
template <class Word, int part>
[[gnu::always_inline]] inline void selectVector(const FlatRun& run, const ByteVector& conditions,
                                                std::int64_t first) {
    const std::int64_t at = first * std::int64_t{sizeof(Word)} + std::int64_t{part} * vectorBytes;
    const auto taken = takenWords<Word, part>(conditions, run.conditions + first);
    const auto whenTrue = loadLane<VectorOf<Word>>(run.whenTrue + at, 0);
    const auto whenFalse = loadLane<VectorOf<Word>>(run.whenFalse + at, 0);
    const VectorOf<Word> value =
        (whenTrue & taken.whenTrue) | (whenFalse & ~(taken.whenTrue | taken.nothing));
    // Only truth values have one byte. They are unknown where others are zero.
    if constexpr (sizeof(Word) == 1)
        storeLane(run.out + at, 0, value | taken.nothing);
    else
        storeLane(run.out + at, 0, value);
}

/// Stores the validity of as many lanes, and returns which are missing.
template <Validity validity>
inline ByteVector selectValidity(const FlatRun& run, const ByteVector& conditions,
                                 std::int64_t first) {
    const Taken<ByteVector> taken = takenOf(conditions);
    ByteVector missing = taken.nothing;
    if constexpr (validity == Validity::InDoubt) {
        const auto whenTrue = loadLane<ByteVector>(run.trueValidity + first, 0);
        const auto whenFalse = loadLane<ByteVector>(run.falseValidity + first, 0);
        const ByteVector ofArm = (whenTrue & taken.whenTrue) | (whenFalse & ~taken.whenTrue);
        missing |= bitCast<ByteVector>(ofArm == 0);
    }
    storeLane(run.valid + first, 0, static_cast<ByteVector>(~missing & std::uint8_t{1}));
    return missing;
}

/// Selects whole vectors of bytes, starting with the first lane, or only their validity if `Word`
/// is `void`. Returns whether all are valid.
template <class Word, Validity validity>
[[gnu::noinline]] bool selectWhole(const FlatRun& all) {
    const FlatRun run = all;
    ByteVector missing{};
    for (std::int64_t i = 0; i + vectorBytes <= run.lanes; i += vectorBytes) {
        const auto conditions = loadLane<ByteVector>(run.conditions + i, 0);
        if constexpr (validity != Validity::Ignored)
            missing |= selectValidity<validity>(run, conditions, i);
        if constexpr (!isSame<Word, void>)
            [&]<int... part>(Numbers<part...>) {
                (selectVector<Word, part>(run, conditions, i), ...);
            }
        (numbersBelow<sizeof(Word)>);
    }
    return !isAnySet(missing);
}

using SelectWhole = bool (*)(const FlatRun& run);

/// With masks, a loop for the values alone is as fast as it can be: see `MaskedPick`.
constexpr bool picksByMask = MaskedPick<std::uint8_t, ByCondition>::isWide;

/// Conditions are repeated for several components where that costs little. Elsewhere the careful
/// kernel is as fast.
constexpr std::int32_t mostFlatComponents = vectorBytes > 16 && !picksByMask ? 4 : 1;

/// The loops for lanes of one size.
struct FlatLoops {
    SelectWhole inDoubt; ///< for elements of one component; validity is that of the arms
    SelectWhole ofArms;  ///< the same, where both arms are valid
    SelectWhole withoutValidity;
    std::int64_t laneBytes;
};

template <class Word>
constexpr FlatLoops flatLoops() {
    if constexpr (picksByMask) {
        const SelectWhole pick = [](const FlatRun& run) {
            const unsigned char* const unknown = sizeof(Word) == 1 ? unknowns.bytes : zeros.bytes;
            MaskedPick<Word, ByCondition>::run(run.out, run.conditions,
                                               {run.whenFalse, run.whenTrue, unknown}, run.lanes);
            return true;
        };
        return {nullptr, nullptr, pick, sizeof(Word)};
    } else if constexpr (mostFlatComponents == 1) {
        return {&selectWhole<Word, Validity::InDoubt>, &selectWhole<Word, Validity::OfArms>,
                nullptr, sizeof(Word)};
    } else {
        return {&selectWhole<Word, Validity::InDoubt>, &selectWhole<Word, Validity::OfArms>,
                &selectWhole<Word, Validity::Ignored>, sizeof(Word)};
    }
}

/// Selects a tile's elements, `run.lanes` of them, which fill whole vectors of bytes. Returns
/// whether all are valid.
bool selectTile(const FlatLoops& loops, FlatRun run, bool isInDoubt, std::int64_t multiplicity) {
    if constexpr (!picksByMask)
        if (multiplicity == 1)
            return isInDoubt ? loops.inDoubt(run) : loops.ofArms(run);
    if constexpr (picksByMask || mostFlatComponents > 1) {
        const bool isValid = isInDoubt ? selectWhole<void, Validity::InDoubt>(run)
                                       : selectWhole<void, Validity::OfArms>(run);
        Tile<Tribool> conditions;
        if (multiplicity > 1) {
            spreadRun<Tribool>(conditions.bytes, run.conditions, run.lanes, multiplicity);
            run.conditions = conditions.bytes;
            run.lanes *= multiplicity;
        }
        loops.withoutValidity(run);
        return isValid;
    }
    return false;
}

/// Selects a tile in which all elements have the same condition: copies what they take. Returns
/// whether all are valid.
bool selectAlike(const FlatRun& run, std::int64_t elementBytes, bool isTruth) {
    const Tribool condition = run.conditions[0];
    const auto bytes = static_cast<std::size_t>(run.lanes * elementBytes);
    if (condition == 255) {
        std::memset(run.out, isTruth ? 255 : 0, bytes);
        std::memset(run.valid, 0, static_cast<std::size_t>(run.lanes));
        return false;
    }
    const unsigned char* const arm = condition == 1 ? run.whenTrue : run.whenFalse;
    const unsigned char* const validity = condition == 1 ? run.trueValidity : run.falseValidity;
    if (arm != run.out)
        std::memmove(run.out, arm, bytes);
    mapRun<IsValid>(run.valid, validity, run.lanes);
    return hasNone<Zeros>(run.valid, run.lanes);
}

/// Selects the first elements of a call, which fill whole vectors of bytes. Works in tiles, so that
/// `ones` can take the place of validity that is null. Returns whether all are valid.
[[gnu::noinline]] bool selectVectors(const SelectArgs& args, std::int64_t count,
                                     const FlatLoops& loops) {
    const std::int64_t elementBytes = args.multiplicity * loops.laneBytes;
    const bool isInDoubt = args.whenTrueValidity != nullptr || args.whenFalseValidity != nullptr;
    const auto validityFrom = [](const unsigned char* validity, std::int64_t element) {
        return validity != nullptr ? validity + element : ones.bytes;
    };
    bool isValid = true;
    for (const auto [element, elements] : Pieces{count, paceOf(true, args.multiplicity).elements}) {
        const std::int64_t at = element * elementBytes;
        const FlatRun run{static_cast<unsigned char*>(args.result) + at,
                          args.resultValidity + element,
                          args.condition + element,
                          static_cast<const unsigned char*>(args.whenTrue) + at,
                          validityFrom(args.whenTrueValidity, element),
                          static_cast<const unsigned char*>(args.whenFalse) + at,
                          validityFrom(args.whenFalseValidity, element),
                          elements};
        const bool isTileValid = alikeFromFirst(run.conditions, elements) == elements
                                     ? selectAlike(run, elementBytes, loops.laneBytes == 1)
                                     : selectTile(loops, run, isInDoubt, args.multiplicity);
        isValid = isTileValid && isValid;
    }
    return isValid;
}

/// The elements of a call from `first` on.
SelectArgs restOf(const SelectArgs& args, std::int64_t first, std::int64_t laneBytes) {
    const std::int64_t at = first * args.multiplicity * laneBytes;
    SelectArgs rest = args;
    rest.result = static_cast<unsigned char*>(args.result) + at;
    rest.resultValidity += first;
    rest.condition += first;
    rest.whenTrue = static_cast<const unsigned char*>(args.whenTrue) + at;
    rest.whenFalse = static_cast<const unsigned char*>(args.whenFalse) + at;
    rest.whenTrueValidity += args.whenTrueValidity != nullptr ? first : 0;
    rest.whenFalseValidity += args.whenFalseValidity != nullptr ? first : 0;
    rest.count -= static_cast<std::int32_t>(first);
    return rest;
}

/// See `FlatSelect`. The careful kernel selects what does not fill a vector.
[[gnu::noinline]] bool selectFlat(const SelectArgs& args, const FlatLoops& loops,
                                  SelectKernel careful) {
    if (args.count < vectorBytes) {
        careful(args);
        return hasNone<Zeros>(args.resultValidity, args.count);
    }
    const std::int64_t whole = args.count - args.count % vectorBytes;
    const bool isWholeValid = selectVectors(args, whole, loops);
    if (whole == args.count)
        return isWholeValid;
    const SelectArgs rest = restOf(args, whole, loops.laneBytes);
    careful(rest);
    return hasNone<Zeros>(rest.resultValidity, rest.count) && isWholeValid;
}

} // namespace
} // namespace FENLET_TARGET
} // namespace Fenlet
