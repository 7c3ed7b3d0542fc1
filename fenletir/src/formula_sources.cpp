#include "formula_sources.h"

#include "formula_functions.h"
#include "text_words.h"

namespace Fenlet::Formulas {

using Text::nameText;
using Text::quoted;

Value Sources::writeSymbol(Symbol& symbol, const Token& token) {
    if (symbol.isLine)
        return symbol.value;
    if (!names.isUsable(symbol, token))
        return {};
    if (symbol.declared.sort == FormulaSort::Sampler)
        return context.refuse(token.place, quoted(token.text) + " is a sampler",
                              "call it, such as " + nameText(token.text) + "(x)");
    if (!symbol.value.isBad())
        return symbol.value;
    const Meeting meeting{symbol.declared.format, symbol.declared.components,
                          symbol.declared.sort == FormulaSort::Field &&
                              !symbol.declared.isAlwaysPresent};
    Register held;
    if (symbol.declared.sort == FormulaSort::Uniform) {
        if (isPoolFull(uniforms.size(), "uniforms", token))
            return {};
        const UniformHandle uniform = context.writer.builder().uniform(symbol.declared.name);
        uniforms.push_back(uniform);
        symbol.entry = uniform.number;
        held = context.writer.keep(
            context.writer.builder().loadUniform(uniform, meeting.format, meeting.components));
    } else {
        if (!useField(symbol, token))
            return {};
        held = loadField(symbol.entry, context.writer.elementIndex(), meeting);
    }
    context.writer.nameRegister(held, symbol.declared.name);
    symbol.value = Context::made(held, meeting, token.place);
    return symbol.value;
}

bool Sources::isPoolFull(std::size_t used, const char* what, const Token& token) {
    if (used < mostFormulaSources)
        return false;
    context.refuse(token.place,
                   "this formula uses more than " + std::to_string(mostFormulaSources) + " " + what,
                   "split it into several");
    return true;
}

Register Sources::loadField(std::int32_t entry, Register at, const Meeting& meeting) {
    return context.writer.keep(context.writer.builder().loadField(
        fieldHandles[static_cast<std::size_t>(entry)], at, meeting.format, meeting.components));
}

std::int32_t Sources::addField(std::string name, FormulaField field) {
    while (!fieldNames.insert(name).second)
        name += '\'';
    fieldHandles.push_back(context.writer.builder().field(name));
    fields.push_back(std::move(field));
    return static_cast<std::int32_t>(fields.size()) - 1;
}

bool Sources::useField(Symbol& symbol, const Token& token) {
    if (symbol.entry >= 0)
        return true;
    if (isPoolFull(fields.size(), "fields", token))
        return false;
    FormulaField field;
    field.array = symbol.declared.name;
    field.format = symbol.declared.format;
    field.components = symbol.declared.components;
    field.place = token.place;
    symbol.entry = addField(symbol.declared.name, std::move(field));
    return true;
}

Value Sources::writePosition(FormulaFieldSort sort, const Token& token) {
    Value& value = positions[static_cast<std::size_t>(sort)];
    if (!value.isBad() || isPoolFull(fields.size(), "fields", token))
        return value;
    FormulaField field;
    field.sort = sort;
    field.format = Format::Float64;
    field.place = token.place;
    const std::int32_t entry = addField(std::string(token.text), std::move(field));
    const Meeting meeting{Format::Float64, 1, false};
    value = Context::made(loadField(entry, context.writer.elementIndex(), meeting), meeting,
                          token.place);
    return value;
}

Symbol* Sources::findField(const Token& token, const char* user) {
    Symbol* const symbol = names.find(token.text);
    const bool isPosition = token.text == "row" || token.text == "column" || token.text == "index";
    if (!symbol && !isPosition) {
        names.refuseUnknown(token);
        return nullptr;
    }
    if (symbol && (!names.isUsable(*symbol, token) || (symbol->isLine && symbol->value.isBad())))
        return nullptr;
    if (symbol && !symbol->isLine && symbol->declared.sort == FormulaSort::Field)
        return symbol;
    context.refuse(
        token.place, std::string(user) + " takes a field, and " + quoted(token.text) + " is none",
        symbol && symbol->isLine && user[0] == 's' ? "shift the fields that it is computed from"
                                                   : "name a field");
    return nullptr;
}

Value Sources::writeElement(const Node& node, const Value& number) {
    const Token& token = tree.tokenOf(node);
    if (number.isBad())
        return {};
    Symbol* const symbol = findField(token, "an element number");
    if (!symbol || !useField(*symbol, token))
        return {};
    const std::optional<Register> at = elementNumber(number);
    if (!at)
        return {};
    const Meeting meeting{symbol->declared.format, symbol->declared.components, true};
    return Context::made(loadField(symbol->entry, *at, meeting), meeting, node.place);
}

std::optional<Register> Sources::elementNumber(const Value& number) {
    if (!context.areNumbers(number, "an element number"))
        return std::nullopt;
    if (number.components != 1) {
        context.refuse(number.place,
                       context.describe(number) + " is several numbers, and an element has one",
                       "choose a component, such as .x");
        return std::nullopt;
    }
    if (number.sort == Value::Sort::Missing)
        return context.writer.missing(Format::Int64, 1);
    if (number.sort != Value::Sort::Number)
        return isInteger(number.format) ? context.writer.load(number)
                                        : context.writer.convert(number, Format::Int64);
    if (!context.fits(number, Format::Int64, nullptr))
        return std::nullopt;
    if (number.literal.isNegative && number.literal.value() != 0) {
        context.refuse(number.place, "elements are numbered from 0",
                       "write shift(a, -1) for the neighbour before");
        return std::nullopt;
    }
    return context.writer.number(Format::Int64, number.literal);
}

Value Sources::writeShift(const Node& node) {
    const Token& token = tree.tokenOf(node);
    Symbol* const symbol = findField(token, "shift");
    if (!symbol)
        return {};
    const auto first = tree.offsets.begin() + node.first;
    const std::vector<std::int64_t> offsets(first, first + node.second);
    const FormulaDeclaration& declared = symbol->declared;
    constexpr std::size_t mostAxes = 8;
    const bool isGood = declared.axes > 0
                            ? offsets.size() == static_cast<std::size_t>(declared.axes)
                            : !offsets.empty() && offsets.size() <= mostAxes;
    if (!isGood)
        return context.refuse(
            node.place,
            "shift takes a number for each axis, and " + quoted(token.text) + " has " +
                (declared.axes > 0 ? std::to_string(declared.axes) : "1 to 8 axes"),
            declared.axes == 2 ? "write rows, then columns" : "write the numbers after the name");
    bool isHere = true;
    std::string name = "shift(" + std::string(token.text);
    for (const std::int64_t offset : offsets) {
        isHere = isHere && offset == 0;
        name += ", " + std::to_string(offset);
    }
    name += ')';
    if (isHere)
        return writeSymbol(*symbol, token);
    return writeShifted(*symbol, token, std::move(name), offsets);
}

Value Sources::writeShifted(const Symbol& symbol, const Token& token, std::string name,
                            const std::vector<std::int64_t>& offsets) {
    const auto [entry, isNew] = shifted.try_emplace(name);
    if (!isNew)
        return entry->second;
    if (isPoolFull(fields.size(), "fields", token))
        return {};
    FormulaField field;
    field.sort = FormulaFieldSort::Shifted;
    field.array = symbol.declared.name;
    field.offsets = offsets;
    field.format = symbol.declared.format;
    field.components = symbol.declared.components;
    field.place = context.writer.currentPlace();
    const std::int32_t number = addField(std::move(name), std::move(field));
    const Meeting meeting{symbol.declared.format, symbol.declared.components, true};
    entry->second = Context::made(loadField(number, context.writer.elementIndex(), meeting),
                                  meeting, token.place);
    return entry->second;
}

Value Sources::writeSample(Symbol& symbol, const Token& token, const std::vector<Value>& arguments,
                           SourceSpan place) {
    const FormulaDeclaration& declared = symbol.declared;
    const std::string usage = nameText(token.text) + "(" +
                              kindText(declared.coordinateFormat, declared.coordinates) + ")";
    if (arguments.empty())
        return context.refuse(place, "a sampler takes coordinates", "write " + usage);
    std::vector<Value> exact;
    for (const Value& argument : arguments) {
        exact.push_back(coordinateOf(declared, argument, usage));
        if (exact.back().isBad())
            return {};
    }
    const Value at = exact.size() == 1 ? exact[0] : vectorOf(context, exact, token.text, place);
    if (at.isBad())
        return {};
    if (at.components != declared.coordinates)
        return context.refuse(place,
                              "the sampler takes " + componentsInWords(declared.coordinates) +
                                  ", not " + std::to_string(at.components),
                              "write " + usage);
    if (symbol.entry < 0) {
        if (isPoolFull(samplers.size(), "samplers", token))
            return {};
        samplers.push_back(context.writer.builder().sampler(declared.name));
        symbol.entry = samplers.back().number;
    }
    context.writer.setPlace(place);
    const Meeting meeting{declared.format, declared.components, true};
    const Register held = context.writer.keep(
        context.writer.builder().sample(samplers[static_cast<std::size_t>(symbol.entry)], at.held,
                                        meeting.format, meeting.components));
    return Context::made(held, meeting, place);
}

Value Sources::coordinateOf(const FormulaDeclaration& sampler, const Value& at,
                            const std::string& usage) {
    const Format wanted = sampler.coordinateFormat;
    if (isTribool(wanted) != at.isTruth() && at.sort != Value::Sort::Missing)
        return context.refuse(at.place, context.describe(at) + " is of another kind",
                              "write " + usage);
    context.writer.setPlace(at.place);
    if (at.isTruth() || at.isOpen()) {
        if (at.sort == Value::Sort::Number && !context.fits(at, wanted, nullptr))
            return {};
        const Meeting meeting{wanted, at.components, at.mayBeMissing};
        return Context::made(context.arm(at, meeting), meeting, at.place);
    }
    if (at.format != wanted && commonFormat(at.format, wanted) != wanted)
        return context.refuse(at.place,
                              context.describe(at) + " would be rounded to " +
                                  factsOf(wanted).word + ", the kind of the coordinates",
                              std::string("write ") + factsOf(wanted).word + "(" +
                                  context.textOf(at) + ")");
    return Context::made(context.writer.convert(at, wanted),
                         {wanted, at.components, at.mayBeMissing}, at.place);
}

} // namespace Fenlet::Formulas
