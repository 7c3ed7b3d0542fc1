// The operators of a formula.
#pragma once

#include "formula_context.h"
#include "formula_tokens.h"

namespace Fenlet::Formulas {

/// `left mark right`; `place` is the whole of it.
Value binary(Context& context, Mark mark, const Value& left, const Value& right, SourceSpan place);
Value negated(Context& context, const Value& operand, SourceSpan place);
Value plus(Context& context, const Value& operand, SourceSpan place);
/// `mark` is `Not` or `Tilde`.
Value inverted(Context& context, Mark mark, const Value& operand, SourceSpan place);
Value power(Context& context, const Value& base, std::int32_t exponent, SourceSpan place);
Value componentOf(Context& context, const Value& vector, std::int32_t number, SourceSpan place);
Value cast(Context& context, const Value& operand, Format format, SourceSpan place);

/// Two numbers that went together, compared.
Register compared(Context& context, OpCode op, const Value& left, const Value& right,
                  const Meeting& meeting);
/// The product, quotient and so on of values that `side` loads.
Register computed(Context& context, OpCode op, const Value& left, const Value& right,
                  const Meeting& meeting);

} // namespace Fenlet::Formulas
