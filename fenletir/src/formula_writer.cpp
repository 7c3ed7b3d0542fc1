#include "formula_writer.h"

#include <cstring>

namespace Fenlet::Formulas {

Register Writer::keep(Register written) {
    if (written.number >= nextRegister())
        places.resize(static_cast<std::size_t>(written.number) + 1, place);
    return written;
}

void Writer::nameRegister(Register value, std::string_view name) {
    const auto number = static_cast<std::size_t>(value.number);
    if (value.number < 0 || !nameOf(value).empty())
        return;
    if (names.size() <= number)
        names.resize(number + 1);
    names[number] = name;
}

std::string_view Writer::nameOf(Register value) const {
    const auto number = static_cast<std::size_t>(value.number);
    return value.number >= 0 && number < names.size() ? std::string_view(names[number])
                                                      : std::string_view();
}

BuildResult Writer::build() {
    BuildResult built = program.build();
    if (built.ok())
        for (std::size_t number = 0; number < names.size(); ++number)
            built.program.registers[number].name = std::move(names[number]);
    return built;
}

// ---------------------------------------------------------------------------------------------
// Constants

// Numbers of float formats are kept as reals and those of integer formats as integers, so that
// equal constants are one.
Register Writer::number(Format format, const Literal& literal, std::int32_t components) {
    const std::optional<std::int64_t> integer = literal.integer();
    return integer && isInteger(format) ? integerNumber(format, *integer, components)
                                        : number(format, literal.value(), components);
}

Register Writer::number(Format format, double value, std::int32_t components) {
    if (isInteger(format))
        return integerNumber(format, static_cast<std::int64_t>(value), components);
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const auto [entry, isNew] = constants.try_emplace(ConstantKey{format, components, bits});
    if (isNew)
        entry->second = keep(program.constant(
            format, std::vector<double>(static_cast<std::size_t>(components), value)));
    return entry->second;
}

Register Writer::integerNumber(Format format, std::int64_t value, std::int32_t components) {
    const auto [entry, isNew] =
        constants.try_emplace(ConstantKey{format, components, static_cast<std::uint64_t>(value)});
    if (isNew)
        entry->second = keep(program.integerConstant(
            format, std::vector<std::int64_t>(static_cast<std::size_t>(components), value)));
    return entry->second;
}

Register Writer::vector(Format format, const std::vector<Literal>& literals) {
    std::vector<std::int64_t> integers;
    std::vector<double> reals;
    for (const Literal& literal : literals) {
        if (const std::optional<std::int64_t> integer = literal.integer())
            integers.push_back(*integer);
        reals.push_back(literal.value());
    }
    return keep(integers.size() == reals.size() ? program.integerConstant(format, integers)
                                                : program.constant(format, reals));
}

Register Writer::truth(Truth value) {
    const auto [entry, isNew] =
        constants.try_emplace(ConstantKey{Format::Tribool, 1, static_cast<std::uint64_t>(value)});
    if (isNew)
        entry->second = keep(program.truthConstant(value));
    return entry->second;
}

// A missing number compares as unknown in each component.
Register Writer::unknown(std::int32_t components) {
    if (components == 1)
        return truth(Truth::Unknown);
    const auto [entry, isNew] = unknowns.try_emplace(components);
    if (isNew) {
        const Register none = missing(Format::Int32, components);
        entry->second = keep(program.equal(none, none));
    }
    return entry->second;
}

Register Writer::missing(Format format, std::int32_t components) {
    const auto [entry, isNew] = missings.try_emplace({format, components});
    if (isNew) {
        const Register any =
            isTribool(format) ? unknown(components) : number(format, 0.0, components);
        entry->second = select(truth(Truth::Unknown), any, any, format);
    }
    return entry->second;
}

Register Writer::unitMask(std::int32_t components, std::int32_t number) {
    const auto [entry, isNew] = masks.try_emplace({components, number});
    if (isNew) {
        std::vector<std::int64_t> unit(static_cast<std::size_t>(components), 0);
        unit[static_cast<std::size_t>(number)] = 1;
        const Register units = keep(program.integerConstant(Format::Int32, unit));
        entry->second = comparison(OpCode::Equal, units, this->number(Format::Int32, 1.0));
    }
    return entry->second;
}

// ---------------------------------------------------------------------------------------------
// Values

Register Writer::elementIndex() {
    if (index.number == noRegister)
        index = keep(program.elementIndex());
    return index;
}

Register Writer::load(const Value& value) {
    if (value.sort == Value::Sort::Index)
        return convert(value, Format::Float64);
    return value.held;
}

Register Writer::convert(const Value& value, Format format) {
    if (value.sort == Value::Sort::Index) {
        if (format == Format::Int64)
            return elementIndex();
        if (indexNumber.number == noRegister)
            indexNumber = component(elementIndex(), 0, Format::Float64);
        return format == Format::Float64 ? indexNumber : component(indexNumber, 0, format);
    }
    if (value.format == format)
        return value.held;
    if (value.components == 1)
        return component(value.held, 0, format);
    return select(truth(Truth::True), value.held, value.held, format);
}

Register Writer::spread(const Value& value, Format format, std::int32_t components) {
    const Register zeros = number(format, isFloat(format) ? -0.0 : 0.0, components);
    return arithmetic(OpCode::Add, load(value), zeros, format);
}

Register Writer::copy(const Value& value) {
    const Register source = load(value);
    return value.components == 1 ? component(source, 0, value.format)
                                 : select(truth(Truth::True), source, source, value.format);
}

// ---------------------------------------------------------------------------------------------
// Instructions

Register Writer::arithmetic(OpCode op, Register left, Register right, Format format) {
    switch (op) {
    case OpCode::Add:
        return keep(program.add(left, right, format));
    case OpCode::Subtract:
        return keep(program.subtract(left, right, format));
    case OpCode::Multiply:
        return keep(program.multiply(left, right, format));
    default:
        return keep(program.divide(left, right, format));
    }
}

Register Writer::comparison(OpCode op, Register left, Register right) {
    switch (op) {
    case OpCode::Less:
        return keep(program.less(left, right));
    case OpCode::LessEqual:
        return keep(program.lessEqual(left, right));
    case OpCode::Greater:
        return keep(program.greater(left, right));
    case OpCode::GreaterEqual:
        return keep(program.greaterEqual(left, right));
    case OpCode::Equal:
        return keep(program.equal(left, right));
    default:
        return keep(program.notEqual(left, right));
    }
}

Register Writer::logic(OpCode op, Register left, Register right) {
    return keep(op == OpCode::And ? program.logicalAnd(left, right)
                                  : program.logicalOr(left, right));
}

Register Writer::negate(Register operand, Format format) {
    return keep(program.negate(operand, format));
}

Register Writer::logicalNot(Register operand) {
    return keep(program.logicalNot(operand));
}

Register Writer::isTrue(Register operand) {
    return keep(program.isTrue(operand));
}

Register Writer::length(Register operand, Format format) {
    return keep(program.length(operand, format));
}

Register Writer::component(Register operand, std::int32_t number, Format format) {
    return keep(program.component(operand, number, format));
}

Register Writer::select(Register condition, Register whenTrue, Register whenFalse, Format format) {
    return keep(program.select(condition, whenTrue, whenFalse, format));
}

// Logic looks at values and ANDs presence, and Select looks at the value of its condition and not
// at its presence. Where a truth value can be missing it becomes unknown first, so that `missing
// and false` is false and the byte of a missing element decides nothing.
Register Writer::settle(const Value& value) {
    const Register truthValue = load(value);
    if (!value.mayBeMissing)
        return truthValue;
    const auto [entry, isNew] = settled.try_emplace(truthValue.number);
    if (!isNew)
        return entry->second;
    const Register yes = isTrue(truthValue);
    const Register no = isTrue(logicalNot(truthValue));
    if (value.components == 1) {
        const Register isKnown = logic(OpCode::Or, yes, no);
        return entry->second = select(isKnown, yes, truth(Truth::Unknown), Format::Tribool);
    }
    const Register notFalse = logicalNot(no);
    const Register notKnown = logic(OpCode::And, notFalse, unknown(value.components));
    return entry->second = logic(OpCode::Or, yes, notKnown);
}

} // namespace Fenlet::Formulas
