// Splits a formula into tokens.
#pragma once

#include "formula_complaints.h"

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace Fenlet::Formulas {

enum class Mark : std::uint8_t {
    None,
    LineEnd, ///< also the end of the text
    Number,
    Name,
    QuotedName, ///< never a word of the language
    Bad,        ///< cannot be read; the error is already reported
    Open,
    Close,
    OpenBracket,
    CloseBracket,
    Comma,
    Colon,
    Dot,
    Assign,
    Plus,
    Minus,
    Times,
    Over,
    Power,
    Less,
    LessEqual,
    Greater,
    GreaterEqual,
    Equal,
    NotEqual,
    Ampersand,
    Bar,
    Tilde,
    And, ///< the words are marks, too
    Or,
    Not,
};

struct Token {
    Mark mark = Mark::LineEnd;
    std::string_view text; ///< as written; of a quoted name, what it means
    SourceSpan place;
};

struct Tokens {
    std::vector<Token> list; ///< ends with a `LineEnd`
    std::deque<std::string> unquoted;
};

/// Splits `text`. A line end within parentheses or brackets is no token, unless the next line
/// begins a statement: then the parentheses were left open.
Tokens readTokens(std::string_view text, Complaints& complaints);

} // namespace Fenlet::Formulas
