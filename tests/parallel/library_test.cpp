// The library itself, with oneTBB's threads if it was built with them.
#include <fenletir/program_builder.h>
#include <fenletparallel/parallel_run.h>

#include <gtest/gtest.h>
#include <numeric>

namespace Fenlet {
namespace {

TEST(ParallelLibrary, RunsOnItsThreads) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto a = write.loadField(write.field("a"), write.elementIndex(), Format::Float64);
    write.output(write.multiply(a, a), "square");
    const FenletProgram program = write.build().program;
    std::vector<double> values(300'000);
    std::iota(values.begin(), values.end(), 0.0);
    std::vector<double> squares(values.size());
    ArrayRun run(program);
    ASSERT_TRUE(run.prepare({{"a", values}}, {{"square", squares}})) << run.error();
    for (const int threads : {0, 1, 2, 5}) {
        std::fill(squares.begin(), squares.end(), -1.0);
        ParallelOptions options;
        options.threads = threads;
        options.grain = 10'000;
        const ParallelOutcome outcome = runParallel(run, options);
        ASSERT_TRUE(outcome.ok()) << outcome.error;
        for (std::size_t i = 0; i < squares.size(); ++i)
            ASSERT_EQ(squares[i], values[i] * values[i]);
    }
    EXPECT_GE(defaultThreads(), 1);
}

} // namespace
} // namespace Fenlet
