// Whether a number keeps its value as a constant of a format.
#pragma once

#include <fenletir/export.h>
#include <fenletir/program.h>

#include <cstdint>
#include <string>

namespace Fenlet {

/// Why a number does not fit into a format.
enum class NumberFit : std::int32_t {
    Fits = 0,
    NoNumber = 1,   ///< the format is Tribool, or an integer format and the value is a NaN
    OutOfRange = 2, ///< beyond the format's range; a float would become infinite
    Fraction = 3,   ///< not whole, and the format is an integer format
    Inexact = 4,    ///< whole, and the format cannot hold it exactly
};

/// Whether `value` fits into `format`.
///
/// - Whole numbers fit into an integer format if they are within its range. -0.0 is a whole number.
/// - Infinities, NaNs and fractions that do not round to an infinity fit into a float format.
/// - Whole numbers fit into a float format only if it holds them exactly: 16777217 does not fit
///   into Float32. Real numbers of magnitude 2^53 or more, such as 1e30, are rounded instead: every
///   double of this size is whole, so a whole value does not mean that the caller wants it exact.
FENLETIR_API NumberFit fitOfInteger(std::int64_t value, RegisterFormat format);
FENLETIR_API NumberFit fitOfReal(double value, RegisterFormat format);

/// Why `value` does not fit, and the nearest number that does, for a message: "300 does not fit
/// into Int8, which holds -128 to 127; the nearest is 127". Empty if it fits.
FENLETIR_API std::string integerMisfit(std::int64_t value, RegisterFormat format);
FENLETIR_API std::string realMisfit(double value, RegisterFormat format);

} // namespace Fenlet
