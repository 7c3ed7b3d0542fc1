// Advice on block sizes.
#include "doubles/program_sketch.h"

#include <fenletexec/interpreter.h>
#include <fenlethosts/block_size.h>
#include <fenletir/program_builder.h>

#include <gtest/gtest.h>
#include <limits>

namespace Fenlet {
namespace {

using Doubles::ProgramSketch;

/// A program of `count` additions of registers in this format.
ProgramSketch sums(int count, RegisterFormat format, std::int32_t multiplicity = 1) {
    ProgramSketch program;
    std::int32_t last = program.addRegister(format, multiplicity);
    for (int i = 0; i < count; ++i) {
        const std::int32_t next = program.addRegister(format, multiplicity);
        program.add(OpCode::Add, next, {last, last});
        last = next;
    }
    return program;
}

void expectSensible(const FenletProgram& program) {
    const int size = adviseBlockSize(program);
    EXPECT_EQ(size & (size - 1), 0) << size;
    EXPECT_GE(size, 128);
    EXPECT_LE(size, 2048);
}

TEST(BlockSizeAdvice, IsAPowerOfTwoWithinItsBounds) {
    for (const RegisterFormat format :
         {RegisterFormat::Tribool, RegisterFormat::Half, RegisterFormat::Float64})
        for (int count = 0; count < 300; ++count)
            for (const int multiplicity : {1, 3, 64})
                expectSensible(sums(count, format, multiplicity));
}

TEST(BlockSizeAdvice, KeepsWideRegistersInTheCaches) {
    for (int count = 4; count < 100; ++count) {
        const int narrow = adviseBlockSize(sums(count, RegisterFormat::Half));
        const int wide = adviseBlockSize(sums(count, RegisterFormat::Float64, 4));
        EXPECT_LE(wide, narrow) << count;
        EXPECT_TRUE(wide == 128 || wide * count * 32 <= 1024 * 1024) << count;
    }
}

// Tests each part of the rule with its present results. New measurements may change these numbers.
TEST(BlockSizeAdvice, FollowsTheMeasurements) {
    EXPECT_EQ(adviseBlockSize(sums(1, RegisterFormat::Float32)), 2048);
    EXPECT_EQ(adviseBlockSize(sums(8, RegisterFormat::Float32)), 512);
    EXPECT_EQ(adviseBlockSize(sums(24, RegisterFormat::Float32)), 256);
    EXPECT_EQ(adviseBlockSize(sums(24, RegisterFormat::Float64)), 128);
    EXPECT_EQ(adviseBlockSize(sums(24, RegisterFormat::Half)), 512);
}

/// The normalised difference of two bands, with constants, uniforms and a choice.
FenletProgram vegetationIndex() {
    ProgramBuilder program(ProgramBuilder::OnError::Throw);
    const auto index = program.elementIndex();
    const auto uniform = [&](const char* name) {
        return program.loadUniform(program.uniform(name), Format::Float32);
    };
    const auto band = [&](const char* name) {
        return program.multiply(program.loadField(program.field(name), index, Format::Float32),
                                uniform(name));
    };
    const auto red = band("red");
    const auto infrared = band("infrared");
    const auto ratio = program.divide(program.subtract(infrared, red), program.add(infrared, red));
    const auto isGreen = program.greater(ratio, uniform("threshold"));
    program.output(program.select(isGreen, ratio, program.constant(Format::Float32, {0})), "index");
    return program.build().program;
}

TEST(BlockSizeAdvice, GivesLongBlocksToStepsThatCostMuchForEachBlock) {
    EXPECT_GE(adviseBlockSize(vegetationIndex()), 1024);
    EXPECT_LE(adviseBlockSize(vegetationIndex()), 2048);
}

TEST(BlockSizeAdvice, DoesNotCountRegistersThatNoBlockWrites) {
    ProgramSketch program = sums(8, RegisterFormat::Float32);
    const int before = adviseBlockSize(program);
    for (int i = 0; i < 1000; ++i)
        program.addRegister(RegisterFormat::Float64, 64);
    EXPECT_EQ(adviseBlockSize(program), before);
}

TEST(BlockSizeAdvice, IsNeverShorterForConstantsAndUniforms) {
    for (const int count : {1, 8, 24, 100}) {
        ProgramSketch program = sums(count, RegisterFormat::Float32);
        int last = adviseBlockSize(program);
        for (int i = 0; i < 40; ++i) {
            const std::int32_t number = program.addRegister(RegisterFormat::Float64, 64);
            program.add(i % 2 == 0 ? OpCode::LoadConstant : OpCode::LoadUniform, number, {}, 0);
            const int next = adviseBlockSize(program);
            EXPECT_GE(next, last) << count << " " << i;
            last = next;
        }
        EXPECT_GE(last, 1024);
    }
}

TEST(BlockSizeAdvice, CountsARegisterOnceHoweverOftenItIsWritten) {
    ProgramSketch program = sums(8, RegisterFormat::Float32);
    const int before = adviseBlockSize(program);
    ProgramSketch wider = program;
    for (int i = 0; i < 20; ++i) {
        program.add(OpCode::Add, 1, {0, 0});
        const std::int32_t number = wider.addRegister(RegisterFormat::Float32);
        wider.add(OpCode::Add, number, {0, 0});
    }
    EXPECT_GE(adviseBlockSize(program), before);
    EXPECT_LT(adviseBlockSize(wider), adviseBlockSize(program));
}

TEST(BlockSizeAdvice, IsTheShortestForRegistersThatFitIntoNoCache) {
    for (const std::int32_t multiplicity : {1000, 1000000, 2147483647})
        EXPECT_EQ(adviseBlockSize(sums(100, RegisterFormat::Float64, multiplicity)), 128);
}

TEST(BlockSizeAdvice, IsGivenForAnyProgram) {
    EXPECT_EQ(adviseBlockSize({}), 2048);
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    expectSensible(sums(100, RegisterFormat::Float64, -most));
    expectSensible(sums(100, static_cast<RegisterFormat>(99), 0));
    ProgramSketch odd;
    odd.add(OpCode::Add, 7, {-1, most});
    odd.add(static_cast<OpCode>(99), -most);
    odd.add(OpCode::Multiply, odd.addRegister(RegisterFormat::Float32), {most, -most});
    expectSensible(odd);
}

TEST(BlockSizeAdvice, CanBePlannedWith) {
    const FenletProgram program = vegetationIndex();
    Interpreter interpreter;
    EXPECT_TRUE(interpreter.configure(program, adviseBlockSize(program)));
}

} // namespace
} // namespace Fenlet
