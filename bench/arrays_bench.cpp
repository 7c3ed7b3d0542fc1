// Measures the fixed costs of an array run: preparing it, and running it over few elements.
#include "workloads.h"

#include <fenletarrays/array_run.h>

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
void prepareAndRun(benchmark::State& state) {
    Subject subject;
    for (auto _ : state) {
        ArrayRun run(subject.workload.program);
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

BENCHMARK(prepareAndRun)->Name("prepare and run");
BENCHMARK(runAgain)->Name("run again")->Arg(1)->Arg(few);

} // namespace
} // namespace Fenlet::Bench

BENCHMARK_MAIN();
