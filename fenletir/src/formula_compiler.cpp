// Compiles a formula: reads it into a tree, then writes the instructions of one node after another.
#include "formula_functions.h"
#include "formula_names.h"
#include "formula_operators.h"
#include "text_numbers.h"
#include "text_words.h"

#include <algorithm>
#include <limits>
#include <set>

namespace Fenlet {
namespace {

using namespace Formulas;
using Text::nameText;
using Text::quoted;
using Text::readNumber;

class Compiler {
  public:
    Compiler(std::string_view newText, const FormulaOptions& newOptions)
        : text(newText),
          options(newOptions),
          tree(parseFormula(newText, complaints)),
          context(newText, complaints),
          names(tree, context) {}

    FormulaResult compile(const std::vector<FormulaDeclaration>& declarations) {
        names.declare(declarations);
        names.declareInText();
        findOutputs();
        values.resize(tree.nodes.size());
        for (std::size_t number = 0; number < tree.statements.size() && !complaints.isOverfull();
             ++number)
            writeStatement(tree.statements[number]);
        if (tree.statements.empty() && complaints.isEmpty())
            complaints.add({text.size(), 0, 0}, "the formula has no expression",
                           "write one, such as ndvi = (nir - red) / (nir + red)");
        return finish();
    }

  private:
    // -----------------------------------------------------------------------------------------
    // Statements

    /// If no line is marked as an output, the last one is the output. A line without a name must be
    /// the last one, and is an output as well.
    void findOutputs() {
        hasMarkedOutput = std::any_of(tree.statements.begin(), tree.statements.end(),
                                      [](const Statement& line) { return line.isMarkedOutput; });
    }

    bool isLast(const Statement& statement) const { return &statement == &tree.statements.back(); }

    bool isOutputLine(const Statement& statement) const {
        return statement.isMarkedOutput || (isLast(statement) && !hasMarkedOutput);
    }

    void writeStatement(const Statement& statement) {
        const std::int32_t firstRegister = context.writer.nextRegister();
        const Node& root = nodeAt(statement.end - 1);
        // One error of a line is enough.
        if (root.sort != NodeSort::Bad)
            for (std::int32_t number = statement.begin; number < statement.end; ++number)
                values[static_cast<std::size_t>(number)] = writeNode(nodeAt(number));
        const Value value = values[static_cast<std::size_t>(statement.end - 1)];
        if (statement.name < 0) {
            writeUnnamed(statement, root, value);
            return;
        }
        const Token& name = tree.tokens.list[static_cast<std::size_t>(statement.name)];
        Symbol* const symbol = names.define(name);
        if (!symbol)
            return;
        symbol->value = value;
        if (isOutputLine(statement))
            symbol->value = writeOutput(value, name.text, name.place, firstRegister);
        else if (value.sort == Value::Sort::Register && value.held.number >= firstRegister)
            nameRegister(value.held.number, name.text);
        // A literal keeps taking the kind of what it meets.
        if (value.isOpen())
            symbol->value = value;
    }

    /// `output ndvi`, `output nir`, or the expression of a formula of one line.
    void writeUnnamed(const Statement& statement, const Node& root, const Value& value) {
        if (value.isBad())
            return;
        if (statement.isMarkedOutput) {
            if (root.sort == NodeSort::Name)
                writeOutput(value, tree.tokenOf(root).text, root.place, 0);
            else
                context.refuse(root.place, "this output has no name",
                               "write output name = " + context.textOf(value, "..."));
            return;
        }
        if (!isLast(statement)) {
            context.refuse(statement.place, "only the last line can be without a name",
                           "write name = " + context.textOf(value, "..."));
            return;
        }
        if (const Symbol* const taken = names.find(unnamedFormulaOutput);
            taken && (taken->isLine || taken->entry >= 0)) {
            context.refuse(statement.place,
                           std::string("the output would be called ") + unnamedFormulaOutput +
                               ", which is taken",
                           "write name = " + context.textOf(value, "..."));
            return;
        }
        writeOutput(value, unnamedFormulaOutput, root.place, 0);
    }

    void nameRegister(std::int32_t number, std::string_view name) {
        if (number < 0)
            return;
        const auto place = static_cast<std::size_t>(number);
        if (registerNames.size() <= place)
            registerNames.resize(place + 1);
        if (registerNames[place].empty())
            registerNames[place] = name;
    }

    bool isUnnamed(std::int32_t number) const {
        const auto place = static_cast<std::size_t>(number);
        return place >= registerNames.size() || registerNames[place].empty();
    }

    /// Makes the value an output. A register that has another name is copied.
    Value writeOutput(const Value& value, std::string_view name, SourceSpan place,
                      std::int32_t firstRegister) {
        if (value.isBad())
            return {};
        context.writer.setPlace(place);
        const std::optional<Meeting> meeting = context.meet(value, value.place);
        if (!meeting)
            return {};
        Value result = value;
        if (!value.isFixedNumber() && !value.isTruth())
            result = Context::made(context.arm(value, *meeting), *meeting, value.place);
        else if (value.sort == Value::Sort::Index)
            result = Context::made(context.writer.load(value), *meeting, value.place);
        std::int32_t number = result.held.number;
        const bool hasName =
            !isUnnamed(number) && registerNames[static_cast<std::size_t>(number)] == name;
        if (!hasName && (number < firstRegister || !isUnnamed(number) || isOutput(number))) {
            result.held = context.writer.copy(result);
            number = result.held.number;
        }
        if (isOutput(number)) {
            context.refuse(place, quoted(name) + " is already an output", "leave this line out");
            return {};
        }
        nameRegister(number, name);
        outputs.push_back(number);
        outputSet.insert(number);
        return result;
    }

    bool isOutput(std::int32_t number) const { return outputSet.count(number) > 0; }

    FormulaResult finish() {
        FormulaResult result;
        BuildResult built = context.writer.builder().build();
        if (!built.ok() && complaints.isEmpty())
            complaints.add({0, 0, 0}, built.error, "");
        complaints.report(text, result);
        if (!result.ok())
            return result;
        result.program = std::move(built.program);
        for (std::size_t number = 0; number < registerNames.size(); ++number)
            result.program.registers[number].name = std::move(registerNames[number]);
        for (const std::int32_t number : outputs)
            result.program.registers[static_cast<std::size_t>(number)].output = true;
        result.places = context.writer.takePlaces();
        result.fields = std::move(fields);
        result.outputs = std::move(outputs);
        return result;
    }

    // -----------------------------------------------------------------------------------------
    // Nodes

    const Node& nodeAt(std::int32_t number) const {
        return tree.nodes[static_cast<std::size_t>(number)];
    }
    const Value& valueOf(std::int32_t number) const {
        return values[static_cast<std::size_t>(number)];
    }

    Value writeNode(const Node& node) {
        Value value = writeInstructions(node);
        value.place = node.place;
        return value;
    }

    Value writeInstructions(const Node& node) {
        context.writer.setPlace(node.place);
        switch (node.sort) {
        case NodeSort::Bad:
            return {};
        case NodeSort::Number:
            return writeNumber(tree.tokenOf(node));
        case NodeSort::Name:
            return writeName(tree.tokenOf(node));
        case NodeSort::Negate:
            return negated(context, valueOf(node.first), node.place);
        case NodeSort::Plus:
            return plus(context, valueOf(node.first), node.place);
        case NodeSort::Not:
            return inverted(context, node.mark, valueOf(node.first), node.place);
        case NodeSort::Binary:
            return binary(context, node.mark, valueOf(node.first), valueOf(node.second),
                          node.place);
        case NodeSort::Power:
            return power(context, valueOf(node.first), node.second, node.place);
        case NodeSort::Component:
            return componentOf(context, valueOf(node.first), node.second, node.place);
        case NodeSort::Element:
            return writeElement(node);
        case NodeSort::Call:
            return writeCall(node);
        case NodeSort::Shift:
            return writeShift(node);
        }
        return {};
    }

    Value writeNumber(const Token& token) {
        Value value;
        value.sort = Value::Sort::Number;
        Literal& literal = value.literal;
        std::string_view digits = token.text;
        const bool isHexadecimal =
            digits.size() > 2 && digits[0] == '0' && (digits[1] | 0x20) == 'x';
        if (isHexadecimal)
            digits.remove_prefix(2);
        literal.isWhole =
            isHexadecimal || digits.find_first_not_of("0123456789") == std::string_view::npos;
        const std::errc problem = isHexadecimal     ? readNumber(digits, literal.magnitude, 16)
                                  : literal.isWhole ? readNumber(digits, literal.magnitude)
                                                    : readNumber(digits, literal.real);
        if (problem == std::errc())
            return value;
        const std::string shown = digits.size() <= 40 ? quoted(token.text) : "this number";
        if (problem != std::errc::result_out_of_range)
            return context.refuse(token.place, shown + " is not a number", rightNumber(digits));
        return literal.isWhole ? context.refuse(token.place, shown + " does not fit into 64 bits",
                                                "write a real number, with a point or an exponent")
                               : context.refuse(token.place,
                                                shown + " is out of range for a 64-bit real number",
                                                "write 0.0 or inf if that is meant");
    }

    static std::string rightNumber(std::string_view digits) {
        if (digits.find('_') != std::string_view::npos)
            return "leave out the underscores";
        if (digits.back() == 'f' || digits.back() == 'F')
            return "write f32(" + std::string(digits.substr(0, digits.size() - 1)) +
                   ") for its kind";
        return "write a number such as 12, 0.5, 1e-3 or 0xff";
    }

    Value writeName(const Token& token) {
        const Word word = token.mark == Mark::Name ? wordOf(token.text) : Word::None;
        if (word != Word::None)
            return writeWord(word);
        if (Symbol* const symbol = names.find(token.text))
            return writeSymbol(*symbol, token);
        if (token.mark == Mark::Name) {
            if (token.text == "row")
                return writePosition(FormulaFieldSort::Row, token);
            if (token.text == "column")
                return writePosition(FormulaFieldSort::Column, token);
            if (token.text == "index" && options.indexIsField)
                return writePosition(FormulaFieldSort::Index, token);
            if (token.text == "index") {
                Value value;
                value.sort = Value::Sort::Index;
                return value;
            }
        }
        return names.refuseUnknown(token);
    }

    Value writeWord(Word word) {
        Value value;
        value.sort = Value::Sort::Number;
        switch (word) {
        case Word::True:
            return Context::madeTruth(context.writer.truth(Truth::True), 1, false, {});
        case Word::False:
            return Context::madeTruth(context.writer.truth(Truth::False), 1, false, {});
        case Word::Unknown:
            return Context::madeTruth(context.writer.truth(Truth::Unknown), 1, true, {});
        case Word::Missing:
            value.sort = Value::Sort::Missing;
            value.mayBeMissing = true;
            break;
        case Word::Infinity:
            value.literal = Literal::ofReal(std::numeric_limits<double>::infinity());
            break;
        default:
            value.literal = Literal::ofReal(std::numeric_limits<double>::quiet_NaN());
            break;
        }
        return value;
    }

    Value writeSymbol(Symbol& symbol, const Token& token) {
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
        nameRegister(held.number, symbol.declared.name);
        symbol.value = Context::made(held, meeting, token.place);
        return symbol.value;
    }

    bool isPoolFull(std::size_t used, const char* what, const Token& token) {
        if (used < mostFormulaSources)
            return false;
        context.refuse(token.place,
                       "this formula uses more than " + std::to_string(mostFormulaSources) + " " +
                           what,
                       "split it into several");
        return true;
    }

    // -----------------------------------------------------------------------------------------
    // Fields

    Register loadField(std::int32_t entry, Register at, const Meeting& meeting) {
        return context.writer.keep(context.writer.builder().loadField(
            fieldHandles[static_cast<std::size_t>(entry)], at, meeting.format, meeting.components));
    }

    /// Adds a field to the program. The name is changed if another one has it.
    std::int32_t addField(std::string name, FormulaField field) {
        while (!fieldNames.insert(name).second)
            name += '\'';
        fieldHandles.push_back(context.writer.builder().field(name));
        fields.push_back(std::move(field));
        return static_cast<std::int32_t>(fields.size()) - 1;
    }

    bool useField(Symbol& symbol, const Token& token) {
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

    /// A field of the numbers of elements, rows or columns.
    Value writePosition(FormulaFieldSort sort, const Token& token) {
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

    /// The field of that name, or null after an error.
    Symbol* findField(const Token& token, const char* user) {
        Symbol* const symbol = names.find(token.text);
        const bool isPosition =
            token.text == "row" || token.text == "column" || token.text == "index";
        if (!symbol && !isPosition) {
            names.refuseUnknown(token);
            return nullptr;
        }
        if (symbol &&
            (!names.isUsable(*symbol, token) || (symbol->isLine && symbol->value.isBad())))
            return nullptr;
        if (symbol && !symbol->isLine && symbol->declared.sort == FormulaSort::Field)
            return symbol;
        context.refuse(token.place,
                       std::string(user) + " takes a field, and " + quoted(token.text) + " is none",
                       symbol && symbol->isLine && user[0] == 's'
                           ? "shift the fields that it is computed from"
                           : "name a field");
        return nullptr;
    }

    Value writeElement(const Node& node) {
        const Token& token = tree.tokenOf(node);
        const Value& number = valueOf(node.first);
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

    std::optional<Register> elementNumber(const Value& number) {
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

    Value writeShift(const Node& node) {
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
                    (declared.axes > 0 ? std::to_string(declared.axes) : "1 to 8"),
                declared.axes == 2 ? "write rows, then columns" : "write them after the name");
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

    Value writeShifted(const Symbol& symbol, const Token& token, std::string name,
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

    // -----------------------------------------------------------------------------------------
    // Calls

    Value writeCall(const Node& node) {
        const Token& token = tree.tokenOf(node);
        std::vector<Value> arguments;
        bool isBad = false;
        for (std::int32_t number = node.first; number < node.first + node.second; ++number) {
            arguments.push_back(valueOf(tree.arguments[static_cast<std::size_t>(number)]));
            isBad = isBad || arguments.back().isBad();
        }
        if (Symbol* const symbol = names.find(token.text);
            symbol && !symbol->isLine && symbol->declared.sort == FormulaSort::Sampler)
            return isBad || !names.isUsable(*symbol, token)
                       ? Value{}
                       : writeSample(*symbol, token, arguments, node.place);
        const FunctionRow* const row =
            token.mark == Mark::Name ? findFunction(token.text) : nullptr;
        if (!row)
            return names.refuseUnknownFunction(token);
        if (node.second < row->about.least || node.second > row->about.most)
            return refuseCount(row->about, node);
        return isBad ? Value{} : row->write(context, {row->about, arguments, node.place});
    }

    Value refuseCount(const FormulaFunction& function, const Node& node) {
        std::string wrong = std::string(function.name) + " takes " + std::to_string(function.least);
        if (function.most != function.least)
            wrong += " to " + std::to_string(function.most);
        wrong += function.most == 1 ? " argument, and here " : " arguments, and here ";
        wrong += node.second == 1 ? "is " : "are ";
        wrong += std::to_string(node.second);
        return context.refuse(node.place, wrong, std::string("write ") + function.usage);
    }

    Value writeSample(Symbol& symbol, const Token& token, const std::vector<Value>& arguments,
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
            context.writer.builder().sample(samplers[static_cast<std::size_t>(symbol.entry)],
                                            at.held, meeting.format, meeting.components));
        return Context::made(held, meeting, place);
    }

    /// A coordinate in the kind that the sampler takes.
    Value coordinateOf(const FormulaDeclaration& sampler, const Value& at,
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

    std::string_view text;
    const FormulaOptions& options;
    Complaints complaints;
    Tree tree;
    Context context;
    Names names;
    std::vector<Value> values; ///< of each node

    bool hasMarkedOutput = false;
    std::vector<std::string> registerNames;
    std::vector<std::int32_t> outputs;
    std::set<std::int32_t> outputSet;
    std::vector<FormulaField> fields;
    std::vector<FieldHandle> fieldHandles;
    std::set<std::string> fieldNames;
    std::vector<UniformHandle> uniforms;
    std::vector<SamplerHandle> samplers;
    std::map<std::string, Value> shifted; ///< by the names of their fields
    Value positions[5];                   ///< by `FormulaFieldSort`
};

} // namespace

FormulaResult compileFormula(std::string_view text,
                             const std::vector<FormulaDeclaration>& declarations,
                             const FormulaOptions& options) {
    return Compiler(text, options).compile(declarations);
}

} // namespace Fenlet
