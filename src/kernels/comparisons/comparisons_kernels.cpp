// The comparison kernels, one for each pair of numeric kinds.
//
// A kernel is a recipe: how the lanes of each operand reach the type that they are compared in. One
// procedure follows all recipes, tile by tile. It compares all lanes from the first valid element
// to the last, and makes the invalid ones in between unknown on the way.
#include "kernels/comparisons/comparisons.h"
#include "kernels/conversions/wide_lanes.h"
#include "kernels/conversions/working.h"
#include "kernels/lanes/masks.h"
#include "kernels/lanes/scans.h"
#include "kernels/target/instructions.h"
#include "vocabulary/kinds.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

constexpr unsigned char unknown = 255;

// The predicates, each with its number in a call. They hold for vectors of lanes. "Greater" is
// "less" with the operands exchanged: see `compareMirrored`.

constexpr std::uint32_t greater = 2;
constexpr std::uint32_t greaterEqual = 3;

template <class T>
struct Less {
    using Lane = T;
    static constexpr int number = 0;
    static auto holds(const auto& left, const auto& right) { return left < right; }
};
template <class T>
struct LessEqual {
    using Lane = T;
    static constexpr int number = 1;
    static auto holds(const auto& left, const auto& right) { return left <= right; }
};
template <class T>
struct Equal {
    using Lane = T;
    static constexpr int number = 4;
    static auto holds(const auto& left, const auto& right) { return left == right; }
};
template <class T>
struct NotEqual {
    using Lane = T;
    static constexpr int number = 5;
    static auto holds(const auto& left, const auto& right) { return left != right; }
};

/// A loop of `compareRun`.
using LaneComparison = FlatComparison;

/// Compares fewer lanes than a vector has bytes, in places that have room for all of them. Validity
/// is null or given for both sides.
template <std::size_t laneBytes>
[[gnu::noinline]] void compareRest(LaneComparison compare, unsigned char* out,
                                   const unsigned char* left, const unsigned char* leftValidity,
                                   const unsigned char* right, const unsigned char* rightValidity,
                                   std::int64_t lanes) {
    alignas(64) unsigned char leftLanes[vectorBytes * laneBytes] = {};
    alignas(64) unsigned char rightLanes[vectorBytes * laneBytes] = {};
    alignas(64) unsigned char validity[2][vectorBytes] = {};
    alignas(64) unsigned char compared[vectorBytes];
    const auto count = static_cast<std::size_t>(lanes);
    std::memcpy(leftLanes, left, count * laneBytes);
    std::memcpy(rightLanes, right, count * laneBytes);
    if (leftValidity != nullptr) {
        std::memcpy(validity[0], leftValidity, count);
        std::memcpy(validity[1], rightValidity, count);
        compare(compared, leftLanes, validity[0], rightLanes, validity[1], vectorBytes);
    } else {
        compare(compared, leftLanes, nullptr, rightLanes, nullptr, vectorBytes);
    }
    std::memcpy(out, compared, count);
}

/// The operand's lanes in vector `number`, in the type that they are compared in.
template <class Lane, class From>
VectorOf<Lane> comparedLanes(const unsigned char* in, int number) {
    const auto lanes = loadLane<VectorOf<From>>(in, number);
    if constexpr (isSame<Lane, From>)
        return lanes;
    else
        return __builtin_convertvector(lanes, VectorOf<Lane>);
}

/// out[i] = whether the predicate holds for left[i] and right[i], both converted to the predicate's
/// type, or unknown where a validity byte is 0; for every lane. Validity that is null counts as all
/// valid. The lanes must be independent, or `lanes` 1.
template <class Predicate, class Left, class Right>
[[gnu::noinline]] void compareRun(unsigned char* out, const unsigned char* left,
                                  const unsigned char* leftValidity, const unsigned char* right,
                                  const unsigned char* rightValidity, std::int64_t lanes) {
    using Lane = typename Predicate::Lane;
    leftValidity = leftValidity == nullptr ? rightValidity : leftValidity;
    rightValidity = rightValidity == nullptr ? leftValidity : rightValidity;
    if constexpr (MaskedComparison<Predicate, Left, Right>::isThere) {
        MaskedComparison<Predicate, Left, Right>::run(out, left, leftValidity, right, rightValidity,
                                                      lanes);
    } else {
        const auto truths = [=](std::int64_t first) {
            const unsigned char* const a = left + first * std::int64_t{sizeof(Left)};
            const unsigned char* const b = right + first * std::int64_t{sizeof(Right)};
            return byteMasks<sizeof(Lane)>([=](int number) {
                       return Predicate::holds(comparedLanes<Lane, Left>(a, number),
                                               comparedLanes<Lane, Right>(b, number));
                   }) &
                   std::uint8_t{1};
        };
        const std::int64_t whole = lanes - lanes % vectorBytes;
        if (leftValidity == nullptr)
            for (std::int64_t i = 0; i < whole; i += vectorBytes)
                storeLane(out + i, 0, truths(i));
        else
            for (std::int64_t i = 0; i < whole; i += vectorBytes)
                storeLane(out + i, 0,
                          truths(i) | missingMask(loadLane<ByteVector>(leftValidity + i, 0),
                                                  loadLane<ByteVector>(rightValidity + i, 0)));
        static_assert(sizeof(Left) == sizeof(Right));
        const auto rest = [=](const unsigned char* validity) {
            return validity != nullptr ? validity + whole : nullptr;
        };
        if (whole < lanes)
            compareRest<sizeof(Left)>(&compareRun<Predicate, Left, Right>, out + whole,
                                      left + whole * std::int64_t{sizeof(Left)}, rest(leftValidity),
                                      right + whole * std::int64_t{sizeof(Right)},
                                      rest(rightValidity), lanes - whole);
    }
}

/// Holds where `Predicate` does with the operands exchanged.
template <class Predicate, class Left, class Right>
void compareMirrored(unsigned char* out, const unsigned char* left,
                     const unsigned char* leftValidity, const unsigned char* right,
                     const unsigned char* rightValidity, std::int64_t lanes) {
    compareRun<Predicate, Right, Left>(out, right, rightValidity, left, leftValidity, lanes);
}

struct ValidInBoth {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static unsigned char apply(Left left, Right right) {
        return static_cast<unsigned char>((left != 0) & (right != 0));
    }
};

/// One kernel: how it converts, repeats and compares lanes.
struct Recipe {
    LaneMap leftToWorking;
    LaneMap rightToWorking;
    LaneSpread spread; ///< repeats a scalar right operand, in the type that `compare` reads
    LaneComparison compare;
    std::int64_t leftBytes;
    std::int64_t rightBytes;
};

/// Validity of both sides, for each lane; null where all are valid.
struct LaneValidity {
    const unsigned char* left;
    const unsigned char* right;

    bool isThroughout() const { return left == nullptr && right == nullptr; }
    LaneValidity from(std::int64_t lane) const {
        return {left != nullptr ? left + lane : nullptr, right != nullptr ? right + lane : nullptr};
    }
};

/// One call that follows a recipe.
struct Run {
    const ComparisonArgs& args;
    LaneComparison compare;
    LaneSpread spread;
    Operand left;
    Operand right;

    void follow() const;

  private:
    bool lanesIndependent() const;
    bool isValid(std::int64_t element) const {
        return (args.leftValidity == nullptr || args.leftValidity[element] != 0) &&
               (args.rightValidity == nullptr || args.rightValidity[element] != 0);
    }
    bool isValidThroughout() const;
    void makeUnknown(std::int64_t element, std::int64_t end) const;
    Piece validSpan() const;
    void compareOneByOne() const;
    void compareLanes(std::int64_t first, std::int64_t lanes, const LaneValidity& validity) const;
    void compareTile(const Piece& tile, LaneValidity validity) const;
    void compareElements(const Piece& some, const LaneValidity& validity, Pace pace) const;
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

/// Whether both operands are valid in all elements.
bool Run::isValidThroughout() const {
    const auto isThroughout = [this](const unsigned char* validity) {
        return validity == nullptr || hasNone<Zeros>(validity, args.count);
    };
    return isThroughout(args.leftValidity) && isThroughout(args.rightValidity);
}

void Run::makeUnknown(std::int64_t element, std::int64_t end) const {
    std::memset(args.result + element * args.multiplicity, unknown,
                static_cast<std::size_t>((end - element) * args.multiplicity));
}

/// From the first valid element to the last.
Piece Run::validSpan() const {
    std::int64_t first = 0;
    std::int64_t end = args.count;
    while (first < end && !isValid(first))
        ++first;
    while (end > first && !isValid(end - 1))
        --end;
    return {first, end - first};
}

/// Compares lanes that need no conversion and no repeats.
void Run::compareLanes(std::int64_t first, std::int64_t lanes, const LaneValidity& validity) const {
    compare(args.result + first, left.lanes + first * left.bytes, validity.left,
            right.lanes + first * right.bytes, validity.right, lanes);
}

/// Compares elements of any validity. Only a single element can have more lanes than a tile.
/// `validity` begins with the first of them.
void Run::compareElements(const Piece& some, const LaneValidity& validity, Pace pace) const {
    const std::int64_t elements = some.length;
    const std::int64_t multiplicity = args.multiplicity;
    const std::int64_t lanes = elements * multiplicity;
    const std::int64_t firstLane = some.first * multiplicity;
    WidestTile leftTile;
    WidestTile rightTile;
    WidestTile repeated;
    if (args.rightScalar)
        spread(repeated.bytes, right.fetch(some.first, elements, rightTile), elements,
               atMost(tileLanes / elements, multiplicity));
    for (const auto [done, piece] : Pieces{lanes, pace.lanes}) {
        const unsigned char* const rightLanes =
            args.rightScalar ? repeated.bytes : right.fetch(firstLane + done, piece, rightTile);
        const LaneValidity ofPiece = validity.from(done);
        compare(args.result + firstLane + done, left.fetch(firstLane + done, piece, leftTile),
                ofPiece.left, rightLanes, ofPiece.right, piece);
    }
}

/// Compares a tile of independent elements. Validity begins with the first element of the call.
void Run::compareTile(const Piece& tile, LaneValidity validity) const {
    validity = validity.from(tile.first);
    const Pace pace{tile.length, tileLanes};
    if (args.multiplicity == 1 || validity.isThroughout())
        return compareElements(tile, validity, pace);
    // An element that has more lanes than a tile is alone, and perhaps missing.
    if (tile.length == 1)
        return isValid(tile.first) ? compareElements(tile, {nullptr, nullptr}, pace)
                                   : makeUnknown(tile.first, tile.first + 1);
    Tile<unsigned char> ofElements;
    Tile<unsigned char> ofLanes;
    const unsigned char* const either = validity.left != nullptr ? validity.left : validity.right;
    combineRun<ValidInBoth>(ofElements.bytes, either,
                            validity.right != nullptr ? validity.right : either, tile.length);
    spreadRun<unsigned char>(ofLanes.bytes, ofElements.bytes, tile.length, args.multiplicity);
    compareElements(tile, {ofLanes.bytes, ofLanes.bytes}, pace);
}

/// For lanes that depend on one another.
void Run::compareOneByOne() const {
    for (std::int64_t element = 0; element < args.count; ++element)
        if (isValid(element))
            compareElements({element, 1}, {nullptr, nullptr}, {1, 1});
        else
            makeUnknown(element, element + 1);
}

void Run::follow() const {
    if (!lanesIndependent())
        return compareOneByOne();
    const Piece valid = validSpan();
    const std::int64_t end = valid.first + valid.length;
    makeUnknown(0, valid.first);
    makeUnknown(end, args.count);
    LaneValidity validity{args.leftValidity, args.rightValidity};
    // With several components, validity must be repeated for each, which costs more than a look.
    if (args.multiplicity > 1 && isValidThroughout())
        validity = {nullptr, nullptr};
    const bool isOneLoop = left.toWorking == nullptr && right.toWorking == nullptr &&
                           !args.rightScalar && (args.multiplicity == 1 || validity.isThroughout());
    if (isOneLoop)
        return compareLanes(valid.first * args.multiplicity, valid.length * args.multiplicity,
                            validity.from(valid.first));
    for (const auto [done, some] : Pieces{valid.length, paceOf(true, args.multiplicity).elements})
        compareTile({valid.first + done, some}, validity);
}

void follow(const ComparisonArgs& args, const Recipe& recipe) {
    if (recipe.compare == nullptr || args.count < 1 || args.multiplicity < 1)
        return;
    Run{args,
        recipe.compare,
        recipe.spread,
        {static_cast<const unsigned char*>(args.left), recipe.leftBytes, recipe.leftToWorking},
        {static_cast<const unsigned char*>(args.right), recipe.rightBytes, recipe.rightToWorking}}
        .follow();
}

/// The loop of one predicate; null for a number that is not a predicate.
template <class T, class Left, class Right>
LaneComparison predicateOf(std::uint32_t predicate) {
    switch (predicate) {
    case Less<T>::number:
        return &compareRun<Less<T>, Left, Right>;
    case LessEqual<T>::number:
        return &compareRun<LessEqual<T>, Left, Right>;
    case greater:
        return &compareMirrored<Less<T>, Left, Right>;
    case greaterEqual:
        return &compareMirrored<LessEqual<T>, Left, Right>;
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

/// The kind that two kinds are compared in.
template <class Left, class Right>
using ComparedKind = typename Higher<(kindOf<Left> > kindOf<Right>), Left, Right>::Kind;

/// Null if the operands are converted in a separate pass.
template <class Left, class Right>
constexpr FlatComparisonOf flatComparisonOf() {
    using Compared = ComparedKind<Left, Right>;
    if constexpr (isConvertedOnTheWay<Compared, Left, Right> ||
                  (isSame<Left, Right> && !isSame<Left, Half>))
        return &predicateOf<Working<Compared>, Left, Right>;
    else
        return nullptr;
}

template <class Left, class Right>
void comparison(const ComparisonArgs& args) {
    using Compared = ComparedKind<Left, Right>;
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
constinit const ComparisonKernels comparisonKernels = {
    pairTable<ComparisonKernel, NumericKinds>(
        []<class Left, class Right>() { return &comparison<Left, Right>; }),
    pairTable<FlatComparisonOf, NumericKinds>(
        []<class Left, class Right>() { return flatComparisonOf<Left, Right>(); })};

} // namespace FENLET_TARGET
} // namespace Fenlet
