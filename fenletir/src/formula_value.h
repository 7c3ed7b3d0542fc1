// The value of an expression while a formula is compiled.
#pragma once

#include "formats.h"

#include <fenletir/diagnostic.h>
#include <fenletir/program_builder.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

namespace Fenlet::Formulas {

/// A number as written. It takes the format of what it meets.
struct Literal {
    bool isWhole = false; ///< written without point and exponent: `magnitude` is exact
    bool isNegative = false;
    std::uint64_t magnitude = 0;
    double real = 0; ///< unless `isWhole`

    double value() const {
        const double size = isWhole ? static_cast<double>(magnitude) : real;
        // A whole number has no negative zero.
        return isNegative && !(isWhole && magnitude == 0) ? -size : size;
    }
    /// Nothing for a number that is not whole or beyond 64 bits.
    std::optional<std::int64_t> integer() const {
        constexpr std::uint64_t limit = std::uint64_t{1} << 63;
        if (!isWhole || magnitude > limit || (magnitude == limit && !isNegative))
            return std::nullopt;
        return static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude);
    }
    static Literal ofReal(double value) {
        Literal literal;
        literal.isNegative = std::signbit(value);
        literal.real = std::abs(value);
        return literal;
    }
};

struct Value {
    enum class Sort {
        Bad,      ///< an error is reported; whatever uses it is silent
        Number,   ///< `literal`
        Missing,  ///< the word, which takes the format of what it meets
        Index,    ///< the number of the element: Float64, loaded when it is needed
        Register, ///< `held`
    };
    Sort sort = Sort::Bad;
    Literal literal;
    Register held;
    Format format = Format::Float64;
    std::int32_t components = 1;
    bool mayBeMissing = false; ///< whether an element can have no value
    bool mayBeUnknown = false; ///< of a Tribool: whether it can be unknown where it is present
    SourceSpan place;

    bool isBad() const { return sort == Sort::Bad; }
    /// Whether its format follows from what it meets.
    bool isOpen() const { return sort == Sort::Number || sort == Sort::Missing; }
    bool isTruth() const { return sort == Sort::Register && isTribool(format); }
    /// Whether it is a number of a format; `Missing` is neither a number nor a truth value.
    bool isFixedNumber() const {
        return sort == Sort::Index || (sort == Sort::Register && !isTribool(format));
    }
    bool isNumber() const { return sort == Sort::Number || isFixedNumber(); }
};

// What formats become when they meet.

/// Int8 and Int16 describe arrays; a formula computes with them in Int32.
inline Format working(Format format) {
    return format == Format::Int8 || format == Format::Int16 ? Format::Int32 : format;
}

/// The smallest format that holds every number of both; nothing if there is none, as for Int64
/// beside a float.
inline std::optional<Format> commonFormat(Format a, Format b) {
    if (isInteger(a) && isInteger(b))
        return a == Format::Int64 || b == Format::Int64 ? Format::Int64 : Format::Int32;
    for (const Format format : {Format::Half, Format::Float32, Format::Float64})
        if (factsOf(format).digits >= factsOf(a).digits &&
            factsOf(format).digits >= factsOf(b).digits)
            return format;
    return std::nullopt;
}

inline bool isFloat(Format format) {
    return factsOf(format).sort == FormatSort::Float;
}

/// `f32`, `i32x3`
std::string kindText(Format format, std::int32_t components);

} // namespace Fenlet::Formulas
