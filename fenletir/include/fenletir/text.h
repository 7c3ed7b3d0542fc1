// Programs as text: writing them for people, and reading them back.
#pragma once

#include <fenletir/diagnostic.h>
#include <fenletir/export.h>
#include <fenletir/program.h>

#include <string>
#include <string_view>
#include <vector>

namespace Fenlet {

/// The program as text, one instruction per line, in aligned columns:
///
///     field elevation
///
///     %0 index  : i64 = ElementIndex
///     %1 height : f32 = LoadField elevation[%0]
///
///     output height
///
/// The text shows every part of the records exactly, even for a program that no backend accepts.
/// `parseProgram` therefore reads back the identical program. The text is valid UTF-8 without
/// control characters, and each line ends with a line feed. An empty program gives an empty text.
FENLETIR_API std::string listing(const FenletProgram& program);

/// The same with a comment beside each instruction: the piece of `source` that it came from, and
/// the line of that piece:
///
///     %3 : f32 = Subtract %1, %2  # 1: nir - red
///
/// `places` has the place in `source` of each instruction, such as `FormulaResult::places`.
FENLETIR_API std::string listing(const FenletProgram& program, std::string_view source,
                                 const std::vector<SourceSpan>& places);

/// Why a text cannot be read.
struct ParseError {
    int line = 0;        ///< from 1
    int column = 0;      ///< from 1, in characters as they are seen; see `diagnosticAt`
    std::string message; ///< what is wrong or was expected; empty only if there is no error
    std::string shown;   ///< the line, shortened if it is long, and below it a caret at the column
};

/// The result of reading a text: the program, or the first error.
struct ParseResult {
    FenletProgram program;  ///< empty unless `ok()`
    std::vector<int> lines; ///< the line of each instruction, from 1; empty unless `ok()`
    ParseError error;
    std::vector<SourceSpan> places; ///< the statement of each instruction; empty unless `ok()`

    bool ok() const { return error.message.empty(); }
};

/// Reads a program's text, written by `listing` or by hand. A text written by hand can have
/// comments from `#` to the end of the line, any spacing, registers by name instead of number,
/// constants where they are used, and fields, uniforms and samplers without declaration.
/// docs/program-text.md has the grammar.
///
/// Any bytes are allowed. The memory needed depends on the length of the text, not on the numbers
/// in it. If an allocation fails, the allocator's exception passes through. Only the text is
/// checked, not the program: the result can be a program that no backend accepts.
FENLETIR_API ParseResult parseProgram(std::string_view text);

} // namespace Fenlet
