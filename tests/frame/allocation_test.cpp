// Which calls allocate memory, and the state after an allocation has failed.
#include "doubles/counted_new.h"
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;

// A host that allocates nothing.

class QuietField : public CpuFieldAccessor {
  public:
    bool read(const FieldRead& request) override {
        const auto size = static_cast<std::size_t>(elementSize(request.kind));
        const auto lanes = static_cast<std::size_t>(request.count * request.multiplicity);
        std::memset(request.values, 0, lanes * size);
        return true;
    }
};

class QuietUniforms : public UniformSource {
  public:
    bool fetch(int, CpuElementKind, int, void*) override { return true; }
};

class QuietSampler : public FenletSampler {
  public:
    bool sample(const void*, CpuElementKind, int, void*, CpuElementKind, int, unsigned char*,
                int) override {
        return true;
    }
};

/// A sink that ends a run that delivers too many blocks.
class LimitedSink : public BlockSink {
  public:
    int blocks = 0;
    std::int64_t lastNumber = -1;

    bool consume(const RegisterFile& registers, long long, int count) override {
        if (registers.data(0) && count > 0)
            std::memcpy(&lastNumber, registers.data(0) + (count - 1) * 8, 8);
        return ++blocks < 20;
    }
};

struct QuietHost {
    QuietField field;
    QuietUniforms uniforms;
    QuietSampler sampler;
    LimitedSink sink;
    CpuFieldAccessor* fields[1] = {&field};
    FenletSampler* samplers[1] = {&sampler};
    Bindings bindings{fields, 1, &uniforms, samplers, 1};
};

/// A program with `count` registers, at least one. An instruction fills each: register 0 gets
/// element numbers, the others get the results of the other source instructions in turn.
struct SourcesProgram : ProgramSketch {
    explicit SourcesProgram(int count) {
        addConstant(realConstant({1, 2, 3}));
        fields.resize(1);
        uniforms.resize(1);
        samplers.resize(1);
        add(OpCode::ElementIndex, addRegister(RegisterFormat::Int64));
        for (int number = 1; number < count; ++number) {
            addRegister(RegisterFormat::Float32, 1 + number % 4);
            switch (number % 5) {
            case 0:
                add(OpCode::LoadConstant, number, {}, 0);
                break;
            case 1:
                add(OpCode::LoadField, number, {0}, 0);
                break;
            case 2:
                add(OpCode::LoadUniform, number, {}, 0);
                break;
            case 3:
                add(OpCode::Sample, number, {number - 1}, 0);
                break;
            default:
                add(OpCode::Component, number, {number - 1}, 0);
            }
        }
    }
};

constexpr int shapes[] = {1, 100, 2000};

TEST(Allocation, HappensInNoRun) {
    for (const int shape : shapes) {
        SCOPED_TRACE(shape);
        const SourcesProgram program(shape);
        QuietHost host;
        Interpreter interpreter;
        ASSERT_TRUE(interpreter.configure(program, 16));
        const AllocationCount allocations;
        const bool ran = interpreter.evaluate(5, 50, host.bindings, host.sink);
        const bool checked = interpreter.checkBindings(host.bindings);
        const bool unbound = shape > 1 && interpreter.evaluate(5, 50, Bindings{}, host.sink);
        EXPECT_EQ(allocations.count(), 0u);
        EXPECT_TRUE(ran);
        EXPECT_TRUE(checked);
        EXPECT_FALSE(unbound);
        EXPECT_EQ(host.sink.lastNumber, 54);
    }
}

TEST(Allocation, HappensInNoRepeatedConfigure) {
    for (const int shape : shapes) {
        SCOPED_TRACE(shape);
        const SourcesProgram program(shape);
        const SourcesProgram smaller((shape + 1) / 2);
        SourcesProgram badFormat(shape);
        badFormat.registers.back().format = static_cast<RegisterFormat>(8);
        SourcesProgram badInstruction(shape);
        badInstruction.instructions.back().result = -1;
        SourcesProgram badRule(shape);
        badRule.instructions.back().op = OpCode::LoadConstant;
        badRule.instructions.back().operands[0] = -1;
        badRule.instructions.back().immediate = 99;
        Interpreter interpreter;
        ASSERT_TRUE(interpreter.configure(program, 16));
        const AllocationCount allocations;
        int refusals = 0;
        bool planned = interpreter.configure(program, 16);
        refusals += !interpreter.configure(badFormat, 16);
        planned &= interpreter.configure(program, 16);
        refusals += !interpreter.configure(program, 0);
        planned &= interpreter.configure(program, 16);
        refusals += !interpreter.configure(badInstruction, 16);
        planned &= interpreter.configure(program, 16);
        refusals += !interpreter.configure(badRule, 16);
        planned &= interpreter.configure(program, 16);
        // Planning a smaller program allocates nothing either.
        planned &= interpreter.configure(smaller, 8);
        planned &= interpreter.configure(program, 16);
        EXPECT_EQ(allocations.count(), 0u);
        EXPECT_TRUE(planned);
        EXPECT_EQ(refusals, 4);
    }
}

TEST(Allocation, OfARegisterFileTakesExactlyWhatALayoutNeeds) {
    const RegisterSpec specs[] = {{CpuElementKind::Float32, 3}, {CpuElementKind::Tribool, 1}};
    RegisterFile registers;
    const AllocationCount first;
    ASSERT_TRUE(registers.configure(specs, 1, 1000));
    EXPECT_EQ(first.count(), 2u);
    const auto firstSizes = first.sizes();
    EXPECT_EQ(firstSizes[0] + firstSizes[1], 13056 + sizeof(RegisterSlot));

    const AllocationCount second;
    ASSERT_TRUE(registers.configure(specs, 2, 1000));
    EXPECT_EQ(second.count(), 2u);
    const auto secondSizes = second.sizes();
    EXPECT_EQ(secondSizes[0] + secondSizes[1], 15104 + 2 * sizeof(RegisterSlot));

    const AllocationCount smaller;
    ASSERT_TRUE(registers.configure(specs, 1, 500));
    ASSERT_TRUE(registers.configure(specs, 2, 1000));
    EXPECT_EQ(smaller.count(), 0u);
}

// Failing allocations.

/// Expects every area to be absent or to lie within the storage.
void expectSound(const RegisterFile& registers) {
    for (int number = 0; number < registers.registerCount(); ++number) {
        const RegisterSlot& slot = registers.slotOf(number);
        EXPECT_GT(registers.elementCapacity(), 0);
        const auto elements = static_cast<std::uint64_t>(registers.elementCapacity());
        const auto bytes = static_cast<std::uint64_t>(elementSize(slot.spec.kind)) * elements *
                           static_cast<std::uint64_t>(slot.spec.multiplicity);
        EXPECT_LE(slot.dataOffset + bytes, registers.byteCount());
        EXPECT_LE(slot.validityOffset + elements, registers.byteCount());
        EXPECT_NE(registers.data(number), nullptr);
    }
    EXPECT_EQ(registers.data(registers.registerCount()), nullptr);
    EXPECT_EQ(registers.validity(registers.registerCount()), nullptr);
    EXPECT_LE(registers.liveElements(), registers.elementCapacity());
}

/// Configures while the allocation with this number fails. Returns whether `configure` failed.
bool failsToConfigure(Interpreter& interpreter, const FenletProgram& program,
                      std::size_t allocation) {
    const FailingAllocation failing(allocation);
    try {
        EXPECT_TRUE(interpreter.configure(program, 64));
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

TEST(FailedAllocation, PassesOutOfConfigureAndTheNextOneWorks) {
    const SourcesProgram small(3);
    const SourcesProgram large(40);
    for (const bool hadPlan : {false, true}) {
        std::size_t number = 0;
        for (;; ++number) {
            SCOPED_TRACE(std::to_string(number) + (hadPlan ? " after a plan" : " when new"));
            QuietHost host;
            Interpreter interpreter;
            if (hadPlan) {
                ASSERT_TRUE(interpreter.configure(small, 4));
                ASSERT_TRUE(interpreter.evaluate(0, 6, host.bindings, host.sink));
            }
            if (!failsToConfigure(interpreter, large, number))
                break;
            expectReason(interpreter, ExecRefusal::None, nullptr);
            EXPECT_EQ(interpreter.isConfigured(), hadPlan);
            EXPECT_TRUE(interpreter.plan().empty());
            EXPECT_EQ(interpreter.executedSteps(), 0u);
            expectSound(interpreter.registerFile());

            // Calling `evaluate` now is a mistake, but must be safe.
            host.sink.blocks = 0;
            const bool hasRoom = interpreter.registerFile().elementCapacity() > 0;
            const bool ran = interpreter.evaluate(0, 6, host.bindings, host.sink);
            EXPECT_EQ(ran, hadPlan && hasRoom);
            EXPECT_LE(host.sink.blocks, ran ? 2 : 0);

            ASSERT_TRUE(interpreter.configure(large, 64));
            expectReason(interpreter, ExecRefusal::None, nullptr);
            ASSERT_TRUE(interpreter.evaluate(100, 70, host.bindings, host.sink));
            EXPECT_EQ(host.sink.lastNumber, 169);
        }
        // Six allocations: slots, storage, index buffer, register facts, resolved steps and steps.
        EXPECT_EQ(number, 6u);
    }
}

/// Whether `run` throws what the allocator throws.
template <class Run>
bool endsInBadAlloc(Run run) {
    try {
        EXPECT_TRUE(run());
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

/// In the first block, configures another program while the allocation of this number fails.
class PlanningSink : public BlockSink {
  public:
    Interpreter* interpreter = nullptr;
    const FenletProgram* next = nullptr;
    std::size_t allocation = 0;
    bool catches = false; ///< whether the sink catches the exception
    bool failed = false;
    int blocks = 0;

    bool consume(const RegisterFile&, long long, int) override {
        if (++blocks > 1)
            return blocks < 20;
        const FailingAllocation failing(allocation);
        try {
            return interpreter->configure(*next, 64);
        } catch (const std::bad_alloc&) {
            failed = true;
            if (!catches)
                throw;
        }
        return true;
    }
};

TEST(FailedAllocation, InASinkThatConfiguresEndsTheRun) {
    const SourcesProgram small(3);
    const SourcesProgram large(40);
    for (const bool catches : {false, true}) {
        std::size_t number = 0;
        for (;; ++number) {
            SCOPED_TRACE(std::to_string(number) + (catches ? ", caught" : ", not caught"));
            QuietHost host;
            Interpreter interpreter;
            ASSERT_TRUE(interpreter.configure(small, 4));
            PlanningSink sink;
            sink.interpreter = &interpreter;
            sink.next = &large;
            sink.allocation = number;
            sink.catches = catches;
            const auto run = [&] { return interpreter.evaluate(0, 12, host.bindings, sink); };
            const bool wasThrown = !catches && endsInBadAlloc(run);
            const bool finished = catches && run();
            EXPECT_EQ(wasThrown, !catches && sink.failed);
            EXPECT_EQ(finished, catches && !sink.failed);
            if (!sink.failed)
                break;
            EXPECT_EQ(sink.blocks, 1);
            expectReason(interpreter, ExecRefusal::None, nullptr);
            expectSound(interpreter.registerFile());

            ASSERT_TRUE(interpreter.configure(large, 64));
            EXPECT_TRUE(interpreter.evaluate(100, 70, host.bindings, host.sink));
            EXPECT_EQ(host.sink.lastNumber, 169);
        }
        // Six allocations: slots, storage, index buffer, register facts, resolved steps and steps.
        EXPECT_EQ(number, 6u);
    }
}

TEST(FailedAllocation, LeavesARegisterFileThatCanBeLaidOutAgain) {
    const RegisterSpec specs[] = {{CpuElementKind::Float32, 3}, {CpuElementKind::Tribool, 1}};
    for (std::size_t number = 0; number < 2; ++number) {
        RegisterFile registers;
        ASSERT_TRUE(registers.configure(specs, 1, 8));
        registers.setBlockLength(8);
        {
            const FailingAllocation failing(number);
            EXPECT_THROW(registers.configure(specs, 2, 1000), std::bad_alloc);
        }
        EXPECT_EQ(registers.data(0), nullptr);
        EXPECT_EQ(registers.validity(0), nullptr);
        expectSound(registers);
        ASSERT_TRUE(registers.configure(specs, 2, 1000));
        EXPECT_EQ(registers.byteCount(), 15104u);
        expectSound(registers);
    }
}

// Layouts too large for memory, or even for 64 bits.

/// Whether `layOut` throws what containers or the allocator throw.
template <class LayOut>
bool isTooLarge(LayOut layOut) {
    try {
        EXPECT_TRUE(layOut());
        return false;
    } catch (const std::length_error&) {
        return true;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

TEST(HugeLayouts, EndInTheAllocatorsExceptionOrALengthError) {
    const SourcesProgram small(3);
    constexpr int large = 1 << 30;
    const struct {
        RegisterFormat format;
        CpuElementKind kind;
        int registers;
        int multiplicity;
        int blockSize;
    } rows[] = {
        {RegisterFormat::Float32, CpuElementKind::Float32, 1, large, 4096},
        {RegisterFormat::Tribool, CpuElementKind::Tribool, 1, large, large},
        {RegisterFormat::Tribool, CpuElementKind::Tribool, 2, large, large},
        {RegisterFormat::Float32, CpuElementKind::Float32, 1, large, large},
        {RegisterFormat::Float32, CpuElementKind::Float32, 2, large, large},
        {RegisterFormat::Float32, CpuElementKind::Float32, 4, large, large},
        {RegisterFormat::Float64, CpuElementKind::Float64, 1, large, large},
        {RegisterFormat::Float64, CpuElementKind::Float64, 2, large, large},
        {RegisterFormat::Float64, CpuElementKind::Float64, 3, large, large},
        // The size would be 2 to the power 64 plus half a megabyte, which wraps to half a megabyte.
        {RegisterFormat::Float64, CpuElementKind::Float64, 1, 2147437309, 1073764994},
        {RegisterFormat::Float64, CpuElementKind::Float64, 1, INT_MAX, INT_MAX},
        {RegisterFormat::Float64, CpuElementKind::Float64, 9, INT_MAX, INT_MAX},
        {RegisterFormat::Float32, CpuElementKind::Float32, 1, INT_MAX, INT_MAX},
        {RegisterFormat::Half, CpuElementKind::Half, 2, INT_MAX, INT_MAX},
        {RegisterFormat::Tribool, CpuElementKind::Tribool, 4, INT_MAX, INT_MAX},
        {RegisterFormat::Tribool, CpuElementKind::Tribool, 5, INT_MAX, INT_MAX},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.registers) + " x " + std::to_string(row.multiplicity) +
                     " " + cpuElementKindName(row.kind));
        const std::vector<RegisterSpec> specs(static_cast<std::size_t>(row.registers),
                                              {row.kind, row.multiplicity});
        RegisterFile registers;
        ASSERT_TRUE(isTooLarge(
            [&] { return registers.configure(specs.data(), row.registers, row.blockSize); }));
        EXPECT_EQ(registers.data(0), nullptr);
        EXPECT_EQ(registers.elementCapacity(), 0);
        EXPECT_EQ(registers.registerCount(), 0);

        ProgramSketch program;
        for (int i = 0; i < row.registers; ++i)
            program.addRegister(row.format, row.multiplicity);
        Interpreter interpreter;
        ASSERT_TRUE(isTooLarge([&] { return interpreter.configure(program, row.blockSize); }));
        EXPECT_FALSE(interpreter.isConfigured());
        expectReason(interpreter, ExecRefusal::None, nullptr);
        expectSound(interpreter.registerFile());
        EXPECT_TRUE(interpreter.configure(small, 4));
    }
}

// A bad spec is refused even if the layout is also too large.
TEST(HugeLayouts, AreRefusedForABadSpecFirst) {
    const RegisterSpec specs[] = {{CpuElementKind::Float64, INT_MAX},
                                  {CpuElementKind::Float64, INT_MAX},
                                  {CpuElementKind::Unsupported, 1}};
    RegisterFile registers;
    EXPECT_FALSE(registers.configure(specs, 3, INT_MAX));
    EXPECT_STREQ(registers.failure(), "register has no CPU representation");
}

} // namespace
} // namespace Fenlet
