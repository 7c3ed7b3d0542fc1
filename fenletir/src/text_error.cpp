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

/// The character at `offset`, or a substitute if it cannot be shown.
std::string shownAt(std::string_view text, std::size_t offset) {
    if (const std::size_t length = shownCharacter(text, offset); length > 0)
        return std::string(text.substr(offset, length));
    return text[offset] == '\t' ? " " : "?";
}

/// How many cells that takes.
std::size_t cellsAt(std::string_view text, std::size_t offset) {
    return shownCharacter(text, offset) > 0 ? cellsOfCharacter(text, offset) : 1;
}

/// `line`, safe to print on a terminal, and below it carets under the bytes from `place` to `end`.
std::string withCarets(std::string_view line, std::size_t place, std::size_t end) {
    std::size_t begin = place > shownAround ? place - shownAround : 0;
    for (int step = 0; step < 3 && begin > 0 && isContinuation(line[begin]); ++step)
        --begin;
    const std::size_t shownEnd = std::min(line.size(), place + shownAround);
    std::string shown = begin > 0 ? "..." : "";
    std::size_t blanks = shown.size();
    std::size_t carets = 0;
    for (std::size_t offset = begin; offset < shownEnd;) {
        const std::size_t cells = cellsAt(line, offset);
        shown += shownAt(line, offset);
        blanks += offset < place ? cells : 0;
        carets += offset >= place && offset < end ? cells : 0;
        offset += characterLength(line, offset);
    }
    if (shownEnd < line.size())
        shown += "...";
    return shown + "\n" + std::string(blanks, ' ') +
           std::string(std::max<std::size_t>(carets, 1), '^');
}

/// How many characters are seen in `piece`.
std::size_t seenCharacters(std::string_view piece) {
    std::size_t count = 0;
    for (std::size_t offset = 0; offset < piece.size();) {
        count += cellsAt(piece, offset) > 0;
        offset += characterLength(piece, offset);
    }
    return count;
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

std::string nearInWords(const NearName& near) {
    const std::string question = near.question();
    return question.empty() ? "" : "; " + question;
}

ParseError errorAt(std::string_view text, std::size_t offset, std::size_t bytes,
                   std::string message) {
    const Diagnostic found = diagnosticAt(text, {offset, bytes, 0}, std::move(message), "");
    return {found.line, found.column, found.wrong, found.shown};
}

} // namespace Fenlet::Text

namespace Fenlet {

using namespace Text;

Diagnostic diagnosticAt(std::string_view text, SourceSpan span, std::string wrong,
                        std::string right) {
    const std::size_t offset = span.offset;
    const std::size_t before = offset == 0 ? std::string_view::npos : text.rfind('\n', offset - 1);
    const std::size_t begin =
        before == std::string_view::npos ? std::min(byteOrderMark(text), offset) : before + 1;
    std::string_view line = text.substr(begin, text.find('\n', offset) - begin);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    const std::size_t place = std::min(offset - begin, line.size());
    const std::size_t bytes = std::min(span.bytes, line.size() - place);
    Diagnostic result;
    result.line = lineNumber(text, offset);
    result.column = narrowed(seenCharacters(line.substr(0, place)) + 1);
    result.length = narrowed(std::max<std::size_t>(1, seenCharacters(line.substr(place, bytes))));
    result.span = {offset, span.bytes, result.line};
    result.wrong = std::move(wrong);
    result.right = std::move(right);
    result.shown = withCarets(line, place, place + bytes);
    return result;
}

std::string describeDiagnostic(const Diagnostic& diagnostic, std::string_view where) {
    std::string words(where);
    if (!words.empty())
        words += ':';
    words += std::to_string(diagnostic.line);
    words += ':';
    words += std::to_string(diagnostic.column);
    words += ": error: ";
    words += diagnostic.message();
    words += '\n';
    words += diagnostic.shown;
    return words;
}

} // namespace Fenlet
