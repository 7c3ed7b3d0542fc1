// Functions of numbers: signs, sorts of numbers, integers.
#include "formula_calls.h"

#include <limits>

namespace Fenlet::Formulas {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// A number that instructions of `format` can use, as one component.
Register scalar(Context& context, Format format, double value) {
    return context.writer.number(format, value);
}

/// The argument of a question about numbers, if it is one.
std::optional<Value> questioned(Context& context, const Call& call) {
    if (!takesNumbers(context, call))
        return std::nullopt;
    const std::optional<Meeting> meeting = context.meet(call.arguments, call.place);
    if (!meeting)
        return std::nullopt;
    return fixed(context, call.arguments[0], *meeting);
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

} // namespace

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

Value writeIsNan(Context& context, const Call& call) {
    const std::optional<Value> x = questioned(context, call);
    if (!x)
        return {};
    const Register held = context.writer.load(*x);
    return Context::madeTruth(context.writer.comparison(OpCode::NotEqual, held, held),
                              x->components, x->mayBeMissing, call.place);
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

} // namespace Fenlet::Formulas
