// Decodes an input of any bytes into a program and a block size, and encodes a given program.
#pragma once

#include <fenletir/program.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Fenlet::Fuzz {

struct SizedProgram {
    FenletProgram program;
    int blockSize = 1;
};

/// Reads an input. Beyond the end of the input it reads zeros.
class ByteReader {
  public:
    ByteReader(const std::uint8_t* newData, std::size_t newSize) : data(newData), size(newSize) {}

    /// A program with two fields, two uniforms, two samplers and a constant of each kind. Its
    /// registers and instructions come from the input and may be wrong.
    SizedProgram program() {
        SizedProgram read;
        FenletProgram& program = read.program;
        read.blockSize = 1 + next() % 70;
        program.fields.resize(2);
        program.uniforms.resize(2);
        program.samplers.resize(2);
        program.constants = {Constant::ofReals({1.5, -2, 0}), Constant::ofTribool(255),
                             Constant::ofIntegers({INT64_MIN, 7})};
        for (int count = 1 + next() % 12; count > 0; --count) {
            RegisterInfo info;
            info.format = static_cast<RegisterFormat>(next() % 8);
            const int width = next();
            info.multiplicity = width < 200 ? 1 + width % 4 : 1 + width % 70;
            program.registers.push_back(info);
        }
        while (size != 0 && program.instructions.size() < 40)
            program.instructions.push_back(instruction());
        return read;
    }

  private:
    std::uint8_t next() {
        if (size == 0)
            return 0;
        --size;
        return *data++;
    }
    /// A small number takes one byte, any other number five bytes.
    std::int32_t number() {
        const std::uint8_t small = next();
        if (small != 255)
            return static_cast<std::int32_t>(small) - 2;
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i)
            value = value << 8 | next();
        return static_cast<std::int32_t>(value);
    }
    /// For the last few values of the first byte, operand slots that the opcode does not use are
    /// also filled.
    Instruction instruction() {
        Instruction read;
        const std::uint8_t code = next();
        read.op = static_cast<OpCode>(code % 26);
        read.result = number();
        const std::int32_t slots = code < 234 ? opCodeArity(read.op) : 3;
        for (std::int32_t slot = 0; slot < slots; ++slot)
            read.operands[slot] = number();
        read.immediate = number();
        return read;
    }

    const std::uint8_t* data;
    std::size_t size;
};

/// The input from which `ByteReader` reads this program. The program must have one to twelve
/// registers of up to four components, small numbers, no operands beyond the arity, and the pools
/// that every input has.
inline std::vector<std::uint8_t> bytesOf(const FenletProgram& program, int blockSize) {
    std::vector<std::uint8_t> bytes;
    const auto put = [&bytes](std::int64_t value) {
        bytes.push_back(static_cast<std::uint8_t>(value));
    };
    put(blockSize - 1);
    put(program.registerCount() - 1);
    for (const RegisterInfo& info : program.registers) {
        put(static_cast<std::int64_t>(info.format));
        put(info.multiplicity - 1);
    }
    for (const Instruction& instruction : program.instructions) {
        put(static_cast<std::int64_t>(instruction.op));
        put(instruction.result + 2);
        for (std::int32_t slot = 0; slot < opCodeArity(instruction.op); ++slot)
            put(instruction.operands[slot] + 2);
        put(instruction.immediate + 2);
    }
    return bytes;
}

} // namespace Fenlet::Fuzz
