// The functions of a formula, one procedure for each. They are composed of instructions, exactly;
// docs/formulas.md says what each gives for NaN, both zeros, unknown and missing.
#pragma once

#include "formula_functions.h"
#include "formula_operators.h"

namespace Fenlet::Formulas {

// What they share.

/// Whether all arguments are numbers. Reports the first that is not.
bool takesNumbers(Context& context, const Call& call);
/// The arguments together, if all are numbers and arithmetic knows their format.
std::optional<Meeting> meetForArithmetic(Context& context, const Call& call);
/// An argument of the meeting's width, so that it is loaded and repeated only once.
Value fixed(Context& context, const Value& value, const Meeting& meeting);

// Presence and choices: formula_choices.cpp.
Value writePresent(Context& context, const Call& call);
Value writeCoalesce(Context& context, const Call& call);
Value writeWhere(Context& context, const Call& call);
Value writeMin(Context& context, const Call& call);
Value writeMax(Context& context, const Call& call);
Value writeClamp(Context& context, const Call& call);

// Signs, sorts of numbers and integers: formula_numbers.cpp.
Value writeAbs(Context& context, const Call& call);
Value writeSign(Context& context, const Call& call);
Value writeIsNan(Context& context, const Call& call);
Value writeIsInf(Context& context, const Call& call);
Value writeIsFinite(Context& context, const Call& call);
Value writeIsTrue(Context& context, const Call& call);
Value writeQuotient(Context& context, const Call& call);
Value writeRemainder(Context& context, const Call& call);

// Rounding: formula_rounding.cpp.
Value writeFloor(Context& context, const Call& call);
Value writeCeil(Context& context, const Call& call);
Value writeTrunc(Context& context, const Call& call);
Value writeRound(Context& context, const Call& call);

// Vectors: formula_vectors.cpp.
Value writeVec(Context& context, const Call& call);
Value writeLength(Context& context, const Call& call);
Value writeNormalize(Context& context, const Call& call);
Value writeDot(Context& context, const Call& call);

} // namespace Fenlet::Formulas
