// The fastest loops that we could write by hand, compiled once for each instruction set.
//
// Values that are converted to integers are in range, so that a cast is a single instruction.
#include "kernel_bounds.h"

#include "kernels/conversions/conversions.h"

#include <cstdint>
#include <utility>
#ifdef __F16C__
#include <immintrin.h>
#endif

namespace Fenlet::Bench {
inline namespace FENLET_TARGET {
namespace {

using Byte = unsigned char;
using Int32 = std::int32_t;
using Int64 = std::int64_t;

/// Elements of one component.
constexpr int count = boundElements(1);
#if defined(__AVX512F__)
constexpr int vectorBytes = 64;
#elif defined(__AVX2__)
constexpr int vectorBytes = 32;
#else
constexpr int vectorBytes = 16;
#endif

struct Add {
    template <class Value>
    static Value of(Value a, Value b) {
        return a + b;
    }
};
struct Multiply {
    template <class Value>
    static Value of(Value a, Value b) {
        return a * b;
    }
};
struct Divide {
    template <class Value>
    static Value of(Value a, Value b) {
        return a / b;
    }
};

/// Applies the operation. Sums and products of integers wrap.
template <class Operation, class Value>
Value operate(Value a, Value b) {
    if constexpr (isSame<Value, Int32>)
        return static_cast<Int32>(
            Operation::of(static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b)));
    else
        return Operation::of(a, b);
}

template <class Operation, class Result, class Left, class Right, int multiplicity>
void arithmetic(const LoopAreas& areas) {
    auto* const __restrict result = reinterpret_cast<Result*>(areas.result);
    const auto* const __restrict left = reinterpret_cast<const Left*>(areas.left);
    const auto* const __restrict right = reinterpret_cast<const Right*>(areas.right);
    for (int i = 0; i < boundElements(multiplicity) * multiplicity; ++i)
        result[i] = operate<Operation>(static_cast<Result>(left[i]), static_cast<Result>(right[i]));
}

template <class Value>
struct VectorOf {
    static constexpr int lanes = vectorBytes / static_cast<int>(sizeof(Value));
    using Type __attribute__((vector_size(vectorBytes))) = Value;

    static Type load(const Value* from) {
        Type vector;
        __builtin_memcpy(&vector, from, sizeof(vector));
        return vector;
    }
    static void store(Value* to, const Type& vector) {
        __builtin_memcpy(to, &vector, sizeof(vector));
    }
};

/// An operation with its operands exchanged.
template <class Operation>
struct Turned {
    template <class Value>
    static Value of(Value a, Value b) {
        return Operation::of(b, a);
    }
};

/// Computes vector `part` of the `multiplicity` vectors of the result. Repeats each scalar for all
/// components of its element.
template <class Operation, class Value, int multiplicity, int part, int... lane>
void partByScalar(Value* result, const Value* left, const typename VectorOf<Value>::Type& scalars,
                  std::integer_sequence<int, lane...> /*lanes*/) {
    using Vector = VectorOf<Value>;
    constexpr int first = part * Vector::lanes;
    const typename Vector::Type spread =
        __builtin_shufflevector(scalars, scalars, ((first + lane) / multiplicity)...);
    Vector::store(result + first, Operation::of(Vector::load(left + first), spread));
}

template <class Operation, class Value, int multiplicity, int... part>
void elementsByScalar(Value* result, const Value* left, const Value* right,
                      std::integer_sequence<int, part...> /*parts*/) {
    using Vector = VectorOf<Value>;
    const typename Vector::Type scalars = Vector::load(right);
    (partByScalar<Operation, Value, multiplicity, part>(
         result, left, scalars, std::make_integer_sequence<int, Vector::lanes>()),
     ...);
}

template <class Operation, class Value, int multiplicity>
void vectorsByScalars(Byte* resultArea, const Byte* vectorArea, const Byte* scalarArea) {
    auto* const result = reinterpret_cast<Value*>(resultArea);
    const auto* const vectors = reinterpret_cast<const Value*>(vectorArea);
    const auto* const scalars = reinterpret_cast<const Value*>(scalarArea);
    for (int i = 0; i < boundElements(multiplicity); i += VectorOf<Value>::lanes)
        elementsByScalar<Operation, Value, multiplicity>(
            result + i * multiplicity, vectors + i * multiplicity, scalars + i,
            std::make_integer_sequence<int, multiplicity>());
}

/// Combines elements of `multiplicity` components on the left with one component for each element
/// on the right.
template <class Operation, class Value, int multiplicity>
void byScalar(const LoopAreas& areas) {
    vectorsByScalars<Operation, Value, multiplicity>(areas.result, areas.left, areas.right);
}
/// Does the same as `byScalar`, with the operands exchanged.
template <class Operation, class Value, int multiplicity>
void scalarBy(const LoopAreas& areas) {
    vectorsByScalars<Turned<Operation>, Value, multiplicity>(areas.result, areas.right, areas.left);
}

/// Divides in double, which holds every Int32 and never rounds a quotient past a whole number.
void divideInt32(const LoopAreas& areas) {
    auto* const __restrict result = reinterpret_cast<Int32*>(areas.result);
    Byte* const __restrict validity = areas.resultValidity;
    const auto* const __restrict left = reinterpret_cast<const Int32*>(areas.left);
    const auto* const __restrict right = reinterpret_cast<const Int32*>(areas.right);
    for (int i = 0; i < count; ++i) {
        const Int32 divisor = right[i];
        const auto quotient = static_cast<double>(left[i]) / static_cast<double>(divisor);
        result[i] = divisor == 0 ? 0 : static_cast<Int32>(quotient);
        validity[i] = divisor == 0 ? Byte{0} : validity[i];
    }
}

#ifdef __F16C__
#ifdef __AVX512F__
constexpr int halfLanes = 16;
// Unmasked intrinsics in the headers of g++ 12 cause warnings about values that they leave
// undefined.
constexpr __mmask16 all = 0xFFFF;
using Singles = __m512;
inline Singles widen(const Half* halves) {
    return _mm512_maskz_cvtph_ps(all, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(halves)));
}
inline void narrow(Half* halves, const Singles& singles) {
    _mm256_storeu_si256(
        reinterpret_cast<__m256i*>(halves),
        _mm512_maskz_cvtps_ph(all, singles, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
}
#else
constexpr int halfLanes = 8;
using Singles = __m256;
inline Singles widen(const Half* halves) {
    return _mm256_cvtph_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(halves)));
}
inline void narrow(Half* halves, const Singles& singles) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(halves),
                     _mm256_cvtps_ph(singles, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC));
}
#endif
#else
constexpr int halfLanes = 1;
using Singles = float;
inline Singles widen(const Half* half) {
    return halfToFloat32(*half);
}
inline void narrow(Half* half, float single) {
    *half = float32ToHalf(single);
}
#endif

inline Singles widen(const float* singles) {
    Singles wide;
    __builtin_memcpy(&wide, singles, sizeof(wide));
    return wide;
}
inline void narrow(float* singles, const Singles& wide) {
    __builtin_memcpy(singles, &wide, sizeof(wide));
}

/// An operation for Half and Float32, computed in Float32.
template <class Operation, class Result, class Left, class Right>
void throughSingles(const LoopAreas& areas) {
    auto* const __restrict result = reinterpret_cast<Result*>(areas.result);
    const auto* const __restrict left = reinterpret_cast<const Left*>(areas.left);
    const auto* const __restrict right = reinterpret_cast<const Right*>(areas.right);
    for (int i = 0; i < count; i += halfLanes)
        narrow(result + i, Operation::of(widen(left + i), widen(right + i)));
}

template <class To, class From>
void convertHalves(const LoopAreas& areas) {
    auto* const __restrict result = reinterpret_cast<To*>(areas.result);
    const auto* const __restrict left = reinterpret_cast<const From*>(areas.left);
    for (int i = 0; i < count; i += halfLanes)
        narrow(result + i, widen(left + i));
}

template <class To, class From>
void convertLanes(const LoopAreas& areas) {
    auto* const __restrict result = reinterpret_cast<To*>(areas.result);
    const auto* const __restrict left = reinterpret_cast<const From*>(areas.left);
    for (int i = 0; i < count; ++i)
        result[i] = static_cast<To>(left[i]);
}

inline Byte known(bool truth, Byte leftValidity, Byte rightValidity) {
    const bool isKnown = (leftValidity != 0) & (rightValidity != 0);
    return isKnown ? static_cast<Byte>(truth) : Byte{255};
}

template <class Left, class Right, class Common>
void less(const LoopAreas& areas) {
    Byte* const __restrict result = areas.result;
    const auto* const __restrict left = reinterpret_cast<const Left*>(areas.left);
    const auto* const __restrict right = reinterpret_cast<const Right*>(areas.right);
    const Byte* const __restrict leftValidity = areas.leftValidity;
    const Byte* const __restrict rightValidity = areas.rightValidity;
    for (int i = 0; i < count; ++i)
        result[i] = known(static_cast<Common>(left[i]) < static_cast<Common>(right[i]),
                          leftValidity[i], rightValidity[i]);
}

/// Marks unknown lanes in vector `part` of the result with 255. `known` has a byte for each
/// element, which is repeated over the element's components.
template <int multiplicity, int part, int... lane>
void hideUnknown(Byte* result, const VectorOf<Byte>::Type& known,
                 std::integer_sequence<int, lane...> /*lanes*/) {
    using Vector = VectorOf<Byte>;
    constexpr int first = part * Vector::lanes;
    const Vector::Type spread =
        __builtin_shufflevector(known, known, ((first + lane) / multiplicity)...);
    Vector::store(result + first, Vector::load(result + first) | ~spread);
}

template <int multiplicity, int... part>
void hideUnknownElements(Byte* result, const VectorOf<Byte>::Type& known,
                         std::integer_sequence<int, part...> /*parts*/) {
    (hideUnknown<multiplicity, part>(result, known,
                                     std::make_integer_sequence<int, VectorOf<Byte>::lanes>()),
     ...);
}

/// First compares all lanes as if they were known, then marks the unknown elements.
template <class Value, int multiplicity>
void lessOfVectors(const LoopAreas& areas) {
    using Vector = VectorOf<Byte>;
    constexpr int elements = boundElements(multiplicity);
    Byte* const __restrict result = areas.result;
    const auto* const __restrict left = reinterpret_cast<const Value*>(areas.left);
    const auto* const __restrict right = reinterpret_cast<const Value*>(areas.right);
    for (int i = 0; i < elements * multiplicity; ++i)
        result[i] = static_cast<Byte>(left[i] < right[i]);
    for (int i = 0; i < elements; i += Vector::lanes) {
        const auto known = (Vector::load(areas.leftValidity + i) != 0) &
                           (Vector::load(areas.rightValidity + i) != 0);
        Vector::Type bytes;
        __builtin_memcpy(&bytes, &known, sizeof(bytes));
        hideUnknownElements<multiplicity>(result + i * multiplicity, bytes,
                                          std::make_integer_sequence<int, multiplicity>());
    }
}

/// First converts halves to singles, enough at a time to make a separate loop worthwhile.
void lessHalves(const LoopAreas& areas) {
    constexpr int tile = 256;
    Byte* const __restrict result = areas.result;
    const auto* const __restrict left = reinterpret_cast<const Half*>(areas.left);
    const auto* const __restrict right = reinterpret_cast<const Half*>(areas.right);
    const Byte* const __restrict leftValidity = areas.leftValidity;
    const Byte* const __restrict rightValidity = areas.rightValidity;
    float leftSingles[tile];
    float rightSingles[tile];
    for (int first = 0; first < count; first += tile) {
        for (int i = 0; i < tile; i += halfLanes) {
            narrow(leftSingles + i, widen(left + first + i));
            narrow(rightSingles + i, widen(right + first + i));
        }
        for (int i = 0; i < tile; ++i)
            result[first + i] = known(leftSingles[i] < rightSingles[i], leftValidity[first + i],
                                      rightValidity[first + i]);
    }
}

template <class Map>
void onTruths(const LoopAreas& areas) {
    Byte* const __restrict result = areas.result;
    const Byte* const __restrict left = areas.left;
    const Byte* const __restrict right = areas.right;
    for (int i = 0; i < count; ++i)
        result[i] = Map::of(left[i], right[i]);
}

// Bytes other than 0, 1 and 255 have the same effect as in the kernels.
struct Both {
    static Byte of(Byte a, Byte b) {
        const Byte unless = (a == 255) | (b == 255) ? Byte{255} : Byte{1};
        return (a == 0) | (b == 0) ? Byte{0} : unless;
    }
};
struct Either {
    static Byte of(Byte a, Byte b) {
        const Byte unless = (a == 255) | (b == 255) ? Byte{255} : Byte{0};
        return (a == 1) | (b == 1) ? Byte{1} : unless;
    }
};
struct Inverse {
    static Byte of(Byte a, Byte /*b*/) {
        return static_cast<Byte>((a != 1) | (a == 255 ? 255 : 0));
    }
};

void isTrue(const LoopAreas& areas) {
    Byte* const __restrict result = areas.result;
    const Byte* const __restrict left = areas.left;
    const Byte* const __restrict validity = areas.leftValidity;
    for (int i = 0; i < count; ++i)
        result[i] = static_cast<Byte>((left[i] == 1) & (validity[i] != 0));
    __builtin_memset(areas.resultValidity, 1, count);
}

// Loops for Select read nothing of the arm that is not taken, as the kernels promise. A loop that
// reads both would not do the same work.

/// One element after another, each through an address from a table.
template <class Value, int multiplicity>
void chooseByAddress(Value* result, const Value* left, const Value* right, const Byte* condition,
                     int elements) {
    struct Element {
        Value components[static_cast<unsigned>(multiplicity)];
    };
    const Element nothing = {};
    const Value* const arms[] = {right, left, nothing.components};
    for (int i = 0; i < elements; ++i) {
        const bool isUnknown = condition[i] == 255;
        const Value* const taken = arms[isUnknown ? 2 : condition[i] == 1];
        Element element;
        __builtin_memcpy(&element, taken + (isUnknown ? 0 : i * multiplicity), sizeof(element));
        __builtin_memcpy(result + i * multiplicity, &element, sizeof(element));
    }
}

#if defined(__AVX512F__)
/// Chooses a vector of words with conditions of the same width.
inline void chooseVector(Int32* result, const Int32* left, const Int32* right,
                         const __m512i& condition) {
    const __mmask16 isTrue = _mm512_cmpeq_epi32_mask(condition, _mm512_set1_epi32(1));
    const __mmask16 isKnown = _mm512_cmpneq_epi32_mask(condition, _mm512_set1_epi32(255));
    const auto isFalse = static_cast<__mmask16>(isKnown & ~isTrue);
    _mm512_storeu_si512(
        result, _mm512_mask_loadu_epi32(_mm512_maskz_loadu_epi32(isTrue, left), isFalse, right));
}
inline void chooseVector(Int64* result, const Int64* left, const Int64* right,
                         const __m512i& condition) {
    const __mmask8 isTrue = _mm512_cmpeq_epi64_mask(condition, _mm512_set1_epi64(1));
    const __mmask8 isKnown = _mm512_cmpneq_epi64_mask(condition, _mm512_set1_epi64(255));
    const auto isFalse = static_cast<__mmask8>(isKnown & ~isTrue);
    _mm512_storeu_si512(
        result, _mm512_mask_loadu_epi64(_mm512_maskz_loadu_epi64(isTrue, left), isFalse, right));
}
inline __m512i widenConditions(const Byte* condition, Int32 /*word*/) {
    return _mm512_maskz_cvtepu8_epi32(0xFFFF,
                                      _mm_loadu_si128(reinterpret_cast<const __m128i*>(condition)));
}
inline __m512i widenConditions(const Byte* condition, Int64 /*word*/) {
    return _mm512_maskz_cvtepu8_epi64(0xFF,
                                      _mm_loadl_epi64(reinterpret_cast<const __m128i*>(condition)));
}
#elif defined(__AVX2__)
inline void chooseVector(Int32* result, const Int32* left, const Int32* right,
                         const __m256i& condition) {
    const __m256i isTrue = _mm256_cmpeq_epi32(condition, _mm256_set1_epi32(1));
    const __m256i isUnknown = _mm256_cmpeq_epi32(condition, _mm256_set1_epi32(255));
    const __m256i isFalse =
        _mm256_andnot_si256(_mm256_or_si256(isTrue, isUnknown), _mm256_set1_epi8(-1));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(result),
                        _mm256_or_si256(_mm256_maskload_epi32(left, isTrue),
                                        _mm256_maskload_epi32(right, isFalse)));
}
inline void chooseVector(Int64* result, const Int64* left, const Int64* right,
                         const __m256i& condition) {
    const __m256i isTrue = _mm256_cmpeq_epi64(condition, _mm256_set1_epi64x(1));
    const __m256i isUnknown = _mm256_cmpeq_epi64(condition, _mm256_set1_epi64x(255));
    const __m256i isFalse =
        _mm256_andnot_si256(_mm256_or_si256(isTrue, isUnknown), _mm256_set1_epi8(-1));
    const auto load = [](const Int64* from, const __m256i& mask) {
        return _mm256_maskload_epi64(reinterpret_cast<const long long*>(from), mask);
    };
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(result),
                        _mm256_or_si256(load(left, isTrue), load(right, isFalse)));
}
inline __m256i widenConditions(const Byte* condition, Int32 /*word*/) {
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(condition)));
}
inline __m256i widenConditions(const Byte* condition, Int64 /*word*/) {
    return _mm256_cvtepu8_epi64(_mm_loadu_si32(condition));
}
#endif

#ifdef __AVX2__
template <int part, int multiplicity, class Bits, class Conditions, int... lane>
void choosePart(Bits* result, const Bits* left, const Bits* right, const Conditions& conditions,
                std::integer_sequence<int, lane...> /*lanes*/) {
    using Vector = typename VectorOf<Bits>::Type;
    constexpr int first = part * VectorOf<Bits>::lanes;
    Vector words;
    __builtin_memcpy(&words, &conditions, sizeof(words));
    words = __builtin_shufflevector(words, words, ((first + lane) / multiplicity)...);
    Conditions spread;
    __builtin_memcpy(&spread, &words, sizeof(spread));
    chooseVector(result + first, left + first, right + first, spread);
}

template <int multiplicity, class Bits, int... part>
void chooseLanes(Bits* result, const Bits* left, const Bits* right, const Byte* condition,
                 std::integer_sequence<int, part...> /*parts*/) {
    constexpr int lanes = VectorOf<Bits>::lanes;
    for (int i = 0; i < boundElements(multiplicity); i += lanes) {
        const auto conditions = widenConditions(condition + i, Bits{});
        (choosePart<part, multiplicity>(result + i * multiplicity, left + i * multiplicity,
                                        right + i * multiplicity, conditions,
                                        std::make_integer_sequence<int, lanes>()),
         ...);
    }
}
#endif

void chooseValidity(const LoopAreas& areas, int elements) {
#ifdef __AVX512BW__
    for (int i = 0; i < elements; i += 64) {
        const __m512i condition = _mm512_loadu_si512(areas.condition + i);
        const __mmask64 isTrue = _mm512_cmpeq_epi8_mask(condition, _mm512_set1_epi8(1));
        const __mmask64 isKnown = _mm512_cmpneq_epi8_mask(condition, _mm512_set1_epi8(-1));
        const __m512i taken =
            _mm512_mask_loadu_epi8(_mm512_maskz_loadu_epi8(isTrue, areas.leftValidity + i),
                                   isKnown & ~isTrue, areas.rightValidity + i);
        _mm512_storeu_si512(areas.resultValidity + i, _mm512_min_epu8(taken, _mm512_set1_epi8(1)));
    }
#else
    chooseByAddress<Byte, 1>(areas.resultValidity, areas.leftValidity, areas.rightValidity,
                             areas.condition, elements);
    for (int i = 0; i < elements; ++i)
        areas.resultValidity[i] = areas.resultValidity[i] != 0;
#endif
}

template <class Bits, int multiplicity>
void choose(const LoopAreas& areas) {
    auto* const result = reinterpret_cast<Bits*>(areas.result);
    const auto* const left = reinterpret_cast<const Bits*>(areas.left);
    const auto* const right = reinterpret_cast<const Bits*>(areas.right);
#ifdef __AVX2__
    chooseLanes<multiplicity>(result, left, right, areas.condition,
                              std::make_integer_sequence<int, multiplicity>());
#else
    chooseByAddress<Bits, multiplicity>(result, left, right, areas.condition,
                                        boundElements(multiplicity));
#endif
    chooseValidity(areas, boundElements(multiplicity));
}

void negate(const LoopAreas& areas) {
    auto* const __restrict result = reinterpret_cast<float*>(areas.result);
    const auto* const __restrict left = reinterpret_cast<const float*>(areas.left);
    for (int i = 0; i < count; ++i)
        result[i] = -left[i];
}

/// An index of the shuffle that gathers component `number`: where lane `lane` of the result comes
/// from. That is vector `part` of the elements, or `taken` if another vector has the lane.
constexpr int placeOf(int lane, int number, int part, int lanes, int multiplicity) {
    const int place = lane * multiplicity + number;
    return place / lanes == part ? lanes + place % lanes : lane;
}

template <int multiplicity, int number, int part, int... lane>
void takeFrom(VectorOf<float>::Type& taken, const float* left,
              std::integer_sequence<int, lane...> /*lanes*/) {
    constexpr int lanes = VectorOf<float>::lanes;
    taken = __builtin_shufflevector(taken, VectorOf<float>::load(left + part * lanes),
                                    placeOf(lane, number, part, lanes, multiplicity)...);
}

template <int multiplicity, int number, int... part>
VectorOf<float>::Type componentOf(const float* left,
                                  std::integer_sequence<int, part...> /*parts*/) {
    VectorOf<float>::Type taken = VectorOf<float>::load(left);
    (takeFrom<multiplicity, number, part>(
         taken, left, std::make_integer_sequence<int, VectorOf<float>::lanes>()),
     ...);
    return taken;
}

/// Extracts component 1 of each element.
template <int multiplicity>
void component(const LoopAreas& areas) {
    auto* const result = reinterpret_cast<float*>(areas.result);
    const auto* const left = reinterpret_cast<const float*>(areas.left);
    for (int i = 0; i < boundElements(multiplicity); i += VectorOf<float>::lanes)
        VectorOf<float>::store(result + i, componentOf<multiplicity, 1>(
                                               left + i * multiplicity,
                                               std::make_integer_sequence<int, multiplicity>()));
}

void length(const LoopAreas& areas) {
    using Vector = VectorOf<float>;
    constexpr std::make_integer_sequence<int, 3> parts;
    auto* const result = reinterpret_cast<float*>(areas.result);
    const auto* const left = reinterpret_cast<const float*>(areas.left);
    for (int i = 0; i < boundElements(3); i += Vector::lanes) {
        const Vector::Type x = componentOf<3, 0>(left + i * 3, parts);
        const Vector::Type y = componentOf<3, 1>(left + i * 3, parts);
        const Vector::Type z = componentOf<3, 2>(left + i * 3, parts);
        float squares[Vector::lanes];
        Vector::store(squares, x * x + y * y + z * z);
        for (int k = 0; k < Vector::lanes; ++k)
            result[i + k] = __builtin_sqrtf(squares[k]);
    }
}

constexpr int touchedBytes = 16384;

/// Loads all operands with the widest vectors, and does nothing else.
void readBytes(const LoopAreas& areas) {
    using Vector = VectorOf<Int64>;
    const auto* const left = reinterpret_cast<const Int64*>(areas.left);
    Vector::Type sums[4] = {};
    for (int i = 0; i < touchedBytes / 8; i += 4 * Vector::lanes)
        for (int k = 0; k < 4; ++k)
            sums[k] |= Vector::load(left + i + k * Vector::lanes);
    Vector::store(reinterpret_cast<Int64*>(areas.result),
                  (sums[0] | sums[1]) | (sums[2] | sums[3]));
}

void numberElements(const LoopAreas& areas) {
    auto* const __restrict result = reinterpret_cast<Int64*>(areas.result);
    for (int i = 0; i < count; ++i)
        result[i] = i;
}

/// Whether all elements are valid and their numbers ascend by one.
void isOneRun(const LoopAreas& areas) {
    const auto* const left = reinterpret_cast<const Int64*>(areas.left);
    const Byte* const validity = areas.leftValidity;
    Int64 breaks = 0;
    for (int i = 0; i < count; ++i)
        breaks |= left[i] ^ (left[0] + i);
    Byte holes = 0;
    for (int i = 0; i < count; ++i)
        holes |= validity[i] == 0 ? 1 : 0;
    areas.result[0] = breaks == 0 && holes == 0;
}

void bothPresent(const LoopAreas& areas) {
    Byte* const __restrict result = areas.result;
    const Byte* const __restrict left = areas.leftValidity;
    const Byte* const __restrict right = areas.rightValidity;
    for (int i = 0; i < count; ++i)
        result[i] = static_cast<Byte>((left[i] != 0) & (right[i] != 0));
}

void allPresent(const LoopAreas& areas) {
    const Byte* const validity = areas.leftValidity;
    Byte others = 0;
    for (int i = 0; i < count; ++i)
        others |= validity[i] ^ 1;
    areas.result[0] = others == 0;
}

/// Stores all results with the widest vectors, and does nothing else.
void writeBytes(const LoopAreas& areas) {
    using Vector = VectorOf<Int64>;
    auto* const result = reinterpret_cast<Int64*>(areas.result);
    const Vector::Type zeros = {};
    for (int i = 0; i < touchedBytes / 8; i += Vector::lanes)
        Vector::store(result + i, zeros);
}

template <class Operation, class Result, class Left, class Right, int multiplicity = 1>
constexpr NamedLoop arithmeticLoop(const char* name) {
    constexpr int lanes = boundElements(multiplicity) * multiplicity;
    return {name, &arithmetic<Operation, Result, Left, Right, multiplicity>, lanes,
            lanes * static_cast<int>(sizeof(Left) + sizeof(Right)),
            lanes * static_cast<int>(sizeof(Result))};
}
template <class Operation, class Value, int multiplicity>
constexpr NamedLoop byScalarLoop(const char* name) {
    constexpr int size = boundElements(multiplicity) * static_cast<int>(sizeof(Value));
    return {name, &byScalar<Operation, Value, multiplicity>,
            boundElements(multiplicity) * multiplicity, (multiplicity + 1) * size,
            multiplicity * size};
}
template <class Operation, class Value, int multiplicity>
constexpr NamedLoop scalarByLoop(const char* name) {
    NamedLoop loop = byScalarLoop<Operation, Value, multiplicity>(name);
    loop.run = &scalarBy<Operation, Value, multiplicity>;
    return loop;
}
template <class Operation, class Result, class Left, class Right>
constexpr NamedLoop singlesLoop(const char* name) {
    return {name, &throughSingles<Operation, Result, Left, Right>, count,
            count * static_cast<int>(sizeof(Left) + sizeof(Right)),
            count * static_cast<int>(sizeof(Result))};
}
template <class To, class From>
constexpr NamedLoop conversionLoop(const char* name, void (*run)(const LoopAreas&)) {
    return {name, run, count, count * static_cast<int>(sizeof(From)),
            count * static_cast<int>(sizeof(To))};
}
template <class Left, class Right, class Common>
constexpr NamedLoop lessLoop(const char* name) {
    return {name, &less<Left, Right, Common>, count,
            count * static_cast<int>(sizeof(Left) + sizeof(Right) + 2), count};
}
template <class Value, int multiplicity>
constexpr NamedLoop lessLoopOfVectors(const char* name) {
    constexpr int elements = boundElements(multiplicity);
    return {name, &lessOfVectors<Value, multiplicity>, elements * multiplicity,
            elements * (2 * multiplicity * static_cast<int>(sizeof(Value)) + 2),
            elements * multiplicity};
}
template <class Bits, int multiplicity>
constexpr NamedLoop chooseLoop(const char* name) {
    constexpr int elements = boundElements(multiplicity);
    constexpr int size = multiplicity * static_cast<int>(sizeof(Bits));
    return {name, &choose<Bits, multiplicity>, elements * multiplicity, elements * (2 * size + 3),
            elements * (size + 1)};
}
template <int multiplicity>
constexpr NamedLoop componentLoop(const char* name) {
    constexpr int size = boundElements(multiplicity) * static_cast<int>(sizeof(float));
    return {name, &component<multiplicity>, boundElements(multiplicity), size * multiplicity, size};
}

} // namespace

extern const NamedLoop handLoops[];
const NamedLoop handLoops[] = {
    {"read", &readBytes, touchedBytes, touchedBytes, 0},
    {"write", &writeBytes, touchedBytes, 0, touchedBytes},
    arithmeticLoop<Add, float, float, float>("f32 + f32"),
    arithmeticLoop<Add, float, float, float, 3>("f32 + f32, x3"),
    arithmeticLoop<Add, float, float, float, 4>("f32 + f32, x4"),
    arithmeticLoop<Multiply, float, float, float>("f32 * f32"),
    arithmeticLoop<Divide, float, float, float>("f32 / f32"),
    byScalarLoop<Multiply, float, 2>("f32 * f32, x2 by scalar"),
    byScalarLoop<Multiply, float, 3>("f32 * f32, x3 by scalar"),
    byScalarLoop<Multiply, float, 4>("f32 * f32, x4 by scalar"),
    byScalarLoop<Divide, float, 3>("f32 / f32, x3 by scalar"),
    scalarByLoop<Divide, float, 3>("f32 scalar / f32, x3"),
    scalarByLoop<Multiply, float, 4>("f32 scalar * f32, x4"),
    arithmeticLoop<Add, double, double, double>("f64 + f64"),
    arithmeticLoop<Multiply, double, double, double>("f64 * f64"),
    arithmeticLoop<Divide, double, double, double>("f64 / f64"),
    byScalarLoop<Multiply, double, 3>("f64 * f64, x3 by scalar"),
    arithmeticLoop<Add, Int32, Int32, Int32>("i32 + i32"),
    arithmeticLoop<Multiply, Int32, Int32, Int32>("i32 * i32"),
    {"i32 / i32", &divideInt32, count, count * 9, count * 5},
    arithmeticLoop<Add, double, Int32, float>("i32 + f32 in f64"),
    arithmeticLoop<Multiply, float, float, Int32>("f32 * i32 in f32"),
    arithmeticLoop<Multiply, double, double, float>("f64 * f32 in f64"),
    arithmeticLoop<Add, float, double, float>("f64 + f32 in f32"),
    arithmeticLoop<Add, Int32, double, double>("f64 + f64 in i32"),
    singlesLoop<Add, Half, Half, Half>("half + half"),
    singlesLoop<Multiply, Half, Half, Half>("half * half"),
    singlesLoop<Multiply, float, Half, float>("half * f32 in f32"),
    lessLoop<Int32, Int32, Int32>("i32 < i32"),
    lessLoop<float, float, float>("f32 < f32"),
    lessLoopOfVectors<float, 3>("f32 < f32, x3"),
    lessLoop<double, double, double>("f64 < f64"),
    lessLoop<Int32, float, float>("i32 < f32"),
    lessLoop<float, double, double>("f32 < f64"),
    {"half < half", &lessHalves, count, count * 6, count},
    {"and", &onTruths<Both>, count, count * 2, count},
    {"or", &onTruths<Either>, count, count * 2, count},
    {"not", &onTruths<Inverse>, count, count, count},
    {"is true", &isTrue, count, count * 2, count * 2},
    chooseLoop<Int32, 1>("select f32, at random"),
    chooseLoop<Int32, 1>("select f32, in runs of 100"),
    chooseLoop<Int32, 3>("select f32, x3, at random"),
    chooseLoop<Int64, 1>("select f64, at random"),
    {"negate f32", &negate, count, count * 4, count * 4},
    {"length f32, x3", &length, boundElements(3), boundElements(3) * 12, boundElements(3) * 4},
    conversionLoop<float, Half>("half to f32", &convertHalves<float, Half>),
    conversionLoop<Half, float>("f32 to half", &convertHalves<Half, float>),
    conversionLoop<float, Int32>("i32 to f32", &convertLanes<float, Int32>),
    conversionLoop<Int32, float>("f32 to i32", &convertLanes<Int32, float>),
    conversionLoop<double, Int32>("i32 to f64", &convertLanes<double, Int32>),
    conversionLoop<double, float>("f32 to f64", &convertLanes<double, float>),
    conversionLoop<float, double>("f64 to f32", &convertLanes<float, double>),
    conversionLoop<Int32, Int64>("i64 to i32", &convertLanes<Int32, Int64>),
    conversionLoop<double, Int64>("i64 to f64", &convertLanes<double, Int64>),
    conversionLoop<Int64, double>("f64 to i64", &convertLanes<Int64, double>),
    componentLoop<2>("component of f32, x2"),
    componentLoop<3>("component of f32, x3"),
    componentLoop<4>("component of f32, x4"),
    {"element numbers", &numberElements, count, 0, count * 8},
    conversionLoop<Int64, Int32>("i32 to element numbers", &convertLanes<Int64, Int32>),
    {"numbers in one run?", &isOneRun, count, count * 9, 1},
    {"both valid", &bothPresent, count, count * 2, count},
    {"all valid?", &allPresent, count, count, 1},
    {nullptr, nullptr, 0, 0, 0},
};

} // namespace FENLET_TARGET
} // namespace Fenlet::Bench
