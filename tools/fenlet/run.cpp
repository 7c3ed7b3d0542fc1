// `fenlet run`: evaluates a program over files.
#include "run.h"

#include "inputs.h"
#include "outputs.h"
#include "terminal/progress.h"

#include <fenlethosts/block_size.h>
#include <fenlethosts/outcome.h>
#include <fenlethosts/sinks.h>
#include <fenletparallel/parallel_run.h>

#include <atomic>
#include <csignal>
#include <iterator>
#include <list>
#include <set>
#include <stdexcept>

namespace Tool {

using namespace Fenlet;

namespace {

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
        hasCome = false;
        for (std::size_t i = 0; i < std::size(numbers); ++i) {
            before[i] = std::signal(numbers[i], [](int number) {
                received = number;
                hasCome = true;
            });
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
        if (hasCome)
            throw Interrupted{received};
    }
    /// Whether a signal was recorded.
    static const std::atomic<bool>& flag() { return hasCome; }

  private:
    static constexpr int numbers[] = {SIGINT, SIGTERM, SIGHUP};
    static inline volatile std::sig_atomic_t received = 0;
    static inline std::atomic<bool> hasCome = false;
    static_assert(std::atomic<bool>::is_always_lock_free, "needed in a signal handler");
    void (*before[std::size(numbers)])(int);
};

/// The same program, in which everything is called by its number: two fields or registers can have
/// the same name.
FenletProgram withoutNames(FenletProgram program) {
    for (FieldBinding& field : program.fields)
        field.name.clear();
    for (UniformDeclaration& uniform : program.uniforms)
        uniform.name.clear();
    for (SamplerDeclaration& sampler : program.samplers)
        sampler.name.clear();
    for (RegisterInfo& about : program.registers)
        about.name.clear();
    return program;
}

/// Evaluates the program from mapped files into mapped files. Returns false, and has evaluated
/// nothing, if an output cannot be mapped, if two outputs are the same register, or if the results
/// of a block could depend on an earlier one: only an interpreter runs such a program.
bool evaluateInPlace(const FenletProgram& program, const Inputs& inputs, std::list<Output>& outputs,
                     const RunOptions& options, long long count) {
    std::vector<ArrayOutput> arrays;
    for (Output& output : outputs) {
        if (!output.map())
            return false;
        arrays.push_back(output.binding(inputs.elementCount().value_or(count)));
    }
    const FenletProgram numbered = withoutNames(program);
    ArrayRun run(numbered, {options.blockSize.value_or(0)});
    if (!run.prepare(inputs.arrays(), arrays))
        return false;
    Terminal::Progress progress("evaluating", count);
    ParallelOptions parallel;
    parallel.threads = options.threads.value_or(0);
    parallel.progress = [&](std::int64_t done, std::int64_t) { progress.advance(done); };
    parallel.isCancelled = &Interruption::flag();
    const ParallelOutcome outcome = runParallel(run, 0, count, parallel);
    if (!outcome.error.empty())
        throw std::runtime_error(outcome.error);
    return true;
}

/// Evaluates any sound program, on one thread, and writes the outputs block by block.
void evaluateInBlocks(const FenletProgram& program, Inputs& inputs, std::list<Output>& outputs,
                      const RunOptions& options, long long count) {
    Terminal::Progress progress("evaluating", count);
    FunctionSink sink([&](const RegisterFile& registers, long long start, int length) {
        Interruption::check();
        for (Output& output : outputs)
            output.write(registers, start, length);
        progress.advance(start + length);
    });
    Interpreter interpreter;
    if (!interpreter.configure(program, options.blockSize.value_or(adviseBlockSize(program))))
        throw std::runtime_error(describeOutcome(interpreter, program));
    const EvaluateCall call{0, count, inputs.bindings()};
    if (!interpreter.evaluate(call.first, call.count, call.bindings, sink))
        throw std::runtime_error(describeOutcome(interpreter, program, call));
}

/// Opens all output files. Adds to `program` the instructions that compute the masks.
void openOutputs(FenletProgram& program, const RunOptions& options, long long count,
                 std::list<Output>& outputs) {
    const std::vector<RegisterInfo> named = program.registers;
    const Declarations<RegisterInfo> names(named, "register", '%');
    std::set<std::string> places;
    const auto open = [&](const std::string& text, bool isMask) {
        const std::string option = isMask ? "--mask" : "--out";
        const Assignment file = parseAssignment(option, text, "FILE");
        auto number = static_cast<std::int32_t>(names.find(file.name));
        if (isMask)
            number = addMask(program, number);
        outputs.emplace_back(program, number, file.value, count);
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
    FenletProgram extended = program;
    std::list<Output> outputs;
    openOutputs(extended, options, count, outputs);
    if (!evaluateInPlace(extended, inputs, outputs, options, count))
        evaluateInBlocks(extended, inputs, outputs, options, count);
    Interruption::check();
    for (Output& output : outputs)
        output.close();
    Interruption::check();
    for (Output& output : outputs)
        output.finish();
}

} // namespace Tool
