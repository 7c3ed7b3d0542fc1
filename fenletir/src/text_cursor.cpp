#include "text_cursor.h"

#include "text_words.h"

#include <algorithm>

namespace Fenlet::Text {
namespace {

std::optional<int> hexDigit(char byte) {
    if (isDigit(byte))
        return byte - '0';
    if (byte >= 'a' && byte <= 'f')
        return byte - 'a' + 10;
    if (byte >= 'A' && byte <= 'F')
        return byte - 'A' + 10;
    return std::nullopt;
}

} // namespace

TextCursor::TextCursor(std::string_view newText) : text(newText), place(byteOrderMark(newText)) {}

void TextCursor::skipSpace() {
    skipWhile([](char byte, char) { return byte == ' ' || byte == '\t' || byte == '\r'; });
    if (place < text.size() && text[place] == '#')
        skipWhile([](char byte, char) { return byte != '\n'; });
}

bool TextCursor::isAtLineEnd() {
    skipSpace();
    return isAtTextEnd() || text[place] == '\n';
}

void TextCursor::nextLine() {
    if (!isAtTextEnd())
        ++place;
}

char TextCursor::peek() {
    skipSpace();
    return isAtTextEnd() ? '\0' : text[place];
}

bool TextCursor::accept(char byte) {
    skipSpace();
    return acceptHere({&byte, 1});
}

bool TextCursor::acceptHere(std::string_view letters) {
    if (text.substr(place, letters.size()) != letters)
        return false;
    place += letters.size();
    return true;
}

bool TextCursor::acceptWord(std::string_view wanted) {
    skipSpace();
    const std::size_t end = place + wanted.size();
    return !(end < text.size() && isWordByte(text[end])) && acceptHere(wanted);
}

bool TextCursor::expect(char byte, const char* where) {
    return accept(byte) || failExpecting(std::string("\"") + byte + "\" " + where);
}

std::string_view TextCursor::bareName() {
    skipSpace();
    const std::size_t begin = place;
    place += bareNameLength(text, place);
    return since(begin);
}

std::string_view TextCursor::thingAt(std::size_t offset) const {
    TextCursor next(text);
    next.goBack(offset);
    if (next.isAtLineEnd())
        return {};
    const std::size_t begin = next.place;
    next.place += bareNameLength(text, begin);
    next.skipWhile([](char byte, char) { return isWordByte(byte); });
    if (next.place == begin)
        next.place += std::max<std::size_t>(1, visibleCharacter(text, begin));
    // Includes the continuation bytes of a character that cannot be shown.
    next.skipWhile(
        [](char byte, char) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; });
    return next.since(begin);
}

std::string TextCursor::nameOfThing(std::string_view thing) {
    return thing.empty() ? "the end of the line" : cited(thing);
}

std::string_view TextCursor::nextWord() {
    skipSpace();
    return thingAt(place);
}

bool TextCursor::isAtName() {
    return peek() == '"' || bareNameLength(text, place) > 0;
}

std::optional<std::string> TextCursor::name(const char* example) {
    if (peek() == '"')
        return quotedName();
    const std::string_view bare = bareName();
    if (!bare.empty())
        return std::string(bare);
    failExpecting(std::string("a name such as ") + example + " or \"any words\"");
    return std::nullopt;
}

std::optional<std::string> TextCursor::quotedName() {
    const std::size_t begin = place++;
    std::string name;
    while (!isAtTextEnd() && text[place] != '\n') {
        const char byte = text[place++];
        if (byte == '"')
            return name;
        const std::optional<char> value = byte == '\\' ? escape() : byte;
        if (!value)
            return std::nullopt;
        name += *value;
    }
    fail(begin, "this quoted name does not end on its line");
    return std::nullopt;
}

/// Reads the rest of an escape in a quoted name, after its backslash.
std::optional<char> TextCursor::escape() {
    const std::size_t begin = place - 1;
    const char kind = isAtTextEnd() ? '\0' : text[place++];
    if (kind == '"' || kind == '\\')
        return kind;
    if (kind == 'n')
        return '\n';
    if (kind == 't')
        return '\t';
    if (kind == 'x' && text.size() - place >= 2) {
        const std::optional<int> high = hexDigit(text[place]);
        const std::optional<int> low = hexDigit(text[place + 1]);
        if (high && low) {
            place += 2;
            return static_cast<char>(static_cast<unsigned char>(*high * 16 + *low));
        }
    }
    fail(begin, "in a quoted name a backslash begins \\\\, \\\", \\n, \\t or two hexadecimal "
                "digits such as \\x0d");
    return std::nullopt;
}

bool TextCursor::fail(std::size_t where, std::string words) {
    if (!hasFailed()) {
        failure = where;
        message = std::move(words);
    }
    return false;
}

bool TextCursor::failExpecting(const std::string& expected, const NearName& near) {
    skipSpace();
    return fail(place, "expected " + expected + ", found " + nextThing() + nearInWords(near));
}

} // namespace Fenlet::Text
