// The instruction set: the opcodes, their numbers and how many operands they take.
#pragma once

#include <fenletir/export.h>

#include <cstdint>

namespace Fenlet {

/// What an instruction does. The numbers are fixed, because backends dispatch on them. Whenever a
/// number changes, `opCodeTableToken` changes, too. In a binary instruction operand 0 is the left
/// side and operand 1 the right side.
enum class OpCode : std::uint32_t {
    Nop = 0,          ///< does nothing and has no result
    ElementIndex = 1, ///< the absolute number of each element, as Int64
    LoadConstant = 2, ///< immediate: constant; the same value for every element
    LoadUniform = 3,  ///< immediate: uniform; the same value for every element of a block
    LoadField = 4,    ///< immediate: field; operand 0: the element number to read at
    Sample = 5,       ///< immediate: sampler; operand 0: coordinates
    Component = 6,    ///< immediate: component number; operand 0: the vector
    Negate = 7,
    Not = 8,     ///< three-valued
    Length = 9,  ///< the Euclidean norm of operand 0's components
    IsTrue = 10, ///< true where operand 0 is valid and known to be true, else false
    Add = 11,
    Subtract = 12,
    Multiply = 13,
    Divide = 14,
    Less = 15,
    LessEqual = 16,
    Greater = 17,
    GreaterEqual = 18,
    Equal = 19,
    NotEqual = 20,
    And = 21,    ///< three-valued
    Or = 22,     ///< three-valued
    Select = 23, ///< operand 0: condition; operand 1: arm for true; operand 2: arm for the rest
};

/// How many opcodes there are; their numbers run from 0 to `opCodeCount` - 1.
inline constexpr std::uint32_t opCodeCount = 24;

/// Identifies this numbering of the opcodes. A backend compares the token with the one that it was
/// built for, and refuses to run if they differ.
FENLETIR_API std::int32_t opCodeTableToken();

/// How many operands `op` takes, 0 to 3. `LoadField` takes 1; a number outside the enumeration
/// takes 0.
FENLETIR_API std::int32_t opCodeArity(OpCode op);

/// The opcode's name as spelled in the enumeration, or "Unknown" for a number outside it. The text
/// has static lifetime.
FENLETIR_API const char* opCodeName(OpCode op);

} // namespace Fenlet
