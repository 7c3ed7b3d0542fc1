// The arithmetic kernels, one for each combination of three kinds.
//
// A kernel describes its call: how the lanes of each operand reach the operation's loop, the loop,
// and how its lanes reach the result. One procedure runs all such calls, tile by tile.
#include "kernels/arithmetic/arithmetic.h"
#include "kernels/arithmetic/operations.h"
#include "kernels/conversions/wide_lanes.h"
#include "kernels/conversions/working.h"
#include "kernels/lanes/masks.h"
#include "kernels/lanes/scans.h"
#include "kernels/lanes/tiles.h"
#include "kernels/lanes/vectors.h"
#include "vocabulary/kinds.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

/// An operation in type `T` that converts its operands first.
template <template <class> class Operation, class T, class LeftLane, class RightLane>
struct Converting {
    using Left = LeftLane;
    using Right = RightLane;
    using Out = T;
    static T apply(Left left, Right right) {
        return Operation<T>::apply(convert<T>(left), convert<T>(right));
    }
};

/// The type of vector lanes for an operation on `T`: integers wrap, so they are unsigned.
template <class T>
struct WordOf {
    using Type = T;
};
template <>
struct WordOf<std::int32_t> {
    using Type = std::uint32_t;
};

/// Whether an operation loads, converts and stores whole vectors, with conversion instructions that
/// compilers do not emit for a plain loop.
template <class Result, class Left, class Right>
inline constexpr bool isWhole = hasWideOperand<Result, Left>&& hasWideOperand<Result, Right> &&
                                (isHidden<Result, Left> || isHidden<Result, Right>);

/// The loop of such an operation. The lanes must be independent, or `lanes` 1. Lanes left over at
/// the end are copied into a vector padded with zeros: a separate loop for them would be most of
/// the code.
template <template <class> class Operation, class Result, class Left, class Right>
[[gnu::noinline]] void combineWhole(unsigned char* out, const unsigned char* left,
                                    const unsigned char* right, std::int64_t lanes) {
    using Vector = VectorOf<typename WordOf<Working<Result>>::Type>;
    constexpr std::size_t together = lanesOfVector<Working<Result>>;
    const auto combine = [](unsigned char* to, const unsigned char* a, const unsigned char* b) {
        WideResult<Result>::store(
            to, Operation<Vector>::apply(bitCast<Vector>(WideOperand<Result, Left>::load(a)),
                                         bitCast<Vector>(WideOperand<Result, Right>::load(b))));
    };
    const auto count = static_cast<std::size_t>(lanes);
    const std::size_t whole = count - count % together;
    for (std::size_t i = 0; i < whole; i += together)
        combine(out + i * sizeof(Result), left + i * sizeof(Left), right + i * sizeof(Right));
    if (const std::size_t rest = count - whole; rest > 0) {
        unsigned char someLeft[together * sizeof(Left)] = {};
        unsigned char someRight[together * sizeof(Right)] = {};
        unsigned char some[together * sizeof(Result)];
        std::memcpy(someLeft, left + whole * sizeof(Left), rest * sizeof(Left));
        std::memcpy(someRight, right + whole * sizeof(Right), rest * sizeof(Right));
        combine(some, someLeft, someRight);
        std::memcpy(out + whole * sizeof(Result), some, rest * sizeof(Result));
    }
}

/// The loop of an operation between lanes and scalars of the working type, `combineScalars<...>`.
/// Each scalar is combined with all components of its element.
using ScalarOperation = void (*)(unsigned char* out, const unsigned char* lanes,
                                 const unsigned char* scalars, std::int64_t elements);

/// The lanes must be independent of one another. Scalars are repeated in registers; a separate pass
/// would have to store them and load them again.
template <template <class> class Operation, class T, int multiplicity, bool leftIsScalar>
[[gnu::noinline]] void combineScalars(unsigned char* out, const unsigned char* lanes,
                                      const unsigned char* scalars, std::int64_t elements) {
    using Word = typename WordOf<T>::Type;
    const auto apply = []<class Value>(const Value& lane, const Value& scalar) {
        return leftIsScalar ? Operation<Value>::apply(scalar, lane)
                            : Operation<Value>::apply(lane, scalar);
    };
    const std::int64_t together = elements - elements % lanesOfVector<Word>;
    const std::int64_t bytes = together * std::int64_t{sizeof(Word)};
    for (std::int64_t i = 0; i < bytes; i += vectorBytes) {
        const auto some = loadLane<VectorOf<Word>>(scalars + i, 0);
        [&]<int... part>(Numbers<part...>) {
            (storeLane(out + i * multiplicity, part,
                       apply(loadLane<VectorOf<Word>>(lanes + i * multiplicity, part),
                             spreadPart<multiplicity, part, Word>(some))),
             ...);
        }
        (numbersBelow<multiplicity>);
    }
    for (std::int64_t e = together; e < elements; ++e)
        for (std::int64_t i = e * multiplicity; i < (e + 1) * multiplicity; ++i)
            storeLane(out, i, apply(loadLane<Word>(lanes, i), loadLane<Word>(scalars, e)));
}

/// One operand of a call.
struct Side : Operand {
    bool isScalar; ///< one lane for each element, combined with every component
};

/// Cuts a number of lanes to 32 bits, as calls without scalars count them: see `mostFlatLanes`.
std::int64_t countedFlat(std::int64_t lanes) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(lanes));
}

struct LaneSpan {
    std::int64_t first;
    std::int64_t count;
};

/// One call, described by its kinds, its operation and its shape.
struct Call {
    const ArithmeticArgs& args;
    Side left;
    Side right;
    LaneSpread spread; ///< repeats a scalar that has been converted to the working type
    LaneOperation operation;
    ScalarOperation scalarOperation; ///< null where scalars are spread before the operation
    LaneMap toResult;                ///< null if the operation gives lanes of the result's kind
    std::int64_t workingBytes;
    std::int64_t resultBytes;
    bool dividesIntegers;

    void run() const;

  private:
    bool hasScalar() const { return left.isScalar || right.isScalar; }
    unsigned char* resultLane(std::int64_t lane) const {
        return static_cast<unsigned char*>(args.result) + lane * resultBytes;
    }
    bool lanesIndependent(std::int64_t lanes) const;
    void fullShape(Pace pace, std::int64_t lanes) const;
    void scalarShape(Pace pace) const;
    void fewComponents() const;
    void work(std::int64_t first, std::int64_t count, const unsigned char* repeated) const;
    LaneSpan settleZeroDivisors(std::int64_t first, std::int64_t count,
                                const unsigned char* divisors) const;
};

void Call::run() const {
    std::int64_t lanes = std::int64_t{args.count} * args.multiplicity;
    // Integer division works element by element and counts all lanes.
    if (!hasScalar() && !dividesIntegers)
        lanes = countedFlat(lanes);
    if (args.count < 1 || lanes < 1)
        return;
    const bool independent = lanesIndependent(lanes);
    const Pace pace = paceOf(independent, args.multiplicity);
    if (hasScalar() && independent && scalarOperation != nullptr && args.multiplicity <= tileLanes)
        fewComponents();
    else if (hasScalar())
        scalarShape(pace);
    else
        fullShape(pace, lanes);
}

bool Call::lanesIndependent(std::int64_t lanes) const {
    const LaneRange result{args.result, lanes, resultBytes};
    const LaneRange validity{args.resultValidity, args.count, 1};
    const auto independentOf = [&](const Side& operand) {
        const LaneRange read{operand.lanes, operand.isScalar ? args.count : lanes, operand.bytes};
        // Lane i of a scalar is not lane i of the result, unless there is one component.
        const bool resultFits = operand.isScalar && args.multiplicity > 1
                                    ? areDisjoint(result, read)
                                    : lanesAreIndependent(result, read);
        return resultFits && (!dividesIntegers || areDisjoint(validity, read));
    };
    return independentOf(left) && independentOf(right) &&
           (!dividesIntegers || areDisjoint(validity, result));
}

void Call::fullShape(Pace pace, std::int64_t lanes) const {
    for (std::int64_t lane = 0; lane < lanes; lane += pace.lanes)
        work(lane, atMost(pace.lanes, lanes - lane), nullptr);
}

// Converts the scalar operand once for each element and repeats it over the components. An element
// that has more components than a tile has lanes is processed in pieces, all with the same repeats.
void Call::scalarShape(Pace pace) const {
    const Side& scalar = left.isScalar ? left : right;
    const std::int64_t multiplicity = args.multiplicity;
    WidestTile converted;
    WidestTile repeated;
    for (const auto [element, elements] : Pieces{args.count, pace.elements}) {
        const std::int64_t repeats = atMost(tileLanes / elements, multiplicity);
        spread(repeated.bytes, scalar.fetch(element, elements, converted), elements, repeats);
        for (const auto [done, some] : Pieces{elements * multiplicity, pace.lanes})
            work(element * multiplicity + done, some, repeated.bytes);
    }
}

void Call::fewComponents() const {
    const Side& scalar = left.isScalar ? left : right;
    const Side& other = left.isScalar ? right : left;
    const std::int64_t multiplicity = args.multiplicity;
    const std::int64_t pace = paceOf(true, multiplicity).elements;
    for (std::int64_t element = 0; element < args.count; element += pace) {
        const std::int64_t elements = atMost(pace, args.count - element);
        const std::int64_t first = element * multiplicity;
        const std::int64_t lanes = elements * multiplicity;
        WidestTile scalarTile;
        WidestTile otherTile;
        WidestTile worked;
        unsigned char* const out = toResult == nullptr ? resultLane(first) : worked.bytes;
        scalarOperation(out, other.fetch(first, lanes, otherTile),
                        scalar.fetch(element, elements, scalarTile), elements);
        if (toResult != nullptr)
            toResult(resultLane(first), worked.bytes, lanes);
    }
}

/// Computes `count` lanes of the result, starting at `first`. `repeated` holds the scalar operand,
/// if there is one.
void Call::work(std::int64_t first, std::int64_t count, const unsigned char* repeated) const {
    WidestTile leftTile;
    WidestTile rightTile;
    const unsigned char* const rightLanes =
        right.isScalar ? repeated : right.fetch(first, count, rightTile);
    const LaneSpan span =
        dividesIntegers ? settleZeroDivisors(first, count, rightLanes) : LaneSpan{0, count};
    const std::int64_t skippedBytes = span.first * workingBytes;
    const unsigned char* const leftLanes =
        left.isScalar ? repeated + skippedBytes
                      : left.fetch(first + span.first, span.count, leftTile);
    unsigned char* const result = resultLane(first + span.first);
    if (toResult == nullptr) {
        operation(result, leftLanes, rightLanes + skippedBytes, span.count);
    } else {
        WidestTile worked;
        operation(worked.bytes, leftLanes, rightLanes + skippedBytes, span.count);
        toResult(result, worked.bytes, span.count);
    }
}

[[gnu::noinline]] bool hasZero(const unsigned char* divisors, std::int64_t lanes) {
    std::uint32_t found = 0;
    FENLET_INDEPENDENT_LANES
    for (std::int64_t i = 0; i < lanes; ++i)
        found |= loadLane<std::int32_t>(divisors, i) == 0 ? 1u : 0u;
    return found != 0;
}

/// The validity of an element that has its own divisor.
struct ValidWhereDivided {
    using Left = unsigned char;
    using Right = std::int32_t;
    using Out = unsigned char;
    static Out apply(Left validity, Right divisor) { return divisor == 0 ? Out{0} : validity; }
};

// Makes elements with a zero divisor invalid. Stores zeros before the first divisor that is not
// zero, and after the last one: the left operand is not read there, and may not even exist. Returns
// the span of lanes in between, which remains to be computed.
LaneSpan Call::settleZeroDivisors(std::int64_t first, std::int64_t count,
                                  const unsigned char* divisors) const {
    if (!hasZero(divisors, count))
        return {0, count};
    const auto isZero = [divisors](std::int64_t lane) {
        return loadLane<std::int32_t>(divisors, lane) == 0;
    };
    if (args.multiplicity == 1)
        combineRun<ValidWhereDivided>(args.resultValidity + first, args.resultValidity + first,
                                      divisors, count);
    else
        for (std::int64_t lane = 0; lane < count; ++lane)
            if (isZero(lane))
                args.resultValidity[(first + lane) / args.multiplicity] = 0;
    std::int64_t begin = 0;
    while (begin < count && isZero(begin))
        ++begin;
    std::int64_t end = count;
    while (end > begin && isZero(end - 1))
        --end;
    std::memset(resultLane(first), 0, static_cast<std::size_t>(begin * resultBytes));
    std::memset(resultLane(first + end), 0, static_cast<std::size_t>((count - end) * resultBytes));
    return {begin, end - begin};
}

/// Whether lanes of `From` are converted to `Result` in a separate pass. All other conversions are
/// short enough for the loop of the operation.
template <class Result, class From>
inline constexpr bool isStaged = isSame<Result, Half> || isSame<From, Half>;

/// The type of an operand's lanes when they reach the operation, unless it is a scalar.
template <class Result, class From, bool staged = isStaged<Result, From>>
struct TakenOf {
    using Type = From;
};
template <class Result, class From>
struct TakenOf<Result, From, true> {
    using Type = Working<Result>;
};
template <class Result, class From>
using Taken = typename TakenOf<Result, From>::Type;

/// The loop of an operation. If one operand is a scalar, all lanes come in the working type.
template <template <class> class Operation, class Result, class Left, class Right>
LaneOperation loopOf(bool besideScalar) {
    using T = Working<Result>;
    if (besideScalar)
        return &combineRun<Converting<Operation, T, T, T>>;
    if constexpr (isWhole<Result, Left, Right>)
        return &combineWhole<Operation, Result, Left, Right>;
    else
        return &combineRun<Converting<Operation, T, Taken<Result, Left>, Taken<Result, Right>>>;
}

/// Null for a number that is not an operation.
template <class Result, class Left, class Right>
LaneOperation operationOf(ArithmeticOp op, bool besideScalar) {
    switch (op) {
    case ArithmeticOp::Add:
        return loopOf<Add, Result, Left, Right>(besideScalar);
    case ArithmeticOp::Subtract:
        return loopOf<Subtract, Result, Left, Right>(besideScalar);
    case ArithmeticOp::Multiply:
        return loopOf<Multiply, Result, Left, Right>(besideScalar);
    case ArithmeticOp::Divide:
        // Divisors are examined before the division, so both operands are converted first.
        if constexpr (isSame<Result, std::int32_t>)
            return &combineRun<Converting<Divide, Result, Result, Result>>;
        else
            return loopOf<Divide, Result, Left, Right>(besideScalar);
    }
    return nullptr;
}

/// Whether the loop of a call without scalars reads the operands directly and writes the result.
template <class Result, class Left, class Right>
inline constexpr bool isFlat = isWhole<Result, Left, Right> ||
                               (!isStaged<Result, Left> && !isStaged<Result, Right>);

template <class Result, class Left, class Right>
FlatArithmetic flatOperationOf(ArithmeticOp op) {
    const bool dividesIntegers = isSame<Result, std::int32_t> && op == ArithmeticOp::Divide;
    if constexpr (isFlat<Result, Left, Right>)
        return dividesIntegers ? nullptr : operationOf<Result, Left, Right>(op, false);
    else
        return nullptr;
}

template <template <class> class Operation, class T, bool leftIsScalar>
ScalarOperation scalarLoopOf(std::int32_t multiplicity) {
    switch (multiplicity) {
    case 2:
        return &combineScalars<Operation, T, 2, leftIsScalar>;
    case 3:
        return &combineScalars<Operation, T, 3, leftIsScalar>;
    case 4:
        return &combineScalars<Operation, T, 4, leftIsScalar>;
    default:
        return nullptr;
    }
}

template <template <class> class Operation, class T>
ScalarOperation scalarLoopOf(const ArithmeticArgs& args) {
    return args.leftScalar ? scalarLoopOf<Operation, T, true>(args.multiplicity)
                           : scalarLoopOf<Operation, T, false>(args.multiplicity);
}

/// The loop for elements of a few components and a scalar operand; null if there is none.
template <class T>
ScalarOperation scalarOperationOf(const ArithmeticArgs& args) {
    if (!args.leftScalar && !args.rightScalar)
        return nullptr;
    switch (args.op) {
    case ArithmeticOp::Add:
        return scalarLoopOf<Add, T>(args);
    case ArithmeticOp::Subtract:
        return scalarLoopOf<Subtract, T>(args);
    case ArithmeticOp::Multiply:
        return scalarLoopOf<Multiply, T>(args);
    case ArithmeticOp::Divide:
        if constexpr (!isSame<T, std::int32_t>)
            return scalarLoopOf<Divide, T>(args);
    }
    return nullptr;
}

/// Runs the most common calls, straight from the registers: no scalar and no separate pass. Returns
/// false if lanes depend on one another.
bool runFlat(const ArithmeticArgs& args, LaneOperation operation, std::int64_t resultBytes,
             std::int64_t leftBytes, std::int64_t rightBytes) {
    const std::int64_t lanes = countedFlat(std::int64_t{args.count} * args.multiplicity);
    const LaneRange result{args.result, lanes, resultBytes};
    if (args.count < 1 || lanes < 1)
        return true;
    if (!lanesAreIndependent(result, {args.left, lanes, leftBytes}) ||
        !lanesAreIndependent(result, {args.right, lanes, rightBytes}))
        return false;
    operation(static_cast<unsigned char*>(args.result),
              static_cast<const unsigned char*>(args.left),
              static_cast<const unsigned char*>(args.right), lanes);
    return true;
}

/// Like `runFlat`, for calls with a scalar.
bool runFlatScalars(const ArithmeticArgs& args, ScalarOperation operation, std::int64_t laneBytes) {
    const void* const scalars = args.leftScalar ? args.left : args.right;
    const void* const lanes = args.leftScalar ? args.right : args.left;
    const std::int64_t laneCount = std::int64_t{args.count} * args.multiplicity;
    const LaneRange result{args.result, laneCount, laneBytes};
    if (args.count < 1)
        return true;
    if (!lanesAreIndependent(result, {lanes, laneCount, laneBytes}) ||
        !areDisjoint(result, {scalars, args.count, laneBytes}))
        return false;
    operation(static_cast<unsigned char*>(args.result), static_cast<const unsigned char*>(lanes),
              static_cast<const unsigned char*>(scalars), args.count);
    return true;
}

template <class Result, class Left, class Right>
void arithmetic(const ArithmeticArgs& args) {
    using ScalarBits = UnsignedOfSize<sizeof(Working<Result>)>;
    const bool hasScalar = args.leftScalar || args.rightScalar;
    const LaneOperation operation = operationOf<Result, Left, Right>(args.op, hasScalar);
    if (operation == nullptr)
        return;
    const bool dividesIntegers = isSame<Result, std::int32_t> && args.op == ArithmeticOp::Divide;
    constexpr bool canBeWhole = isWhole<Result, Left, Right>;
    if constexpr (isFlat<Result, Left, Right>)
        if (!dividesIntegers && !hasScalar &&
            runFlat(args, operation, sizeof(Result), sizeof(Left), sizeof(Right)))
            return;
    const ScalarOperation scalarOperation = scalarOperationOf<Working<Result>>(args);
    if constexpr (isSame<Left, Working<Result>> && isSame<Right, Working<Result>> &&
                  !isSame<Result, Half>)
        if (scalarOperation != nullptr && runFlatScalars(args, scalarOperation, sizeof(Result)))
            return;
    const bool goesWhole = canBeWhole && !hasScalar && !dividesIntegers;
    const auto operand = [=]<class From>(const void* lanes, bool isScalar, From) {
        const bool isMapped =
            !goesWhole && (hasScalar || dividesIntegers || isStaged<Result, From>);
        return Side{{static_cast<const unsigned char*>(lanes), sizeof(From),
                     isMapped ? toWorking<Result, From>() : nullptr},
                    isScalar};
    };
    const Call call{args,
                    operand(args.left, args.leftScalar, Left{}),
                    operand(args.right, args.rightScalar && !args.leftScalar, Right{}),
                    &spreadRun<ScalarBits>,
                    operation,
                    scalarOperation,
                    goesWhole ? nullptr : conversionRun<Result, Working<Result>>(),
                    sizeof(Working<Result>),
                    sizeof(Result),
                    dividesIntegers};
    call.run();
}

/// Divides as many lanes as a vector has bytes. Returns which divisors are 0, as masks of bytes.
/// Truncating the binary64 quotient is exact: see `Divide<std::int32_t>`. Only 2147483648 does not
/// fit, and these processors truncate it to -2147483648, as the quotient wraps.
template <class Set>
inline ByteVector divideSome(unsigned char* out, const unsigned char* left,
                             const unsigned char* right) {
    using Vector = VectorOf<std::int32_t>;
    using Integers = typename Set::Integers;
    return byteMasks<4>([=](int part) {
        const auto divisors = loadLane<Vector>(right, part);
        const Vector zeros = divisors == 0;
        // A mask is -1 where it is set, so a divisor of 0 becomes 1.
        const Integers quotients =
            Set::divided(loadLane<Integers>(left, part), bitCast<Integers>(divisors - zeros));
        storeLane(out, part, bitCast<Vector>(quotients) & ~zeros);
        return zeros;
    });
}

/// See `FlatDivision`, for elements that fill whole vectors of bytes. Validity is null or given for
/// both sides.
template <class Set>
[[gnu::noinline]] bool divideWhole(unsigned char* out, unsigned char* valid,
                                   const unsigned char* left, const unsigned char* leftValidity,
                                   const unsigned char* right, const unsigned char* rightValidity,
                                   std::int64_t elements) {
    ByteVector missing{};
    for (std::int64_t i = 0; i < elements; i += vectorBytes) {
        const std::int64_t byte = i * std::int64_t{sizeof(std::int32_t)};
        ByteVector some = divideSome<Set>(out + byte, left + byte, right + byte);
        if (leftValidity != nullptr)
            some |= missingMask(loadLane<ByteVector>(leftValidity + i, 0),
                                loadLane<ByteVector>(rightValidity + i, 0));
        storeLane(valid + i, 0, static_cast<ByteVector>(~some & std::uint8_t{1}));
        missing |= some;
    }
    return !isAnySet(missing);
}

struct ValidInBoth {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static Out apply(Left left, Right right) {
        return static_cast<Out>((left != 0) & (right != 0));
    }
};

/// See `FlatDivision`. The careful kernel divides what does not fill a vector.
template <class Set>
bool divideFlat(unsigned char* out, unsigned char* valid, const unsigned char* left,
                const unsigned char* leftValidity, const unsigned char* right,
                const unsigned char* rightValidity, std::int64_t elements) {
    leftValidity = leftValidity == nullptr ? rightValidity : leftValidity;
    rightValidity = rightValidity == nullptr ? leftValidity : rightValidity;
    const std::int64_t rest = elements % vectorBytes;
    const std::int64_t whole = elements - rest;
    const bool isWholeValid =
        whole == 0 || divideWhole<Set>(out, valid, left, leftValidity, right, rightValidity, whole);
    if (rest == 0)
        return isWholeValid;
    if (leftValidity != nullptr)
        combineRun<ValidInBoth>(valid + whole, leftValidity + whole, rightValidity + whole, rest);
    else
        std::memset(valid + whole, 1, static_cast<std::size_t>(rest));
    const std::int64_t byte = whole * std::int64_t{sizeof(std::int32_t)};
    arithmetic<std::int32_t, std::int32_t, std::int32_t>(
        {out + byte, valid + whole, left + byte, right + byte, static_cast<std::int32_t>(rest), 1,
         false, false, ArithmeticOp::Divide});
    return hasNone<Zeros>(valid + whole, rest) && isWholeValid;
}

/// Null if the set has no division of integers.
template <class Set>
constexpr FlatDivision divisionOf() {
    if constexpr (requires(typename Set::Integers some) { Set::divided(some, some); })
        return &divideFlat<Set>;
    else
        return nullptr;
}

} // namespace

extern const ArithmeticKernels arithmeticKernels;
constinit const ArithmeticKernels arithmeticKernels = {
    tripleTable<ArithmeticKernel, KindsWithArithmetic>(
        []<class Result, class Left, class Right>() { return &arithmetic<Result, Left, Right>; }),
    tripleTable<FlatArithmeticOf, KindsWithArithmetic>([]<class Result, class Left, class Right>() {
        return &flatOperationOf<Result, Left, Right>;
    }),
    divisionOf<WideLanes>()};

} // namespace FENLET_TARGET
} // namespace Fenlet
