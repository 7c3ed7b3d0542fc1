#include "text_words.h"

#include "formats.h"
#include "op_codes.h"

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

} // namespace

std::size_t visibleCharacter(std::string_view text, std::size_t offset) {
    const unsigned char first = byteAt(text, offset);
    if (first < 0x80)
        return first >= 0x20 && first != 0x7f ? 1 : 0;
    const std::size_t length = sequenceLength(first);
    if (length == 0)
        return 0;
    std::uint32_t character = first & (0x7fu >> length);
    for (std::size_t next = 1; next < length; ++next) {
        const unsigned char byte = byteAt(text, offset + next);
        if ((byte & 0xc0) != 0x80)
            return 0;
        character = character << 6 | (byte & 0x3fu);
    }
    // Only the shortest encoding of a character is well-formed.
    const bool isOverlong =
        (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
    return !isOverlong && showsItself(character) ? length : 0;
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
