// Loads operands into vectors and stores vectors of results, with the conversion instructions of
// the set. Compilers do not emit these instructions for plain loops. For example, C++ does not
// define the cast of a float that does not fit into an integer, so plain loops must test the range
// first.
#pragma once

#include "kernels/conversions/working.h"
#include "kernels/lanes/vectors.h"
#include "kernels/target/instructions.h"

namespace Fenlet {
inline namespace FENLET_TARGET {

/// Loads a vector of an operand's lanes in the working type of `Result`. Defined for the pairs of
/// kinds below, in sets that have the instructions.
template <class Result, class From, class Set = WideLanes>
struct WideOperand;

template <class Set>
requires requires {
    Set::loadHalves(nullptr);
}
struct WideOperand<Half, Half, Set> {
    static auto load(const unsigned char* in) { return Set::loadHalves(in); }
};
template <class Set>
requires requires {
    Set::loadHalves(nullptr);
}
struct WideOperand<Half, float, Set> {
    static auto load(const unsigned char* in) { return Set::rounded(Set::loadFloats(in)); }
};
/// Rounds twice, first to binary32 and then to binary16. The result is still that of rounding once:
/// an integer that binary32 cannot hold exactly becomes infinite as a Half in any case.
template <class Set>
requires requires {
    Set::loadHalves(nullptr);
}
struct WideOperand<Half, std::int32_t, Set> {
    static auto load(const unsigned char* in) { return Set::rounded(Set::loadIntegers(in)); }
};
template <class Set>
requires requires {
    Set::loadHalves(nullptr);
}
struct WideOperand<float, Half, Set> : WideOperand<Half, Half, Set> {};
template <class Set>
requires requires {
    Set::loadHalves(nullptr);
}
struct WideOperand<float, float, Set> {
    static auto load(const unsigned char* in) { return Set::loadFloats(in); }
};
template <class Set>
requires requires {
    Set::loadHalves(nullptr);
}
struct WideOperand<float, std::int32_t, Set> {
    static auto load(const unsigned char* in) { return Set::loadIntegers(in); }
};
template <class Set>
requires requires {
    Set::truncated(Set::loadHalves(nullptr));
}
struct WideOperand<std::int32_t, Half, Set> {
    static auto load(const unsigned char* in) { return Set::truncated(Set::loadHalves(in)); }
};
template <class Set>
requires requires {
    Set::truncated(Set::loadFloats(nullptr));
}
struct WideOperand<std::int32_t, float, Set> {
    static auto load(const unsigned char* in) { return Set::truncated(Set::loadFloats(in)); }
};
template <class Set>
requires requires {
    Set::truncateDoubles(nullptr);
}
struct WideOperand<std::int32_t, double, Set> {
    static auto load(const unsigned char* in) { return Set::truncateDoubles(in); }
};
template <class Set>
requires requires {
    typename Set::Integers;
}
struct WideOperand<std::int32_t, std::int32_t, Set> {
    static auto load(const unsigned char* in) { return loadLane<typename Set::Integers>(in, 0); }
};

/// Stores a vector of the working type as lanes of the result.
template <class Result, class Set = WideLanes>
struct WideResult {
    template <class Vector>
    static void store(unsigned char* out, const Vector& value) {
        storeLane(out, 0, value);
    }
};
template <class Set>
requires requires {
    Set::loadHalves(nullptr);
}
struct WideResult<Half, Set> {
    template <class Vector>
    static void store(unsigned char* out, const Vector& value) {
        Set::storeHalves(out, bitCast<typename Set::Floats>(value));
    }
};

template <class Result, class From>
inline constexpr bool hasWideOperand = requires {
    WideOperand<Result, From>::load(nullptr);
};

/// Whether the conversion needs instructions that compilers do not emit for plain loops.
template <class Result, class From>
inline constexpr bool isHidden = isSame<Result, Half> || isSame<From, Half> ||
                                 (isSame<Result, std::int32_t> && !isInteger<From>);

/// Converts lanes of `From` to the working type of `Result`.
template <class Result, class From>
struct ConvertOperands {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        return forEachVector<lanesOfVector<Working<Result>>>(lanes, [=](std::int64_t i) {
            storeLane(out + i * std::int64_t{sizeof(Working<Result>)}, 0,
                      WideOperand<Result, From>::load(in + i * std::int64_t{sizeof(From)}));
        });
    }
};

/// Converts lanes of `From` to halves. The detour through binary32 does not change which values
/// become infinite.
template <class From>
struct NarrowToHalves {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        return forEachVector<lanesOfVector<float>>(lanes, [=](std::int64_t i) {
            WideResult<Half>::store(out + i * 2, WideOperand<float, From>::load(in + i * 4));
        });
    }
};

/// Converts floats to Int64: eight lanes at a time in sets that have an instruction for that,
/// otherwise one lane at a time.
template <class From, class Set = WideLanes>
struct TruncateToInt64 {
    static std::int64_t run(unsigned char* out, const unsigned char* in, std::int64_t lanes) {
        std::int64_t i = 0;
        if constexpr (requires { Set::truncateToInt64(nullptr, From{}); })
            for (; i + 8 <= lanes; i += 8)
                storeLane(out + i * 8, 0,
                          Set::truncateToInt64(in + i * std::int64_t{sizeof(From)}, From{}));
        for (; i < lanes; ++i)
            storeLane(out, i, Set::truncatedToInt64(loadLane<From>(in, i)));
        return lanes;
    }
};

template <class Result, class From>
requires(
    hasWideOperand<Result, From>&& isHidden<Result, From>) struct WideRun<ToWorking<Result, From>>
    : ConvertOperands<Result, From> {
};

template <class To, class From>
requires(!isSame<To, Half> && hasWideOperand<To, From> &&
         isHidden<To, From>) struct WideRun<Convert<To, From>> : ConvertOperands<To, From> {
};

template <class From>
requires(!isSame<From, Half> && hasWideOperand<Half, From>) struct WideRun<Convert<Half, From>>
    : NarrowToHalves<From> {
};

template <class From, class Set = WideLanes>
inline constexpr bool truncatesToInt64 = requires {
    Set::truncatedToInt64(From{});
};

template <class From>
requires(!isSame<From, Half> && !isInteger<From> &&
         truncatesToInt64<From>) struct WideRun<Convert<std::int64_t, From>>
    : TruncateToInt64<From> {
};

} // namespace FENLET_TARGET
} // namespace Fenlet
