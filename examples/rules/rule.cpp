// Compiles a rule into a program.
#include "rule.h"

#include <fenletir/program_builder.h>

#include <charconv>

namespace Rules {

using namespace Fenlet;

namespace {

/// A word, number or sign of a rule.
struct Token {
    std::string text; ///< empty at the end
    std::size_t place = 0;
    bool isNumber = false;
};

std::vector<Token> split(const std::string& rule) {
    const auto isLetter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
               static_cast<unsigned char>(c) >= 128;
    };
    const auto isDigit = [](char c) { return (c >= '0' && c <= '9') || c == '.'; };
    std::vector<Token> tokens;
    for (std::size_t at = 0; at < rule.size();) {
        const std::size_t start = at;
        const char c = rule[at];
        const char next = at + 1 < rule.size() ? rule[at + 1] : ' ';
        bool isNumber = false;
        if (c == ' ' || c == '\t' || c == '\n') {
            ++at;
            continue;
        }
        if (isLetter(c)) {
            while (at < rule.size() && (isLetter(rule[at]) || isDigit(rule[at])))
                ++at;
        } else if (isDigit(c) || (c == '-' && isDigit(next))) {
            double value;
            const auto [end, problem] =
                std::from_chars(rule.data() + at, rule.data() + rule.size(), value);
            at = static_cast<std::size_t>(end - rule.data());
            isNumber = true;
            if (problem != std::errc())
                throw RuleError(std::string("the rule has a number that is ") +
                                (at == start ? "malformed" : "out of range") + " at character " +
                                std::to_string(start + 1));
        } else {
            const bool isTwo =
                (c == '<' && (next == '=' || next == '>')) || (c == '>' && next == '=');
            at += isTwo ? 2 : 1;
        }
        tokens.push_back({rule.substr(start, at - start), start, isNumber});
    }
    tokens.push_back({"", rule.size(), false});
    return tokens;
}

class RuleCompiler {
  public:
    RuleCompiler(const std::string& rule, const Table& newTable)
        : tokens(split(rule)),
          table(newTable),
          program(ProgramBuilder::OnError::Throw),
          index(program.elementIndex()),
          loaded(table.columns.size()) {}

    RuleProgram compile();

  private:
    const Token& token() const { return tokens[position]; }
    bool take(const std::string& text);
    [[noreturn]] void fail(const std::string& wanted) const;
    Register disjunction();
    Register conjunction();
    Register negation();
    Register comparison();
    bool isTruth() const;
    Register number();
    Register value();
    Register load(std::size_t place);

    std::vector<Token> tokens;
    const Table& table;
    ProgramBuilder program;
    Register index;
    std::vector<Register> loaded;
    RuleProgram result;
    std::size_t position = 0;
    int depth = 0;
};

bool RuleCompiler::take(const std::string& text) {
    const bool found = token().text == text;
    if (found)
        ++position;
    return found;
}

void RuleCompiler::fail(const std::string& wanted) const {
    const std::string found = token().text.empty() ? "ends"
                                                   : "has '" + token().text + "' at character " +
                                                         std::to_string(token().place + 1);
    throw RuleError("the rule " + found + " where " + wanted + " is expected");
}

Register RuleCompiler::disjunction() {
    Register left = conjunction();
    while (take("or"))
        left = program.logicalOr(left, conjunction());
    return left;
}

Register RuleCompiler::conjunction() {
    Register left = negation();
    while (take("and"))
        left = program.logicalAnd(left, negation());
    return left;
}

Register RuleCompiler::negation() {
    if (++depth > 200)
        throw RuleError("the rule is nested more than 200 levels deep");
    Register truth;
    if (take("not")) {
        truth = program.logicalNot(negation());
    } else if (take("(")) {
        truth = disjunction();
        if (!take(")"))
            fail("a ')'");
    } else if (take("true")) {
        truth = program.truthConstant(Truth::True);
    } else if (take("false")) {
        truth = program.truthConstant(Truth::False);
    } else if (take("unknown")) {
        truth = program.truthConstant(Truth::Unknown);
    } else if (isTruth()) {
        truth = value();
    } else {
        truth = comparison();
    }
    --depth;
    return truth;
}

Register RuleCompiler::comparison() {
    const Register left = number();
    if (take("<"))
        return program.less(left, number());
    if (take("<="))
        return program.lessEqual(left, number());
    if (take(">"))
        return program.greater(left, number());
    if (take(">="))
        return program.greaterEqual(left, number());
    if (take("="))
        return program.equal(left, number());
    if (take("<>"))
        return program.notEqual(left, number());
    fail("a comparison");
}

bool RuleCompiler::isTruth() const {
    for (const Column& column : table.columns)
        if (column.name == token().text)
            return column.kind == Column::Kind::Truth;
    return false;
}

Register RuleCompiler::number() {
    if (isTruth())
        fail("a number or a column of numbers");
    return value();
}

Register RuleCompiler::value() {
    if (token().isNumber) {
        double real = 0;
        const std::string& text = token().text;
        std::from_chars(text.data(), text.data() + text.size(), real);
        ++position;
        return program.constant(Format::Float64, {real});
    }
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if (table.columns[i].name != token().text)
            continue;
        if (table.columns[i].kind == Column::Kind::Text)
            throw RuleError("the rule compares column '" + token().text +
                            "', which holds text; only numbers and truth values can be used");
        ++position;
        return load(i);
    }
    fail("a column, a number, 'not' or a '('");
}

/// Loads a column once, however often the rule names it.
Register RuleCompiler::load(std::size_t place) {
    const Column& column = table.columns[place];
    if (loaded[place].number == noRegister) {
        const bool isTruthColumn = column.kind == Column::Kind::Truth;
        loaded[place] = program.loadField(program.field(column.name), index,
                                          isTruthColumn ? Format::Tribool : Format::Float64);
        result.columns.push_back(place);
    }
    return loaded[place];
}

RuleProgram RuleCompiler::compile() {
    const Register truth = disjunction();
    if (!token().text.empty())
        fail("'and', 'or' or the end");
    program.output(truth, "truth");
    const Register holds = program.output(program.isTrue(truth), "holds");
    result.truth = truth.number;
    result.holds = holds.number;
    result.program = program.build().program;
    return std::move(result);
}

} // namespace

RuleProgram compileRule(const std::string& rule, const Table& table) {
    return RuleCompiler(rule, table).compile();
}

} // namespace Rules
