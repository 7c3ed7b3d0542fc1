// The result of a build: the program, or the first error.
#include "builder_bench.h"

#include <fenletir/text.h>

#include <gtest/gtest.h>
#include <string>
#include <type_traits>
#include <utility>

namespace Fenlet::BuilderTests {
namespace {

using Builder = ProgramBuilder;

static_assert(std::is_base_of_v<std::invalid_argument, ProgramError>);

TEST(BuilderOutcome, IsAnEmptyProgramOfNoCalls) {
    for (const auto mode : {Builder::OnError::Report, Builder::OnError::Throw}) {
        Builder builder(mode);
        const BuildResult result = builder.build();
        EXPECT_TRUE(result.ok());
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(listing(result.program), "");
    }
}

TEST(BuilderOutcome, IsReportedUnlessTheHostAsksForExceptions) {
    Builder builder;
    EXPECT_EQ(builder.negate({}).number, noRegister);
    EXPECT_FALSE(builder.build().ok());
}

TEST(BuilderOutcome, IsTheSameProgramInBothModes) {
    EXPECT_EQ(listing(Bench(Builder::OnError::Report).builder.build().program),
              listing(Bench(Builder::OnError::Throw).builder.build().program));
}

/// Makes every call of the builder after an error. The operands would be right without that error.
void callEverything(Builder& p, const Bench& b) {
    EXPECT_EQ(p.field("new").number, -1);
    EXPECT_EQ(p.uniform("new").number, -1);
    EXPECT_EQ(p.sampler("new").number, -1);
    p.nop();
    const Register answers[] = {
        p.elementIndex(),
        p.constant(Format::Half, {1}),
        p.integerConstant(Format::Half, {1}),
        p.truthConstant(Truth::True),
        p.loadUniform(b.uniform, Format::Half),
        p.loadField(b.field, b.index, Format::Half),
        p.sample(b.sampler, b.real, Format::Half),
        p.component(b.real, 0),
        p.component(b.real, 0, Format::Half),
        p.convert(b.real, Format::Half),
        p.negate(b.real),
        p.negate(b.real, Format::Half),
        p.length(b.real),
        p.length(b.real, Format::Half),
        p.add(b.real, b.real),
        p.add(b.real, b.real, Format::Half),
        p.subtract(b.real, b.real),
        p.subtract(b.real, b.real, Format::Half),
        p.multiply(b.real, b.real),
        p.multiply(b.real, b.real, Format::Half),
        p.divide(b.real, b.real),
        p.divide(b.real, b.real, Format::Half),
        p.less(b.real, b.real),
        p.lessEqual(b.real, b.real),
        p.greater(b.real, b.real),
        p.greaterEqual(b.real, b.real),
        p.equal(b.real, b.real),
        p.notEqual(b.real, b.real),
        p.logicalNot(b.truth),
        p.logicalAnd(b.truth, b.truth),
        p.logicalOr(b.truth, b.truth),
        p.isTrue(b.truth),
        p.select(b.truth, b.real, b.real),
        p.select(b.truth, b.real, b.real, Format::Half),
        p.name(b.real, "new"),
        p.output(b.real, "newer"),
        p.output(b.real),
    };
    for (const Register answer : answers)
        EXPECT_EQ(answer.number, noRegister);
}

TEST(BuilderOutcome, IsTheFirstErrorAndNothingAfterIt) {
    Bench bench(Builder::OnError::Report);
    EXPECT_EQ(bench.builder.logicalNot(bench.real).number, noRegister);
    callEverything(bench.builder, bench);
    EXPECT_EQ(bench.builder.field("field").number, -1);
    EXPECT_EQ(bench.builder.negate({}).number, noRegister);
    const BuildResult result = bench.builder.build();
    EXPECT_FALSE(result.ok());
    EXPECT_EQ(result.error,
              "instruction 14 (Not): register %9 \"real\" (Float32, 1 component) must be Tribool");
    const FenletProgram& program = result.program;
    EXPECT_TRUE(program.instructions.empty() && program.registers.empty());
    EXPECT_TRUE(program.constants.empty() && program.fields.empty());
    EXPECT_TRUE(program.uniforms.empty() && program.samplers.empty());
}

TEST(BuilderOutcome, OfABadDeclarationOrNameIsAnErrorToo) {
    Builder builder;
    builder.field("a");
    EXPECT_EQ(builder.field("a").number, -1);
    EXPECT_EQ(builder.build().error,
              "field \"a\" is already declared; each field needs a unique name");
    builder.uniform("a");
    EXPECT_EQ(builder.uniform("a").number, -1);
    EXPECT_EQ(builder.build().error,
              "uniform \"a\" is already declared; each uniform needs a unique name");
    builder.sampler("a");
    EXPECT_EQ(builder.sampler("a").number, -1);
    EXPECT_EQ(builder.build().error,
              "sampler \"a\" is already declared; each sampler needs a unique name");
    EXPECT_EQ(builder.name(builder.elementIndex(), "").number, noRegister);
    EXPECT_EQ(builder.build().error, "name: register %0 (Int64, 1 component) cannot have an empty "
                                     "name; use at least one character");
    EXPECT_EQ(builder.output({}).number, noRegister);
    EXPECT_EQ(builder.build().error,
              "output: that is not a register; use what an earlier call of this builder returned");
}

TEST(BuilderOutcome, LeavesABuilderAsNewWhetherOrNotThereIsAProgram) {
    const std::string expected = listing(Bench().builder.build().program);
    for (const bool fails : {false, true}) {
        Bench bench(Builder::OnError::Report);
        if (fails)
            bench.builder.negate(bench.truth);
        EXPECT_EQ(bench.builder.build().ok(), !fails);
        EXPECT_EQ(listing(bench.builder.build().program), "");

        // The same names can be used again, and numbers begin at 0.
        Builder& builder = bench.builder;
        EXPECT_EQ(builder.field("field").number, 0);
        EXPECT_EQ(builder.uniform("uniform").number, 0);
        EXPECT_EQ(builder.sampler("sampler").number, 0);
        const Register index = builder.output(builder.elementIndex(), "index");
        EXPECT_EQ(index.number, 0);
        EXPECT_EQ(builder.constant(Format::Half, {1}).number, 1);
        const BuildResult second = builder.build();
        EXPECT_EQ(second.error, "");
        EXPECT_EQ(second.program.registerCount(), 2);
        EXPECT_EQ(second.program.constants.size(), 1u);
    }
}

TEST(BuilderOutcome, TakesNoHandlesFromTheProgramBefore) {
    for (const bool fails : {false, true}) {
        Bench bench(Builder::OnError::Report);
        if (fails)
            bench.builder.negate(bench.truth);
        bench.builder.build();
        const Register later = bench.builder.elementIndex();
        bench.builder.field("field");
        EXPECT_EQ(bench.index.number, later.number);
        EXPECT_EQ(bench.builder.add(later, bench.index).number, noRegister);
        EXPECT_EQ(bench.builder.build().error,
                  "instruction 1 (Add): operand 1, register %0, belongs to another program; use "
                  "what an earlier call of this builder returned");
        bench.builder.field("other");
        bench.builder.field("field");
        bench.builder.loadField(bench.field, bench.builder.elementIndex(), Format::Half);
        EXPECT_EQ(bench.builder.build().error, "instruction 1 (LoadField): that is not a field of "
                                               "this program; use what field() returned");
    }
}

TEST(BuilderOutcome, OfACopyGoesItsOwnWayFromTheSameHandles) {
    Bench bench;
    Builder copy = bench.builder;
    copy.output(copy.add(bench.real, bench.real3), "sum");
    const FenletProgram longer = copy.build().program;
    const FenletProgram shorter = bench.builder.build().program;
    EXPECT_EQ(longer.instructionCount(), benchRegisters + 1);
    EXPECT_EQ(shorter.instructionCount(), benchRegisters);
}

TEST(BuilderOutcome, MovesWithTheBuilder) {
    Bench bench;
    Builder moved = std::move(bench.builder);
    EXPECT_EQ(moved.negate(bench.real).number, benchRegisters);
    EXPECT_EQ(moved.build().program.instructionCount(), benchRegisters + 1);
}

} // namespace
} // namespace Fenlet::BuilderTests
