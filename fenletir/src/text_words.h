// What the listing and the reader share: types, names, numbers and characters.
#pragma once

#include <fenletir/program.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Fenlet::Text {

/// The length in bytes of the character at `offset` if a text can contain it without an escape,
/// else 0. Such a character is printable ASCII or well-formed, visible UTF-8. Spaces other than the
/// ASCII one, invisible marks and marks that change the direction of writing are excluded.
std::size_t visibleCharacter(std::string_view text, std::size_t offset);

/// The same for a line that is shown below a message: also marks such as a curved quotation mark.
std::size_t shownCharacter(std::string_view text, std::size_t offset);

/// The length in bytes of the well-formed character at `offset`, at least 1.
std::size_t characterLength(std::string_view text, std::size_t offset);

/// The character at `offset`; 0 if none that is well-formed begins there.
std::uint32_t characterAt(std::string_view text, std::size_t offset);

/// How many cells of a terminal the character at `offset` takes: 0 if it combines with the one
/// before it, else 1 or 2. A byte that is no character takes 1.
std::size_t cellsOfCharacter(std::string_view text, std::size_t offset);

/// The length of a byte order mark at the beginning of the text, 0 if there is none.
std::size_t byteOrderMark(std::string_view text);

/// The length in bytes of the bare name that begins at `offset`; 0 if none does.
std::size_t bareNameLength(std::string_view text, std::size_t offset);

/// Whether `byte` is an ASCII letter, digit or underscore.
bool isWordByte(char byte);
bool isDigit(char byte);

/// The number of characters of `text`, which is valid UTF-8.
std::size_t characterCount(std::string_view text);

std::string quoted(std::string_view name);
/// `piece` for a line of a listing: without line ends, and shortened if it is long.
std::string inOneLine(std::string_view piece);
/// The name, in quotes if it needs them.
std::string nameText(std::string_view name);
/// The type of a register as text, such as `f32`, `f32x3` or `format(26)x-1`.
std::string typeText(const RegisterInfo& info);
/// The opcode's name, or its number if it is unknown.
std::string opCodeText(OpCode op);
std::string constantText(const Constant& constant);

} // namespace Fenlet::Text
