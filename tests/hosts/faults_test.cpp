// Ready-made providers and sinks when memory runs out, and when a run ends early.
#include "doubles/allocation_faults.h"
#include "doubles/program_sketch.h"
#include "hosts/lane_bits.h"

#include <fenlethosts/array_field.h>
#include <fenlethosts/block_size.h>
#include <fenlethosts/outcome.h>
#include <fenlethosts/samplers.h>
#include <fenlethosts/sinks.h>
#include <fenlethosts/uniform_table.h>

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>

namespace Fenlet::Hosts {
namespace {

using namespace Doubles;
using Doubles::integerConstant;

constexpr CpuElementKind float64 = CpuElementKind::Float64;

// ---------------------------------------------------------------------------------------------
// A program that uses all of them

/// Loads a field of two components, samples a ramp and a grid, and multiplies by a uniform.
struct ServedProgram : ProgramSketch {
    std::int32_t number = addRegister(RegisterFormat::Int64);
    std::int32_t pair = addRegister(RegisterFormat::Float32, 2);
    std::int32_t factor = addRegister(RegisterFormat::Float64);
    std::int32_t colour = addRegister(RegisterFormat::Half, 3);
    std::int32_t cell = addRegister(RegisterFormat::Int32);
    std::int32_t product = addRegister(RegisterFormat::Float64, 2);

    ServedProgram() {
        fields.resize(1);
        uniforms.resize(1);
        samplers.resize(2);
        add(OpCode::ElementIndex, number);
        add(OpCode::LoadField, pair, {number}, 0);
        add(OpCode::LoadUniform, factor, {}, 0);
        add(OpCode::Sample, colour, {factor}, 0);
        add(OpCode::Sample, cell, {pair}, 1);
        add(OpCode::Multiply, product, {pair, factor});
    }

    std::vector<int> all() const { return {number, pair, factor, colour, cell, product}; }
};

std::vector<RampStop> rampStops() {
    return {{0, {0, 1, 2}}, {1, {3, 4, 5}}, {2, {9, 9, 9}}};
}

/// The providers of a `ServedProgram`.
struct ServingHost {
    std::vector<float> pairs = std::vector<float>(40);
    std::vector<std::int32_t> cells = std::vector<std::int32_t>(12);
    ArrayField field{ArrayView::of(pairs.data(), 20, 2)};
    UniformTable uniforms;
    RampSampler ramp{rampStops()};
    GridSampler grid{ArrayView::of(cells.data(), 12), 4, 3, GridSampler::Filter::Bilinear};
    CpuFieldAccessor* fields[1] = {&field};
    FenletSampler* samplers[2] = {&ramp, &grid};
    Bindings bindings{fields, 1, &uniforms, samplers, 2};

    ServingHost() {
        std::iota(cells.begin(), cells.end(), 100);
        for (std::size_t i = 0; i < pairs.size(); ++i)
            pairs[i] = static_cast<float>(i % 5) * 0.5f;
        uniforms.set(0, realConstant({0.25}));
    }
    ServingHost(const ServingHost&) = delete;
    ServingHost& operator=(const ServingHost&) = delete;
};

constexpr long long rangeFirst = -3;
constexpr long long rangeCount = 17;

/// What a sink collects during a whole run.
std::vector<CollectedRegister> collectedBy(Interpreter& interpreter, const Bindings& bindings,
                                           CollectingSink& sink) {
    EXPECT_TRUE(interpreter.evaluate(rangeFirst, rangeCount, bindings, sink));
    return sink.collected();
}

/// The values of valid elements. What invalid elements hold is not defined.
std::vector<unsigned char> validValues(const CollectedRegister& one) {
    std::vector<unsigned char> values;
    const std::size_t bytes = one.values.size() / one.validity.size();
    for (std::size_t i = 0; i < one.values.size(); ++i)
        if (one.validity[i / bytes] != 0)
            values.push_back(one.values[i]);
    return values;
}

void expectCollected(const std::vector<CollectedRegister>& collected,
                     const std::vector<CollectedRegister>& expected) {
    ASSERT_EQ(collected.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(collected[i].number, expected[i].number);
        EXPECT_EQ(collected[i].spec.kind, expected[i].spec.kind);
        EXPECT_EQ(collected[i].values.size(), expected[i].values.size());
        EXPECT_EQ(collected[i].validity, expected[i].validity);
        EXPECT_EQ(validValues(collected[i]), validValues(expected[i]));
    }
}

class ServedRun : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(interpreter.configure(program, 5));
        sink.emplace(interpreter.registerFile(), program.all(), rangeFirst, rangeCount);
        expected = collectedBy(interpreter, host.bindings, *sink);
        // The three elements before the array are invalid. No other element has the value 0.
        EXPECT_EQ(expected[1].validity[2], 0);
        EXPECT_EQ(expected[1].validity[3], 1);
        EXPECT_EQ(expected[5].at<double>(4), 0.25);
    }

    const ServedProgram program;
    ServingHost host;
    Interpreter interpreter;
    std::optional<CollectingSink> sink;
    std::vector<CollectedRegister> expected;
};

TEST_F(ServedRun, AllocatesNothing) {
    long long elements = 0;
    FunctionSink counting([&](const RegisterFile&, long long, int count) { elements += count; });
    const AllocationCount allocations;
    const bool ran = interpreter.evaluate(rangeFirst, rangeCount, host.bindings, *sink);
    const bool counted = interpreter.evaluate(rangeFirst, rangeCount, host.bindings, counting);
    EXPECT_EQ(allocations.count(), 0u);
    EXPECT_TRUE(ran && counted);
    EXPECT_EQ(elements, rangeCount);
}

// ---------------------------------------------------------------------------------------------
// Runs that end early

struct HostFault {
    int call;
};

/// Makes a provider or sink fail at its call number `callsLeft`, counted from 0: by throwing, or by
/// returning false.
struct Fuse {
    int callsLeft;
    bool throws;

    bool burns() {
        if (callsLeft-- != 0)
            return false;
        if (throws)
            throw HostFault{42};
        return true;
    }
};

struct FusedField : CpuFieldAccessor {
    CpuFieldAccessor& inner;
    Fuse& fuse;
    FusedField(CpuFieldAccessor& newInner, Fuse& newFuse) : inner(newInner), fuse(newFuse) {}
    bool read(const FieldRead& request) override { return inner.read(request) && !fuse.burns(); }
};

struct FusedSink : BlockSink {
    BlockSink& inner;
    Fuse& fuse;
    FusedSink(BlockSink& newInner, Fuse& newFuse) : inner(newInner), fuse(newFuse) {}
    bool consume(const RegisterFile& registers, long long blockStart, int count) override {
        return inner.consume(registers, blockStart, count) && !fuse.burns();
    }
};

/// Whether the host's exception ended the run. If not, expects that `evaluate` returned false.
bool endsByThrowing(Interpreter& interpreter, const Bindings& bindings, BlockSink& sink) {
    try {
        EXPECT_FALSE(interpreter.evaluate(rangeFirst, rangeCount, bindings, sink));
        return false;
    } catch (const HostFault& fault) {
        EXPECT_EQ(fault.call, 42);
        return true;
    }
}

// There are four blocks; each reads a field and calls the sink.
TEST_F(ServedRun, CollectsEverythingAfterOneThatEndedEarly) {
    for (const bool fieldFails : {true, false})
        for (const bool throws : {true, false})
            for (int call = 0; call < 4; ++call) {
                SCOPED_TRACE(testing::Message() << (fieldFails ? "field" : "sink") << " call "
                                                << call << (throws ? " throws" : " answers false"));
                const std::size_t liveBefore = liveAllocations();
                {
                    Fuse fuse{call, throws};
                    FusedField field(host.field, fuse);
                    CpuFieldAccessor* const fields[] = {&field};
                    Bindings bindings = host.bindings;
                    CollectingSink collecting(interpreter.registerFile(), program.all(), rangeFirst,
                                              rangeCount);
                    FusedSink fusedSink(collecting, fuse);
                    if (fieldFails)
                        bindings.fields = fields;
                    BlockSink& used = fieldFails ? static_cast<BlockSink&>(collecting) : fusedSink;
                    EXPECT_EQ(endsByThrowing(interpreter, bindings, used), throws);
                    expectCollected(collectedBy(interpreter, host.bindings, collecting), expected);
                }
                EXPECT_EQ(liveAllocations(), liveBefore);
            }
}

// ---------------------------------------------------------------------------------------------
// Memory that runs out

struct FilledTable {
    UniformTable table;
    Constant value = integerConstant({7, 8, 9});
    bool isSet = false;

    FilledTable() {
        table.set(0, realConstant({0.5}));
        table.set(2, realConstant({1.5}));
    }

    /// Replaces an entry, then adds one for which the table must grow.
    void fill() {
        table.set(2, value);
        table.set(90, value);
        isSet = true;
    }

    /// The components that the table gives for this uniform; empty if it declines.
    std::vector<double> fetched(int index, int multiplicity) {
        std::vector<double> values(static_cast<std::size_t>(multiplicity));
        if (!table.fetch(index, float64, multiplicity, values.data()))
            values.clear();
        return values;
    }
};

using Values = std::vector<double>;

void expectFilled(FilledTable& one) {
    EXPECT_EQ(one.fetched(0, 1), Values{0.5});
    EXPECT_EQ(one.fetched(1, 1), Values{});
    EXPECT_EQ(one.fetched(2, 3), (Values{7, 8, 9}));
    EXPECT_EQ(one.fetched(90, 3), (Values{7, 8, 9}));
    EXPECT_EQ(one.fetched(89, 3), Values{});
}

TEST(UniformTableMemory, ThatRunsOutLeavesTheTableAsItWas) {
    const auto examine = [](FilledTable& one) {
        if (!one.isSet) {
            // One of the two calls has failed; its entry is as it was before.
            EXPECT_EQ(one.fetched(90, 3), Values{});
            EXPECT_NE(one.fetched(2, 1).empty(), one.fetched(2, 3).empty());
            EXPECT_EQ(one.fetched(0, 1), Values{0.5});
        }
        one.fill();
        expectFilled(one);
    };
    // Allocations: a copy of the value for each call, and the larger table.
    EXPECT_EQ(failEachAllocation([] { return std::make_unique<FilledTable>(); },
                                 [](auto& one) { one->fill(); }, [&](auto& one) { examine(*one); }),
              2 * 3);
}

/// A ramp's value at 0.5.
Values sampled(RampSampler& ramp) {
    const double at = 0.5;
    Values value(3);
    unsigned char validity = 1;
    EXPECT_TRUE(ramp.sample(&at, float64, 1, value.data(), float64, 3, &validity, 1));
    EXPECT_EQ(validity, 1);
    return value;
}

TEST(RampSamplerMemory, ThatRunsOutLeavesNoRamp) {
    const std::vector<RampStop> stops = rampStops();
    using Slot = std::optional<RampSampler>;
    const auto examine = [&](Slot& slot) {
        slot.emplace(stops);
        EXPECT_EQ(sampled(*slot), (Values{1.5, 2.5, 3.5}));
    };
    // Allocations: the list of stops, and the value of each stop.
    EXPECT_EQ(failEachAllocation([] { return std::make_unique<Slot>(); },
                                 [&](auto& slot) { slot->emplace(stops); },
                                 [&](auto& slot) { examine(*slot); }),
              2 * 4);
}

TEST(CollectingSinkMemory, ThatRunsOutLeavesNoSink) {
    const ServedProgram program;
    ServingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 5));
    const std::vector<int> numbers = program.all();
    const RegisterFile& layout = interpreter.registerFile();
    CollectingSink reference(layout, numbers, rangeFirst, rangeCount);
    const auto expected = collectedBy(interpreter, host.bindings, reference);

    using Slot = std::optional<CollectingSink>;
    const int failures = failEachAllocation(
        [] { return std::make_unique<Slot>(); },
        [&](auto& slot) { slot->emplace(layout, numbers, rangeFirst, rangeCount); },
        [&](auto& slot) {
            slot->emplace(layout, numbers, rangeFirst, rangeCount);
            expectCollected(collectedBy(interpreter, host.bindings, **slot), expected);
        });
    // Allocations: at least the values and the validity of each register.
    EXPECT_GE(failures, 2 * 12);
}

// A refusal's message needs memory, too.

/// Expects `construct` to be refused. Makes each allocation before the refusal fail in turn.
template <class Construct>
void expectRefusalOrNoMemory(Construct construct) {
    struct Attempt {
        bool isRefused = false;
    };
    const auto attempt = [&](auto& one) {
        try {
            construct();
        } catch (const std::invalid_argument&) {
            one->isRefused = true;
        }
    };
    const int failures = failEachAllocation([] { return std::make_unique<Attempt>(); }, attempt,
                                            [&](auto& one) {
                                                attempt(one);
                                                EXPECT_TRUE(one->isRefused);
                                            });
    EXPECT_GT(failures, 0);
}

TEST(RefusalMemory, ThatRunsOutComesOutInsteadOfTheWords) {
    const std::vector<std::int32_t> cells(12);
    expectRefusalOrNoMemory(
        [&] { GridSampler(ArrayView::of(cells.data(), 12), 5, 3, GridSampler::Filter::Nearest); });
    expectRefusalOrNoMemory([] { RampSampler(std::vector<RampStop>{}); });
    expectRefusalOrNoMemory([] { RampSampler({{0, {1}}, {-1, {1}}}); });
    expectRefusalOrNoMemory([] { UniformTable().set(-1, Constant()); });
    expectRefusalOrNoMemory([] {
        Constant value = integerConstant({1, 2});
        value.multiplicity = 3;
        UniformTable().set(0, value);
    });
    const RegisterFile none;
    expectRefusalOrNoMemory([&] { CollectingSink(none, {0}, 0, 1); });
}

/// Calls `ask` while each of its allocations fails in turn, and once more with enough memory.
template <class Ask>
void expectAnswerOrNoMemory(Ask ask) {
    using Answer = decltype(ask());
    const Answer expected = ask();
    const int failures = failEachAllocation(
        [] { return std::make_unique<Answer>(); }, [&](auto& answer) { *answer = ask(); },
        [&](auto& answer) {
            EXPECT_TRUE(*answer == Answer() || *answer == expected);
            EXPECT_EQ(ask(), expected);
        });
    EXPECT_GT(failures, 0);
}

TEST(OutcomeMemory, ThatRunsOutIsTheAllocatorsException) {
    ServedProgram program;
    ServingHost host;
    Interpreter interpreter;
    expectAnswerOrNoMemory([&] { return describeOutcome(interpreter, program); });
    ASSERT_TRUE(interpreter.configure(program, 5));
    expectAnswerOrNoMemory([&] { return describeOutcome(interpreter, program); });

    EvaluateCall call{rangeFirst, rangeCount, host.bindings};
    const auto describe = [&] { return describeOutcome(interpreter, program, call); };
    FunctionSink sink([](const RegisterFile&, long long, int) { return false; });
    EXPECT_FALSE(interpreter.evaluate(call.first, call.count, call.bindings, sink));
    expectAnswerOrNoMemory(describe);
    call.bindings.fieldCount = 0;
    EXPECT_FALSE(interpreter.evaluate(call.first, call.count, call.bindings, sink));
    expectAnswerOrNoMemory(describe);

    program.instructions.back().operands[0] = 99;
    EXPECT_FALSE(interpreter.configure(program, 5));
    expectAnswerOrNoMemory([&] { return describeOutcome(interpreter, program); });
    expectAnswerOrNoMemory([&] { return adviseBlockSize(program); });
}

} // namespace
} // namespace Fenlet::Hosts
