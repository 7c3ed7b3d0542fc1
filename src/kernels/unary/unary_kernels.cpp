// The kernels of Negate and Length, one of each for every pair of kinds.
#include "kernels/conversions/wide_lanes.h"
#include "kernels/conversions/working.h"
#include "kernels/lanes/tiles.h"
#include "kernels/lanes/vectors.h"
#include "kernels/unary/unary.h"
#include "vocabulary/kinds.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

/// Converts a lane and changes its sign. Flips the sign bit of a float. An integer wraps.
template <class To, class From>
struct Negated {
    using In = From;
    using Out = UnsignedOfSize<sizeof(To)>;
    static Out apply(In value) {
        const auto bits = bitCast<Out>(convert<To>(value));
        if constexpr (isInteger<To>)
            return Out{0} - bits;
        else
            return static_cast<Out>(bits ^ (Out{1} << (8 * sizeof(To) - 1)));
    }
};

template <class To, class From>
void negate(const UnaryArgs& args) {
    if (args.count < 1 || args.multiplicity < 1)
        return;
    auto* const result = static_cast<unsigned char*>(args.result);
    const auto* const operand = static_cast<const unsigned char*>(args.operand);
    const std::int64_t lanes = std::int64_t{args.count} * args.multiplicity;
    const bool independent =
        lanesAreIndependent({result, lanes, sizeof(To)}, {operand, lanes, sizeof(From)});
    const std::int64_t pace = independent ? lanes : 1;
    for (std::int64_t lane = 0; lane < lanes; lane += pace)
        mapRun<Negated<To, From>>(result + lane * std::int64_t{sizeof(To)},
                                  operand + lane * std::int64_t{sizeof(From)}, pace);
}

/// The two steps of a length: adding the square of a component to the sum, and the root.
template <class Result>
struct Norm {
    using Lane = Result;
    static Lane add(Lane sum, Lane value) { return sum + value * value; }
    static Result root(Lane sum) {
        if constexpr (isSame<Result, float>)
            return __builtin_sqrtf(sum);
        else
            return __builtin_sqrt(sum);
    }
};
/// `halfToFloat32(float32ToHalf(sum))` for a sum of squares, which is never negative.
inline float roundedToHalf(float sum) {
    const auto bits = bitCast<std::uint32_t>(sum);
    const std::uint32_t normal = (bits + 0x0FFFu + ((bits >> 13) & 1u)) & 0xFFFFE000u;
    // Below 2 to the power -14, the last place of a Half is the last place of 0.5 in binary32.
    const float finite = sum < 0x1p-14f ? (sum + 0.5f) - 0.5f : bitCast<float>(normal);
    // A sum that is too large becomes infinite, and a NaN stays a NaN.
    return sum < 65520.0f ? finite : sum + __builtin_inff();
}

// The sum is always a binary16 value, held in binary32.
template <>
struct Norm<Half> {
    using Lane = float;
    static float add(float sum, float value) { return roundedToHalf(sum + value * value); }
    static Half root(float sum) { return float32ToHalf(__builtin_sqrtf(sum)); }
};
// Sums and squares wrap.
template <>
struct Norm<std::int32_t> {
    using Lane = std::uint32_t;
    static Lane add(Lane sum, Lane value) { return sum + value * value; }
    static std::int32_t root(Lane sum) {
        return truncate<std::int32_t>(
            __builtin_sqrt(static_cast<double>(static_cast<std::int32_t>(sum))));
    }
};

template <class Result>
struct Root {
    using In = typename Norm<Result>::Lane;
    using Out = Result;
    static Out apply(In sum) { return Norm<Result>::root(sum); }
};

/// Adds the squares of the components of each element to its sum, in component order. The additions
/// for one element depend on each other, so the loop adds one component of many elements at a time.
/// With fewer than four elements, it simply adds element by element.
template <class Result>
[[gnu::noinline]] void addSquares(unsigned char* sums, const unsigned char* lanes,
                                  std::int64_t elements, std::int64_t components) {
    using Lane = typename Norm<Result>::Lane;
    if (elements < 4) {
        for (std::int64_t e = 0; e < elements; ++e) {
            auto sum = loadLane<Lane>(sums, e);
            for (std::int64_t c = 0; c < components; ++c)
                sum = Norm<Result>::add(sum, loadLane<Lane>(lanes, e * components + c));
            storeLane(sums, e, sum);
        }
        return;
    }
    for (std::int64_t c = 0; c < components; ++c) {
        FENLET_INDEPENDENT_LANES
        for (std::int64_t e = 0; e < elements; ++e)
            storeLane(sums, e,
                      Norm<Result>::add(loadLane<Lane>(sums, e),
                                        loadLane<Lane>(lanes, e * components + c)));
    }
}

/// Computes the lengths of elements of `components` components. Works on as many elements at a time
/// as fill a vector: first puts each component of these elements into a separate vector, then
/// computes.
template <class Result, int components>
[[gnu::noinline]] void measureFixed(unsigned char* out, const unsigned char* lanes,
                                    std::int64_t elements) {
    using Lane = typename Norm<Result>::Lane;
    constexpr std::int64_t together = lanesOfVector<Lane>;
    alignas(vectorBytes) unsigned char apart[static_cast<std::size_t>(components)][vectorBytes];
    const auto measure = [&](std::int64_t first, std::int64_t some) {
        FENLET_INDEPENDENT_LANES
        for (std::int64_t e = 0; e < some; ++e) {
            Lane sum = 0;
            for (int c = 0; c < components; ++c)
                sum = Norm<Result>::add(sum, loadLane<Lane>(apart[c], e));
            storeLane(out, first + e, Norm<Result>::root(sum));
        }
    };
    const std::int64_t whole = elements - elements % together;
    for (std::int64_t e = 0; e < whole; e += together) {
        const unsigned char* const in = lanes + e * components * std::int64_t{sizeof(Lane)};
        [&]<int... number>(Numbers<number...>) {
            (storeLane(apart[number], 0, loadComponent<Lane, components, number>(in)), ...);
        }
        (numbersBelow<components>);
        measure(e, together);
    }
    for (std::int64_t e = whole; e < elements; ++e)
        for (int c = 0; c < components; ++c)
            storeLane(apart[c], e - whole, loadLane<Lane>(lanes, e * components + c));
    measure(whole, elements - whole);
}

/// The type of `measureFixed`.
using LengthRun = void (*)(unsigned char* out, const unsigned char* lanes, std::int64_t elements);

/// The `measureFixed` for elements of 2 to 4 components and results of Float32 or Float64.
/// Otherwise null, because separate passes for sums and roots are faster.
template <class Result>
LengthRun measureOf(std::int64_t components) {
    if constexpr (isSame<Result, float> || isSame<Result, double>) {
        switch (components) {
        case 2:
            return &measureFixed<Result, 2>;
        case 3:
            return &measureFixed<Result, 3>;
        case 4:
            return &measureFixed<Result, 4>;
        default:
            break;
        }
    }
    return nullptr;
}

/// One kernel of Length. `toWorking` is null if the components already have the working type.
struct LengthRecipe {
    LaneMap toWorking;
    void (*addSquares)(unsigned char* sums, const unsigned char* lanes, std::int64_t elements,
                       std::int64_t components);
    LaneMap root;
    LengthRun measure; ///< used instead of `addSquares` and `root` if not null
    std::int64_t operandBytes;
    std::int64_t workingBytes; ///< bytes of a component in the working type, and of a sum
    std::int64_t resultBytes;
};

/// Runs `recipe.measure`. The areas must be independent, and the components of one element must fit
/// into a tile.
void measure(const UnaryArgs& args, const LengthRecipe& recipe) {
    auto* const result = static_cast<unsigned char*>(args.result);
    const auto* const operand = static_cast<const unsigned char*>(args.operand);
    if (recipe.toWorking == nullptr)
        return recipe.measure(result, operand, args.count);
    Tile<double> converted;
    const std::int64_t pace = paceOf(true, args.multiplicity).elements;
    for (const auto [element, elements] : Pieces{args.count, pace}) {
        recipe.toWorking(converted.bytes,
                         operand + element * args.multiplicity * recipe.operandBytes,
                         elements * args.multiplicity);
        recipe.measure(result + element * recipe.resultBytes, converted.bytes, elements);
    }
}

void follow(const UnaryArgs& args, const LengthRecipe& recipe) {
    auto* const result = static_cast<unsigned char*>(args.result);
    const auto* const operand = static_cast<const unsigned char*>(args.operand);
    const std::int64_t multiplicity = args.multiplicity > 0 ? args.multiplicity : 0;
    const bool independent =
        lanesAreIndependent({result, args.count, recipe.resultBytes},
                            {operand, args.count, multiplicity * recipe.operandBytes});
    if (independent && recipe.measure != nullptr && multiplicity <= tileLanes)
        return measure(args, recipe);
    const std::int64_t pace = paceOf(independent, multiplicity > 0 ? multiplicity : 1).elements;
    Tile<double> sums;
    Tile<double> converted;
    for (const auto [element, elements] : Pieces{args.count, pace}) {
        const std::int64_t lanes = elements * multiplicity;
        std::memset(sums.bytes, 0, static_cast<std::size_t>(elements * recipe.workingBytes));
        // This loop runs more than once only for a single element with more lanes than a tile.
        for (const auto [done, some] : Pieces{lanes, tileLanes}) {
            const unsigned char* in =
                operand + (element * multiplicity + done) * recipe.operandBytes;
            if (recipe.toWorking != nullptr) {
                recipe.toWorking(converted.bytes, in, some);
                in = converted.bytes;
            }
            recipe.addSquares(sums.bytes, in, elements, some / elements);
        }
        recipe.root(result + element * recipe.resultBytes, sums.bytes, elements);
    }
}

template <class To, class From>
void length(const UnaryArgs& args) {
    follow(args, {toWorking<To, From>(), &addSquares<To>, &mapRun<Root<To>>,
                  measureOf<To>(args.multiplicity), sizeof(From), sizeof(Working<To>), sizeof(To)});
}

} // namespace

extern const UnaryKernels unaryKernels;
constinit const UnaryKernels unaryKernels = {
    pairTable<UnaryKernel, KindsWithArithmetic>(
        []<class To, class From>() { return &negate<To, From>; }),
    pairTable<UnaryKernel, KindsWithArithmetic>(
        []<class To, class From>() { return &length<To, From>; })};

} // namespace FENLET_TARGET
} // namespace Fenlet
