// A run remembers facts about the current block. Its results must equal those of single steps, run
// with `runStep`, which remember nothing.
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using Doubles::ProgramSketch;
using Doubles::RecordingField;
using Bytes = std::vector<unsigned char>;

constexpr int blockSize = 64;
constexpr int elementCount = 150;

/// A program with one field, and what the field does when it is read.
struct Case {
    ProgramSketch program;
    std::function<bool(const FieldRead&)> read = [](const FieldRead&) { return true; };
};

/// All register bytes after each block, with every step run separately.
std::vector<Bytes> blocksOfSteps(const Case& run) {
    std::vector<Bytes> blocks;
    Interpreter interpreter;
    EXPECT_TRUE(interpreter.configure(run.program, blockSize)) << interpreter.lastRefusalMessage();
    RecordingField field;
    field.answer = run.read;
    CpuFieldAccessor* const fields[] = {&field};
    auto& registers = const_cast<RegisterFile&>(interpreter.registerFile());
    for (int start = 0; start < elementCount; start += blockSize) {
        registers.setBlockLength(std::min(blockSize, elementCount - start));
        for (int number = 0; number < registers.registerCount(); ++number)
            std::memset(registers.validity(number), 1,
                        static_cast<std::size_t>(registers.liveElements()));
        for (const Interpreter::Step& step : interpreter.plan())
            EXPECT_TRUE(interpreter.runStep(step, {fields, 1}, start));
        blocks.emplace_back(registers.data(0), registers.data(0) + registers.byteCount());
    }
    return blocks;
}

std::vector<Bytes> blocksOfRun(const Case& run) {
    struct Sink : BlockSink {
        std::vector<Bytes> blocks;
        bool consume(const RegisterFile& registers, long long, int) override {
            blocks.emplace_back(registers.data(0), registers.data(0) + registers.byteCount());
            return true;
        }
    } sink;
    Interpreter interpreter;
    EXPECT_TRUE(interpreter.configure(run.program, blockSize));
    RecordingField field;
    field.answer = run.read;
    CpuFieldAccessor* const fields[] = {&field};
    EXPECT_TRUE(interpreter.evaluate(0, elementCount, {fields, 1}, sink));
    return sink.blocks;
}

void expectTheSame(const Case& run) {
    const std::vector<Bytes> steps = blocksOfSteps(run);
    EXPECT_EQ(blocksOfRun(run), steps);
    EXPECT_EQ(steps.size(), 3u);
}

/// The program index, value = field[index], sum = value + value, with registers 0, 1 and 2.
struct FieldSum : Case {
    FieldSum() {
        program.addRegister(RegisterFormat::Int64);
        program.addRegister(RegisterFormat::Float32);
        program.addRegister(RegisterFormat::Float32);
        program.fields.resize(1);
        program.add(OpCode::ElementIndex, 0);
        program.add(OpCode::LoadField, 1, {0}, 0);
        program.add(OpCode::Add, 2, {1, 1});
    }
};

TEST(BlockKnowledge, OfValidityFollowsWhatAFieldClears) {
    FieldSum run;
    run.read = [](const FieldRead& request) {
        for (int i = 0; i < request.count; ++i)
            if (request.indices[i] % 70 == 3) // in the first two blocks, and not in the third
                request.validity[i] = 0;
        return true;
    };
    expectTheSame(run);
}

TEST(BlockKnowledge, OfValidityIsOfOnesAndNotOfStrayBytes) {
    FieldSum run;
    run.read = [](const FieldRead& request) {
        request.validity[request.count - 1] = 7;
        return true;
    };
    expectTheSame(run);
}

TEST(BlockKnowledge, OfValidityFollowsZeroDivisors) {
    Case run;
    for (int i = 0; i < 3; ++i)
        run.program.addRegister(RegisterFormat::Int32);
    const auto seven = run.program.addConstant(Doubles::integerConstant({7}));
    const auto zero = run.program.addConstant(Doubles::integerConstant({0}));
    run.program.add(OpCode::LoadConstant, 0, {}, seven);
    run.program.add(OpCode::LoadConstant, 1, {}, zero);
    run.program.add(OpCode::Divide, 2, {0, 1});
    run.program.add(OpCode::Add, 0, {2, 2});
    expectTheSame(run);
}

TEST(BlockKnowledge, OfValidityFollowsAConditionThatIsUnknown) {
    FieldSum run;
    const auto condition = run.program.addRegister(RegisterFormat::Tribool);
    const auto chosen = run.program.addRegister(RegisterFormat::Float32);
    run.program.add(OpCode::Less, condition, {1, 2});
    run.program.add(OpCode::Select, chosen, {condition, 1, 2});
    run.program.add(OpCode::Add, 2, {chosen, chosen});
    run.read = [](const FieldRead& request) {
        request.validity[request.count / 2] = 0;
        return true;
    };
    expectTheSame(run);
}

TEST(BlockKnowledge, OfNumbersEndsWhereAFieldIsReadIntoThem) {
    Case run;
    const auto own = run.program.addRegister(RegisterFormat::Int64);
    const auto numbers = run.program.addRegister(RegisterFormat::Int64);
    const auto told = run.program.addRegister(RegisterFormat::Float32);
    run.program.fields.resize(1);
    run.program.add(OpCode::ElementIndex, own);
    run.program.add(OpCode::LoadField, numbers, {own}, 0);
    run.program.add(OpCode::LoadField, numbers, {numbers}, 0);
    run.program.add(OpCode::LoadField, told, {numbers}, 0);
    // Read 0 gives ascending numbers, read 1 scattered numbers. Read 2, at these numbers, stores
    // whether the request says that they ascend by one.
    run.read = [call = 0](const FieldRead& request) mutable {
        const int turn = call++ % 3;
        if (turn == 2)
            std::memset(request.values, request.contiguous ? 1 : 2,
                        static_cast<std::size_t>(request.count) * 4);
        for (int i = 0; i < request.count && turn < 2; ++i) {
            const std::int64_t number = turn == 0 ? 5 + i : 7 * i % 16;
            std::memcpy(request.values + std::size_t{8} * static_cast<std::size_t>(i), &number, 8);
        }
        return true;
    };
    expectTheSame(run);
}

/// A program that negates a wide register into a narrow one. The instruction writes beyond the
/// narrow register, into the register after it.
struct Overrun : Case {
    Overrun() {
        program.addRegister(RegisterFormat::Float32, 16);
        const auto constant =
            program.addConstant(Doubles::realConstant({1, 2, 0, 4, 0.1, 6, 7, 0}));
        program.add(OpCode::LoadConstant, vector, {}, constant);
    }
    std::int32_t vector = program.addRegister(RegisterFormat::Float32, 8);
    std::int32_t narrow = program.addRegister(RegisterFormat::Float32);
    std::int32_t next = program.addRegister(RegisterFormat::Float32);
    std::int32_t sum = program.addRegister(RegisterFormat::Float32);
};

TEST(BlockKnowledge, IsLostWhereANegationRunsPastItsRegister) {
    Overrun run;
    run.program.add(OpCode::Negate, run.narrow, {run.vector});
    run.program.add(OpCode::Add, run.sum, {run.next, run.next});
    expectTheSame(run);
}

/// Four Float32 registers and the constants 1 and 2.
struct TwoConstants : Case {
    TwoConstants() {
        for (int i = 0; i < 4; ++i)
            program.addRegister(RegisterFormat::Float32);
        one = program.addConstant(Doubles::realConstant({1}));
        two = program.addConstant(Doubles::realConstant({2}));
    }
    void load(int result, int constant) { program.add(OpCode::LoadConstant, result, {}, constant); }
    int one;
    int two;
};

TEST(BlockKnowledge, OfConstantsEndsWhenTheirRegisterIsWritten) {
    TwoConstants run;
    const auto index = run.program.addRegister(RegisterFormat::Int64);
    run.program.fields.resize(1);
    run.program.add(OpCode::ElementIndex, index);
    run.load(0, run.one);
    run.load(1, run.two);
    run.program.add(OpCode::Add, 2, {0, 1});
    run.program.add(OpCode::LoadField, 0, {index}, 0);
    run.program.add(OpCode::Add, 1, {1, 1});
    // Changes all elements except the first, because only the first is compared with the constant.
    run.read = [](const FieldRead& request) {
        std::memset(request.values + 4, 0x40, static_cast<std::size_t>(request.count - 1) * 4);
        return true;
    };
    expectTheSame(run);
}

TEST(BlockKnowledge, OfConstantsTellsThemApart) {
    TwoConstants run;
    run.load(0, run.one);
    run.program.add(OpCode::Add, 1, {0, 0});
    run.load(0, run.two);
    run.program.add(OpCode::Add, 2, {0, 0});
    run.load(0, run.two);
    run.program.add(OpCode::Add, 3, {0, 0});
    expectTheSame(run);
    float sums[2];
    const std::vector<Bytes> blocks = blocksOfRun(run);
    Interpreter layout;
    ASSERT_TRUE(layout.configure(run.program, blockSize));
    for (const int number : {1, 2})
        std::memcpy(&sums[number - 1],
                    blocks[1].data() + layout.registerFile().slotOf(number).dataOffset, 4);
    EXPECT_EQ(sums[0], 2);
    EXPECT_EQ(sums[1], 4);
}

TEST(BlockKnowledge, OfConstantsLooksAtAllTheirComponents) {
    Case run;
    const auto vector = run.program.addRegister(RegisterFormat::Float32, 3);
    const auto first = run.program.addConstant(Doubles::realConstant({1, 2, 3}));
    const auto second = run.program.addConstant(Doubles::realConstant({1, 2, 4}));
    const auto sum = run.program.addRegister(RegisterFormat::Float32, 3);
    for (const auto constant : {first, second}) {
        run.program.add(OpCode::LoadConstant, vector, {}, constant);
        run.program.add(OpCode::Add, sum, {vector, vector});
    }
    expectTheSame(run);
}

TEST(BlockKnowledge, OfConstantsIsLostWhereANegationRunsPastItsRegister) {
    Overrun run;
    const auto minusOne = run.program.addConstant(Doubles::realConstant({-1}));
    run.program.add(OpCode::LoadConstant, run.next, {}, minusOne);
    run.program.add(OpCode::Negate, run.narrow, {run.vector});
    run.program.add(OpCode::LoadConstant, run.next, {}, minusOne);
    expectTheSame(run);
}

/// For each read of the field, whether its request said that the element numbers ascend by one.
std::vector<bool> runsOn(const Case& run) {
    RecordingField field;
    CpuFieldAccessor* const fields[] = {&field};
    struct Sink : BlockSink {
        bool consume(const RegisterFile&, long long, int) override { return true; }
    } sink;
    Interpreter interpreter;
    EXPECT_TRUE(interpreter.configure(run.program, blockSize));
    EXPECT_TRUE(interpreter.evaluate(1000, blockSize, {fields, 1}, sink));
    std::vector<bool> told;
    for (const RecordingField::Read& read : field.reads)
        told.push_back(read.request.contiguous);
    return told;
}

TEST(BlockKnowledge, OfElementNumbersEndsWhenTheirRegisterIsWritten) {
    FieldSum run;
    const auto seven = run.program.addConstant(Doubles::integerConstant({7}));
    run.program.add(OpCode::LoadField, 1, {0}, 0);
    run.program.add(OpCode::LoadConstant, 0, {}, seven);
    run.program.add(OpCode::LoadField, 1, {0}, 0);
    run.program.add(OpCode::LoadField, 2, {0}, 0);
    run.program.add(OpCode::ElementIndex, 0);
    run.program.add(OpCode::LoadField, 2, {0}, 0);
    EXPECT_EQ(runsOn(run), (std::vector<bool>{true, true, false, false, true}));
}

TEST(BlockKnowledge, OfElementNumbersCountsTheirValidity) {
    FieldSum run;
    run.program.registers[1].format = RegisterFormat::Int64;
    // The second read takes its element numbers from the first: they are the block's own numbers,
    // but one is missing.
    run.program.add(OpCode::LoadField, 2, {1}, 0);
    run.program.add(OpCode::ElementIndex, 1);
    run.program.add(OpCode::LoadField, 2, {1}, 0);
    RecordingField field;
    field.answer = [](const FieldRead& request) {
        if (request.kind == CpuElementKind::Int64) {
            std::memcpy(request.values, request.indices,
                        static_cast<std::size_t>(request.count) * sizeof(std::int64_t));
            request.validity[5] = 0;
        }
        return true;
    };
    CpuFieldAccessor* const fields[] = {&field};
    struct Sink : BlockSink {
        bool consume(const RegisterFile&, long long, int) override { return true; }
    } sink;
    Interpreter interpreter;
    run.program.instructions.erase(run.program.instructions.begin() + 2); // the sum
    ASSERT_TRUE(interpreter.configure(run.program, blockSize)) << interpreter.lastRefusalMessage();
    ASSERT_TRUE(interpreter.evaluate(0, blockSize, {fields, 1}, sink));
    ASSERT_EQ(field.reads.size(), 3u);
    EXPECT_TRUE(field.reads[0].request.contiguous);
    EXPECT_FALSE(field.reads[1].request.contiguous);
    EXPECT_FALSE(field.reads[2].request.contiguous);
    EXPECT_EQ(field.reads[1].validity[5], 0);
    EXPECT_EQ(field.reads[2].validity[5], 0);
}

TEST(BlockKnowledge, OfElementNumbersHoldsWhereTheyAreOverwrittenByWhatIsRead) {
    FieldSum run;
    run.program.add(OpCode::LoadField, 0, {0}, 0); // overwrites its own element numbers
    run.program.add(OpCode::LoadField, 1, {0}, 0);
    run.read = [](const FieldRead& request) {
        if (request.kind == CpuElementKind::Int64)
            for (int i = 0; i < request.count; ++i) {
                const std::int64_t doubled = request.indices[i] * 2;
                // Stores each value at the next position, which would overwrite an index that is
                // still to be read if the areas were the same.
                const int place = i + 1 < request.count ? i + 1 : 0;
                std::memcpy(request.values + place * 8, &doubled, 8);
            }
        return true;
    };
    expectTheSame(run);
    EXPECT_EQ(runsOn(run).size(), 3u);
    const std::vector<Bytes> blocks = blocksOfRun(run);
    std::int64_t second;
    std::memcpy(&second, blocks[0].data() + 16, 8);
    EXPECT_EQ(second, 2);
}

/// Runs a program whose sink configures another program after the first block. Returns the first
/// value of register 2 in each block.
std::vector<float> valuesAround(Interpreter& interpreter, const FenletProgram& program,
                                const FenletProgram& next,
                                const std::function<bool(const FieldRead&)>& answer) {
    struct Sink : BlockSink {
        std::vector<float> values;
        Interpreter* interpreter = nullptr;
        const FenletProgram* next = nullptr;
        bool consume(const RegisterFile& registers, long long, int) override {
            float value;
            std::memcpy(&value, registers.data(2), sizeof value);
            values.push_back(value);
            return values.size() > 1 || interpreter->configure(*next, blockSize);
        }
    } sink;
    sink.interpreter = &interpreter;
    sink.next = &next;
    RecordingField field;
    field.answer = answer;
    CpuFieldAccessor* const fields[] = {&field};
    EXPECT_TRUE(interpreter.configure(program, blockSize));
    EXPECT_TRUE(interpreter.evaluate(0, elementCount, {fields, 1}, sink));
    return sink.values;
}

TEST(BlockKnowledge, IsLostWhereASinkPlansAnotherProgram) {
    FieldSum sum;
    FieldSum product;
    product.program.instructions[2].op = OpCode::Multiply;
    product.program.instructions.push_back(product.program.instructions[2]);
    const auto fives = [](const FieldRead& request) {
        const float five = 5;
        for (int i = 0; i < request.count; ++i)
            std::memcpy(request.values + i * 4, &five, 4);
        return true;
    };
    Interpreter interpreter;
    EXPECT_EQ(valuesAround(interpreter, sum.program, product.program, fives),
              (std::vector<float>{10, 25, 25}));
    EXPECT_EQ(interpreter.executedSteps(), 8u); // of the two blocks after the new plan
}

TEST(BlockKnowledge, OfOwnNumbersIsLostWhereASinkPlansAnotherProgram) {
    FieldSum own;
    FieldSum zeros;
    zeros.program.instructions.erase(
        zeros.program.instructions.begin()); // the element numbers stay zero
    std::vector<bool> runOn;
    const auto note = [&runOn](const FieldRead& request) {
        runOn.push_back(request.contiguous);
        return true;
    };
    Interpreter interpreter;
    EXPECT_EQ(valuesAround(interpreter, own.program, zeros.program, note).size(), 3u);
    EXPECT_EQ(runOn, (std::vector<bool>{true, false, false}));
}

/// Runs a program in blocks of 4, with a sink that configures another program in the first block.
/// Returns the start and length of each block.
std::vector<std::pair<long long, int>> blocksAround(const FenletProgram& program,
                                                    const FenletProgram& next, int nextBlockSize,
                                                    bool* finished, int elements = 10) {
    struct Sink : BlockSink {
        std::vector<std::pair<long long, int>> blocks;
        Interpreter interpreter;
        const FenletProgram* next = nullptr;
        int nextBlockSize = 0;
        bool consume(const RegisterFile& registers, long long start, int count) override {
            blocks.emplace_back(start, count);
            for (int number = 0; number < registers.registerCount(); ++number)
                for (int element = 0; element < count; ++element)
                    EXPECT_EQ(registers.validity(number)[element], 1);
            if (blocks.size() > 1)
                return true;
            EXPECT_EQ(interpreter.configure(*next, nextBlockSize), nextBlockSize > 0);
            return true;
        }
    } sink;
    sink.next = &next;
    sink.nextBlockSize = nextBlockSize;
    EXPECT_TRUE(sink.interpreter.configure(program, 4));
    *finished = sink.interpreter.evaluate(0, elements, {}, sink);
    return sink.blocks;
}

TEST(BlockKnowledge, FollowsASinkThatPlansSmallerBlocks) {
    using Blocks = std::vector<std::pair<long long, int>>;
    TwoConstants some;
    some.load(0, some.one);
    ProgramSketch nothing;
    ProgramSketch idle;
    idle.addRegister(RegisterFormat::Float64, 3);
    bool finished = false;
    for (const FenletProgram* const from : {&some.program, &nothing, &idle})
        for (const FenletProgram* const to : {&some.program, &idle}) {
            EXPECT_EQ(blocksAround(*from, *to, 3, &finished), (Blocks{{0, 4}, {4, 3}, {7, 3}}));
            EXPECT_TRUE(finished);
            // Blocks do not grow during a run.
            EXPECT_EQ(blocksAround(*from, *to, 100, &finished), (Blocks{{0, 4}, {4, 4}, {8, 2}}));
            EXPECT_TRUE(finished);
            // A refused plan ends the run, even after the last block.
            EXPECT_EQ(blocksAround(*from, *to, 0, &finished), (Blocks{{0, 4}}));
            EXPECT_FALSE(finished);
            EXPECT_EQ(blocksAround(*from, *to, 0, &finished, 4), (Blocks{{0, 4}}));
            EXPECT_FALSE(finished);
        }
}

TEST(BlockKnowledge, EndsWithTheRunWhereASinkThrowsThePlanAway) {
    FieldSum sum;
    struct Sink : BlockSink {
        int blocks = 0;
        Interpreter* interpreter = nullptr;
        bool consume(const RegisterFile&, long long, int) override {
            ++blocks;
            interpreter->refuseAtConfigure(ExecRefusal::BadRegister, "thrown away");
            return true;
        }
    } sink;
    RecordingField field;
    CpuFieldAccessor* const fields[] = {&field};
    Interpreter interpreter;
    sink.interpreter = &interpreter;
    ASSERT_TRUE(interpreter.configure(sum.program, blockSize));
    const auto stepsOfOneBlock = interpreter.plan().size();
    EXPECT_FALSE(interpreter.evaluate(0, elementCount, {fields, 1}, sink));
    EXPECT_EQ(sink.blocks, 1);
    EXPECT_EQ(interpreter.executedSteps(), stepsOfOneBlock);
    EXPECT_FALSE(interpreter.isConfigured());
    EXPECT_EQ(interpreter.lastRefusal(), ExecRefusal::BadRegister);
    EXPECT_STREQ(interpreter.lastRefusalMessage(), "thrown away");
}

TEST(BlockKnowledge, IsOfManyRegistersAndSteps) {
    FieldSum run;
    run.read = [](const FieldRead& request) {
        request.validity[request.count / 3] = 0;
        return true;
    };
    for (int i = 0; i < 600; ++i) {
        const auto next = run.program.addRegister(RegisterFormat::Float32);
        run.program.add(OpCode::Add, next, {next - 1, 1});
    }
    expectTheSame(run);
}

} // namespace
} // namespace Fenlet
