// Writing a program in readable lines.
#include "formats.h"

#include <fenletir/program_builder.h>

#include <algorithm>

namespace Fenlet {
namespace {

template <class Entry>
bool hasName(const std::vector<Entry>& entries, std::string_view name) {
    return std::any_of(entries.begin(), entries.end(),
                       [name](const Entry& entry) { return entry.name == name; });
}

template <class Entry>
std::int32_t append(std::vector<Entry>& entries, Entry entry) {
    entries.push_back(std::move(entry));
    return static_cast<std::int32_t>(entries.size()) - 1;
}

} // namespace

ProgramError::~ProgramError() = default;

ProgramBuilder::ProgramBuilder(OnError newOnError) : onError(newOnError) {}

// ---------------------------------------------------------------------------------------------
// What cannot stand

Register ProgramBuilder::refuse(OpCode op, const std::string& words) {
    const std::string message = "instruction " + std::to_string(program.instructionCount()) + " (" +
                                opCodeName(op) + "): " + words;
    if (onError == OnError::Throw)
        throw ProgramError(message);
    if (error.empty())
        error = message;
    return {};
}

bool ProgramBuilder::refuseDeclaration(const char* what, std::string_view name, const char* words) {
    const std::string message = std::string(what) + " \"" + std::string(name) + "\": " + words;
    if (onError == OnError::Throw)
        throw ProgramError(message);
    if (error.empty())
        error = message;
    return false;
}

/// Whether the operands are this builder's. After an error nothing is, and nothing more is said.
bool ProgramBuilder::known(OpCode op, std::initializer_list<Register> operands) {
    if (!error.empty())
        return false;
    std::int32_t slot = 0;
    for (const Register operand : operands) {
        if (!program.isValidRegister(operand.number)) {
            refuse(op, "operand " + std::to_string(slot) +
                           " is no register of this program; it takes what an earlier call of "
                           "this builder answered");
            return false;
        }
        ++slot;
    }
    return true;
}

const RegisterInfo& ProgramBuilder::info(Register value) const {
    return program.registerInfo(value.number);
}

std::string ProgramBuilder::describe(Register value) const {
    return registerInWords(program, value.number);
}

// ---------------------------------------------------------------------------------------------
// Instructions

bool ProgramBuilder::storable(OpCode op, Format format, std::int32_t multiplicity) {
    if (!isFormat(format))
        refuse(op, "the format asked for, " + std::to_string(static_cast<std::int32_t>(format)) +
                       ", is none; it takes one from Tribool to Float64");
    else if (multiplicity < 1)
        refuse(op, std::to_string(multiplicity) +
                       " components are asked for; a register has at least one");
    return error.empty();
}

Register ProgramBuilder::emit(OpCode op, std::initializer_list<Register> operands, Format format,
                              std::int32_t multiplicity, std::int32_t immediate) {
    if (!storable(op, format, multiplicity))
        return {};
    Instruction instruction;
    instruction.op = op;
    instruction.immediate = immediate;
    std::int32_t slot = 0;
    for (const Register operand : operands)
        instruction.operands[slot++] = operand.number;
    RegisterInfo result;
    result.multiplicity = multiplicity;
    result.format = format;
    // The room comes first: if there is none, nothing has changed. It doubles, for each growth
    // copies all instructions.
    if (program.instructions.size() == program.instructions.capacity())
        program.instructions.reserve(std::max<std::size_t>(16, 2 * program.instructions.size()));
    instruction.result = append(program.registers, result);
    program.instructions.push_back(instruction);
    return {instruction.result};
}

FieldHandle ProgramBuilder::field(std::string_view name) {
    if (hasName(program.fields, name) &&
        !refuseDeclaration("field", name, "declared before; each field needs a name of its own"))
        return {};
    return {append(program.fields, FieldBinding{std::string(name)})};
}

UniformHandle ProgramBuilder::uniform(std::string_view name) {
    if (hasName(program.uniforms, name) &&
        !refuseDeclaration("uniform", name,
                           "declared before; each uniform needs a name of its own"))
        return {};
    return {append(program.uniforms, UniformDeclaration{std::string(name)})};
}

SamplerHandle ProgramBuilder::sampler(std::string_view name) {
    if (hasName(program.samplers, name) &&
        !refuseDeclaration("sampler", name,
                           "declared before; each sampler needs a name of its own"))
        return {};
    return {append(program.samplers, SamplerDeclaration{std::string(name)})};
}

Register ProgramBuilder::elementIndex() {
    if (!known(OpCode::ElementIndex, {}))
        return {};
    return emit(OpCode::ElementIndex, {}, Format::Int64, 1);
}

Register ProgramBuilder::emitConstant(Format format, Constant constant) {
    const std::int32_t multiplicity = constant.multiplicity;
    if (multiplicity < 1 || multiplicity > valueComponents)
        return refuse(OpCode::LoadConstant,
                      componentsInWords(multiplicity) + " are given; a constant has 1 to 64");
    if (!storable(OpCode::LoadConstant, format, multiplicity))
        return {};
    const std::int32_t number = append(program.constants, std::move(constant));
    return emit(OpCode::LoadConstant, {}, format, multiplicity, number);
}

Register ProgramBuilder::constant(Format format, const std::vector<double>& values) {
    if (!known(OpCode::LoadConstant, {}))
        return {};
    if (format == Format::Tribool)
        return refuse(OpCode::LoadConstant,
                      "a number has no truth value; a Tribool takes truthConstant");
    return emitConstant(format, Constant::ofReals(values));
}

Register ProgramBuilder::integerConstant(Format format, const std::vector<std::int64_t>& values) {
    if (!known(OpCode::LoadConstant, {}))
        return {};
    if (format == Format::Tribool)
        return refuse(OpCode::LoadConstant,
                      "a number has no truth value; a Tribool takes truthConstant");
    return emitConstant(format, Constant::ofIntegers(values));
}

Register ProgramBuilder::truthConstant(Truth value) {
    if (!known(OpCode::LoadConstant, {}))
        return {};
    return emitConstant(Format::Tribool, Constant::ofTribool(static_cast<unsigned char>(value)));
}

Register ProgramBuilder::loadUniform(UniformHandle uniform, Format format,
                                     std::int32_t multiplicity) {
    constexpr OpCode op = OpCode::LoadUniform;
    if (!known(op, {}))
        return {};
    if (uniform.number < 0 || static_cast<std::size_t>(uniform.number) >= program.uniforms.size())
        return refuse(op, "that is no uniform of this program; it takes what uniform() answered");
    if (multiplicity > valueComponents)
        return refuse(op,
                      componentsInWords(multiplicity) + " are asked for; a uniform has 1 to 64");
    return emit(op, {}, format, multiplicity, uniform.number);
}

Register ProgramBuilder::loadField(FieldHandle field, Register index, Format format,
                                   std::int32_t multiplicity) {
    constexpr OpCode op = OpCode::LoadField;
    if (!known(op, {index}))
        return {};
    if (field.number < 0 || static_cast<std::size_t>(field.number) >= program.fields.size())
        return refuse(op, "that is no field of this program; it takes what field() answered");
    if (!isInteger(info(index).format) || info(index).multiplicity != 1)
        return refuse(op, "the index is " + describe(index) +
                              "; it takes one component of an integer format");
    return emit(op, {index}, format, multiplicity, field.number);
}

Register ProgramBuilder::sample(SamplerHandle sampler, Register coordinates, Format format,
                                std::int32_t multiplicity) {
    constexpr OpCode op = OpCode::Sample;
    if (!known(op, {coordinates}))
        return {};
    if (sampler.number < 0 || static_cast<std::size_t>(sampler.number) >= program.samplers.size())
        return refuse(op, "that is no sampler of this program; it takes what sampler() answered");
    return emit(op, {coordinates}, format, multiplicity, sampler.number);
}

Register ProgramBuilder::component(Register operand, std::int32_t number) {
    if (!known(OpCode::Component, {operand}))
        return {};
    return component(operand, number, info(operand).format);
}

Register ProgramBuilder::component(Register operand, std::int32_t number, Format format) {
    constexpr OpCode op = OpCode::Component;
    if (!known(op, {operand}))
        return {};
    const RegisterInfo& source = info(operand);
    if (number < 0 || number >= source.multiplicity)
        return refuse(op, "component " + std::to_string(number) + " is asked for of " +
                              describe(operand) + "; they are numbered from 0");
    if ((source.format == Format::Tribool) != (format == Format::Tribool))
        return refuse(op, describe(operand) + " cannot become " + registerFormatName(format) +
                              "; a Tribool stays one, and a number stays a number");
    return emit(op, {operand}, format, 1, number);
}

Register ProgramBuilder::convert(Register operand, Format format) {
    if (!known(OpCode::Component, {operand}))
        return {};
    if (info(operand).multiplicity != 1)
        return refuse(OpCode::Component, describe(operand) +
                                             " cannot be converted whole; it takes one component, "
                                             "or component() for one of several");
    return component(operand, 0, format);
}

Register ProgramBuilder::unary(OpCode op, Register operand, Format format) {
    if (!known(op, {operand}))
        return {};
    if (!isArithmetic(info(operand).format) || !isArithmetic(format))
        return refuse(op, describe(operand) + " into " + registerFormatName(format) +
                              " has no kernel; it takes Int8 to Int32, Half, Float32 and Float64");
    return emit(op, {operand}, format, op == OpCode::Length ? 1 : info(operand).multiplicity);
}

Register ProgramBuilder::negate(Register operand) {
    return known(OpCode::Negate, {operand}) ? negate(operand, info(operand).format) : Register{};
}
Register ProgramBuilder::negate(Register operand, Format format) {
    return unary(OpCode::Negate, operand, format);
}
Register ProgramBuilder::length(Register operand) {
    return known(OpCode::Length, {operand}) ? length(operand, info(operand).format) : Register{};
}
Register ProgramBuilder::length(Register operand, Format format) {
    return unary(OpCode::Length, operand, format);
}

Register ProgramBuilder::arithmetic(OpCode op, Register left, Register right,
                                    const Format* format) {
    if (!known(op, {left, right}))
        return {};
    const RegisterInfo& a = info(left);
    const RegisterInfo& b = info(right);
    if (!format && a.format != b.format)
        return refuse(op, describe(left) + " and " + describe(right) +
                              " differ in format, and the result could have either; it takes the "
                              "result's format as a third argument");
    const Format result = format ? *format : a.format;
    if (!isArithmetic(a.format) || !isArithmetic(b.format) || !isArithmetic(result))
        return refuse(op, describe(left) + " and " + describe(right) + " into " +
                              registerFormatName(result) +
                              " have no kernel; it takes Int8 to Int32, Half, Float32 and Float64");
    if (a.multiplicity != b.multiplicity && a.multiplicity != 1 && b.multiplicity != 1)
        return refuse(op, describe(left) + " and " + describe(right) +
                              " do not fit; they take as many components, or one of them one");
    return emit(op, {left, right}, result, std::max(a.multiplicity, b.multiplicity));
}

Register ProgramBuilder::add(Register left, Register right) {
    return arithmetic(OpCode::Add, left, right, nullptr);
}
Register ProgramBuilder::add(Register left, Register right, Format format) {
    return arithmetic(OpCode::Add, left, right, &format);
}
Register ProgramBuilder::subtract(Register left, Register right) {
    return arithmetic(OpCode::Subtract, left, right, nullptr);
}
Register ProgramBuilder::subtract(Register left, Register right, Format format) {
    return arithmetic(OpCode::Subtract, left, right, &format);
}
Register ProgramBuilder::multiply(Register left, Register right) {
    return arithmetic(OpCode::Multiply, left, right, nullptr);
}
Register ProgramBuilder::multiply(Register left, Register right, Format format) {
    return arithmetic(OpCode::Multiply, left, right, &format);
}
Register ProgramBuilder::divide(Register left, Register right) {
    return arithmetic(OpCode::Divide, left, right, nullptr);
}
Register ProgramBuilder::divide(Register left, Register right, Format format) {
    return arithmetic(OpCode::Divide, left, right, &format);
}

// A backend has no kernel for a comparison with its one component on the left.
Register ProgramBuilder::comparison(OpCode op, OpCode mirrored, Register left, Register right) {
    if (!known(op, {left, right}))
        return {};
    const RegisterInfo& a = info(left);
    const RegisterInfo& b = info(right);
    if (a.format == Format::Tribool || b.format == Format::Tribool)
        return refuse(op, describe(left) + " and " + describe(right) +
                              " cannot be compared; it takes numbers on both sides");
    if (a.multiplicity == b.multiplicity || b.multiplicity == 1)
        return emit(op, {left, right}, Format::Tribool, a.multiplicity);
    if (a.multiplicity == 1)
        return emit(mirrored, {right, left}, Format::Tribool, b.multiplicity);
    return refuse(op, describe(left) + " and " + describe(right) +
                          " do not fit; they take as many components, or one of them one");
}

Register ProgramBuilder::less(Register left, Register right) {
    return comparison(OpCode::Less, OpCode::Greater, left, right);
}
Register ProgramBuilder::lessEqual(Register left, Register right) {
    return comparison(OpCode::LessEqual, OpCode::GreaterEqual, left, right);
}
Register ProgramBuilder::greater(Register left, Register right) {
    return comparison(OpCode::Greater, OpCode::Less, left, right);
}
Register ProgramBuilder::greaterEqual(Register left, Register right) {
    return comparison(OpCode::GreaterEqual, OpCode::LessEqual, left, right);
}
Register ProgramBuilder::equal(Register left, Register right) {
    return comparison(OpCode::Equal, OpCode::Equal, left, right);
}
Register ProgramBuilder::notEqual(Register left, Register right) {
    return comparison(OpCode::NotEqual, OpCode::NotEqual, left, right);
}

Register ProgramBuilder::logical(OpCode op, std::initializer_list<Register> operands) {
    if (!known(op, operands))
        return {};
    const std::int32_t multiplicity = info(*operands.begin()).multiplicity;
    for (const Register operand : operands) {
        if (info(operand).format != Format::Tribool)
            return refuse(op,
                          describe(operand) + " has no truth value; it takes a Tribool register");
        if (info(operand).multiplicity != multiplicity)
            return refuse(op, describe(*operands.begin()) + " and " + describe(operand) +
                                  " do not fit; they take as many components");
    }
    return emit(op, operands, Format::Tribool, multiplicity);
}

Register ProgramBuilder::logicalNot(Register operand) {
    return logical(OpCode::Not, {operand});
}
Register ProgramBuilder::isTrue(Register operand) {
    return logical(OpCode::IsTrue, {operand});
}
Register ProgramBuilder::logicalAnd(Register left, Register right) {
    return logical(OpCode::And, {left, right});
}
Register ProgramBuilder::logicalOr(Register left, Register right) {
    return logical(OpCode::Or, {left, right});
}

Register ProgramBuilder::choose(Register condition, Register whenTrue, Register whenFalse,
                                const Format* format) {
    constexpr OpCode op = OpCode::Select;
    if (!known(op, {condition, whenTrue, whenFalse}))
        return {};
    const RegisterInfo& a = info(whenTrue);
    const RegisterInfo& b = info(whenFalse);
    const std::string arms = describe(whenTrue) + " and " + describe(whenFalse);
    if (info(condition).format != Format::Tribool)
        return refuse(op,
                      "the condition is " + describe(condition) + "; it takes a Tribool register");
    if (!format && a.format != b.format)
        return refuse(op, arms + " differ in format, and the result could have either; it takes "
                                 "the result's format as a fourth argument");
    const Format result = format ? *format : a.format;
    const bool truth = result == Format::Tribool;
    if ((a.format == Format::Tribool) != truth || (b.format == Format::Tribool) != truth)
        return refuse(op, arms + " into " + registerFormatName(result) +
                              " have no kernel; it takes Tribool in all three places or in none");
    if (a.multiplicity != b.multiplicity)
        return refuse(op, arms + " do not fit; the arms take as many components");
    if (info(condition).multiplicity != 1 && info(condition).multiplicity != a.multiplicity)
        return refuse(op, "the condition is " + describe(condition) + " and the arms have " +
                              componentsInWords(a.multiplicity) + "; it takes as many, or one");
    return emit(op, {condition, whenTrue, whenFalse}, result, a.multiplicity);
}

Register ProgramBuilder::select(Register condition, Register whenTrue, Register whenFalse) {
    return choose(condition, whenTrue, whenFalse, nullptr);
}
Register ProgramBuilder::select(Register condition, Register whenTrue, Register whenFalse,
                                Format format) {
    return choose(condition, whenTrue, whenFalse, &format);
}

Register ProgramBuilder::name(Register value, std::string_view newName) {
    if (!error.empty())
        return {};
    if (!program.isValidRegister(value.number))
        refuseDeclaration("register", newName, "that is no register of this program");
    else if (newName.empty() || hasName(program.registers, newName))
        refuseDeclaration("register", newName,
                          "named before or without a name; each register needs one of its own");
    else
        program.registers[static_cast<std::size_t>(value.number)].name = newName;
    return error.empty() ? value : Register{};
}

Register ProgramBuilder::output(Register value, std::string_view newName) {
    const Register named = name(value, newName);
    if (named.number != noRegister)
        program.registers[static_cast<std::size_t>(named.number)].output = true;
    return named;
}

BuildResult ProgramBuilder::build() {
    BuildResult result;
    std::swap(result.error, error);
    if (result.ok())
        std::swap(result.program, program);
    program = {};
    return result;
}

} // namespace Fenlet
