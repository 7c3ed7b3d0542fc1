// The check for missing providers before a run.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <gtest/gtest.h>

namespace Fenlet {
namespace {

using namespace Doubles;

/// A program with three fields, three samplers and a uniform. Tests add instructions that use field
/// 1, sampler 1 and uniform 0.
struct ReadingProgram : BenchProgram {
    ReadingProgram() {
        fields.resize(3);
        samplers.resize(3);
    }
    void readField(int number = 1) { add(OpCode::LoadField, real, {int64}, number); }
    void useSampler(int number = 1) { add(OpCode::Sample, real, {real}, number); }
    void readUniform() { add(OpCode::LoadUniform, real, {}, 0); }
};

/// Expects a run over `count` elements to be refused before any step.
void expectRunRefused(const FenletProgram& program, const Bindings& bindings, ExecRefusal code,
                      const char* message, long long count = 4) {
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_FALSE(interpreter.checkBindings(bindings));
    expectReason(interpreter, code, message);
    RecordingSink sink;
    EXPECT_FALSE(interpreter.evaluate(0, count, bindings, sink));
    expectReason(interpreter, code, message);
    EXPECT_TRUE(interpreter.isConfigured());
    EXPECT_EQ(interpreter.executedSteps(), 0u);
    EXPECT_TRUE(sink.blocks.empty());
}

constexpr auto unboundField = ExecRefusal::UnboundField;
constexpr auto unboundUniform = ExecRefusal::UnboundUniform;
constexpr auto unboundSampler = ExecRefusal::UnboundSampler;
const char* const fieldWords = "no accessor bound for a field the program reads";
const char* const uniformWords = "no uniform source bound";
const char* const samplerWords = "no sampler bound for one the program uses";

TEST(Bindings, BeginEmpty) {
    const Bindings bindings;
    EXPECT_EQ(bindings.fields, nullptr);
    EXPECT_EQ(bindings.fieldCount, 0);
    EXPECT_EQ(bindings.uniforms, nullptr);
    EXPECT_EQ(bindings.samplers, nullptr);
    EXPECT_EQ(bindings.samplerCount, 0);
}

TEST(CheckBindings, AsksForEveryFieldThatIsRead) {
    ReadingProgram program;
    program.readField();
    RecordingField field;
    CpuFieldAccessor* const hole[] = {&field, nullptr, &field};
    CpuFieldAccessor* const all[] = {&field, &field, &field};
    expectRunRefused(program, {}, unboundField, fieldWords);
    expectRunRefused(program, {nullptr, 3, nullptr, nullptr, 0}, unboundField, fieldWords);
    expectRunRefused(program, {all, 1, nullptr, nullptr, 0}, unboundField, fieldWords);
    expectRunRefused(program, {all, 0, nullptr, nullptr, 0}, unboundField, fieldWords);
    expectRunRefused(program, {all, -1, nullptr, nullptr, 0}, unboundField, fieldWords);
    expectRunRefused(program, {hole, 3, nullptr, nullptr, 0}, unboundField, fieldWords);
}

TEST(CheckBindings, AsksForEverySamplerThatIsUsed) {
    ReadingProgram program;
    program.useSampler();
    RecordingSampler sampler;
    FenletSampler* const hole[] = {&sampler, nullptr, &sampler};
    FenletSampler* const all[] = {&sampler, &sampler, &sampler};
    expectRunRefused(program, {}, unboundSampler, samplerWords);
    expectRunRefused(program, {nullptr, 0, nullptr, nullptr, 3}, unboundSampler, samplerWords);
    expectRunRefused(program, {nullptr, 0, nullptr, all, 1}, unboundSampler, samplerWords);
    expectRunRefused(program, {nullptr, 0, nullptr, all, -1}, unboundSampler, samplerWords);
    expectRunRefused(program, {nullptr, 0, nullptr, hole, 3}, unboundSampler, samplerWords);
}

TEST(CheckBindings, AsksForTheUniformSource) {
    ReadingProgram program;
    program.readUniform();
    expectRunRefused(program, {}, unboundUniform, uniformWords);
}

TEST(CheckBindings, ComesBeforeAnEmptyRange) {
    ReadingProgram program;
    program.readUniform();
    expectRunRefused(program, {}, unboundUniform, uniformWords, 0);
    expectRunRefused(program, {}, unboundUniform, uniformWords, -3);
}

TEST(CheckBindings, ReportsTheFirstStepInProgramOrder) {
    ReadingProgram samplerFirst;
    samplerFirst.useSampler();
    samplerFirst.readField();
    samplerFirst.readUniform();
    expectRunRefused(samplerFirst, {}, unboundSampler, samplerWords);
    ReadingProgram uniformFirst;
    uniformFirst.readUniform();
    uniformFirst.useSampler();
    uniformFirst.readField();
    expectRunRefused(uniformFirst, {}, unboundUniform, uniformWords);
    ReadingProgram fieldFirst;
    fieldFirst.readField();
    fieldFirst.readUniform();
    fieldFirst.useSampler();
    expectRunRefused(fieldFirst, {}, unboundField, fieldWords);
}

TEST(CheckBindings, AllowsHolesThatNoStepReads) {
    ReadingProgram program;
    program.readField(0);
    program.readField(2);
    program.useSampler(2);
    RecordingField field;
    RecordingSampler sampler;
    CpuFieldAccessor* const fields[] = {&field, nullptr, &field};
    FenletSampler* const samplers[] = {nullptr, nullptr, &sampler};
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_TRUE(interpreter.checkBindings({fields, 3, nullptr, samplers, 3}));
    expectReason(interpreter, ExecRefusal::None, nullptr);
}

TEST(CheckBindings, AllowsProvidersThatNoStepReads) {
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_TRUE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    EXPECT_TRUE(interpreter.evaluate(0, 4, Bindings{}, host.sink));
    EXPECT_TRUE(host.field.reads.empty());
    EXPECT_TRUE(host.uniforms.fetches.empty());
    EXPECT_TRUE(host.sampler.samples.empty());
}

TEST(CheckBindings, LetsTheHostMendItsBindings) {
    ReadingProgram program;
    program.readField(0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_FALSE(interpreter.evaluate(0, 4, Bindings{}, host.sink));
    expectReason(interpreter, unboundField, fieldWords);
    EXPECT_TRUE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::None, nullptr);
    EXPECT_EQ(host.sink.blocks.size(), 1u);
}

} // namespace
} // namespace Fenlet
