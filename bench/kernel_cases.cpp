// The measured kernel calls, and the areas that they work on.
#include "kernel_cases.h"

#include "kernels/arithmetic/arithmetic.h"
#include "kernels/boolean/boolean.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/elements/elements.h"
#include "kernels/select/select.h"
#include "kernels/unary/unary.h"
#include "sources/component.h"

#include <cstring>

namespace Fenlet::Bench {

Areas::Areas() : bytes(areaCount * areaBytes + alignment) {
    const auto address = reinterpret_cast<std::uintptr_t>(bytes.data());
    first = bytes.data() + (alignment - address % alignment) % alignment;
    std::memset((*this)[resultValidity], 1, areaBytes);
    std::memset((*this)[leftValidity], 1, areaBytes);
    std::memset((*this)[rightValidity], 1, areaBytes);
}

void Areas::fill(Area area, CpuElementKind kind) {
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

void Areas::fillCondition(int run) {
    std::uint32_t state = 1;
    for (int i = 0; i < mostElements; ++i) {
        if (i % run == 0)
            state = state * 1664525 + 1013904223;
        (*this)[condition][i] = static_cast<unsigned char>(state >> 31);
    }
}

namespace {

using Kind = CpuElementKind;

enum class Scalar { None, Left, Right };

KernelCase arithmetic(const std::string& name, ArithmeticOp op, Kind result, Kind left, Kind right,
                      int multiplicity = 1, Scalar scalar = Scalar::None) {
    return {name, left, right, [=](Areas& areas) -> Action {
                const ArithmeticArgs args{
                    areas[Areas::result],   areas[Areas::resultValidity], areas[Areas::left],
                    areas[Areas::right],    boundElements(multiplicity),  multiplicity,
                    scalar == Scalar::Left, scalar == Scalar::Right,      op};
                const FlatArithmetic flat = flatArithmetic(op, result, left, right);
                if (flat != nullptr && scalar == Scalar::None)
                    return [=, &areas] {
                        flat(areas[Areas::result], areas[Areas::left], areas[Areas::right],
                             std::int64_t{args.count} * args.multiplicity);
                    };
                const bool dividesIntegers = op == ArithmeticOp::Divide && result == Kind::Int32;
                if (const FlatDivision divide = flatDivision(); dividesIntegers && divide)
                    return [=, &areas] {
                        divide(areas[Areas::result], areas[Areas::resultValidity],
                               areas[Areas::left], nullptr, areas[Areas::right], nullptr,
                               args.count);
                    };
                return [args, kernel = arithmeticKernel(result, left, right)] { kernel(args); };
            }};
}

KernelCase less(const std::string& name, Kind left, Kind right, int multiplicity = 1) {
    return {name, left, right, [=](Areas& areas) -> Action {
                const ComparisonArgs args{areas[Areas::result],
                                          areas[Areas::left],
                                          areas[Areas::leftValidity],
                                          areas[Areas::right],
                                          areas[Areas::rightValidity],
                                          boundElements(multiplicity),
                                          multiplicity,
                                          false,
                                          0};
                const FlatComparison flat = flatComparison(args.predicate, left, right);
                if (flat != nullptr && multiplicity == 1)
                    return [=, &areas] {
                        flat(args.result, areas[Areas::left], args.leftValidity,
                             areas[Areas::right], args.rightValidity, args.count);
                    };
                return [args, kernel = comparisonKernel(left, right)] { kernel(args); };
            }};
}

KernelCase logic(const std::string& name, void (*run)(const LogicArgs&)) {
    return {name, Kind::Tribool, Kind::Tribool, [run](Areas& areas) -> Action {
                const LogicArgs args{areas[Areas::result], areas[Areas::left], areas[Areas::right],
                                     boundElements(1)};
                return [args, run] { run(args); };
            }};
}

KernelCase select(const std::string& name, Kind kind, int multiplicity, int conditionRun) {
    return {name, kind, kind,
            [=](Areas& areas) -> Action {
                const SelectArgs args{areas[Areas::result],        areas[Areas::resultValidity],
                                      areas[Areas::condition],     1,
                                      areas[Areas::left],          areas[Areas::leftValidity],
                                      areas[Areas::right],         areas[Areas::rightValidity],
                                      boundElements(multiplicity), multiplicity};
                if (const FlatSelect flat = flatSelect(kind, multiplicity))
                    return [args, flat] { flat(args); };
                return [args, kernel = selectKernel(kind, kind, kind)] { kernel(args); };
            },
            conditionRun};
}

KernelCase unary(const std::string& name, UnaryOp op, int multiplicity) {
    return {name, Kind::Float32, Kind::Float32, [=](Areas& areas) -> Action {
                const UnaryArgs args{areas[Areas::result], areas[Areas::left],
                                     boundElements(multiplicity), multiplicity};
                return [args, kernel = unaryKernel(op, Kind::Float32, Kind::Float32)] {
                    kernel(args);
                };
            }};
}

KernelCase component(const std::string& name, Kind to, Kind from, int multiplicity = 1) {
    return {name, from, from, [=](Areas& areas) -> Action {
                const ComponentArgs args{areas[Areas::result], areas[Areas::left],
                                         boundElements(multiplicity), multiplicity,
                                         multiplicity > 1 ? 1 : 0};
                return [args, kernel = componentKernel(to, from)] { kernel(args); };
            }};
}

std::vector<KernelCase> arithmeticCases() {
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
        arithmetic("f32 * f32, x2 by scalar", Op::Multiply, f32, f32, f32, 2, Scalar::Right),
        arithmetic("f32 * f32, x3 by scalar", Op::Multiply, f32, f32, f32, 3, Scalar::Right),
        arithmetic("f32 * f32, x4 by scalar", Op::Multiply, f32, f32, f32, 4, Scalar::Right),
        arithmetic("f32 / f32, x3 by scalar", Op::Divide, f32, f32, f32, 3, Scalar::Right),
        arithmetic("f32 scalar / f32, x3", Op::Divide, f32, f32, f32, 3, Scalar::Left),
        arithmetic("f32 scalar * f32, x4", Op::Multiply, f32, f32, f32, 4, Scalar::Left),
        arithmetic("f64 + f64", Op::Add, f64, f64, f64),
        arithmetic("f64 * f64", Op::Multiply, f64, f64, f64),
        arithmetic("f64 / f64", Op::Divide, f64, f64, f64),
        arithmetic("f64 * f64, x3 by scalar", Op::Multiply, f64, f64, f64, 3, Scalar::Right),
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

std::vector<KernelCase> otherCases() {
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
         [](Areas& areas) -> Action {
             const IsTrueArgs args{areas[Areas::result], areas[Areas::resultValidity],
                                   areas[Areas::left],   areas[Areas::leftValidity],
                                   boundElements(1),     1};
             return [args] { isTrue(args); };
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

/// The loops over elements. A call that returns a value writes it to the first byte of the result.
std::vector<KernelCase> elementCases() {
    constexpr int count = boundElements(1);
    return {
        {"element numbers", Kind::Int64, Kind::Int64,
         [](Areas& areas) -> Action {
             return [&areas] { countUp(areas[Areas::result], 0, count); };
         }},
        {"i32 to element numbers", Kind::Int32, Kind::Int32,
         [](Areas& areas) -> Action {
             void* const result = areas[Areas::result];
             auto* const numbers = static_cast<std::int64_t*>(result);
             return [&areas, numbers] { widenIndices(numbers, areas[Areas::left], count); };
         }},
        {"numbers in one run?", Kind::Int64, Kind::Int64,
         [](Areas& areas) -> Action {
             countUp(areas[Areas::left], 7, count);
             const void* const left = areas[Areas::left];
             const auto* const numbers = static_cast<const std::int64_t*>(left);
             return [&areas, numbers] {
                 areas[Areas::result][0] =
                     isContiguous(numbers, areas[Areas::leftValidity], count) ? 1 : 0;
             };
         }},
        {"both valid", Kind::Int32, Kind::Int32,
         [](Areas& areas) -> Action {
             return [&areas] {
                 bothValid(areas[Areas::result], areas[Areas::leftValidity],
                           areas[Areas::rightValidity], count);
             };
         }},
        {"all valid?", Kind::Int32, Kind::Int32,
         [](Areas& areas) -> Action {
             return [&areas] {
                 areas[Areas::result][0] =
                     isOneThroughout(areas[Areas::leftValidity], count) ? 1 : 0;
             };
         }},
    };
}

} // namespace

const std::vector<KernelCase>& kernelCases() {
    static const std::vector<KernelCase> all = [] {
        std::vector<KernelCase> cases = arithmeticCases();
        for (std::vector<KernelCase>& others : std::vector{otherCases(), elementCases()})
            for (KernelCase& one : others)
                cases.push_back(std::move(one));
        return cases;
    }();
    return all;
}

} // namespace Fenlet::Bench
