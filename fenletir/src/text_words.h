// Functions that the listing and the reader share: for types, names, numbers and characters.
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

/// The length in bytes of the bare name that begins at `offset`; 0 if no bare name begins there.
std::size_t bareNameLength(std::string_view text, std::size_t offset);

/// Whether `byte` is an ASCII letter, digit or underscore.
bool isWordByte(char byte);
bool isDigit(char byte);

/// The number of characters of `text`, which is valid UTF-8.
std::size_t characterCount(std::string_view text);

std::string quoted(std::string_view name);
/// The name, in quotes if it needs them.
std::string nameText(std::string_view name);
/// The type of a register as text, such as `f32`, `f32x3` or `format(26)x-1`.
std::string typeText(const RegisterInfo& info);
/// The opcode's name, or its number if it is unknown.
std::string opCodeText(OpCode op);
std::string constantText(const Constant& constant);

} // namespace Fenlet::Text
