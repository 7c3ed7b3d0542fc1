// `fenlet run`: evaluates a program over files.
#include "run.h"

#include "inputs.h"
#include "terminal/progress.h"

#include <fenlethosts/block_size.h>
#include <fenlethosts/npy_writer.h>
#include <fenlethosts/outcome.h>
#include <fenlethosts/sinks.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <list>
#include <set>
#include <stdexcept>

namespace Tool {

using namespace Fenlet;

namespace {

/// One output file: a register's values, or which of its elements have one.
class Output {
  public:
    Output(const FenletProgram& program, std::int32_t newNumber, const std::string& path,
           bool isMask, long long count)
        : number(newNumber),
          kind(blockElement(program.registerInfo(number).format)),
          multiplicity(program.registerInfo(number).multiplicity),
          wantsMask(isMask),
          writer(path, isMask ? CpuElementKind::Tribool : kind, shapeFor(count)) {}

    void write(const RegisterFile& registers, int count) {
        if (wantsMask)
            writeMask(registers, count);
        else
            writeValues(registers, count);
    }
    /// The absolute path of the file, however its name was given.
    std::string place() const {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(writer.place()))
            .string();
    }
    void close() { writer.close(); }
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

/// The bits that represent a missing value: a quiet NaN, 0 or false.
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
        throw std::runtime_error("no field says how many elements there are; give --count");
    return *inputs.elementCount();
}

/// While it exists, signals that would end the process are only recorded, so that unfinished files
/// can be removed first.
class Interruption {
  public:
    Interruption() {
        received = 0;
        for (std::size_t i = 0; i < std::size(numbers); ++i) {
            before[i] = std::signal(numbers[i], [](int number) { received = number; });
            if (before[i] == SIG_IGN)
                std::signal(numbers[i], SIG_IGN);
        }
    }
    ~Interruption() {
        for (std::size_t i = 0; i < std::size(numbers); ++i)
            std::signal(numbers[i], before[i]);
    }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    static void check() {
        if (received != 0)
            throw Interrupted{received};
    }

  private:
    static constexpr int numbers[] = {SIGINT, SIGTERM, SIGHUP};
    static inline volatile std::sig_atomic_t received = 0;
    void (*before[std::size(numbers)])(int);
};

void evaluate(const FenletProgram& program, Inputs& inputs, std::list<Output>& outputs,
              int blockSize, long long count) {
    Terminal::Progress progress("evaluating", count);
    FunctionSink sink([&](const RegisterFile& registers, long long start, int length) {
        Interruption::check();
        for (Output& output : outputs)
            output.write(registers, length);
        progress.advance(start + length);
    });
    Interpreter interpreter;
    if (!interpreter.configure(program, blockSize))
        throw std::runtime_error(describeOutcome(interpreter, program));
    const EvaluateCall call{0, count, inputs.bindings()};
    if (!interpreter.evaluate(call.first, call.count, call.bindings, sink))
        throw std::runtime_error(describeOutcome(interpreter, program, call));
}

void openOutputs(const FenletProgram& program, const RunOptions& options, long long count,
                 std::list<Output>& outputs) {
    const Declarations<RegisterInfo> names(program.registers, "register", '%');
    std::set<std::string> places;
    const auto open = [&](const std::string& text, bool isMask) {
        const std::string option = isMask ? "--mask" : "--out";
        const Assignment file = parseAssignment(option, text, "FILE");
        const std::size_t number = names.find(file.name);
        try {
            outputs.emplace_back(program, static_cast<std::int32_t>(number), file.value, isMask,
                                 count);
        } catch (const std::invalid_argument& error) {
            throw std::runtime_error(file.value + ": " + error.what());
        }
        if (!places.insert(outputs.back().place()).second)
            throw std::runtime_error(option + " " + text +
                                     ": another output is already written to this file");
    };
    for (const std::string& output : options.outputs)
        open(output, false);
    for (const std::string& mask : options.masks)
        open(mask, true);
}

/// For a message: how to write the first output that has a name; empty if none has.
std::string example(const FenletProgram& program) {
    for (const RegisterInfo& about : program.registers)
        if (about.output && !about.name.empty())
            return ", such as --out " + about.name + "=" + about.name + ".npy";
    return "";
}

} // namespace

void markOutputs(FenletProgram& program, const RunOptions& options) {
    if (options.outputs.empty() && options.masks.empty())
        throw std::runtime_error("nothing to write; give --out NAME=FILE" + example(program));
    const auto mark = [&program](const char* option, const std::vector<std::string>& all) {
        const Declarations<RegisterInfo> names(program.registers, "register", '%');
        for (const std::string& text : all)
            program.registers[names.find(parseAssignment(option, text, "FILE").name)].output = true;
    };
    mark("--out", options.outputs);
    mark("--mask", options.masks);
}

void run(const FenletProgram& program, const RunOptions& options) {
    Inputs inputs(program);
    for (const std::string& field : options.fields)
        inputs.setField(parseAssignment("--field", field, "FILE"));
    for (const std::string& uniform : options.uniforms)
        inputs.setUniform(parseAssignment("--uniform", uniform, "VALUE"));
    for (const std::string& sampler : options.samplers)
        inputs.setSampler(parseAssignment("--sampler", sampler, "FILE"));
    inputs.check(options.isForced);
    const long long count = countFor(inputs, options);

    const Interruption interruption;
    std::list<Output> outputs;
    openOutputs(program, options, count, outputs);
    evaluate(program, inputs, outputs, options.blockSize.value_or(adviseBlockSize(program)), count);
    for (Output& output : outputs)
        output.close();
    Interruption::check();
    for (Output& output : outputs)
        output.finish();
}

} // namespace Tool
