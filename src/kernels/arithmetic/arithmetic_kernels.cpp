// The arithmetic kernels, one for each combination of three kinds.
//
// A kernel is a recipe: how each operand's lanes reach the type that the operation works in, the
// operation, and how its lanes reach the result. One procedure follows every recipe, tile by tile.
#include "kernels/arithmetic/arithmetic.h"
#include "kernels/conversions/working.h"
#include "kernels/lanes/kinds.h"
#include "kernels/lanes/tiles.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

template <class T>
struct OnLanes {
    using Left = T;
    using Right = T;
    using Out = T;
};

template <class T>
struct Add : OnLanes<T> {
    static T apply(T left, T right) { return left + right; }
};
template <class T>
struct Subtract : OnLanes<T> {
    static T apply(T left, T right) { return left - right; }
};
template <class T>
struct Multiply : OnLanes<T> {
    static T apply(T left, T right) { return left * right; }
};
template <class T>
struct Divide : OnLanes<T> {
    static T apply(T left, T right) { return left / right; }
};

// The first three work on the bits as unsigned numbers, which wrap.
template <>
struct Add<std::int32_t> : OnLanes<std::uint32_t> {
    static std::uint32_t apply(std::uint32_t left, std::uint32_t right) { return left + right; }
};
template <>
struct Subtract<std::int32_t> : OnLanes<std::uint32_t> {
    static std::uint32_t apply(std::uint32_t left, std::uint32_t right) { return left - right; }
};
template <>
struct Multiply<std::int32_t> : OnLanes<std::uint32_t> {
    static std::uint32_t apply(std::uint32_t left, std::uint32_t right) { return left * right; }
};
// The quotient of two 32-bit integers is never so near to a whole number that binary64 would round
// it there, so truncating the binary64 quotient is exact, and it runs several lanes at a time. The
// two divisors that no division may see are replaced before it.
template <>
struct Divide<std::int32_t> : OnLanes<std::int32_t> {
    static std::int32_t apply(std::int32_t left, std::int32_t right) {
        const bool isSpecial = right == 0 || right == -1;
        const double quotient = static_cast<double>(left) / (isSpecial ? 1.0 : right);
        const auto negated = static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(left));
        const std::int32_t special = right == 0 ? 0 : negated;
        return isSpecial ? special : static_cast<std::int32_t>(quotient);
    }
};

struct IsZero {
    using In = std::int32_t;
    using Out = unsigned char;
    static Out apply(In value) { return value == 0; }
};

/// A validity byte, cleared where the divisor was zero and kept as it is elsewhere.
struct ClearWhereSet {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static Out apply(Left validity, Right wasZero) {
        return wasZero ? static_cast<unsigned char>(0) : validity;
    }
};

using LaneOperation = void (*)(unsigned char* out, const unsigned char* left,
                               const unsigned char* right, std::int64_t lanes);
using LaneSpread = void (*)(unsigned char* out, const unsigned char* in, std::int64_t elements,
                            std::int64_t multiplicity);

/// What a kernel does. A map is null where the lanes are of the right type already.
struct Recipe {
    LaneMap leftToWorking;
    LaneMap rightToWorking;
    LaneSpread spread; ///< of the working type
    LaneOperation operate;
    LaneMap workingToResult;
    std::int64_t leftBytes;
    std::int64_t rightBytes;
    std::int64_t workingBytes;
    std::int64_t resultBytes;
    bool clearsValidity; ///< where the right side is zero
};

/// The widest working type, for tiles that serve any of them.
using WidestTile = Tile<double>;

/// One operand of a call: where its lanes are, and how they reach the working type.
struct Operand {
    const unsigned char* lanes;
    std::int64_t bytes;
    LaneMap toWorking;

    /// `count` lanes from `first` on in the working type: in `tile`, or where they stand.
    const unsigned char* fetch(std::int64_t first, std::int64_t count, WidestTile& tile) const {
        const unsigned char* const start = lanes + first * bytes;
        if (toWorking == nullptr)
            return start;
        toWorking(tile.bytes, start, count);
        return tile.bytes;
    }
};

/// One call on its way through a recipe.
struct Run {
    const ArithmeticArgs& args;
    const Recipe& recipe;
    Operand left;
    Operand right;

    bool lanesIndependent(std::int64_t lanes) const;
    void fullShape(Pace pace, std::int64_t lanes) const;
    void scalarShape(Pace pace) const;
    void operate(std::int64_t firstLane, const unsigned char* leftLanes,
                 const unsigned char* rightLanes, std::int64_t lanes) const;
    void clearValidity(const unsigned char* zeroes, std::int64_t firstLane,
                       std::int64_t lanes) const;
};

bool Run::lanesIndependent(std::int64_t lanes) const {
    const LaneRange result{args.result, lanes, recipe.resultBytes};
    const LaneRange validity{args.resultValidity, args.count, 1};
    const auto independentOf = [&](const Operand& operand, bool scalar) {
        const LaneRange read{operand.lanes, scalar ? args.count : lanes, operand.bytes};
        // A scalar's lane i is not the result's lane i, unless there is one component.
        const bool resultFits = scalar && args.multiplicity > 1 ? areDisjoint(result, read)
                                                                : lanesAreIndependent(result, read);
        return resultFits && (!recipe.clearsValidity || areDisjoint(validity, read));
    };
    return independentOf(left, args.leftScalar) &&
           independentOf(right, args.rightScalar && !args.leftScalar) &&
           (!recipe.clearsValidity || areDisjoint(validity, result));
}

void Run::fullShape(Pace pace, std::int64_t lanes) const {
    WidestTile leftTile;
    WidestTile rightTile;
    for (std::int64_t lane = 0; lane < lanes; lane += pace.lanes) {
        const std::int64_t some = atMost(pace.lanes, lanes - lane);
        const unsigned char* const rightLanes = right.fetch(lane, some, rightTile);
        operate(lane, left.fetch(lane, some, leftTile), rightLanes, some);
    }
}

// The scalar side is converted once for each element and repeated over its components; an element
// of more components than a tile has lanes is worked off in pieces, all with the same repeats.
void Run::scalarShape(Pace pace) const {
    const Operand& scalar = args.leftScalar ? left : right;
    const Operand& other = args.leftScalar ? right : left;
    const std::int64_t multiplicity = args.multiplicity;
    WidestTile converted;
    WidestTile repeated;
    WidestTile otherTile;
    for (std::int64_t element = 0; element < args.count; element += pace.elements) {
        const std::int64_t elements = atMost(pace.elements, args.count - element);
        const std::int64_t lanes = elements * multiplicity;
        const std::int64_t repeats = atMost(tileLanes / elements, multiplicity);
        recipe.spread(repeated.bytes, scalar.fetch(element, elements, converted), elements,
                      repeats);
        for (std::int64_t done = 0; done < lanes; done += pace.lanes) {
            const std::int64_t some = atMost(pace.lanes, lanes - done);
            const std::int64_t lane = element * multiplicity + done;
            const unsigned char* const otherLanes = other.fetch(lane, some, otherTile);
            if (args.leftScalar)
                operate(lane, repeated.bytes, otherLanes, some);
            else
                operate(lane, otherLanes, repeated.bytes, some);
        }
    }
}

// Zero divisors are noted before the operation, which may write over them, and their elements are
// cleared after it, as each lane does by itself.
void Run::operate(std::int64_t firstLane, const unsigned char* leftLanes,
                  const unsigned char* rightLanes, std::int64_t lanes) const {
    Tile<unsigned char> zeroes;
    if (recipe.clearsValidity)
        mapRun<IsZero>(zeroes.bytes, rightLanes, lanes);
    unsigned char* const result =
        static_cast<unsigned char*>(args.result) + firstLane * recipe.resultBytes;
    if (recipe.workingToResult == nullptr) {
        recipe.operate(result, leftLanes, rightLanes, lanes);
    } else {
        WidestTile worked;
        recipe.operate(worked.bytes, leftLanes, rightLanes, lanes);
        recipe.workingToResult(result, worked.bytes, lanes);
    }
    if (recipe.clearsValidity)
        clearValidity(zeroes.bytes, firstLane, lanes);
}

void Run::clearValidity(const unsigned char* zeroes, std::int64_t firstLane,
                        std::int64_t lanes) const {
    unsigned char* const validity = args.resultValidity;
    if (args.multiplicity == 1) {
        combineRun<ClearWhereSet>(validity + firstLane, validity + firstLane, zeroes, lanes);
        return;
    }
    for (std::int64_t lane = 0; lane < lanes; ++lane)
        if (zeroes[lane])
            validity[(firstLane + lane) / args.multiplicity] = 0;
}

void follow(const ArithmeticArgs& args, const Recipe& recipe) {
    if (args.count < 1 || args.multiplicity < 1)
        return;
    const bool hasScalar = args.leftScalar || args.rightScalar;
    std::int64_t lanes = std::int64_t{args.count} * args.multiplicity;
    // The full shape counts its lanes in 32 bits, except where it goes element by element.
    if (!hasScalar && !recipe.clearsValidity)
        lanes = static_cast<std::int32_t>(static_cast<std::uint32_t>(lanes));
    if (lanes < 1)
        return;
    const Run run{
        args,
        recipe,
        {static_cast<const unsigned char*>(args.left), recipe.leftBytes, recipe.leftToWorking},
        {static_cast<const unsigned char*>(args.right), recipe.rightBytes, recipe.rightToWorking}};
    const Pace pace = paceOf(run.lanesIndependent(lanes), args.multiplicity);
    if (hasScalar)
        run.scalarShape(pace);
    else
        run.fullShape(pace, lanes);
}

template <class Result>
constexpr LaneMap toResult() {
    if constexpr (isSame<Result, Working<Result>>)
        return nullptr;
    else
        return &mapRun<Convert<Result, Working<Result>>>;
}

/// The loop of one operation, null for a number that is none.
template <class T>
LaneOperation operationOf(ArithmeticOp op) {
    switch (op) {
    case ArithmeticOp::Add:
        return &combineRun<Add<T>>;
    case ArithmeticOp::Subtract:
        return &combineRun<Subtract<T>>;
    case ArithmeticOp::Multiply:
        return &combineRun<Multiply<T>>;
    case ArithmeticOp::Divide:
        return &combineRun<Divide<T>>;
    }
    return nullptr;
}

template <class Result, class Left, class Right>
void arithmetic(const ArithmeticArgs& args) {
    using Worked = Working<Result>;
    using WorkedBits = UnsignedOfSize<sizeof(Worked)>;
    const LaneOperation operation = operationOf<Worked>(args.op);
    if (operation == nullptr)
        return;
    const bool dividesIntegers = isSame<Result, std::int32_t> && args.op == ArithmeticOp::Divide;
    follow(args, {toWorking<Result, Left>(), toWorking<Result, Right>(), &spreadRun<WorkedBits>,
                  operation, toResult<Result>(), sizeof(Left), sizeof(Right), sizeof(Worked),
                  sizeof(Result), dividesIntegers});
}

template <class Result, class... Lefts>
constexpr ArithmeticPlane everyPair(KindList<Lefts...>) {
    return {{{&arithmetic<Result, Lefts, std::int32_t>, &arithmetic<Result, Lefts, Half>,
              &arithmetic<Result, Lefts, float>, &arithmetic<Result, Lefts, double>}...}};
}

template <class... Results>
constexpr ArithmeticKernels everyTriple(KindList<Results...> kinds) {
    return {{everyPair<Results>(kinds)...}};
}

} // namespace

extern const ArithmeticKernels arithmeticKernels;
const ArithmeticKernels arithmeticKernels =
    everyTriple(KindList<std::int32_t, Half, float, double>{});

} // namespace FENLET_TARGET
} // namespace Fenlet
