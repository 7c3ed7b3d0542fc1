// Reads tokens into a tree, with one line of look-ahead at most.
#include "formula_tree.h"
#include "text_numbers.h"
#include "text_words.h"

#include <algorithm>

namespace Fenlet::Formulas {
namespace {

using namespace Text;

/// How tightly operators bind, from loose to tight.
enum Level : int { Either = 1, Both, Negation, Comparing, BitOr, BitAnd, Sum, Product };

int levelOf(Mark mark) {
    switch (mark) {
    case Mark::Or:
        return Either;
    case Mark::And:
        return Both;
    case Mark::Less:
    case Mark::LessEqual:
    case Mark::Greater:
    case Mark::GreaterEqual:
    case Mark::Equal:
    case Mark::NotEqual:
        return Comparing;
    case Mark::Bar:
        return BitOr;
    case Mark::Ampersand:
        return BitAnd;
    case Mark::Plus:
    case Mark::Minus:
        return Sum;
    case Mark::Times:
    case Mark::Over:
        return Product;
    default:
        return 0;
    }
}

/// A span from the beginning of one piece to the end of another.
SourceSpan joined(SourceSpan from, SourceSpan to) {
    return {from.offset, to.offset + to.bytes - from.offset, from.line};
}

class Parser {
  public:
    Parser(std::string_view text, Complaints& newComplaints) : complaints(newComplaints) {
        tree.tokens = readTokens(text, complaints);
        tree.nodes.reserve(tree.tokens.list.size());
    }

    Tree read() {
        while (at + 1 < tree.tokens.list.size() && !complaints.isOverfull()) {
            if (next().mark != Mark::LineEnd)
                readLine();
            skipLine();
        }
        return std::move(tree);
    }

  private:
    const Token& next() const { return tree.tokens.list[at]; }
    const Token& after(std::size_t distance) const {
        return tree.tokens.list[std::min(at + distance, tree.tokens.list.size() - 1)];
    }
    bool isNext(Mark mark) const { return next().mark == mark; }
    static bool isName(const Token& token) {
        return token.mark == Mark::Name || token.mark == Mark::QuotedName;
    }
    std::uint32_t take() { return static_cast<std::uint32_t>(at++); }
    bool accept(Mark mark) {
        const bool isThere = isNext(mark);
        at += isThere;
        return isThere;
    }

    void skipLine() {
        while (!isNext(Mark::LineEnd))
            ++at;
        at += at + 1 < tree.tokens.list.size();
    }

    // -----------------------------------------------------------------------------------------
    // Errors. Only the first one of a line is reported.

    bool fail(SourceSpan place, std::string wrong, std::string right = "") {
        if (!hasFailed)
            complaints.add(place, std::move(wrong), std::move(right));
        hasFailed = true;
        return false;
    }

    std::int32_t failNode(SourceSpan place, std::string wrong, std::string right = "") {
        fail(place, std::move(wrong), std::move(right));
        return -1;
    }

    std::string nextInWords() const {
        return isNext(Mark::LineEnd) ? "the line ends here" : cited(next()) + " is unexpected here";
    }

    static std::string cited(const Token& token) {
        constexpr std::size_t mostBytes = 40;
        return token.text.size() <= mostBytes ? quoted(token.text) : "this";
    }

    /// Fails with what is expected. A token that could not be read is already reported.
    bool failExpecting(const std::string& expected) {
        hasFailed = hasFailed || isNext(Mark::Bad);
        return fail(next().place, nextInWords(), "expected " + expected);
    }

    std::int32_t nothingAfter(const char* expected) {
        failExpecting(expected);
        return -1;
    }

    bool expect(Mark mark, const std::string& expected) {
        return accept(mark) || failExpecting(expected);
    }

    // -----------------------------------------------------------------------------------------
    // Lines

    void readLine() {
        hasFailed = false;
        depth = 0;
        pending.clear();
        if (isName(after(1)) && next().mark == Mark::Name) {
            const std::string_view word = next().text;
            if (word == "field" || word == "grid" || word == "uniform" || word == "sampler") {
                readDeclaration(word);
                return;
            }
        }
        readStatement();
    }

    void readDeclaration(std::string_view word) {
        DeclaredName declared;
        declared.isGrid = word == "grid";
        declared.sort = word == "uniform"   ? FormulaSort::Uniform
                        : word == "sampler" ? FormulaSort::Sampler
                                            : FormulaSort::Field;
        take();
        declared.name = take();
        declared.isBad = !readDeclaredKinds(declared);
        tree.declarations.push_back(declared);
    }

    bool readDeclaredKinds(DeclaredName& declared) {
        if (declared.sort == FormulaSort::Sampler) {
            const char* const example = "the coordinates of the sampler, such as (f32x2)";
            if (!expect(Mark::Open, example) || !readKind(declared.coordinates) ||
                !expect(Mark::Close, ") after the kind of the coordinates"))
                return false;
        }
        if (accept(Mark::Colon) && !readKind(declared.kind))
            return false;
        return isNext(Mark::LineEnd) || failExpecting("the kind, such as : f32x3");
    }

    bool readKind(std::int32_t& kind) {
        if (!isNext(Mark::Name))
            return failExpecting("a kind such as f32 or i32x3");
        kind = static_cast<std::int32_t>(take());
        return true;
    }

    void readStatement() {
        Statement statement;
        statement.begin = nodeCount();
        statement.place = next().place;
        if (next().text == "output" && isNext(Mark::Name) && isName(after(1))) {
            statement.isMarkedOutput = true;
            take();
        }
        if (isName(next()) && after(1).mark == Mark::Assign) {
            statement.name = static_cast<std::int32_t>(take());
            take();
        }
        std::int32_t root = readExpression(Either);
        if (root >= 0 && !isNext(Mark::LineEnd)) {
            explainRest(statement);
            root = -1;
        }
        if (root < 0)
            add(NodeSort::Bad, Mark::None, statement.place, -1);
        statement.place = joined(statement.place, tree.tokens.list[at].place);
        statement.end = nodeCount();
        tree.statements.push_back(statement);
    }

    /// Says what is wrong with what follows a complete expression.
    void explainRest(const Statement& statement) {
        if (isNext(Mark::Bad)) {
            hasFailed = true;
        } else if (isNext(Mark::Assign)) {
            fail(next().place,
                 statement.name < 0 ? "only a name can be given a value" : "\"=\" does not compare",
                 statement.name < 0 ? "write name = expression, or == to compare" : "write ==");
        } else if (isNext(Mark::Close) || isNext(Mark::CloseBracket)) {
            fail(next().place, cited(next()) + " closes nothing", "leave it out");
        } else if (isNext(Mark::Not)) {
            fail(next().place, "\"not\" cannot stand here", "write and not, or or not");
        } else if (isNext(Mark::Colon)) {
            fail(next().place, "only a declaration has a kind",
                 "write field name : f32 on a line above");
        } else {
            fail(next().place, nextInWords(), "expected an operator or the end of the line");
        }
    }

    // -----------------------------------------------------------------------------------------
    // Expressions. Each function returns the number of its node, or -1 after an error.

    std::int32_t nodeCount() const { return static_cast<std::int32_t>(tree.nodes.size()); }
    Node& node(std::int32_t number) { return tree.nodes[static_cast<std::size_t>(number)]; }

    std::int32_t add(NodeSort sort, Mark mark, SourceSpan place, std::int32_t first,
                     std::int32_t second = -1, std::uint32_t token = 0) {
        tree.nodes.push_back({sort, mark, false, first, second, token, place});
        return nodeCount() - 1;
    }

    std::int32_t readExpression(int loosest) {
        std::int32_t left = readPrefix(loosest);
        while (left >= 0) {
            const Mark mark = next().mark;
            const int level = levelOf(mark);
            if (level == 0 || level < loosest)
                break;
            take();
            const std::int32_t right = readExpression(level + 1);
            if (right < 0)
                return -1;
            left = add(NodeSort::Binary, mark, joined(node(left).place, node(right).place), left,
                       right);
            if (level == Comparing && levelOf(next().mark) == Comparing)
                return failChain(left);
        }
        return left;
    }

    /// `a < b < c` and `a < b & c < d`.
    std::int32_t failChain(std::int32_t comparison) {
        const Node& middle = node(node(comparison).second);
        const bool hasBits = middle.sort == NodeSort::Binary && !middle.isEnclosed &&
                             (middle.mark == Mark::Ampersand || middle.mark == Mark::Bar);
        return failNode(next().place, "comparisons cannot be chained",
                        hasBits ? "put each comparison in parentheses, or use \"and\" and \"or\", "
                                  "which bind less tightly than & and |"
                                : "write a < b and b < c");
    }

    std::int32_t readPrefix(int loosest) {
        const Token sign = next();
        const bool isNot = sign.mark == Mark::Not;
        if (!isNot && sign.mark != Mark::Minus && sign.mark != Mark::Plus &&
            sign.mark != Mark::Tilde)
            return readPower();
        if (isNot && loosest > Negation)
            return failNode(sign.place, "\"not\" binds more loosely than the operator before it",
                            "put not and what follows it in parentheses");
        take();
        if (!deeper(sign.place))
            return -1;
        const std::int32_t operand = isNot ? readExpression(Negation) : readPrefix(Product + 1);
        --depth;
        if (operand < 0)
            return -1;
        const NodeSort sort = sign.mark == Mark::Minus  ? NodeSort::Negate
                              : sign.mark == Mark::Plus ? NodeSort::Plus
                                                        : NodeSort::Not;
        return add(sort, sign.mark, joined(sign.place, node(operand).place), operand);
    }

    bool deeper(SourceSpan place) {
        if (depth == deepestFormula)
            return fail(place,
                        "this is nested more than " + std::to_string(deepestFormula) +
                            " levels deep",
                        "give a part of it a name on a line above");
        ++depth;
        return true;
    }

    std::int32_t readPower() {
        const std::int32_t base = readPostfix();
        if (base < 0 || !accept(Mark::Power))
            return base;
        const Token exponent = next();
        constexpr int mostPower = 16;
        int power = -1;
        const bool isLiteral = exponent.mark == Mark::Number;
        const bool isGood = isLiteral && readNumber(exponent.text, power) == std::errc() &&
                            power <= mostPower && after(1).mark != Mark::Power;
        if (!isGood)
            return failPower(exponent);
        take();
        return add(NodeSort::Power, Mark::Power, joined(node(base).place, exponent.place), base,
                   power);
    }

    std::int32_t failPower(const Token& exponent) {
        if (exponent.mark == Mark::Number && after(1).mark == Mark::Power)
            return failNode(after(1).place, "two powers in a row are easily misread",
                            "put one of them in parentheses");
        if (exponent.mark == Mark::LineEnd || exponent.mark == Mark::Bad)
            return nothingAfter("a power, such as x**2");
        if (exponent.mark == Mark::Minus)
            return failNode(exponent.place, "a power is a whole number from 0 to 16",
                            "write a quotient, such as 1 / x**2");
        if (exponent.mark == Mark::Number &&
            exponent.text.find_first_of(".eE") != std::string_view::npos)
            return failNode(exponent.place,
                            "a power is a whole number from 0 to 16: roots cannot be put together "
                            "from the instructions",
                            "declare a sampler, such as sampler sqrt(f32) : f32");
        if (exponent.mark == Mark::Number)
            return failNode(exponent.place, "a power is a whole number from 0 to 16",
                            "write a product of powers, such as x**16 * x**2");
        return failNode(exponent.place,
                        "a power is a whole number from 0 to 16, written as a number: other "
                        "powers cannot be put together from the instructions",
                        "declare a sampler, such as sampler pow(f32x2) : f32");
    }

    std::int32_t readPostfix() {
        std::int32_t value = readPrimary();
        while (value >= 0) {
            if (isNext(Mark::Dot))
                value = readComponent(value);
            else if (isNext(Mark::OpenBracket))
                value = readElement(value);
            else
                break;
        }
        return value;
    }

    /// `.x` or `.[2]`
    std::int32_t readComponent(std::int32_t vector) {
        const SourceSpan begin = node(vector).place;
        take();
        std::int32_t number = -1;
        if (accept(Mark::OpenBracket)) {
            const Token digits = next();
            if (digits.mark != Mark::Number || readNumber(digits.text, number) != std::errc())
                return failNode(digits.place, "a component is chosen by a whole number",
                                "write a number from 0 on, such as v.[2]");
            take();
            if (!expect(Mark::CloseBracket, "] after the number of the component"))
                return -1;
        } else {
            constexpr std::string_view letters = "xyzw";
            const Token letter = next();
            const bool isOne = letter.mark == Mark::Name && letter.text.size() == 1 &&
                               letters.find(letter.text) != std::string_view::npos;
            if (!isOne)
                return failComponent(letter);
            take();
            number = static_cast<std::int32_t>(letters.find(letter.text));
        }
        const SourceSpan end = tree.tokens.list[at - 1].place;
        return add(NodeSort::Component, Mark::Dot, joined(begin, end), vector, number);
    }

    std::int32_t failComponent(const Token& letter) {
        const bool isSwizzle = letter.mark == Mark::Name && letter.text.size() > 1 &&
                               letter.text.find_first_not_of("xyzwrgba") == std::string_view::npos;
        if (isSwizzle)
            return failNode(letter.place, "one component is chosen at a time",
                            "write vec(v.x, v.y)");
        if (letter.mark == Mark::Name)
            return failNode(letter.place, "there is no component " + cited(letter),
                            "components are .x, .y, .z, .w or .[0], .[1] and so on");
        return nothingAfter("a component: .x, .y, .z, .w or .[0]");
    }

    /// `height[e]`
    std::int32_t readElement(std::int32_t array) {
        const Node field = node(array);
        const SourceSpan bracket = next().place;
        if (field.sort != NodeSort::Name || array != nodeCount() - 1)
            return failNode(bracket, "only a field can be read by element number",
                            "a component is v.[2]");
        tree.nodes.pop_back();
        take();
        if (!deeper(bracket))
            return -1;
        const std::int32_t number = readExpression(Either);
        --depth;
        if (number >= 0 && isNext(Mark::Comma))
            return failNode(next().place, "an element has one number",
                            "write shift(" + std::string(tree.tokenOf(field).text) +
                                ", rows, columns) for a neighbour");
        if (number < 0 || !expect(Mark::CloseBracket, "] after the element number"))
            return -1;
        return add(NodeSort::Element, Mark::OpenBracket,
                   joined(field.place, tree.tokens.list[at - 1].place), number, -1, field.token);
    }

    std::int32_t readPrimary() {
        const Token token = next();
        switch (token.mark) {
        case Mark::Number:
            return add(NodeSort::Number, token.mark, token.place, -1, -1, take());
        case Mark::Name:
        case Mark::QuotedName:
            if (after(1).mark == Mark::Open)
                return readCall();
            return add(NodeSort::Name, token.mark, token.place, -1, -1, take());
        case Mark::Open:
            return readParentheses();
        default:
            return nothingAfter("a value, such as a name, a number or a function");
        }
    }

    std::int32_t readParentheses() {
        const SourceSpan open = next().place;
        take();
        if (!deeper(open))
            return -1;
        const std::int32_t inner = readExpression(Either);
        --depth;
        if (inner < 0)
            return -1;
        if (isNext(Mark::Comma))
            return failNode(next().place, "parentheses alone make no vector", "write vec(a, b)");
        if (isNext(Mark::LineEnd))
            return failNode(open, "this \"(\" is not closed", "write ) after the expression");
        if (!expect(Mark::Close, ") or an operator"))
            return -1;
        node(inner).place = joined(open, tree.tokens.list[at - 1].place);
        node(inner).isEnclosed = true;
        return inner;
    }

    std::int32_t readCall() {
        const std::uint32_t name = take();
        const Token function = tree.tokens.list[name];
        const SourceSpan open = next().place;
        take();
        if (function.text == "shift" && function.mark == Mark::Name)
            return readShift(name);
        if (!deeper(open))
            return -1;
        const std::size_t begin = pending.size();
        const bool isGood = readArguments(function, open);
        --depth;
        const auto count = static_cast<std::int32_t>(pending.size() - begin);
        const auto first = static_cast<std::int32_t>(tree.arguments.size());
        tree.arguments.insert(tree.arguments.end(),
                              pending.begin() + static_cast<std::ptrdiff_t>(begin), pending.end());
        pending.resize(begin);
        if (!isGood)
            return -1;
        return add(NodeSort::Call, Mark::Open,
                   joined(function.place, tree.tokens.list[at - 1].place), first, count, name);
    }

    bool readArguments(const Token& function, SourceSpan open) {
        if (accept(Mark::Close))
            return true;
        do {
            const std::int32_t argument = readExpression(Either);
            if (argument < 0)
                return false;
            pending.push_back(argument);
        } while (accept(Mark::Comma));
        if (isNext(Mark::LineEnd))
            return fail(open, "this \"(\" is not closed", "write ) after the last argument");
        if (isNext(Mark::Assign))
            return fail(next().place, "\"=\" does not compare", "write ==");
        return expect(Mark::Close,
                      "\",\" or \")\" after an argument of " + std::string(function.text));
    }

    /// `shift(height, +1, 0)`, after the parenthesis.
    std::int32_t readShift(std::uint32_t name) {
        const SourceSpan begin = tree.tokens.list[name].place;
        const Token field = next();
        if (!isName(field) || (after(1).mark != Mark::Comma && after(1).mark != Mark::Close))
            return failNode(field.place, "shift moves a field",
                            "write shift(height, 1, 0), and shift each field of an expression");
        const std::uint32_t fieldToken = take();
        const auto first = static_cast<std::int32_t>(tree.offsets.size());
        std::int32_t count = 0;
        for (; accept(Mark::Comma); ++count)
            if (!readOffset())
                return -1;
        if (!expect(Mark::Close, "\",\" or \")\" after a number of shift"))
            return -1;
        return add(NodeSort::Shift, Mark::Open, joined(begin, tree.tokens.list[at - 1].place),
                   first, count, fieldToken);
    }

    bool readOffset() {
        const bool isNegative = accept(Mark::Minus);
        if (!isNegative)
            accept(Mark::Plus);
        const Token digits = next();
        std::int32_t number = 0;
        if (digits.mark != Mark::Number || readNumber(digits.text, number) != std::errc())
            return fail(digits.place,
                        "shift takes a whole number for each axis, written as a number",
                        "write rows, then columns, such as shift(height, 1, 0)");
        take();
        tree.offsets.push_back(isNegative ? -std::int64_t{number} : number);
        return true;
    }

    Complaints& complaints;
    Tree tree;
    std::vector<std::int32_t> pending; ///< arguments of calls that are not complete
    std::size_t at = 0;
    int depth = 0;
    bool hasFailed = false;
};

} // namespace

Tree parseFormula(std::string_view text, Complaints& complaints) {
    return Parser(text, complaints).read();
}

} // namespace Fenlet::Formulas
