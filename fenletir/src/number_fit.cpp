#include "formats.h"

#include <fenletir/number_fit.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

namespace Fenlet {
namespace {

constexpr double twoTo53 = 9007199254740992.0;

/// The highest number of an integer format.
std::int64_t highest(const FormatFacts& facts) {
    return static_cast<std::int64_t>((std::uint64_t{1} << facts.digits) - 1);
}
std::int64_t lowest(const FormatFacts& facts) {
    return -highest(facts) - 1;
}

/// The largest finite number of a float format.
double largest(const FormatFacts& facts) {
    return std::ldexp(std::ldexp(1.0, facts.digits) - 1, facts.exponent - facts.digits);
}

/// The smallest number that rounds to infinity: half a step above the largest finite one. For
/// Float64 this is infinity.
double overflowLimit(const FormatFacts& facts) {
    const double halfStep = std::ldexp(1.0, facts.exponent - facts.digits - 1);
    return largest(facts) + halfStep;
}

std::uint64_t magnitudeOf(std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    return value < 0 ? 0 - bits : bits;
}

/// `value` rounded to `digits` significant binary digits, ties to even. `value` is at most 2^63,
/// and so is the result.
std::uint64_t roundedToDigits(std::uint64_t value, int digits) {
    const int excess = static_cast<int>(std::bit_width(value)) - digits;
    if (excess <= 0)
        return value;
    const std::uint64_t kept = value >> excess;
    const std::uint64_t rest = value - (kept << excess);
    const std::uint64_t half = std::uint64_t{1} << (excess - 1);
    const bool isUp = rest > half || (rest == half && kept % 2 == 1);
    return (kept + isUp) << excess;
}

/// Whether `value` is a whole number below 2^53 in magnitude.
bool isExactInteger(double value) {
    return std::abs(value) < twoTo53 && value == std::trunc(value);
}

NumberFit fitIntoInteger(double value, const FormatFacts& facts) {
    if (std::isnan(value))
        return NumberFit::NoNumber;
    // The highest number plus 1 is a power of two, which a double holds exactly.
    const double limit = std::ldexp(1.0, facts.digits);
    if (value < -limit || value >= limit)
        return NumberFit::OutOfRange;
    return value == std::trunc(value) ? NumberFit::Fits : NumberFit::Fraction;
}

std::string realInWords(double value) {
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}

std::string rangeInWords(const FormatFacts& facts) {
    if (facts.sort == FormatSort::Float)
        return realInWords(-largest(facts)) + " to " + realInWords(largest(facts));
    return std::to_string(lowest(facts)) + " to " + std::to_string(highest(facts));
}

/// The property of the format that excludes the number, in words.
std::string limitsInWords(NumberFit fit, const FormatFacts& facts) {
    switch (fit) {
    case NumberFit::OutOfRange:
        return "holds " + rangeInWords(facts);
    case NumberFit::NoNumber:
    case NumberFit::Fraction:
        return "holds whole numbers";
    case NumberFit::Inexact:
        return "holds every whole number only up to " +
               std::to_string(std::uint64_t{1} << facts.digits);
    case NumberFit::Fits:
        break;
    }
    return "";
}

std::string endOfRange(bool isNegative, const FormatFacts& facts) {
    if (facts.sort == FormatSort::Float)
        return realInWords(isNegative ? -largest(facts) : largest(facts));
    return std::to_string(isNegative ? lowest(facts) : highest(facts));
}

/// The format's nearest number to an integer that does not fit.
std::string nearestToInteger(std::int64_t value, NumberFit fit, const FormatFacts& facts) {
    if (fit == NumberFit::OutOfRange)
        return endOfRange(value < 0, facts);
    const std::uint64_t rounded = roundedToDigits(magnitudeOf(value), facts.digits);
    return std::string(value < 0 ? "-" : "").append(std::to_string(rounded));
}

/// The format's nearest number to a real number that does not fit. Empty for a NaN, which has no
/// nearest number.
std::string nearestToReal(double value, NumberFit fit, const FormatFacts& facts) {
    if (fit == NumberFit::NoNumber)
        return "";
    if (fit == NumberFit::Inexact)
        return nearestToInteger(static_cast<std::int64_t>(value), fit, facts);
    // A fraction near the end of the range can round to a number outside the range.
    const double whole = std::nearbyint(value);
    if (fit == NumberFit::OutOfRange || fitIntoInteger(whole, facts) != NumberFit::Fits)
        return endOfRange(value < 0, facts);
    return std::to_string(static_cast<std::int64_t>(whole));
}

std::string misfitInWords(const std::string& value, NumberFit fit, RegisterFormat format,
                          const std::string& nearest) {
    return value + " does not fit into " + registerFormatName(format) + ", which " +
           limitsInWords(fit, factsOf(format)) +
           (nearest.empty() ? " and no NaN" : "; the nearest is " + nearest);
}

std::string noNumberInWords(const std::string& value, RegisterFormat format) {
    return value + " does not fit into " + registerFormatName(format) +
           ", which holds no numbers; use " +
           (isTribool(format) ? "false, true or unknown" : formatsInWords(isNumeric));
}

} // namespace

NumberFit fitOfInteger(std::int64_t value, RegisterFormat format) {
    const FormatFacts& facts = factsOf(format);
    switch (facts.sort) {
    case FormatSort::None:
    case FormatSort::Truth:
        return NumberFit::NoNumber;
    case FormatSort::Integer:
        return value < lowest(facts) || value > highest(facts) ? NumberFit::OutOfRange
                                                               : NumberFit::Fits;
    case FormatSort::Float:
        break;
    }
    // A double holds the limit exactly, so rounding `value` to a double does not move it across the
    // limit.
    if (std::abs(static_cast<double>(value)) >= overflowLimit(facts))
        return NumberFit::OutOfRange;
    const std::uint64_t magnitude = magnitudeOf(value);
    return roundedToDigits(magnitude, facts.digits) == magnitude ? NumberFit::Fits
                                                                 : NumberFit::Inexact;
}

NumberFit fitOfReal(double value, RegisterFormat format) {
    const FormatFacts& facts = factsOf(format);
    switch (facts.sort) {
    case FormatSort::None:
    case FormatSort::Truth:
        return NumberFit::NoNumber;
    case FormatSort::Integer:
        return fitIntoInteger(value, facts);
    case FormatSort::Float:
        break;
    }
    if (isExactInteger(value))
        return fitOfInteger(static_cast<std::int64_t>(value), format);
    const bool isBeyond = std::isfinite(value) && std::abs(value) >= overflowLimit(facts);
    return isBeyond ? NumberFit::OutOfRange : NumberFit::Fits;
}

std::string integerMisfit(std::int64_t value, RegisterFormat format) {
    const NumberFit fit = fitOfInteger(value, format);
    if (fit == NumberFit::Fits)
        return "";
    if (!isNumeric(format))
        return noNumberInWords(std::to_string(value), format);
    return misfitInWords(std::to_string(value), fit, format,
                         nearestToInteger(value, fit, factsOf(format)));
}

std::string realMisfit(double value, RegisterFormat format) {
    const NumberFit fit = fitOfReal(value, format);
    if (fit == NumberFit::Fits)
        return "";
    if (!isNumeric(format))
        return noNumberInWords(realInWords(value), format);
    return misfitInWords(realInWords(value), fit, format,
                         nearestToReal(value, fit, factsOf(format)));
}

} // namespace Fenlet
