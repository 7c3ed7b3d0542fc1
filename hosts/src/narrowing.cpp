// Conversion of a register's lanes to the kinds of arrays.
#include "narrowing.h"

#include "kernels/conversions/conversions.h"
#include "vocabulary/kinds.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace Fenlet {
namespace {

// ---------------------------------------------------------------------------------------------
// Which kinds hold which values

/// The range of a numeric kind.
struct NumberFacts {
    int integerBits = 0; ///< bits without the sign; 0 for floats
    bool isSigned = true;
    int exactBits = 0; ///< the kind holds every integer below 2 to this power
    int floatRank = 0; ///< floats of a higher rank hold all of a lower one; 0: integer
};

NumberFacts factsOf(ArrayKind kind) {
    switch (kind) {
    case ArrayKind::Int8:
        return {7, true, 7, 0};
    case ArrayKind::UInt8:
        return {8, false, 8, 0};
    case ArrayKind::Int16:
        return {15, true, 15, 0};
    case ArrayKind::UInt16:
        return {16, false, 16, 0};
    case ArrayKind::Int32:
        return {31, true, 31, 0};
    case ArrayKind::UInt32:
        return {32, false, 32, 0};
    case ArrayKind::Int64:
        return {63, true, 63, 0};
    case ArrayKind::Half:
        return {0, true, 11, 1};
    case ArrayKind::Float32:
        return {0, true, 24, 2};
    case ArrayKind::Float64:
        return {0, true, 53, 3};
    default:
        return {};
    }
}

} // namespace

Storing storingOf(ArrayKind to, CpuElementKind from) {
    if (elementSize(from) == 0 || componentSize(to) == 0)
        return Storing::Never;
    const bool isTruth = from == CpuElementKind::Tribool;
    if (isTruth != (registerKind(to) == CpuElementKind::Tribool))
        return Storing::Never;
    if (isTruth)
        return to == ArrayKind::Bool ? Storing::Some : Storing::All;
    const NumberFacts target = factsOf(to);
    const NumberFacts source = factsOf(arrayKind(from));
    if (source.floatRank != 0) {
        if (target.floatRank == 0)
            return Storing::ToWhole;
        return target.floatRank >= source.floatRank ? Storing::All : Storing::Some;
    }
    return target.isSigned && target.exactBits >= source.integerBits ? Storing::All : Storing::Some;
}

namespace {

// ---------------------------------------------------------------------------------------------
// Single lanes

template <class T>
inline constexpr bool isWhole = std::is_integral_v<T>;

template <class To>
inline To largestFinite(bool isNegative) {
    if constexpr (isSame<To, Half>)
        return Half{static_cast<std::uint16_t>(isNegative ? 0xFBFF : 0x7BFF)};
    else
        return isNegative ? -std::numeric_limits<To>::max() : std::numeric_limits<To>::max();
}

/// Integers modulo 2 to the power of the array's bits; floats rounded to nearest.
template <class To, class From>
struct Wrapped {
    using In = From;
    using Out = To;
    static To apply(From value) {
        if constexpr (isWhole<To>)
            return static_cast<To>(value);
        else
            return convert<To>(value);
    }
};

template <class To, class From>
struct Saturated {
    using In = From;
    using Out = To;
    static To apply(From value) {
        if constexpr (isWhole<To>) {
            constexpr std::int64_t most = std::numeric_limits<To>::max();
            constexpr std::int64_t least = std::is_signed_v<To> ? -most - 1 : 0;
            const std::int64_t wide = value;
            return static_cast<To>(wide < least ? least : wide > most ? most : wide);
        } else {
            const To rounded = convert<To>(value);
            const bool overflows =
                std::isinf(convert<double>(rounded)) && !std::isinf(static_cast<double>(value));
            return overflows ? largestFinite<To>(value < From{0}) : rounded;
        }
    }
};

/// Whether an array of `To` can hold the value under the rule `Narrowing::Missing`.
template <class To, class From>
struct Fits {
    using In = From;
    static bool apply(From value) {
        if constexpr (isWhole<To>) {
            const std::int64_t wide = value;
            return wide >= std::numeric_limits<To>::min() && wide <= std::numeric_limits<To>::max();
        } else if constexpr (isWhole<From>) {
            // The greatest integers round to 2 to the power 63, which does not fit into 64 bits.
            const auto rounded = convert<double>(convert<To>(value));
            return rounded >= -0x1p63 && rounded < 0x1p63 &&
                   static_cast<std::int64_t>(rounded) == value;
        } else {
            return !std::isinf(convert<double>(convert<To>(value))) ||
                   std::isinf(static_cast<double>(value));
        }
    }
};

constexpr Tribool unknown = 255;

template <bool unknownIsTrue>
struct KnownTruth {
    using In = Tribool;
    using Out = unsigned char;
    static unsigned char apply(Tribool value) { return unknownIsTrue ? value != 0 : value == 1; }
};

struct IsKnown {
    using In = Tribool;
    static bool apply(Tribool value) { return value <= 1; }
};

// ---------------------------------------------------------------------------------------------
// Runs

template <class Test>
void markFits(unsigned char* __restrict fits, const unsigned char* __restrict in,
              std::int64_t count, std::int64_t components) {
    using In = typename Test::In;
    if (components == 1) {
        for (std::int64_t i = 0; i < count; ++i)
            fits[i] = static_cast<unsigned char>(fits[i] & Test::apply(loadLane<In>(in, i)));
        return;
    }
    for (std::int64_t i = 0; i < count; ++i) {
        bool fitsWhole = true;
        for (std::int64_t c = 0; c < components; ++c)
            fitsWhole = fitsWhole && Test::apply(loadLane<In>(in, i * components + c));
        fits[i] = static_cast<unsigned char>(fits[i] & fitsWhole);
    }
}

template <class To, class From>
LaneStoring narrowed(Narrowing rule) {
    switch (rule) {
    case Narrowing::Wrap:
        return isWhole<To> ? LaneStoring{&mapRun<Wrapped<To, From>>, nullptr} : LaneStoring{};
    case Narrowing::Saturate:
        return {&mapRun<Saturated<To, From>>, nullptr};
    case Narrowing::Missing:
        return {&mapRun<Wrapped<To, From>>, &markFits<Fits<To, From>>};
    default:
        return {};
    }
}

/// Chooses the functions for an array kind that cannot hold every integer of type `From`.
template <class From>
LaneStoring narrowedInteger(ArrayKind to, Narrowing rule) {
    switch (to) {
    case ArrayKind::Int8:
        return narrowed<std::int8_t, From>(rule);
    case ArrayKind::UInt8:
        return narrowed<std::uint8_t, From>(rule);
    case ArrayKind::Int16:
        return narrowed<std::int16_t, From>(rule);
    case ArrayKind::UInt16:
        return narrowed<std::uint16_t, From>(rule);
    case ArrayKind::Int32:
        return narrowed<std::int32_t, From>(rule);
    case ArrayKind::UInt32:
        return narrowed<std::uint32_t, From>(rule);
    case ArrayKind::Half:
        return narrowed<Half, From>(rule);
    case ArrayKind::Float32:
        return narrowed<float, From>(rule);
    default:
        return narrowed<double, From>(rule);
    }
}

LaneStoring knownTruth(UnknownAs rule) {
    switch (rule) {
    case UnknownAs::False:
        return {&mapRun<KnownTruth<false>>, nullptr};
    case UnknownAs::True:
        return {&mapRun<KnownTruth<true>>, nullptr};
    case UnknownAs::Missing:
        return {&mapRun<KnownTruth<false>>, &markFits<IsKnown>};
    default:
        return {};
    }
}

} // namespace

LaneStoring laneStoring(ArrayKind to, CpuElementKind from, const OutputRules& rules) {
    const Storing storing = storingOf(to, from);
    if (storing == Storing::All)
        return {laneConversion(registerKind(to), from), nullptr};
    if (storing != Storing::Some)
        return {};
    switch (from) {
    case CpuElementKind::Tribool:
        return knownTruth(rules.unknown);
    case CpuElementKind::Int32:
        return narrowedInteger<std::int32_t>(to, rules.narrowing);
    case CpuElementKind::Int64:
        return narrowedInteger<std::int64_t>(to, rules.narrowing);
    case CpuElementKind::Float32:
        return narrowed<Half, float>(rules.narrowing);
    default:
        return to == ArrayKind::Half ? narrowed<Half, double>(rules.narrowing)
                                     : narrowed<float, double>(rules.narrowing);
    }
}

// ---------------------------------------------------------------------------------------------
// Fill values

namespace {

bool storeTruth(ArrayKind kind, const Constant& value, std::size_t component, unsigned char* lane) {
    if (value.integers.empty() && value.reals.empty()) {
        *lane = value.boolean;
        return value.boolean <= 1 || (value.boolean == unknown && kind == ArrayKind::Tribool);
    }
    const auto index = static_cast<std::int32_t>(component);
    *lane = value.realComponent(index) == 1 ? 1 : 0;
    return value.realComponent(index) == *lane;
}

} // namespace

bool storeConstant(ArrayKind kind, const Constant& value, std::size_t component,
                   unsigned char* lane) {
    if (registerKind(kind) == CpuElementKind::Tribool)
        return storeTruth(kind, value, component, lane);
    if (value.integers.empty() && value.reals.empty())
        return false;
    const auto index = static_cast<std::int32_t>(component);
    const double real = value.realComponent(index);
    const std::int64_t whole = value.integralComponent(index);
    const bool isWholeNumber =
        !value.integers.empty() || (real >= -0x1p63 && real < 0x1p63 && std::trunc(real) == real);
    const bool toFloat = factsOf(kind).floatRank != 0;
    if (!isWholeNumber && !toFloat)
        return false;

    OutputRules rules;
    rules.narrowing = Narrowing::Missing;
    unsigned char source[8];
    const bool fromInteger = !toFloat || !value.integers.empty();
    if (fromInteger)
        std::memcpy(source, &whole, sizeof whole);
    else
        std::memcpy(source, &real, sizeof real);
    const LaneStoring storing =
        laneStoring(kind, fromInteger ? CpuElementKind::Int64 : CpuElementKind::Float64, rules);
    unsigned char fits = 1;
    if (storing.mark != nullptr)
        storing.mark(&fits, source, 1, 1);
    storing.convert(lane, source, 1);
    return fits != 0;
}

} // namespace Fenlet
