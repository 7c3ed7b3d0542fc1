// The four ways to round to a whole number.
#include "formula_calls.h"

#include <cmath>

namespace Fenlet::Formulas {
namespace {

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

} // namespace

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

} // namespace Fenlet::Formulas
