// The rules of each opcode: in whole programs, in `validateStep`, and in `runStep`.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>

namespace Fenlet {
namespace {

using namespace Doubles;
using Step = Interpreter::Step;
using Kind = CpuElementKind;

constexpr auto badImmediate = ExecRefusal::BadImmediate;
constexpr auto multiplicityMismatch = ExecRefusal::MultiplicityMismatch;
constexpr auto kindMismatch = ExecRefusal::KindMismatch;

constexpr OpCode comparisons[] = {OpCode::Less,         OpCode::LessEqual, OpCode::Greater,
                                  OpCode::GreaterEqual, OpCode::Equal,     OpCode::NotEqual};

struct RuleCase {
    const char* name;
    void (*write)(BenchProgram&);
    ExecRefusal code;
    const char* message;
};

const RuleCase refusedPrograms[] = {
    {"ElementIndex into Int32", [](BenchProgram& p) { p.add(OpCode::ElementIndex, p.int32); },
     kindMismatch, "ElementIndex must define an integral register"},
    {"ElementIndex into Float64", [](BenchProgram& p) { p.add(OpCode::ElementIndex, p.wide); },
     kindMismatch, "ElementIndex must define an integral register"},
    {"ElementIndex into Tribool", [](BenchProgram& p) { p.add(OpCode::ElementIndex, p.tribool); },
     kindMismatch, "ElementIndex must define an integral register"},

    {"LoadConstant -1", [](BenchProgram& p) { p.add(OpCode::LoadConstant, p.real, {}, -1); },
     badImmediate, "constant pool index out of range"},
    {"LoadConstant past the pool",
     [](BenchProgram& p) { p.add(OpCode::LoadConstant, p.real, {}, 1); }, badImmediate,
     "constant pool index out of range"},
    {"LoadConstant far past the pool",
     [](BenchProgram& p) { p.add(OpCode::LoadConstant, p.real, {}, INT_MAX); }, badImmediate,
     "constant pool index out of range"},
    {"LoadConstant of 65 components",
     [](BenchProgram& p) {
         const int number = p.addConstant(realConstant(std::vector<double>(65)));
         p.add(OpCode::LoadConstant, p.real, {}, number);
     },
     multiplicityMismatch, "constant multiplicity exceeds the block scratch"},

    {"LoadUniform -1", [](BenchProgram& p) { p.add(OpCode::LoadUniform, p.real, {}, -1); },
     badImmediate, "uniform declaration index out of range"},
    {"LoadUniform past the declarations",
     [](BenchProgram& p) { p.add(OpCode::LoadUniform, p.real, {}, 1); }, badImmediate,
     "uniform declaration index out of range"},
    {"LoadUniform into 65 components",
     [](BenchProgram& p) { p.add(OpCode::LoadUniform, p.real65, {}, 0); }, multiplicityMismatch,
     "uniform multiplicity exceeds the block scratch"},
    {"LoadUniform past the declarations, into 65 components",
     [](BenchProgram& p) { p.add(OpCode::LoadUniform, p.real65, {}, 1); }, badImmediate,
     "uniform declaration index out of range"},

    {"LoadField -1", [](BenchProgram& p) { p.add(OpCode::LoadField, p.real, {p.int64}, -1); },
     badImmediate, "field binding index out of range"},
    {"LoadField past the bindings",
     [](BenchProgram& p) { p.add(OpCode::LoadField, p.real, {p.int64}, 1); }, badImmediate,
     "field binding index out of range"},
    {"LoadField at a Float32",
     [](BenchProgram& p) { p.add(OpCode::LoadField, p.real, {p.real}, 0); }, kindMismatch,
     "LoadField index operand is not an integer register"},
    {"LoadField at a Float64",
     [](BenchProgram& p) { p.add(OpCode::LoadField, p.real, {p.wide}, 0); }, kindMismatch,
     "LoadField index operand is not an integer register"},
    {"LoadField at a Half", [](BenchProgram& p) { p.add(OpCode::LoadField, p.real, {p.half}, 0); },
     kindMismatch, "LoadField index operand is not an integer register"},
    {"LoadField at a Tribool",
     [](BenchProgram& p) { p.add(OpCode::LoadField, p.real, {p.tribool}, 0); }, kindMismatch,
     "LoadField index operand is not an integer register"},
    {"LoadField past the bindings, at a Float32",
     [](BenchProgram& p) { p.add(OpCode::LoadField, p.real, {p.real}, 1); }, badImmediate,
     "field binding index out of range"},

    {"Sample -1", [](BenchProgram& p) { p.add(OpCode::Sample, p.real, {p.real2}, -1); },
     badImmediate, "sampler index out of range"},
    {"Sample past the samplers",
     [](BenchProgram& p) { p.add(OpCode::Sample, p.real, {p.real2}, 1); }, badImmediate,
     "sampler index out of range"},

    {"Component -1", [](BenchProgram& p) { p.add(OpCode::Component, p.real, {p.real3}, -1); },
     badImmediate, "component index outside the operand's multiplicity"},
    {"Component past the last",
     [](BenchProgram& p) { p.add(OpCode::Component, p.real, {p.real3}, 3); }, badImmediate,
     "component index outside the operand's multiplicity"},
    {"Component 1 of a scalar into a vector",
     [](BenchProgram& p) { p.add(OpCode::Component, p.real3, {p.real}, 1); }, badImmediate,
     "component index outside the operand's multiplicity"},

    {"Not into a number", [](BenchProgram& p) { p.add(OpCode::Not, p.int32, {p.tribool}); },
     kindMismatch, "Not and IsTrue require boolean registers"},
    {"Not of a number", [](BenchProgram& p) { p.add(OpCode::Not, p.tribool, {p.int32}); },
     kindMismatch, "Not and IsTrue require boolean registers"},
    {"IsTrue into a number", [](BenchProgram& p) { p.add(OpCode::IsTrue, p.real, {p.tribool}); },
     kindMismatch, "Not and IsTrue require boolean registers"},
    {"IsTrue of a number", [](BenchProgram& p) { p.add(OpCode::IsTrue, p.tribool, {p.real}); },
     kindMismatch, "Not and IsTrue require boolean registers"},

    {"And into a number",
     [](BenchProgram& p) {
         p.add(OpCode::And, p.real, {p.tribool, p.tribool});
     },
     kindMismatch, "And/Or require boolean registers"},
    {"And of a number on the left",
     [](BenchProgram& p) {
         p.add(OpCode::And, p.tribool, {p.real, p.tribool});
     },
     kindMismatch, "And/Or require boolean registers"},
    {"And of a number on the right",
     [](BenchProgram& p) {
         p.add(OpCode::And, p.tribool, {p.tribool, p.real});
     },
     kindMismatch, "And/Or require boolean registers"},
    {"Or into a number",
     [](BenchProgram& p) {
         p.add(OpCode::Or, p.real, {p.tribool, p.tribool});
     },
     kindMismatch, "And/Or require boolean registers"},
    {"Or of a number on the left",
     [](BenchProgram& p) {
         p.add(OpCode::Or, p.tribool, {p.int64, p.tribool});
     },
     kindMismatch, "And/Or require boolean registers"},
    {"Or of a number on the right",
     [](BenchProgram& p) {
         p.add(OpCode::Or, p.tribool, {p.tribool, p.half});
     },
     kindMismatch, "And/Or require boolean registers"},

    {"Select on a number",
     [](BenchProgram& p) {
         p.add(OpCode::Select, p.real, {p.int32, p.real, p.real});
     },
     kindMismatch, "Select's condition must be a boolean register"},
    {"Select of a scalar on two conditions",
     [](BenchProgram& p) {
         p.add(OpCode::Select, p.real, {p.tribool2, p.real, p.real});
     },
     multiplicityMismatch, "Select's condition is neither scalar nor component-matched"},
    {"Select of three components on two conditions",
     [](BenchProgram& p) {
         p.add(OpCode::Select, p.real3, {p.tribool2, p.real3, p.real3});
     },
     multiplicityMismatch, "Select's condition is neither scalar nor component-matched"},
    {"Select of three components on two numbers",
     [](BenchProgram& p) {
         p.add(OpCode::Select, p.real3, {p.real2, p.real3, p.real3});
     },
     kindMismatch, "Select's condition must be a boolean register"},

    {"the first of two steps that break a rule",
     [](BenchProgram& p) {
         p.add(OpCode::Sample, p.real, {p.real2}, 1);
         p.add(OpCode::ElementIndex, p.int32);
     },
     badImmediate, "sampler index out of range"},
};

const RuleCase acceptedPrograms[] = {
    {"constants of 64 components",
     [](BenchProgram& p) {
         const int number = p.addConstant(realConstant(std::vector<double>(64)));
         p.add(OpCode::LoadConstant, p.real, {}, number);
     },
     {},
     {}},
    {"a constant into 100 components",
     [](BenchProgram& p) { p.add(OpCode::LoadConstant, p.real100, {}, 0); },
     {},
     {}},
    {"a uniform of 64 components",
     [](BenchProgram& p) { p.add(OpCode::LoadUniform, p.real64, {}, 0); },
     {},
     {}},
    {"LoadField at both integer kinds",
     [](BenchProgram& p) {
         p.add(OpCode::LoadField, p.real, {p.int32}, 0);
         p.add(OpCode::LoadField, p.tribool, {p.int64}, 0);
     },
     {},
     {}},
    {"Sample of any kinds and multiplicities",
     [](BenchProgram& p) {
         p.add(OpCode::Sample, p.tribool3, {p.tribool2}, 0);
         p.add(OpCode::Sample, p.real100, {p.half}, 0);
     },
     {},
     {}},
    {"the last component",
     [](BenchProgram& p) { p.add(OpCode::Component, p.real, {p.real3}, 2); },
     {},
     {}},
    {"Component between a Tribool and a number",
     [](BenchProgram& p) {
         p.add(OpCode::Component, p.real, {p.tribool}, 0);
         p.add(OpCode::Component, p.tribool, {p.real}, 0);
     },
     {},
     {}},
    {"arithmetic without a kernel",
     [](BenchProgram& p) {
         p.add(OpCode::Add, p.tribool, {p.tribool, p.tribool});
         p.add(OpCode::Divide, p.int64, {p.int64, p.int64});
         p.add(OpCode::Negate, p.tribool, {p.tribool});
         p.add(OpCode::Length, p.int64, {p.tribool3});
     },
     {},
     {}},
    {"And, Or, Not and IsTrue of Tribools",
     [](BenchProgram& p) {
         p.add(OpCode::And, p.tribool3, {p.tribool, p.tribool3});
         p.add(OpCode::Or, p.tribool, {p.tribool, p.tribool});
         p.add(OpCode::Not, p.tribool2, {p.tribool});
         p.add(OpCode::IsTrue, p.tribool, {p.tribool3});
     },
     {},
     {}},
    {"Select on one condition or on as many as components",
     [](BenchProgram& p) {
         p.add(OpCode::Select, p.real3, {p.tribool, p.real3, p.real3});
         p.add(OpCode::Select, p.real2, {p.tribool2, p.real, p.real3});
         p.add(OpCode::Select, p.tribool, {p.tribool, p.tribool, p.int64});
     },
     {},
     {}},
};

TEST(StepRules, RefuseWholePrograms) {
    for (const RuleCase& row : refusedPrograms) {
        SCOPED_TRACE(row.name);
        BenchProgram program;
        row.write(program);
        expectConfigureRefuses(program, row.code, row.message);
    }
}

TEST(StepRules, AcceptWhatOnlyARunCanTell) {
    for (const RuleCase& row : acceptedPrograms) {
        SCOPED_TRACE(row.name);
        BenchProgram program;
        row.write(program);
        expectConfigures(program);
    }
}

TEST(StepRules, LetEveryComparisonDefineATriboolAlone) {
    for (const OpCode op : comparisons) {
        SCOPED_TRACE(static_cast<int>(op));
        BenchProgram number;
        number.add(op, number.int32, {number.real, number.real});
        expectConfigureRefuses(number, kindMismatch, "a comparison must define a boolean register");
        BenchProgram numberAndScalarLeft;
        numberAndScalarLeft.add(op, numberAndScalarLeft.real3,
                                {numberAndScalarLeft.real, numberAndScalarLeft.real3});
        expectConfigureRefuses(numberAndScalarLeft, kindMismatch,
                               "a comparison must define a boolean register");
        BenchProgram anyOperands;
        anyOperands.add(op, anyOperands.tribool, {anyOperands.tribool, anyOperands.half});
        expectConfigures(anyOperands);
    }
}

TEST(StepRules, LetAComparisonBroadcastOnTheRightAlone) {
    for (const OpCode op : comparisons) {
        SCOPED_TRACE(static_cast<int>(op));
        BenchProgram left;
        left.add(op, left.tribool3, {left.real, left.real3});
        expectConfigureRefuses(left, multiplicityMismatch,
                               "a comparison with a scalar LEFT operand needs a kernel this "
                               "backend does not have");
        BenchProgram right;
        right.add(op, right.tribool3, {right.real3, right.real});
        expectConfigures(right);
    }
}

TEST(StepRules, IgnoreImmediatesThatAnOpcodeHasNoUseFor) {
    for (const int immediate : {INT_MIN, -1, 0, 1, INT_MAX}) {
        BenchProgram p;
        p.add(OpCode::Nop, -1, {}, immediate);
        p.add(OpCode::ElementIndex, p.int64, {}, immediate);
        p.add(OpCode::Negate, p.real, {p.real}, immediate);
        p.add(OpCode::Not, p.tribool, {p.tribool}, immediate);
        p.add(OpCode::Add, p.real, {p.real, p.real}, immediate);
        p.add(OpCode::Less, p.tribool, {p.real, p.real}, immediate);
        p.add(OpCode::And, p.tribool, {p.tribool, p.tribool}, immediate);
        p.add(OpCode::Select, p.real, {p.tribool, p.real, p.real}, immediate);
        expectConfigures(p);
    }
}

/// A configured interpreter that has run a block, for single steps.
struct StepBench {
    BenchProgram program;
    RecordingHost host;
    Interpreter interpreter;

    StepBench() {
        program.addConstant(realConstant(std::vector<double>(65)));
        EXPECT_TRUE(interpreter.configure(program, 4));
        EXPECT_TRUE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    }

    Step step(OpCode op, int result, Kind resultKind, int arity = 0, int operand = -1,
              Kind operandKind = Kind::Unsupported) const {
        Step made;
        made.op = op;
        made.result = result;
        made.resultKind = resultKind;
        made.arity = arity;
        made.operands[0] = operand;
        made.operandKinds[0] = operandKind;
        return made;
    }
};

struct StepCase {
    const char* name;
    Step (*make)(const StepBench&);
    ExecRefusal code;
    const char* message;
};

// Steps that `validateStep` and `runStep` both refuse, with the same message.
const StepCase refusedSteps[] = {
    {"ElementIndex into a number of another kind",
     [](const StepBench& b) { return b.step(OpCode::ElementIndex, b.program.int32, Kind::Int32); },
     kindMismatch, "ElementIndex must define an integral register"},
    {"LoadConstant -1",
     [](const StepBench& b) { return b.step(OpCode::LoadConstant, b.program.real, Kind::Float32); },
     badImmediate, "constant pool index out of range"},
    {"LoadConstant past the pool",
     [](const StepBench& b) {
         Step step = b.step(OpCode::LoadConstant, b.program.real, Kind::Float32);
         step.immediate = 2;
         return step;
     },
     badImmediate, "constant pool index out of range"},
    {"LoadConstant past the pool, into no kind",
     [](const StepBench& b) {
         return b.step(OpCode::LoadConstant, b.program.real, Kind::Unsupported);
     },
     badImmediate, "constant pool index out of range"},
    {"LoadConstant of 65 components",
     [](const StepBench& b) {
         Step step = b.step(OpCode::LoadConstant, b.program.real, Kind::Float32);
         step.immediate = 1;
         return step;
     },
     multiplicityMismatch, "constant multiplicity exceeds the block scratch"},
    {"LoadConstant of 65 components, into no kind",
     [](const StepBench& b) {
         Step step = b.step(OpCode::LoadConstant, b.program.real, Kind::Unsupported);
         step.immediate = 1;
         return step;
     },
     multiplicityMismatch, "constant multiplicity exceeds the block scratch"},
    {"LoadUniform -1",
     [](const StepBench& b) { return b.step(OpCode::LoadUniform, b.program.real, Kind::Float32); },
     badImmediate, "uniform declaration index out of range"},
    {"LoadUniform into 65 components",
     [](const StepBench& b) {
         Step step = b.step(OpCode::LoadUniform, b.program.real65, Kind::Float32);
         step.immediate = 0;
         step.resultMultiplicity = 65;
         return step;
     },
     multiplicityMismatch, "uniform multiplicity exceeds the block scratch"},
    {"LoadUniform past the declarations, into 65 components",
     [](const StepBench& b) {
         Step step = b.step(OpCode::LoadUniform, b.program.real65, Kind::Float32);
         step.immediate = 1;
         step.resultMultiplicity = 65;
         return step;
     },
     badImmediate, "uniform declaration index out of range"},
    {"LoadField past the bindings",
     [](const StepBench& b) {
         Step step = b.step(OpCode::LoadField, b.program.real, Kind::Float32, 1, b.program.int64,
                            Kind::Int64);
         step.immediate = 1;
         return step;
     },
     badImmediate, "field binding index out of range"},
    {"LoadField -1 at a Float32",
     [](const StepBench& b) {
         return b.step(OpCode::LoadField, b.program.real, Kind::Float32, 1, b.program.real,
                       Kind::Float32);
     },
     badImmediate, "field binding index out of range"},
    {"LoadField at a Float32",
     [](const StepBench& b) {
         Step step = b.step(OpCode::LoadField, b.program.real, Kind::Float32, 1, b.program.real,
                            Kind::Float32);
         step.immediate = 0;
         return step;
     },
     kindMismatch, "LoadField index operand is not an integer register"},
    {"Sample past the samplers",
     [](const StepBench& b) {
         Step step = b.step(OpCode::Sample, b.program.real, Kind::Float32, 1, b.program.real,
                            Kind::Float32);
         step.immediate = 1;
         return step;
     },
     badImmediate, "sampler index out of range"},
    {"Component past the last",
     [](const StepBench& b) {
         Step step = b.step(OpCode::Component, b.program.real, Kind::Float32, 1, b.program.real,
                            Kind::Float32);
         step.immediate = 1;
         return step;
     },
     badImmediate, "component index outside the operand's multiplicity"},
    {"Component -1 of a Tribool into a number",
     [](const StepBench& b) {
         return b.step(OpCode::Component, b.program.real, Kind::Float32, 1, b.program.tribool,
                       Kind::Tribool);
     },
     badImmediate, "component index outside the operand's multiplicity"},
};

TEST(ValidateStep, RefusesAsConfigureDoes) {
    for (const StepCase& row : refusedSteps) {
        SCOPED_TRACE(row.name);
        StepBench bench;
        EXPECT_FALSE(bench.interpreter.validateStep(row.make(bench)));
        expectReason(bench.interpreter, row.code, row.message);
        expectNoPlan(bench.interpreter);
    }
}

TEST(RunStep, RepeatsTheRulesInTheSameWordsAndKeepsThePlan) {
    for (const StepCase& row : refusedSteps) {
        SCOPED_TRACE(row.name);
        StepBench bench;
        EXPECT_FALSE(bench.interpreter.runStep(row.make(bench), bench.host.bindings, 0));
        expectReason(bench.interpreter, row.code, row.message);
        EXPECT_TRUE(bench.interpreter.isConfigured());
        EXPECT_EQ(bench.interpreter.executedSteps(), 1u);
        EXPECT_TRUE(bench.host.field.reads.empty());
        EXPECT_TRUE(bench.host.uniforms.fetches.empty());
        EXPECT_TRUE(bench.host.sampler.samples.empty());
    }
}

TEST(ValidateStep, HasNoRuleForWhatTheKernelsDecide) {
    StepBench bench;
    for (const int number : {0, 7, 9, 11, 12, 13, 14, 24, 25, 1000, -1}) {
        Step step;
        step.op = static_cast<OpCode>(number);
        step.immediate = INT_MIN;
        EXPECT_TRUE(bench.interpreter.validateStep(step)) << number;
    }
    EXPECT_TRUE(bench.interpreter.isConfigured());
}

// A constant cannot be stored in a kind without storage. No planned step has such a kind.
TEST(RunStep, RefusesToMaterialiseAConstantInNoKind) {
    for (const int kind : {0, 7, 100, -1}) {
        StepBench bench;
        Step step = bench.step(OpCode::LoadConstant, bench.program.real, static_cast<Kind>(kind));
        step.immediate = 0;
        EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
        expectReason(bench.interpreter, kindMismatch,
                     "constant cannot be materialised into the destination storage kind");
        EXPECT_EQ(liveLanes<float>(bench.interpreter.registerFile(), bench.program.real),
                  (std::vector<float>{0, 0, 0, 0}));
    }
}

TEST(RunStep, RefusesToMaterialiseAConstantOfNothingInNoKind) {
    StepBench bench;
    bench.program.constants[0].multiplicity = 0;
    Step step = bench.step(OpCode::LoadConstant, bench.program.real, Kind::Unsupported);
    step.immediate = 0;
    EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
    expectReason(bench.interpreter, kindMismatch,
                 "constant cannot be materialised into the destination storage kind");
}

TEST(RunStep, RefusesToBroadcastAUniformInNoKind) {
    for (const int kind : {0, 7, 100, -1}) {
        StepBench bench;
        Step step = bench.step(OpCode::LoadUniform, bench.program.real, static_cast<Kind>(kind));
        step.immediate = 0;
        EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
        expectReason(bench.interpreter, kindMismatch,
                     "uniform cannot be broadcast into the destination storage kind");
        EXPECT_EQ(bench.host.uniforms.fetches.size(), 1u);
    }
}

// Providers that are missing when a step runs, and the order of the checks.

TEST(RunStep, AsksForTheUniformSourceBeforeTheIndex) {
    StepBench bench;
    bench.host.bindings.uniforms = nullptr;
    for (const int immediate : {-1, 0, 1}) {
        Step step = bench.step(OpCode::LoadUniform, bench.program.real65, Kind::Float32);
        step.immediate = immediate;
        step.resultMultiplicity = 65;
        EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
        expectReason(bench.interpreter, ExecRefusal::UnboundUniform, "no uniform source bound");
    }
}

TEST(RunStep, ReadsAFieldByTheStepsArityAndNotByItsOperand) {
    StepBench bench;
    Step step = bench.step(OpCode::LoadField, bench.program.real, Kind::Float32, 0,
                           bench.program.real, Kind::Float32);
    step.immediate = 0;
    EXPECT_TRUE(bench.interpreter.validateStep(step));
    for (const int arity : {0, -1}) {
        step.arity = arity;
        ASSERT_TRUE(bench.interpreter.runStep(step, bench.host.bindings, 70));
        EXPECT_EQ(bench.host.field.reads.back().indices,
                  (std::vector<std::int64_t>{70, 71, 72, 73}));
        EXPECT_TRUE(bench.host.field.reads.back().request.contiguous);
    }
}

/// Bindings for every way in which provider 0 of one sort can be missing.
template <class Provider>
struct MissingProviders {
    Provider* const hole[1] = {nullptr};
    struct Row {
        Provider* const* providers;
        int count;
    };
    Row rows[4];

    explicit MissingProviders(Provider* const* present)
        : rows{{nullptr, 1}, {present, 0}, {present, -1}, {hole, 1}} {}
};

TEST(RunStep, AsksForTheFieldAfterTheIndexAndBeforeItsOperand) {
    StepBench bench;
    Step step = bench.step(OpCode::LoadField, bench.program.real, Kind::Float32, 1,
                           bench.program.real, Kind::Float32);
    const MissingProviders<CpuFieldAccessor> missing(bench.host.fields);
    for (const auto& row : missing.rows) {
        bench.host.bindings.fields = row.providers;
        bench.host.bindings.fieldCount = row.count;
        step.immediate = 1;
        EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
        expectReason(bench.interpreter, badImmediate, "field binding index out of range");
        step.immediate = 0;
        EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
        expectReason(bench.interpreter, ExecRefusal::UnboundField, "no accessor bound for field");
    }
}

TEST(RunStep, AsksForTheSamplerAfterTheIndex) {
    StepBench bench;
    Step step = bench.step(OpCode::Sample, bench.program.real, Kind::Float32, 1, bench.program.real,
                           Kind::Float32);
    const MissingProviders<FenletSampler> missing(bench.host.samplers);
    for (const auto& row : missing.rows) {
        bench.host.bindings.samplers = row.providers;
        bench.host.bindings.samplerCount = row.count;
        step.immediate = 1;
        EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
        expectReason(bench.interpreter, badImmediate, "sampler index out of range");
        step.immediate = 0;
        EXPECT_FALSE(bench.interpreter.runStep(step, bench.host.bindings, 0));
        expectReason(bench.interpreter, ExecRefusal::UnboundSampler, "no sampler bound");
    }
}

} // namespace
} // namespace Fenlet
