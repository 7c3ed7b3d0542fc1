// Writes programs, right or wrong, one register or instruction at a time.
#pragma once

#include <fenletir/program.h>

#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

namespace Fenlet::Doubles {

/// Builds a program without the program library and without checks.
struct ProgramSketch : FenletProgram {
    /// Returns the new register's number.
    std::int32_t addRegister(RegisterFormat format, std::int32_t multiplicity = 1) {
        registers.push_back({multiplicity, format, {}});
        return static_cast<std::int32_t>(registers.size()) - 1;
    }

    void add(OpCode op, std::int32_t result, std::initializer_list<std::int32_t> operands = {},
             std::int32_t immediate = -1) {
        Instruction instruction;
        instruction.op = op;
        instruction.result = result;
        int slot = 0;
        for (const std::int32_t operand : operands)
            instruction.operands[slot++] = operand;
        instruction.immediate = immediate;
        instructions.push_back(instruction);
    }

    /// Returns the new constant's number.
    std::int32_t addConstant(Constant constant) {
        constants.push_back(std::move(constant));
        return static_cast<std::int32_t>(constants.size()) - 1;
    }
};

inline Constant realConstant(std::vector<double> values) {
    Constant constant;
    constant.multiplicity = static_cast<std::int32_t>(values.size());
    constant.reals = std::move(values);
    return constant;
}

inline Constant integerConstant(std::vector<std::int64_t> values) {
    Constant constant;
    constant.multiplicity = static_cast<std::int32_t>(values.size());
    constant.integers = std::move(values);
    return constant;
}

inline Constant triboolConstant(unsigned char value) {
    Constant constant;
    constant.boolean = value;
    return constant;
}

/// A program with one register of each sort that the rules distinguish, and with entries in each
/// pool.
struct BenchProgram : ProgramSketch {
    std::int32_t tribool = addRegister(RegisterFormat::Tribool);
    std::int32_t tribool2 = addRegister(RegisterFormat::Tribool, 2);
    std::int32_t tribool3 = addRegister(RegisterFormat::Tribool, 3);
    std::int32_t int32 = addRegister(RegisterFormat::Int32);
    std::int32_t int64 = addRegister(RegisterFormat::Int64);
    std::int32_t half = addRegister(RegisterFormat::Half);
    std::int32_t real = addRegister(RegisterFormat::Float32);
    std::int32_t real2 = addRegister(RegisterFormat::Float32, 2);
    std::int32_t real3 = addRegister(RegisterFormat::Float32, 3);
    std::int32_t real64 = addRegister(RegisterFormat::Float32, 64);
    std::int32_t real65 = addRegister(RegisterFormat::Float32, 65);
    std::int32_t real100 = addRegister(RegisterFormat::Float32, 100);
    std::int32_t wide = addRegister(RegisterFormat::Float64);

    BenchProgram() {
        addConstant(realConstant({1.5}));
        fields.resize(1);
        uniforms.resize(1);
        samplers.resize(1);
    }
};

} // namespace Fenlet::Doubles
