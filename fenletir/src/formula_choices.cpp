// Functions that choose by presence or by comparison.
#include "formula_calls.h"

#include <cmath>

namespace Fenlet::Formulas {
namespace {

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

} // namespace

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

} // namespace Fenlet::Formulas
