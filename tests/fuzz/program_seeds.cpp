// Seeds for the fuzzer of programs: small sound programs with every instruction and kind.
#include "doubles/program_sketch.h"
#include "program_bytes.h"
#include "seeds.h"

namespace Fenlet::Fuzz {
namespace {

using Doubles::ProgramSketch;
using enum RegisterFormat;

constexpr std::int32_t reals = 0, truth = 1, integers = 2; // the constants that every input has

/// A program whose first instruction puts the element's number into register 0.
struct Numbered : ProgramSketch {
    Numbered() { add(OpCode::ElementIndex, addRegister(Int64)); }

    std::int32_t field(RegisterFormat format, std::int32_t multiplicity, std::int32_t number) {
        return added(OpCode::LoadField, format, multiplicity, {0}, number);
    }
    std::int32_t added(OpCode op, RegisterFormat format, std::int32_t multiplicity,
                       std::initializer_list<std::int32_t> operands, std::int32_t immediate = -1) {
        const std::int32_t result = addRegister(format, multiplicity);
        add(op, result, operands, immediate);
        return result;
    }
};

/// The four operations on two fields of these kinds; the second field is a scalar, or has as many
/// components as the first.
FenletProgram arithmetic(RegisterFormat result, RegisterFormat left, RegisterFormat right,
                         std::int32_t multiplicity, bool isScalar) {
    Numbered program;
    const std::int32_t a = program.field(left, multiplicity, 0);
    const std::int32_t b = program.field(right, isScalar ? 1 : multiplicity, 1);
    for (const OpCode op : {OpCode::Add, OpCode::Subtract, OpCode::Multiply, OpCode::Divide})
        program.added(op, result, multiplicity, {a, b});
    return program;
}

/// The six comparisons, and `Select` with some of their results as conditions.
FenletProgram comparisons(RegisterFormat left, RegisterFormat right, std::int32_t multiplicity) {
    Numbered program;
    const std::int32_t a = program.field(left, multiplicity, 0);
    const std::int32_t b = program.field(right, 1, 1);
    std::int32_t found = 0;
    for (const OpCode op : {OpCode::Less, OpCode::LessEqual, OpCode::Greater, OpCode::GreaterEqual,
                            OpCode::Equal, OpCode::NotEqual})
        found = program.added(op, Tribool, multiplicity, {a, b});
    const std::int32_t other = program.field(left, multiplicity, 1);
    program.added(OpCode::Select, right, multiplicity, {found, a, other});
    return program;
}

/// `Select` with one condition for each element, then with one for each component.
FenletProgram selects(RegisterFormat result, RegisterFormat yes, RegisterFormat no) {
    Numbered program;
    const std::int32_t whenTrue = program.field(yes, 3, 0);
    const std::int32_t whenFalse = program.field(no, 3, 1);
    program.added(OpCode::Select, result, 3, {program.field(Tribool, 1, 0), whenTrue, whenFalse});
    program.added(OpCode::Select, result, 3, {program.field(Tribool, 3, 1), whenTrue, whenFalse});
    return program;
}

FenletProgram logic(std::int32_t multiplicity) {
    Numbered program;
    const std::int32_t a = program.field(Tribool, multiplicity, 0);
    const std::int32_t b = program.field(Tribool, multiplicity, 1);
    const std::int32_t both = program.added(OpCode::And, Tribool, multiplicity, {a, b});
    const std::int32_t either = program.added(OpCode::Or, Tribool, multiplicity, {both, b});
    const std::int32_t neither = program.added(OpCode::Not, Tribool, multiplicity, {either});
    program.added(OpCode::IsTrue, Tribool, multiplicity, {neither});
    return program;
}

/// Instructions on whole vectors: length, component and negation.
FenletProgram vectors(RegisterFormat format, std::int32_t multiplicity) {
    Numbered program;
    const std::int32_t a = program.field(format, multiplicity, 0);
    const std::int32_t negative = program.added(OpCode::Negate, format, multiplicity, {a});
    const std::int32_t length = program.added(OpCode::Length, Float32, 1, {negative});
    const std::int32_t last = program.added(OpCode::Component, format, 1, {a}, multiplicity - 1);
    program.added(OpCode::Add, Float64, 1, {length, last});
    return program;
}

/// Instructions that load from the host.
FenletProgram sources() {
    Numbered program;
    const std::int32_t offset = program.added(OpCode::LoadConstant, Float32, 3, {}, reals);
    const std::int32_t known = program.added(OpCode::LoadConstant, Tribool, 1, {}, truth);
    const std::int32_t limit = program.added(OpCode::LoadConstant, Int64, 2, {}, integers);
    const std::int32_t scale = program.added(OpCode::LoadUniform, Float64, 3, {}, 0);
    const std::int32_t place = program.added(OpCode::Multiply, Float32, 3, {scale, offset});
    const std::int32_t colour = program.added(OpCode::Sample, Half, 3, {place}, 0);
    const std::int32_t low = program.added(OpCode::Component, Int32, 1, {limit}, 1);
    const std::int32_t there = program.added(OpCode::LoadField, Half, 3, {low}, 1);
    program.added(OpCode::Select, Half, 3, {known, colour, there});
    program.added(OpCode::Sample, Int64, 2, {low}, 1);
    return program;
}

} // namespace

std::vector<Seed> programSeeds() {
    const auto of = [](const char* name, const FenletProgram& program, int blockSize) {
        return Seed{name, bytesOf(program, blockSize)};
    };
    return {
        of("arithmetic_int32", arithmetic(Int32, Int32, Int32, 1, true), 70),
        of("arithmetic_half_of_others", arithmetic(Half, Float64, Int16, 3, true), 16),
        of("arithmetic_float32", arithmetic(Float32, Float32, Half, 3, false), 33),
        of("arithmetic_float64", arithmetic(Float64, Int8, Float32, 4, false), 1),
        of("comparisons_int64", comparisons(Int64, Int64, 1), 64),
        of("comparisons_mixed", comparisons(Int32, Float64, 2), 7),
        of("comparisons_half", comparisons(Half, Float32, 4), 50),
        of("select_float32", selects(Float32, Float32, Float32), 30),
        of("select_mixed", selects(Int32, Float64, Half), 9),
        of("select_tribool", selects(Tribool, Tribool, Tribool), 64),
        of("logic_scalar", logic(1), 60),
        of("logic_vector", logic(3), 21),
        of("vectors_float32", vectors(Float32, 3), 70),
        of("vectors_int32", vectors(Int32, 2), 5),
        of("vectors_half", vectors(Half, 4), 40),
        of("sources", sources(), 32),
    };
}

} // namespace Fenlet::Fuzz
