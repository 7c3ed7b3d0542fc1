// `fenlet run`: a program over files.
#include "run.h"

#include "inputs.h"
#include "terminal/progress.h"

#include <fenlethosts/npy_writer.h>
#include <fenlethosts/sinks.h>

#include <cstring>
#include <list>
#include <stdexcept>

namespace Tool {

using namespace Fenlet;

namespace {

/// The register of the output or result with this name.
std::int32_t registerNamed(const FenletProgram& program, const std::string& name) {
    const int number = positionOf(program.registers, name);
    if (number < 0)
        throw std::runtime_error("the program has no register \"" + name + "\"");
    return number;
}

/// One file that a run writes: a register's values, or which of its elements have one.
class Output {
  public:
    Output(const FenletProgram& program, const Assignment& file, bool isMask, long long count)
        : number(registerNamed(program, file.name)),
          kind(blockElement(program.registerInfo(number).format)),
          multiplicity(program.registerInfo(number).multiplicity),
          wantsMask(isMask),
          writer(file.value, isMask ? CpuElementKind::Tribool : kind, shapeFor(count)) {}

    void write(const RegisterFile& registers, int count) {
        if (wantsMask)
            writeMask(registers, count);
        else
            writeValues(registers, count);
    }
    void finish() { writer.finish(); }

  private:
    std::vector<std::int64_t> shapeFor(long long count) const {
        if (wantsMask || multiplicity == 1)
            return {count};
        return {count, multiplicity};
    }
    void writeMask(const RegisterFile& registers, int count);
    void writeValues(const RegisterFile& registers, int count);

    std::int32_t number;
    CpuElementKind kind;
    std::int32_t multiplicity;
    bool wantsMask;
    NpyWriter writer;
    std::vector<unsigned char> bytes;
};

void Output::writeMask(const RegisterFile& registers, int count) {
    bytes.resize(static_cast<std::size_t>(count));
    const unsigned char* const validity = registers.validity(number);
    const unsigned char* const data = registers.data(number);
    for (int e = 0; e < count; ++e) {
        bool known = validity[e] != 0;
        if (kind == CpuElementKind::Tribool)
            for (std::int32_t c = 0; c < multiplicity; ++c)
                known = known && data[e * multiplicity + c] <= 1;
        bytes[static_cast<std::size_t>(e)] = known;
    }
    writer.write(bytes.data(), bytes.size());
}

/// A lane without a value, all of it: a quiet NaN, 0 or false.
std::uint64_t missingBits(CpuElementKind kind) {
    switch (kind) {
    case CpuElementKind::Half:
        return 0x7E00;
    case CpuElementKind::Float32:
        return 0x7FC00000;
    case CpuElementKind::Float64:
        return 0x7FF8000000000000;
    default:
        return 0;
    }
}

void Output::writeValues(const RegisterFile& registers, int count) {
    const auto size = static_cast<std::size_t>(elementSize(kind));
    const std::size_t elementBytes = size * static_cast<std::size_t>(multiplicity);
    const unsigned char* const data = registers.data(number);
    const unsigned char* const validity = registers.validity(number);
    bytes.assign(data, data + elementBytes * static_cast<std::size_t>(count));
    if (kind == CpuElementKind::Tribool)
        for (unsigned char& truth : bytes)
            truth = truth == 1;
    const std::uint64_t missing = missingBits(kind);
    for (std::size_t e = 0; e < static_cast<std::size_t>(count); ++e)
        for (std::size_t at = e * elementBytes; validity[e] == 0 && at < (e + 1) * elementBytes;
             at += size)
            std::memcpy(bytes.data() + at, &missing, size);
    writer.write(bytes.data(), bytes.size());
}

long long countFor(const Inputs& inputs, const RunOptions& options) {
    if (inputs.elementCount() && options.count && *options.count > *inputs.elementCount())
        throw std::runtime_error("--count " + std::to_string(*options.count) +
                                 ": the fields have only " +
                                 std::to_string(*inputs.elementCount()) + " elements");
    if (options.count)
        return *options.count;
    if (!inputs.elementCount())
        throw std::runtime_error("the program reads no field; --count says how many elements "
                                 "there are");
    return *inputs.elementCount();
}

void evaluate(const FenletProgram& program, Inputs& inputs, std::list<Output>& outputs,
              int blockSize, long long count) {
    Terminal::Progress progress("evaluating", count);
    FunctionSink sink([&](const RegisterFile& registers, long long start, int length) {
        for (Output& output : outputs)
            output.write(registers, length);
        progress.advance(start + length);
    });
    Interpreter interpreter;
    if (!interpreter.configure(program, blockSize) ||
        !interpreter.evaluate(0, count, inputs.bindings(), sink))
        throw std::runtime_error(std::string("refused: ") + interpreter.lastRefusalMessage());
}

} // namespace

void run(const FenletProgram& program, const RunOptions& options) {
    Inputs inputs(program);
    for (const std::string& field : options.fields)
        inputs.setField(parseAssignment("--field", field));
    for (const std::string& uniform : options.uniforms)
        inputs.setUniform(parseAssignment("--uniform", uniform));
    for (const std::string& sampler : options.samplers)
        inputs.setSampler(parseAssignment("--sampler", sampler));
    inputs.check();
    const long long count = countFor(inputs, options);

    std::list<Output> outputs;
    for (const std::string& output : options.outputs)
        outputs.emplace_back(program, parseAssignment("--out", output), false, count);
    for (const std::string& mask : options.masks)
        outputs.emplace_back(program, parseAssignment("--mask", mask), true, count);
    if (outputs.empty())
        throw std::runtime_error("nothing to write; give --out NAME=FILE");
    evaluate(program, inputs, outputs, options.blockSize, count);
    for (Output& output : outputs)
        output.finish();
}

} // namespace Tool
