// A program: its instructions, registers and pools, as plain records.
#pragma once

#include <fenletir/export.h>
#include <fenletir/op_code.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet {

/// What a register's components are, as a program declares it. `Int8`, `Int16` and `Int32` tell how
/// wide the numbers are meant to be; a backend may keep all three as 32-bit integers.
enum class RegisterFormat : std::int32_t {
    Tribool = 0, ///< one byte: 0 false, 1 true, 255 unknown
    Int8 = 1,
    Int16 = 2,
    Int32 = 3,
    Int64 = 4,
    Half = 5,    ///< IEEE 754 binary16
    Float32 = 6, ///< IEEE 754 binary32
    Float64 = 7, ///< IEEE 754 binary64
};

/// The format's name as the enumeration spells it, "Unknown" for a number outside it. The text has
/// static lifetime.
FENLETIR_API const char* registerFormatName(RegisterFormat format);

/// The mark for "no register" in `Instruction::result` and `Instruction::operands`.
inline constexpr std::int32_t noRegister = -1;

/// One instruction. A slot of `operands` from the opcode's arity on must hold `noRegister`.
struct Instruction {
    OpCode op = OpCode::Nop;
    std::int32_t result = noRegister; ///< not examined for `OpCode::Nop`
    std::int32_t operands[3] = {noRegister, noRegister, noRegister};
    std::int32_t immediate = -1; ///< pool index or component number; free where the opcode has none
};

/// One register: how many components each element has, and what they are.
struct RegisterInfo {
    std::int32_t multiplicity = 1; ///< components per element, at least 1
    RegisterFormat format = RegisterFormat::Float32;
    std::string name;    ///< for people; may be empty
    bool output = false; ///< what the host wants out of the program
};

/// The most components that a constant or a uniform can have: the evaluator puts one value together
/// in memory of a fixed size.
inline constexpr std::int32_t mostScratchComponents = 64;

/// One entry of the constant pool: a Tribool, or 1 to 64 integers, or 1 to 64 real numbers.
///
/// Which one it is tells `integers` and `reals`: at most one of them is not empty, and a constant
/// with both empty is the Tribool in `boolean`.
struct Constant {
    std::int32_t multiplicity = 1; ///< number of components
    unsigned char boolean = 0;     ///< 0 false, 1 true, 255 unknown
    std::vector<std::int64_t> integers;
    std::vector<double> reals;

    /// A constant of one Tribool byte.
    FENLETIR_API static Constant ofTribool(unsigned char value);
    /// A constant of as many integer components as `values` has.
    FENLETIR_API static Constant ofIntegers(std::vector<std::int64_t> values);
    /// A constant of as many real components as `values` has.
    FENLETIR_API static Constant ofReals(std::vector<double> values);

    /// Component `index` as an IEEE 754 binary64 value. An integer is rounded to nearest, ties to
    /// even; a Tribool gives 1 for true and 0 otherwise, in component 0. A component that is not
    /// there is 0.
    FENLETIR_API double realComponent(std::int32_t index) const;

    /// Component `index` as a 64-bit integer. A real number is truncated toward zero, and one that
    /// has no such integer (NaN, infinities, out of range) gives the most negative integer; a
    /// Tribool gives 1 for true and 0 otherwise, in component 0. A component that is not there
    /// is 0.
    FENLETIR_API std::int64_t integralComponent(std::int32_t index) const;
};

/// A field that a program reads: data that the host has for each element.
struct FieldBinding {
    std::string name;
};

/// A uniform that a program reads: one value for all elements.
struct UniformDeclaration {
    std::string name;
};

/// A sampler that a program uses: values looked up by coordinates.
struct SamplerDeclaration {
    std::string name;
};

/// A whole program. Registers, constants, fields, uniforms and samplers are named by their position
/// in these arrays, from 0. A plain record: it may hold a program that no backend accepts.
struct FenletProgram {
    std::vector<Instruction> instructions;
    std::vector<RegisterInfo> registers;
    std::vector<Constant> constants;
    std::vector<FieldBinding> fields;
    std::vector<UniformDeclaration> uniforms;
    std::vector<SamplerDeclaration> samplers;

    /// Number of registers.
    FENLETIR_API std::int32_t registerCount() const;
    /// Number of instructions.
    FENLETIR_API std::int32_t instructionCount() const;
    /// Whether `number` names a register, so that `registerInfo` accepts it.
    FENLETIR_API bool isValidRegister(std::int32_t number) const;
    /// The record of register `number`, which must be valid. The reference lasts as long as
    /// `registers` is not changed.
    FENLETIR_API const RegisterInfo& registerInfo(std::int32_t number) const;
};

} // namespace Fenlet
