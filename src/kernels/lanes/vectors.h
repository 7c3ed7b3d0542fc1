// Vectors of lanes, as wide as the vector registers of the set. Shuffles that repeat a lane for
// each component, and that extract one component of each element. Compilers do not emit these
// shuffles for plain loops.
#pragma once

#include "kernels/lanes/lanes.h"
#include "kernels/target/instructions.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

template <class Lane>
struct VectorType {
    using Type [[gnu::vector_size(vectorBytes)]] = Lane;
};
/// A vector with as many lanes as a vector register holds. `loadLane` and `storeLane` accept a
/// vector like a lane.
template <class Lane>
using VectorOf = typename VectorType<Lane>::Type;

template <class Lane>
inline constexpr int lanesOfVector = vectorBytes / static_cast<int>(sizeof(Lane));

/// The numbers of a vector's lanes, as a parameter pack.
template <int... number>
struct Numbers {};
template <int count, int... number>
struct NumbersBelow : NumbersBelow<count - 1, count - 1, number...> {};
template <int... number>
struct NumbersBelow<0, number...> {
    using Type = Numbers<number...>;
};
template <int count>
inline constexpr typename NumbersBelow<count>::Type numbersBelow{};

/// Calls `body(first)` for each vector of `together` lanes. Returns how many lanes these vectors
/// have. Unrolled four times, because otherwise the loop's overhead would be as large as the cost
/// of a simple conversion.
template <std::int64_t together, class Body>
inline std::int64_t forEachVector(std::int64_t lanes, Body body) {
    std::int64_t first = 0;
    for (; first + 4 * together <= lanes; first += 4 * together) {
        body(first);
        body(first + together);
        body(first + 2 * together);
        body(first + 3 * together);
    }
    for (; first + together <= lanes; first += together)
        body(first);
    return first;
}

/// Repeats the lane of each element `multiplicity` times, and returns vector `part` of the result.
template <int multiplicity, int part, class Lane>
inline VectorOf<Lane> spreadPart(const VectorOf<Lane>& elements) {
    constexpr int lanes = lanesOfVector<Lane>;
    return [&]<int... lane>(Numbers<lane...>) {
        return __builtin_shufflevector(elements, elements,
                                       ((part * lanes + lane) / multiplicity)...);
    }
    (numbersBelow<lanes>);
}

/// Every other lane of two consecutive vectors, starting with lane `first`, 0 or 1.
template <int first, class Lane>
inline VectorOf<Lane> everyOther(const VectorOf<Lane>& low, const VectorOf<Lane>& high) {
    return [&]<int... lane>(Numbers<lane...>) {
        return __builtin_shufflevector(low, high, (2 * lane + first)...);
    }
    (numbersBelow<lanesOfVector<Lane>>);
}

/// Every third lane of three consecutive vectors, starting with lane `first`. The number of lanes
/// in a vector is not a multiple of three, so no two of the wanted lanes have the same position in
/// their vectors. Two blends therefore collect all wanted lanes in one vector, and a shuffle puts
/// them in order.
template <int first, class Lane>
inline VectorOf<Lane> everyThird(const VectorOf<Lane>& low, const VectorOf<Lane>& middle,
                                 const VectorOf<Lane>& high) {
    constexpr int lanes = lanesOfVector<Lane>;
    return [&]<int... lane>(Numbers<lane...>) {
        const auto isThird = [](int place) { return place % 3 == first; };
        const VectorOf<Lane> lower =
            __builtin_shufflevector(low, middle, (isThird(lane + lanes) ? lane + lanes : lane)...);
        const VectorOf<Lane> thirds = __builtin_shufflevector(
            lower, high, (isThird(lane + 2 * lanes) ? lane + lanes : lane)...);
        return __builtin_shufflevector(thirds, thirds, ((3 * lane + first) % lanes)...);
    }
    (numbersBelow<lanes>);
}

/// Every fourth lane of four consecutive vectors, starting with lane `first`. First moves lanes
/// within blocks of 16 bytes, and then once across these blocks. This is fastest for floats in
/// AVX2.
template <int first, class Lane>
inline VectorOf<Lane> everyFourth(const VectorOf<Lane>& a, const VectorOf<Lane>& b,
                                  const VectorOf<Lane>& c, const VectorOf<Lane>& d) {
    constexpr int lanes = lanesOfVector<Lane>;
    constexpr int quarter = lanes / 4;
    return [&]<int... lane>(Numbers<lane...>) {
        const VectorOf<Lane> ab =
            __builtin_shufflevector(a, b, (lane / 4 * 4 + first + (lane % 4 < 2 ? 0 : lanes))...);
        const VectorOf<Lane> cd =
            __builtin_shufflevector(c, d, (lane / 4 * 4 + first + (lane % 4 < 2 ? 0 : lanes))...);
        const VectorOf<Lane> four = __builtin_shufflevector(
            ab, cd, (lane / 4 * 4 + lane % 2 * 2 + (lane % 4 < 2 ? 0 : lanes))...);
        return __builtin_shufflevector(four, four, (lane % quarter * 4 + lane / quarter)...);
    }
    (numbersBelow<lanes>);
}

/// Component `number` of as many elements as a vector has lanes. `in` points to these elements,
/// which have `multiplicity` components each: 2, 3 or 4.
template <class Lane, int multiplicity, int number>
inline VectorOf<Lane> loadComponent(const unsigned char* in) {
    using Vector = VectorOf<Lane>;
    const auto vector = [in](std::int64_t part) { return loadLane<Vector>(in, part); };
    if constexpr (multiplicity == 2)
        return everyOther<number, Lane>(vector(0), vector(1));
    else if constexpr (multiplicity == 3)
        return everyThird<number, Lane>(vector(0), vector(1), vector(2));
    else if constexpr (vectorBytes == 32 && sizeof(Lane) == 4) {
        const auto floats = [in](int part) { return loadLane<VectorOf<float>>(in, part); };
        return bitCast<Vector>(
            everyFourth<number, float>(floats(0), floats(1), floats(2), floats(3)));
    } else
        return everyOther<number / 2, Lane>(everyOther<number % 2, Lane>(vector(0), vector(1)),
                                            everyOther<number % 2, Lane>(vector(2), vector(3)));
}

} // namespace FENLET_TARGET
} // namespace Fenlet
