// The functions of a formula, in one table.
#pragma once

#include "formula_context.h"

#include <fenletir/formula.h>

#include <string_view>
#include <vector>

namespace Fenlet::Formulas {

/// A call, with at least `least` and at most `most` arguments, none of them bad.
struct Call {
    const FormulaFunction& function;
    const std::vector<Value>& arguments;
    SourceSpan place;
};

struct FunctionRow {
    FormulaFunction about;
    Value (*write)(Context& context, const Call& call);
};

/// The function of that name, or null.
const FunctionRow* findFunction(std::string_view name);

/// Why there is no function of a name that people expect; null if nobody does.
struct RefusedFunction {
    const char* name;
    const char* wrong;
    const char* right;
};
const RefusedFunction* findRefused(std::string_view name);

/// Parts of one component each, as one vector.
Value vectorOf(Context& context, const std::vector<Value>& parts, std::string_view user,
               SourceSpan place);

} // namespace Fenlet::Formulas
