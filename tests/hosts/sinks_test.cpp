// The sink that collects registers, and the sink that calls a function.
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <fenlethosts/array_field.h>
#include <fenlethosts/sinks.h>

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <numeric>
#include <stdexcept>

namespace Fenlet::Hosts {
namespace {

using Bytes = std::vector<unsigned char>;
using Doubles::ProgramSketch;

/// Loads the element numbers and a field of two components.
struct NumberProgram : ProgramSketch {
    std::int32_t number = addRegister(RegisterFormat::Int64);
    std::int32_t unused = addRegister(RegisterFormat::Half, 3);
    std::int32_t pair = addRegister(RegisterFormat::Float32, 2);

    NumberProgram() {
        fields.resize(1);
        add(OpCode::ElementIndex, number);
        add(OpCode::LoadField, pair, {number}, 0);
    }
};

/// Runs a `NumberProgram` over an array of ten elements, the fourth of which is missing.
struct Bench {
    NumberProgram program;
    std::vector<float> values = std::vector<float>(20);
    Bytes present = Bytes(10, 1);
    ArrayField field{arrayView()};
    CpuFieldAccessor* fields[1] = {&field};
    Interpreter interpreter;

    explicit Bench(int blockSize) {
        EXPECT_TRUE(interpreter.configure(program, blockSize));
        std::iota(values.begin(), values.end(), 100.0f);
        present[3] = 0;
    }

    ArrayView arrayView() const {
        ArrayView view = ArrayView::of(values.data(), 10, 2);
        view.presence.data = present.data();
        return view;
    }

    bool run(long long first, long long count, BlockSink& sink) {
        Bindings bindings;
        bindings.fields = fields;
        bindings.fieldCount = 1;
        return interpreter.evaluate(first, count, bindings, sink);
    }
};

TEST(CollectingSink, PutsTheBlocksOfARangeTogether) {
    for (const int blockSize : {1, 2, 3, 4, 9, 10, 64}) {
        Bench bench(blockSize);
        CollectingSink sink(bench.interpreter.registerFile(), {2, 0}, -1, 10);
        ASSERT_TRUE(bench.run(-1, 10, sink));
        ASSERT_EQ(sink.collected().size(), 2u);
        EXPECT_EQ(sink[0].number, 2);
        EXPECT_EQ(sink[0].spec.kind, CpuElementKind::Float32);
        EXPECT_EQ(sink[0].spec.multiplicity, 2);
        EXPECT_EQ(sink[0].values.size(), 10u * 2 * 4);
        EXPECT_EQ(sink[1].number, 0);
        EXPECT_EQ(sink[1].spec.kind, CpuElementKind::Int64);
        EXPECT_EQ(sink[1].values.size(), 10u * 8);
        EXPECT_EQ(sink[0].validity, (Bytes{0, 1, 1, 1, 0, 1, 1, 1, 1, 1}));
        EXPECT_EQ(sink[1].validity, Bytes(10, 1));
        for (std::size_t i = 0; i < 10; ++i) {
            EXPECT_EQ(sink[1].at<std::int64_t>(i), static_cast<std::int64_t>(i) - 1);
            if (sink[0].validity[i] == 0)
                continue;
            for (const int c : {0, 1})
                EXPECT_EQ(sink[0].at<float>(i, c), bench.values[(i - 1) * 2 + std::size_t(c)]);
        }
    }
}

TEST(CollectingSink, CollectsNothingOfNoElements) {
    Bench bench(4);
    for (const long long count : {0LL, -5LL}) {
        CollectingSink sink(bench.interpreter.registerFile(), {0}, 7, count);
        EXPECT_TRUE(sink[0].values.empty());
        EXPECT_TRUE(sink[0].validity.empty());
        EXPECT_TRUE(bench.run(7, count, sink));
    }
    CollectingSink none(bench.interpreter.registerFile(), {}, 0, 10);
    EXPECT_TRUE(bench.run(0, 10, none));
    EXPECT_TRUE(none.collected().empty());
}

TEST(CollectingSink, MayKeepARegisterTwice) {
    Bench bench(3);
    CollectingSink sink(bench.interpreter.registerFile(), {0, 0}, 2, 5);
    ASSERT_TRUE(bench.run(2, 5, sink));
    EXPECT_EQ(sink[0].at<std::int64_t>(4), 6);
    EXPECT_EQ(sink[0].values, sink[1].values);
}

TEST(CollectingSink, KnowsOnlyTheProgramsRegisters) {
    Bench bench(4);
    for (const int number : {-1, 3, 1000})
        EXPECT_THROW(CollectingSink(bench.interpreter.registerFile(), {0, number}, 0, 4),
                     std::invalid_argument)
            << number;
}

TEST(CollectingSink, EndsTheRunAtABlockOutsideItsRange) {
    const struct {
        long long first, count;
    } runs[] = {{0, 9}, {5, 4}, {4, 5}, {9, 1}, {3, 1}, {-100, 1}, {5, 5}};
    for (const auto& run : runs) {
        Bench bench(64);
        CollectingSink sink(bench.interpreter.registerFile(), {0}, 4, 4);
        Bytes untouched = sink[0].values;
        EXPECT_FALSE(bench.run(run.first, run.count, sink));
        EXPECT_EQ(bench.interpreter.lastRefusal(), ExecRefusal::None);
        EXPECT_EQ(sink[0].values, untouched) << run.first << ", " << run.count;
        EXPECT_EQ(sink[0].validity, Bytes(4, 0)) << run.first << ", " << run.count;
    }
    // The sink keeps the blocks within the range, which came before.
    Bench bench(2);
    CollectingSink sink(bench.interpreter.registerFile(), {0}, 4, 4);
    int blocks = 0;
    FunctionSink counting([&](const RegisterFile& registers, long long start, int count) {
        ++blocks;
        return sink.consume(registers, start, count);
    });
    EXPECT_FALSE(bench.run(6, 4, counting));
    EXPECT_EQ(blocks, 2);
    EXPECT_EQ(sink[0].validity, (Bytes{0, 0, 1, 1}));
    EXPECT_EQ(sink[0].at<std::int64_t>(3), 7);
}

TEST(CollectingSink, FollowsElementNumbersThatWrap) {
    constexpr long long last = std::numeric_limits<long long>::max();
    Bench bench(2);
    CollectingSink sink(bench.interpreter.registerFile(), {0}, last - 2, 5);
    ASSERT_TRUE(bench.run(last - 2, 5, sink));
    EXPECT_EQ(sink[0].at<std::int64_t>(2), last);
    EXPECT_EQ(sink[0].at<std::int64_t>(3), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(sink[0].validity, Bytes(5, 1));
}

TEST(CollectingSink, TellsValidityInZerosAndOnes) {
    Bench bench(3);
    CollectingSink sink(bench.interpreter.registerFile(), {0}, 0, 3);
    RegisterFile registers;
    const RegisterSpec spec{CpuElementKind::Int64, 1};
    ASSERT_TRUE(registers.configure(&spec, 1, 3));
    registers.setBlockLength(3);
    Doubles::storeLanes(registers.validity(0), Bytes{0, 255, 2});
    ASSERT_TRUE(sink.consume(registers, 0, 3));
    EXPECT_EQ(sink[0].validity, (Bytes{0, 1, 1}));
}

TEST(FunctionSink, HandsEachBlockToTheFunction) {
    Bench bench(4);
    std::vector<std::pair<long long, int>> blocks;
    FunctionSink sink([&](const RegisterFile& registers, long long start, int count) {
        EXPECT_EQ(&registers, &bench.interpreter.registerFile());
        EXPECT_EQ(registers.liveElements(), count);
        blocks.emplace_back(start, count);
    });
    EXPECT_TRUE(bench.run(10, 10, sink));
    EXPECT_EQ(blocks, (std::vector<std::pair<long long, int>>{{10, 4}, {14, 4}, {18, 2}}));
}

TEST(FunctionSink, EndsTheRunWhereTheFunctionSaysSo) {
    Bench bench(4);
    int blocks = 0;
    FunctionSink sink([&](const RegisterFile&, long long, int) { return ++blocks < 2; });
    EXPECT_FALSE(bench.run(0, 100, sink));
    EXPECT_EQ(blocks, 2);
    EXPECT_EQ(bench.interpreter.lastRefusal(), ExecRefusal::None);
}

TEST(FunctionSink, KeepsAFunctionThatCannotBeCopied) {
    Bench bench(4);
    auto total = std::make_unique<long long>(0);
    long long* const seen = total.get();
    FunctionSink sink(
        [sum = std::move(total)](const RegisterFile&, long long, int count) { *sum += count; });
    EXPECT_TRUE(bench.run(0, 10, sink));
    EXPECT_EQ(*seen, 10);
}

} // namespace
} // namespace Fenlet::Hosts
