// Random programs in which `verifyProgram` finds no error.
#include "sound_program.h"

#include <fenletir/program_builder.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

using Model::Chance;

class SoundProgram {
  public:
    SoundProgram(Chance& newChance, bool newIsWasteful)
        : chance(newChance), isWasteful(newIsWasteful) {}

    FenletProgram write() {
        for (int i = 0; i < 3; ++i) {
            fields.push_back({builder.field("f" + std::to_string(i)), width(), chance.oneIn(4)});
            uniforms.push_back({builder.uniform("u" + std::to_string(i)), width()});
        }
        fields[0].multiplicity = 1;
        fields[0].isTruth = false;
        const SamplerHandle sampler = builder.sampler("s0");
        keep(builder.elementIndex(), 1);
        keep(builder.loadField(fields[0].handle, registers[0].handle, Format::Float32), 1);
        for (int left = 3 + chance.below(27); left > 0;) {
            try {
                if (isWasteful && chance.oneIn(2))
                    waste();
                else
                    addInstruction(sampler);
                --left;
            } catch (const ProgramError&) {
                // The builder refused the call and added nothing.
            }
        }
        FenletProgram program = builder.build().program;
        while (chance.oneIn(isWasteful ? 6 : 2))
            reuseRegister(program);
        return program;
    }

  private:
    struct Known {
        Register handle;
        std::int32_t multiplicity;
    };

    void keep(Register handle, std::int32_t multiplicity) {
        registers.push_back({handle, multiplicity});
    }
    // The newest registers are drawn most often, so that chains become long.
    const Known& some() {
        const int count = static_cast<int>(registers.size());
        const int back = chance.oneIn(2) ? chance.below(std::min(count, 4)) : chance.below(count);
        return registers[static_cast<std::size_t>(count - 1 - back)];
    }
    Format number() {
        constexpr Format formats[] = {Format::Int8,  Format::Int32,   Format::Int64,
                                      Format::Half,  Format::Float32, Format::Float32,
                                      Format::Int16, Format::Float64};
        return formats[chance.below(8)];
    }
    std::int32_t width() { return chance.oneIn(2) ? 1 : 1 + chance.below(4); }
    void load();
    void calculate();
    void decide();
    void formula();
    Register arithmetic(Register left, Register right, Format format);
    Register compared(Register left, Register right);
    Register special(Format format, std::int32_t multiplicity);
    Register truth();
    void wasteOnNumbers();
    void wasteOnTruths();
    void waste();
    void addInstruction(SamplerHandle sampler);
    void reuseRegister(FenletProgram& program);

    Chance& chance;
    const bool isWasteful;
    ProgramBuilder builder{ProgramBuilder::OnError::Throw};
    // All reads of one field or uniform use the same number of components. All reads of one field
    // use truth values, or all use numbers.
    struct FieldUse {
        FieldHandle handle;
        std::int32_t multiplicity;
        bool isTruth;
    };
    struct UniformUse {
        UniformHandle handle;
        std::int32_t multiplicity;
    };
    std::vector<FieldUse> fields;
    std::vector<UniformUse> uniforms;
    std::vector<Known> registers;
};

void SoundProgram::load() {
    const FieldUse& field = fields[static_cast<std::size_t>(chance.below(3))];
    const UniformUse& uniform = uniforms[static_cast<std::size_t>(chance.below(3))];
    const Format format = field.isTruth ? Format::Tribool : number();
    switch (chance.below(5)) {
    case 0:
        return chance.oneIn(4) ? keep(builder.truthConstant(Truth::Unknown), 1)
                               : keep(builder.constant(number(), {chance.below(9) - 4.0}), 1);
    case 1:
        return keep(builder.loadUniform(uniform.handle, number(), uniform.multiplicity),
                    uniform.multiplicity);
    case 2:
        return keep(builder.loadField(field.handle, some().handle, format, field.multiplicity),
                    field.multiplicity);
    default:
        return keep(
            builder.loadField(field.handle, registers[0].handle, format, field.multiplicity),
            field.multiplicity);
    }
}

void SoundProgram::calculate() {
    const Known left = some();
    const Known right = some();
    const std::int32_t wider = std::max(left.multiplicity, right.multiplicity);
    const Format format = number();
    switch (chance.below(7)) {
    case 0:
        return keep(builder.add(left.handle, right.handle, format), wider);
    case 1:
        return keep(builder.subtract(left.handle, right.handle, format), wider);
    case 2:
        return keep(builder.multiply(left.handle, right.handle, format), wider);
    case 3:
        return keep(builder.divide(left.handle, right.handle, format), wider);
    case 4:
        return keep(builder.negate(left.handle, format), left.multiplicity);
    case 5:
        return keep(builder.length(left.handle, format), 1);
    default:
        return keep(builder.component(left.handle, chance.below(left.multiplicity)), 1);
    }
}

void SoundProgram::decide() {
    const Known left = some();
    const Known right = some();
    const Known third = some();
    const std::int32_t wider = std::max(left.multiplicity, right.multiplicity);
    switch (chance.below(8)) {
    case 0:
        return keep(builder.less(left.handle, right.handle), wider);
    case 1:
        return keep(builder.greaterEqual(left.handle, right.handle), wider);
    case 2:
        return keep(builder.notEqual(left.handle, right.handle), wider);
    case 3:
        return keep(builder.logicalAnd(left.handle, right.handle), left.multiplicity);
    case 4:
        return keep(builder.logicalOr(left.handle, right.handle), left.multiplicity);
    case 5:
        return keep(builder.logicalNot(left.handle), left.multiplicity);
    case 6:
        return keep(builder.isTrue(left.handle), left.multiplicity);
    default:
        return keep(chance.oneIn(2)
                        ? builder.select(left.handle, right.handle, third.handle)
                        : builder.select(left.handle, right.handle, third.handle, number()),
                    right.multiplicity);
    }
}

/// A few operations on one field in one kind, each on the result before it.
void SoundProgram::formula() {
    const FieldUse& field = fields[static_cast<std::size_t>(chance.below(3))];
    const Format format = chance.oneIn(3) ? Format::Float64 : Format::Float32;
    const auto load = [&] {
        return builder.loadField(field.handle, registers[0].handle, format, field.multiplicity);
    };
    Register value = load();
    for (int left = 2 + chance.below(3); left > 0; --left) {
        const Register other = load();
        const bool isFirst = chance.oneIn(2);
        const Register a = isFirst ? value : other;
        const Register b = isFirst ? other : value;
        switch (chance.below(4)) {
        case 0:
            value = builder.add(a, b);
            break;
        case 1:
            value = builder.subtract(a, b);
            break;
        case 2:
            value = builder.multiply(a, b);
            break;
        default:
            value = builder.divide(a, b);
        }
    }
    keep(value, field.multiplicity);
}

void SoundProgram::addInstruction(SamplerHandle sampler) {
    if (chance.oneIn(8))
        return formula();
    switch (chance.below(8)) {
    case 0:
    case 1:
        return load();
    case 2:
    case 3:
    case 4:
        return calculate();
    case 5:
        if (chance.oneIn(6))
            return keep(builder.sample(sampler, some().handle, number(), 1), 1);
        if (chance.oneIn(12))
            return builder.nop();
        [[fallthrough]];
    default:
        return decide();
    }
}

Register SoundProgram::arithmetic(Register left, Register right, Format format) {
    switch (chance.below(4)) {
    case 0:
        return builder.add(left, right, format);
    case 1:
        return builder.subtract(left, right, format);
    case 2:
        return builder.multiply(left, right, format);
    default:
        return builder.divide(left, right, format);
    }
}

Register SoundProgram::compared(Register left, Register right) {
    switch (chance.below(6)) {
    case 0:
        return builder.less(left, right);
    case 1:
        return builder.lessEqual(left, right);
    case 2:
        return builder.greater(left, right);
    case 3:
        return builder.greaterEqual(left, right);
    case 4:
        return builder.equal(left, right);
    default:
        return builder.notEqual(left, right);
    }
}

/// A constant, often one that leaves its partner as it is, or nearly so.
Register SoundProgram::special(Format format, std::int32_t multiplicity) {
    constexpr double values[] = {1, 1, 1, 0, -0.0, -0.0, -1, 2, 0.5, 3e9, 1e30, -2147483648.0};
    const double infinity = std::numeric_limits<double>::infinity();
    double value = values[chance.below(12)];
    if (chance.oneIn(8))
        value = chance.oneIn(2) ? infinity : std::numeric_limits<double>::quiet_NaN();
    std::vector<double> components(static_cast<std::size_t>(multiplicity), value);
    if (chance.oneIn(4))
        components.back() = 1;
    return builder.constant(format, components);
}

Register SoundProgram::truth() {
    constexpr Truth truths[] = {Truth::False, Truth::True, Truth::True, Truth::Unknown};
    return builder.truthConstant(truths[chance.below(4)]);
}

void SoundProgram::wasteOnNumbers() {
    const Known left = some();
    const Known right = some();
    const std::int32_t wider = std::max(left.multiplicity, right.multiplicity);
    const Format format = number();
    const Format other = number();
    switch (chance.below(7)) {
    case 0: { // the same twice, or with the sides exchanged
        const int op = chance.below(2);
        for (int i = 0; i < 2; ++i) {
            const bool isTurned = i == 1 && chance.oneIn(4);
            const Register a = isTurned ? right.handle : left.handle;
            const Register b = isTurned ? left.handle : right.handle;
            keep(op == 0 ? builder.add(a, b, format) : builder.multiply(a, b, format), wider);
        }
        return;
    }
    case 1: { // one component of an operation of several
        Register wide = arithmetic(left.handle, right.handle, format);
        if (chance.oneIn(2))
            wide = chance.oneIn(2) ? builder.negate(wide, format)
                                   : arithmetic(wide, left.handle, other);
        return keep(builder.component(wide, chance.below(wider)), 1);
    }
    case 2: { // a neutral operand
        const Known sum = {arithmetic(left.handle, right.handle, format), wider};
        const Known kept = chance.oneIn(3) ? left : sum;
        const std::int32_t multiplicity = chance.oneIn(2) ? 1 : wider;
        const Register neutral = special(chance.oneIn(3) ? other : format, multiplicity);
        return keep(chance.oneIn(4) ? arithmetic(neutral, kept.handle, format)
                                    : arithmetic(kept.handle, neutral, format),
                    std::max(kept.multiplicity, multiplicity));
    }
    case 3: // conversions one after the other
        return keep(builder.convert(builder.convert(builder.convert(left.handle, format), other),
                                    chance.oneIn(2) ? format : number()),
                    1);
    case 4: { // constants alone
        const std::int32_t multiplicity = width();
        const Register value = special(format, multiplicity);
        return chance.oneIn(3)
                   ? keep(builder.length(value, other), 1)
                   : keep(arithmetic(value, special(other, multiplicity), number()), multiplicity);
    }
    case 5: // arms that are the same, or a condition that is known
        return keep(builder.select(chance.oneIn(2) ? truth() : right.handle, left.handle,
                                   chance.oneIn(2) ? left.handle : right.handle, format),
                    left.multiplicity);
    default: { // one component of a choice
        const Register choice =
            builder.select(chance.oneIn(2) ? some().handle : compared(left.handle, right.handle),
                           left.handle, chance.oneIn(2) ? left.handle : right.handle, format);
        return keep(builder.component(choice, chance.below(left.multiplicity), other), 1);
    }
    }
}

void SoundProgram::wasteOnTruths() {
    const Known left = some();
    const Known right = some();
    const std::int32_t wider = std::max(left.multiplicity, right.multiplicity);
    switch (chance.below(7)) {
    case 0: // a negated comparison
        return keep(builder.logicalNot(compared(left.handle, right.handle)), wider);
    case 1: // a double negation
        return keep(builder.logicalNot(builder.logicalNot(left.handle)), left.multiplicity);
    case 2: // a truth that is known already
        return keep(builder.isTrue(chance.oneIn(2) ? compared(left.handle, right.handle)
                                                   : builder.isTrue(left.handle)),
                    wider);
    case 3: // a neutral truth
        return keep(chance.oneIn(2) ? builder.logicalAnd(left.handle, truth())
                                    : builder.logicalOr(truth(), left.handle),
                    left.multiplicity);
    case 4: // both sides the same
        return keep(chance.oneIn(2) ? builder.logicalAnd(left.handle, left.handle)
                                    : builder.logicalOr(left.handle, left.handle),
                    left.multiplicity);
    case 5: // constants alone
        return keep(
            chance.oneIn(2) ? builder.logicalAnd(truth(), truth()) : builder.isTrue(truth()), 1);
    default: { // one component of logic
        const Register wide = builder.logicalNot(compared(left.handle, right.handle));
        return keep(builder.component(wide, chance.below(wider)), 1);
    }
    }
}

void SoundProgram::waste() {
    return chance.oneIn(3) ? wasteOnTruths() : wasteOnNumbers();
}

/// Picks an instruction and an older register of the same format and width. From this instruction
/// on, the older register replaces the instruction's result.
void SoundProgram::reuseRegister(FenletProgram& program) {
    const int from = chance.below(program.instructionCount());
    const std::int32_t result = program.instructions[static_cast<std::size_t>(from)].result;
    if (result < 1)
        return;
    const std::int32_t older = chance.below(result);
    const RegisterInfo& one = program.registerInfo(result);
    const RegisterInfo& other = program.registerInfo(older);
    if (one.format != other.format || one.multiplicity != other.multiplicity)
        return;
    for (std::size_t i = static_cast<std::size_t>(from); i < program.instructions.size(); ++i) {
        Instruction& instruction = program.instructions[i];
        for (std::int32_t& operand : instruction.operands)
            if (operand == result && i > static_cast<std::size_t>(from))
                operand = older;
        if (instruction.result == result)
            instruction.result = older;
    }
}

} // namespace

FenletProgram soundProgram(Chance& chance, bool isWasteful) {
    return SoundProgram(chance, isWasteful).write();
}

} // namespace Fenlet
