// The fields, uniforms and samplers that the command line gives to a program.
#include "inputs.h"

#include <fenletir/number_fit.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace Tool {

using namespace Fenlet;

namespace {

/// The shape as written in the header of the file, such as (3, 4).
std::string shapeOf(const NpyFile& file) {
    std::string text;
    for (const std::int64_t size : file.shape())
        text += (text.empty() ? "" : ", ") + std::to_string(size);
    return "(" + text + (file.shape().size() == 1 ? ",)" : ")");
}

/// The most components that an element of a file can have.
constexpr std::int32_t mostFileComponents = 65536;

bool isComponentCount(std::int64_t size) {
    return size >= 1 && size <= mostFileComponents;
}

/// "(1 to 65536)", for messages.
std::string componentRange() {
    return "(1 to " + std::to_string(mostFileComponents) + ")";
}

std::int32_t componentsOf(const NpyFile& file, const std::string& path) {
    const std::vector<std::int64_t>& shape = file.shape();
    if (shape.size() == 1)
        return 1;
    if (shape.size() == 2 && isComponentCount(shape[1]))
        return static_cast<std::int32_t>(shape[1]);
    throw FileError(path + ": the shape is " + shapeOf(file) +
                    "; a field needs an array of elements, or of elements x components " +
                    componentRange());
}

/// Checks that the array has rows, columns and perhaps components. Returns the number of
/// components.
std::int32_t cellComponentsOf(const NpyFile& file, const std::string& path) {
    const std::vector<std::int64_t>& shape = file.shape();
    const bool isGrid = shape.size() == 2 || (shape.size() == 3 && isComponentCount(shape[2]));
    if (!isGrid || shape[0] < 1 || shape[1] < 1)
        throw FileError(path + ": the shape is " + shapeOf(file) +
                        "; a sampler needs an array of rows x columns, or of rows x columns x "
                        "components " +
                        componentRange());
    if (file.kind() == CpuElementKind::Tribool)
        throw FileError(path + ": the array holds truth values; a sampler needs numbers");
    return shape.size() == 2 ? 1 : static_cast<std::int32_t>(shape[2]);
}

std::vector<std::string> splitAtCommas(const std::string& text) {
    std::vector<std::string> pieces(1);
    for (const char c : text) {
        if (c == ',')
            pieces.emplace_back();
        else
            pieces.back() += c;
    }
    return pieces;
}

/// Reads a truth value, or numbers separated by commas.
Constant parseValue(const std::string& what, const std::string& text) {
    if (text == "true" || text == "false")
        return Constant::ofTribool(text == "true" ? 1 : 0);
    if (text == "unknown")
        return Constant::ofTribool(255);
    std::vector<std::int64_t> integers;
    std::vector<double> reals;
    for (const std::string& piece : splitAtCommas(text)) {
        const auto integer = numberIn<std::int64_t>(piece);
        const auto real = numberIn<double>(piece);
        if (!real)
            throw std::runtime_error(
                what + ": " + quoted(piece) +
                " is not a number; give numbers separated by commas, or true, false or unknown");
        if (integer)
            integers.push_back(*integer);
        reals.push_back(*real);
    }
    if (reals.size() > static_cast<std::size_t>(mostScratchComponents))
        throw std::runtime_error(what + " has " + std::to_string(reals.size()) +
                                 " numbers; the limit is " + std::to_string(mostScratchComponents));
    // Integers are kept as such, because a double does not hold all of them.
    return integers.size() == reals.size() ? Constant::ofIntegers(integers)
                                           : Constant::ofReals(reals);
}

/// Refuses a second value for the same name, because one of the two would be lost.
void checkFirst(bool isFirst, const std::string& what) {
    if (!isFirst)
        throw std::runtime_error(what + " is given twice");
}

/// Throws unless the data has the components and the sort of values that the register takes.
void checkFit(const std::string& what, std::int32_t components, bool hasTruth,
              const RegisterInfo& result) {
    const bool isTruth = result.format == RegisterFormat::Tribool;
    if (components != result.multiplicity)
        throw std::runtime_error(what + " has " + std::to_string(components) +
                                 (components == 1 ? " component" : " components") +
                                 " per element, but the program reads " +
                                 std::to_string(result.multiplicity));
    if (hasTruth != isTruth)
        throw std::runtime_error(what +
                                 (isTruth ? " holds numbers, but the program reads truth values"
                                          : " holds truth values, but the program reads numbers"));
}

} // namespace

Assignment parseAssignment(const std::string& option, const std::string& text, const char* kind) {
    const std::size_t place = text.find('=');
    if (place == std::string::npos || place == 0 || place + 1 == text.size())
        throw std::runtime_error(option + " " + text + ": expected NAME=" + kind);
    return {text.substr(0, place), text.substr(place + 1)};
}

Inputs::Field::Field(const std::string& newPath)
    : path(newPath),
      file(path),
      components(componentsOf(file, path)),
      accessor(file.view(components)) {}

Inputs::Grid::Grid(const std::string& path)
    : file(path),
      components(cellComponentsOf(file, path)),
      sampler(file.view(components), file.shape()[1], file.shape()[0],
              GridSampler::Filter::Bilinear) {}

Inputs::Inputs(const FenletProgram& newProgram)
    : program(newProgram),
      fieldNames(program.fields, "field", '@'),
      uniformNames(program.uniforms, "uniform", '@'),
      samplerNames(program.samplers, "sampler", '@'),
      fields(program.fields.size()),
      grids(program.samplers.size()),
      uniformValues(program.uniforms.size()),
      accessors(program.fields.size()),
      samplers(program.samplers.size()) {
    const std::size_t longest =
        std::max({program.fields.size(), program.uniforms.size(), program.samplers.size()});
    for (std::size_t i = 0; i < longest; ++i)
        numbers.push_back('@' + std::to_string(i));
}

void Inputs::setField(const Assignment& field) {
    const std::size_t number = fieldNames.find(field.name);
    checkFirst(!fields[number], fieldNames.describe(number));
    fields[number] = std::make_unique<Field>(field.value);
    accessors[number] = &fields[number]->accessor;
    const long long length = fields[number]->file.shape()[0];
    if (count && *count != length)
        throw FileError(field.value + ": has " + std::to_string(length) +
                        " elements, but the field before it has " + std::to_string(*count));
    count = length;
}

void Inputs::setUniform(const Assignment& uniform) {
    const std::size_t number = uniformNames.find(uniform.name);
    checkFirst(!uniformValues[number], uniformNames.describe(number));
    uniformValues[number] = parseValue(uniformNames.describe(number), uniform.value);
    uniforms.set(static_cast<std::int32_t>(number), *uniformValues[number]);
}

void Inputs::setSampler(const Assignment& sampler) {
    const std::size_t number = samplerNames.find(sampler.name);
    checkFirst(!grids[number], samplerNames.describe(number));
    grids[number] = std::make_unique<Grid>(sampler.value);
    samplers[number] = &grids[number]->sampler;
}

// A ready-made provider declines data that does not fit, and the refusal does not say what was
// wrong with it. So this says it, before the run.
void Inputs::check(bool isForced) const {
    for (const Instruction& instruction : program.instructions) {
        if (instruction.op == OpCode::LoadField)
            checkField(instruction);
        else if (instruction.op == OpCode::LoadUniform)
            checkUniform(instruction, isForced);
        else if (instruction.op == OpCode::Sample)
            checkSampler(instruction);
    }
}

void Inputs::checkField(const Instruction& instruction) const {
    const auto number = static_cast<std::size_t>(instruction.immediate);
    const std::string what = fieldNames.describe(number);
    if (!fields[number])
        throw std::runtime_error(what + " has no data; give it with --field");
    const Field& field = *fields[number];
    checkFit(what + " (" + field.path + ")", field.components,
             field.file.kind() == CpuElementKind::Tribool,
             program.registerInfo(instruction.result));
}

void Inputs::checkUniform(const Instruction& instruction, bool isForced) const {
    const auto number = static_cast<std::size_t>(instruction.immediate);
    const RegisterInfo& result = program.registerInfo(instruction.result);
    const std::string what = uniformNames.describe(number);
    if (!uniformValues[number])
        throw std::runtime_error(what + " has no value; give it with --uniform");
    const Constant& value = *uniformValues[number];
    checkFit(what, value.multiplicity, value.integers.empty() && value.reals.empty(), result);
    std::string misfit;
    for (const std::int64_t integer : value.integers)
        if (misfit.empty())
            misfit = integerMisfit(integer, result.format);
    for (const double real : value.reals)
        if (misfit.empty())
            misfit = realMisfit(real, result.format);
    if (!misfit.empty() && !isForced)
        throw std::runtime_error(what + ": " + misfit);
    if (!misfit.empty())
        std::fprintf(stderr, "fenlet: warning: %s: %s\n", what.c_str(), misfit.c_str());
}

void Inputs::checkSampler(const Instruction& instruction) const {
    const auto number = static_cast<std::size_t>(instruction.immediate);
    const std::string what = samplerNames.describe(number);
    if (!grids[number])
        throw std::runtime_error(what + " has no grid; give it with --sampler");
    checkFit(what, grids[number]->components, false, program.registerInfo(instruction.result));
    const RegisterInfo& at = program.registerInfo(instruction.operands[0]);
    if (at.format == RegisterFormat::Tribool || at.multiplicity != 2)
        throw std::runtime_error(
            what + " needs coordinates of 2 numbers, column and row, but the program gives it " +
            (at.format == RegisterFormat::Tribool ? "truth values"
                                                  : std::to_string(at.multiplicity)));
}

std::vector<ArrayInput> Inputs::arrays() const {
    std::vector<ArrayInput> all;
    for (std::size_t i = 0; i < fields.size(); ++i)
        if (fields[i])
            all.emplace_back(numbers[i], fields[i]->file.view(fields[i]->components));
    for (std::size_t i = 0; i < uniformValues.size(); ++i)
        if (uniformValues[i])
            all.emplace_back(numbers[i], *uniformValues[i]);
    for (std::size_t i = 0; i < samplers.size(); ++i)
        if (samplers[i] != nullptr)
            all.emplace_back(numbers[i], *samplers[i]);
    return all;
}

Bindings Inputs::bindings() {
    return {accessors.data(), static_cast<std::int32_t>(accessors.size()), &uniforms,
            samplers.data(), static_cast<std::int32_t>(samplers.size())};
}

} // namespace Tool
