// Programs as text: writing one out for people, and reading it back.
#pragma once

#include <fenletir/export.h>
#include <fenletir/program.h>

#include <string>
#include <string_view>
#include <vector>

namespace Fenlet {

/// The program as text, one instruction a line, in aligned columns:
///
///     field elevation
///
///     %0 index  : i64 = ElementIndex
///     %1 height : f32 = LoadField elevation[%0]
///
///     output height
///
/// It shows every part of the records exactly, also of a program that no backend accepts, and
/// `parseProgram` makes the identical program of it. The text is valid UTF-8 without control
/// characters, and each of its lines ends with a line feed; an empty program gives an empty text.
FENLETIR_API std::string listing(const FenletProgram& program);

/// What keeps a text from being read.
struct ParseError {
    int line = 0;        ///< from 1
    int column = 0;      ///< from 1, in characters; a byte that belongs to none counts as one
    std::string message; ///< what is wrong or was expected; never empty after a failure
    std::string shown;   ///< the line, shortened if it is long, and below it a caret at the place
};

/// What became of a text: the program, or the first thing that could not be read.
struct ParseResult {
    FenletProgram program;  ///< empty unless `ok()`
    std::vector<int> lines; ///< the line of each instruction, from 1; empty unless `ok()`
    ParseError error;

    bool ok() const { return error.message.empty(); }
};

/// Reads a program's text, as `listing` writes it or as one writes it by hand: comments from `#` to
/// the end of the line, free spacing, registers by name instead of number, constants where they are
/// used, and fields, uniforms and samplers without declaration. docs/program-text.md has the
/// grammar.
///
/// Any bytes may be given. The memory that it takes grows with the length of the text and with
/// nothing that stands in it, and where there is none the allocator's exception comes out. It
/// judges the text, not the program: the program that it answers with may be one that no backend
/// accepts.
FENLETIR_API ParseResult parseProgram(std::string_view text);

} // namespace Fenlet
