#include "text_words.h"

#include "formats.h"
#include "op_codes.h"

#include <algorithm>
#include <iterator>

namespace Fenlet::Text {
namespace {

unsigned char byteAt(std::string_view text, std::size_t offset) {
    return offset < text.size() ? static_cast<unsigned char>(text[offset]) : 0;
}

/// The length of a UTF-8 character whose first byte is `first`; 0 if no character begins with this
/// byte.
std::size_t sequenceLength(unsigned char first) {
    if (first >= 0xc2 && first <= 0xdf)
        return 2;
    if (first >= 0xe0 && first <= 0xef)
        return 3;
    return first >= 0xf0 && first <= 0xf4 ? 4 : 0;
}

bool showsItself(std::uint32_t character) {
    const bool isSpaceOrMark = character <= 0xa0 || character == 0xad || character == 0x061c ||
                               character == 0x1680 || character == 0x180e || character == 0x3000 ||
                               character == 0xfeff;
    const bool isPunctuationOfLayout = character >= 0x2000 && character <= 0x206f;
    const bool isSurrogate = character >= 0xd800 && character <= 0xdfff;
    const bool isSpecial = (character & 0xfff0) == 0xfff0 || character >= 0xe0000;
    return !isSpaceOrMark && !isPunctuationOfLayout && !isSurrogate && !isSpecial;
}

/// A character and its length in bytes; the length is 0 if no well-formed one begins at `offset`.
struct Decoded {
    std::uint32_t character = 0;
    std::size_t length = 0;
};

Decoded decode(std::string_view text, std::size_t offset) {
    const unsigned char first = byteAt(text, offset);
    if (first < 0x80)
        return {first, offset < text.size() ? std::size_t{1} : 0};
    const std::size_t length = sequenceLength(first);
    if (length == 0)
        return {};
    std::uint32_t character = first & (0x7fu >> length);
    for (std::size_t next = 1; next < length; ++next) {
        const unsigned char byte = byteAt(text, offset + next);
        if ((byte & 0xc0) != 0x80)
            return {};
        character = character << 6 | (byte & 0x3fu);
    }
    // Only the shortest encoding of a character is well-formed.
    const bool isOverlong =
        (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
    return isOverlong ? Decoded{} : Decoded{character, length};
}

struct CharacterRange {
    std::uint32_t first;
    std::uint32_t last;
};

bool isWithin(std::uint32_t character, const CharacterRange* begin, const CharacterRange* end) {
    const auto* range = std::find_if(begin, end, [character](const CharacterRange& candidate) {
        return character <= candidate.last;
    });
    return range != end && character >= range->first;
}

/// Marks that combine with the character before them, in ascending order: the common ones.
constexpr CharacterRange combining[] = {
    {0x0300, 0x036f}, {0x0483, 0x0489}, {0x0591, 0x05bd}, {0x0610, 0x061a},   {0x064b, 0x065f},
    {0x0900, 0x0902}, {0x093c, 0x093c}, {0x0941, 0x0948}, {0x094d, 0x094d},   {0x0e31, 0x0e31},
    {0x0e34, 0x0e3a}, {0x0e47, 0x0e4e}, {0x1ab0, 0x1aff}, {0x1dc0, 0x1dff},   {0x20d0, 0x20ff},
    {0x3099, 0x309a}, {0xfe00, 0xfe0f}, {0xfe20, 0xfe2f}, {0x1f3fb, 0x1f3ff},
};

/// Characters that take two cells of a terminal, in ascending order.
constexpr CharacterRange wide[] = {
    {0x1100, 0x115f},   {0x2e80, 0x303e},   {0x3041, 0x4dbf},   {0x4e00, 0xa4cf},
    {0xa960, 0xa97f},   {0xac00, 0xd7a3},   {0xf900, 0xfaff},   {0xfe30, 0xfe6f},
    {0xff01, 0xff60},   {0xffe0, 0xffe6},   {0x1f300, 0x1f64f}, {0x1f680, 0x1f6ff},
    {0x1f900, 0x1f9ff}, {0x20000, 0x3fffd},
};

} // namespace

std::size_t visibleCharacter(std::string_view text, std::size_t offset) {
    const Decoded found = decode(text, offset);
    if (found.length <= 1)
        return found.character >= 0x20 && found.character != 0x7f ? found.length : 0;
    return showsItself(found.character) ? found.length : 0;
}

std::size_t shownCharacter(std::string_view text, std::size_t offset) {
    const Decoded found = decode(text, offset);
    const bool isMark = (found.character >= 0x2010 && found.character <= 0x2027) ||
                        (found.character >= 0x2030 && found.character <= 0x205e);
    return isMark ? found.length : visibleCharacter(text, offset);
}

std::size_t characterLength(std::string_view text, std::size_t offset) {
    return std::max<std::size_t>(1, decode(text, offset).length);
}

std::uint32_t characterAt(std::string_view text, std::size_t offset) {
    return decode(text, offset).character;
}

std::size_t cellsOfCharacter(std::string_view text, std::size_t offset) {
    const std::uint32_t character = decode(text, offset).character;
    if (character < 0x300)
        return 1;
    if (isWithin(character, std::begin(combining), std::end(combining)))
        return 0;
    return isWithin(character, std::begin(wide), std::end(wide)) ? 2 : 1;
}

std::size_t byteOrderMark(std::string_view text) {
    constexpr std::string_view mark = "\xef\xbb\xbf";
    return text.starts_with(mark) ? mark.size() : 0;
}

bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

bool isWordByte(char byte) {
    return isDigit(byte) || byte == '_' || (byte >= 'a' && byte <= 'z') ||
           (byte >= 'A' && byte <= 'Z');
}

std::size_t bareNameLength(std::string_view text, std::size_t offset) {
    std::size_t end = offset;
    while (end < text.size()) {
        const std::size_t length = visibleCharacter(text, end);
        if (length == 0 || (length == 1 && !isWordByte(text[end])))
            break;
        if (end == offset && isDigit(text[end]))
            break;
        end += length;
    }
    return end - offset;
}

std::size_t characterCount(std::string_view text) {
    std::size_t count = 0;
    for (const char byte : text)
        count += (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
    return count;
}

std::string quoted(std::string_view name) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text = "\"";
    for (std::size_t offset = 0; offset < name.size();) {
        const char byte = name[offset];
        const std::size_t length = visibleCharacter(name, offset);
        if (byte == '"' || byte == '\\')
            text += std::string("\\") + byte;
        else if (length > 0)
            text += name.substr(offset, length);
        else if (byte == '\n')
            text += "\\n";
        else if (byte == '\t')
            text += "\\t";
        else
            text += std::string("\\x") + digits[static_cast<unsigned char>(byte) >> 4] +
                    digits[static_cast<unsigned char>(byte) & 15];
        offset += length > 0 ? length : 1;
    }
    return text + '"';
}

std::string inOneLine(std::string_view piece) {
    constexpr std::size_t mostBytes = 60;
    std::string line;
    for (std::size_t offset = 0; offset < piece.size();) {
        const std::size_t length = visibleCharacter(piece, offset);
        if (line.size() + length > mostBytes)
            return line + "...";
        if (length > 0)
            line += piece.substr(offset, length);
        else if (piece[offset] != '\n' && piece[offset] != '\r' && piece[offset] != '\t')
            line += '?';
        else if (!line.empty() && line.back() != ' ')
            line += ' ';
        offset += std::max<std::size_t>(length, 1);
    }
    return line;
}

std::string nameText(std::string_view name) {
    const bool isBare = !name.empty() && bareNameLength(name, 0) == name.size();
    return isBare ? std::string(name) : quoted(name);
}

std::string typeText(const RegisterInfo& info) {
    std::string text = isFormat(info.format)
                           ? factsOf(info.format).word
                           : "format(" + std::to_string(static_cast<int>(info.format)) + ")";
    if (info.multiplicity != 1)
        text.append("x").append(std::to_string(info.multiplicity));
    return text;
}

std::string opCodeText(OpCode op) {
    return isOpCode(op) ? factsOf(op).name : std::to_string(static_cast<std::uint32_t>(op));
}

} // namespace Fenlet::Text
