// Extracting components of registers, for every pair of kinds.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"
#include "kernels/conversions/conversions.h"
#include "kernels/fenced_area.h"
#include "sources/component.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Bytes = std::vector<unsigned char>;
using Kind = CpuElementKind;

// Whole programs.

/// Runs a program that extracts component `component` of a register that holds `source`. Returns
/// the result.
template <class To, class From>
std::vector<To> extracted(const std::vector<From>& source, RegisterFormat from, RegisterFormat to,
                          int multiplicity = 1, int component = 0) {
    ProgramSketch program;
    program.fields.resize(1);
    const int index = program.addRegister(RegisterFormat::Int64);
    const int vector = program.addRegister(from, multiplicity);
    const int result = program.addRegister(to);
    program.add(OpCode::LoadField, vector, {index}, 0);
    program.add(OpCode::Component, result, {vector}, component);
    RecordingHost host;
    host.field.answer = [&source](const FieldRead& request) {
        storeLanes(request.values, source);
        return true;
    };
    Interpreter interpreter;
    const int count = static_cast<int>(source.size()) / multiplicity;
    EXPECT_TRUE(interpreter.configure(program, count));
    EXPECT_TRUE(interpreter.evaluate(0, count, host.bindings, host.sink));
    return liveLanes<To>(interpreter.registerFile(), result);
}

constexpr auto tribool = RegisterFormat::Tribool;
constexpr auto int32 = RegisterFormat::Int32;
constexpr auto int64 = RegisterFormat::Int64;
constexpr auto half = RegisterFormat::Half;
constexpr auto float32 = RegisterFormat::Float32;
constexpr auto float64 = RegisterFormat::Float64;

using Int32s = std::vector<std::int32_t>;
using Int64s = std::vector<std::int64_t>;
using Halves = std::vector<std::uint16_t>;
using Floats = std::vector<float>;
using Reals = std::vector<double>;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr double infinity64 = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(Component, TakesOneOfEachElement) {
    const Floats vectors{1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ((extracted<float>(vectors, float32, float32, 3, 0)), (Floats{1, 4, 7}));
    EXPECT_EQ((extracted<float>(vectors, float32, float32, 3, 1)), (Floats{2, 5, 8}));
    EXPECT_EQ((extracted<float>(vectors, float32, float32, 3, 2)), (Floats{3, 6, 9}));
}

TEST(Component, TruncatesToIntegersOrGivesTheLeastOne) {
    const Reals reals{1.9, -1.9, -0.5, 2147483647.9, -2147483648.9, 3e10, -3e10, nan, infinity64};
    EXPECT_EQ((extracted<std::int32_t>(reals, float64, int32)),
              (Int32s{1, -1, 0, INT_MAX, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN}));
    EXPECT_EQ((extracted<std::int64_t>(Reals{3e10, -3e10, 9.3e18, -9.3e18, nan}, float64, int64)),
              (Int64s{30000000000, -30000000000, INT64_MIN, INT64_MIN, INT64_MIN}));
    const Floats floats{2147483520.0f, 2147483648.0f, -2147483648.0f, -0.99f, infinity};
    EXPECT_EQ((extracted<std::int32_t>(floats, float32, int32)),
              (Int32s{2147483520, INT_MIN, INT_MIN, 0, INT_MIN}));
    EXPECT_EQ((extracted<std::int64_t>(floats, float32, int64)),
              (Int64s{2147483520, 2147483648, -2147483648, 0, INT64_MIN}));
    const Halves halves{0x3C00, 0x7BFF, 0x7C00, 0xFC00, 0x7E00, 0xB800};
    EXPECT_EQ((extracted<std::int32_t>(halves, half, int32)),
              (Int32s{1, 65504, INT_MIN, INT_MIN, INT_MIN, 0}));
    EXPECT_EQ((extracted<std::int64_t>(halves, half, int64)),
              (Int64s{1, 65504, INT64_MIN, INT64_MIN, INT64_MIN, 0}));
}

TEST(Component, RoundsToHalfOnce) {
    EXPECT_EQ((extracted<std::uint16_t>(Int64s{2049, 2051, 65519, 65520, -65520, INT64_MAX}, int64,
                                        half)),
              (Halves{0x6800, 0x6802, 0x7BFF, 0x7C00, 0xFC00, 0x7C00}));
    EXPECT_EQ((extracted<std::uint16_t>(Int32s{2049, 2051, 65519, 65520, -70000}, int32, half)),
              (Halves{0x6800, 0x6802, 0x7BFF, 0x7C00, 0xFC00}));
    EXPECT_EQ((extracted<std::uint16_t>(Reals{1 + 0x1p-11 + 0x1p-30, 1e300}, float64, half)),
              (Halves{0x3C01, 0x7C00}));
    EXPECT_EQ((extracted<std::uint16_t>(Floats{1e-7f, 1e-8f, 0x1p-25f}, float32, half)),
              (Halves{0x0002, 0x0000, 0x0000}));
}

TEST(Component, KeepsOrWrapsIntegers) {
    EXPECT_EQ((extracted<std::int32_t>(Int64s{0x100000000, 0x1FFFFFFFF, INT64_MIN}, int64, int32)),
              (Int32s{0, -1, 0}));
    EXPECT_EQ((extracted<std::int64_t>(Int32s{-1, INT_MIN, INT_MAX}, int32, int64)),
              (Int64s{-1, INT_MIN, INT_MAX}));
    EXPECT_EQ((extracted<std::int32_t>(Int32s{-1, INT_MIN}, int32, int32)), (Int32s{-1, INT_MIN}));
    EXPECT_EQ((extracted<std::int64_t>(Int64s{-1, INT64_MIN}, int64, int64)),
              (Int64s{-1, INT64_MIN}));
}

TEST(Component, RoundsIntegersToFloatsInOneStep) {
    EXPECT_EQ((extracted<float>(Int32s{16777217, INT_MAX}, int32, float32)),
              (Floats{16777216.0f, 2147483648.0f}));
    EXPECT_EQ((extracted<float>(Int64s{1152921573326323713}, int64, float32)),
              (Floats{0x1.000002p60f}));
    EXPECT_EQ((extracted<double>(Int32s{INT_MAX}, int32, float64)), (Reals{2147483647.0}));
    EXPECT_EQ((extracted<double>(Int64s{INT64_MAX, 9007199254740993}, int64, float64)),
              (Reals{0x1p63, 9007199254740992.0}));
}

TEST(Component, ConvertsBetweenFloats) {
    EXPECT_EQ((extracted<float>(Reals{0.1, 1e39}, float64, float32)), (Floats{0.1f, infinity}));
    EXPECT_EQ((extracted<double>(Floats{0.5f, infinity}, float32, float64)),
              (Reals{0.5, infinity64}));
    EXPECT_EQ((extracted<float>(Halves{0x0001, 0x7BFF}, half, float32)),
              (Floats{0x1p-24f, 65504.0f}));
    EXPECT_EQ((extracted<double>(Halves{0x0001, 0xFC00}, half, float64)),
              (Reals{0x1p-24, -infinity64}));
}

TEST(Component, KeepsRawBitsWhereTheKindsAreEqual) {
    const Bytes bytes{0, 1, 255, 2, 128};
    EXPECT_EQ((extracted<unsigned char>(bytes, tribool, tribool)), bytes);
    const Halves signallingHalves{0x7C01, 0xFD55};
    EXPECT_EQ((extracted<std::uint16_t>(signallingHalves, half, half)), signallingHalves);
    const std::vector<std::uint32_t> signalling{0x7F800001, 0xFFA00000};
    EXPECT_EQ((extracted<std::uint32_t>(signalling, float32, float32)), signalling);
    const std::vector<std::uint64_t> wide{0x7FF0000000000001, 0xFFF4000000000000};
    EXPECT_EQ((extracted<std::uint64_t>(wide, float64, float64)), wide);
    const std::vector<std::uint64_t> vectors{1, 0x7FF0000000000001, 2, 0xFFF4000000000000};
    EXPECT_EQ((extracted<std::uint64_t>(vectors, float64, float64, 2, 1)), wide);
}

TEST(Component, PacksItsValuesIntoAWiderResult) {
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    program.add(OpCode::Component, program.real3, {program.int64}, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 2));
    ASSERT_TRUE(interpreter.evaluate(7, 2, host.bindings, host.sink));
    EXPECT_EQ(liveLanes<float>(interpreter.registerFile(), program.real3),
              (Floats{7, 8, 0, 0, 0, 0}));
}

TEST(Component, MayWriteIntoItsOwnOperand) {
    ProgramSketch program;
    program.fields.resize(1);
    const int index = program.addRegister(int64);
    const int vector = program.addRegister(float32, 3);
    program.add(OpCode::LoadField, vector, {index}, 0);
    program.add(OpCode::Component, vector, {vector}, 1);
    RecordingHost host;
    host.field.answer = [](const FieldRead& request) {
        storeLanes(request.values, Floats{1, 2, 3, 4, 5, 6, 7, 8, 9});
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 3));
    ASSERT_TRUE(interpreter.evaluate(0, 3, host.bindings, host.sink));
    EXPECT_EQ(liveLanes<float>(interpreter.registerFile(), vector),
              (Floats{2, 5, 8, 4, 5, 6, 7, 8, 9}));
}

TEST(Component, RefusesPairsWithoutAKernelInTheFirstBlockAndWritesNothing) {
    for (const auto format : {int32, int64, half, float32, float64}) {
        for (const bool intoTribool : {true, false}) {
            ProgramSketch program;
            program.fields.resize(1);
            const int index = program.addRegister(int64);
            const int from = program.addRegister(intoTribool ? format : tribool);
            const int to = program.addRegister(intoTribool ? tribool : format);
            program.add(OpCode::LoadField, from, {index}, 0);
            program.add(OpCode::Component, to, {from}, 0);
            RecordingHost host;
            host.field.answer = [](const FieldRead& request) {
                request.values[0] = 1;
                return true;
            };
            Interpreter interpreter;
            ASSERT_TRUE(interpreter.configure(program, 1));
            EXPECT_TRUE(interpreter.evaluate(0, 0, host.bindings, host.sink));
            EXPECT_FALSE(interpreter.evaluate(0, 1, host.bindings, host.sink));
            expectReason(interpreter, ExecRefusal::KindMismatch,
                         "component extraction between these storage kinds has no kernel");
            EXPECT_EQ(interpreter.registerFile().data(to)[0], 0);
        }
    }
}

// The dispatcher.

bool isNumber(int kind) {
    return kind >= 2 && kind <= 6;
}

TEST(DispatchComponent, ServesEveryPairOfNumbersAndTriboolWithItself) {
    int served = 0;
    for (const int result : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 100, INT_MAX, INT_MIN}) {
        for (const int source : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 100, INT_MAX, INT_MIN}) {
            const bool expected =
                (isNumber(result) && isNumber(source)) || (result == 1 && source == 1);
            Bytes from(8, 0x3C);
            Bytes to(8, 0xEE);
            const ComponentArgs args{to.data(), from.data(), 1, 1, 0};
            EXPECT_EQ(dispatchComponent(static_cast<Kind>(result), static_cast<Kind>(source), args),
                      expected)
                << result << " from " << source;
            EXPECT_EQ(to == Bytes(8, 0xEE), !expected);
            served += expected;
        }
    }
    EXPECT_EQ(served, 26);
}

/// Extracts a component lane by lane in ascending order, with conversions of single values.
template <class To, class From>
void extractPlainly(const ComponentArgs& args) {
    for (int e = 0; e < args.count; ++e)
        storeLane(args.result, e,
                  convert<To>(loadLane<From>(args.source, std::int64_t{e} * args.multiplicity +
                                                              args.component)));
}

// Bytes that give every kind a mixture of NaNs, infinities, subnormals and ordinary values.
Bytes sourceBytes(std::size_t size) {
    Bytes bytes(size);
    std::uint32_t state = 12345;
    for (unsigned char& byte : bytes) {
        state = state * 1664525u + 1013904223u;
        const std::uint32_t pick = state >> 28;
        byte = static_cast<unsigned char>(pick == 0   ? 0
                                          : pick == 1 ? 0x7F
                                          : pick == 2 ? 0xFF
                                          : pick == 3 ? 0x80
                                                      : state >> 16);
    }
    return bytes;
}

/// Compares the dispatcher with the plain loop. The result area starts `offset` bytes from the
/// source area.
template <class To, class From>
void compareWithPlainLoop(Kind to, Kind from, int count, int multiplicity, int component,
                          std::ptrdiff_t offset) {
    const auto lanes = static_cast<std::size_t>(count * multiplicity);
    constexpr std::size_t margin = 96;
    const Bytes before = sourceBytes(
        2 * margin + std::max(lanes * sizeof(From), static_cast<std::size_t>(count) * sizeof(To)));
    const auto argsIn = [&](Bytes& bytes) {
        return ComponentArgs{bytes.data() + static_cast<std::ptrdiff_t>(margin) + offset,
                             bytes.data() + margin, count, multiplicity, component};
    };
    Bytes expected = before;
    extractPlainly<To, From>(argsIn(expected));
    Bytes actual = before;
    ASSERT_TRUE(dispatchComponent(to, from, argsIn(actual)));
    ASSERT_EQ(actual, expected) << cpuElementKindName(to) << " from " << cpuElementKindName(from)
                                << ", component " << component << " of " << multiplicity << ", "
                                << count << " elements, offset " << offset;
}

template <class To, class From>
void compareApart(Kind to, Kind from, int count, int multiplicity, int component) {
    const auto lanes = static_cast<std::size_t>(count * multiplicity);
    // The area begins one byte after an aligned address.
    Bytes source = sourceBytes(1 + lanes * sizeof(From));
    const std::size_t resultBytes = static_cast<std::size_t>(count) * sizeof(To);
    Bytes expected(1 + resultBytes + 16, 0xEE);
    Bytes actual = expected;
    extractPlainly<To, From>(
        {expected.data() + 1, source.data() + 1, count, multiplicity, component});
    ASSERT_TRUE(dispatchComponent(
        to, from, {actual.data() + 1, source.data() + 1, count, multiplicity, component}));
    ASSERT_EQ(actual, expected) << cpuElementKindName(to) << " from " << cpuElementKindName(from)
                                << ", component " << component << " of " << multiplicity << ", "
                                << count << " elements";
}

template <class To, class From>
void comparePair(Kind to, Kind from) {
    for (const int multiplicity : {1, 2, 3, 4, 5, 7, 16})
        for (const int count : {1, 2, 3, 4, 7, 8, 15, 16, 17, 33, 64, 100, 200})
            for (const int component : {0, multiplicity / 2, multiplicity - 1})
                compareApart<To, From>(to, from, count, multiplicity, component);
    for (std::ptrdiff_t offset = -72; offset <= 72; ++offset)
        for (const int multiplicity : {1, 2, 3})
            for (const int count : {1, 5, 40})
                compareWithPlainLoop<To, From>(to, from, count, multiplicity, multiplicity - 1,
                                               offset);
}

template <class From>
void compareSource(Kind from) {
    comparePair<std::int32_t, From>(Kind::Int32, from);
    comparePair<std::int64_t, From>(Kind::Int64, from);
    comparePair<Half, From>(Kind::Half, from);
    comparePair<float, From>(Kind::Float32, from);
    comparePair<double, From>(Kind::Float64, from);
}

TEST(DispatchComponent, GivesWhatLaneByLaneGivesAlsoWhereAreasOverlap) {
    comparePair<unsigned char, unsigned char>(Kind::Tribool, Kind::Tribool);
    compareSource<std::int32_t>(Kind::Int32);
    compareSource<std::int64_t>(Kind::Int64);
    compareSource<Half>(Kind::Half);
    compareSource<float>(Kind::Float32);
    compareSource<double>(Kind::Float64);
}

TEST(DispatchComponent, TouchesNothingBesideItsAreas) {
    using Fence = FencedArea::Fence;
    const Kind kinds[] = {Kind::Tribool, Kind::Int32, Kind::Half, Kind::Float64};
    for (const Fence fence : {Fence::Before, Fence::After})
        for (const Kind kind : kinds)
            for (const int multiplicity : {1, 2, 3, 4, 5})
                for (const int count : {1, 3, 16, 63, 64, 65, 127, 200}) {
                    const auto bytes = static_cast<std::size_t>(count * elementSize(kind));
                    const FencedArea result(bytes, fence);
                    const FencedArea source(bytes * static_cast<std::size_t>(multiplicity), fence);
                    for (const int component : {0, multiplicity - 1})
                        EXPECT_TRUE(dispatchComponent(
                            kind, kind,
                            {result.data(), source.data(), count, multiplicity, component}));
                }
}

TEST(DispatchComponent, WritesNothingForNoElements) {
    for (const int count : {0, -1, INT_MIN}) {
        Bytes result(8, 0xEE);
        const Bytes source(8, 1);
        for (const int multiplicity : {1, 3}) {
            EXPECT_TRUE(dispatchComponent(Kind::Int32, Kind::Float32,
                                          {result.data(), source.data(), count, multiplicity, 0}));
            EXPECT_TRUE(dispatchComponent(Kind::Int32, Kind::Int32,
                                          {result.data(), source.data(), count, multiplicity, 0}));
        }
        EXPECT_EQ(result, Bytes(8, 0xEE));
    }
}

} // namespace
} // namespace Fenlet
