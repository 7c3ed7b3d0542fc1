// `fenlet bench`: measures how long a program takes.
#include "bench.h"

#include <fenletexec/interpreter.h>
#include <fenlethosts/block_size.h>
#include <fenlethosts/outcome.h>
#include <fenlethosts/sinks.h>
#include <fenletir/text.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Tool {

using namespace Fenlet;

namespace {

/// Makes up values: floats from 1 to 2, small integers, and truth values of which every third is
/// true.
class MadeUp {
  public:
    void fill(unsigned char* out, CpuElementKind kind, std::size_t lanes) {
        const auto size = static_cast<std::size_t>(elementSize(kind));
        for (std::size_t i = 0; i < lanes; i += pattern)
            std::memcpy(out + i * size, tableOf(kind), std::min(pattern, lanes - i) * size);
    }

  private:
    static constexpr std::size_t pattern = 1021;

    static std::uint64_t bitsOf(CpuElementKind kind, std::size_t i) {
        const auto fraction = static_cast<std::uint64_t>(i * 0x9E3779B97F4A7C15u);
        switch (kind) {
        case CpuElementKind::Tribool:
            return i % 3 == 0;
        case CpuElementKind::Half:
            return 0x3C00 | fraction >> 54;
        case CpuElementKind::Float32:
            return 0x3F800000 | fraction >> 41;
        case CpuElementKind::Float64:
            return 0x3FF0000000000000 | fraction >> 12;
        default:
            return 1 + i;
        }
    }
    const unsigned char* tableOf(CpuElementKind kind) {
        std::vector<unsigned char>& table = tables[static_cast<std::size_t>(kind)];
        const auto size = static_cast<std::size_t>(elementSize(kind));
        for (std::size_t i = table.size() / std::max<std::size_t>(size, 1); i < pattern; ++i) {
            const std::uint64_t bits = bitsOf(kind, i);
            table.resize(table.size() + size);
            std::memcpy(table.data() + i * size, &bits, size);
        }
        return table.data();
    }

    std::vector<unsigned char> tables[7];
};

/// Serves every field, uniform and sampler of a program with made-up values.
class MadeUpHost : public CpuFieldAccessor, public UniformSource, public FenletSampler {
  public:
    explicit MadeUpHost(const FenletProgram& program)
        : fields(program.fields.size(), this), samplers(program.samplers.size(), this) {}

    bool read(const FieldRead& request) override {
        data.fill(request.values, request.kind, lanesOf(request.count, request.multiplicity));
        return true;
    }
    bool fetch(int, CpuElementKind kind, int multiplicity, void* out) override {
        data.fill(static_cast<unsigned char*>(out), kind, lanesOf(1, multiplicity));
        return true;
    }
    bool sample(const void*, CpuElementKind, int, void* values, CpuElementKind kind,
                int multiplicity, unsigned char*, int count) override {
        data.fill(static_cast<unsigned char*>(values), kind, lanesOf(count, multiplicity));
        return true;
    }
    Bindings bindings() {
        return {fields.data(), static_cast<std::int32_t>(fields.size()), this, samplers.data(),
                static_cast<std::int32_t>(samplers.size())};
    }

  private:
    static std::size_t lanesOf(int count, int multiplicity) {
        return static_cast<std::size_t>(count) * static_cast<std::size_t>(multiplicity);
    }

    MadeUp data;
    std::vector<CpuFieldAccessor*> fields;
    std::vector<FenletSampler*> samplers;
};

/// The median of some runs of `work`, in nanoseconds.
template <class Work>
double medianTime(Work&& work) {
    using Clock = std::chrono::steady_clock;
    std::vector<double> times;
    for (int round = 0; round < 9; ++round) {
        const Clock::time_point start = Clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + 4, times.end());
    return times[4];
}

/// A planned program with made-up data and a sink that ignores the blocks. If the interpreter
/// refuses, the constructor and `evaluate` throw `std::runtime_error` with one sentence.
class Runner {
  public:
    Runner(const FenletProgram& newProgram, MadeUpHost& host, int blockSize)
        : program(newProgram), bindings(host.bindings()) {
        if (!interpreter.configure(program, blockSize))
            throw std::runtime_error(describeOutcome(interpreter, program));
    }
    void evaluate(long long count) {
        FunctionSink sink([](const RegisterFile&, long long, int) {});
        const EvaluateCall call{0, count, bindings, interpreter.executedSteps()};
        if (!interpreter.evaluate(call.first, call.count, call.bindings, sink))
            throw std::runtime_error(describeOutcome(interpreter, program, call));
    }
    /// Runs a step once more, over the last block of the last `evaluate`. It cannot be refused,
    /// because it succeeded there.
    void runStep(const Interpreter::Step& step) { interpreter.runStep(step, bindings, 0); }

    const Interpreter& planned() const { return interpreter; }

  private:
    const FenletProgram& program;
    Bindings bindings;
    Interpreter interpreter;
};

void blockSizes(const FenletProgram& program, MadeUpHost& host) {
    constexpr long long elements = 1 << 18;
    const int advised = adviseBlockSize(program);
    std::printf("%10s %14s %16s\n", "block size", "ns per element", "block memory");
    for (const int blockSize : {64, 128, 256, 512, 1024, 2048, 4096, 8192, 16384, 65536}) {
        Runner runner(program, host, blockSize);
        const double time = medianTime([&] { runner.evaluate(elements); });
        std::printf("%10d %14.3f %12.1f KiB%s\n", blockSize, time / elements,
                    static_cast<double>(runner.planned().registerFile().byteCount()) / 1024,
                    blockSize == advised ? "  (advised)" : "");
    }
}

/// The lines of instructions in the program's listing, in program order.
std::vector<std::string> instructionLines(const FenletProgram& program) {
    std::vector<std::string> lines;
    std::istringstream text(listing(program));
    for (std::string line; std::getline(text, line);) {
        const std::string word = line.substr(0, line.find(' '));
        const bool isDeclaration = word.empty() || word == "field" || word == "uniform" ||
                                   word == "sampler" || word == "constant" || word == "register" ||
                                   word == "output";
        if (!isDeclaration)
            lines.push_back(line);
    }
    return lines;
}

void instructions(const FenletProgram& program, MadeUpHost& host, int blockSize) {
    // Chosen so that a measurement is long enough for the clock, and takes about the same time for
    // every block size.
    const int repeats = std::max(1, (1 << 18) / blockSize);
    Runner runner(program, host, blockSize);
    runner.evaluate(blockSize);
    std::printf("\n%14s %10s   instruction, at block size %d\n", "ns per element", "ns", blockSize);
    const std::vector<std::string> lines = instructionLines(program);
    const std::vector<Interpreter::Step>& plan = runner.planned().plan();
    for (std::size_t number = 0; number < plan.size(); ++number) {
        const double time = medianTime([&] {
                                for (int i = 0; i < repeats; ++i)
                                    runner.runStep(plan[number]);
                            }) /
                            repeats;
        std::printf("%14.3f %10.0f   %s\n", time / blockSize, time,
                    number < lines.size() ? lines[number].c_str() : "");
    }
}

} // namespace

void bench(const FenletProgram& program, std::optional<int> blockSize) {
    MadeUpHost host(program);
    blockSizes(program, host);
    instructions(program, host, blockSize.value_or(adviseBlockSize(program)));
}

} // namespace Tool
