// Builds programs one instruction at a time.
#include "formats.h"
#include "op_codes.h"

#include <fenletir/number_fit.h>
#include <fenletir/program_builder.h>

#include <algorithm>
#include <atomic>

namespace Fenlet {
namespace {

template <class Entry>
bool hasName(const std::vector<Entry>& entries, std::string_view name) {
    return std::any_of(entries.begin(), entries.end(),
                       [name](const Entry& entry) { return entry.name == name; });
}

/// A number that no other program of this process has.
std::uint64_t nextProgramNumber() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

/// Makes room for one more entry, so that adding it cannot fail. Doubles the capacity, because each
/// reallocation moves all entries.
template <class Entry>
void makeRoom(std::vector<Entry>& entries) {
    if (entries.size() == entries.capacity())
        entries.reserve(std::max<std::size_t>(16, 2 * entries.size()));
}

template <class Entry>
std::int32_t append(std::vector<Entry>& entries, Entry entry) {
    entries.push_back(std::move(entry));
    return static_cast<std::int32_t>(entries.size()) - 1;
}

/// Finds the first component that does not fit into `format`, and says why it does not fit. Empty
/// if all components fit.
template <class Number>
std::string firstMisfit(const std::vector<Number>& components, RegisterFormat format,
                        std::string (*misfit)(Number, RegisterFormat)) {
    for (std::size_t number = 0; number < components.size(); ++number) {
        const std::string words = misfit(components[number], format);
        if (!words.empty())
            return components.size() == 1 ? words
                                          : "component " + std::to_string(number) + ": " + words;
    }
    return "";
}

/// Whether `handle` was made for this program and names an entry of `pool`.
template <class Handle, class Entry>
bool isDeclared(Handle handle, const std::vector<Entry>& pool, std::uint64_t programNumber) {
    return handle.program == programNumber && handle.number >= 0 &&
           static_cast<std::size_t>(handle.number) < pool.size();
}

} // namespace

ProgramError::~ProgramError() = default;

ProgramBuilder::ProgramBuilder(OnError newOnError)
    : onError(newOnError), programNumber(nextProgramNumber()) {}

// ---------------------------------------------------------------------------------------------
// Refusals

/// Must not be called after an error: `build()` reports the first one.
void ProgramBuilder::refuseWith(const std::string& message) {
    if (onError == OnError::Throw)
        throw ProgramError(message);
    error = message;
}

Register ProgramBuilder::refuse(OpCode op, const std::string& words) {
    refuseWith("instruction " + std::to_string(program.instructionCount()) + " (" + opCodeName(op) +
               "): " + words);
    return {};
}

bool ProgramBuilder::isOwn(Register value) const {
    return isDeclared(value, program.registers, programNumber);
}

/// Whether the operands belong to this builder. After an error, returns false without a new
/// message.
bool ProgramBuilder::known(OpCode op, std::initializer_list<Register> operands) {
    if (!error.empty())
        return false;
    std::int32_t slot = 0;
    for (const Register operand : operands) {
        if (!isOwn(operand)) {
            refuse(op, "operand " + std::to_string(slot) +
                           (operand.number < 0 ? " is not a register"
                                               : ", register %" + std::to_string(operand.number) +
                                                     ", belongs to another program") +
                           "; use what an earlier call of this builder returned");
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

bool ProgramBuilder::isFormatAsked(OpCode op, Format format) {
    if (!isFormat(format))
        refuse(op, "the requested format, " + std::to_string(static_cast<std::int32_t>(format)) +
                       ", does not exist; use " + formatsInWords(isFormat));
    return error.empty();
}

bool ProgramBuilder::storable(OpCode op, Format format, std::int32_t multiplicity) {
    if (isFormatAsked(op, format) && multiplicity < 1)
        refuse(op, componentsInWords(multiplicity) + " requested; a register has at least 1");
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
    // Reserves memory first. If that throws, the builder has not changed.
    makeRoom(program.instructions);
    instruction.result = append(program.registers, result);
    program.instructions.push_back(instruction);
    return {instruction.result, programNumber};
}

bool ProgramBuilder::declarable(const char* what, std::string_view name, bool isTaken) {
    if (error.empty() && isTaken)
        refuseWith(std::string(what) + " \"" + std::string(name) + "\" is already declared; each " +
                   what + " needs a unique name");
    return error.empty();
}

FieldHandle ProgramBuilder::field(std::string_view name) {
    if (!declarable("field", name, hasName(program.fields, name)))
        return {};
    return {append(program.fields, FieldBinding{std::string(name)}), programNumber};
}

UniformHandle ProgramBuilder::uniform(std::string_view name) {
    if (!declarable("uniform", name, hasName(program.uniforms, name)))
        return {};
    return {append(program.uniforms, UniformDeclaration{std::string(name)}), programNumber};
}

SamplerHandle ProgramBuilder::sampler(std::string_view name) {
    if (!declarable("sampler", name, hasName(program.samplers, name)))
        return {};
    return {append(program.samplers, SamplerDeclaration{std::string(name)}), programNumber};
}

void ProgramBuilder::nop() {
    if (!error.empty())
        return;
    makeRoom(program.instructions);
    program.instructions.emplace_back();
}

Register ProgramBuilder::elementIndex() {
    if (!known(OpCode::ElementIndex, {}))
        return {};
    return emit(OpCode::ElementIndex, {}, Format::Int64, 1);
}

/// Whether a constant of this format can have this many components. Reports an error if not.
bool ProgramBuilder::constantStands(Format format, std::size_t components) {
    constexpr OpCode op = OpCode::LoadConstant;
    if (!known(op, {}) || !isFormatAsked(op, format))
        return false;
    if (isTribool(format))
        refuse(op, "a number is not a truth value; use truthConstant() for Tribool");
    else if (components < 1 || components > static_cast<std::size_t>(mostScratchComponents))
        refuse(op, std::to_string(components) + " components given; a constant has 1 to " +
                       std::to_string(mostScratchComponents));
    return error.empty();
}

Register ProgramBuilder::emitConstant(Format format, Constant constant) {
    makeRoom(program.constants);
    const auto number = static_cast<std::int32_t>(program.constants.size());
    const Register result = emit(OpCode::LoadConstant, {}, format, constant.multiplicity, number);
    program.constants.push_back(std::move(constant));
    return result;
}

Register ProgramBuilder::constant(Format format, const std::vector<double>& components) {
    if (!constantStands(format, components.size()))
        return {};
    if (const std::string misfit = firstMisfit(components, format, realMisfit); !misfit.empty())
        return refuse(OpCode::LoadConstant, misfit);
    return emitConstant(format, Constant::ofReals(components));
}

Register ProgramBuilder::integerConstant(Format format,
                                         const std::vector<std::int64_t>& components) {
    if (!constantStands(format, components.size()))
        return {};
    if (const std::string misfit = firstMisfit(components, format, integerMisfit); !misfit.empty())
        return refuse(OpCode::LoadConstant, misfit);
    return emitConstant(format, Constant::ofIntegers(components));
}

Register ProgramBuilder::truthConstant(Truth value) {
    constexpr OpCode op = OpCode::LoadConstant;
    if (!known(op, {}))
        return {};
    if (value != Truth::False && value != Truth::True && value != Truth::Unknown)
        return refuse(op, std::to_string(static_cast<int>(value)) +
                              " is not a truth value; use False, True or Unknown");
    return emitConstant(Format::Tribool, Constant::ofTribool(static_cast<unsigned char>(value)));
}

Register ProgramBuilder::loadUniform(UniformHandle uniform, Format format,
                                     std::int32_t multiplicity) {
    constexpr OpCode op = OpCode::LoadUniform;
    if (!known(op, {}))
        return {};
    if (!isDeclared(uniform, program.uniforms, programNumber))
        return refuse(op, "that is not a uniform of this program; use what uniform() returned");
    if (multiplicity < 1 || multiplicity > mostScratchComponents)
        return refuse(op, componentsInWords(multiplicity) + " requested; a uniform has 1 to " +
                              std::to_string(mostScratchComponents));
    return emit(op, {}, format, multiplicity, uniform.number);
}

Register ProgramBuilder::loadField(FieldHandle field, Register index, Format format,
                                   std::int32_t multiplicity) {
    constexpr OpCode op = OpCode::LoadField;
    if (!known(op, {index}))
        return {};
    if (!isDeclared(field, program.fields, programNumber))
        return refuse(op, "that is not a field of this program; use what field() returned");
    if (!isInteger(info(index).format) || info(index).multiplicity != 1)
        return refuse(op, "the index is " + describe(index) +
                              "; it must have one component of an integer format");
    return emit(op, {index}, format, multiplicity, field.number);
}

Register ProgramBuilder::sample(SamplerHandle sampler, Register coordinates, Format format,
                                std::int32_t multiplicity) {
    constexpr OpCode op = OpCode::Sample;
    if (!known(op, {coordinates}))
        return {};
    if (!isDeclared(sampler, program.samplers, programNumber))
        return refuse(op, "that is not a sampler of this program; use what sampler() returned");
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
        return refuse(
            op, "there is no component " + std::to_string(number) + " in " + describe(operand) +
                    "; " +
                    (source.multiplicity == 1
                         ? "its only component is 0"
                         : "its components are 0 to " + std::to_string(source.multiplicity - 1)));
    if (!isFormatAsked(op, format))
        return {};
    if (isTribool(source.format) != isTribool(format))
        return refuse(op, describe(operand) + " cannot be converted to " +
                              registerFormatName(format) + "; both must be Tribool, or neither");
    return emit(op, {operand}, format, 1, number);
}

Register ProgramBuilder::convert(Register operand, Format format) {
    if (!known(OpCode::Component, {operand}))
        return {};
    if (info(operand).multiplicity != 1)
        return refuse(OpCode::Component, describe(operand) +
                                             " has more than one component to convert; use "
                                             "component() for each of them");
    return component(operand, 0, format);
}

Register ProgramBuilder::unary(OpCode op, Register operand, Format format) {
    if (!known(op, {operand}) || !isFormatAsked(op, format))
        return {};
    if (!isArithmetic(info(operand).format) || !isArithmetic(format))
        return refuse(op, "there is no kernel for " + describe(operand) + " into " +
                              registerFormatName(format) + "; use " + formatsInWords(isArithmetic));
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
    if (!known(op, {left, right}) || (format && !isFormatAsked(op, *format)))
        return {};
    const RegisterInfo& a = info(left);
    const RegisterInfo& b = info(right);
    const auto both = [&] { return describe(left) + " and " + describe(right); };
    if (!isArithmetic(a.format) || !isArithmetic(b.format) || (format && !isArithmetic(*format)))
        return refuse(op, both() +
                              (format ? " into " + std::string(registerFormatName(*format)) : "") +
                              " have no kernel; use " + formatsInWords(isArithmetic));
    if (!format && a.format != b.format)
        return refuse(
            op, both() + " have different formats; give the result's format as a third argument");
    if (a.multiplicity != b.multiplicity && a.multiplicity != 1 && b.multiplicity != 1)
        return refuse(op, both() + " have different numbers of components; they need the same "
                                   "number, or one of them must have 1");
    return emit(op, {left, right}, format ? *format : a.format,
                std::max(a.multiplicity, b.multiplicity));
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

// A backend has no kernel for a comparison with a single component on the left and several on the
// right, so this exchanges the sides.
Register ProgramBuilder::comparison(OpCode op, Register left, Register right) {
    if (!known(op, {left, right}))
        return {};
    const RegisterInfo& a = info(left);
    const RegisterInfo& b = info(right);
    if (isTribool(a.format) || isTribool(b.format))
        return refuse(op, describe(left) + " and " + describe(right) +
                              " cannot be compared; both must be numbers");
    if (a.multiplicity == b.multiplicity || b.multiplicity == 1)
        return emit(op, {left, right}, Format::Tribool, a.multiplicity);
    if (a.multiplicity == 1)
        return emit(factsOf(op).mirror, {right, left}, Format::Tribool, b.multiplicity);
    return refuse(op, describe(left) + " and " + describe(right) +
                          " have different numbers of components; they need the same number, or "
                          "one of them must have 1");
}

Register ProgramBuilder::less(Register left, Register right) {
    return comparison(OpCode::Less, left, right);
}
Register ProgramBuilder::lessEqual(Register left, Register right) {
    return comparison(OpCode::LessEqual, left, right);
}
Register ProgramBuilder::greater(Register left, Register right) {
    return comparison(OpCode::Greater, left, right);
}
Register ProgramBuilder::greaterEqual(Register left, Register right) {
    return comparison(OpCode::GreaterEqual, left, right);
}
Register ProgramBuilder::equal(Register left, Register right) {
    return comparison(OpCode::Equal, left, right);
}
Register ProgramBuilder::notEqual(Register left, Register right) {
    return comparison(OpCode::NotEqual, left, right);
}

Register ProgramBuilder::logical(OpCode op, std::initializer_list<Register> operands) {
    if (!known(op, operands))
        return {};
    const std::int32_t multiplicity = info(*operands.begin()).multiplicity;
    for (const Register operand : operands) {
        if (!isTribool(info(operand).format))
            return refuse(op, describe(operand) + " must be Tribool");
        if (info(operand).multiplicity != multiplicity)
            return refuse(op,
                          describe(*operands.begin()) + " and " + describe(operand) +
                              " have different numbers of components; they need the same number");
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
    if (!known(op, {condition, whenTrue, whenFalse}) || (format && !isFormatAsked(op, *format)))
        return {};
    const RegisterInfo& a = info(whenTrue);
    const RegisterInfo& b = info(whenFalse);
    const auto arms = [&] { return describe(whenTrue) + " and " + describe(whenFalse); };
    if (!isTribool(info(condition).format))
        return refuse(op, "the condition is " + describe(condition) + "; it must be Tribool");
    const Format result = format ? *format : a.format;
    if (isTribool(a.format) != isTribool(b.format) || isTribool(a.format) != isTribool(result))
        return refuse(op, arms() +
                              (format ? " into " + std::string(registerFormatName(result)) : "") +
                              " have no kernel; all must be numbers, or all Tribool");
    if (!format && a.format != b.format)
        return refuse(
            op, arms() + " have different formats; give the result's format as a fourth argument");
    if (a.multiplicity != b.multiplicity)
        return refuse(
            op, arms() + " have different numbers of components; the arms need the same number");
    if (info(condition).multiplicity != 1 && info(condition).multiplicity != a.multiplicity)
        return refuse(op, "the condition is " + describe(condition) + " and the arms have " +
                              componentsInWords(a.multiplicity) +
                              "; it needs the same number, or 1");
    return emit(op, {condition, whenTrue, whenFalse}, result, a.multiplicity);
}

Register ProgramBuilder::select(Register condition, Register whenTrue, Register whenFalse) {
    return choose(condition, whenTrue, whenFalse, nullptr);
}
Register ProgramBuilder::select(Register condition, Register whenTrue, Register whenFalse,
                                Format format) {
    return choose(condition, whenTrue, whenFalse, &format);
}

/// Whether `value` belongs to this builder. After an error, returns false without a new message.
bool ProgramBuilder::isKnownTo(const char* call, Register value) {
    if (error.empty() && !isOwn(value))
        refuseWith(std::string(call) + ": " +
                   (value.number < 0 ? "that is not a register"
                                     : "register %" + std::to_string(value.number) +
                                           " belongs to another program") +
                   "; use what an earlier call of this builder returned");
    return error.empty();
}

Register ProgramBuilder::giveName(const char* call, Register value, std::string_view newName) {
    if (!isKnownTo(call, value))
        return {};
    const std::string what = std::string(call) + ": " + describe(value);
    const auto holder =
        std::find_if(program.registers.begin(), program.registers.end(),
                     [newName](const RegisterInfo& other) { return other.name == newName; });
    const auto number = static_cast<std::int32_t>(holder - program.registers.begin());
    if (newName.empty())
        refuseWith(what + " cannot have an empty name; use at least one character");
    else if (program.isValidRegister(number) && number != value.number)
        refuseWith(what + " cannot have the name of " + describe({number, programNumber}) +
                   "; each register needs a unique name");
    else
        program.registers[static_cast<std::size_t>(value.number)].name = newName;
    return error.empty() ? value : Register{};
}

Register ProgramBuilder::name(Register value, std::string_view newName) {
    return giveName("name", value, newName);
}

Register ProgramBuilder::output(Register value, std::string_view newName) {
    return output(giveName("output", value, newName));
}

Register ProgramBuilder::output(Register value) {
    if (!isKnownTo("output", value))
        return {};
    program.registers[static_cast<std::size_t>(value.number)].output = true;
    return value;
}

BuildResult ProgramBuilder::build() {
    BuildResult result;
    std::swap(result.error, error);
    if (result.ok())
        std::swap(result.program, program);
    program = {};
    programNumber = nextProgramNumber();
    return result;
}

} // namespace Fenlet
