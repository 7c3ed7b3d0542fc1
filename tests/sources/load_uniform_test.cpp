// Loading uniforms into registers.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Fetch = RecordingUniforms::Fetch;

TEST(LoadUniform, AsksInTheRegistersTerms) {
    const struct {
        RegisterFormat format;
        CpuElementKind kind;
        int multiplicity;
    } rows[] = {
        {RegisterFormat::Tribool, CpuElementKind::Tribool, 1},
        {RegisterFormat::Int16, CpuElementKind::Int32, 2},
        {RegisterFormat::Int64, CpuElementKind::Int64, 3},
        {RegisterFormat::Half, CpuElementKind::Half, 5},
        {RegisterFormat::Float32, CpuElementKind::Float32, 63},
        {RegisterFormat::Float64, CpuElementKind::Float64, 64},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(cpuElementKindName(row.kind));
        ProgramSketch program;
        program.uniforms.resize(3);
        const int result = program.addRegister(row.format, row.multiplicity);
        program.add(OpCode::LoadUniform, result, {}, 2);
        RecordingHost host;
        host.uniforms.answer = [](const Fetch& fetch) {
            std::vector<unsigned char> value(static_cast<std::size_t>(fetch.multiplicity) *
                                             static_cast<std::size_t>(elementSize(fetch.kind)));
            for (std::size_t i = 0; i < value.size(); ++i)
                value[i] = static_cast<unsigned char>(i + 1);
            storeLanes(fetch.out, value);
            return true;
        };
        Interpreter interpreter;
        ASSERT_TRUE(interpreter.configure(program, 4));
        ASSERT_TRUE(interpreter.evaluate(0, 3, host.bindings, host.sink));
        ASSERT_EQ(host.uniforms.fetches.size(), 1u);
        const Fetch& fetch = host.uniforms.fetches[0];
        EXPECT_EQ(fetch.index, 2);
        EXPECT_EQ(fetch.kind, row.kind);
        EXPECT_EQ(fetch.multiplicity, row.multiplicity);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(fetch.out) % 8, 0u);

        const int bytes = elementSize(row.kind) * row.multiplicity;
        const auto stored = lanesOf<unsigned char>(interpreter.registerFile(), result, 4 * bytes);
        for (int i = 0; i < 4 * bytes; ++i)
            ASSERT_EQ(stored[static_cast<std::size_t>(i)],
                      i < 3 * bytes ? static_cast<unsigned char>(i % bytes + 1) : 0)
                << i;
    }
}

TEST(LoadUniform, HandsOutAZeroedScratchEachTime) {
    BenchProgram program;
    program.add(OpCode::LoadUniform, program.real64, {}, 0);
    program.add(OpCode::LoadUniform, program.real3, {}, 0);
    RecordingHost host;
    host.uniforms.answer = [](const Fetch& fetch) {
        // Writes all bytes of the buffer, even those that were not asked for.
        storeLanes(fetch.out, std::vector<unsigned char>(512, 0xAB));
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 8, host.bindings, host.sink));
    ASSERT_EQ(host.uniforms.fetches.size(), 4u);
    for (const Fetch& fetch : host.uniforms.fetches)
        EXPECT_TRUE(std::all_of(fetch.scratch.begin(), fetch.scratch.end(),
                                [](unsigned char byte) { return byte == 0; }));
}

TEST(LoadUniform, LeavesComponentsThatTheSourceDoesNotWriteAtZero) {
    BenchProgram program;
    program.add(OpCode::LoadUniform, program.real3, {}, 0);
    RecordingHost host;
    host.uniforms.answer = [](const Fetch& fetch) {
        storeLanes(fetch.out, std::vector<float>{2.5f});
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 2, host.bindings, host.sink));
    EXPECT_EQ(liveLanes<float>(interpreter.registerFile(), program.real3),
              (std::vector<float>{2.5f, 0, 0, 2.5f, 0, 0}));
}

TEST(LoadUniform, AsksAnewForEachBlock) {
    BenchProgram program;
    program.add(OpCode::LoadUniform, program.real, {}, 0);
    RecordingHost host;
    host.uniforms.answer = [&host](const Fetch& fetch) {
        storeLanes(fetch.out, std::vector<float>{static_cast<float>(host.uniforms.fetches.size())});
        return true;
    };
    std::vector<std::vector<float>> blocks;
    host.sink.answer = [&](const RegisterFile& registers) {
        blocks.push_back(liveLanes<float>(registers, program.real));
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 2));
    ASSERT_TRUE(interpreter.evaluate(0, 5, host.bindings, host.sink));
    EXPECT_EQ(blocks, (std::vector<std::vector<float>>{{1, 1}, {2, 2}, {3}}));
}

TEST(LoadUniform, LeavesTheRegisterAloneWhenTheSourceDeclines) {
    BenchProgram program;
    program.add(OpCode::LoadUniform, program.real, {}, 0);
    RecordingHost host;
    host.uniforms.answer = [&host](const Fetch& fetch) {
        storeLanes(fetch.out, std::vector<float>{static_cast<float>(host.uniforms.fetches.size())});
        return host.uniforms.fetches.size() != 2;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 2));
    EXPECT_FALSE(interpreter.evaluate(0, 6, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::ProviderFailed, "uniform source declined");
    EXPECT_EQ(host.sink.blocks.size(), 1u);
    EXPECT_EQ(liveLanes<float>(interpreter.registerFile(), program.real),
              (std::vector<float>{1, 1}));
    EXPECT_TRUE(interpreter.evaluate(0, 6, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::None, nullptr);
}

} // namespace
} // namespace Fenlet
