// Passing coordinates to samplers.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Bytes = std::vector<unsigned char>;
using SampleCall = RecordingSampler::Sample;

TEST(Sample, HandsOverBothRegisters) {
    BenchProgram program;
    program.add(OpCode::LoadField, program.real2, {program.int64}, 0);
    program.add(OpCode::Sample, program.tribool3, {program.real2}, 0);
    RecordingHost host;
    host.field.answer = [](const FieldRead& request) {
        storeLanes(request.validity, Bytes{1, 0, 200});
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 5));
    ASSERT_TRUE(interpreter.evaluate(100, 3, host.bindings, host.sink));
    ASSERT_EQ(host.sampler.samples.size(), 1u);
    const SampleCall& call = host.sampler.samples[0];
    const RegisterFile& registers = interpreter.registerFile();
    EXPECT_EQ(call.coordinates, registers.data(program.real2));
    EXPECT_EQ(call.coordinateKind, CpuElementKind::Float32);
    EXPECT_EQ(call.coordinateMultiplicity, 2);
    EXPECT_EQ(call.values, registers.data(program.tribool3));
    EXPECT_EQ(call.valueKind, CpuElementKind::Tribool);
    EXPECT_EQ(call.valueMultiplicity, 3);
    EXPECT_EQ(call.validity, registers.validity(program.tribool3));
    EXPECT_EQ(call.count, 3);
    EXPECT_EQ(call.validityOnEntry, (Bytes{1, 0, 1}));
}

TEST(Sample, ChoosesTheSamplerByTheImmediate) {
    BenchProgram program;
    program.samplers.resize(3);
    program.add(OpCode::Sample, program.real, {program.real}, 2);
    RecordingSampler samplers[3];
    FenletSampler* const bound[] = {&samplers[0], &samplers[1], &samplers[2]};
    RecordingSink sink;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 4, {nullptr, 0, nullptr, bound, 3}, sink));
    EXPECT_TRUE(samplers[0].samples.empty());
    EXPECT_TRUE(samplers[1].samples.empty());
    EXPECT_EQ(samplers[2].samples.size(), 1u);
}

TEST(Sample, MaySampleIntoItsOwnCoordinates) {
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    program.add(OpCode::Sample, program.int64, {program.int64}, 0);
    RecordingHost host;
    host.sampler.answer = [](const SampleCall& call) {
        const auto* const in = static_cast<const unsigned char*>(call.coordinates);
        std::vector<std::int64_t> lanes(static_cast<std::size_t>(call.count));
        std::memcpy(lanes.data(), in, lanes.size() * 8);
        for (std::int64_t& lane : lanes)
            lane *= 3;
        storeLanes(call.values, lanes);
        call.validity[2] = 0;
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(10, 3, host.bindings, host.sink));
    EXPECT_EQ(liveLanes<std::int64_t>(interpreter.registerFile(), program.int64),
              (std::vector<std::int64_t>{30, 33, 36}));
    EXPECT_EQ(liveValidity(interpreter.registerFile(), program.int64), (Bytes{1, 1, 0}));
}

TEST(Sample, KeepsWhatADecliningSamplerHasWritten) {
    BenchProgram program;
    program.add(OpCode::Sample, program.real, {program.real2}, 0);
    RecordingHost host;
    host.sampler.answer = [](const SampleCall& call) {
        storeLanes(call.values, std::vector<float>{8});
        call.validity[0] = 0;
        return false;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 2));
    EXPECT_FALSE(interpreter.evaluate(0, 2, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::ProviderFailed, "sampler declined");
    EXPECT_TRUE(host.sink.blocks.empty());
    EXPECT_EQ(liveLanes<float>(interpreter.registerFile(), program.real),
              (std::vector<float>{8, 0}));
    EXPECT_EQ(liveValidity(interpreter.registerFile(), program.real), (Bytes{0, 1}));
}

} // namespace
} // namespace Fenlet
