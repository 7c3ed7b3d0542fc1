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
    NoNumber = 1,   ///< the format is Tribool or no format, or the number is a NaN for integers
    OutOfRange = 2, ///< beyond the format's range; a float would become infinite
    Fraction = 3,   ///< not whole, and the format is one of integers
    Inexact = 4,    ///< whole, and the format has only numbers near it
};

/// Whether `value` fits into `format`. An integer format takes the whole numbers of its range, -0.0
/// among them. A float format takes everything within its range, infinities and NaNs, and rounds
/// fractions. But it takes a whole number only if it holds it exactly, so that 16777217 does not
/// fit into Float32. This is not asked of a real number from 2 to the power 53 on, such as 1e30:
/// all of these are whole, so that nothing says that it was meant to the unit.
FENLETIR_API NumberFit fitOfInteger(std::int64_t value, RegisterFormat format);
FENLETIR_API NumberFit fitOfReal(double value, RegisterFormat format);

/// Why `value` does not fit, and the nearest number that does, for a message: "300 does not fit
/// into Int8, which holds -128 to 127; the nearest is 127". Empty if it fits.
FENLETIR_API std::string integerMisfit(std::int64_t value, RegisterFormat format);
FENLETIR_API std::string realMisfit(double value, RegisterFormat format);

} // namespace Fenlet
