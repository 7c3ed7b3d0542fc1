// The list of opcodes, with everything that the program library knows about each.
#pragma once

#include <fenletir/op_code.h>

#include <array>
#include <cstddef>

namespace Fenlet {

/// What follows the opcode's name in program text.
enum class OperandShape {
    Nothing,   ///< ElementIndex
    Constant,  ///< LoadConstant 0.5
    Uniform,   ///< LoadUniform sun
    Field,     ///< LoadField elevation[%3]
    Sampler,   ///< Sample noise[%3]
    Component, ///< Component %3[1]
    Registers, ///< Add %1, %2
};

/// Opcodes whose registers follow the same rules.
enum class OpGroup { None, Nop, Source, Component, Unary, Arithmetic, Comparison, Logic, Select };

struct OpCodeFacts {
    const char* name = nullptr; ///< as the enumeration spells it; null if the number has no opcode
    std::int32_t arity = 0;
    OperandShape shape = OperandShape::Nothing;
    OpGroup group = OpGroup::None;
    OpCode mirror = OpCode::Nop; ///< such as Greater for Less; Nop if not a comparison
};

/// One row for each opcode. There is no `default`, so that the compiler reports a new opcode
/// without a row.
constexpr OpCodeFacts factsFor(OpCode op) {
    using Shape = OperandShape;
    using Group = OpGroup;
    switch (op) {
    case OpCode::Nop:
        return {"Nop", 0, Shape::Nothing, Group::Nop};
    case OpCode::ElementIndex:
        return {"ElementIndex", 0, Shape::Nothing, Group::Source};
    case OpCode::LoadConstant:
        return {"LoadConstant", 0, Shape::Constant, Group::Source};
    case OpCode::LoadUniform:
        return {"LoadUniform", 0, Shape::Uniform, Group::Source};
    case OpCode::LoadField:
        return {"LoadField", 1, Shape::Field, Group::Source};
    case OpCode::Sample:
        return {"Sample", 1, Shape::Sampler, Group::Source};
    case OpCode::Component:
        return {"Component", 1, Shape::Component, Group::Component};
    case OpCode::Negate:
        return {"Negate", 1, Shape::Registers, Group::Unary};
    case OpCode::Not:
        return {"Not", 1, Shape::Registers, Group::Logic};
    case OpCode::Length:
        return {"Length", 1, Shape::Registers, Group::Unary};
    case OpCode::IsTrue:
        return {"IsTrue", 1, Shape::Registers, Group::Logic};
    case OpCode::Add:
        return {"Add", 2, Shape::Registers, Group::Arithmetic};
    case OpCode::Subtract:
        return {"Subtract", 2, Shape::Registers, Group::Arithmetic};
    case OpCode::Multiply:
        return {"Multiply", 2, Shape::Registers, Group::Arithmetic};
    case OpCode::Divide:
        return {"Divide", 2, Shape::Registers, Group::Arithmetic};
    case OpCode::Less:
        return {"Less", 2, Shape::Registers, Group::Comparison, OpCode::Greater};
    case OpCode::LessEqual:
        return {"LessEqual", 2, Shape::Registers, Group::Comparison, OpCode::GreaterEqual};
    case OpCode::Greater:
        return {"Greater", 2, Shape::Registers, Group::Comparison, OpCode::Less};
    case OpCode::GreaterEqual:
        return {"GreaterEqual", 2, Shape::Registers, Group::Comparison, OpCode::LessEqual};
    case OpCode::Equal:
        return {"Equal", 2, Shape::Registers, Group::Comparison, OpCode::Equal};
    case OpCode::NotEqual:
        return {"NotEqual", 2, Shape::Registers, Group::Comparison, OpCode::NotEqual};
    case OpCode::And:
        return {"And", 2, Shape::Registers, Group::Logic};
    case OpCode::Or:
        return {"Or", 2, Shape::Registers, Group::Logic};
    case OpCode::Select:
        return {"Select", 3, Shape::Registers, Group::Select};
    }
    return {};
}

/// The rows of `factsFor` by opcode number, followed by an empty row.
inline constexpr auto opCodeTable = [] {
    std::array<OpCodeFacts, opCodeCount + 1> table{};
    for (std::uint32_t number = 0; number <= opCodeCount; ++number)
        table[number] = factsFor(static_cast<OpCode>(number));
    return table;
}();
static_assert(opCodeTable[opCodeCount - 1].name != nullptr &&
                  opCodeTable[opCodeCount].name == nullptr,
              "opCodeCount does not count the opcodes of the enumeration");

constexpr bool isOpCode(OpCode op) {
    return static_cast<std::uint32_t>(op) < opCodeCount;
}

/// The opcode's row, or an empty row for a number that is not an opcode.
constexpr const OpCodeFacts& factsOf(OpCode op) {
    return opCodeTable[isOpCode(op) ? static_cast<std::uint32_t>(op) : opCodeCount];
}

} // namespace Fenlet
