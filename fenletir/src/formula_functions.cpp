// The table of functions, and of those that formulas cannot have.
#include "formula_calls.h"

#include <algorithm>
#include <iterator>

namespace Fenlet::Formulas {
namespace {

template <Format format>
Value writeCast(Context& context, const Call& call) {
    return cast(context, call.arguments[0], format, call.place);
}

constexpr int mostArguments = static_cast<int>(Values::mostArguments);

/// In alphabetical order.
constexpr FunctionRow functions[] = {
    {{"abs", "abs(x)", "the magnitude", 1, 1}, writeAbs},
    {{"ceil", "ceil(x)", "the next whole number up", 1, 1}, writeCeil},
    {{"clamp", "clamp(x, low, high)", "x, but not below low or above high", 3, 3}, writeClamp},
    {{"coalesce", "coalesce(x, y, ...)", "the first that is present", 2, mostArguments},
     writeCoalesce},
    {{"dot", "dot(v, w)", "the sum of the products of components", 2, 2}, writeDot},
    {{"f16", "f16(x)", "x rounded to Half", 1, 1}, writeCast<Format::Half>},
    {{"f32", "f32(x)", "x rounded to Float32", 1, 1}, writeCast<Format::Float32>},
    {{"f64", "f64(x)", "x rounded to Float64", 1, 1}, writeCast<Format::Float64>},
    {{"floor", "floor(x)", "the next whole number down", 1, 1}, writeFloor},
    {{"i32", "i32(x)", "x truncated to Int32", 1, 1}, writeCast<Format::Int32>},
    {{"i64", "i64(x)", "x truncated to Int64", 1, 1}, writeCast<Format::Int64>},
    {{"isfinite", "isfinite(x)", "whether x is neither infinite nor a NaN", 1, 1}, writeIsFinite},
    {{"isinf", "isinf(x)", "whether x is infinite", 1, 1}, writeIsInf},
    {{"isnan", "isnan(x)", "whether x is a NaN", 1, 1}, writeIsNan},
    {{"istrue", "istrue(c)", "whether c is true: neither false, unknown nor missing", 1, 1},
     writeIsTrue},
    {{"length", "length(v)", "the Euclidean length", 1, 1}, writeLength},
    {{"max", "max(x, y, ...)", "the greatest", 2, mostArguments}, writeMax},
    {{"min", "min(x, y, ...)", "the least", 2, mostArguments}, writeMin},
    {{"normalize", "normalize(v)", "v divided by its length", 1, 1}, writeNormalize},
    {{"present", "present(x)", "whether x is not missing", 1, 1}, writePresent},
    {{"quotient", "quotient(a, b)", "a / b of integers, toward zero; missing where b is 0", 2, 2},
     writeQuotient},
    {{"remainder", "remainder(a, b)", "a - quotient(a, b) * b; missing where b is 0", 2, 2},
     writeRemainder},
    {{"round", "round(x)", "the nearest whole number, ties to even", 1, 1}, writeRound},
    {{"shift", "shift(a, rows, columns)", "the element of the field a so far away", 2, 9}, nullptr},
    {{"sign", "sign(x)", "-1, 1, or x if it is a zero or a NaN", 1, 1}, writeSign},
    {{"trunc", "trunc(x)", "the next whole number toward zero", 1, 1}, writeTrunc},
    {{"vec", "vec(a, b, ...)", "a vector of these components", 2, mostArguments}, writeVec},
    {{"where", "where(c, a, b)", "a where c is true, b where it is false, else missing", 3, 3},
     writeWhere},
};

constexpr const char* notComposable = "cannot be put together exactly from the instructions";

constexpr RefusedFunction refused[] = {
    {"output", "names a line", "write output name = expression"},
    {"sqrt", notComposable, "declare a sampler, such as sampler sqrt(f32) : f32"},
    {"cbrt", notComposable, "declare a sampler, such as sampler cbrt(f32) : f32"},
    {"exp", notComposable, "declare a sampler, such as sampler exp(f32) : f32"},
    {"log", notComposable, "declare a sampler, such as sampler log(f32) : f32"},
    {"log2", notComposable, "declare a sampler, such as sampler log2(f32) : f32"},
    {"log10", notComposable, "declare a sampler, such as sampler log10(f32) : f32"},
    {"sin", notComposable, "declare a sampler, such as sampler sin(f32) : f32"},
    {"cos", notComposable, "declare a sampler, such as sampler cos(f32) : f32"},
    {"tan", notComposable, "declare a sampler, such as sampler tan(f32) : f32"},
    {"asin", notComposable, "declare a sampler, such as sampler asin(f32) : f32"},
    {"acos", notComposable, "declare a sampler, such as sampler acos(f32) : f32"},
    {"atan", notComposable, "declare a sampler, such as sampler atan(f32) : f32"},
    {"atan2", notComposable, "declare a sampler, such as sampler atan2(f32x2) : f32"},
    {"pow", "takes powers that cannot be put together from the instructions",
     "write x**n for a whole number n from 0 to 16"},
    {"power", "takes powers that cannot be put together from the instructions",
     "write x**n for a whole number n from 0 to 16"},
    {"hypot", "is no function", "write length(vec(x, y))"},
    {"sum", "goes over elements, and a formula sees one element at a time",
     "sum the output of the formula"},
    {"mean", "goes over elements, and a formula sees one element at a time",
     "average the output of the formula"},
    {"prod", "goes over elements, and a formula sees one element at a time",
     "multiply the output of the formula"},
    {"std", "goes over elements, and a formula sees one element at a time",
     "compute it from the output of the formula"},
    {"count", "goes over elements, and a formula sees one element at a time",
     "count in the output of the formula"},
    {"any", "goes over elements, and a formula sees one element at a time",
     "write v.x or v.y for the components of one"},
    {"all", "goes over elements, and a formula sees one element at a time",
     "write v.x and v.y for the components of one"},
    {"cumsum", "goes over elements, and a formula sees one element at a time",
     "sum the output of the formula"},
    {"mod", "is no function", "write remainder(a, b), which has the sign of a"},
    {"fmod", "is no function", "write remainder(a, b) for integers"},
    {"if", "is no function", "write where(condition, a, b)"},
    {"iif", "is no function", "write where(condition, a, b)"},
    {"select", "is no function", "write where(condition, a, b)"},
    {"rint", "is no function", "write round(x)"},
    {"fabs", "is no function", "write abs(x)"},
    {"isnull", "is no function", "write not present(x)"},
    {"isnone", "is no function", "write not present(x)"},
    {"cross", "is no function", "write vec(a.y * b.z - a.z * b.y, ...)"},
    {"norm", "is no function", "write length(v)"},
    {"i8", "is a kind of arrays, not of numbers in a formula", "write i32(x)"},
    {"i16", "is a kind of arrays, not of numbers in a formula", "write i32(x)"},
    {"tribool", "cannot turn a number into a truth value", "write x != 0"},
    {"bool", "cannot turn a number into a truth value", "write x != 0"},
};

} // namespace

bool takesNumbers(Context& context, const Call& call) {
    return context.areNumbers(call.arguments, call.function.name);
}

std::optional<Meeting> meetForArithmetic(Context& context, const Call& call) {
    if (!takesNumbers(context, call))
        return std::nullopt;
    const std::optional<Meeting> meeting = context.meet(call.arguments, call.place);
    if (meeting && !context.hasArithmetic(meeting->format, call.arguments[0], call.function.name))
        return std::nullopt;
    return meeting;
}

Value fixed(Context& context, const Value& value, const Meeting& meeting) {
    if (!value.isOpen() && value.components == meeting.components)
        return value;
    Meeting own = meeting;
    own.mayBeMissing = value.mayBeMissing;
    return Context::made(context.arm(value, meeting), own, value.place);
}

const FunctionRow* findFunction(std::string_view name) {
    const auto* const row =
        std::lower_bound(std::begin(functions), std::end(functions), name,
                         [](const FunctionRow& candidate, std::string_view wanted) {
                             return candidate.about.name < wanted;
                         });
    return row != std::end(functions) && row->about.name == name ? row : nullptr;
}

const RefusedFunction* findRefused(std::string_view name) {
    const auto* const row =
        std::find_if(std::begin(refused), std::end(refused),
                     [name](const RefusedFunction& candidate) { return candidate.name == name; });
    return row != std::end(refused) ? row : nullptr;
}

} // namespace Fenlet::Formulas

namespace Fenlet {

const std::vector<FormulaFunction>& formulaFunctions() {
    static const std::vector<FormulaFunction> all = [] {
        std::vector<FormulaFunction> list;
        for (const Formulas::FunctionRow& row : Formulas::functions)
            list.push_back(row.about);
        return list;
    }();
    return all;
}

} // namespace Fenlet
