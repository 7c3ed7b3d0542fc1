// Measures whole programs over many elements in blocks of several sizes, and the fixed costs of a
// plan, a block and a step.
#include "workloads.h"

#include <fenletexec/interpreter.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/block_size.h>
#include <fenlethosts/sinks.h>

#include <benchmark/benchmark.h>
#include <cstring>
#include <list>
#include <string>
#include <vector>

namespace Fenlet::Bench {
namespace {

constexpr long long elements = 4'000'000;

WorkloadData& sharedData() {
    static WorkloadData data(elements);
    return data;
}

/// A workload and its providers.
class Bound {
  public:
    explicit Bound(Workload newWorkload) : workload(std::move(newWorkload)) {
        for (const ArrayView& view : workload.fields)
            accessors.push_back(&fields.emplace_back(view));
        bindings.fields = accessors.data();
        bindings.fieldCount = static_cast<std::int32_t>(accessors.size());
        bindings.uniforms = &workload.uniforms;
    }

    Workload workload;
    Bindings bindings;

  private:
    std::list<ArrayField> fields;
    std::vector<CpuFieldAccessor*> accessors;
};

/// The argument is the block size; 0 means the advised size. Reports the time for all elements.
void wholeProgram(benchmark::State& state, const NamedWorkload& named) {
    Bound bound(named.make(sharedData()));
    Interpreter interpreter;
    const auto asked = static_cast<int>(state.range(0));
    const int blockSize = asked != 0 ? asked : adviseBlockSize(bound.workload.program);
    if (!interpreter.configure(bound.workload.program, blockSize)) {
        state.SkipWithError(interpreter.lastRefusalMessage());
        return;
    }
    CollectingSink sink(interpreter.registerFile(), {bound.workload.result}, 0, elements);
    for (auto _ : state)
        if (!interpreter.evaluate(0, elements, bound.bindings, sink)) {
            state.SkipWithError(interpreter.lastRefusalMessage());
            return;
        }
    state.counters["elements"] = static_cast<double>(elements);
}

/// Checks and plans a program; the argument is its number of instructions.
void configure(benchmark::State& state) {
    const Workload work = chain(sharedData(), static_cast<int>(state.range(0)));
    for (auto _ : state) {
        Interpreter interpreter;
        benchmark::DoNotOptimize(interpreter.configure(work.program, 1024));
    }
}

/// Checks and plans a program in an interpreter that has already planned it.
void configureAgain(benchmark::State& state) {
    const Workload work = chain(sharedData(), static_cast<int>(state.range(0)));
    Interpreter interpreter;
    for (auto _ : state)
        benchmark::DoNotOptimize(interpreter.configure(work.program, 1024));
}

/// The part of planning that cannot be avoided: filling the registers of such a program with zeros.
void zeroRegisters(benchmark::State& state) {
    const Workload work = chain(sharedData(), static_cast<int>(state.range(0)));
    Interpreter interpreter;
    if (!interpreter.configure(work.program, 1024)) {
        state.SkipWithError(interpreter.lastRefusalMessage());
        return;
    }
    std::vector<unsigned char> bytes(interpreter.registerFile().byteCount());
    for (auto _ : state) {
        std::memset(bytes.data(), 0, bytes.size());
        benchmark::ClobberMemory();
    }
}

/// From a program to its result over 1,024 elements; the argument is its number of instructions.
void firstResult(benchmark::State& state) {
    constexpr long long few = 1024;
    Bound bound(chain(sharedData(), static_cast<int>(state.range(0))));
    for (auto _ : state) {
        Interpreter interpreter;
        if (!interpreter.configure(bound.workload.program, few)) {
            state.SkipWithError(interpreter.lastRefusalMessage());
            return;
        }
        CollectingSink sink(interpreter.registerFile(), {bound.workload.result}, 0, few);
        benchmark::DoNotOptimize(interpreter.evaluate(0, few, bound.bindings, sink));
        benchmark::DoNotOptimize(sink[0].values.data());
    }
}

/// A sink that ignores its blocks.
class NoSink final : public BlockSink {
  public:
    bool consume(const RegisterFile& /*registers*/, long long /*start*/, int /*count*/) override {
        return true;
    }
};

bool isLoad(const Instruction& instruction) {
    return instruction.op == OpCode::LoadField || instruction.op == OpCode::LoadUniform ||
           instruction.op == OpCode::LoadConstant;
}

/// How much of a program runs. Each part includes the parts before it.
enum class Part { Frame, Loads, Steps };

/// Runs a whole workload, or one without its other steps, or one also without its loads. The
/// differences in time are the costs of these parts. All registers remain, so each block has the
/// same fixed work. No result is collected.
void partOfProgram(benchmark::State& state, const NamedWorkload& named, Part part) {
    Workload work = named.make(sharedData());
    const int blockSize = adviseBlockSize(work.program);
    std::erase_if(work.program.instructions, [part](const Instruction& instruction) {
        const bool isFrame = instruction.op == OpCode::ElementIndex;
        return !(isFrame || part == Part::Steps || (part == Part::Loads && isLoad(instruction)));
    });
    Bound bound(std::move(work));
    Interpreter interpreter;
    // Every part runs at the block size that is advised for the whole program.
    if (!interpreter.configure(bound.workload.program, blockSize)) {
        state.SkipWithError(interpreter.lastRefusalMessage());
        return;
    }
    NoSink sink;
    for (auto _ : state)
        benchmark::DoNotOptimize(interpreter.evaluate(0, elements, bound.bindings, sink));
    state.counters["elements"] = static_cast<double>(elements);
}

/// Many blocks of a program. The arguments are its number of instructions and the block size.
/// Reports the time for all blocks, and their number.
void blocks(benchmark::State& state) {
    constexpr long long blockCount = 1000;
    const auto blockSize = static_cast<int>(state.range(1));
    Bound bound(chain(sharedData(), static_cast<int>(state.range(0))));
    Interpreter interpreter;
    if (!interpreter.configure(bound.workload.program, blockSize)) {
        state.SkipWithError(interpreter.lastRefusalMessage());
        return;
    }
    NoSink sink;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            interpreter.evaluate(0, blockCount * blockSize, bound.bindings, sink));
    state.counters["blocks"] = static_cast<double>(blockCount);
}

void registerAll() {
    for (const NamedWorkload& named : workloads()) {
        auto* const one = benchmark::RegisterBenchmark(
            named.name, [&named](benchmark::State& state) { wholeProgram(state, named); });
        for (const int blockSize : {0, 64, 256, 512, 1024, 2048, 4096, 16384, 65536})
            one->Arg(blockSize);
    }
    struct NamedPart {
        const char* name;
        Part part;
    };
    for (const NamedWorkload& named : workloads())
        for (const NamedPart& one :
             {NamedPart{"frame", Part::Frame}, NamedPart{"loads", Part::Loads},
              NamedPart{"steps", Part::Steps}})
            benchmark::RegisterBenchmark(
                (std::string("part/") + named.name + "/" + one.name).c_str(),
                [&named, one](benchmark::State& state) { partOfProgram(state, named, one.part); });
    benchmark::RegisterBenchmark("configure", &configure)->Arg(20)->Arg(100);
    benchmark::RegisterBenchmark("configure again", &configureAgain)->Arg(20)->Arg(100);
    benchmark::RegisterBenchmark("zero registers", &zeroRegisters)->Arg(20)->Arg(100);
    benchmark::RegisterBenchmark("first result", &firstResult)->Arg(20);
    benchmark::RegisterBenchmark("blocks", &blocks)
        ->Args({4, 1})
        ->Args({20, 1})
        ->Args({4, 256})
        ->Args({20, 256});
}

} // namespace
} // namespace Fenlet::Bench

int main(int argumentCount, char** arguments) {
    Fenlet::Bench::registerAll();
    benchmark::Initialize(&argumentCount, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
