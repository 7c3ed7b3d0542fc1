// Measures kernels over blocks that stay in the first-level cache, in every instruction set of this
// machine, in turns with the loop by hand for the same shape.
//
// Counters: lanes of the result per nanosecond; the kernel's speed divided by the speed of the loop
// by hand (`ratio`), and divided by the speed of its loads and stores alone (`limit`).
#include "kernel_cases.h"
#include "kernels/target/sets.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstring>
#include <functional>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

namespace Fenlet::Bench {

FENLET_IN_EVERY_SET(extern const NamedLoop handLoops[])

namespace {

constexpr const NamedLoop* loopsBySet[] = FENLET_ADDRESSES(handLoops[0]);

double nanosecondsFor(const Action& action, int times) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    for (int i = 0; i < times; ++i) {
        action();
        benchmark::ClobberMemory();
    }
    const std::chrono::duration<double, std::nano> passed = Clock::now() - start;
    return passed.count() / times;
}

/// The shortest time of each action over many short turns. Other work on the machine can only make
/// a turn slower.
std::vector<double> shortestTimes(const std::vector<Action>& actions) {
    constexpr int turns = 200;
    std::vector<double> shortest(actions.size(), std::numeric_limits<double>::max());
    std::vector<int> times;
    for (const Action& action : actions) {
        nanosecondsFor(action, 10);
        constexpr double turn = 10'000;
        times.push_back(std::max(1, static_cast<int>(turn / nanosecondsFor(action, 10))));
    }
    for (int i = 0; i < turns; ++i)
        for (std::size_t k = 0; k < actions.size(); ++k)
            shortest[k] = std::min(shortest[k], nanosecondsFor(actions[k], times[k]));
    return shortest;
}

void measure(benchmark::State& state, Areas& areas, const KernelCase& one, int set,
             const NamedLoop& loop) {
    chooseInstructionSet(static_cast<InstructionSet>(set));
    one.prepare(areas);
    const Action kernel = one.call(areas);
    const LoopAreas loopAreas = areas.forLoop();
    const NamedLoop& read = loopsBySet[set][0];
    const NamedLoop& write = loopsBySet[set][1];
    std::vector<double> times;
    for (auto _ : state) {
        times = shortestTimes({kernel, [&] { loop.run(loopAreas); }, [&] { read.run(loopAreas); },
                               [&] { write.run(loopAreas); }});
        state.SetIterationTime(times[0] * 1e-9);
        // Actions may write to the result, but not to the operands.
        areas.fill(Areas::left, one.left);
    }
    const double reading = times[2] * loop.bytesRead / read.bytesRead;
    const double writing = times[3] * loop.bytesWritten / write.bytesWritten;
    state.counters["lanes_per_ns"] = loop.lanes / times[0];
    state.counters["by_hand"] = loop.lanes / times[1];
    state.counters["ratio"] = times[1] / times[0];
    state.counters["limit"] = std::max(reading, writing) / times[0];
}

/// Whether kernel and loop write the same result. If they do not, comparing their times is
/// meaningless.
bool agree(Areas& areas, const KernelCase& one, int set, const NamedLoop& loop) {
    chooseInstructionSet(static_cast<InstructionSet>(set));
    one.prepare(areas);
    const auto resultAfter = [&](const Action& action) {
        std::memset(areas[Areas::resultValidity], 1, mostElements);
        action();
        std::vector<unsigned char> bytes(areas[Areas::result],
                                         areas[Areas::result] + loop.bytesWritten);
        bytes.insert(bytes.end(), areas[Areas::resultValidity],
                     areas[Areas::resultValidity] + mostElements);
        std::memset(areas[Areas::result], 0, static_cast<std::size_t>(loop.bytesWritten));
        return bytes;
    };
    std::memset(areas[Areas::result], 0, static_cast<std::size_t>(loop.bytesWritten));
    const auto byKernel = resultAfter(one.call(areas));
    const auto byHand = resultAfter([&] { loop.run(areas.forLoop()); });
    return byKernel == byHand;
}

const NamedLoop* findLoop(int set, const std::string& name) {
    for (const NamedLoop* loop = loopsBySet[set]; loop->name != nullptr; ++loop)
        if (name == loop->name)
            return loop;
    return nullptr;
}

/// Registers a case in each instruction set. Returns whether kernel and loop agree in all sets.
bool registerCase(Areas& areas, const KernelCase& one) {
    for (int set = 0; set < instructionSetCount; ++set) {
        if (!isAvailable(static_cast<InstructionSet>(set)))
            continue;
        const NamedLoop* const loop = findLoop(set, one.name);
        if (loop == nullptr || !agree(areas, one, set, *loop)) {
            std::cerr << one.name << ", " << instructionSetNames[set]
                      << (loop == nullptr ? ": no loop by hand\n" : ": another result by hand\n");
            return false;
        }
        benchmark::RegisterBenchmark((one.name + "/" + instructionSetNames[set]).c_str(),
                                     [&areas, &one, set, loop](benchmark::State& state) {
                                         measure(state, areas, one, set, *loop);
                                     })
            ->Iterations(1)
            ->UseManualTime();
    }
    return true;
}

} // namespace
} // namespace Fenlet::Bench

int main(int argumentCount, char** arguments) {
    using namespace Fenlet::Bench;
    Areas areas;
    bool comparable = true;
    for (const KernelCase& one : kernelCases())
        comparable = registerCase(areas, one) && comparable;
    benchmark::Initialize(&argumentCount, arguments);
    benchmark::RunSpecifiedBenchmarks();
    return comparable ? 0 : 1;
}
