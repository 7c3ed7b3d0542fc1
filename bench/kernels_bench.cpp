// Kernels over blocks that stay in the first-level cache, in every instruction set of this machine,
// each beside the best loop for its shape that we can write by hand, in turns.
//
// Counters: lanes of the result for each nanosecond, the kernel's speed as a part of that loop's
// (`ratio`), and as a part of what the cache's loads and stores alone would allow (`limit`).
#include "kernel_bounds.h"
#include "kernels/arithmetic/arithmetic.h"
#include "kernels/boolean/boolean.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/select/select.h"
#include "kernels/target/sets.h"
#include "kernels/unary/unary.h"
#include "sources/component.h"

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

using Kind = CpuElementKind;

constexpr int mostElements = boundElements(1);
constexpr const NamedLoop* loopsBySet[] = FENLET_ADDRESSES(handLoops[0]);
const char* const setNames[] = {"Baseline", "Avx2", "Avx512"};

/// The areas of one call, filled with small positive numbers, each at the start of a cache line.
class Areas {
  public:
    Areas() : bytes(areaCount * areaBytes + alignment) {
        const auto address = reinterpret_cast<std::uintptr_t>(bytes.data());
        first = bytes.data() + (alignment - address % alignment) % alignment;
        std::memset((*this)[resultValidity], 1, areaBytes);
        std::memset((*this)[leftValidity], 1, areaBytes);
        std::memset((*this)[rightValidity], 1, areaBytes);
    }

    enum Area { result, resultValidity, left, right, leftValidity, rightValidity, condition };

    unsigned char* operator[](Area area) {
        return first + static_cast<std::size_t>(area) * areaBytes;
    }
    void fill(Area area, Kind kind) {
        for (int i = 0; i < mostElements * 4; ++i) {
            const std::int64_t number = 1 + i % 15;
            const auto whole = static_cast<std::int32_t>(number);
            const auto single = static_cast<float>(number);
            const auto wide = static_cast<double>(number);
            const auto half = static_cast<std::uint16_t>(0x3C00 + i % 1024);
            const auto truth = static_cast<unsigned char>(i % 3 == 2 ? 255 : i % 3);
            const void* const values[] = {nullptr, &truth, &whole, &number, &half, &single, &wide};
            const auto size = static_cast<std::size_t>(elementSize(kind));
            std::memcpy((*this)[area] + static_cast<std::size_t>(i) * size,
                        values[static_cast<int>(kind)], size);
        }
    }
    /// Random truths, each as often in a row as `run` says.
    void fillCondition(int run) {
        std::uint32_t state = 1;
        for (int i = 0; i < mostElements; ++i) {
            if (i % run == 0)
                state = state * 1664525 + 1013904223;
            (*this)[condition][i] = static_cast<unsigned char>(state >> 31);
        }
    }
    LoopAreas forLoop() {
        return {(*this)[result],       (*this)[resultValidity], (*this)[left],     (*this)[right],
                (*this)[leftValidity], (*this)[rightValidity],  (*this)[condition]};
    }

  private:
    static constexpr std::size_t areaBytes = mostElements * 4 * 8 + 192;
    static constexpr std::size_t areaCount = 7;
    static constexpr std::size_t alignment = 64;
    std::vector<unsigned char> bytes;
    unsigned char* first = nullptr;
};

/// A kernel's call for one shape, and what it reads.
struct Case {
    std::string name; ///< that of the loop by hand
    Kind left;
    Kind right;
    std::function<void(Areas&)> run;
    int conditionRun = 1;
};

using Action = std::function<void()>;

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

/// The shortest time of each action, over many short turns: whatever else the machine did then, it
/// did not make them faster.
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

void measure(benchmark::State& state, Areas& areas, const Case& one, int set,
             const NamedLoop& loop) {
    chooseInstructionSet(static_cast<InstructionSet>(set));
    areas.fill(Areas::left, one.left);
    areas.fill(Areas::right, one.right);
    areas.fillCondition(one.conditionRun);
    const LoopAreas loopAreas = areas.forLoop();
    const NamedLoop& read = loopsBySet[set][0];
    const NamedLoop& write = loopsBySet[set][1];
    std::vector<double> times;
    for (auto _ : state) {
        times = shortestTimes({[&] { one.run(areas); }, [&] { loop.run(loopAreas); },
                               [&] { read.run(loopAreas); }, [&] { write.run(loopAreas); }});
        state.SetIterationTime(times[0] * 1e-9);
        // What writes does so over the operands of none, but over the result.
        areas.fill(Areas::left, one.left);
    }
    const double reading = times[2] * loop.bytesRead / read.bytesRead;
    const double writing = times[3] * loop.bytesWritten / write.bytesWritten;
    state.counters["lanes_per_ns"] = loop.lanes / times[0];
    state.counters["by_hand"] = loop.lanes / times[1];
    state.counters["ratio"] = times[1] / times[0];
    state.counters["limit"] = std::max(reading, writing) / times[0];
}

Case arithmetic(const std::string& name, ArithmeticOp op, Kind result, Kind left, Kind right,
                int multiplicity = 1, bool rightScalar = false) {
    return {name, left, right, [=](Areas& areas) {
                dispatchArithmetic(result, left, right,
                                   {areas[Areas::result], areas[Areas::resultValidity],
                                    areas[Areas::left], areas[Areas::right],
                                    boundElements(multiplicity), multiplicity, false, rightScalar,
                                    op});
            }};
}

Case less(const std::string& name, Kind left, Kind right, int multiplicity = 1) {
    return {name, left, right, [=](Areas& areas) {
                dispatchComparison(left, right,
                                   {areas[Areas::result], areas[Areas::left],
                                    areas[Areas::leftValidity], areas[Areas::right],
                                    areas[Areas::rightValidity], boundElements(multiplicity),
                                    multiplicity, false, 0});
            }};
}

Case logic(const std::string& name, void (*run)(const LogicArgs&)) {
    return {
        name, Kind::Tribool, Kind::Tribool, [run](Areas& areas) {
            run({areas[Areas::result], areas[Areas::left], areas[Areas::right], boundElements(1)});
        }};
}

Case select(const std::string& name, Kind kind, int multiplicity, int conditionRun) {
    return {name, kind, kind,
            [=](Areas& areas) {
                dispatchSelect(
                    kind, kind, kind,
                    {areas[Areas::result], areas[Areas::resultValidity], areas[Areas::condition], 1,
                     areas[Areas::left], areas[Areas::leftValidity], areas[Areas::right],
                     areas[Areas::rightValidity], boundElements(multiplicity), multiplicity});
            },
            conditionRun};
}

Case unary(const std::string& name, UnaryOp op, int multiplicity) {
    return {name, Kind::Float32, Kind::Float32, [=](Areas& areas) {
                dispatchUnary(op, Kind::Float32, Kind::Float32,
                              {areas[Areas::result], areas[Areas::left],
                               boundElements(multiplicity), multiplicity});
            }};
}

Case component(const std::string& name, Kind to, Kind from, int multiplicity = 1) {
    return {name, from, from, [=](Areas& areas) {
                dispatchComponent(to, from,
                                  {areas[Areas::result], areas[Areas::left],
                                   boundElements(multiplicity), multiplicity,
                                   multiplicity > 1 ? 1 : 0});
            }};
}

std::vector<Case> arithmeticCases() {
    using Op = ArithmeticOp;
    constexpr Kind f32 = Kind::Float32;
    constexpr Kind f64 = Kind::Float64;
    constexpr Kind i32 = Kind::Int32;
    constexpr Kind half = Kind::Half;
    return {
        arithmetic("f32 + f32", Op::Add, f32, f32, f32),
        arithmetic("f32 + f32, x3", Op::Add, f32, f32, f32, 3),
        arithmetic("f32 + f32, x4", Op::Add, f32, f32, f32, 4),
        arithmetic("f32 * f32", Op::Multiply, f32, f32, f32),
        arithmetic("f32 / f32", Op::Divide, f32, f32, f32),
        arithmetic("f32 * f32, x2 by scalar", Op::Multiply, f32, f32, f32, 2, true),
        arithmetic("f32 * f32, x3 by scalar", Op::Multiply, f32, f32, f32, 3, true),
        arithmetic("f32 * f32, x4 by scalar", Op::Multiply, f32, f32, f32, 4, true),
        arithmetic("f32 / f32, x3 by scalar", Op::Divide, f32, f32, f32, 3, true),
        arithmetic("f64 + f64", Op::Add, f64, f64, f64),
        arithmetic("f64 * f64", Op::Multiply, f64, f64, f64),
        arithmetic("f64 / f64", Op::Divide, f64, f64, f64),
        arithmetic("f64 * f64, x3 by scalar", Op::Multiply, f64, f64, f64, 3, true),
        arithmetic("i32 + i32", Op::Add, i32, i32, i32),
        arithmetic("i32 * i32", Op::Multiply, i32, i32, i32),
        arithmetic("i32 / i32", Op::Divide, i32, i32, i32),
        arithmetic("i32 + f32 in f64", Op::Add, f64, i32, f32),
        arithmetic("f32 * i32 in f32", Op::Multiply, f32, f32, i32),
        arithmetic("f64 * f32 in f64", Op::Multiply, f64, f64, f32),
        arithmetic("f64 + f32 in f32", Op::Add, f32, f64, f32),
        arithmetic("f64 + f64 in i32", Op::Add, i32, f64, f64),
        arithmetic("half + half", Op::Add, half, half, half),
        arithmetic("half * half", Op::Multiply, half, half, half),
        arithmetic("half * f32 in f32", Op::Multiply, f32, half, f32),
    };
}

std::vector<Case> otherCases() {
    return {
        less("i32 < i32", Kind::Int32, Kind::Int32),
        less("f32 < f32", Kind::Float32, Kind::Float32),
        less("f32 < f32, x3", Kind::Float32, Kind::Float32, 3),
        less("f64 < f64", Kind::Float64, Kind::Float64),
        less("i32 < f32", Kind::Int32, Kind::Float32),
        less("f32 < f64", Kind::Float32, Kind::Float64),
        less("half < half", Kind::Half, Kind::Half),
        logic("and", &logicalAnd),
        logic("or", &logicalOr),
        logic("not", &logicalNot),
        {"is true", Kind::Tribool, Kind::Tribool,
         [](Areas& areas) {
             isTrue({areas[Areas::result], areas[Areas::resultValidity], areas[Areas::left],
                     areas[Areas::leftValidity], boundElements(1), 1});
         }},
        select("select f32, at random", Kind::Float32, 1, 1),
        select("select f32, in runs of 100", Kind::Float32, 1, 100),
        select("select f32, x3, at random", Kind::Float32, 3, 1),
        select("select f64, at random", Kind::Float64, 1, 1),
        unary("negate f32", UnaryOp::Negate, 1),
        unary("length f32, x3", UnaryOp::Length, 3),
        component("half to f32", Kind::Float32, Kind::Half),
        component("f32 to half", Kind::Half, Kind::Float32),
        component("i32 to f32", Kind::Float32, Kind::Int32),
        component("f32 to i32", Kind::Int32, Kind::Float32),
        component("i32 to f64", Kind::Float64, Kind::Int32),
        component("f32 to f64", Kind::Float64, Kind::Float32),
        component("f64 to f32", Kind::Float32, Kind::Float64),
        component("i64 to i32", Kind::Int32, Kind::Int64),
        component("i64 to f64", Kind::Float64, Kind::Int64),
        component("f64 to i64", Kind::Int64, Kind::Float64),
        component("component of f32, x2", Kind::Float32, Kind::Float32, 2),
        component("component of f32, x3", Kind::Float32, Kind::Float32, 3),
        component("component of f32, x4", Kind::Float32, Kind::Float32, 4),
    };
}

/// Whether kernel and loop write the same result: else they are not worth comparing.
bool agree(Areas& areas, const Case& one, int set, const NamedLoop& loop) {
    chooseInstructionSet(static_cast<InstructionSet>(set));
    areas.fill(Areas::left, one.left);
    areas.fill(Areas::right, one.right);
    areas.fillCondition(one.conditionRun);
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
    return resultAfter([&] { one.run(areas); }) == resultAfter([&] { loop.run(areas.forLoop()); });
}

const NamedLoop* findLoop(int set, const std::string& name) {
    for (const NamedLoop* loop = loopsBySet[set]; loop->name != nullptr; ++loop)
        if (name == loop->name)
            return loop;
    return nullptr;
}

/// Registers a case in each instruction set. Answers whether it can be compared in all of them.
bool registerCase(Areas& areas, const Case& one) {
    for (int set = 0; set < 3; ++set) {
        if (!isAvailable(static_cast<InstructionSet>(set)))
            continue;
        const NamedLoop* const loop = findLoop(set, one.name);
        if (loop == nullptr || !agree(areas, one, set, *loop)) {
            std::cerr << one.name << ", " << setNames[set]
                      << (loop == nullptr ? ": no loop by hand\n" : ": another result by hand\n");
            return false;
        }
        benchmark::RegisterBenchmark((one.name + "/" + setNames[set]).c_str(),
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
    std::vector<Case> cases = arithmeticCases();
    for (Case& one : otherCases())
        cases.push_back(std::move(one));
    bool comparable = true;
    for (const Case& one : cases)
        comparable = registerCase(areas, one) && comparable;
    benchmark::Initialize(&argumentCount, arguments);
    benchmark::RunSpecifiedBenchmarks();
    return comparable ? 0 : 1;
}
