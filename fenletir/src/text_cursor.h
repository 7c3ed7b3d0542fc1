// Walking through a text, and telling where it cannot be read.
#pragma once

#include <fenletir/text.h>

#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace Fenlet::Text {

/// The line and column of `offset` in `text`, 0 to its length, with the line shown.
ParseError errorAt(std::string_view text, std::size_t offset, std::string message);

/// The number of the line that `offset` is in, from 1.
int lineNumber(std::string_view text, std::size_t offset);

/// `piece` in quotes, cut if it is long: for a message.
std::string cited(std::string_view piece);

/// A place in a text. What it reads it reads within a line.
///
/// A reader that cannot go on calls `fail` and answers false or nothing; all its callers do the
/// same. Only the first failure counts.
class TextCursor {
  public:
    explicit TextCursor(std::string_view newText) : text(newText) {}

    std::size_t offset() const { return place; }
    bool isAtTextEnd() const { return place == text.size(); }

    /// Skips blanks, then a comment.
    void skipSpace();
    /// Whether nothing is left on the line but blanks and a comment.
    bool isAtLineEnd();
    /// Goes past the end of a line that `isAtLineEnd` found.
    void nextLine();

    /// The next byte after blanks, 0 at the end of the text.
    char peek();
    /// Skips blanks and `byte`, if it is there.
    bool accept(char byte);
    /// The same, with a failure that expects `byte` `where` if it is not.
    bool expect(char byte, const char* where);
    /// Skips `letters` if they come right here, without blanks.
    bool acceptHere(std::string_view letters);

    /// Skips blanks and `wanted`, if just that word is next.
    bool acceptWord(std::string_view wanted);

    void goBack(std::size_t offset) { place = offset; }

    /// The name without quotes that comes after blanks; empty if none does.
    std::string_view bareName();
    /// What comes after blanks, for a message: a word, one other character, or the end of the line.
    std::string nextThing() const;

    bool isAtName();
    /// A bare or quoted name, after blanks. `example` is shown where there is none.
    std::optional<std::string> name(const char* example);

    /// A whole number without blanks before it. Fails if there is none, or `Number` cannot hold it.
    template <class Number>
    std::optional<Number> number(const char* what) {
        Number value = 0;
        const char* begin = text.data() + place;
        const std::from_chars_result end = std::from_chars(begin, text.data() + text.size(), value);
        if (end.ec == std::errc::invalid_argument)
            return unreadable(std::string("expected ") + what + ", found " + nextThing());
        if (end.ec == std::errc::result_out_of_range)
            return unreadable(std::string(what) + " is out of range");
        place += static_cast<std::size_t>(end.ptr - begin);
        return value;
    }

    /// The bytes from `begin` to here.
    std::string_view since(std::size_t begin) const { return text.substr(begin, place - begin); }
    /// Goes on while `belongs` takes the next byte, given the one before it.
    template <class Predicate>
    void skipWhile(Predicate belongs) {
        for (char before = 0; place < text.size() && belongs(text[place], before); ++place)
            before = text[place];
    }

    bool fail(std::size_t where, std::string words);
    /// Fails here, with what was expected and what is there.
    bool failExpecting(const std::string& expected);
    bool hasFailed() const { return !message.empty(); }
    ParseError error() const { return errorAt(text, failure, message); }
    int lineOf(std::size_t where) const { return lineNumber(text, where); }

  private:
    std::nullopt_t unreadable(std::string words) {
        fail(place, std::move(words));
        return std::nullopt;
    }
    std::optional<std::string> quotedName();
    std::optional<char> escape();

    std::string_view text;
    std::size_t place = 0;
    std::size_t failure = 0;
    std::string message;
};

} // namespace Fenlet::Text
