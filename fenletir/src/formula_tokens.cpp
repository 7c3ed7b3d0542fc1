#include "formula_tokens.h"

#include "text_cursor.h"
#include "text_words.h"

#include <cstddef>

namespace Fenlet::Formulas {
namespace {

using namespace Text;

/// Characters that people or their programs put in place of one that the language knows.
const char* asciiFor(std::uint32_t character) {
    switch (character) {
    case 0x2010: // hyphen
    case 0x2011: // non-breaking hyphen
    case 0x2012: // figure dash
    case 0x2013: // en dash
    case 0x2014: // em dash
    case 0x2212: // minus sign
    case 0xfe63: // small hyphen-minus
        return "-";
    case 0xb7:   // middle dot
    case 0xd7:   // multiplication sign
    case 0x2217: // asterisk operator
    case 0x22c5: // dot operator
        return "*";
    case 0xf7:   // division sign
    case 0x2044: // fraction slash
    case 0x2215: // division slash
        return "/";
    case 0x2260:
        return "!=";
    case 0x2264:
        return "<=";
    case 0x2265:
        return ">=";
    case 0xab: // quotation marks
    case 0xbb:
    case 0x2018:
    case 0x2019:
    case 0x201c:
    case 0x201d:
    case 0x201e:
        return "\"";
    case 0xb2:
        return "**2";
    case 0xb3:
        return "**3";
    case 0xac:
        return "not";
    case 0x2227:
        return "and";
    case 0x2228:
        return "or";
    default:
        return nullptr;
    }
}

bool isOtherSpace(std::uint32_t character) {
    return character == 0xa0 || character == 0x1680 ||
           (character >= 0x2000 && character <= 0x200b) || character == 0x202f ||
           character == 0x205f || character == 0x3000 || character == 0xfeff;
}

/// What to write for a look-alike; empty if the character is none.
std::string meantBy(std::uint32_t character) {
    if (character >= 0xff01 && character <= 0xff5e)
        return {static_cast<char>(character - 0xfee0)};
    const char* const meant = asciiFor(character);
    return meant ? meant : "";
}

std::string codePoint(std::uint32_t character) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string number;
    for (; character > 0 || number.size() < 4; character >>= 4)
        number.insert(number.begin(), digits[character & 15]);
    return "U+" + number;
}

/// Marks of other languages, the longest first.
constexpr struct {
    std::string_view mark;
    const char* wrong;
    const char* right;
} foreignMarks[] = {
    {"===", "\"===\" is no comparison", "write =="},
    {"!==", "\"!==\" is no comparison", "write !="},
    {"//", "a formula has no //", "write quotient(a, b), which rounds toward zero"},
    {"&&", "\"&&\" is no operator", "write and"},
    {"||", "\"||\" is no operator", "write or"},
    {"<>", "\"<>\" is no comparison", "write !="},
    {"=<", "\"=<\" is no comparison", "write <="},
    {"=>", "\"=>\" is no comparison", "write >="},
    {"<<", "bits cannot be shifted", "write a product, such as x * 4"},
    {">>", "bits cannot be shifted", "write a quotient, such as quotient(x, 4)"},
    {"+=", "a name gets its value once", "write a new name, such as b = a + 1"},
    {"-=", "a name gets its value once", "write a new name, such as b = a - 1"},
    {"*=", "a name gets its value once", "write a new name, such as b = a * 2"},
    {"/=", "a name gets its value once", "write a new name, such as b = a / 2"},
    {"%", "a formula has no %", "write remainder(a, b), which has the sign of a"},
    {"^", "\"^\" is no operator", "write x**2 for a power"},
    {"!", "\"!\" is no operator", "write not"},
    {"?", "\"?\" is no operator", "write where(condition, a, b)"},
    {";", "a line has one statement", "begin a new line"},
    {"'", "a name is not written in single quotes", "write double quotes, such as \"sea level\""},
    {"`", "a name is not written in backquotes", "write double quotes, such as \"sea level\""},
    {"{", "braces have no meaning here", "write ( and )"},
    {"}", "braces have no meaning here", "write ( and )"},
    {"@", "\"@\" is no operator", "write dot(a, b) for the product of two vectors"},
};

/// The mark of one character, or `None`.
Mark markOf(char byte) {
    switch (byte) {
    case '(':
        return Mark::Open;
    case ')':
        return Mark::Close;
    case '[':
        return Mark::OpenBracket;
    case ']':
        return Mark::CloseBracket;
    case ',':
        return Mark::Comma;
    case ':':
        return Mark::Colon;
    case '.':
        return Mark::Dot;
    case '=':
        return Mark::Assign;
    case '+':
        return Mark::Plus;
    case '-':
        return Mark::Minus;
    case '*':
        return Mark::Times;
    case '/':
        return Mark::Over;
    case '<':
        return Mark::Less;
    case '>':
        return Mark::Greater;
    case '&':
        return Mark::Ampersand;
    case '|':
        return Mark::Bar;
    case '~':
        return Mark::Tilde;
    default:
        return Mark::None;
    }
}

/// Whether a mark of several characters can go on with this one.
bool continuesMark(char byte) {
    return byte == '=' || byte == '*' || byte == '/' || byte == '&' || byte == '|' || byte == '<' ||
           byte == '>';
}

constexpr struct {
    std::string_view text;
    Mark mark;
} longMarks[] = {
    {"**", Mark::Power}, {"<=", Mark::LessEqual}, {">=", Mark::GreaterEqual},
    {"==", Mark::Equal}, {"!=", Mark::NotEqual},
};

class Lexer {
  public:
    Lexer(std::string_view newText, Complaints& newComplaints)
        : text(newText), complaints(newComplaints), place(byteOrderMark(newText)) {}

    Tokens read() {
        tokens.list.reserve(text.size() / 2 + 8);
        while (place < text.size())
            readOne();
        lineEnd();
        return std::move(tokens);
    }

  private:
    char at(std::size_t offset) const { return offset < text.size() ? text[offset] : '\0'; }

    void readOne() {
        const char byte = text[place];
        if (byte == ' ' || byte == '\t' || byte == '\r')
            ++place;
        else if (byte == '#')
            place = std::min(text.find('\n', place), text.size());
        else if (byte == '\n')
            readLineEnd();
        else if (byte == '"')
            readQuotedName();
        else if (isDigit(byte) || (byte == '.' && isDigit(at(place + 1)) && !isAfterValue()))
            readNumberToken();
        else if (const std::size_t length = nameLength(place))
            readWord(length);
        else
            readMark();
    }

    void push(Mark mark, std::size_t length) {
        tokens.list.push_back({mark, text.substr(place, length), {place, length, line}});
        place += length;
    }

    /// Only the first such token of a line is reported: quotation marks come in pairs.
    void bad(std::size_t length, std::string wrong, std::string right) {
        if (lastBadLine != line)
            complaints.add({place, length, line}, std::move(wrong), std::move(right));
        lastBadLine = line;
        push(Mark::Bad, length);
    }

    void lineEnd() {
        push(Mark::LineEnd, 0);
        depth = 0;
    }

    void readLineEnd() {
        if (depth == 0 || beginsStatement(place + 1))
            lineEnd();
        ++place;
        ++line;
    }

    void skipBlanks(std::size_t& offset) const {
        while (at(offset) == ' ' || at(offset) == '\t')
            ++offset;
    }

    /// Whether a line begins like a statement, so that it does not continue an expression.
    bool beginsStatement(std::size_t offset) const {
        skipBlanks(offset);
        const std::size_t length = nameLength(offset);
        const std::string_view word = text.substr(std::min(offset, text.size()), length);
        offset += length;
        skipBlanks(offset);
        if (length == 0)
            return false;
        if (at(offset) == '=' && at(offset + 1) != '=')
            return true;
        const bool isKeyword = word == "field" || word == "grid" || word == "uniform" ||
                               word == "sampler" || word == "output";
        return isKeyword && (nameLength(offset) > 0 || at(offset) == '"');
    }

    bool isAfterValue() const {
        if (tokens.list.empty())
            return false;
        const Token& last = tokens.list.back();
        const bool isValue = last.mark == Mark::Name || last.mark == Mark::QuotedName ||
                             last.mark == Mark::Number || last.mark == Mark::Close ||
                             last.mark == Mark::CloseBracket;
        return isValue && last.place.offset + last.place.bytes == place;
    }

    /// The length of the name at `offset`, which ends before a look-alike of a mark.
    std::size_t nameLength(std::size_t offset) const {
        std::size_t end = offset;
        while (end < text.size()) {
            const auto byte = static_cast<unsigned char>(text[end]);
            if (byte < 0x80) {
                if (!isWordByte(text[end]) || (end == offset && isDigit(text[end])))
                    break;
                ++end;
                continue;
            }
            const std::size_t length = visibleCharacter(text, end);
            if (length == 0 || !meantBy(characterAt(text, end)).empty())
                break;
            end += length;
        }
        return end - offset;
    }

    void readWord(std::size_t length) {
        const std::string_view word = text.substr(place, length);
        push(word == "and"   ? Mark::And
             : word == "or"  ? Mark::Or
             : word == "not" ? Mark::Not
                             : Mark::Name,
             length);
    }

    void readQuotedName() {
        TextCursor cursor(text);
        cursor.goBack(place);
        const auto name = cursor.name("");
        const std::size_t length = cursor.offset() - place;
        if (!name) {
            const std::size_t end = std::min(text.find('\n', place), text.size());
            // Either it does not end, or a backslash begins no escape.
            const bool isOpen = text.find('"', place + 1) >= end;
            bad(end - place, cursor.failureInWords(),
                isOpen ? "write \" after it" : "write \\\\ for a backslash");
            return;
        }
        tokens.unquoted.push_back(*name);
        push(Mark::QuotedName, length);
        tokens.list.back().text = tokens.unquoted.back();
    }

    void readNumberToken() {
        std::size_t end = place;
        const bool isHexadecimal = at(place) == '0' && (at(place + 1) | 0x20) == 'x';
        for (char before = 0; end < text.size(); before = text[end++]) {
            const char byte = text[end];
            const bool isSign = (byte == '-' || byte == '+') && (before | 0x20) == 'e';
            if (!isWordByte(byte) && (isHexadecimal || (byte != '.' && !isSign)))
                break;
        }
        push(Mark::Number, end - place);
    }

    void readMark() {
        const Mark single = markOf(text[place]);
        if (single != Mark::None && !continuesMark(at(place + 1)))
            return readKnownMark(single, 1);
        const std::string_view rest = text.substr(place);
        for (const auto& foreign : foreignMarks)
            // "!=" is a mark, "!" is not.
            if (rest.starts_with(foreign.mark) && !(foreign.mark == "!" && at(place + 1) == '='))
                return bad(foreign.mark.size(), foreign.wrong, foreign.right);
        for (const auto& known : longMarks)
            if (rest.starts_with(known.text))
                return readKnownMark(known.mark, known.text.size());
        if (single != Mark::None)
            return readKnownMark(single, 1);
        readUnknown();
    }

    void readKnownMark(Mark mark, std::size_t length) {
        if (mark == Mark::Open || mark == Mark::OpenBracket)
            ++depth;
        if ((mark == Mark::Close || mark == Mark::CloseBracket) && depth > 0)
            --depth;
        push(mark, length);
    }

    void readUnknown() {
        const std::uint32_t character = characterAt(text, place);
        std::size_t length = 1;
        while (place + length < text.size() &&
               (static_cast<unsigned char>(text[place + length]) & 0xc0) == 0x80)
            ++length;
        if (character == 0)
            return bad(1, "this byte is no character", "write the text in UTF-8");
        if (isOtherSpace(character))
            return bad(length, codePoint(character) + " is not an ordinary space", "write a space");
        std::string shown = codePoint(character);
        if (shownCharacter(text, place) > 0)
            shown = std::string(text.substr(place, length)).append(" (").append(shown).append(")");
        if (const std::string meant = meantBy(character); !meant.empty())
            return bad(length, shown + " is not in the language", "write " + meant);
        bad(length, shown + " is not in the language", "names are quoted, such as \"sea level\"");
    }

    std::string_view text;
    Complaints& complaints;
    Tokens tokens;
    std::size_t place;
    int line = 1;
    int lastBadLine = 0;
    int depth = 0; ///< of parentheses and brackets that are open
};

} // namespace

Tokens readTokens(std::string_view text, Complaints& complaints) {
    return Lexer(text, complaints).read();
}

} // namespace Fenlet::Formulas
