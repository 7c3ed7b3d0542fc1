// Compiles a formula: reads it into a tree, then writes the instructions of one node after another.
#include "formula_functions.h"
#include "formula_operators.h"
#include "formula_sources.h"
#include "text_numbers.h"
#include "text_words.h"

#include <algorithm>
#include <limits>
#include <set>

namespace Fenlet {
namespace {

using namespace Formulas;
using Text::quoted;
using Text::readNumber;

class Compiler {
  public:
    Compiler(std::string_view newText, const FormulaOptions& newOptions)
        : text(newText),
          options(newOptions),
          tree(parseFormula(newText, complaints)),
          context(newText, complaints),
          names(tree, context),
          sources(tree, context, names) {}

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
            context.writer.nameRegister(value.held, name.text);
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
        const std::string_view given = context.writer.nameOf(result.held);
        if (given != name && (number < firstRegister || !given.empty() || isOutput(number))) {
            result.held = context.writer.copy(result);
            number = result.held.number;
        }
        if (isOutput(number)) {
            context.refuse(place, quoted(name) + " is already an output", "leave this line out");
            return {};
        }
        context.writer.nameRegister(result.held, name);
        outputs.push_back(number);
        outputSet.insert(number);
        return result;
    }

    bool isOutput(std::int32_t number) const { return outputSet.count(number) > 0; }

    FormulaResult finish() {
        FormulaResult result;
        BuildResult built = context.writer.build();
        if (!built.ok() && complaints.isEmpty())
            complaints.add({0, 0, 0}, built.error, "");
        complaints.report(text, result);
        if (!result.ok())
            return result;
        result.program = std::move(built.program);
        for (const std::int32_t number : outputs)
            result.program.registers[static_cast<std::size_t>(number)].output = true;
        result.places = context.writer.takePlaces();
        result.fields = sources.takeFields();
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
            return sources.writeElement(node, valueOf(node.first));
        case NodeSort::Call:
            return writeCall(node);
        case NodeSort::Shift:
            return sources.writeShift(node);
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
            return sources.writeSymbol(*symbol, token);
        if (token.mark == Mark::Name) {
            if (token.text == "row")
                return sources.writePosition(FormulaFieldSort::Row, token);
            if (token.text == "column")
                return sources.writePosition(FormulaFieldSort::Column, token);
            if (token.text == "index" && options.indexIsField)
                return sources.writePosition(FormulaFieldSort::Index, token);
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
                       : sources.writeSample(*symbol, token, arguments, node.place);
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

    std::string_view text;
    const FormulaOptions& options;
    Complaints complaints;
    Tree tree;
    Context context;
    Names names;
    Sources sources;
    std::vector<Value> values; ///< of each node

    bool hasMarkedOutput = false;
    std::vector<std::int32_t> outputs;
    std::set<std::int32_t> outputSet;
};

} // namespace

FormulaResult compileFormula(std::string_view text,
                             const std::vector<FormulaDeclaration>& declarations,
                             const FormulaOptions& options) {
    return Compiler(text, options).compile(declarations);
}

} // namespace Fenlet
