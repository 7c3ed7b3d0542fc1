#include "formula_operators.h"

#include <cmath>
#include <limits>

namespace Fenlet::Formulas {
namespace {

const char* quotedMark(Mark mark) {
    switch (mark) {
    case Mark::Plus:
        return "\"+\"";
    case Mark::Minus:
        return "\"-\"";
    case Mark::Times:
        return "\"*\"";
    case Mark::Over:
        return "\"/\"";
    case Mark::Power:
        return "\"**\"";
    case Mark::Less:
        return "\"<\"";
    case Mark::LessEqual:
        return "\"<=\"";
    case Mark::Greater:
        return "\">\"";
    case Mark::GreaterEqual:
        return "\">=\"";
    case Mark::Equal:
        return "\"==\"";
    case Mark::NotEqual:
        return "\"!=\"";
    case Mark::Ampersand:
        return "\"&\"";
    case Mark::Bar:
        return "\"|\"";
    case Mark::Tilde:
        return "\"~\"";
    case Mark::And:
        return "\"and\"";
    case Mark::Or:
        return "\"or\"";
    default:
        return "\"not\"";
    }
}

OpCode opCodeOf(Mark mark) {
    switch (mark) {
    case Mark::Plus:
        return OpCode::Add;
    case Mark::Minus:
        return OpCode::Subtract;
    case Mark::Times:
        return OpCode::Multiply;
    case Mark::Over:
        return OpCode::Divide;
    case Mark::Less:
        return OpCode::Less;
    case Mark::LessEqual:
        return OpCode::LessEqual;
    case Mark::Greater:
        return OpCode::Greater;
    case Mark::GreaterEqual:
        return OpCode::GreaterEqual;
    case Mark::Equal:
        return OpCode::Equal;
    case Mark::NotEqual:
        return OpCode::NotEqual;
    case Mark::And:
    case Mark::Ampersand:
        return OpCode::And;
    default:
        return OpCode::Or;
    }
}

Value numberOf(double result, SourceSpan place) {
    Value value;
    value.sort = Value::Sort::Number;
    // Which NaN comes out depends on the processor; a literal has only one.
    value.literal =
        Literal::ofReal(std::isnan(result) ? std::numeric_limits<double>::quiet_NaN() : result);
    value.place = place;
    return value;
}

Value missingAt(SourceSpan place) {
    Value value;
    value.sort = Value::Sort::Missing;
    value.mayBeMissing = true;
    value.place = place;
    return value;
}

double folded(OpCode op, double left, double right) {
    switch (op) {
    case OpCode::Add:
        return left + right;
    case OpCode::Subtract:
        return left - right;
    case OpCode::Multiply:
        return left * right;
    default:
        return left / right;
    }
}

bool isOpen(const Value& left, const Value& right) {
    return left.isOpen() && right.isOpen();
}

/// Two literals are computed in Float64 and stay a literal.
Value foldedLiterals(Context& context, OpCode op, const Value& left, const Value& right,
                     SourceSpan place) {
    if (left.sort == Value::Sort::Missing || right.sort == Value::Sort::Missing)
        return missingAt(place);
    if (!context.fits(left, Format::Float64, nullptr) ||
        !context.fits(right, Format::Float64, nullptr))
        return {};
    return numberOf(folded(op, left.literal.value(), right.literal.value()), place);
}

Value arithmetic(Context& context, Mark mark, const Value& left, const Value& right,
                 SourceSpan place) {
    if (!context.areNumbers(Values(left, right), quotedMark(mark)))
        return {};
    const OpCode op = opCodeOf(mark);
    if (isOpen(left, right))
        return foldedLiterals(context, op, left, right, place);
    for (const Value* value : {&left, &right})
        if (!value->isOpen() && !context.hasArithmetic(value->format, *value, quotedMark(mark)))
            return {};
    // A quotient of integers keeps its fraction, so its literal need not be whole either.
    if (op == OpCode::Divide && (left.isOpen() || right.isOpen())) {
        const Value& number = left.isOpen() ? left : right;
        const Value& fixed = left.isOpen() ? right : left;
        if (isInteger(fixed.format)) {
            if (number.sort == Value::Sort::Number &&
                !context.fits(number, Format::Float64, nullptr))
                return {};
            const Meeting meeting{Format::Float64, fixed.components,
                                  left.mayBeMissing || right.mayBeMissing};
            return Context::made(computed(context, op, left, right, meeting), meeting, place);
        }
    }
    std::optional<Meeting> meeting = context.meet(Values(left, right), place);
    if (!meeting)
        return {};
    if (op == OpCode::Divide && isInteger(meeting->format))
        meeting->format = Format::Float64;
    return Context::made(computed(context, op, left, right, *meeting), *meeting, place);
}

/// Comparisons that are the same for every element, and seldom meant.
bool isPointless(Context& context, Mark mark, const Value& left, const Value& right,
                 SourceSpan place) {
    for (const auto& [word, other] : {std::pair(&left, &right), std::pair(&right, &left)}) {
        if (word->sort == Value::Sort::Missing) {
            context.refuse(place, "a comparison with missing is unknown for every element",
                           std::string(mark == Mark::NotEqual ? "write " : "write not ") +
                               "present(" + context.textOf(*other) + ")");
            return true;
        }
        const bool isNan = word->sort == Value::Sort::Number && std::isnan(word->literal.value());
        if (isNan && (mark == Mark::Equal || mark == Mark::NotEqual)) {
            context.refuse(place, "NaN equals nothing, not even NaN",
                           std::string("write ") + (mark == Mark::NotEqual ? "not " : "") +
                               "isnan(" + context.textOf(*other) + ")");
            return true;
        }
    }
    return false;
}

Value comparison(Context& context, Mark mark, const Value& left, const Value& right,
                 SourceSpan place) {
    if (left.isBad() || right.isBad())
        return {};
    if (left.isTruth() || right.isTruth())
        return context.refuse(place,
                              std::string(quotedMark(mark)) + " compares numbers, and " +
                                  context.describe(left.isTruth() ? left : right) +
                                  " is a truth value",
                              "write a and b, a or b, not a");
    if (isPointless(context, mark, left, right, place))
        return {};
    const std::optional<Meeting> meeting = context.meet(Values(left, right), place);
    if (!meeting)
        return {};
    return Context::madeTruth(compared(context, opCodeOf(mark), left, right, *meeting),
                              meeting->components, meeting->mayBeMissing, place);
}

Value logic(Context& context, Mark mark, const Value& left, const Value& right, SourceSpan place) {
    if (left.isBad() || right.isBad())
        return {};
    if (left.isTruth() && right.isTruth() && left.components != right.components)
        return context.refuse(place,
                              context.describe(left) + " and " + context.describe(right) +
                                  " have different numbers of components",
                              "choose one component, such as .x");
    const std::int32_t components = left.isTruth() ? left.components : right.components;
    const std::optional<Register> a = context.condition(left, quotedMark(mark), components);
    const std::optional<Register> b =
        a ? context.condition(right, quotedMark(mark), components) : std::nullopt;
    if (!b)
        return {};
    const auto mayBeUnknown = [](const Value& value) {
        return value.mayBeUnknown || value.mayBeMissing;
    };
    return Context::madeTruth(context.writer.logic(opCodeOf(mark), *a, *b), components,
                              mayBeUnknown(left) || mayBeUnknown(right), place);
}

} // namespace

Register compared(Context& context, OpCode op, const Value& left, const Value& right,
                  const Meeting& meeting) {
    const Register a = context.side(left, meeting);
    return context.writer.comparison(op, a, context.side(right, meeting));
}

Register computed(Context& context, OpCode op, const Value& left, const Value& right,
                  const Meeting& meeting) {
    // The instruction converts its operands.
    const auto operand = [&](const Value& value) {
        return value.isOpen() ? context.side(value, meeting) : context.writer.load(value);
    };
    const Register a = operand(left);
    return context.writer.arithmetic(op, a, operand(right), meeting.format);
}

Value binary(Context& context, Mark mark, const Value& left, const Value& right, SourceSpan place) {
    context.writer.setPlace(place);
    switch (mark) {
    case Mark::Plus:
    case Mark::Minus:
    case Mark::Times:
    case Mark::Over:
        return arithmetic(context, mark, left, right, place);
    case Mark::Less:
    case Mark::LessEqual:
    case Mark::Greater:
    case Mark::GreaterEqual:
    case Mark::Equal:
    case Mark::NotEqual:
        return comparison(context, mark, left, right, place);
    default:
        return logic(context, mark, left, right, place);
    }
}

Value negated(Context& context, const Value& operand, SourceSpan place) {
    if (operand.isTruth())
        return context.refuse(
            place, "\"-\" takes a number, and " + context.describe(operand) + " is a truth value",
            "write not " + context.textOf(operand, "c"));
    if (operand.isBad())
        return {};
    Value result = operand;
    result.place = place;
    if (operand.sort == Value::Sort::Number)
        result.literal.isNegative = !operand.literal.isNegative;
    if (operand.isOpen())
        return result;
    if (!context.hasArithmetic(operand.format, operand, "\"-\""))
        return {};
    context.writer.setPlace(place);
    const Meeting meeting{working(operand.format), operand.components, operand.mayBeMissing};
    return Context::made(context.writer.negate(context.writer.load(operand), meeting.format),
                         meeting, place);
}

Value plus(Context& context, const Value& operand, SourceSpan place) {
    if (!context.areNumbers(operand, "\"+\""))
        return {};
    Value result = operand;
    result.place = place;
    return result;
}

Value inverted(Context& context, Mark mark, const Value& operand, SourceSpan place) {
    context.writer.setPlace(place);
    const std::optional<Register> truth = context.condition(operand, quotedMark(mark));
    if (!truth)
        return {};
    return Context::madeTruth(context.writer.logicalNot(*truth), operand.components,
                              operand.mayBeUnknown || operand.mayBeMissing, place);
}

// The products of binary powers from the highest digit of the exponent down: x**5 is
// ((x * x) * (x * x)) * x.
Value power(Context& context, const Value& base, std::int32_t exponent, SourceSpan place) {
    if (!context.areNumbers(base, "\"**\""))
        return {};
    const auto times = [&](const Value& left, const Value& right) {
        return binary(context, Mark::Times, left, right, place);
    };
    if (exponent == 0 && !base.isOpen()) {
        if (!context.hasArithmetic(base.format, base, "\"**\""))
            return {};
        // 1 for every number, also for a NaN, where there is one.
        context.writer.setPlace(place);
        const Meeting meeting{working(base.format), base.components, base.mayBeMissing};
        const Register one = context.writer.number(meeting.format, 1.0, meeting.components);
        if (!base.mayBeMissing)
            return Context::made(one, meeting, place);
        const Register known = context.writer.comparison(OpCode::Equal, context.writer.load(base),
                                                         context.writer.load(base));
        return Context::made(context.writer.select(known, one, one, meeting.format), meeting,
                             place);
    }
    if (exponent == 0)
        return base.sort == Value::Sort::Missing ? missingAt(place) : numberOf(1, place);
    Value result = base;
    int digit = 16;
    while ((exponent & digit) == 0)
        digit /= 2;
    for (digit /= 2; digit > 0 && !result.isBad(); digit /= 2) {
        result = times(result, result);
        if ((exponent & digit) != 0)
            result = times(result, base);
    }
    result.place = place;
    return result;
}

Value componentOf(Context& context, const Value& vector, std::int32_t number, SourceSpan place) {
    if (vector.isBad())
        return {};
    if (vector.isOpen())
        return context.refuse(place, "a number as written has no components", "leave it out");
    if (number >= vector.components)
        return context.refuse(
            place, context.describe(vector) + " has no component " + std::to_string(number),
            vector.components == 1
                ? "it has only one, 0"
                : "its components are 0 to " + std::to_string(vector.components - 1));
    Value result = vector;
    result.place = place;
    if (vector.components == 1)
        return result;
    context.writer.setPlace(place);
    result.held = context.writer.component(context.writer.load(vector), number, vector.format);
    result.components = 1;
    return result;
}

Value cast(Context& context, const Value& operand, Format format, SourceSpan place) {
    const std::string name = factsOf(format).word;
    if (!context.areNumbers(operand, name))
        return {};
    context.writer.setPlace(place);
    const Meeting meeting{format, operand.components, operand.mayBeMissing};
    if (operand.sort == Value::Sort::Missing)
        return Context::made(context.writer.missing(format, 1), meeting, place);
    if (operand.sort == Value::Sort::Number) {
        if (!context.fits(operand, format, nullptr))
            return {};
        return Context::made(context.writer.number(format, operand.literal), meeting, place);
    }
    Value result = Context::made(context.writer.convert(operand, format), meeting, place);
    return result;
}

} // namespace Fenlet::Formulas
