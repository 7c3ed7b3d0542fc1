// What is wrong with a text and where, in one style for every reader of text.
#pragma once

#include <fenletir/export.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Fenlet {

/// A piece of a text.
struct SourceSpan {
    std::size_t offset = 0; ///< of its first byte
    std::size_t bytes = 0;  ///< how many bytes it has
    int line = 0;           ///< the line of its first byte, from 1; 0 if it is no piece of a text
};

/// Something wrong with a piece of a text.
struct Diagnostic {
    int line = 0;      ///< from 1
    int column = 0;    ///< from 1, in characters as they are seen; see `diagnosticAt`
    int length = 0;    ///< characters of the piece in its first line, at least 1
    SourceSpan span;   ///< the same place in bytes
    std::string wrong; ///< what is wrong
    std::string right; ///< what would be right; may be empty
    std::string shown; ///< the line, shortened if it is long, and below it carets under the piece

    /// What is wrong and what would be right, in one sentence.
    std::string message() const { return right.empty() ? wrong : wrong + "; " + right; }
};

/// The diagnostic for a piece of `text`. `span.offset` is at most the length of the text; the line
/// is counted here. A column counts what is seen: a byte order mark at the beginning of the text
/// and marks that combine with the character before them do not count, a byte that is not part of
/// a character counts as one. The carets also allow for characters that are two cells wide. Bytes
/// that could disturb a terminal are shown as `?`.
FENLETIR_API Diagnostic diagnosticAt(std::string_view text, SourceSpan span, std::string wrong,
                                     std::string right);

/// `where:line:column: error: what is wrong; what would be right`, then the line and the carets.
/// `where` names the text, such as a file; if it is empty, the message begins with the line.
FENLETIR_API std::string describeDiagnostic(const Diagnostic& diagnostic, std::string_view where);

} // namespace Fenlet
