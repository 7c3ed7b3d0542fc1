// The files that a run writes.
#include "outputs.h"

#include <filesystem>
#include <limits>
#include <stdexcept>

namespace Tool {

using namespace Fenlet;

namespace {

/// What is written for an element without a value: a quiet NaN, 0 or false.
Constant missingValue(CpuElementKind kind) {
    switch (kind) {
    case CpuElementKind::Tribool:
        return Constant::ofTribool(0);
    case CpuElementKind::Half:
    case CpuElementKind::Float32:
    case CpuElementKind::Float64:
        return Constant::ofReals({std::numeric_limits<double>::quiet_NaN()});
    default:
        return Constant::ofIntegers({0});
    }
}

NpyWriter writerFor(const std::string& path, CpuElementKind kind, std::int32_t multiplicity,
                    long long count) {
    std::vector<std::int64_t> shape = {count};
    if (multiplicity != 1)
        shape.push_back(multiplicity);
    try {
        return NpyWriter(path, kind, shape);
    } catch (const std::invalid_argument& error) {
        throw std::runtime_error(path + ": " + error.what());
    }
}

} // namespace

std::int32_t addMask(FenletProgram& program, std::int32_t number) {
    const auto add = [&program](OpCode op, std::int32_t multiplicity, std::int32_t left,
                                std::int32_t right = noRegister, std::int32_t immediate = -1) {
        RegisterInfo result;
        result.multiplicity = multiplicity;
        result.format = RegisterFormat::Tribool;
        const std::int32_t place = program.registerCount();
        program.instructions.push_back({op, place, {left, right, noRegister}, immediate});
        program.registers.push_back(result);
        return place;
    };
    const auto component = [&](std::int32_t of, std::int32_t c) {
        const std::int32_t one = add(OpCode::Component, 1, of, noRegister, c);
        program.registers.back().format = program.registerInfo(of).format;
        return one;
    };
    const RegisterFormat format = program.registerInfo(number).format;
    std::int32_t multiplicity = program.registerInfo(number).multiplicity;
    std::int32_t truth = number;
    if (format != RegisterFormat::Tribool) {
        // Whatever the numbers are, a comparison is unknown only for an element without a value.
        const std::int32_t first = multiplicity == 1 ? number : component(number, 0);
        truth = add(OpCode::Equal, 1, first, first);
        multiplicity = 1;
    }
    // True unless the truth value is unknown or missing.
    const std::int32_t known =
        add(OpCode::Or, multiplicity, truth, add(OpCode::Not, multiplicity, truth));
    std::int32_t all = multiplicity == 1 ? known : component(known, 0);
    for (std::int32_t c = 1; c < multiplicity; ++c)
        all = add(OpCode::And, 1, all, component(known, c));
    const std::int32_t mask = add(OpCode::IsTrue, 1, all);
    program.registers.back().output = true;
    return mask;
}

Output::Output(const FenletProgram& program, std::int32_t newNumber, const std::string& path,
               long long newCount)
    : number(newNumber),
      name('%' + std::to_string(number)),
      kind(blockElement(program.registerInfo(number).format)),
      multiplicity(program.registerInfo(number).multiplicity),
      count(newCount),
      writer(writerFor(path, kind, multiplicity, count)) {
    rules.unknown = UnknownAs::False;
    rules.fill = missingValue(kind);
}

std::string Output::place() const {
    return std::filesystem::weakly_canonical(std::filesystem::absolute(writer.place())).string();
}

bool Output::map() {
    mapped = static_cast<unsigned char*>(writer.map());
    return mapped != nullptr;
}

MutableArrayView Output::array(unsigned char* values, long long elements) const {
    const bool isTruth = kind == CpuElementKind::Tribool;
    return {values, isTruth ? ArrayKind::Bool : arrayKind(kind), elements, multiplicity};
}

ArrayOutput Output::binding(long long elements) const {
    MutableArrayView view = array(mapped, elements);
    view.axes[0].extent = count;
    return {name, view, rules};
}

void Output::write(const RegisterFile& registers, long long start, int length) {
    const auto elementBytes =
        static_cast<std::size_t>(elementSize(kind)) * static_cast<std::size_t>(multiplicity);
    if (mapped == nullptr)
        block.resize(static_cast<std::size_t>(length) * elementBytes);
    unsigned char* const values =
        mapped == nullptr ? block.data() : mapped + static_cast<std::size_t>(start) * elementBytes;
    const ArrayStore store(array(values, length), kind, multiplicity, true, rules);
    store.store(0, length, registers.data(number), registers.validity(number));
    if (mapped == nullptr)
        writer.write(block.data(), block.size());
}

} // namespace Tool
