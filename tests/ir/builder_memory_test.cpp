// If an allocation fails in a call of the builder, the call changes nothing.
#include "builder_bench.h"
#include "doubles/counted_new.h"

#include <fenletir/text.h>

#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <string>

namespace Fenlet::BuilderTests {
namespace {

using Builder = ProgramBuilder;
using Call = std::function<void(Builder&, const Bench&)>;

constexpr const char* longName = "a name of more characters than a string keeps in its own record";

/// Makes each allocation of the call fail in turn. Repeats this on programs of many lengths,
/// because the length decides which arrays must grow. Returns how often memory ran out.
int runOutOfMemory(const Call& call) {
    int failures = 0;
    for (int length = 0; length < 40; ++length) {
        bool hasFailed = true;
        for (std::size_t number = 0; hasFailed; ++number) {
            Bench bench;
            for (int i = 0; i < length; ++i)
                bench.builder.constant(Format::Half, {0.5});
            const Builder before = bench.builder;
            try {
                const Doubles::FailingAllocation failing(number);
                call(bench.builder, bench);
                hasFailed = false;
            } catch (const std::bad_alloc&) {
                ++failures;
                EXPECT_EQ(listing(bench.builder.build().program),
                          listing(Builder(before).build().program))
                    << length << " instructions, allocation " << number;
            }
        }
    }
    return failures;
}

TEST(BuilderMemory, ThatRunsOutLeavesTheProgramAsItWas) {
    const Call calls[] = {
        [](Builder& p, const Bench&) { p.nop(); },
        [](Builder& p, const Bench&) { p.elementIndex(); },
        [](Builder& p, const Bench&) {
            p.constant(Format::Half, {1, 2, 3});
        },
        [](Builder& p, const Bench&) {
            p.integerConstant(Format::Half, {1, 2, 3});
        },
        [](Builder& p, const Bench&) { p.truthConstant(Truth::True); },
        [](Builder& p, const Bench& b) { p.add(b.real, b.real3); },
        [](Builder& p, const Bench& b) { p.select(b.truth, b.real, b.real); },
        [](Builder& p, const Bench& b) { p.name(b.real, longName); },
        [](Builder& p, const Bench& b) { p.output(b.real, longName); },
        [](Builder& p, const Bench&) { p.field(longName); },
        [](Builder& p, const Bench&) { p.uniform(longName); },
        [](Builder& p, const Bench&) { p.sampler(longName); },
    };
    for (const Call& call : calls)
        EXPECT_GT(runOutOfMemory(call), 0) << &call - calls;
}

} // namespace
} // namespace Fenlet::BuilderTests
