// Makes random calls on a builder, right and wrong. The programs that it builds must be right; the
// verifier and the evaluator check them.
#include "model/random_program.h"

#include <fenletexec/interpreter.h>
#include <fenletir/program_builder.h>
#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

using Model::Chance;
using Builder = ProgramBuilder;

/// Makes random calls on a builder. Most arguments are right. The same seed makes the same calls
/// until one is refused.
class Caller {
  public:
    Caller(Builder& newBuilder, std::uint64_t seed) : p(newBuilder), chance(seed) {}

    void declare();
    /// Makes one call. Throws what the builder throws.
    void call();

  private:
    std::int32_t multiplicity();
    Format format();
    Register any();
    Register truth();
    Register fitting(Register other);
    Register source();
    Register constant();
    Register unary();
    Register arithmetic();
    Register comparison();
    Register logic();
    Register select();
    void mark();

    Builder& p;
    Chance chance;
    std::vector<Register> registers;
    std::vector<Register> truths;
    FieldHandle field;
    UniformHandle uniform;
    SamplerHandle sampler;
};

void Caller::declare() {
    field = p.field("field");
    uniform = p.uniform("uniform");
    sampler = p.sampler("sampler");
    registers.push_back(p.elementIndex());
    registers.push_back(p.loadField(field, registers[0], Format::Float32));
    truths.push_back(p.truthConstant(Truth::Unknown));
}

std::int32_t Caller::multiplicity() {
    constexpr std::int32_t usual[] = {1, 1, 1, 2, 3};
    constexpr std::int32_t others[] = {-1, 0, 63, 64, 65, 70};
    return chance.oneIn(12) ? others[chance.below(6)] : usual[chance.below(5)];
}

Format Caller::format() {
    return static_cast<Format>(chance.oneIn(30) ? chance.below(20) - 5 : chance.below(8));
}

Register Caller::any() {
    if (chance.oneIn(80))
        return {};
    const std::vector<Register>& from = chance.oneIn(8) ? truths : registers;
    return from[static_cast<std::size_t>(chance.below(static_cast<int>(from.size())))];
}

Register Caller::truth() {
    if (chance.oneIn(12))
        return any();
    return truths[static_cast<std::size_t>(chance.below(static_cast<int>(truths.size())))];
}

Register Caller::fitting(Register other) {
    return chance.oneIn(3) ? other : any();
}

Register Caller::source() {
    switch (chance.below(4)) {
    case 0:
        return p.elementIndex();
    case 1:
        return p.loadUniform(uniform, format(), multiplicity());
    case 2:
        return p.loadField(field, chance.oneIn(4) ? any() : registers[0], format(), multiplicity());
    default:
        return p.sample(sampler, any(), format(), multiplicity());
    }
}

Register Caller::constant() {
    const std::int32_t count = std::max(multiplicity(), 0);
    switch (chance.below(3)) {
    case 0: {
        constexpr unsigned char bytes[] = {0, 1, 255, 0, 1, 255, 2};
        return p.truthConstant(static_cast<Truth>(bytes[chance.below(7)]));
    }
    case 1: {
        std::vector<double> values;
        const int steps = chance.oneIn(2) ? 8 : 1;
        for (std::int32_t c = 0; c < count; ++c)
            values.push_back(static_cast<double>(chance.below(200) - 100) / steps);
        return p.constant(format(), values);
    }
    default: {
        std::vector<std::int64_t> values;
        const int excess = chance.oneIn(4) ? 0 : 64 - 6;
        for (std::int32_t c = 0; c < count; ++c)
            values.push_back(static_cast<std::int64_t>(chance.bits()) >> excess);
        return p.integerConstant(format(), values);
    }
    }
}

Register Caller::unary() {
    const Register operand = any();
    switch (chance.below(7)) {
    case 0:
        return p.component(operand, chance.below(4) - 1);
    case 1:
        return p.component(operand, chance.below(3), format());
    case 2:
        return p.convert(operand, format());
    case 3:
        return p.negate(operand);
    case 4:
        return p.negate(operand, format());
    case 5:
        return p.length(operand);
    default:
        return p.length(operand, format());
    }
}

Register Caller::arithmetic() {
    const Register left = any();
    const Register right = fitting(left);
    const Format into = format();
    switch (chance.below(8)) {
    case 0:
        return p.add(left, right);
    case 1:
        return p.subtract(left, right);
    case 2:
        return p.multiply(left, right);
    case 3:
        return p.divide(left, right);
    case 4:
        return p.add(left, right, into);
    case 5:
        return p.subtract(left, right, into);
    case 6:
        return p.multiply(left, right, into);
    default:
        return p.divide(left, right, into);
    }
}

Register Caller::comparison() {
    using Comparison = Register (Builder::*)(Register, Register);
    constexpr Comparison comparisons[] = {&Builder::less,    &Builder::lessEqual,
                                          &Builder::greater, &Builder::greaterEqual,
                                          &Builder::equal,   &Builder::notEqual};
    const Register left = any();
    return (p.*comparisons[chance.below(6)])(left, fitting(left));
}

Register Caller::logic() {
    const Register operand = truth();
    switch (chance.below(4)) {
    case 0:
        return p.logicalNot(operand);
    case 1:
        return p.isTrue(operand);
    case 2:
        return p.logicalAnd(operand, truth());
    default:
        return p.logicalOr(operand, truth());
    }
}

Register Caller::select() {
    const Register condition = truth();
    const Register whenTrue = any();
    const Register whenFalse = fitting(whenTrue);
    return chance.oneIn(2) ? p.select(condition, whenTrue, whenFalse)
                           : p.select(condition, whenTrue, whenFalse, format());
}

void Caller::mark() {
    const std::string name = "n" + std::to_string(chance.below(40));
    switch (chance.below(5)) {
    case 0:
        p.name(any(), name);
        break;
    case 1:
        p.output(any(), name);
        break;
    case 2:
        p.output(any());
        break;
    case 3:
        p.field(name);
        break;
    default:
        p.nop();
        break;
    }
}

void Caller::call() {
    using Part = Register (Caller::*)();
    constexpr Part parts[] = {&Caller::source,     &Caller::constant,   &Caller::unary,
                              &Caller::arithmetic, &Caller::comparison, &Caller::logic,
                              &Caller::select};
    const int part = chance.below(8);
    if (part == 7)
        return mark();
    const Register made = (this->*parts[part])();
    (part == 4 || part == 5 ? truths : registers).push_back(made);
}

/// The outcome of a seed's calls on a builder that throws.
struct Outcome {
    BuildResult result;
    int refusals = 0;
    std::string firstRefusal;
};

Outcome playThrowing(std::uint64_t seed) {
    Builder builder(Builder::OnError::Throw);
    Caller caller(builder, seed);
    Outcome outcome;
    caller.declare();
    for (std::uint64_t calls = 5 + seed % 20; calls > 0; --calls) {
        try {
            caller.call();
        } catch (const ProgramError& error) {
            if (outcome.refusals++ == 0)
                outcome.firstRefusal = error.what();
        }
    }
    outcome.result = builder.build();
    return outcome;
}

BuildResult playReporting(std::uint64_t seed) {
    Builder builder(Builder::OnError::Report);
    Caller caller(builder, seed);
    caller.declare();
    for (std::uint64_t calls = 5 + seed % 20; calls > 0; --calls)
        caller.call();
    return builder.build();
}

class CountingSink : public BlockSink {
  public:
    int elements = 0;

    bool consume(const RegisterFile&, long long, int count) override {
        elements += count;
        return true;
    }
};

/// What is wrong with the program; empty if it is right.
std::string objectionTo(const FenletProgram& program) {
    const std::vector<Finding> findings = verifyProgram(program);
    for (const Finding& finding : findings)
        if (finding.code != FindingCode::NeverRead && finding.code != FindingCode::NoOutput &&
            finding.code != FindingCode::NoInstruction)
            return describeFinding(finding);
    if (!isSound(findings))
        return "a finding says that it is not sound";
    Model::Case run;
    run.program = program;
    Model::RandomHost host(run);
    Interpreter interpreter;
    CountingSink sink;
    if (!interpreter.configure(run.program, 5))
        return std::string("refused: ") + interpreter.lastRefusalMessage();
    if (!interpreter.evaluate(-3, 7, host.bindings(), sink))
        return std::string("refused in the run: ") + interpreter.lastRefusalMessage();
    return sink.elements == 7 ? "" : std::to_string(sink.elements) + " elements are delivered";
}

constexpr std::uint64_t programs = 20000;

TEST(BuilderPromise, WhateverItBuildsIsSoundAndRuns) {
    std::array<int, opCodeCount> written{};
    int refusals = 0;
    for (std::uint64_t seed = 1; seed <= programs; ++seed) {
        const Outcome outcome = playThrowing(seed);
        ASSERT_TRUE(outcome.result.ok()) << "seed " << seed << ": " << outcome.result.error;
        ASSERT_EQ(objectionTo(outcome.result.program), "") << "seed " << seed << "\n"
                                                           << listing(outcome.result.program);
        refusals += outcome.refusals;
        for (const Instruction& instruction : outcome.result.program.instructions)
            ++written[static_cast<std::size_t>(instruction.op)];
    }
    EXPECT_GT(refusals, 20000);
    for (std::uint32_t op = 0; op < opCodeCount; ++op)
        EXPECT_GT(written[op], 500) << opCodeName(static_cast<OpCode>(op));
}

TEST(BuilderPromise, IsKeptInTheSameWordsWhetherItThrowsOrReports) {
    std::uint64_t whole = 0;
    for (std::uint64_t seed = 1; seed <= programs / 4; ++seed) {
        const Outcome thrown = playThrowing(seed);
        const BuildResult told = playReporting(seed);
        ASSERT_EQ(told.error, thrown.firstRefusal) << "seed " << seed;
        ASSERT_EQ(listing(told.program), told.ok() ? listing(thrown.result.program) : "")
            << "seed " << seed;
        whole += told.ok();
    }
    EXPECT_GT(whole, 50u);
}

} // namespace
} // namespace Fenlet
