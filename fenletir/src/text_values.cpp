#include "text_values.h"

#include "text_numbers.h"
#include "text_words.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace Fenlet::Text {
namespace {

/// One number as written in the text. Whether it becomes an integer or a real number depends on the
/// other numbers of its list.
struct Literal {
    std::size_t offset = 0;
    std::string_view text;
    bool isReal = false;
};

constexpr const char* numberExpected = "a number such as 12, 0.5 or -inf";

bool isExponentMark(char byte) {
    return byte == 'e' || byte == 'E';
}

bool belongsToNumber(char byte, char before) {
    const bool isSign = byte == '-' || byte == '+';
    return isWordByte(byte) || byte == '.' || (isSign && isExponentMark(before));
}

std::optional<Literal> readLiteral(TextCursor& cursor) {
    const char next = cursor.peek();
    Literal literal;
    literal.offset = cursor.offset();
    cursor.acceptHere("-");
    const std::size_t digits = cursor.offset();
    cursor.skipWhile(belongsToNumber);
    const std::string_view magnitude = cursor.since(digits);
    if (magnitude == "bits" && next != '-') {
        // In `bits(0x...)`, the parentheses belong to the number.
        cursor.skipWhile([](char byte, char before) {
            return before != ')' && (isWordByte(byte) || byte == '(' || byte == ')');
        });
        literal.isReal = true;
    } else if (magnitude == "inf" || magnitude == "nan") {
        literal.isReal = true;
    } else if (magnitude.empty() || !isDigit(magnitude.front())) {
        cursor.fail(literal.offset,
                    std::string("expected ") + numberExpected + ", found " +
                        (magnitude.empty() ? cursor.nextThing() : cited(magnitude)));
        return std::nullopt;
    } else {
        literal.isReal = magnitude.find_first_not_of("0123456789") != std::string_view::npos;
    }
    literal.text = cursor.since(literal.offset);
    return literal;
}

std::optional<std::int64_t> integerOf(TextCursor& cursor, const Literal& literal) {
    std::int64_t value = 0;
    if (readNumber(literal.text, value) == std::errc())
        return value;
    cursor.fail(literal.offset, literal.isReal
                                    ? "expected an integer, found " + cited(literal.text)
                                    : cited(literal.text) +
                                          " does not fit into 64 bits; a real number is written "
                                          "with a point or an exponent");
    return std::nullopt;
}

/// Reads a number written as its bits, such as `bits(0x7ff8000000000001)`.
std::optional<double> bitsOf(TextCursor& cursor, const Literal& literal) {
    constexpr std::string_view opening = "bits(0x";
    std::string_view digits = literal.text;
    std::uint64_t bits = 0;
    if (digits.starts_with(opening) && digits.ends_with(')')) {
        digits.remove_prefix(opening.size());
        digits.remove_suffix(1);
        if (readNumber(digits, bits, 16) == std::errc()) {
            double value = 0;
            std::memcpy(&value, &bits, sizeof value);
            return value;
        }
    }
    cursor.fail(literal.offset,
                "bits takes 1 to 16 hexadecimal digits, such as bits(0x7ff8000000000001)");
    return std::nullopt;
}

std::optional<double> realOf(TextCursor& cursor, const Literal& literal) {
    if (literal.text.starts_with("bits"))
        return bitsOf(cursor, literal);
    if (literal.text == "-nan") {
        cursor.fail(literal.offset,
                    "a NaN with a sign is written by its bits, such as bits(0xfff8000000000000)");
        return std::nullopt;
    }
    double value = 0;
    const std::errc problem = readNumber(literal.text, value);
    if (problem == std::errc())
        return value;
    const bool isOut = problem == std::errc::result_out_of_range;
    cursor.fail(literal.offset,
                cited(literal.text) +
                    (isOut ? " is out of range for a 64-bit real number" : " is not a number"));
    return std::nullopt;
}

/// Reads a list in parentheses, which can be empty.
std::optional<std::vector<Literal>> readList(TextCursor& cursor) {
    std::vector<Literal> list;
    if (!cursor.expect('(', "before a list of numbers"))
        return std::nullopt;
    if (cursor.accept(')'))
        return list;
    do {
        const std::optional<Literal> literal = readLiteral(cursor);
        if (!literal)
            return std::nullopt;
        list.push_back(*literal);
    } while (cursor.accept(','));
    if (!cursor.expect(')', "or \",\" in a list of numbers"))
        return std::nullopt;
    return list;
}

template <class Number>
bool convertList(TextCursor& cursor, const std::vector<Literal>& list, std::vector<Number>& values,
                 std::optional<Number> (*convert)(TextCursor&, const Literal&)) {
    for (const Literal& literal : list) {
        const std::optional<Number> value = convert(cursor, literal);
        if (!value)
            return false;
        values.push_back(*value);
    }
    return true;
}

/// Makes a constant of the list. If one number is real, all become real.
std::optional<Constant> numbersOf(TextCursor& cursor, const std::vector<Literal>& list) {
    bool isReal = false;
    for (const Literal& literal : list)
        isReal = isReal || literal.isReal;
    Constant constant;
    constant.multiplicity = static_cast<std::int32_t>(list.size());
    const bool isGood = isReal ? convertList(cursor, list, constant.reals, realOf)
                               : convertList(cursor, list, constant.integers, integerOf);
    return isGood ? std::optional<Constant>(std::move(constant)) : std::nullopt;
}

/// Reads the raw notation, such as `raw 3 255 (1, 2) (0.5)`: multiplicity, Tribool byte, integers
/// and reals.
std::optional<Constant> readRawConstant(TextCursor& cursor) {
    Constant constant;
    cursor.skipSpace();
    const auto multiplicity = cursor.number<std::int32_t>("the multiplicity");
    if (!multiplicity)
        return std::nullopt;
    cursor.skipSpace();
    const auto boolean = cursor.number<unsigned char>("the Tribool byte");
    if (!boolean)
        return std::nullopt;
    const auto integers = readList(cursor);
    if (!integers || !convertList(cursor, *integers, constant.integers, integerOf))
        return std::nullopt;
    const auto reals = readList(cursor);
    if (!reals || !convertList(cursor, *reals, constant.reals, realOf))
        return std::nullopt;
    constant.multiplicity = *multiplicity;
    constant.boolean = *boolean;
    return constant;
}

std::optional<Constant> readNumbers(TextCursor& cursor) {
    if (cursor.peek() != '(') {
        const std::optional<Literal> literal = readLiteral(cursor);
        return literal ? numbersOf(cursor, {*literal}) : std::nullopt;
    }
    const std::size_t begin = cursor.offset();
    const auto list = readList(cursor);
    if (list && list->empty())
        cursor.fail(begin, "a constant has at least one number");
    return list && !list->empty() ? numbersOf(cursor, *list) : std::nullopt;
}

} // namespace

std::optional<Constant> readConstant(TextCursor& cursor) {
    const struct {
        std::string_view word;
        unsigned char value;
    } truths[] = {{"false", 0}, {"true", 1}, {"unknown", 255}};
    cursor.skipSpace();
    for (const auto& truth : truths)
        if (cursor.acceptWord(truth.word))
            return Constant::ofTribool(truth.value);
    return cursor.acceptWord("raw") ? readRawConstant(cursor) : readNumbers(cursor);
}

} // namespace Fenlet::Text
