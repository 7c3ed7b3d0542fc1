// Sinks and providers that call the interpreter that is running them.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Blocks = std::vector<RecordingSink::Block>;
using Floats = std::vector<float>;

/// A program that loads x = field[index] into register 1. Register 2 is for the result of the
/// programs below.
struct FieldProgram : ProgramSketch {
    FieldProgram() {
        addRegister(RegisterFormat::Int64);
        addRegister(RegisterFormat::Float32);
        addRegister(RegisterFormat::Float32);
        fields.resize(1);
        add(OpCode::ElementIndex, 0);
        add(OpCode::LoadField, 1, {0}, 0);
    }
};

/// Computes x + x.
struct Twice : FieldProgram {
    Twice() { add(OpCode::Add, 2, {1, 1}); }
};

/// Computes x * x, in as many steps as `Twice`.
struct Square : FieldProgram {
    Square() { add(OpCode::Multiply, 2, {1, 1}); }
};

/// Loads x straight into register 2, in fewer steps than `Twice`.
struct Same : FieldProgram {
    Same() { instructions.back().result = 2; }
};

/// Computes x + x + ... in many more steps and registers than `Twice`.
struct ManyTimes : FieldProgram {
    static constexpr int times = 700;
    ManyTimes() {
        add(OpCode::Add, 2, {1, 1});
        std::int32_t sum = 2;
        for (int added = 3; added < times; ++added) {
            const std::int32_t next = addRegister(RegisterFormat::Float32);
            add(OpCode::Add, next, {sum, 1});
            sum = next;
        }
        add(OpCode::Add, 2, {sum, 1});
    }
};

/// A program without steps: register 2 stays zero.
struct Nothing : ProgramSketch {
    Nothing() {
        for (int number = 0; number < 3; ++number)
            addRegister(RegisterFormat::Float32);
    }
};

/// A program that `configure` refuses, as the result register does not exist.
struct Refused : FieldProgram {
    Refused() { add(OpCode::Add, 99, {1, 1}); }
};
constexpr const char* refusedWords = "result register out of range";

/// The field's value at an element.
float fieldAt(long long element) {
    return static_cast<float>(element + 1);
}

bool readField(const FieldRead& request) {
    Floats values;
    for (int i = 0; i < request.count; ++i)
        values.push_back(fieldAt(request.indices[i]));
    storeLanes(request.values, values);
    return true;
}

/// An interpreter with a host whose sink records the values of register 2 and then, in the first
/// block, calls `callBack`.
struct SinkRun {
    RecordingHost host;
    Interpreter interpreter;
    std::function<bool()> callBack = [] { return true; };
    Floats values;

    SinkRun() {
        host.field.answer = readField;
        host.sink.answer = [this](const RegisterFile& registers) {
            const Floats block = liveLanes<float>(registers, 2);
            values.insert(values.end(), block.begin(), block.end());
            return host.sink.blocks.size() > 1 || callBack();
        };
    }

    bool over(long long count) { return interpreter.evaluate(0, count, host.bindings, host.sink); }
};

/// Evaluates a range with another host.
void evaluateInside(Interpreter& interpreter, long long first, long long count) {
    RecordingHost inner;
    inner.field.answer = readField;
    EXPECT_TRUE(interpreter.evaluate(first, count, inner.bindings, inner.sink));
}

struct NextPlan {
    const char* name;
    const FenletProgram& program;
    float (*valueAt)(long long element);
};

const Twice twice;
const Square square;
const Same same;
const ManyTimes manyTimes;
const Nothing nothing;
const Refused refused;

const NextPlan nextPlans[] = {
    {"itself", twice, [](long long e) { return 2 * fieldAt(e); }},
    {"as many steps", square, [](long long e) { return fieldAt(e) * fieldAt(e); }},
    {"fewer steps", same, [](long long e) { return fieldAt(e); }},
    {"more steps", manyTimes, [](long long e) { return ManyTimes::times * fieldAt(e); }},
    {"no steps", nothing, [](long long) { return 0.0f; }},
};

TEST(NestedConfigure, HasTheRunGoOnWithTheNewPlan) {
    constexpr int elements = 23;
    for (const NextPlan& next : nextPlans)
        for (const int blockSize : {1, 5, 23})
            for (const int nextBlockSize : {1, 3, 5, 1000})
                for (const int evaluated : {0, 1, 1000}) {
                    SCOPED_TRACE(std::string(next.name) + ", blocks of " +
                                 std::to_string(blockSize) + " and " +
                                 std::to_string(nextBlockSize) + ", " + std::to_string(evaluated) +
                                 " elements evaluated");
                    SinkRun run;
                    ASSERT_TRUE(run.interpreter.configure(twice, blockSize));
                    run.callBack = [&] {
                        EXPECT_TRUE(run.interpreter.configure(next.program, nextBlockSize));
                        if (evaluated > 0)
                            evaluateInside(run.interpreter, 500, evaluated);
                        return true;
                    };
                    EXPECT_TRUE(run.over(elements));
                    expectReason(run.interpreter, ExecRefusal::None, nullptr);

                    Blocks blocks{{0, blockSize}};
                    Floats values;
                    for (int e = 0; e < elements; ++e)
                        values.push_back(e < blockSize ? 2 * fieldAt(e) : next.valueAt(e));
                    const int stride = std::min(blockSize, nextBlockSize);
                    for (int e = blockSize; e < elements; e += stride)
                        blocks.push_back({e, std::min(stride, elements - e)});
                    EXPECT_EQ(run.host.sink.blocks, blocks);
                    EXPECT_EQ(run.values, values);
                }
}

TEST(NestedConfigure, MayComeInEveryBlock) {
    SinkRun run;
    ASSERT_TRUE(run.interpreter.configure(twice, 4));
    run.host.sink.answer = [&](const RegisterFile& registers) {
        const Floats block = liveLanes<float>(registers, 2);
        run.values.insert(run.values.end(), block.begin(), block.end());
        const bool isEven = run.host.sink.blocks.size() % 2 == 0;
        const FenletProgram& next = isEven ? static_cast<const FenletProgram&>(twice) : square;
        EXPECT_TRUE(run.interpreter.configure(next, 2 + static_cast<int>(run.values.size())));
        return true;
    };
    EXPECT_TRUE(run.over(10));
    EXPECT_EQ(run.host.sink.blocks, (Blocks{{0, 4}, {4, 4}, {8, 2}}));
    EXPECT_EQ(run.values, (Floats{2, 4, 6, 8, 25, 36, 49, 64, 18, 20}));
}

TEST(NestedConfigure, ThatIsRefusedEndsTheRunWithItsWords) {
    for (const int elements : {10, 4}) { // the second time, in the last block
        SCOPED_TRACE(elements);
        SinkRun run;
        ASSERT_TRUE(run.interpreter.configure(twice, 4));
        run.callBack = [&] {
            EXPECT_FALSE(run.interpreter.configure(refused, 4));
            return true;
        };
        EXPECT_FALSE(run.over(elements));
        EXPECT_EQ(run.host.sink.blocks, (Blocks{{0, 4}}));
        expectReason(run.interpreter, ExecRefusal::BadRegister, refusedWords);
        expectNoPlan(run.interpreter);
    }
}

TEST(NestedConfigure, ThatIsRefusedIsMendedByAnother) {
    SinkRun run;
    ASSERT_TRUE(run.interpreter.configure(twice, 4));
    run.callBack = [&] {
        EXPECT_FALSE(run.interpreter.configure(refused, 4));
        EXPECT_FALSE(run.interpreter.configure(twice, 0));
        EXPECT_TRUE(run.interpreter.configure(square, 4));
        return true;
    };
    EXPECT_TRUE(run.over(6));
    EXPECT_EQ(run.values, (Floats{2, 4, 6, 8, 25, 36}));
}

TEST(NestedConfigure, MayChangeWhichProvidersAreNeeded) {
    ProgramSketch uniforms;
    for (int number = 0; number < 3; ++number)
        uniforms.addRegister(RegisterFormat::Float32);
    uniforms.uniforms.resize(1);
    uniforms.add(OpCode::LoadUniform, 2, {}, 0);
    SinkRun run;
    ASSERT_TRUE(run.interpreter.configure(twice, 4));
    run.host.bindings.uniforms = nullptr;
    run.callBack = [&] { return run.interpreter.configure(uniforms, 4); };
    EXPECT_FALSE(run.over(6));
    expectReason(run.interpreter, ExecRefusal::UnboundUniform, "no uniform source bound");
    EXPECT_TRUE(run.interpreter.isConfigured());
    EXPECT_EQ(run.host.sink.blocks, (Blocks{{0, 4}}));
}

// Sinks that call `evaluate`. The inner run overwrites the registers.

TEST(NestedEvaluate, LeavesTheRunToGoOn) {
    for (const int evaluated : {1, 3, 4, 100}) {
        SCOPED_TRACE(evaluated);
        SinkRun run;
        ASSERT_TRUE(run.interpreter.configure(twice, 4));
        run.callBack = [&] {
            evaluateInside(run.interpreter, 500, evaluated);
            return true;
        };
        EXPECT_TRUE(run.over(10));
        EXPECT_EQ(run.host.sink.blocks, (Blocks{{0, 4}, {4, 4}, {8, 2}}));
        EXPECT_EQ(run.values, (Floats{2, 4, 6, 8, 10, 12, 14, 16, 18, 20}));
    }
}

TEST(NestedEvaluate, LeavesNothingBehindInTheBlocksAfterIt) {
    // The inner run is shorter than a block, gets another uniform, and makes elements invalid.
    FieldProgram program;
    program.uniforms.resize(1);
    program.addRegister(RegisterFormat::Float32);
    program.add(OpCode::LoadUniform, 3, {}, 0);
    program.add(OpCode::Add, 2, {1, 3});
    SinkRun run;
    float uniform = 100;
    run.host.uniforms.answer = [&](const RecordingUniforms::Fetch& fetch) {
        storeLanes(fetch.out, Floats{uniform});
        return true;
    };
    bool isInside = false;
    run.host.field.answer = [&](const FieldRead& request) {
        request.validity[0] = isInside ? 0 : 1;
        return readField(request);
    };
    std::vector<unsigned char> validity;
    ASSERT_TRUE(run.interpreter.configure(program, 4));
    run.callBack = [&] {
        RecordingSink sink;
        uniform = 200;
        isInside = true;
        EXPECT_TRUE(run.interpreter.evaluate(0, 1, run.host.bindings, sink));
        isInside = false;
        return true;
    };
    EXPECT_TRUE(run.over(8));
    EXPECT_EQ(run.values, (Floats{101, 102, 103, 104, 205, 206, 207, 208}));
    EXPECT_EQ(liveValidity(run.interpreter.registerFile(), 2),
              (std::vector<unsigned char>{1, 1, 1, 1}));
}

TEST(NestedEvaluate, ThatIsRefusedKeepsItsWords) {
    SinkRun run;
    ASSERT_TRUE(run.interpreter.configure(twice, 4));
    run.callBack = [&] {
        RecordingSink sink;
        EXPECT_FALSE(run.interpreter.evaluate(0, 1, Bindings{}, sink));
        return true;
    };
    EXPECT_TRUE(run.over(6));
    expectReason(run.interpreter, ExecRefusal::UnboundField,
                 "no accessor bound for a field the program reads");
    EXPECT_EQ(run.values, (Floats{2, 4, 6, 8, 10, 12}));
}

TEST(NestedRunStep, LeavesNothingBehindInTheBlocksAfterIt) {
    SinkRun run;
    ASSERT_TRUE(run.interpreter.configure(twice, 4));
    run.callBack = [&] {
        RecordingHost inner;
        inner.field.answer = [](const FieldRead& request) {
            request.validity[1] = 0;
            return true;
        };
        EXPECT_TRUE(run.interpreter.runStep(run.interpreter.plan()[1], inner.bindings, 0));
        return true;
    };
    EXPECT_TRUE(run.over(8));
    EXPECT_EQ(run.values, (Floats{2, 4, 6, 8, 10, 12, 14, 16}));
    EXPECT_EQ(liveValidity(run.interpreter.registerFile(), 2),
              (std::vector<unsigned char>{1, 1, 1, 1}));
}

// Providers are called in the middle of a block.

/// Uses every sort of provider.
struct AskingProgram : FieldProgram {
    AskingProgram() {
        uniforms.resize(1);
        samplers.resize(1);
        for (int number = 3; number <= 5; ++number)
            addRegister(RegisterFormat::Float32);
        add(OpCode::LoadUniform, 3, {}, 0);
        add(OpCode::Sample, 4, {1}, 0);
        add(OpCode::Add, 2, {1, 3});
        add(OpCode::Add, 5, {2, 4});
    }
};

struct Provider {
    const char* name;
    const char* declines; ///< the refusal when it declines
};
const Provider providers[] = {
    {"field", "field accessor declined"},
    {"uniforms", "uniform source declined"},
    {"sampler", "sampler declined"},
};

/// Runs the program over 10 elements in blocks of 4. In the second block one of the providers calls
/// the interpreter before it stores its values.
struct AskingRun {
    AskingProgram program;
    RecordingHost host;
    Interpreter interpreter;
    std::function<void()> callBack;
    bool areasAreGone = false;  ///< set when the plan has changed; nothing is stored then
    std::vector<Floats> values; ///< of register 5, block by block

    explicit AskingRun(int newCaller) : caller(newCaller) {
        host.field.answer = [this](const FieldRead& request) {
            return answer(0, [&] { readField(request); });
        };
        host.uniforms.answer = [this](const RecordingUniforms::Fetch& fetch) {
            return answer(1, [&] { storeLanes(fetch.out, Floats{100}); });
        };
        host.sampler.answer = [this](const RecordingSampler::Sample& sample) {
            float* const out = static_cast<float*>(sample.values);
            const auto count = static_cast<std::size_t>(sample.count);
            return answer(2, [&] { storeLanes(out, Floats(count, 1000)); });
        };
        host.sink.answer = [this](const RegisterFile& registers) {
            values.push_back(liveLanes<float>(registers, 5));
            return true;
        };
        EXPECT_TRUE(interpreter.configure(program, 4));
    }

    bool run() { return interpreter.evaluate(0, 10, host.bindings, host.sink); }

    static Floats valuesAt(std::initializer_list<long long> elements) {
        Floats expected;
        for (const long long element : elements)
            expected.push_back(fieldAt(element) + 1100);
        return expected;
    }

  private:
    int caller;

    template <class Store>
    bool answer(int provider, Store store) {
        if (provider == caller && host.sink.blocks.size() == 1 && callBack) {
            const std::function<void()> called = std::move(callBack);
            callBack = nullptr;
            called();
        }
        if (!areasAreGone)
            store();
        return true;
    }
};

TEST(ProvidersThatConfigure, CountAsDeclining) {
    for (int caller = 0; caller < 3; ++caller)
        for (const NextPlan& next : nextPlans)
            for (const int nextBlockSize : {1, 4, 1000}) {
                SCOPED_TRACE(std::string(providers[caller].name) + ", " + next.name);
                AskingRun run(caller);
                run.callBack = [&] {
                    EXPECT_TRUE(run.interpreter.configure(next.program, nextBlockSize));
                    run.areasAreGone = true;
                };
                EXPECT_FALSE(run.run());
                expectReason(run.interpreter, ExecRefusal::ProviderFailed,
                             providers[caller].declines);
                EXPECT_EQ(run.host.sink.blocks, (Blocks{{0, 4}}));
                EXPECT_EQ(run.interpreter.executedSteps(), 0u);

                // The new plan is ready for the next run.
                ASSERT_TRUE(run.interpreter.isConfigured());
                RecordingHost after;
                Floats values;
                after.field.answer = readField;
                after.sink.answer = [&](const RegisterFile& registers) {
                    values.push_back(liveLanes<float>(registers, 2).at(0));
                    return true;
                };
                EXPECT_TRUE(run.interpreter.evaluate(6, 1, after.bindings, after.sink));
                EXPECT_EQ(values, (Floats{next.valueAt(6)}));
            }
}

TEST(ProvidersThatConfigure, LeaveTheWordsOfTheirOwnRefusal) {
    for (int caller = 0; caller < 3; ++caller) {
        SCOPED_TRACE(providers[caller].name);
        AskingRun run(caller);
        run.callBack = [&] {
            EXPECT_FALSE(run.interpreter.configure(refused, 1000));
            run.areasAreGone = true;
        };
        EXPECT_FALSE(run.run());
        EXPECT_EQ(run.host.sink.blocks, (Blocks{{0, 4}}));
        expectReason(run.interpreter, ExecRefusal::BadRegister, refusedWords);
        expectNoPlan(run.interpreter);
    }
}

TEST(ProvidersThatEvaluate, LeaveTheBlocksAfterItAlone) {
    for (int caller = 0; caller < 3; ++caller)
        for (const int evaluated : {1, 4, 11}) {
            SCOPED_TRACE(std::string(providers[caller].name) + ", " + std::to_string(evaluated));
            AskingRun run(caller);
            run.callBack = [&] {
                RecordingSink sink;
                EXPECT_TRUE(run.interpreter.evaluate(500, evaluated, run.host.bindings, sink));
            };
            EXPECT_TRUE(run.run());
            EXPECT_EQ(run.host.sink.blocks, (Blocks{{0, 4}, {4, 4}, {8, 2}}));
            ASSERT_EQ(run.values.size(), 3u);
            EXPECT_EQ(run.values[0], AskingRun::valuesAt({0, 1, 2, 3}));
            EXPECT_EQ(run.values[2], AskingRun::valuesAt({8, 9}));
        }
}

// Each step runs over the elements that are live when the step begins.
TEST(ProvidersThatEvaluate, LeaveTheirBlockLengthToTheRestOfTheBlock) {
    AskingRun run(2);
    run.callBack = [&] {
        RecordingSink sink;
        EXPECT_TRUE(run.interpreter.evaluate(500, 1, run.host.bindings, sink));
    };
    std::vector<Floats> blocks;
    run.host.sink.answer = [&](const RegisterFile& registers) {
        blocks.push_back(lanesOf<float>(registers, 5, 4));
        return true;
    };
    EXPECT_TRUE(run.run());
    // Element 4 has the values of element 500, and the last step did not reach elements 5 to 7.
    EXPECT_EQ(blocks.at(1), AskingRun::valuesAt({500, 1, 2, 3}));
}

// The remaining steps of the block work with the values that the inner steps left.
TEST(ProvidersThatRunSteps, AreNoticedInTheBlock) {
    AskingRun run(2);
    run.callBack = [&] {
        RecordingHost inner;
        inner.field.answer = [](const FieldRead& request) {
            request.validity[1] = 0;
            return readField(request);
        };
        EXPECT_TRUE(run.interpreter.runStep(run.interpreter.plan()[1], inner.bindings, 4));
        EXPECT_TRUE(run.interpreter.runStep(run.interpreter.plan()[4], inner.bindings, 4));
    };
    std::vector<std::vector<unsigned char>> validity;
    run.host.sink.answer = [&](const RegisterFile& registers) {
        validity.push_back(liveValidity(registers, 5));
        return true;
    };
    EXPECT_TRUE(run.run());
    EXPECT_EQ(validity,
              (std::vector<std::vector<unsigned char>>{{1, 1, 1, 1}, {1, 0, 1, 1}, {1, 1}}));
}

// A provider that calls `configure` in a call of `runStep` counts as declining, too.
TEST(ProvidersThatConfigure, CountAsDecliningToASingleStep) {
    for (int caller = 0; caller < 3; ++caller) {
        SCOPED_TRACE(providers[caller].name);
        AskingRun run(caller);
        RecordingSink sink;
        EXPECT_TRUE(run.interpreter.evaluate(0, 4, run.host.bindings, sink));
        run.host.sink.blocks.resize(1);
        run.callBack = [&] {
            EXPECT_TRUE(run.interpreter.configure(manyTimes, 1000));
            run.areasAreGone = true;
        };
        const auto step = static_cast<std::size_t>(1 + caller);
        // Runs a copy of the step, as `configure` discards the plan.
        const Interpreter::Step copy = run.interpreter.plan()[step];
        EXPECT_FALSE(run.interpreter.runStep(copy, run.host.bindings, 0));
        expectReason(run.interpreter, ExecRefusal::ProviderFailed, providers[caller].declines);
    }
}

} // namespace
} // namespace Fenlet
