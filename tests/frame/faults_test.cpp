// Hosts that decline, throw or end the run at any of their calls, and the state after each such
// failure.
#include "doubles/allocation_faults.h"
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "model/random_program.h"

#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Model::Case;
using Model::RandomHost;

// ---------------------------------------------------------------------------------------------
// A host that fails

enum class Party { Field, Uniforms, Sampler, Sink };

/// A call to the host, and the steps begun before it.
struct Call {
    Party party;
    std::uint64_t steps;

    bool operator==(const Call& other) const {
        return party == other.party && steps == other.steps;
    }
};

struct Block {
    long long start;
    int count;
    std::vector<unsigned char> bytes; ///< values and validity of all live elements

    bool operator==(const Block& other) const {
        return start == other.start && count == other.count && bytes == other.bytes;
    }
};

/// The call that fails, counted from 0 over all calls of providers and the sink; -1 if none fails.
/// The call throws or returns false.
struct Failure {
    int call = -1;
    bool throws = false;
};

/// What a failing host throws. It is not derived from a standard exception.
struct HostFault {
    int call;
};

/// Serves a case with random values, records what the sink receives, and fails at one call. A
/// provider that fails has already stored half of its results.
class FaultyHost : public CpuFieldAccessor,
                   public UniformSource,
                   public FenletSampler,
                   public BlockSink {
  public:
    FaultyHost(const Case& run, const Interpreter& newWatched, Failure newFailure = {})
        : inner(run),
          watched(newWatched),
          failure(newFailure),
          stepsBefore(watched.executedSteps()),
          fields(run.program.fields.size(), this),
          samplers(run.program.samplers.size(), this) {}

    std::vector<Call> calls;
    std::vector<Block> blocks;

    Bindings bindings() {
        return {fields.data(), static_cast<std::int32_t>(fields.size()), this, samplers.data(),
                static_cast<std::int32_t>(samplers.size())};
    }

    bool read(const FieldRead& request) override {
        if (!isFailing(Party::Field))
            return inner.read(request);
        spoil(request.values, request.kind, request.multiplicity, request.validity, request.count);
        return fail();
    }

    bool fetch(int index, CpuElementKind kind, int multiplicity, void* out) override {
        if (!isFailing(Party::Uniforms))
            return inner.fetch(index, kind, multiplicity, out);
        std::memset(out, 0xEE, 512);
        return fail();
    }

    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int count) override {
        if (!isFailing(Party::Sampler))
            return inner.sample(coordinates, coordinateKind, coordinateMultiplicity, values,
                                valueKind, valueMultiplicity, validity, count);
        spoil(values, valueKind, valueMultiplicity, validity, count);
        return fail();
    }

    bool consume(const RegisterFile& registers, long long blockStart, int count) override {
        const bool failing = isFailing(Party::Sink);
        Block block{blockStart, count, {}};
        const auto elements = static_cast<std::size_t>(count);
        for (int number = 0; number < registers.registerCount(); ++number) {
            const RegisterSpec& spec = registers.specOf(number);
            const auto bytes = static_cast<std::size_t>(elementSize(spec.kind)) *
                               static_cast<std::size_t>(spec.multiplicity);
            const unsigned char* const data = registers.data(number);
            const unsigned char* const validity = registers.validity(number);
            block.bytes.insert(block.bytes.end(), data, data + elements * bytes);
            block.bytes.insert(block.bytes.end(), validity, validity + elements);
        }
        blocks.push_back(std::move(block));
        return !failing || fail();
    }

  private:
    bool isFailing(Party party) {
        calls.push_back({party, watched.executedSteps() - stepsBefore});
        return static_cast<int>(calls.size()) - 1 == failure.call;
    }

    bool fail() const {
        if (failure.throws)
            throw HostFault{failure.call};
        return false;
    }

    static void spoil(void* values, CpuElementKind kind, int multiplicity, unsigned char* validity,
                      int count) {
        const int half = (count + 1) / 2;
        std::memset(values, 0xEE,
                    static_cast<std::size_t>(half * elementSize(kind) * multiplicity));
        for (int i = 0; i < half; ++i)
            validity[i] = i % 2 == 0 ? 0 : 0xEE;
    }

    RandomHost inner;
    const Interpreter& watched;
    const Failure failure;
    const std::uint64_t stepsBefore;
    std::vector<CpuFieldAccessor*> fields;
    std::vector<FenletSampler*> samplers;
};

// ---------------------------------------------------------------------------------------------
// What is expected

/// A case and the outcome of a complete run.
struct Expected {
    Case run;
    std::vector<Call> calls;
    std::vector<Block> blocks;
    std::uint64_t steps = 0;

    std::size_t blocksBefore(std::size_t call) const {
        return static_cast<std::size_t>(
            std::count_if(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(call),
                          [](const Call& one) { return one.party == Party::Sink; }));
    }
};

/// The calls of a complete run, derived from the instructions.
std::vector<Call> callsOf(const Case& run) {
    std::vector<Call> calls;
    std::uint64_t steps = 0;
    for (int done = 0; done < run.count; done += run.blockSize) {
        for (const Instruction& instruction : run.program.instructions) {
            ++steps;
            if (instruction.op == OpCode::LoadField)
                calls.push_back({Party::Field, steps});
            else if (instruction.op == OpCode::LoadUniform)
                calls.push_back({Party::Uniforms, steps});
            else if (instruction.op == OpCode::Sample)
                calls.push_back({Party::Sampler, steps});
        }
        calls.push_back({Party::Sink, steps});
    }
    return calls;
}

/// Runs the whole case and compares it with what is expected.
void expectRuns(Interpreter& interpreter, const Expected& expected) {
    const std::uint64_t stepsBefore = interpreter.executedSteps();
    FaultyHost host(expected.run, interpreter);
    EXPECT_TRUE(
        interpreter.evaluate(expected.run.first, expected.run.count, host.bindings(), host));
    expectReason(interpreter, ExecRefusal::None, nullptr);
    EXPECT_EQ(interpreter.executedSteps() - stepsBefore, expected.steps);
    EXPECT_TRUE(host.calls == expected.calls);
    EXPECT_TRUE(host.blocks == expected.blocks);
}

void configureFor(Interpreter& interpreter, const Expected& expected) {
    ASSERT_TRUE(interpreter.configure(expected.run.program, expected.run.blockSize));
    expectReason(interpreter, ExecRefusal::None, nullptr);
    EXPECT_EQ(interpreter.executedSteps(), 0u);
}

Expected expectationOf(Case run) {
    run.declineAtCall = -1;
    run.stopAtBlock = -1;
    run.holeInFields = false;
    Expected expected{std::move(run), {}, {}, 0};
    expected.calls = callsOf(expected.run);
    expected.steps = expected.calls.empty() ? 0 : expected.calls.back().steps;
    Interpreter interpreter;
    configureFor(interpreter, expected);
    FaultyHost host(expected.run, interpreter);
    EXPECT_TRUE(
        interpreter.evaluate(expected.run.first, expected.run.count, host.bindings(), host));
    expected.blocks = std::move(host.blocks);
    // Runs again, with the registers as the first run left them.
    expectRuns(interpreter, expected);
    return expected;
}

void expectReasonOf(const Interpreter& interpreter, Party party, Failure failure) {
    if (failure.throws || party == Party::Sink)
        expectReason(interpreter, ExecRefusal::None, nullptr);
    else if (party == Party::Field)
        expectReason(interpreter, ExecRefusal::ProviderFailed, "field accessor declined");
    else if (party == Party::Uniforms)
        expectReason(interpreter, ExecRefusal::ProviderFailed, "uniform source declined");
    else
        expectReason(interpreter, ExecRefusal::ProviderFailed, "sampler declined");
}

/// Whether the run throws the host's exception. If it does not throw, it must return false.
bool endsByThrowing(Interpreter& interpreter, const Case& run, FaultyHost& host, Failure failure) {
    try {
        EXPECT_FALSE(interpreter.evaluate(run.first, run.count, host.bindings(), host));
        return false;
    } catch (const HostFault& fault) {
        EXPECT_EQ(fault.call, failure.call);
        return true;
    }
}

/// Runs the case up to the failure. The host must not be called after the failure, the sink must
/// have received every block before it, and the plan must remain.
void expectFails(Interpreter& interpreter, const Expected& expected, Failure failure) {
    const auto call = static_cast<std::size_t>(failure.call);
    const Party party = expected.calls[call].party;
    const std::uint64_t stepsBefore = interpreter.executedSteps();
    FaultyHost host(expected.run, interpreter, failure);
    EXPECT_EQ(endsByThrowing(interpreter, expected.run, host, failure), failure.throws);

    ASSERT_EQ(host.calls.size(), call + 1);
    EXPECT_TRUE(std::equal(host.calls.begin(), host.calls.end(), expected.calls.begin()));
    EXPECT_EQ(interpreter.executedSteps() - stepsBefore, expected.calls[call].steps);
    const std::size_t block = expected.blocksBefore(call);
    ASSERT_EQ(host.blocks.size(), block + (party == Party::Sink));
    EXPECT_TRUE(std::equal(host.blocks.begin(), host.blocks.end(), expected.blocks.begin()));

    expectReasonOf(interpreter, party, failure);
    EXPECT_TRUE(interpreter.isConfigured());
    EXPECT_EQ(interpreter.plan().size(), expected.run.program.instructions.size());
    EXPECT_EQ(interpreter.registerFile().liveElements(), expected.blocks[block].count);
}

/// Lets each call of the case fail in each way, on a new interpreter each time, then calls
/// `follow`. Neither the failed run nor `follow` may leak memory.
template <class Follow>
void afterEachFailure(const Expected& expected, Follow follow) {
    for (std::size_t call = 0; call < expected.calls.size(); ++call)
        for (const bool throws : {false, true}) {
            SCOPED_TRACE(testing::Message() << "call " << call << " of " << expected.calls.size()
                                            << (throws ? " throws" : " answers false"));
            const std::size_t liveBefore = liveAllocations();
            {
                Interpreter interpreter;
                configureFor(interpreter, expected);
                expectFails(interpreter, expected, {static_cast<int>(call), throws});
                follow(interpreter);
            }
            EXPECT_EQ(liveAllocations(), liveBefore);
        }
}

// ---------------------------------------------------------------------------------------------
// Programs

constexpr const char* scalarProgram = R"(
index  : i64     = ElementIndex
height : f32     = LoadField height[index]
scale  : f32     = LoadUniform scale
scaled : f64     = Multiply height, scale
limit  : i32     = LoadConstant 3
isLow  : tribool = Less scaled, limit
curve  : f16     = Sample curve[scaled]
chosen : f64     = Select isLow, curve, scaled
)";

constexpr const char* vectorProgram = R"(
index  : i64       = ElementIndex
place  : f32x2     = LoadField place[index]
offset : f64x2     = LoadUniform offset
moved  : f32x2     = Add place, offset
colour : f16x3     = Sample colours[moved]
size   : f32       = Length moved
near   : i32       = LoadField near[index]
other  : f32x3     = LoadField colour[near]
isDark : triboolx3 = Less colour, size
shade  : f32x3     = Select isDark, other, colour
Nop
red    : f64       = Component shade[0]
known  : tribool   = LoadField known[index]
factor : f64       = LoadUniform factor
isRed  : tribool   = Greater red, factor
both   : tribool   = And known, isRed
mixed  : f32x3     = Select both, shade, other
)";

constexpr const char* numberProgram = R"(
index : i64 = ElementIndex
less  : i64x2 = LoadConstant (-1, 2)
)";

Case caseOf(const char* text, int blockSize, long long first, int count) {
    const ParseResult parsed = parseProgram(text);
    EXPECT_TRUE(parsed.ok()) << parsed.error.shown << parsed.error.message;
    Case run;
    run.program = parsed.program;
    run.blockSize = blockSize;
    run.first = first;
    run.count = count;
    run.dataSeed = 7;
    return run;
}

/// Cases with ranges that end at the end of a block, within a block and within the first block; a
/// range that begins below 0; and a range whose element numbers overflow.
std::vector<Expected> namedCases() {
    std::vector<Expected> cases;
    for (const char* const text : {scalarProgram, vectorProgram, numberProgram, ""}) {
        cases.push_back(expectationOf(caseOf(text, 4, -6, 11)));
        cases.push_back(expectationOf(caseOf(text, 1, 0, 2)));
        cases.push_back(expectationOf(caseOf(text, 64, -5, 10)));
        cases.push_back(expectationOf(caseOf(text, 150, 1000, 300)));
        cases.push_back(expectationOf(caseOf(text, 3, LLONG_MAX - 4, 8)));
    }
    return cases;
}

/// A sound case for this seed, in three blocks, that reads no register before writing it.
Expected randomExpectation(std::uint64_t seed) {
    Case run = Model::randomCase(seed);
    std::vector<Instruction> loads;
    const auto findings = verifyProgram(run.program);
    for (const Finding& finding : findings)
        if (finding.code == FindingCode::NeverWritten)
            loads.push_back({OpCode::LoadUniform, finding.registerNumber, {-1, -1, -1}, 0});
    run.program.instructions.insert(run.program.instructions.begin(), loads.begin(), loads.end());
    run.blockSize = std::max(1, (run.count + 2) / 3);
    const auto left = verifyProgram(run.program);
    const bool isWritten = std::none_of(left.begin(), left.end(), [](const Finding& finding) {
        return finding.code == FindingCode::NeverWritten ||
               finding.code == FindingCode::PartlyWritten;
    });
    return isWritten && isSound(left) && run.count > 0 ? expectationOf(std::move(run)) : Expected{};
}

// ---------------------------------------------------------------------------------------------

TEST(HostFaults, LeaveAPlanThatRunsAgain) {
    for (const Expected& expected : namedCases())
        afterEachFailure(expected,
                         [&](Interpreter& interpreter) { expectRuns(interpreter, expected); });
}

TEST(HostFaults, MayFollowEachOther) {
    const Expected expected = expectationOf(caseOf(scalarProgram, 4, -6, 11));
    ASSERT_EQ(expected.calls.size(), 3u * 4);
    for (int second = 0; second < 12; ++second)
        for (const bool throws : {false, true})
            afterEachFailure(expected, [&](Interpreter& interpreter) {
                expectFails(interpreter, expected, {second, throws});
                expectRuns(interpreter, expected);
            });
}

TEST(HostFaults, LeaveAnInterpreterThatTakesAnyProgramAsANewOneDoes) {
    const std::vector<Expected> cases = namedCases();
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        const Expected& other = cases[(i + 6) % cases.size()];
        afterEachFailure(cases[i], [&](Interpreter& interpreter) {
            configureFor(interpreter, cases[i]);
            expectRuns(interpreter, cases[i]);
            configureFor(interpreter, other);
            expectRuns(interpreter, other);
            configureFor(interpreter, cases[i]);
            expectRuns(interpreter, cases[i]);
        });
    }
}

/// Expects a refused program to leave no plan, to call no provider, and not to affect the next
/// program.
void expectRefusedAndReplaced(Interpreter& interpreter, const FenletProgram& refused, int blockSize,
                              const Expected& expected) {
    EXPECT_FALSE(interpreter.configure(refused, blockSize));
    expectNoPlan(interpreter);
    EXPECT_EQ(interpreter.executedSteps(), 0u);
    const ExecRefusal reason = interpreter.lastRefusal();
    EXPECT_NE(reason, ExecRefusal::None);
    FaultyHost host(expected.run, interpreter);
    EXPECT_FALSE(interpreter.evaluate(0, 5, host.bindings(), host));
    EXPECT_EQ(interpreter.lastRefusal(), reason);
    EXPECT_TRUE(host.calls.empty());
    configureFor(interpreter, expected);
    expectRuns(interpreter, expected);
}

TEST(HostFaults, LeaveAnInterpreterThatRefusesAsANewOneDoes) {
    // Programs that are refused because of a register, the block size, an instruction, and a rule
    // of an opcode.
    ProgramSketch badFormat;
    badFormat.addRegister(static_cast<RegisterFormat>(8));
    ProgramSketch badRegister;
    badRegister.add(OpCode::ElementIndex, 7);
    ProgramSketch badRule;
    badRule.add(OpCode::ElementIndex, badRule.addRegister(RegisterFormat::Half));
    const FenletProgram empty;
    const struct {
        const FenletProgram& program;
        int blockSize;
    } refusals[] = {{badFormat, 4}, {badRegister, 9000}, {badRule, 4}, {empty, 0}};
    for (const Expected& expected : namedCases())
        for (const auto& refusal : refusals)
            afterEachFailure(expected, [&](Interpreter& interpreter) {
                expectRefusedAndReplaced(interpreter, refusal.program, refusal.blockSize, expected);
            });
}

TEST(HostFaults, OfRandomProgramsLeaveThePlanAndTakeTheNext) {
    // FENLET_FAULT_PROGRAMS in the environment can ask for more programs.
    const char* const asked = std::getenv("FENLET_FAULT_PROGRAMS");
    const std::size_t wanted = asked ? std::strtoull(asked, nullptr, 10) : 12;
    ASSERT_GT(wanted, 0u);
    std::vector<Expected> cases;
    for (std::uint64_t seed = 1; cases.size() < wanted && seed < 100 * wanted; ++seed) {
        SCOPED_TRACE(seed);
        Expected expected = randomExpectation(seed);
        if (expected.calls.size() > 3)
            cases.push_back(std::move(expected));
    }
    ASSERT_EQ(cases.size(), wanted);
    std::size_t calls = 0;
    for (std::size_t i = 0; i < wanted; ++i) {
        SCOPED_TRACE(describe(cases[i].run));
        const Expected& other = cases[(i + 1) % wanted];
        afterEachFailure(cases[i], [&](Interpreter& interpreter) {
            expectRuns(interpreter, cases[i]);
            configureFor(interpreter, other);
            expectRuns(interpreter, other);
        });
        calls += cases[i].calls.size();
    }
    std::cout << wanted << " programs, " << calls << " calls, each of which failed in both ways\n";
}

// ---------------------------------------------------------------------------------------------

/// Lets each allocation of `configure` fail, on interpreters set up by `prepare`.
template <class Prepare>
int failToConfigure(const Expected& expected, const Expected& other, Prepare prepare) {
    return failEachAllocation(
        [&] {
            auto interpreter = std::make_unique<Interpreter>();
            prepare(*interpreter);
            return interpreter;
        },
        [&](auto& interpreter) {
            EXPECT_TRUE(interpreter->configure(expected.run.program, expected.run.blockSize));
        },
        [&](auto& interpreter) {
            EXPECT_EQ(interpreter->lastRefusal(), ExecRefusal::None);
            EXPECT_EQ(interpreter->executedSteps(), 0u);
            configureFor(*interpreter, expected);
            expectRuns(*interpreter, expected);
            configureFor(*interpreter, other);
            expectRuns(*interpreter, other);
        });
}

TEST(ConfigureFaults, LeaveAnInterpreterThatTakesTheNextProgram) {
    const Expected small = expectationOf(caseOf(numberProgram, 2, 0, 5));
    const Expected scalar = expectationOf(caseOf(scalarProgram, 4, -6, 11));
    const Expected vector = expectationOf(caseOf(vectorProgram, 7, -6, 11));
    // There are at least four allocations: slots, storage, index buffer and steps.
    EXPECT_GE(failToConfigure(vector, scalar, [](Interpreter&) {}), 2 * 4);
    EXPECT_GE(failToConfigure(vector, scalar,
                              [&](Interpreter& interpreter) {
                                  configureFor(interpreter, small);
                                  expectRuns(interpreter, small);
                              }),
              2 * 4);
    // The same after a host has thrown, and after a smaller plan.
    EXPECT_GE(failToConfigure(vector, scalar,
                              [&](Interpreter& interpreter) {
                                  configureFor(interpreter, scalar);
                                  expectFails(interpreter, scalar, {6, true});
                              }),
              2 * 4);
}

} // namespace
} // namespace Fenlet
