// Steps through a text, and reports where it cannot be read.
#pragma once

#include <fenletir/near_name.h>
#include <fenletir/text.h>

#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace Fenlet::Text {

/// An error at the `bytes` from `offset` on, which is at most the length of `text`, with the line
/// shown.
ParseError errorAt(std::string_view text, std::size_t offset, std::size_t bytes,
                   std::string message);

/// The line number of `offset`, from 1.
int lineNumber(std::string_view text, std::size_t offset);

/// `piece` in quotes for a message, shortened if it is long.
std::string cited(std::string_view piece);

/// `; did you mean "height"?`, or empty.
std::string nearInWords(const NearName& near);

/// A position in a text. All reading stays within a line.
///
/// A function that cannot continue calls `fail` and returns false or nothing. Its caller then
/// returns false or nothing, too. Only the first failure is kept.
class TextCursor {
  public:
    /// Begins after a byte order mark.
    explicit TextCursor(std::string_view newText);

    std::size_t offset() const { return place; }
    bool isAtTextEnd() const { return place == text.size(); }

    /// Skips blanks, then a comment.
    void skipSpace();
    /// Whether only blanks and a comment are left on the line.
    bool isAtLineEnd();
    /// Moves past the line end at which the cursor is.
    void nextLine();

    /// The next byte after blanks, 0 at the end of the text.
    char peek();
    /// Skips blanks, then `byte` if it is next. Returns whether it was.
    bool accept(char byte);
    /// Skips blanks, then `byte`. Fails if `byte` is not next; `where` says in the message where it
    /// is expected.
    bool expect(char byte, const char* where);
    /// Skips `letters` if they are next, without blanks before them.
    bool acceptHere(std::string_view letters);

    /// Skips blanks, then `wanted` if it is the next whole word. Returns whether it was.
    bool acceptWord(std::string_view wanted);

    void goBack(std::size_t offset) { place = offset; }

    /// Reads a name without quotes after blanks. Empty if there is none.
    std::string_view bareName();
    /// What comes next after blanks, for a message: a word, another character, or the end of the
    /// line.
    std::string nextThing() const { return nameOfThing(thingAt(place)); }

    bool isAtName();
    /// Reads a bare or quoted name after blanks. If there is none, the message shows `example`.
    std::optional<std::string> name(const char* example);

    /// Reads an integer without blanks before it. Fails if there is none or `Number` cannot hold
    /// it.
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
    /// Advances while `belongs(next, before)` is true. `next` is the next byte. `before` is the
    /// byte skipped last, 0 at first.
    template <class Predicate>
    void skipWhile(Predicate belongs) {
        for (char before = 0; place < text.size() && belongs(text[place], before); ++place)
            before = text[place];
    }

    bool fail(std::size_t where, std::string words);
    /// Fails at this position. The message says what was expected and what was found, and the name
    /// that `near` has found, if any.
    bool failExpecting(const std::string& expected, const NearName& near = NearName(""));
    /// The word that is next after blanks, for a `NearName`.
    std::string_view nextWord();
    bool hasFailed() const { return !message.empty(); }
    const std::string& failureInWords() const { return message; }
    ParseError error() const { return errorAt(text, failure, thingAt(failure).size(), message); }
    int lineOf(std::size_t where) const { return lineNumber(text, where); }

  private:
    std::nullopt_t unreadable(std::string words) {
        fail(place, std::move(words));
        return std::nullopt;
    }
    /// The thing after blanks at `offset`: a word, another character, or nothing at the end of the
    /// line.
    std::string_view thingAt(std::size_t offset) const;
    static std::string nameOfThing(std::string_view thing);
    std::optional<std::string> quotedName();
    std::optional<char> escape();

    std::string_view text;
    std::size_t place = 0;
    std::size_t failure = 0;
    std::string message;
};

} // namespace Fenlet::Text
