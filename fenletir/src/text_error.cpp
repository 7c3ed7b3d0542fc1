// Errors for people: the position in the text, and the line with a caret below.
#include "text_cursor.h"
#include "text_words.h"

#include <algorithm>
#include <limits>

namespace Fenlet::Text {
namespace {

/// Bytes of the line that are shown on each side of the position.
constexpr std::size_t shownAround = 60;
constexpr std::size_t citedBytes = 40;

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

int narrowed(std::size_t number) {
    constexpr std::size_t most = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(number, most));
}

/// The character of `length` bytes at `offset`, or a substitute for a byte that cannot be shown.
std::string shownCharacter(std::string_view text, std::size_t offset, std::size_t length) {
    if (length > 0)
        return std::string(text.substr(offset, length));
    return text[offset] == '\t' ? " " : "?";
}

/// `line`, safe to print on a terminal, and a caret below byte `place`.
std::string withCaret(std::string_view line, std::size_t place) {
    std::size_t begin = place > shownAround ? place - shownAround : 0;
    for (int step = 0; step < 3 && begin > 0 && isContinuation(line[begin]); ++step)
        --begin;
    const std::size_t end = std::min(line.size(), place + shownAround);
    std::string shown = begin > 0 ? "..." : "";
    std::size_t caret = shown.size();
    for (std::size_t offset = begin; offset < end;) {
        const std::size_t length = visibleCharacter(line, offset);
        shown += shownCharacter(line, offset, length);
        caret += offset < place;
        offset += std::max<std::size_t>(length, 1);
    }
    if (end < line.size())
        shown += "...";
    return shown + "\n" + std::string(caret, ' ') + "^";
}

/// The column of byte `place` of `line`. A byte that is not part of a character counts as one.
std::size_t columnOf(std::string_view line, std::size_t place) {
    std::size_t column = 1;
    for (std::size_t offset = 0; offset < place; ++column)
        offset += std::max<std::size_t>(visibleCharacter(line, offset), 1);
    return column;
}

} // namespace

int lineNumber(std::string_view text, std::size_t offset) {
    const auto lineFeeds =
        std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(offset), '\n');
    return narrowed(static_cast<std::size_t>(lineFeeds) + 1);
}

std::string cited(std::string_view piece) {
    if (piece.size() <= citedBytes)
        return quoted(piece);
    std::size_t end = citedBytes;
    while (end > 0 && isContinuation(piece[end]))
        --end;
    return quoted(piece.substr(0, end)) + "...";
}

ParseError errorAt(std::string_view text, std::size_t offset, std::string message) {
    const std::size_t before = offset == 0 ? std::string_view::npos : text.rfind('\n', offset - 1);
    const std::size_t begin = before == std::string_view::npos ? 0 : before + 1;
    std::string_view line = text.substr(begin, text.find('\n', offset) - begin);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    const std::size_t place = std::min(offset - begin, line.size());
    return {lineNumber(text, offset), narrowed(columnOf(line, place)), std::move(message),
            withCaret(line, place)};
}

} // namespace Fenlet::Text
