#include "text_support.h"

#include <climits>
#include <cstring>
#include <limits>
#include <sstream>

namespace Fenlet::TextTests {
namespace {

/// A name's bytes as numbers.
std::string bytes(const std::string& name) {
    std::ostringstream out;
    for (const char byte : name)
        out << ' ' << static_cast<int>(static_cast<unsigned char>(byte));
    return out.str();
}

std::uint64_t bits(double value) {
    std::uint64_t word = 0;
    std::memcpy(&word, &value, sizeof word);
    return word;
}

void write(std::ostream& out, const Instruction& instruction) {
    out << "instruction " << static_cast<std::uint32_t>(instruction.op) << ' ' << instruction.result
        << ' ' << instruction.operands[0] << ' ' << instruction.operands[1] << ' '
        << instruction.operands[2] << ' ' << instruction.immediate << '\n';
}

void write(std::ostream& out, const Constant& constant) {
    out << "constant " << constant.multiplicity << ' ' << static_cast<int>(constant.boolean)
        << " integers";
    for (const std::int64_t value : constant.integers)
        out << ' ' << value;
    out << " reals" << std::hex;
    for (const double value : constant.reals)
        out << ' ' << bits(value);
    out << std::dec << '\n';
}

} // namespace

std::string image(const FenletProgram& program) {
    std::ostringstream out;
    for (const RegisterInfo& info : program.registers)
        out << "register " << info.multiplicity << ' ' << static_cast<std::int32_t>(info.format)
            << ' ' << info.output << bytes(info.name) << '\n';
    for (const Constant& constant : program.constants)
        write(out, constant);
    for (const FieldBinding& field : program.fields)
        out << "field" << bytes(field.name) << '\n';
    for (const UniformDeclaration& uniform : program.uniforms)
        out << "uniform" << bytes(uniform.name) << '\n';
    for (const SamplerDeclaration& sampler : program.samplers)
        out << "sampler" << bytes(sampler.name) << '\n';
    for (const Instruction& instruction : program.instructions)
        write(out, instruction);
    return out.str();
}

std::int32_t ProgramDice::anyInt() {
    constexpr std::int32_t edges[] = {INT_MIN, INT_MAX, -1, 0, 1, -2, 7, 8, 64, 65};
    return oneIn(2) ? edges[below(std::size(edges))]
                    : static_cast<std::int32_t>(static_cast<std::uint32_t>(engine()));
}

std::int32_t ProgramDice::index(std::size_t count, bool isTidy) {
    if (count == 0 || (!isTidy && oneIn(6)))
        return oneIn(2) ? -1 : anyInt();
    return static_cast<std::int32_t>(below(count));
}

std::string ProgramDice::name(bool isTidy) {
    static const std::string tidy[] = {"height", "slope", "x",   "_7",   "h\xc3\xb6he",
                                       "field",  "raw",   "Add", "true", "f32"};
    static const std::string odd[] = {"",
                                      " ",
                                      "sea level",
                                      "a\"b\\",
                                      "new\nline",
                                      "\xff\x80",
                                      "7up",
                                      "#",
                                      "%3",
                                      "x\r\t",
                                      "\xc2\xa0",
                                      "\xe2\x80\xae",
                                      "a:b",
                                      "\xed\xa0\x80",
                                      "\xf0\x9f\x8c\x8d",
                                      "a[0]",
                                      "\xc3",
                                      "\xc0\x80",
                                      std::string("\0x", 2)};
    if (isTidy || oneIn(3))
        return tidy[below(std::size(tidy))] + (oneIn(2) ? std::to_string(below(20)) : "");
    if (oneIn(2))
        return odd[below(std::size(odd))];
    std::string bytes;
    for (std::uint64_t left = below(8); left > 0; --left)
        bytes += static_cast<char>(static_cast<unsigned char>(below(256)));
    return bytes;
}

double ProgramDice::real() {
    using Limits = std::numeric_limits<double>;
    const double edges[] = {0.0,
                            -0.0,
                            1.0,
                            0.1,
                            1e30,
                            -3.5,
                            Limits::max(),
                            Limits::min(),
                            Limits::denorm_min(),
                            Limits::infinity(),
                            -Limits::infinity(),
                            Limits::quiet_NaN(),
                            -Limits::quiet_NaN(),
                            9007199254740993.0};
    if (oneIn(2))
        return edges[below(std::size(edges))];
    std::uint64_t word = engine();
    if (oneIn(4))
        word |= 0x7ff0000000000000; // a NaN, quiet or signalling, with any payload
    double value = 0;
    std::memcpy(&value, &word, sizeof value);
    return value;
}

std::int64_t ProgramDice::integer() {
    constexpr std::int64_t edges[] = {INT64_MIN, INT64_MAX, 0, 1, -1, 9007199254740993};
    return oneIn(2) ? edges[below(std::size(edges))] : static_cast<std::int64_t>(engine());
}

Constant ProgramDice::constant(bool isTidy) {
    Constant constant;
    const std::uint64_t kind = below(isTidy ? 3 : 4);
    const std::uint64_t count = oneIn(3) ? 1 + below(64) : 1;
    for (std::uint64_t left = count; left > 0 && kind != 0; --left) {
        if (kind != 2)
            constant.integers.push_back(integer());
        if (kind != 1)
            constant.reals.push_back(real());
    }
    constant.multiplicity = kind == 0 ? 1 : static_cast<std::int32_t>(count);
    constexpr unsigned char truths[] = {0, 1, 255};
    if (kind == 0)
        constant.boolean = truths[below(3)];
    if (!isTidy && oneIn(3))
        constant.boolean = static_cast<unsigned char>(below(256));
    if (!isTidy && oneIn(3))
        constant.multiplicity = anyInt();
    return constant;
}

RegisterInfo ProgramDice::registerInfo(bool isTidy) {
    RegisterInfo info;
    const bool isOdd = !isTidy && oneIn(4);
    info.format = static_cast<RegisterFormat>(isOdd ? anyInt() : static_cast<int>(below(8)));
    info.multiplicity = isOdd ? anyInt() : oneIn(2) ? 1 : static_cast<std::int32_t>(1 + below(70));
    if (!oneIn(3))
        info.name = name(isTidy);
    info.output = oneIn(4);
    return info;
}

std::int32_t ProgramDice::pooled(const FenletProgram& program, OpCode op, bool isTidy) {
    switch (op) {
    case OpCode::LoadConstant:
        return index(program.constants.size(), isTidy);
    case OpCode::LoadUniform:
        return index(program.uniforms.size(), isTidy);
    case OpCode::LoadField:
        return index(program.fields.size(), isTidy);
    case OpCode::Sample:
        return index(program.samplers.size(), isTidy);
    case OpCode::Component:
        return static_cast<std::int32_t>(below(4));
    default:
        return -1;
    }
}

Instruction ProgramDice::instruction(const FenletProgram& program, bool isTidy) {
    Instruction instruction;
    instruction.op = static_cast<OpCode>(below(opCodeCount));
    if (instruction.op != OpCode::Nop)
        instruction.result = index(program.registers.size(), isTidy);
    for (std::int32_t slot = 0; slot < opCodeArity(instruction.op); ++slot)
        instruction.operands[slot] = index(program.registers.size(), isTidy);
    instruction.immediate = pooled(program, instruction.op, isTidy);
    if (isTidy || !oneIn(5))
        return instruction;
    if (oneIn(3))
        instruction.op = static_cast<OpCode>(oneIn(2) ? below(30) : engine());
    instruction.operands[below(3)] = anyInt();
    if (oneIn(2))
        instruction.immediate = anyInt();
    if (oneIn(2))
        instruction.result = anyInt();
    return instruction;
}

FenletProgram ProgramDice::draw() {
    FenletProgram program;
    const bool isTidy = oneIn(2);
    for (std::uint64_t left = below(12); left > 0; --left)
        program.registers.push_back(registerInfo(isTidy));
    for (std::uint64_t left = below(5); left > 0; --left)
        program.constants.push_back(constant(isTidy));
    for (std::uint64_t left = below(4); left > 0; --left)
        program.fields.push_back({name(isTidy)});
    for (std::uint64_t left = below(4); left > 0; --left)
        program.uniforms.push_back({name(isTidy)});
    for (std::uint64_t left = below(4); left > 0; --left)
        program.samplers.push_back({name(isTidy)});
    for (std::uint64_t left = below(16); left > 0; --left)
        program.instructions.push_back(instruction(program, isTidy));
    return program;
}

} // namespace Fenlet::TextTests
