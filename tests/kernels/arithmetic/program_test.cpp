// Arithmetic in whole programs: validity and refusals, and registers that are used twice or do not
// fit.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"
#include "kernels/special_values.h"
#include "naive_arithmetic.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

using Doubles::ProgramSketch;

constexpr const char* noKernel =
    "no arithmetic kernel for this combination of operand and result storage kinds";

OpCode opCodeOf(ArithmeticOp op) {
    return static_cast<OpCode>(static_cast<std::uint32_t>(OpCode::Add) +
                               static_cast<std::uint32_t>(op));
}

RegisterFormat formatOf(CpuElementKind kind) {
    switch (kind) {
    case CpuElementKind::Tribool:
        return RegisterFormat::Tribool;
    case CpuElementKind::Int32:
        return RegisterFormat::Int32;
    case CpuElementKind::Int64:
        return RegisterFormat::Int64;
    case CpuElementKind::Half:
        return RegisterFormat::Half;
    case CpuElementKind::Float32:
        return RegisterFormat::Float32;
    default:
        return RegisterFormat::Float64;
    }
}

/// A field that gives the lanes and the validity that a test prepared.
class PreparedField : public CpuFieldAccessor {
  public:
    std::vector<unsigned char> lanes;
    std::vector<unsigned char> validity;

    bool read(const FieldRead& request) override {
        const auto count = static_cast<std::size_t>(request.count);
        const auto laneBytes = static_cast<std::size_t>(elementSize(request.kind));
        std::memcpy(request.values, lanes.data(),
                    count * static_cast<std::size_t>(request.multiplicity) * laneBytes);
        std::memcpy(request.validity, validity.data(), count);
        return true;
    }
};

/// A program of loads and one arithmetic step, and its last block. The first register holds the
/// elements' numbers.
class Bench {
  public:
    Bench() { program.add(OpCode::ElementIndex, elementNumbers); }

    /// A register that a field fills with drawn lanes.
    std::int32_t addLoaded(CpuElementKind kind, int multiplicity) {
        const std::int32_t number = program.addRegister(formatOf(kind), multiplicity);
        program.add(OpCode::LoadField, number, {elementNumbers},
                    static_cast<std::int32_t>(fields.size()));
        program.fields.emplace_back();
        fields.emplace_back();
        fields.back().lanes.resize(
            static_cast<std::size_t>(blockSize * multiplicity * elementSize(kind)));
        fields.back().validity.assign(blockSize, 1);
        drawLanes(fields.back().lanes.data(), kind, blockSize * multiplicity, draw);
        drawValidity(fields.back().validity.data(), blockSize, draw);
        return number;
    }

    std::int32_t addEmpty(CpuElementKind kind, int multiplicity) {
        return program.addRegister(formatOf(kind), multiplicity);
    }

    /// Lanes of the next loaded register.
    template <class Lane>
    void setLanes(const std::vector<Lane>& values) {
        Doubles::storeLanes(fields.back().lanes.data(), values);
    }
    void setValidity(const std::vector<unsigned char>& values) { fields.back().validity = values; }

    void add(ArithmeticOp op, std::int32_t result, std::int32_t left, std::int32_t right) {
        program.add(opCodeOf(op), result, {left, right});
    }

    /// Runs one block of `blockSize` elements.
    bool run() {
        std::vector<CpuFieldAccessor*> pointers;
        for (PreparedField& field : fields)
            pointers.push_back(&field);
        Bindings bindings;
        bindings.fields = pointers.data();
        bindings.fieldCount = static_cast<std::int32_t>(pointers.size());
        EXPECT_TRUE(interpreter.configure(program, blockSize));
        return interpreter.evaluate(0, blockSize, bindings, sink);
    }

    /// The block memory before the arithmetic step, as the loads leave it.
    LaneMemory memoryBefore() const {
        LaneMemory memory(registers().byteCount());
        std::memset(memory.at(0), 0, memory.size());
        for (std::int32_t number = 0; number < registers().registerCount(); ++number)
            std::memset(memory.at(registers().slotOf(number).validityOffset), 1, blockSize);
        for (int element = 0; element < blockSize; ++element)
            memory.store(CpuElementKind::Int64, registers().slotOf(elementNumbers).dataOffset,
                         element, static_cast<std::uint64_t>(element));
        std::size_t field = 0;
        for (const Instruction& instruction : program.instructions) {
            if (instruction.op != OpCode::LoadField)
                continue;
            const RegisterSlot& slot = registers().slotOf(instruction.result);
            std::copy(fields[field].lanes.begin(), fields[field].lanes.end(),
                      memory.at(slot.dataOffset));
            std::copy(fields[field].validity.begin(), fields[field].validity.end(),
                      memory.at(slot.validityOffset));
            ++field;
        }
        return memory;
    }

    LaneMemory memoryAfter() const {
        LaneMemory memory(registers().byteCount());
        std::memcpy(memory.at(0), registers().data(0), memory.size());
        return memory;
    }

    const RegisterFile& registers() const { return interpreter.registerFile(); }

    static constexpr int blockSize = 29;
    Draw draw{1};
    ProgramSketch program;
    std::int32_t elementNumbers = program.addRegister(RegisterFormat::Int64);
    std::vector<PreparedField> fields;
    Interpreter interpreter;
    Doubles::RecordingSink sink;
};

/// The step as a call of a kernel in the register file, with the validity that the evaluator writes
/// before it.
ArithmeticCall callOf(const Bench& bench, ArithmeticOp op, std::int32_t result, std::int32_t left,
                      std::int32_t right) {
    const RegisterSlot& resultSlot = bench.registers().slotOf(result);
    const RegisterSlot& leftSlot = bench.registers().slotOf(left);
    const RegisterSlot& rightSlot = bench.registers().slotOf(right);
    const std::int32_t leftWidth = leftSlot.spec.multiplicity;
    const std::int32_t rightWidth = rightSlot.spec.multiplicity;
    ArithmeticShape shape = ArithmeticShape::Full;
    if (leftWidth != rightWidth)
        shape = leftWidth == 1 ? ArithmeticShape::LeftScalar : ArithmeticShape::RightScalar;
    return {{resultSlot.spec.kind, leftSlot.spec.kind, rightSlot.spec.kind},
            op,
            shape,
            Bench::blockSize,
            resultSlot.spec.multiplicity,
            {resultSlot.dataOffset, resultSlot.validityOffset, leftSlot.dataOffset,
             rightSlot.dataOffset}};
}

/// Runs the bench, whose last instruction is this step, and compares every byte of the block memory
/// with the naive loop. Returns whether anything could be compared.
bool expectNaiveBlock(Bench& bench, ArithmeticOp op, std::int32_t result, std::int32_t left,
                      std::int32_t right) {
    bench.add(op, result, left, right);
    EXPECT_TRUE(bench.run());
    LaneMemory expected = bench.memoryBefore();
    const auto validityOf = [&](std::int32_t number) {
        return expected.at(bench.registers().slotOf(number).validityOffset);
    };
    for (std::size_t i = 0; i < Bench::blockSize; ++i)
        validityOf(result)[i] = validityOf(left)[i] != 0 && validityOf(right)[i] != 0;
    const ArithmeticCall call = callOf(bench, op, result, left, right);
    runNaively(call, expected);
    if (expected.isAmbiguous())
        return false;
    EXPECT_EQ(expected.firstDifference(bench.memoryAfter()), "") << call.name();
    return true;
}

TEST(ArithmeticPrograms, AreRefusedAtTheFirstBlockWhereThereIsNoKernel) {
    int refused = 0;
    for (const CpuElementKind result : everyKind)
        for (const CpuElementKind left : everyKind)
            for (const CpuElementKind right : everyKind) {
                if (result == CpuElementKind::Unsupported || left == CpuElementKind::Unsupported ||
                    right == CpuElementKind::Unsupported)
                    continue;
                Bench bench;
                const std::int32_t target = bench.addLoaded(result, 1);
                const std::int32_t first = bench.addLoaded(left, 1);
                const std::int32_t second = bench.addLoaded(right, 1);
                bench.add(ArithmeticOp::Add, target, first, second);
                const bool ran = bench.run();
                const auto isServed = [](CpuElementKind kind) {
                    return kind != CpuElementKind::Tribool && kind != CpuElementKind::Int64;
                };
                EXPECT_EQ(ran, isServed(result) && isServed(left) && isServed(right));
                EXPECT_TRUE(bench.interpreter.isConfigured());
                if (ran)
                    continue;
                ++refused;
                Doubles::expectReason(bench.interpreter, ExecRefusal::KindMismatch, noKernel);
                EXPECT_TRUE(bench.sink.blocks.empty());
                // The refused step has written the result's validity but not its data.
                LaneMemory expected = bench.memoryBefore();
                const RegisterSlot& slot = bench.registers().slotOf(target);
                for (std::size_t i = 0; i < Bench::blockSize; ++i)
                    *expected.at(slot.validityOffset + i) =
                        bench.fields[1].validity[i] != 0 && bench.fields[2].validity[i] != 0;
                EXPECT_EQ(expected.firstDifference(bench.memoryAfter()), "");
            }
    EXPECT_EQ(refused, 6 * 6 * 6 - 64);
}

TEST(ArithmeticPrograms, AreNotRefusedWhereNoBlockRuns) {
    Bench bench;
    const std::int32_t number = bench.addEmpty(CpuElementKind::Int64, 1);
    bench.add(ArithmeticOp::Add, number, number, number);
    ASSERT_TRUE(bench.interpreter.configure(bench.program, 4));
    EXPECT_TRUE(bench.interpreter.evaluate(0, 0, {}, bench.sink));
    EXPECT_FALSE(bench.interpreter.evaluate(0, 1, {}, bench.sink));
    Doubles::expectReason(bench.interpreter, ExecRefusal::KindMismatch, noKernel);
}

TEST(ArithmeticPrograms, EqualANaiveLoopWithRegistersThatFit) {
    forEveryKernel([](const ArithmeticCall& kernel) {
        Bench bench;
        bench.draw = Draw(static_cast<std::uint64_t>(kernel.op));
        const bool leftIsScalar = kernel.shape == ArithmeticShape::LeftScalar;
        const bool rightIsScalar = kernel.shape == ArithmeticShape::RightScalar;
        const std::int32_t left = bench.addLoaded(kernel.kinds.left, leftIsScalar ? 1 : 3);
        const std::int32_t right = bench.addLoaded(kernel.kinds.right, rightIsScalar ? 1 : 3);
        const std::int32_t result = bench.addEmpty(kernel.kinds.result, 3);
        EXPECT_TRUE(expectNaiveBlock(bench, kernel.op, result, left, right));
    });
}

// A register may be the result, an operand or both operands. Multiplicities may be any: the
// evaluator does not compare those of the operands with the result's.
TEST(ArithmeticPrograms, EqualANaiveLoopWhicheverRegistersMeet) {
    constexpr int widths[][2] = {{1, 1}, {3, 3}, {1, 3}, {3, 1}, {1, 4}, {2, 1}};
    int cases = 0;
    int compared = 0;
    for (const CpuElementKind own : arithmeticKinds)
        for (const CpuElementKind other : arithmeticKinds)
            for (const ArithmeticOp op : everyArithmeticOp)
                for (const auto& width : widths) {
                    struct Roles {
                        int result, left, right;
                    };
                    for (const Roles roles :
                         {Roles{0, 0, 1}, Roles{0, 1, 0}, Roles{0, 0, 0}, Roles{1, 0, 0}}) {
                        Bench bench;
                        bench.draw = Draw(static_cast<std::uint64_t>(cases));
                        const std::int32_t registers[2] = {bench.addLoaded(own, width[0]),
                                                           bench.addLoaded(other, width[1])};
                        // A last register, so that reads past the others stay within the block
                        // memory.
                        bench.addLoaded(CpuElementKind::Float64, 8);
                        ++cases;
                        compared += expectNaiveBlock(bench, op, registers[roles.result],
                                                     registers[roles.left], registers[roles.right]);
                    }
                }
    EXPECT_GT(compared, cases * 9 / 10);
}

// Lays out the registers in every order. Reads past the end of an operand's area then reach another
// register's area, or the result's area before or after it is written.
TEST(ArithmeticPrograms, EqualANaiveLoopWhereMultiplicitiesDoNotFit) {
    constexpr int widths[][3] = {{3, 1, 1}, {1, 1, 3}, {1, 3, 1}, {4, 1, 1}, {2, 1, 3},
                                 {2, 5, 1}, {5, 3, 3}, {1, 2, 2}, {7, 1, 4}};
    constexpr int orders[][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
    int cases = 0;
    int compared = 0;
    forEveryKernel([&](const ArithmeticCall& kernel) {
        if (kernel.shape != ArithmeticShape::Full)
            return;
        const CpuElementKind kinds[3] = {kernel.kinds.result, kernel.kinds.left,
                                         kernel.kinds.right};
        for (const auto& width : widths)
            for (const auto& order : orders) {
                Bench bench;
                bench.draw = Draw(static_cast<std::uint64_t>(cases));
                std::int32_t numbers[3] = {};
                for (const int role : order)
                    numbers[role] = bench.addLoaded(kinds[role], width[role]);
                bench.addLoaded(CpuElementKind::Float64, 16);
                ++cases;
                compared += expectNaiveBlock(bench, kernel.op, numbers[0], numbers[1], numbers[2]);
            }
    });
    EXPECT_GT(compared, cases * 9 / 10);
}

TEST(ArithmeticPrograms, ReadAWideOperandFlatlyForANarrowResult) {
    Bench bench;
    const std::int32_t left = bench.addLoaded(CpuElementKind::Float32, 1);
    bench.setLanes(std::vector<float>(Bench::blockSize, 100));
    const std::int32_t right = bench.addLoaded(CpuElementKind::Int32, 3);
    std::vector<std::int32_t> counting(3 * Bench::blockSize);
    for (std::size_t i = 0; i < counting.size(); ++i)
        counting[i] = static_cast<std::int32_t>(i);
    bench.setLanes(counting);
    const std::int32_t result = bench.addEmpty(CpuElementKind::Float32, 1);
    bench.add(ArithmeticOp::Add, result, left, right);
    ASSERT_TRUE(bench.run());
    const auto sums = Doubles::liveLanes<float>(bench.registers(), result);
    for (std::size_t i = 0; i < Bench::blockSize; ++i)
        EXPECT_EQ(sums[i], 100.0f + static_cast<float>(i));
}

// Both operands have only one component for each element, so the kernel reads past their ends.
// Reads of the left operand reach first its validity, then the right operand, then the result.
TEST(ArithmeticPrograms, ReadNarrowOperandsOnPastTheirEndsForAWideResult) {
    Bench bench;
    const std::int32_t left = bench.addLoaded(CpuElementKind::Int32, 1);
    bench.setLanes(std::vector<std::int32_t>(Bench::blockSize, 7));
    bench.setValidity(std::vector<unsigned char>(Bench::blockSize, 1));
    const std::int32_t right = bench.addLoaded(CpuElementKind::Int32, 1);
    bench.setLanes(std::vector<std::int32_t>(Bench::blockSize, 1000));
    bench.setValidity(std::vector<unsigned char>(Bench::blockSize, 1));
    const std::int32_t result = bench.addEmpty(CpuElementKind::Int32, 3);
    bench.add(ArithmeticOp::Add, result, left, right);
    ASSERT_TRUE(bench.run());

    // Each register has 128 bytes for lanes and 64 for validity. So the result begins 96 integers
    // after the left operand and 48 after the right operand.
    const std::uint64_t start = bench.registers().slotOf(left).dataOffset;
    ASSERT_EQ(bench.registers().slotOf(right).dataOffset, start + 192);
    ASSERT_EQ(bench.registers().slotOf(result).dataOffset, start + 384);
    const auto sums = Doubles::liveLanes<std::int32_t>(bench.registers(), result);
    EXPECT_EQ(sums[0], 7 + 1000);
    EXPECT_EQ(sums[28], 7 + 1000);
    EXPECT_EQ(sums[29], 0);
    EXPECT_EQ(sums[32], 0x01010101 + 0x01010101);
    const auto lastValid = std::bit_cast<std::int32_t>(std::array<unsigned char, 4>{1});
    EXPECT_EQ(sums[39], lastValid + lastValid);
    EXPECT_EQ(sums[47], 0);
    // From here on, the right side reads the result, 48 lanes back.
    EXPECT_EQ(sums[48], 1000 + sums[0]);
    EXPECT_EQ(sums[76], 1000 + sums[28]);
    EXPECT_EQ(sums[80], 0x01010101 + sums[32]);
    EXPECT_EQ(sums[86], 0x01010101 + sums[38]);
}

TEST(ArithmeticPrograms, LeaveValidityToTheFrameButForZeroDivisors) {
    struct Case {
        CpuElementKind result;
        std::vector<unsigned char> validity;
    };
    const Case cases[] = {{CpuElementKind::Float32, {1, 1, 0, 0, 1}},
                          {CpuElementKind::Half, {1, 1, 0, 0, 1}},
                          {CpuElementKind::Float64, {1, 1, 0, 0, 1}},
                          {CpuElementKind::Int32, {1, 0, 0, 0, 1}}};
    for (const Case& expected : cases) {
        Bench bench;
        const std::int32_t left = bench.addLoaded(CpuElementKind::Int32, 1);
        bench.setLanes(std::vector<std::int32_t>{5, 5, 5, 5, 5});
        std::vector<unsigned char> validity(Bench::blockSize, 200);
        validity[2] = 0;
        bench.setValidity(validity);
        const std::int32_t right = bench.addLoaded(CpuElementKind::Int32, 1);
        bench.setLanes(std::vector<std::int32_t>{1, 0, 1, 0, -1});
        validity.assign(Bench::blockSize, 9);
        validity[3] = 0;
        bench.setValidity(validity);
        const std::int32_t result = bench.addEmpty(expected.result, 1);
        bench.add(ArithmeticOp::Divide, result, left, right);
        ASSERT_TRUE(bench.run());
        auto bytes = Doubles::liveValidity(bench.registers(), result);
        bytes.resize(5);
        EXPECT_EQ(bytes, expected.validity);
    }
}

// The lanes of an invalid element are computed like any others.
TEST(ArithmeticPrograms, ComputeInvalidElementsToo) {
    Bench bench;
    const std::int32_t number = bench.addLoaded(CpuElementKind::Float64, 1);
    bench.setLanes(std::vector<double>(Bench::blockSize, 21));
    bench.setValidity(std::vector<unsigned char>(Bench::blockSize, 0));
    bench.add(ArithmeticOp::Add, number, number, number);
    ASSERT_TRUE(bench.run());
    EXPECT_EQ(Doubles::liveLanes<double>(bench.registers(), number),
              std::vector<double>(Bench::blockSize, 42));
    EXPECT_EQ(Doubles::liveValidity(bench.registers(), number),
              std::vector<unsigned char>(Bench::blockSize, 0));
}

// (1 + 2^-12) squared has a last bit that binary32 cannot hold. A fused multiplication and addition
// would keep it.
TEST(ArithmeticPrograms, RoundAfterEveryStep) {
    for (const CpuElementKind kind : {CpuElementKind::Float32, CpuElementKind::Float64}) {
        Bench bench;
        const double nudge = kind == CpuElementKind::Float32 ? 0x1p-12 : 0x1p-27;
        const std::int32_t factor = bench.addEmpty(kind, 1);
        const std::int32_t rounded = bench.addEmpty(kind, 1);
        const std::int32_t result = bench.addEmpty(kind, 1);
        bench.program.add(OpCode::LoadConstant, factor, {},
                          bench.program.addConstant(Doubles::realConstant({1 + nudge})));
        bench.program.add(OpCode::LoadConstant, rounded, {},
                          bench.program.addConstant(Doubles::realConstant({-1 - 2 * nudge})));
        bench.add(ArithmeticOp::Multiply, result, factor, factor);
        bench.add(ArithmeticOp::Add, result, result, rounded);
        ASSERT_TRUE(bench.run());
        for (int i = 0; i < Bench::blockSize; ++i) {
            const auto lane = static_cast<std::size_t>(i);
            if (kind == CpuElementKind::Float32)
                EXPECT_EQ(Doubles::liveLanes<float>(bench.registers(), result)[lane], 0.0f);
            else
                EXPECT_EQ(Doubles::liveLanes<double>(bench.registers(), result)[lane], 0.0);
        }
    }
}

} // namespace
} // namespace Fenlet
