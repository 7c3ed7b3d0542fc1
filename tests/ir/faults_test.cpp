// When memory runs out, calls of the program library change nothing and leak nothing.
#include "builder_bench.h"
#include "doubles/allocation_faults.h"
#include "model/random_program.h"

#include <fenletir/text.h>
#include <fenletir/verify.h>

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace Fenlet::BuilderTests {
namespace {

using namespace Doubles;
using Builder = ProgramBuilder;
using OnError = Builder::OnError;

constexpr const char* longName = "a name of more characters than a string keeps in its own record";

/// Makes every allocation of `compute` fail in turn. `compute` returns the same text each time.
template <class Compute>
void expectSameOrNothing(Compute compute) {
    const std::string expected = compute();
    const int failures = failEachAllocation(
        [] { return std::make_unique<std::string>(); }, [&](auto& text) { *text = compute(); },
        [&](auto& text) {
            EXPECT_TRUE(text->empty() || *text == expected) << *text;
            EXPECT_EQ(compute(), expected);
        });
    EXPECT_GT(failures, 0);
}

// ---------------------------------------------------------------------------------------------
// Programs as text, and findings

std::string inWords(const ParseResult& result) {
    const ParseError& error = result.error;
    return result.ok() ? listing(result.program)
                       : std::to_string(error.line) + ":" + std::to_string(error.column) + " " +
                             error.message + "\n" + error.shown;
}

std::string inWords(const std::vector<Finding>& findings) {
    std::string words = "findings:\n";
    for (const Finding& finding : findings)
        words += describeFinding(finding) + "\n";
    return words;
}

// Some of them have registers, constants and opcodes that no backend accepts.
TEST(ProgramMemory, OfRandomProgramsIsGivenBack) {
    int programs = 0;
    for (std::uint64_t seed = 1; programs < 6; ++seed) {
        SCOPED_TRACE(seed);
        FenletProgram program = Model::randomCase(seed).program;
        // The test's time grows with the square of a program's length, so it takes only short
        // programs.
        if (program.instructions.size() < 3 || program.instructions.size() > 7)
            continue;
        ++programs;
        program.registers.front().name = longName;
        const std::string text = listing(program);
        expectSameOrNothing([&] { return listing(program); });
        expectSameOrNothing([&] { return inWords(verifyProgram(program)); });
        expectSameOrNothing([&] { return inWords(parseProgram(text)); });
        expectSameOrNothing([&] { return listing(FenletProgram(program)); });
    }
}

TEST(ProgramMemory, OfTextsByHandIsGivenBack) {
    expectSameOrNothing([] {
        return inWords(parseProgram(R"(# Names of all sorts, and constants where they are used.
            field "a field of a name that takes room"
            index : i64 = ElementIndex
            height : f32 = LoadField "a field of a name that takes room"[index]
            limit : f32x3 = LoadConstant (1.5, inf, bits(0x7ff0000000000001))
            isLow : triboolx3 = Less limit, height
            output isLow
            shade : f64 = Sample shades[height]
            shade = LoadUniform factor
            Nop
            raw 77 %1 (%2, %900, %-1) -1)"));
    });
}

TEST(ProgramMemory, OfTextsThatCannotBeReadIsGivenBack) {
    for (const char* const text : {
             "index : i64 = ElementIndex\nindex = Elementindex",
             "height : f32 = LoadField height[nothing]",
             "height : f33 = LoadUniform height",
             "register %2 far : f32",
             "%0 : f32 = LoadConstant 1.5.5",
             "%0 : f32 = LoadConstant @7",
             "raw Add %1 (%2)",
             "field \"no end",
             "output %3",
             "constant @1 = 2",
             "\x01\xFF\n",
         }) {
        SCOPED_TRACE(text);
        ASSERT_FALSE(parseProgram(text).ok());
        expectSameOrNothing([&] { return inWords(parseProgram(text)); });
    }
}

// ---------------------------------------------------------------------------------------------
// Building

using Call = std::function<void(Builder&, const Bench&)>;

std::string inWords(const BuildResult& result) {
    return listing(result.program) + result.error;
}

/// Makes every allocation of the call fail in turn, each time on a copy of the bench's builder: the
/// arrays of a copy are full. A call that fails must change nothing, and must succeed when
/// repeated.
int runOutOfMemory(const Call& call, OnError onError) {
    const Bench bench(onError);
    const std::string before = inWords(Builder(bench.builder).build());
    struct Attempt {
        Builder builder;
        bool isDone = false;
        bool threw = false;

        void make(const Call& wanted, const Bench& registers) {
            try {
                wanted(builder, registers);
            } catch (const ProgramError&) {
                threw = true;
            }
            isDone = true;
        }
    };
    Attempt whole{bench.builder};
    whole.make(call, bench);
    const std::string after = inWords(whole.builder.build());
    return failEachAllocation([&] { return std::make_unique<Attempt>(Attempt{bench.builder}); },
                              [&](auto& attempt) { attempt->make(call, bench); },
                              [&](auto& attempt) {
                                  EXPECT_EQ(inWords(Builder(attempt->builder).build()),
                                            attempt->isDone ? after : before);
                                  if (!attempt->isDone)
                                      attempt->make(call, bench);
                                  EXPECT_EQ(attempt->threw, whole.threw);
                                  const AllocationCount allocations;
                                  const BuildResult result = attempt->builder.build();
                                  EXPECT_EQ(allocations.count(), 0u);
                                  EXPECT_EQ(inWords(result), after);
                                  attempt->builder.nop();
                                  EXPECT_EQ(inWords(attempt->builder.build()), "Nop\n");
                              });
}

void expectCallsThatHaveNotBeenMade(const std::vector<Call>& calls) {
    for (const OnError onError : {OnError::Throw, OnError::Report})
        for (const Call& call : calls) {
            SCOPED_TRACE(testing::Message()
                         << "call " << &call - calls.data()
                         << (onError == OnError::Throw ? " throws" : " reports"));
            EXPECT_GT(runOutOfMemory(call, onError), 0);
        }
}

TEST(BuilderFaults, LeaveCallsThatHaveNotBeenMade) {
    expectCallsThatHaveNotBeenMade({
        [](Builder& p, const Bench&) { p.field(longName); },
        [](Builder& p, const Bench&) { p.uniform(longName); },
        [](Builder& p, const Bench&) { p.sampler(longName); },
        [](Builder& p, const Bench&) { p.nop(); },
        [](Builder& p, const Bench&) { p.elementIndex(); },
        [](Builder& p, const Bench&) {
            p.constant(Format::Half, {1, 2, 3});
        },
        [](Builder& p, const Bench&) {
            p.integerConstant(Format::Int8, {1, 2, 3});
        },
        [](Builder& p, const Bench&) { p.truthConstant(Truth::Unknown); },
        [](Builder& p, const Bench& b) { p.loadUniform(b.uniform, Format::Int16, 4); },
        [](Builder& p, const Bench& b) { p.loadField(b.field, b.index, Format::Half); },
        [](Builder& p, const Bench& b) { p.sample(b.sampler, b.real2, Format::Half, 3); },
        [](Builder& p, const Bench& b) { p.component(b.half3, 2); },
        [](Builder& p, const Bench& b) { p.convert(b.half, Format::Int64); },
        [](Builder& p, const Bench& b) { p.negate(b.half3); },
        [](Builder& p, const Bench& b) { p.length(b.half3, Format::Float64); },
        [](Builder& p, const Bench& b) { p.divide(b.half3, b.real, Format::Float64); },
        [](Builder& p, const Bench& b) { p.less(b.real, b.wide3); },
        [](Builder& p, const Bench& b) { p.logicalAnd(b.truth3, b.truth3); },
        [](Builder& p, const Bench& b) { p.select(b.truth, b.real, b.real); },
        [](Builder& p, const Bench& b) { p.name(b.real, longName); },
        [](Builder& p, const Bench& b) { p.output(b.real, longName); },
    });
}

TEST(BuilderFaults, LeaveRefusalsThatAreMadeByTheNextCall) {
    const std::vector<double> many(65);
    expectCallsThatHaveNotBeenMade({
        [](Builder& p, const Bench&) { p.field("field"); },
        [](Builder& p, const Bench&) { p.constant(Format::Tribool, {1}); },
        [&](Builder& p, const Bench&) { p.constant(Format::Half, many); },
        [](Builder& p, const Bench&) {
            p.constant(Format::Int8, {1, 1.5});
        },
        [](Builder& p, const Bench&) { p.integerConstant(Format::Float32, {16777217}); },
        [](Builder& p, const Bench&) { p.truthConstant(static_cast<Truth>(9)); },
        [](Builder& p, const Bench& b) { p.loadUniform(b.uniform, Format::Half, 65); },
        [](Builder& p, const Bench&) { p.loadUniform({}, Format::Half); },
        [](Builder& p, const Bench& b) { p.loadField(b.field, b.half, Format::Half); },
        [](Builder& p, const Bench& b) { p.sample(b.sampler, {}, Format::Half, 3); },
        [](Builder& p, const Bench& b) { p.sample(b.sampler, b.real2, Format::Half, 0); },
        [](Builder& p, const Bench& b) { p.component(b.half3, 3); },
        [](Builder& p, const Bench& b) { p.convert(b.half3, Format::Int64); },
        [](Builder& p, const Bench& b) { p.negate(b.truth); },
        [](Builder& p, const Bench& b) { p.add(b.half3, b.real2, Format::Half); },
        [](Builder& p, const Bench& b) { p.add(b.half, b.real); },
        [](Builder& p, const Bench& b) { p.equal(b.truth, b.real); },
        [](Builder& p, const Bench& b) { p.logicalOr(b.truth3, b.truth2); },
        [](Builder& p, const Bench& b) { p.select(b.real, b.real, b.real); },
        [](Builder& p, const Bench& b) { p.name(b.real, "wide"); },
        [](Builder& p, const Bench&) { p.output({}); },
    });
}

} // namespace
} // namespace Fenlet::BuilderTests
