// The block loop: how it divides a range into blocks, what it passes to the sink and the providers,
// and what it keeps from block to block.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <climits>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Blocks = std::vector<RecordingSink::Block>;
using Bytes = std::vector<unsigned char>;
using Numbers = std::vector<std::int64_t>;

/// Stores the element numbers.
struct NumberingProgram : BenchProgram {
    NumberingProgram() { add(OpCode::ElementIndex, int64); }
};

TEST(Evaluate, CutsTheRangeIntoBlocks) {
    const struct {
        long long first;
        long long count;
        Blocks blocks;
    } rows[] = {
        {0, 0, {}},
        {0, -1, {}},
        {0, LLONG_MIN, {}},
        {0, 1, {{0, 1}}},
        {0, 3, {{0, 3}}},
        {0, 4, {{0, 4}}},
        {10, 5, {{10, 4}, {14, 1}}},
        {0, 8, {{0, 4}, {4, 4}}},
        {100, 11, {{100, 4}, {104, 4}, {108, 3}}},
        {-5, 3, {{-5, 3}}},
        {-5, 6, {{-5, 4}, {-1, 2}}},
        {LLONG_MIN, 5, {{LLONG_MIN, 4}, {LLONG_MIN + 4, 1}}},
        {LLONG_MAX, 5, {{LLONG_MAX, 4}, {LLONG_MIN + 3, 1}}},
    };
    NumberingProgram program;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.first) + " + " + std::to_string(row.count));
        RecordingHost host;
        const std::uint64_t before = interpreter.executedSteps();
        host.sink.answer = [&](const RegisterFile& registers) {
            EXPECT_EQ(registers.liveElements(), host.sink.blocks.back().count);
            EXPECT_EQ(registers.elementCapacity(), 4);
            return true;
        };
        EXPECT_TRUE(interpreter.evaluate(row.first, row.count, host.bindings, host.sink));
        expectReason(interpreter, ExecRefusal::None, nullptr);
        EXPECT_EQ(host.sink.blocks, row.blocks);
        EXPECT_EQ(interpreter.executedSteps() - before, row.blocks.size());
    }
}

TEST(Evaluate, GivesTheSinkItsOwnRegisters) {
    NumberingProgram program;
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    const RegisterFile* given = nullptr;
    host.sink.answer = [&given](const RegisterFile& registers) {
        given = &registers;
        return true;
    };
    EXPECT_TRUE(interpreter.evaluate(0, 1, host.bindings, host.sink));
    EXPECT_EQ(given, &interpreter.registerFile());
}

TEST(Evaluate, RunsBlocksOfOneElement) {
    NumberingProgram program;
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 1));
    EXPECT_TRUE(interpreter.evaluate(5, 3, host.bindings, host.sink));
    EXPECT_EQ(host.sink.blocks, (Blocks{{5, 1}, {6, 1}, {7, 1}}));
}

TEST(Evaluate, RunsHugeRangesUntilTheSinkStops) {
    NumberingProgram program;
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    host.sink.answer = [&host](const RegisterFile&) { return host.sink.blocks.size() < 3; };
    EXPECT_FALSE(interpreter.evaluate(0, LLONG_MAX, host.bindings, host.sink));
    EXPECT_EQ(host.sink.blocks, (Blocks{{0, 4}, {4, 4}, {8, 4}}));
}

TEST(ElementIndex, NumbersElementsAbsolutely) {
    const struct {
        long long first;
        int blockSize;
        int count;
        std::vector<std::int64_t> lastBlock;
    } rows[] = {
        {0, 4, 4, {0, 1, 2, 3}},
        {-5, 4, 3, {-5, -4, -3}},
        {1000, 256, 259, {1256, 1257, 1258}},
        {LLONG_MAX - 1, 4, 4, {LLONG_MAX - 1, LLONG_MAX, LLONG_MIN, LLONG_MIN + 1}},
        {LLONG_MIN, 2, 3, {LLONG_MIN + 2}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.first);
        NumberingProgram program;
        RecordingHost host;
        Interpreter interpreter;
        ASSERT_TRUE(interpreter.configure(program, row.blockSize));
        ASSERT_TRUE(interpreter.evaluate(row.first, row.count, host.bindings, host.sink));
        EXPECT_EQ(liveLanes<std::int64_t>(interpreter.registerFile(), program.int64),
                  row.lastBlock);
    }
}

TEST(ElementIndex, PacksItsNumbersIntoAWiderRegister) {
    ProgramSketch program;
    const int vector = program.addRegister(RegisterFormat::Int64, 3);
    program.add(OpCode::ElementIndex, vector);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 2));
    ASSERT_TRUE(interpreter.evaluate(7, 2, host.bindings, host.sink));
    EXPECT_EQ(liveLanes<std::int64_t>(interpreter.registerFile(), vector),
              (Numbers{7, 8, 0, 0, 0, 0}));
    // The other elements keep what the previous, longer block stored.
    ASSERT_TRUE(interpreter.evaluate(20, 1, host.bindings, host.sink));
    EXPECT_EQ(lanesOf<std::int64_t>(interpreter.registerFile(), vector, 3), (Numbers{20, 8, 0}));
}

// With and without a plan.

TEST(Evaluate, DoesNothingWithoutAPlan) {
    RecordingHost host;
    Interpreter interpreter;
    EXPECT_FALSE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::NotConfigured, nullptr);
    EXPECT_FALSE(interpreter.evaluate(0, 0, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::NotConfigured, nullptr);
    EXPECT_TRUE(host.sink.blocks.empty());

    const NumberingProgram program;
    EXPECT_FALSE(interpreter.configure(program, 0));
    EXPECT_FALSE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::ScratchRefused, "block size must be positive");
    EXPECT_TRUE(host.sink.blocks.empty());
}

TEST(Evaluate, HandsOnBlocksOfAPlanWithoutSteps) {
    BenchProgram program;
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    host.sink.answer = [](const RegisterFile& registers) {
        for (int number = 0; number < registers.registerCount(); ++number)
            for (int i = 0; i < registers.liveElements(); ++i)
                EXPECT_EQ(registers.validity(number)[i], 1);
        return true;
    };
    EXPECT_TRUE(interpreter.evaluate(3, 6, host.bindings, host.sink));
    EXPECT_EQ(host.sink.blocks, (Blocks{{3, 4}, {7, 2}}));
    EXPECT_EQ(interpreter.executedSteps(), 0u);
}

TEST(Evaluate, HandsOnBlocksOfAProgramWithoutRegisters) {
    const ProgramSketch program;
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_TRUE(interpreter.evaluate(0, 5, host.bindings, host.sink));
    EXPECT_EQ(host.sink.blocks, (Blocks{{0, 4}, {4, 1}}));
}

TEST(Evaluate, StopsWhenTheSinkDoes) {
    NumberingProgram program;
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    host.sink.answer = [](const RegisterFile&) { return false; };
    EXPECT_FALSE(interpreter.evaluate(0, 100, host.bindings, host.sink));
    EXPECT_EQ(host.sink.blocks, (Blocks{{0, 4}}));
    expectReason(interpreter, ExecRefusal::None, nullptr);
    EXPECT_TRUE(interpreter.isConfigured());
    EXPECT_EQ(interpreter.executedSteps(), 1u);
    // The sink may also end the run in the last block.
    EXPECT_FALSE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::None, nullptr);
}

TEST(Evaluate, ClearsTheRefusalOfTheRunBefore) {
    NumberingProgram program;
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    interpreter.refuseAtRun(ExecRefusal::ProviderFailed, "declined");
    EXPECT_TRUE(interpreter.evaluate(0, 0, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::None, nullptr);
}

// Steps that are refused in the middle of a run.

TEST(Evaluate, StopsAtTheStepThatIsRefused) {
    NumberingProgram program;
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    program.add(OpCode::LoadUniform, program.real2, {}, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    host.field.answer = [&host](const FieldRead&) { return host.field.reads.size() < 3; };
    EXPECT_FALSE(interpreter.evaluate(0, 100, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::ProviderFailed, "field accessor declined");
    EXPECT_TRUE(interpreter.isConfigured());
    EXPECT_EQ(host.sink.blocks, (Blocks{{0, 4}, {4, 4}}));
    EXPECT_EQ(host.uniforms.fetches.size(), 2u);
    EXPECT_EQ(interpreter.executedSteps(), 8u);
}

TEST(Evaluate, RefusesAgainEachTime) {
    NumberingProgram program;
    program.add(OpCode::Component, program.int32, {program.tribool}, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    for (int run = 1; run <= 3; ++run) {
        EXPECT_FALSE(interpreter.evaluate(0, 4, host.bindings, host.sink));
        expectReason(interpreter, ExecRefusal::KindMismatch,
                     "component extraction between these storage kinds has no kernel");
        EXPECT_EQ(interpreter.executedSteps(), static_cast<std::uint64_t>(2 * run));
        // An empty range runs no step, so there is nothing to refuse.
        EXPECT_TRUE(interpreter.evaluate(0, 0, host.bindings, host.sink));
        expectReason(interpreter, ExecRefusal::None, nullptr);
    }
    EXPECT_TRUE(host.sink.blocks.empty());
}

// What is kept from block to block, and what is not.

TEST(Evaluate, StartsEveryBlockValid) {
    NumberingProgram program;
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    // The first read makes all elements invalid. The second read, of two elements, makes none
    // invalid.
    host.field.answer = [&host](const FieldRead& request) {
        if (host.field.reads.size() == 1)
            storeLanes(request.validity, Bytes{0, 0, 0, 0});
        return true;
    };
    std::vector<Bytes> validity;
    host.sink.answer = [&](const RegisterFile& registers) {
        const unsigned char* const bytes = registers.validity(program.real);
        validity.emplace_back(bytes, bytes + 4);
        return true;
    };
    EXPECT_TRUE(interpreter.evaluate(0, 6, host.bindings, host.sink));
    // Bytes beyond the live elements do not change.
    EXPECT_EQ(validity, (std::vector<Bytes>{{0, 0, 0, 0}, {1, 1, 0, 0}}));
    EXPECT_EQ(host.field.reads[1].validity, (Bytes{1, 1}));
}

TEST(Evaluate, KeepsDataFromBlockToBlockAndRunToRun) {
    NumberingProgram program;
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 2));
    host.field.answer = [&host](const FieldRead& request) {
        if (host.field.reads.size() == 1)
            storeLanes(request.values, std::vector<float>{1.5f, 2.5f});
        return true;
    };
    std::vector<std::vector<float>> values;
    host.sink.answer = [&](const RegisterFile& registers) {
        values.push_back(lanesOf<float>(registers, program.real, 2));
        return true;
    };
    EXPECT_TRUE(interpreter.evaluate(0, 3, host.bindings, host.sink));
    EXPECT_EQ(interpreter.registerFile().liveElements(), 1);
    EXPECT_TRUE(interpreter.evaluate(0, 2, host.bindings, host.sink));
    EXPECT_EQ(values, (std::vector<std::vector<float>>(3, {1.5f, 2.5f})));
    EXPECT_EQ(interpreter.executedSteps(), 6u);
}

TEST(Evaluate, KeepsTheIndexBufferUntilItIsConfiguredAgain) {
    NumberingProgram program;
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    RecordingHost host;
    Interpreter interpreter;
    std::vector<Numbers> buffers;
    host.field.answer = [&buffers](const FieldRead& request) {
        buffers.emplace_back(request.indices, request.indices + 4);
        return true;
    };
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_TRUE(interpreter.evaluate(100, 2, host.bindings, host.sink));
    EXPECT_TRUE(interpreter.evaluate(200, 4, host.bindings, host.sink));
    EXPECT_TRUE(interpreter.evaluate(300, 1, host.bindings, host.sink));
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_TRUE(interpreter.evaluate(400, 1, host.bindings, host.sink));
    EXPECT_EQ(buffers,
              (std::vector<Numbers>{
                  {100, 101, 0, 0}, {200, 201, 202, 203}, {300, 201, 202, 203}, {400, 0, 0, 0}}));
    EXPECT_EQ(host.field.reads[0].request.indices, host.field.reads[3].request.indices);
}

TEST(Evaluate, CountsStepsOverBlocksAndRuns) {
    NumberingProgram program;
    program.add(OpCode::Nop, -1);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_TRUE(interpreter.evaluate(0, 9, host.bindings, host.sink));
    EXPECT_EQ(interpreter.executedSteps(), 6u);
    EXPECT_TRUE(interpreter.evaluate(0, 1, host.bindings, host.sink));
    EXPECT_EQ(interpreter.executedSteps(), 8u);
}

// Exceptions from the host.

struct HostError : std::runtime_error {
    HostError() : std::runtime_error("the host's own") {}
};

TEST(Evaluate, LetsExceptionsOfTheHostThroughAndRunsAgain) {
    NumberingProgram program;
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    program.add(OpCode::LoadUniform, program.real2, {}, 0);
    program.add(OpCode::Sample, program.real3, {program.real}, 0);
    for (int thrower = 0; thrower < 4; ++thrower) {
        SCOPED_TRACE(thrower);
        RecordingHost host;
        bool armed = true;
        const auto act = [&](int who) {
            if (armed && who == thrower && host.sink.blocks.size() >= (who == 3 ? 2 : 1))
                throw HostError();
            return true;
        };
        host.field.answer = [&](const FieldRead&) { return act(0); };
        host.uniforms.answer = [&](const RecordingUniforms::Fetch&) { return act(1); };
        host.sampler.answer = [&](const RecordingSampler::Sample&) { return act(2); };
        host.sink.answer = [&](const RegisterFile&) { return act(3); };
        Interpreter interpreter;
        ASSERT_TRUE(interpreter.configure(program, 4));
        EXPECT_THROW(static_cast<void>(interpreter.evaluate(0, 12, host.bindings, host.sink)),
                     HostError);
        EXPECT_TRUE(interpreter.isConfigured());
        expectReason(interpreter, ExecRefusal::None, nullptr);

        armed = false;
        host.sink.blocks.clear();
        EXPECT_TRUE(interpreter.evaluate(40, 6, host.bindings, host.sink));
        EXPECT_EQ(host.sink.blocks, (Blocks{{40, 4}, {44, 2}}));
        EXPECT_EQ(liveLanes<std::int64_t>(interpreter.registerFile(), program.int64),
                  (Numbers{44, 45}));
    }
}

// The order of calls.

TEST(Evaluate, CallsTheHostInStepOrderAndTheSinkLast) {
    NumberingProgram program;
    program.fields.resize(2);
    program.samplers.resize(2);
    program.uniforms.resize(2);
    program.add(OpCode::Sample, program.real, {program.int64}, 1);
    program.add(OpCode::LoadUniform, program.real2, {}, 1);
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    program.add(OpCode::LoadField, program.real, {program.int64}, 1);
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    program.add(OpCode::LoadUniform, program.real2, {}, 0);
    program.add(OpCode::Sample, program.real, {program.int64}, 0);

    std::string calls;
    RecordingField fields[2];
    RecordingSampler samplers[2];
    RecordingUniforms uniforms;
    RecordingSink sink;
    for (int i = 0; i < 2; ++i) {
        const std::string number = std::to_string(i) + " ";
        fields[i].answer = [&calls, number](const FieldRead&) {
            calls += "field" + number;
            return true;
        };
        samplers[i].answer = [&calls, number](const RecordingSampler::Sample&) {
            calls += "sampler" + number;
            return true;
        };
    }
    uniforms.answer = [&calls](const RecordingUniforms::Fetch& fetch) {
        calls += "uniform" + std::to_string(fetch.index) + " ";
        return true;
    };
    sink.answer = [&calls](const RegisterFile&) {
        calls += "sink ";
        return true;
    };
    CpuFieldAccessor* const fieldList[] = {&fields[0], &fields[1]};
    FenletSampler* const samplerList[] = {&samplers[0], &samplers[1]};
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 5, {fieldList, 2, &uniforms, samplerList, 2}, sink));
    const std::string block = "sampler1 uniform1 field0 field1 field0 uniform0 sampler0 sink ";
    EXPECT_EQ(calls, block + block);
}

} // namespace
} // namespace Fenlet
