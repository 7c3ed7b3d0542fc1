// The words that the listing and its reader share: types, names, numbers, the shapes of operands.
#pragma once

#include <fenletir/program.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Fenlet::Text {

/// How many bytes the character at `offset` takes if it may stand in a text as it is; else 0. Such
/// a character is printable ASCII or well-formed UTF-8 that shows: spaces, marks that show nothing
/// and marks that turn the direction of the line are left out.
std::size_t visibleCharacter(std::string_view text, std::size_t offset);

/// How many bytes of `text` from `offset` on make a bare name; 0 if none begins there.
std::size_t bareNameLength(std::string_view text, std::size_t offset);

/// Whether `byte` is a letter, a digit or an underscore of ASCII.
bool isWordByte(char byte);
bool isDigit(char byte);

/// How many characters `text`, which is valid UTF-8, has.
std::size_t characterCount(std::string_view text);

std::string quoted(std::string_view name);
/// Bare if it can be, else quoted.
std::string nameText(std::string_view name);
/// `f32`, `f32x3`, `format(26)x-1`.
std::string typeText(const RegisterInfo& info);
/// The opcode's name, or its number if it has none.
std::string opCodeText(OpCode op);
std::string constantText(const Constant& constant);

} // namespace Fenlet::Text
