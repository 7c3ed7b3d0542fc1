// Negate and Length as steps of a program.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Bytes = std::vector<unsigned char>;

/// Loads register 0 from the host and runs one step on it, into register 1.
struct UnaryBench {
    ProgramSketch program;
    RecordingHost host;
    Interpreter interpreter;

    UnaryBench(OpCode op, RegisterFormat resultFormat, int resultMultiplicity,
               RegisterFormat operandFormat, int operandMultiplicity) {
        program.fields.resize(1);
        program.addRegister(operandFormat, operandMultiplicity);
        program.addRegister(resultFormat, resultMultiplicity);
        const std::int32_t indices = program.addRegister(RegisterFormat::Int32);
        program.add(OpCode::LoadField, 0, {indices}, 0);
        program.add(op, 1, {0});
    }

    template <class Lane>
    void load(const std::vector<Lane>& lanes, const Bytes& validity) {
        host.field.answer = [lanes, validity](const FieldRead& request) {
            storeLanes(request.values, lanes);
            storeLanes(request.validity, validity);
            return true;
        };
    }

    bool run(int count, const std::function<void(const RegisterFile&)>& look) {
        host.sink.answer = [&look](const RegisterFile& registers) {
            look(registers);
            return true;
        };
        return interpreter.configure(program, count) &&
               interpreter.evaluate(0, count, host.bindings, host.sink);
    }
};

constexpr const char* noKernel = "no kernel for this unary operation at the operand's storage kind";

TEST(NegateStep, ComputesInvalidElementsTooAndCarriesTheirValidity) {
    UnaryBench bench(OpCode::Negate, RegisterFormat::Int32, 2, RegisterFormat::Float32, 2);
    bench.load<float>({1.5f, -2.5f, 3.5f, 4.0f, 1e10f, -0.0f}, {1, 0, 77});
    EXPECT_TRUE(bench.run(3, [](const RegisterFile& registers) {
        EXPECT_EQ(liveLanes<std::int32_t>(registers, 1),
                  (std::vector<std::int32_t>{-1, 2, -3, -4, INT32_MIN, 0}));
        EXPECT_EQ(liveValidity(registers, 1), (Bytes{1, 0, 1}));
    }));
    EXPECT_EQ(bench.host.sink.blocks.size(), 1u);
}

TEST(LengthStep, ComputesInvalidElementsTooAndCarriesTheirValidity) {
    UnaryBench bench(OpCode::Length, RegisterFormat::Float64, 1, RegisterFormat::Int32, 2);
    bench.load<std::int32_t>({3, 4, 5, 12, 8, 15}, {1, 0, 77});
    EXPECT_TRUE(bench.run(3, [](const RegisterFile& registers) {
        EXPECT_EQ(liveLanes<double>(registers, 1), (std::vector<double>{5, 13, 17}));
        EXPECT_EQ(liveValidity(registers, 1), (Bytes{1, 0, 1}));
    }));
    EXPECT_EQ(bench.host.sink.blocks.size(), 1u);
}

TEST(LengthStep, IsPackedFromTheStartOfAWiderResult) {
    UnaryBench bench(OpCode::Length, RegisterFormat::Float32, 3, RegisterFormat::Float32, 2);
    bench.load<float>({3, 4, 6, 8}, {1, 1});
    EXPECT_TRUE(bench.run(2, [](const RegisterFile& registers) {
        EXPECT_EQ(liveLanes<float>(registers, 1), (std::vector<float>{5, 10, 0, 0, 0, 0}));
    }));
}

TEST(NegateStep, CountsTheOperandsLanesWhateverTheResultHas) {
    UnaryBench bench(OpCode::Negate, RegisterFormat::Float32, 3, RegisterFormat::Float32, 2);
    bench.load<float>({1, 2, 3, 4}, {1, 1});
    EXPECT_TRUE(bench.run(2, [](const RegisterFile& registers) {
        EXPECT_EQ(liveLanes<float>(registers, 1), (std::vector<float>{-1, -2, -3, -4, 0, 0}));
    }));
}

// 4 elements of 2 Int32 fill 32 bytes, and the result has room for 16. Areas begin at multiples of
// 64 bytes, so the other 16 bytes go into the gap after the result's area.
TEST(NegateStep, StoresFlatPastANarrowerResult) {
    UnaryBench bench(OpCode::Negate, RegisterFormat::Int32, 1, RegisterFormat::Int32, 2);
    bench.load<std::int32_t>({1, 2, 3, 4, 5, 6, 7, 8}, {1, 1, 1, 1});
    EXPECT_TRUE(bench.run(4, [](const RegisterFile& registers) {
        EXPECT_EQ(lanesOf<std::int32_t>(registers, 1, 8),
                  (std::vector<std::int32_t>{-1, -2, -3, -4, -5, -6, -7, -8}));
        EXPECT_EQ(liveValidity(registers, 1), (Bytes{1, 1, 1, 1}));
    }));
}

TEST(NegateStep, MayHaveItsOperandAsResult) {
    UnaryBench bench(OpCode::Negate, RegisterFormat::Float32, 1, RegisterFormat::Float64, 3);
    bench.program.instructions.back().result = 0;
    bench.load<double>({1, 2, 3, 4, 5, 6}, {1, 0});
    EXPECT_TRUE(bench.run(2, [](const RegisterFile& registers) {
        EXPECT_EQ(liveLanes<double>(registers, 0), (std::vector<double>{-1, -2, -3, -4, -5, -6}));
        EXPECT_EQ(liveValidity(registers, 0), (Bytes{1, 0}));
    }));
}

TEST(LengthStep, MayHaveItsOperandAsResult) {
    UnaryBench bench(OpCode::Length, RegisterFormat::Float32, 1, RegisterFormat::Float32, 2);
    bench.program.instructions.back().result = 0;
    bench.load<float>({3, 4, 5, 12, 8, 15}, {1, 0, 1});
    EXPECT_TRUE(bench.run(3, [](const RegisterFile& registers) {
        EXPECT_EQ(liveLanes<float>(registers, 0), (std::vector<float>{5, 13, 17, 12, 8, 15}));
    }));
}

// Every pair of formats passes `configure`. A pair without a kernel is refused in the first block,
// so a run without blocks is not refused.
TEST(UnaryStep, RefusesAPairWithoutAKernelWhenItFirstRuns) {
    constexpr RegisterFormat formats[] = {RegisterFormat::Tribool, RegisterFormat::Int32,
                                          RegisterFormat::Int64,   RegisterFormat::Half,
                                          RegisterFormat::Float32, RegisterFormat::Float64};
    const auto serves = [](RegisterFormat format) {
        return format != RegisterFormat::Tribool && format != RegisterFormat::Int64;
    };
    for (const OpCode op : {OpCode::Negate, OpCode::Length})
        for (const RegisterFormat result : formats)
            for (const RegisterFormat operand : formats) {
                UnaryBench bench(op, result, 1, operand, 1);
                ASSERT_TRUE(bench.interpreter.configure(bench.program, 4));
                EXPECT_TRUE(bench.interpreter.evaluate(0, 0, bench.host.bindings, bench.host.sink));
                const bool fits = serves(result) && serves(operand);
                EXPECT_EQ(bench.interpreter.evaluate(0, 4, bench.host.bindings, bench.host.sink),
                          fits);
                expectReason(bench.interpreter,
                             fits ? ExecRefusal::None : ExecRefusal::KindMismatch,
                             fits ? nullptr : noKernel);
                EXPECT_TRUE(bench.interpreter.isConfigured());
                EXPECT_EQ(bench.host.sink.blocks.size(), fits ? 1u : 0u);
            }
}

TEST(UnaryStep, LeavesTheResultsDataAloneWhereItRefuses) {
    UnaryBench bench(OpCode::Length, RegisterFormat::Int64, 1, RegisterFormat::Float32, 1);
    bench.load<float>({3, 4}, {0, 1});
    ASSERT_TRUE(bench.interpreter.configure(bench.program, 2));
    EXPECT_FALSE(bench.interpreter.evaluate(0, 2, bench.host.bindings, bench.host.sink));
    const RegisterFile& registers = bench.interpreter.registerFile();
    EXPECT_EQ(lanesOf<std::int64_t>(registers, 1, 2), (std::vector<std::int64_t>{0, 0}));
    // The result's validity was written before the step was refused.
    EXPECT_EQ(liveValidity(registers, 1), (Bytes{0, 1}));
}

} // namespace
} // namespace Fenlet
