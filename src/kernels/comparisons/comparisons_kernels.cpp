// The comparison kernels, one for each pair of numeric kinds.
//
// A kernel is a recipe: how the lanes of each operand reach the type that they are compared in. One
// procedure follows all recipes, tile by tile. It compares all lanes from the first valid element
// to the last, and then marks the invalid ones in between as unknown.
#include "kernels/comparisons/comparisons.h"
#include "kernels/conversions/wide_lanes.h"
#include "kernels/conversions/working.h"
#include "kernels/lanes/scans.h"
#include "kernels/target/instructions.h"
#include "vocabulary/kinds.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

constexpr unsigned char unknown = 255;

// The predicates, each with its number in a call.

template <class T>
struct Less {
    using Lane = T;
    static constexpr int number = 0;
    static bool holds(T left, T right) { return left < right; }
};
template <class T>
struct LessEqual {
    using Lane = T;
    static constexpr int number = 1;
    static bool holds(T left, T right) { return left <= right; }
};
template <class T>
struct Greater {
    using Lane = T;
    static constexpr int number = 2;
    static bool holds(T left, T right) { return left > right; }
};
template <class T>
struct GreaterEqual {
    using Lane = T;
    static constexpr int number = 3;
    static bool holds(T left, T right) { return left >= right; }
};
template <class T>
struct Equal {
    using Lane = T;
    static constexpr int number = 4;
    static bool holds(T left, T right) { return left == right; }
};
template <class T>
struct NotEqual {
    using Lane = T;
    static constexpr int number = 5;
    static bool holds(T left, T right) { return left != right; }
};

/// 1 for true and 0 for false. With a plain conversion of the truth to a byte, g++ would compare
/// binary64 numbers one pair at a time. So this chooses between two 64-bit numbers and keeps the
/// lowest bit.
template <class Lane>
inline unsigned char truthByte(bool isTrue, Lane left) {
    if constexpr (isSame<Lane, double>) {
        const std::uint64_t odd = bitCast<std::uint64_t>(left) | 1u;
        const std::uint64_t chosen = isTrue ? odd : 0u;
        return static_cast<unsigned char>(chosen & 1u);
    } else {
        return isTrue;
    }
}

/// out[i] = whether the predicate holds for left[i] and right[i], both converted to the predicate's
/// type, for every lane. The lanes must be independent, or `lanes` 1.
template <class Predicate, class Left, class Right>
[[gnu::noinline]] void compareRun(unsigned char* out, const unsigned char* left,
                                  const unsigned char* right, std::int64_t lanes) {
    using Lane = typename Predicate::Lane;
    const std::int64_t done =
        MaskedComparison<Predicate, Left, Right>::run(out, left, right, lanes);
    FENLET_INDEPENDENT_BYTES
    for (std::int64_t i = done; i < lanes; ++i) {
        const auto lane = convert<Lane>(loadLane<Left>(left, i));
        const auto other = convert<Lane>(loadLane<Right>(right, i));
        storeLane(out, i, truthByte(Predicate::holds(lane, other), lane));
    }
}

struct UnknownWhereEitherIsInvalid {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static unsigned char apply(Left left, Right right) {
        return ((left != 0) & (right != 0)) ? static_cast<unsigned char>(0) : unknown;
    }
};

/// Marks unknown lanes. An OR is enough: unknown has all bits set, and a valid element's mark is 0.
struct PutMark {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static unsigned char apply(Left compared, Right mark) {
        return static_cast<unsigned char>(compared | mark);
    }
};

/// One kernel: how it converts, repeats and compares lanes.
struct Recipe {
    LaneMap leftToWorking;
    LaneMap rightToWorking;
    LaneSpread spread; ///< repeats a scalar right operand, in the type that `compare` reads
    LaneOperation compare;
    std::int64_t leftBytes;
    std::int64_t rightBytes;
};

/// The elements of a tile, by whether both sides are valid.
struct TileValidity {
    Tile<unsigned char> marks; ///< unknown or 0 for each element
    std::int64_t first;        ///< the first valid element; the end when there is none
    std::int64_t end;          ///< one past the last valid element
    bool hasMarks;             ///< whether any element of the tile is invalid
};

/// One call that follows a recipe.
struct Run {
    const ComparisonArgs& args;
    LaneOperation compare;
    LaneSpread spread;
    Operand left;
    Operand right;

    bool lanesIndependent() const;
    bool isValidThroughout(std::int64_t element, std::int64_t elements) const;
    void findValid(std::int64_t element, std::int64_t elements, TileValidity& validity) const;
    void compareElements(std::int64_t element, std::int64_t elements, Pace pace) const;
    void compareTile(std::int64_t element, std::int64_t elements, Pace pace) const;
};

bool Run::lanesIndependent() const {
    const std::int64_t lanes = std::int64_t{args.count} * args.multiplicity;
    const LaneRange result{args.result, lanes, 1};
    const auto validityFits = [&](const unsigned char* validity) {
        const LaneRange read{validity, args.count, 1};
        return validity == nullptr || areDisjoint(result, read) ||
               (validity == args.result && args.multiplicity == 1);
    };
    return areDisjoint(result, {left.lanes, lanes, left.bytes}) &&
           areDisjoint(result, {right.lanes, args.rightScalar ? args.count : lanes, right.bytes}) &&
           validityFits(args.leftValidity) && validityFits(args.rightValidity);
}

/// Whether both operands are valid in all of these elements.
bool Run::isValidThroughout(std::int64_t element, std::int64_t elements) const {
    return (args.leftValidity == nullptr ||
            hasNone<Zeros>(args.leftValidity + element, elements)) &&
           (args.rightValidity == nullptr ||
            hasNone<Zeros>(args.rightValidity + element, elements));
}

void Run::findValid(std::int64_t element, std::int64_t elements, TileValidity& validity) const {
    validity.first = 0;
    validity.end = elements;
    validity.hasMarks = !isValidThroughout(element, elements);
    if (!validity.hasMarks)
        return;
    const unsigned char* leftBytes = args.leftValidity;
    const unsigned char* rightBytes = args.rightValidity;
    leftBytes = leftBytes == nullptr ? rightBytes : leftBytes;
    rightBytes = rightBytes == nullptr ? leftBytes : rightBytes;
    unsigned char* const marks = validity.marks.bytes;
    combineRun<UnknownWhereEitherIsInvalid>(marks, leftBytes + element, rightBytes + element,
                                            elements);
    while (validity.first < elements && marks[validity.first] != 0)
        ++validity.first;
    while (validity.end > validity.first && marks[validity.end - 1] != 0)
        --validity.end;
}

/// Compares elements whatever their validity. Only a single element can have more lanes than a
/// tile.
void Run::compareElements(std::int64_t element, std::int64_t elements, Pace pace) const {
    const std::int64_t multiplicity = args.multiplicity;
    const std::int64_t lanes = elements * multiplicity;
    const std::int64_t firstLane = element * multiplicity;
    WidestTile leftTile;
    WidestTile rightTile;
    WidestTile repeated;
    if (args.rightScalar)
        spread(repeated.bytes, right.fetch(element, elements, rightTile), elements,
               atMost(tileLanes / elements, multiplicity));
    for (const auto [done, some] : Pieces{lanes, pace.lanes}) {
        const unsigned char* const rightLanes =
            args.rightScalar ? repeated.bytes : right.fetch(firstLane + done, some, rightTile);
        compare(args.result + firstLane + done, left.fetch(firstLane + done, some, leftTile),
                rightLanes, some);
    }
}

void Run::compareTile(std::int64_t element, std::int64_t elements, Pace pace) const {
    const std::int64_t multiplicity = args.multiplicity;
    TileValidity validity;
    findValid(element, elements, validity);
    const std::int64_t some = validity.end - validity.first;
    unsigned char* const result = args.result + element * multiplicity;
    if (some > 0)
        compareElements(element + validity.first, some, pace);
    if (!validity.hasMarks)
        return;
    if (some > 0) {
        Tile<unsigned char> spreadMarks;
        const unsigned char* marks = validity.marks.bytes + validity.first;
        // An element that has more lanes than a tile is processed alone, so it is valid here.
        const std::int64_t lanes = atMost(tileLanes, some * multiplicity);
        if (multiplicity > 1) {
            spreadRun<unsigned char>(spreadMarks.bytes, marks, some, lanes / some);
            marks = spreadMarks.bytes;
        }
        unsigned char* const compared = result + validity.first * multiplicity;
        combineRun<PutMark>(compared, compared, marks, lanes);
    }
    const auto fill = [&](std::int64_t from, std::int64_t to) {
        std::memset(result + from * multiplicity, unknown,
                    static_cast<std::size_t>((to - from) * multiplicity));
    };
    fill(0, validity.first);
    fill(validity.end, elements);
}

void follow(const ComparisonArgs& args, const Recipe& recipe) {
    if (recipe.compare == nullptr || args.count < 1 || args.multiplicity < 1)
        return;
    const Run run{
        args,
        recipe.compare,
        recipe.spread,
        {static_cast<const unsigned char*>(args.left), recipe.leftBytes, recipe.leftToWorking},
        {static_cast<const unsigned char*>(args.right), recipe.rightBytes, recipe.rightToWorking}};
    const bool independent = run.lanesIndependent();
    const bool isOneLoop = recipe.leftToWorking == nullptr && recipe.rightToWorking == nullptr &&
                           !args.rightScalar && independent;
    if (isOneLoop && run.isValidThroughout(0, args.count))
        return recipe.compare(args.result, run.left.lanes, run.right.lanes,
                              std::int64_t{args.count} * args.multiplicity);
    const Pace pace = paceOf(independent, args.multiplicity);
    for (const auto [element, elements] : Pieces{args.count, pace.elements})
        run.compareTile(element, elements, pace);
}

/// The loop of one predicate; null for a number that is not a predicate.
template <class T, class Left, class Right>
LaneOperation predicateOf(std::uint32_t predicate) {
    switch (predicate) {
    case Less<T>::number:
        return &compareRun<Less<T>, Left, Right>;
    case LessEqual<T>::number:
        return &compareRun<LessEqual<T>, Left, Right>;
    case Greater<T>::number:
        return &compareRun<Greater<T>, Left, Right>;
    case GreaterEqual<T>::number:
        return &compareRun<GreaterEqual<T>, Left, Right>;
    case Equal<T>::number:
        return &compareRun<Equal<T>, Left, Right>;
    case NotEqual<T>::number:
        return &compareRun<NotEqual<T>, Left, Right>;
    default:
        return nullptr;
    }
}

template <bool leftIsHigher, class Left, class Right>
struct Higher {
    using Kind = Left;
};
template <class Left, class Right>
struct Higher<false, Left, Right> {
    using Kind = Right;
};

/// Whether the loop converts its operands to `Compared`: if the set has loads for that, or between
/// Int32 and Float32, which are equally wide. All other conversions take a separate pass, and so
/// does rounding to Half.
template <class Compared, class Left, class Right>
inline constexpr bool
    isConvertedOnTheWay = (isSame<Left, std::int32_t> && isSame<Right, float>) ||
                          (isSame<Left, float> && isSame<Right, std::int32_t>) ||
                          (MaskedComparison<Less<Working<Compared>>, Left, Right>::isThere &&
                           (isSame<Left, Right> || !isSame<Compared, Half>));

template <class Left, class Right>
void comparison(const ComparisonArgs& args) {
    using Compared = typename Higher<(kindOf<Left> > kindOf<Right>), Left, Right>::Kind;
    using Worked = Working<Compared>;
    if constexpr (isConvertedOnTheWay<Compared, Left, Right>)
        follow(args,
               {nullptr, nullptr, &spreadRun<UnsignedOfSize<sizeof(Right)>>,
                predicateOf<Worked, Left, Right>(args.predicate), sizeof(Left), sizeof(Right)});
    else
        follow(args,
               {toWorking<Compared, Left>(), toWorking<Compared, Right>(),
                &spreadRun<UnsignedOfSize<sizeof(Worked)>>,
                predicateOf<Worked, Worked, Worked>(args.predicate), sizeof(Left), sizeof(Right)});
}

} // namespace

extern const ComparisonKernels comparisonKernels;
constinit const ComparisonKernels comparisonKernels = pairTable<ComparisonKernel, NumericKinds>(
    []<class Left, class Right>() { return &comparison<Left, Right>; });

} // namespace FENLET_TARGET
} // namespace Fenlet
