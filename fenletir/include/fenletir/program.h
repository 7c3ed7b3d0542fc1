// A program as plain records: instructions, registers and pools.
#pragma once

#include <fenletir/export.h>
#include <fenletir/op_code.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet {

/// The type of a register's components, as the program declares it. `Int8`, `Int16` and `Int32` say
/// how wide the numbers are meant to be; a backend may store all three as 32-bit integers.
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

/// The format's name as spelled in the enumeration, or "Unknown" for a number outside it. The text
/// has static lifetime.
FENLETIR_API const char* registerFormatName(RegisterFormat format);

/// Means "no register" in `Instruction::result` and `Instruction::operands`.
inline constexpr std::int32_t noRegister = -1;

/// One instruction. Slots of `operands` that the opcode does not use must hold `noRegister`.
struct Instruction {
    OpCode op = OpCode::Nop;
    std::int32_t result = noRegister; ///< ignored for `OpCode::Nop`
    std::int32_t operands[3] = {noRegister, noRegister, noRegister};
    std::int32_t immediate = -1; ///< pool index or component number; ignored if the opcode has none
};

/// One register: how many components each element has, and their type.
struct RegisterInfo {
    std::int32_t multiplicity = 1; ///< components per element, at least 1
    RegisterFormat format = RegisterFormat::Float32;
    std::string name;    ///< for people; may be empty
    bool output = false; ///< whether the register is a result of the program
};

/// The most components that a constant or a uniform can have. The evaluator assembles each such
/// value in a buffer of fixed size.
inline constexpr std::int32_t mostScratchComponents = 64;

/// One entry of the constant pool: a Tribool, or 1 to `mostScratchComponents` integers or real
/// numbers. At most one of `integers` and `reals` has entries; if both are empty, the constant is
/// the Tribool in `boolean`.
struct Constant {
    std::int32_t multiplicity = 1; ///< number of components
    unsigned char boolean = 0;     ///< 0 false, 1 true, 255 unknown
    std::vector<std::int64_t> integers;
    std::vector<double> reals;

    /// A constant of one Tribool byte.
    FENLETIR_API static Constant ofTribool(unsigned char value);
    /// A constant with the integer components `values`.
    FENLETIR_API static Constant ofIntegers(std::vector<std::int64_t> values);
    /// A constant with the real components `values`.
    FENLETIR_API static Constant ofReals(std::vector<double> values);

    /// Component `index` as an IEEE 754 binary64 value. An integer is rounded to nearest, ties to
    /// even. Component 0 of a Tribool is 1 for true and 0 otherwise. A missing component is 0.
    FENLETIR_API double realComponent(std::int32_t index) const;

    /// Component `index` as a 64-bit integer. A real number is truncated toward zero; NaN,
    /// infinities and numbers out of range give the most negative integer. Component 0 of a Tribool
    /// is 1 for true and 0 otherwise. A missing component is 0.
    FENLETIR_API std::int64_t integralComponent(std::int32_t index) const;
};

/// A field that a program reads: one value per element, provided by the host.
struct FieldBinding {
    std::string name;
};

/// A uniform that a program reads: one value for all elements, provided by the host.
struct UniformDeclaration {
    std::string name;
};

/// A sampler that a program uses: values that the host looks up by coordinates.
struct SamplerDeclaration {
    std::string name;
};

/// A whole program. Registers, constants, fields, uniforms and samplers are numbered by their
/// position in these arrays, from 0. As a plain record, it can hold a program that no backend
/// accepts.
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
    /// Whether there is a register `number`.
    FENLETIR_API bool isValidRegister(std::int32_t number) const;
    /// The record of register `number`, which must be valid. The reference is valid until
    /// `registers` changes.
    FENLETIR_API const RegisterInfo& registerInfo(std::int32_t number) const;
};

} // namespace Fenlet
