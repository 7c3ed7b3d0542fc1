// Runs each of many random programs in several interpreters at once.
#include "model/random_program.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace Fenlet::Model {
namespace {

/// A sink that records every byte of every block.
class RecordingSink : public BlockSink {
  public:
    bool consume(const RegisterFile& registers, long long, int) override {
        blocks.emplace_back(registers.data(0), registers.data(0) + registers.byteCount());
        return true;
    }
    std::vector<std::vector<unsigned char>> blocks;
};

/// The outcome of one run.
struct Outcome {
    bool finished = false;
    std::vector<std::vector<unsigned char>> blocks;
    std::vector<std::string> calls;
    ExecRefusal refusal = ExecRefusal::None;
    std::uint64_t steps = 0;

    bool operator==(const Outcome&) const = default;
};

/// Runs a shared program with a separate interpreter and host.
Outcome outcomeOf(const Case& run) {
    Interpreter interpreter;
    RandomHost host(run);
    RecordingSink sink;
    const bool finished = interpreter.configure(run.program, run.blockSize) &&
                          interpreter.evaluate(run.first, run.count, host.bindings(), sink);
    return {finished, sink.blocks, host.log, interpreter.lastRefusal(),
            interpreter.executedSteps()};
}

TEST(Interpreters, ShareRandomProgramsOnSeveralThreads) {
    for (std::uint64_t seed = 1; seed <= 400; ++seed) {
        const Case run = randomCase(seed);
        std::vector<Outcome> outcomes(4);
        std::vector<std::thread> threads;
        for (Outcome& outcome : outcomes)
            threads.emplace_back([&outcome, &run] { outcome = outcomeOf(run); });
        for (std::thread& thread : threads)
            thread.join();
        const Outcome alone = outcomeOf(run);
        for (const Outcome& outcome : outcomes)
            ASSERT_TRUE(outcome == alone) << "seed " << seed << "\n" << describe(run);
    }
}

} // namespace
} // namespace Fenlet::Model
