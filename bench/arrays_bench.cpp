// Measures the fixed costs of an array run: preparing it, and running it over few elements.
#include "workloads.h"

#include <fenletarrays/array_run.h>
#include <fenletarrays/simplify.h>

#include <benchmark/benchmark.h>
#include <vector>

namespace Fenlet::Bench {
namespace {

constexpr std::int64_t few = 1024;
constexpr int steps = 20;

/// A program of 20 additions and multiplications over two fields, with its arrays.
struct Subject {
    WorkloadData data{few};
    Workload workload = twoFields(data, steps);
    std::vector<float> result = std::vector<float>(few);

    bool prepare(ArrayRun& run) {
        return run.prepare({{"a", workload.fields[0]}, {"b", workload.fields[1]}},
                           {{"result", result}});
    }
};

/// Measures everything from a program to its result: `prepare` and `run`.
void prepareAndRun(benchmark::State& state, bool simplify) {
    Subject subject;
    ArrayRunOptions options;
    options.simplify = simplify;
    for (auto _ : state) {
        ArrayRun run(subject.workload.program, options);
        if (!subject.prepare(run) || !run.run())
            return state.SkipWithError(run.error().c_str());
    }
}

/// Measures a prepared run. The argument is the number of elements.
void runAgain(benchmark::State& state) {
    Subject subject;
    ArrayRun run(subject.workload.program);
    if (!subject.prepare(run))
        return state.SkipWithError(run.error().c_str());
    for (auto _ : state)
        if (!run.run(0, state.range(0)))
            return state.SkipWithError(run.error().c_str());
}

/// Simplifies a program of as many additions and multiplications as the argument says.
void simplify(benchmark::State& state) {
    WorkloadData data(few);
    const Workload workload = twoFields(data, static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(simplifyProgram(workload.program));
}

BENCHMARK_CAPTURE(prepareAndRun, plain, false)->Name("prepare and run");
BENCHMARK_CAPTURE(prepareAndRun, simplified, true)->Name("prepare and run, simplified");
BENCHMARK(simplify)->Name("simplify")->Arg(steps)->Arg(1000);
BENCHMARK(runAgain)->Name("run again")->Arg(1)->Arg(few);

} // namespace
} // namespace Fenlet::Bench

BENCHMARK_MAIN();
