// Advice on block sizes.
#include "doubles/program_sketch.h"

#include <fenletexec/interpreter.h>
#include <fenlethosts/block_size.h>

#include <gtest/gtest.h>
#include <limits>

namespace Fenlet {
namespace {

using Doubles::ProgramSketch;

ProgramSketch registers(int count, RegisterFormat format, std::int32_t multiplicity = 1) {
    ProgramSketch program;
    for (int i = 0; i < count; ++i)
        program.addRegister(format, multiplicity);
    return program;
}

TEST(BlockSizeAdvice, GivesTheRegistersRoomInTheCache) {
    for (int count = 1; count < 300; ++count) {
        const ProgramSketch program = registers(count, RegisterFormat::Float32);
        const int size = adviseBlockSize(program);
        EXPECT_EQ(size & (size - 1), 0) << size;
        EXPECT_GE(size, 256);
        EXPECT_LE(size, 8192);
        EXPECT_TRUE(size == 256 || count * 5 * size <= 32768) << count;
        EXPECT_TRUE(size == 8192 || count * 5 * size * 2 > 32768) << count;
    }
}

TEST(BlockSizeAdvice, CountsKindsComponentsAndValidity) {
    EXPECT_EQ(adviseBlockSize(registers(16, RegisterFormat::Tribool)), 1024);
    EXPECT_EQ(adviseBlockSize(registers(17, RegisterFormat::Tribool)), 512);
    EXPECT_EQ(adviseBlockSize(registers(7, RegisterFormat::Float64)), 512);
    EXPECT_EQ(adviseBlockSize(registers(8, RegisterFormat::Float64)), 256);
    EXPECT_EQ(adviseBlockSize(registers(2, RegisterFormat::Float32, 3)), 1024);
    EXPECT_EQ(adviseBlockSize(registers(2, RegisterFormat::Float32, 4)), 512);
}

TEST(BlockSizeAdvice, IsAnsweredForAnyProgram) {
    EXPECT_EQ(adviseBlockSize({}), 8192);
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(adviseBlockSize(registers(100, RegisterFormat::Float64, most)), 256);
    EXPECT_EQ(adviseBlockSize(registers(100, RegisterFormat::Float64, -most)), 8192);
    EXPECT_EQ(adviseBlockSize(registers(100, static_cast<RegisterFormat>(99), 0)), 8192);
}

TEST(BlockSizeAdvice, CanBePlannedWith) {
    const ProgramSketch program = registers(20, RegisterFormat::Float32, 3);
    Interpreter interpreter;
    EXPECT_TRUE(interpreter.configure(program, adviseBlockSize(program)));
}

} // namespace
} // namespace Fenlet
