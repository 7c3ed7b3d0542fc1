#include "formula_functions.h"

#include "formula_operators.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

// Every function that is no instruction is composed of instructions, exactly. docs/formulas.md says
// what each gives for NaN, both zeros, unknown and missing.

namespace Fenlet::Formulas {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// A number that instructions of `format` can use, as one component.
Register scalar(Context& context, Format format, double value) {
    return context.writer.number(format, value);
}

/// Reports numbers that functions do not take. `isFloatOnly` refuses integers, too.
bool takesNumbers(Context& context, const Call& call) {
    return context.areNumbers(call.arguments, call.function.name);
}

/// The arguments together, if all are numbers and arithmetic knows their format.
std::optional<Meeting> meetForArithmetic(Context& context, const Call& call) {
    if (!takesNumbers(context, call))
        return std::nullopt;
    const std::optional<Meeting> meeting = context.meet(call.arguments, call.place);
    if (meeting && !context.hasArithmetic(meeting->format, call.arguments[0], call.function.name))
        return std::nullopt;
    return meeting;
}

/// An argument of the meeting's width, so that it is loaded and repeated only once.
Value fixed(Context& context, const Value& value, const Meeting& meeting) {
    if (!value.isOpen() && value.components == meeting.components)
        return value;
    Meeting own = meeting;
    own.mayBeMissing = value.mayBeMissing;
    return Context::made(context.arm(value, meeting), own, value.place);
}

// ---------------------------------------------------------------------------------------------
// Presence

/// A comparison of the value with itself, which is unknown where it is missing.
Register selfEqual(Context& context, Register value) {
    return context.writer.comparison(OpCode::Equal, value, value);
}

/// True where the value is present, also where it is a NaN.
Register isPresent(Context& context, const Value& value) {
    Writer& writer = context.writer;
    if (value.sort == Value::Sort::Missing)
        return writer.truth(Truth::False);
    if (!value.mayBeMissing)
        return writer.truth(Truth::True);
    Register first = writer.load(value);
    if (value.components > 1)
        first = writer.component(first, 0, value.format);
    if (isTribool(value.format))
        return writer.isTrue(writer.logic(OpCode::Or, first, writer.truth(Truth::True)));
    Register known = selfEqual(context, first);
    if (isFloat(value.format))
        known = writer.logic(OpCode::Or, known, writer.comparison(OpCode::NotEqual, first, first));
    return writer.isTrue(known);
}

Value writePresent(Context& context, const Call& call) {
    return Context::madeTruth(isPresent(context, call.arguments[0]), 1, false, call.place);
}

Value writeCoalesce(Context& context, const Call& call) {
    const std::optional<Meeting> meeting = context.meetAsArms(call.arguments, call.place);
    if (!meeting)
        return {};
    // What comes after a choice that is never missing is not needed.
    std::size_t last = 0;
    while (last + 1 < call.arguments.size() && call.arguments[last].mayBeMissing)
        ++last;
    Value result = fixed(context, call.arguments[last], *meeting);
    for (std::size_t number = last; number-- > 0;) {
        const Value& choice = call.arguments[number];
        const Register chosen = context.arm(choice, *meeting);
        const Meeting either{meeting->format, meeting->components, result.mayBeMissing};
        const Register otherwise = context.writer.load(result);
        result = Context::made(
            context.writer.select(isPresent(context, choice), chosen, otherwise, either.format),
            either, call.place);
    }
    result.place = call.place;
    return result;
}

/// The value where another one is present, too.
Register whereAlsoPresent(Context& context, Register held, const Value& other,
                          const Meeting& meeting) {
    if (!other.mayBeMissing)
        return held;
    Register first = context.writer.load(other);
    if (other.components > 1)
        first = context.writer.component(first, 0, other.format);
    return context.writer.select(selfEqual(context, first), held, held, meeting.format);
}

// ---------------------------------------------------------------------------------------------
// Choices

Value writeWhere(Context& context, const Call& call) {
    const Value& question = call.arguments[0];
    const std::optional<Register> condition = context.condition(question, "where");
    if (!condition)
        return {};
    const std::vector<Value> arms(call.arguments.begin() + 1, call.arguments.end());
    std::optional<Meeting> meeting = context.meetAsArms(arms, call.place);
    if (!meeting)
        return {};
    const std::int32_t wide = question.isOpen() ? 1 : question.components;
    const bool isMatched = wide == 1 || wide == meeting->components;
    const bool canWiden = meeting->components == 1 && isArithmetic(meeting->format);
    if (!isMatched && !canWiden)
        return context.refuse(call.place,
                              "the condition has " + componentsInWords(wide) +
                                  " and its choices have " + std::to_string(meeting->components),
                              "choose one component of the condition, such as .x");
    meeting->components = std::max(meeting->components, wide);
    const Register yes = context.arm(arms[0], *meeting);
    const Register no = context.arm(arms[1], *meeting);
    meeting->mayBeMissing = meeting->mayBeMissing || question.mayBeMissing || question.mayBeUnknown;
    return Context::made(context.writer.select(*condition, yes, no, meeting->format), *meeting,
                         call.place);
}

/// The smaller or greater of two: the first of equals, and a number rather than a NaN.
Value extreme(Context& context, OpCode op, const Value& left, const Value& right,
              SourceSpan place) {
    const std::optional<Meeting> meeting = context.meetAsArms(Values(left, right), place);
    if (!meeting)
        return {};
    Writer& writer = context.writer;
    const Value a = fixed(context, left, *meeting);
    const Value b = fixed(context, right, *meeting);
    Register takesLeft = compared(context, op, a, b, *meeting);
    const bool isKnownNumber =
        right.sort == Value::Sort::Number && !std::isnan(right.literal.value());
    if (isFloat(b.format) && !isKnownNumber)
        takesLeft =
            writer.logic(OpCode::Or, takesLeft,
                         writer.comparison(OpCode::NotEqual, writer.load(b), writer.load(b)));
    return Context::made(writer.select(takesLeft, writer.load(a), writer.load(b), meeting->format),
                         *meeting, place);
}

Value fold(Context& context, OpCode op, const Call& call) {
    if (!takesNumbers(context, call) || !context.meetAsArms(call.arguments, call.place))
        return {};
    Value result = call.arguments[0];
    for (std::size_t number = 1; number < call.arguments.size() && !result.isBad(); ++number)
        result = extreme(context, op, result, call.arguments[number], call.place);
    return result;
}

Value writeMin(Context& context, const Call& call) {
    return fold(context, OpCode::LessEqual, call);
}

Value writeMax(Context& context, const Call& call) {
    return fold(context, OpCode::GreaterEqual, call);
}

Value writeClamp(Context& context, const Call& call) {
    if (!takesNumbers(context, call))
        return {};
    const std::optional<Meeting> meeting = context.meetAsArms(call.arguments, call.place);
    if (!meeting)
        return {};
    const Value x = fixed(context, call.arguments[0], *meeting);
    const Value low = fixed(context, call.arguments[1], *meeting);
    const Value high = fixed(context, call.arguments[2], *meeting);
    Writer& writer = context.writer;
    const Register isLow = compared(context, OpCode::Less, x, low, *meeting);
    const Register isHigh = compared(context, OpCode::Greater, x, high, *meeting);
    const Register notAbove =
        writer.select(isHigh, writer.load(high), writer.load(x), meeting->format);
    Register held = writer.select(isLow, writer.load(low), notAbove, meeting->format);
    // Where x is below `low`, nobody has looked at `high`.
    held = whereAlsoPresent(context, held, high, *meeting);
    return Context::made(held, *meeting, call.place);
}

// ---------------------------------------------------------------------------------------------
// Signs

// Not Negate, which would turn +0 into -0, and not Length, which overflows.
Value writeAbs(Context& context, const Call& call) {
    const std::optional<Meeting> meeting = meetForArithmetic(context, call);
    if (!meeting)
        return {};
    Writer& writer = context.writer;
    const Register x = context.arm(call.arguments[0], *meeting);
    const Register zero = scalar(context, meeting->format, 0);
    const Register isNegative = writer.comparison(OpCode::LessEqual, x, zero);
    const Register opposite = writer.arithmetic(OpCode::Subtract, zero, x, meeting->format);
    return Context::made(writer.select(isNegative, opposite, x, meeting->format), *meeting,
                         call.place);
}

Value writeSign(Context& context, const Call& call) {
    if (!takesNumbers(context, call))
        return {};
    const std::optional<Meeting> meeting = context.meet(call.arguments, call.place);
    if (!meeting)
        return {};
    Writer& writer = context.writer;
    const auto constant = [&](double value) {
        return writer.number(meeting->format, value, meeting->components);
    };
    const Register x = context.arm(call.arguments[0], *meeting);
    const Register zero = scalar(context, meeting->format, 0);
    const Register isNegative = writer.comparison(OpCode::Less, x, zero);
    const Register notPositive = writer.select(isNegative, constant(-1), x, meeting->format);
    const Register isPositive = writer.comparison(OpCode::Greater, x, zero);
    return Context::made(writer.select(isPositive, constant(1), notPositive, meeting->format),
                         *meeting, call.place);
}

// ---------------------------------------------------------------------------------------------
// Sorts of numbers. They are unknown where the number is missing.

/// The argument of a question about numbers, if it is one.
std::optional<Value> questioned(Context& context, const Call& call) {
    if (!takesNumbers(context, call))
        return std::nullopt;
    const std::optional<Meeting> meeting = context.meet(call.arguments, call.place);
    if (!meeting)
        return std::nullopt;
    return fixed(context, call.arguments[0], *meeting);
}

Value writeIsNan(Context& context, const Call& call) {
    const std::optional<Value> x = questioned(context, call);
    if (!x)
        return {};
    const Register held = context.writer.load(*x);
    return Context::madeTruth(context.writer.comparison(OpCode::NotEqual, held, held),
                              x->components, x->mayBeMissing, call.place);
}

/// Two comparisons with the infinities, joined.
Value withInfinities(Context& context, const Call& call, OpCode low, OpCode join, OpCode high,
                     OpCode forIntegers) {
    const std::optional<Value> x = questioned(context, call);
    if (!x)
        return {};
    Writer& writer = context.writer;
    const Register held = writer.load(*x);
    if (isInteger(x->format))
        return Context::madeTruth(writer.comparison(forIntegers, held, held), x->components,
                                  x->mayBeMissing, call.place);
    const Register a = writer.comparison(low, held, scalar(context, x->format, -infinity));
    const Register b = writer.comparison(high, held, scalar(context, x->format, infinity));
    return Context::madeTruth(writer.logic(join, a, b), x->components, x->mayBeMissing, call.place);
}

Value writeIsInf(Context& context, const Call& call) {
    return withInfinities(context, call, OpCode::Equal, OpCode::Or, OpCode::Equal,
                          OpCode::NotEqual);
}

Value writeIsFinite(Context& context, const Call& call) {
    return withInfinities(context, call, OpCode::Greater, OpCode::And, OpCode::Less, OpCode::Equal);
}

Value writeIsTrue(Context& context, const Call& call) {
    const Value& truth = call.arguments[0];
    if (truth.sort == Value::Sort::Missing)
        return Context::madeTruth(context.writer.truth(Truth::False), 1, false, call.place);
    if (!truth.isTruth())
        return context.refuse(truth.place,
                              "istrue takes a truth value, and " + context.describe(truth) +
                                  " is a number",
                              "write a comparison such as " + context.textOf(truth) + " != 0");
    return Context::madeTruth(context.writer.isTrue(context.writer.load(truth)), truth.components,
                              false, call.place);
}

// ---------------------------------------------------------------------------------------------
// Vectors

Value writeVec(Context& context, const Call& call) {
    return vectorOf(context, call.arguments, call.function.name, call.place);
}

Value writeLength(Context& context, const Call& call) {
    const std::optional<Meeting> meeting = meetForArithmetic(context, call);
    if (!meeting)
        return {};
    // An integer length would be truncated, and its sum would wrap around.
    const Format format = isFloat(meeting->format) ? meeting->format : Format::Float64;
    const Register vector = context.arm(call.arguments[0], *meeting);
    return Context::made(context.writer.length(vector, format), {format, 1, meeting->mayBeMissing},
                         call.place);
}

Value writeNormalize(Context& context, const Call& call) {
    const std::optional<Meeting> meeting = meetForArithmetic(context, call);
    if (!meeting)
        return {};
    if (!isFloat(meeting->format))
        return context.refuse(call.arguments[0].place, "normalize takes floats, not integers",
                              "write normalize(f64(" + context.textOf(call.arguments[0], "v") +
                                  "))");
    Writer& writer = context.writer;
    const Register vector = context.arm(call.arguments[0], *meeting);
    const Register length = writer.length(vector, meeting->format);
    return Context::made(writer.arithmetic(OpCode::Divide, vector, length, meeting->format),
                         *meeting, call.place);
}

Value writeDot(Context& context, const Call& call) {
    const std::optional<Meeting> meeting = meetForArithmetic(context, call);
    if (!meeting)
        return {};
    for (const Value& value : call.arguments)
        if (value.isOpen() || value.components != meeting->components)
            return context.refuse(call.place,
                                  "dot takes two vectors with the same number of components",
                                  "write a * b for a scalar");
    Writer& writer = context.writer;
    const Register products =
        computed(context, OpCode::Multiply, call.arguments[0], call.arguments[1], *meeting);
    Meeting result = *meeting;
    result.components = 1;
    if (meeting->components == 1)
        return Context::made(products, result, call.place);
    Register sum = writer.component(products, 0, meeting->format);
    for (std::int32_t number = 1; number < meeting->components; ++number)
        sum = writer.arithmetic(
            OpCode::Add, sum, writer.component(products, number, meeting->format), meeting->format);
    return Context::made(sum, result, call.place);
}

// ---------------------------------------------------------------------------------------------
// Rounding

/// What the four kinds of rounding share: numbers as large as `limit` are whole already.
struct Rounding {
    Context& context;
    Meeting meeting;
    Register x;
    double limit; ///< 2 to the power of the digits after the first
    SourceSpan place;

    Register constant(double value) const { return context.writer.number(meeting.format, value); }
    Register arithmetic(OpCode op, Register left, Register right) const {
        return context.writer.arithmetic(op, left, right, meeting.format);
    }
    Register compare(OpCode op, Register left, Register right) const {
        return context.writer.comparison(op, left, right);
    }
    Register choose(Register condition, Register yes, Register no) const {
        return context.writer.select(condition, yes, no, meeting.format);
    }

    /// x truncated, by way of Int64, which holds every number below `limit`. Its zeros are +0.
    Register truncated() const {
        const Value value = Context::made(x, meeting, place);
        Meeting whole = meeting;
        whole.format = Format::Int64;
        const Register integer = context.writer.convert(value, Format::Int64);
        return context.writer.convert(Context::made(integer, whole, place), meeting.format);
    }

    /// Below `limit` the rounded number, a zero with the sign of x; otherwise x, which is whole,
    /// infinite or a NaN.
    Value finished(Register rounded) const {
        const Register zero = constant(0);
        const Register signedZero = arithmetic(OpCode::Multiply, x, zero);
        const Register isZero = compare(OpCode::Equal, rounded, zero);
        const Register small = choose(isZero, signedZero, rounded);
        const Register isBelow = compare(OpCode::Less, x, constant(limit));
        const Register isAbove = compare(OpCode::Greater, x, constant(-limit));
        const Register isSmall = context.writer.logic(OpCode::And, isBelow, isAbove);
        return Context::made(choose(isSmall, small, x), meeting, place);
    }

    Value trunc() const { return finished(truncated()); }

    Value floor() const {
        const Register whole = truncated();
        const Register isAbove = compare(OpCode::Greater, whole, x);
        return finished(choose(isAbove, arithmetic(OpCode::Subtract, whole, constant(1)), whole));
    }

    Value ceil() const {
        const Register whole = truncated();
        const Register isBelow = compare(OpCode::Less, whole, x);
        return finished(choose(isBelow, arithmetic(OpCode::Add, whole, constant(1)), whole));
    }

    // Between `limit` and twice it, numbers are one apart, so an addition rounds to a whole number,
    // ties to even.
    Value round() const {
        const Register far = constant(limit);
        const Register up = arithmetic(OpCode::Subtract, arithmetic(OpCode::Add, x, far), far);
        const Register down = arithmetic(OpCode::Add, arithmetic(OpCode::Subtract, x, far), far);
        const Register isNegative = compare(OpCode::Less, x, constant(0));
        return finished(choose(isNegative, down, up));
    }
};

Value rounded(Context& context, const Call& call, Value (Rounding::*way)() const) {
    if (!takesNumbers(context, call))
        return {};
    std::optional<Meeting> meeting = context.meet(call.arguments, call.place);
    if (!meeting)
        return {};
    const Register x = context.arm(call.arguments[0], *meeting);
    if (isInteger(meeting->format)) {
        meeting->format = call.arguments[0].format;
        return Context::made(x, *meeting, call.place);
    }
    const double limit = std::ldexp(1.0, factsOf(meeting->format).digits - 1);
    return (Rounding{context, *meeting, x, limit, call.place}.*way)();
}

Value writeFloor(Context& context, const Call& call) {
    return rounded(context, call, &Rounding::floor);
}
Value writeCeil(Context& context, const Call& call) {
    return rounded(context, call, &Rounding::ceil);
}
Value writeTrunc(Context& context, const Call& call) {
    return rounded(context, call, &Rounding::trunc);
}
Value writeRound(Context& context, const Call& call) {
    return rounded(context, call, &Rounding::round);
}

// ---------------------------------------------------------------------------------------------
// Integers

/// Both arguments together, as integers.
std::optional<Meeting> meetAsIntegers(Context& context, const Call& call) {
    if (!takesNumbers(context, call))
        return std::nullopt;
    std::vector<Value> values = call.arguments;
    for (const Value& value : values)
        if (!value.isOpen() && (isFloat(value.format) || value.format == Format::Int64)) {
            context.refuse(value.place,
                           std::string(call.function.name) + " takes i32, and here is " +
                               context.describe(value),
                           "write i32(" + context.textOf(value) + ")" +
                               (isFloat(value.format) ? ", or trunc(a / b)" : ""));
            return std::nullopt;
        }
    // Two literals would meet as floats.
    if (values[0].isOpen() && values[1].isOpen())
        values[0] = cast(context, values[0], Format::Int32, values[0].place);
    return context.meet(values, call.place);
}

Value writeQuotient(Context& context, const Call& call) {
    std::optional<Meeting> meeting = meetAsIntegers(context, call);
    if (!meeting)
        return {};
    const Register held =
        computed(context, OpCode::Divide, call.arguments[0], call.arguments[1], *meeting);
    meeting->mayBeMissing = true;
    return Context::made(held, *meeting, call.place);
}

Value writeRemainder(Context& context, const Call& call) {
    std::optional<Meeting> meeting = meetAsIntegers(context, call);
    if (!meeting)
        return {};
    Writer& writer = context.writer;
    const Value a = fixed(context, call.arguments[0], *meeting);
    const Value b = fixed(context, call.arguments[1], *meeting);
    const Register quotient = computed(context, OpCode::Divide, a, b, *meeting);
    const Register product =
        writer.arithmetic(OpCode::Multiply, quotient, writer.load(b), meeting->format);
    meeting->mayBeMissing = true;
    return Context::made(
        writer.arithmetic(OpCode::Subtract, writer.load(a), product, meeting->format), *meeting,
        call.place);
}

// ---------------------------------------------------------------------------------------------
// Kinds

template <Format format>
Value writeCast(Context& context, const Call& call) {
    return cast(context, call.arguments[0], format, call.place);
}

// ---------------------------------------------------------------------------------------------
// The table

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
    {"tribool", "turns no number into a truth value", "write x != 0"},
    {"bool", "turns no number into a truth value", "write x != 0"},
};

} // namespace

Value vectorOf(Context& context, const std::vector<Value>& parts, std::string_view user,
               SourceSpan place) {
    if (!context.areNumbers(parts, user))
        return {};
    for (const Value& part : parts)
        if (part.components != 1)
            return context.refuse(part.place,
                                  std::string(user) + " takes single numbers, and " +
                                      context.describe(part) + " has several components",
                                  "choose one, such as .x");
    std::optional<Meeting> meeting = context.meet(parts, place);
    if (!meeting || !context.hasArithmetic(meeting->format, parts[0], user))
        return {};
    const auto count = static_cast<std::int32_t>(parts.size());
    meeting->components = count;
    Writer& writer = context.writer;
    // Literals become one constant. A mask takes each other part from its repetition, so that
    // nothing is computed.
    std::vector<Literal> literals(parts.size());
    bool hasLiteral = false;
    for (std::size_t number = 0; number < parts.size(); ++number)
        if (parts[number].sort == Value::Sort::Number) {
            literals[number] = parts[number].literal;
            hasLiteral = true;
        }
    Register held =
        hasLiteral ? writer.vector(meeting->format, literals) : context.arm(parts[0], *meeting);
    for (std::int32_t number = hasLiteral ? 0 : 1; number < count; ++number) {
        const Value& part = parts[static_cast<std::size_t>(number)];
        if (part.sort == Value::Sort::Number)
            continue;
        const Register repeated = context.arm(part, *meeting);
        held = writer.select(writer.unitMask(count, number), repeated, held, meeting->format);
    }
    return Context::made(held, *meeting, place);
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
