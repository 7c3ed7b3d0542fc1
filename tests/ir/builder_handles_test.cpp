// Names of registers and pool entries, and handles that belong to another program.
#include "builder_bench.h"

#include <fenletir/text.h>

#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace Fenlet::BuilderTests {
namespace {

using Builder = ProgramBuilder;

/// The message of the error that `call` throws; empty if it throws none.
template <class Call>
std::string thrownBy(Call&& call) {
    try {
        call();
    } catch (const ProgramError& error) {
        return error.what();
    }
    return {};
}

TEST(BuilderNames, StandInTheProgram) {
    Bench bench;
    const Register first = bench.builder.name(bench.real, "height above the sea");
    EXPECT_EQ(first.number, bench.real.number);
    EXPECT_EQ(bench.builder.output(bench.wide, "out").number, bench.wide.number);
    EXPECT_EQ(bench.builder.output(bench.half).number, bench.half.number);
    const FenletProgram program = bench.builder.build().program;
    for (std::int32_t number = 0; number < program.registerCount(); ++number)
        EXPECT_EQ(program.registerInfo(number).output,
                  number == bench.wide.number || number == bench.half.number)
            << number;
    EXPECT_EQ(program.registerInfo(bench.real.number).name, "height above the sea");
    EXPECT_EQ(program.registerInfo(bench.wide.number).name, "out");
    EXPECT_EQ(program.registerInfo(bench.half.number).name, "half");
}

TEST(BuilderNames, OfRegistersMayBeChangedKeptAndThenTakenByAnother) {
    Bench bench;
    bench.builder.name(bench.real, "real");
    bench.builder.output(bench.real, "real");
    bench.builder.name(bench.real, "height");
    bench.builder.name(bench.half, "real");
    const FenletProgram program = bench.builder.build().program;
    EXPECT_EQ(program.registerInfo(bench.real.number).name, "height");
    EXPECT_EQ(program.registerInfo(bench.half.number).name, "real");
}

TEST(BuilderNames, OfRegistersStandOnlyOnce) {
    Bench bench;
    EXPECT_EQ(thrownBy([&] { bench.builder.name(bench.real3, "half"); }),
              "name: register %11 \"real3\" (Float32, 3 components) cannot have the name of "
              "register %7 \"half\" (Half, 1 component); each register needs a unique name");
    EXPECT_EQ(thrownBy([&] { bench.builder.output(bench.real3, "half"); }),
              "output: register %11 \"real3\" (Float32, 3 components) cannot have the name of "
              "register %7 \"half\" (Half, 1 component); each register needs a unique name");
    EXPECT_EQ(thrownBy([&] { bench.builder.name(bench.real3, ""); }),
              "name: register %11 \"real3\" (Float32, 3 components) cannot have an empty name; use "
              "at least one character");
    EXPECT_EQ(thrownBy([&] { bench.builder.output(bench.real3, ""); }),
              "output: register %11 \"real3\" (Float32, 3 components) cannot have an empty name; "
              "use at least one character");
    EXPECT_EQ(listing(bench.builder.build().program), listing(Bench().builder.build().program));
}

TEST(BuilderNames, OfFieldsUniformsAndSamplersStandOnlyOnceEach) {
    Builder builder(Builder::OnError::Throw);
    builder.field("a");
    builder.uniform("a");
    builder.sampler("a");
    EXPECT_EQ(thrownBy([&] { builder.field("a"); }),
              "field \"a\" is already declared; each field needs a unique name");
    EXPECT_EQ(thrownBy([&] { builder.uniform("a"); }),
              "uniform \"a\" is already declared; each uniform needs a unique name");
    EXPECT_EQ(thrownBy([&] { builder.sampler("a"); }),
              "sampler \"a\" is already declared; each sampler needs a unique name");
    EXPECT_EQ(builder.field("b").number, 1);
    EXPECT_EQ(builder.uniform("b").number, 1);
    EXPECT_EQ(builder.sampler("b").number, 1);
    const FenletProgram program = builder.build().program;
    EXPECT_EQ(program.fields.size(), 2u);
    EXPECT_EQ(program.uniforms.size(), 2u);
    EXPECT_EQ(program.samplers.size(), 2u);
}

/// The messages of all calls that take a register, with `value` as operand 0.
std::vector<std::string> refusalsOf(Bench& bench, Register value) {
    Builder& p = bench.builder;
    std::vector<std::string> all;
    const auto note = [&](auto call) { all.push_back(thrownBy(call)); };
    note([&] { p.loadField(bench.field, value, Format::Half); });
    note([&] { p.sample(bench.sampler, value, Format::Half); });
    note([&] { p.component(value, 0); });
    note([&] { p.component(value, 0, Format::Half); });
    note([&] { p.convert(value, Format::Half); });
    note([&] { p.negate(value); });
    note([&] { p.negate(value, Format::Half); });
    note([&] { p.length(value); });
    note([&] { p.length(value, Format::Half); });
    note([&] { p.add(value, bench.real); });
    note([&] { p.divide(value, bench.real, Format::Half); });
    note([&] { p.less(value, bench.real); });
    note([&] { p.logicalNot(value); });
    note([&] { p.isTrue(value); });
    note([&] { p.logicalAnd(value, bench.truth); });
    note([&] { p.select(value, bench.real, bench.real); });
    note([&] { p.select(value, bench.real, bench.real, Format::Half); });
    return all;
}

const std::vector<std::string> calledOperations = {
    "LoadField", "Sample", "Component", "Component", "Component", "Negate",
    "Negate",    "Length", "Length",    "Add",       "Divide",    "Less",
    "Not",       "IsTrue", "And",       "Select",    "Select"};

TEST(BuilderHandles, ThatAreNoRegisterAreRefusedByEveryCall) {
    Bench bench;
    std::vector<std::string> expected;
    for (const std::string& name : calledOperations)
        expected.push_back(
            "instruction 14 (" + name +
            "): operand 0 is not a register; use what an earlier call of this builder returned");
    EXPECT_EQ(refusalsOf(bench, Register{}), expected);
    const std::string rest =
        ": that is not a register; use what an earlier call of this builder returned";
    EXPECT_EQ(thrownBy([&] { bench.builder.name({}, "new"); }), "name" + rest);
    EXPECT_EQ(thrownBy([&] { bench.builder.output({}, "new"); }), "output" + rest);
    EXPECT_EQ(thrownBy([&] { bench.builder.output({}); }), "output" + rest);
}

TEST(BuilderHandles, OfAnotherBuilderAreRefusedByEveryCall) {
    Bench bench;
    Bench other;
    std::vector<std::string> expected;
    for (const std::string& name : calledOperations)
        expected.push_back("instruction 14 (" + name +
                           "): operand 0, register %9, belongs to another program; use what an "
                           "earlier call of this builder returned");
    EXPECT_EQ(refusalsOf(bench, other.real), expected);
    const std::string rest = ": register %9 belongs to another program; use what an earlier call "
                             "of this builder returned";
    EXPECT_EQ(thrownBy([&] { bench.builder.name(other.real, "new"); }), "name" + rest);
    EXPECT_EQ(thrownBy([&] { bench.builder.output(other.real, "new"); }), "output" + rest);
    EXPECT_EQ(thrownBy([&] { bench.builder.output(other.real); }), "output" + rest);
    EXPECT_EQ(listing(bench.builder.build().program), listing(other.builder.build().program));
}

TEST(BuilderHandles, AreLookedAtInEverySlot) {
    Bench bench;
    const auto words = [](const char* op, int slot) {
        return "instruction 14 (" + std::string(op) + "): operand " + std::to_string(slot) +
               " is not a register; use what an earlier call of this builder returned";
    };
    Builder& p = bench.builder;
    EXPECT_EQ(thrownBy([&] { p.subtract(bench.real, {}); }), words("Subtract", 1));
    EXPECT_EQ(thrownBy([&] { p.multiply(bench.real, {}, Format::Half); }), words("Multiply", 1));
    EXPECT_EQ(thrownBy([&] { p.greater(bench.real, {}); }), words("Greater", 1));
    EXPECT_EQ(thrownBy([&] { p.logicalOr(bench.truth, {}); }), words("Or", 1));
    EXPECT_EQ(thrownBy([&] { p.select(bench.truth, {}, bench.real); }), words("Select", 1));
    EXPECT_EQ(thrownBy([&] { p.select(bench.truth, bench.real, {}); }), words("Select", 2));
}

TEST(BuilderHandles, OfFieldsUniformsAndSamplersAreLookedAtToo) {
    Bench bench;
    Bench other;
    Builder& p = bench.builder;
    for (const FieldHandle field : {FieldHandle{}, other.field})
        EXPECT_EQ(thrownBy([&] { p.loadField(field, bench.index, Format::Half); }),
                  "instruction 14 (LoadField): that is not a field of this program; use what "
                  "field() returned");
    for (const UniformHandle uniform : {UniformHandle{}, other.uniform})
        EXPECT_EQ(thrownBy([&] { p.loadUniform(uniform, Format::Half); }),
                  "instruction 14 (LoadUniform): that is not a uniform of this program; use what "
                  "uniform() returned");
    for (const SamplerHandle sampler : {SamplerHandle{}, other.sampler})
        EXPECT_EQ(thrownBy([&] { p.sample(sampler, bench.real, Format::Half); }),
                  "instruction 14 (Sample): that is not a sampler of this program; use what "
                  "sampler() returned");
}

TEST(BuilderHandles, WithNumbersThatTheProgramDoesNotHaveAreRefused) {
    Bench bench;
    for (const std::int32_t number : {INT_MIN, -1, benchRegisters, INT_MAX}) {
        Register value = bench.real;
        value.number = number;
        FieldHandle field = bench.field;
        field.number = number;
        EXPECT_NE(thrownBy([&] { bench.builder.negate(value); }), "") << number;
        EXPECT_NE(thrownBy([&] { bench.builder.output(value); }), "") << number;
        EXPECT_NE(thrownBy([&] { bench.builder.loadField(field, bench.index, Format::Half); }), "")
            << number;
    }
}

} // namespace
} // namespace Fenlet::BuilderTests
