// Kernels over blocks that stay in the first-level cache, in every instruction set of this machine.
// Counted are lanes of the result for each second.
#include "kernels/arithmetic/arithmetic.h"
#include "kernels/boolean/boolean.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/select/select.h"
#include "kernels/target/sets.h"
#include "kernels/unary/unary.h"
#include "sources/component.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

using Kind = CpuElementKind;

constexpr int elements = 1024;

/// Four areas of `elements` elements of up to four components, with small positive numbers.
class Areas {
  public:
    Areas() : bytes(areaCount * areaBytes) {}

    unsigned char* operator[](int area) {
        return bytes.data() + static_cast<std::size_t>(area) * areaBytes;
    }
    void fill(int area, Kind kind, int lanes) {
        for (int i = 0; i < lanes; ++i) {
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

  private:
    static constexpr std::size_t areaBytes = elements * 4 * 8 + 192;
    static constexpr std::size_t areaCount = 6;
    std::vector<unsigned char> bytes;
};

/// Registers one measurement for each instruction set.
template <class Run>
void measure(const std::string& name, int lanes, Run run) {
    const char* const names[] = {"Baseline", "Avx2", "Avx512"};
    for (int set = 0; set < 3; ++set) {
        if (!isAvailable(static_cast<InstructionSet>(set)))
            continue;
        benchmark::RegisterBenchmark((name + "/" + names[set]).c_str(),
                                     [set, lanes, run](benchmark::State& state) {
                                         chooseInstructionSet(static_cast<InstructionSet>(set));
                                         for (auto _ : state) {
                                             run();
                                             benchmark::ClobberMemory();
                                         }
                                         state.SetItemsProcessed(state.iterations() * lanes);
                                     });
    }
}

struct ArithmeticCase {
    const char* name;
    ArithmeticOp op;
    Kind result;
    Kind left;
    Kind right;
};

constexpr ArithmeticCase arithmeticCases[] = {
    {"f32 + f32", ArithmeticOp::Add, Kind::Float32, Kind::Float32, Kind::Float32},
    {"f32 / f32", ArithmeticOp::Divide, Kind::Float32, Kind::Float32, Kind::Float32},
    {"f64 + f64", ArithmeticOp::Add, Kind::Float64, Kind::Float64, Kind::Float64},
    {"i32 * i32", ArithmeticOp::Multiply, Kind::Int32, Kind::Int32, Kind::Int32},
    {"i32 / i32", ArithmeticOp::Divide, Kind::Int32, Kind::Int32, Kind::Int32},
    {"i32 + f32 in f64", ArithmeticOp::Add, Kind::Float64, Kind::Int32, Kind::Float32},
    {"f32 * i32 in f32", ArithmeticOp::Multiply, Kind::Float32, Kind::Float32, Kind::Int32},
    {"f64 + f64 in i32", ArithmeticOp::Add, Kind::Int32, Kind::Float64, Kind::Float64},
    {"half + half", ArithmeticOp::Add, Kind::Half, Kind::Half, Kind::Half},
    {"half * f32 in f32", ArithmeticOp::Multiply, Kind::Float32, Kind::Half, Kind::Float32},
};

void arithmetic(Areas& areas) {
    for (const ArithmeticCase& one : arithmeticCases)
        for (const int multiplicity : {1, 3, 4})
            for (const bool rightScalar : {false, true}) {
                if (rightScalar && multiplicity == 1)
                    continue;
                const int lanes = elements * multiplicity;
                const std::string shape =
                    (rightScalar ? "/x" + std::to_string(multiplicity) + " by scalar"
                                 : "/x" + std::to_string(multiplicity));
                measure(one.name + shape, lanes, [&areas, one, multiplicity, rightScalar, lanes] {
                    static const void* filled = nullptr;
                    if (filled != &one) {
                        areas.fill(1, one.left, lanes);
                        areas.fill(2, one.right, lanes);
                        filled = &one;
                    }
                    dispatchArithmetic(one.result, one.left, one.right,
                                       {areas[0], areas[3], areas[1], areas[2], elements,
                                        multiplicity, false, rightScalar, one.op});
                });
            }
}

void comparisons(Areas& areas) {
    for (const Kind kind : {Kind::Int32, Kind::Int64, Kind::Half, Kind::Float32, Kind::Float64})
        for (const int multiplicity : {1, 3}) {
            const std::string name = std::string(cpuElementKindName(kind)) + " < " +
                                     cpuElementKindName(kind) + "/x" + std::to_string(multiplicity);
            measure(name, elements * multiplicity, [&areas, kind, multiplicity] {
                std::memset(areas[3], 1, elements);
                dispatchComparison(kind, kind,
                                   {areas[0], areas[1], areas[3], areas[2], areas[3], elements,
                                    multiplicity, false, 0});
            });
        }
}

void logic(Areas& areas) {
    areas.fill(4, Kind::Tribool, elements);
    areas.fill(5, Kind::Tribool, elements);
    const LogicArgs args{areas[0], areas[4], areas[5], elements};
    measure("and", elements, [args] { logicalAnd(args); });
    measure("or", elements, [args] { logicalOr(args); });
    measure("not", elements, [args] { logicalNot(args); });
    measure("is true", elements, [&areas] {
        isTrue({areas[0], areas[3], areas[4], areas[5], elements, 1});
    });
    for (const int run : {1, 100})
        measure("select f32, runs of " + std::to_string(run), elements, [&areas, run] {
            static int made = 0;
            if (made != run) {
                std::uint32_t state = 1;
                for (int i = 0; i < elements; ++i) {
                    if (i % run == 0)
                        state = state * 1664525 + 1013904223;
                    areas[4][i] = static_cast<unsigned char>(state >> 31);
                }
                made = run;
            }
            std::memset(areas[3], 1, elements);
            dispatchSelect(Kind::Float32, Kind::Float32, Kind::Float32,
                           {areas[0], areas[5], areas[4], 1, areas[1], areas[3], areas[2], areas[3],
                            elements, 1});
        });
}

void unaryAndComponent(Areas& areas) {
    measure("length f32/x3", elements, [&areas] {
        dispatchUnary(UnaryOp::Length, Kind::Float32, Kind::Float32,
                      {areas[0], areas[1], elements, 3});
    });
    measure("negate f32", elements, [&areas] {
        dispatchUnary(UnaryOp::Negate, Kind::Float32, Kind::Float32,
                      {areas[0], areas[1], elements, 1});
    });
    struct Pair {
        Kind to;
        Kind from;
    };
    for (const Pair pair : {Pair{Kind::Float32, Kind::Half}, Pair{Kind::Half, Kind::Float32},
                            Pair{Kind::Float32, Kind::Int32}, Pair{Kind::Int32, Kind::Float32},
                            Pair{Kind::Int32, Kind::Int64}, Pair{Kind::Float64, Kind::Int64},
                            Pair{Kind::Int64, Kind::Float64}})
        measure(std::string(cpuElementKindName(pair.from)) + " to " + cpuElementKindName(pair.to),
                elements, [&areas, pair] {
                    dispatchComponent(pair.to, pair.from, {areas[0], areas[1], elements, 1, 0});
                });
    for (const int multiplicity : {2, 3, 4})
        measure("component of f32/x" + std::to_string(multiplicity), elements,
                [&areas, multiplicity] {
                    dispatchComponent(Kind::Float32, Kind::Float32,
                                      {areas[0], areas[1], elements, multiplicity, 1});
                });
}

} // namespace
} // namespace Fenlet

int main(int argumentCount, char** arguments) {
    Fenlet::Areas areas;
    Fenlet::arithmetic(areas);
    Fenlet::comparisons(areas);
    Fenlet::logic(areas);
    Fenlet::unaryAndComponent(areas);
    benchmark::Initialize(&argumentCount, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
