// Functions of vectors.
#include "formula_calls.h"

namespace Fenlet::Formulas {

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

} // namespace Fenlet::Formulas
