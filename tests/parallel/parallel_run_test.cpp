// Parallel runs on plain threads. They must give the same bits as one thread. Also tests which
// failure is reported, progress and cancellation.
#include "run_by_crew.h"

#include <fenlethosts/array_field.h>
#include <fenletir/program_builder.h>

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <thread>

namespace Fenlet {
namespace {

/// A crew with as many threads as requested, however many cores the machine has.
void plainThreads(int threads, const std::function<void(int worker)>& work) {
    std::vector<std::thread> others;
    for (int worker = 1; worker < threads; ++worker)
        others.emplace_back([&work, worker] { work(worker); });
    work(0);
    for (std::thread& one : others)
        one.join();
}

FenletProgram quotient() {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto index = write.elementIndex();
    const auto a = write.loadField(write.field("a"), index, Format::Float32);
    const auto b = write.loadField(write.field("b"), index, Format::Int32);
    write.output(write.divide(write.convert(a, Format::Int32), b), "quotient");
    write.output(write.add(a, b, Format::Float64), "sum");
    return write.build().program;
}

class ParallelRun : public testing::Test {
  protected:
    static constexpr std::int64_t count = 100'003;

    ParallelRun() {
        std::iota(a.begin(), a.end(), -500.0f);
        for (std::size_t i = 0; i < b.size(); ++i)
            b[i] = static_cast<std::int32_t>(i % 13);
    }
    struct Results {
        std::vector<std::int32_t> quotient = std::vector<std::int32_t>(count, 77);
        std::vector<unsigned char> bits = std::vector<unsigned char>(count / 8 + 2, 0xA5);
        std::vector<double> sum = std::vector<double>(count, 77);

        bool operator==(const Results& other) const {
            return quotient == other.quotient && bits == other.bits && sum == other.sum;
        }
    };
    bool prepare(ArrayRun& run, Results& results) {
        return run.prepare(
            {{"a", a}, {"b", b}},
            {{"quotient",
              MutableArrayView::of(results.quotient).withPresenceBits(results.bits.data(), 3)},
             {"sum", results.sum}});
    }

    const FenletProgram program = quotient();
    std::vector<float> a = std::vector<float>(count);
    std::vector<std::int32_t> b = std::vector<std::int32_t>(count);
};

TEST_F(ParallelRun, GivesTheSameBitsForAnyNumberOfThreads) {
    Results expected;
    ArrayRun alone(program);
    ASSERT_TRUE(prepare(alone, expected)) << alone.error();
    ASSERT_TRUE(alone.run());
    for (const int threads : {1, 2, 3, 7})
        for (const std::int64_t grain :
             {std::int64_t{1}, std::int64_t{1000}, std::int64_t{4096}, std::int64_t{1'000'000},
              std::numeric_limits<std::int64_t>::max()}) {
            Results results;
            ArrayRun run(program);
            ASSERT_TRUE(prepare(run, results));
            ParallelOptions options;
            options.threads = threads;
            options.grain = grain;
            const ParallelOutcome outcome = runByCrew(&plainThreads, run, 0, run.count(), options);
            ASSERT_TRUE(outcome.ok()) << outcome.error;
            EXPECT_EQ(outcome.completed, count);
            EXPECT_TRUE(results == expected) << threads << " threads, grain " << grain;
        }
}

TEST_F(ParallelRun, RefusesWhatOneThreadRefuses) {
    ArrayRun run(program);
    EXPECT_EQ(runByCrew(&plainThreads, run, 0, 1, {}).error,
              "nothing is prepared; bind inputs and outputs first");
    Results results;
    ASSERT_TRUE(prepare(run, results));
    EXPECT_EQ(runByCrew(&plainThreads, run, count, 1, {}).error,
              "1 elements are asked for, beginning with element 100003; the arrays have 100003");
    EXPECT_TRUE(runByCrew(&plainThreads, run, count, 0, {}).ok());
}

/// A field that declines every read that includes one of the given elements.
class DecliningField final : public CpuFieldAccessor {
  public:
    explicit DecliningField(std::vector<std::int64_t> newDeclined)
        : declined(std::move(newDeclined)) {}
    bool read(const FieldRead& request) override {
        const std::int64_t first = request.indices[0];
        std::fill(request.values, request.values + 4 * request.count,
                  static_cast<unsigned char>(0));
        return std::none_of(declined.begin(), declined.end(), [&](std::int64_t one) {
            return one >= first && one < first + request.count;
        });
    }

  private:
    const std::vector<std::int64_t> declined;
};

TEST_F(ParallelRun, ReportsTheFailureOfTheLowestBlock) {
    for (int round = 0; round < 20; ++round) {
        DecliningField field({90'000, 30'500, 60'000});
        std::vector<std::int32_t> quotientValues(count, 77);
        std::vector<unsigned char> present(count);
        ArrayRunOptions blocks;
        blocks.blockSize = 1000;
        ArrayRun run(program, blocks);
        ASSERT_TRUE(run.prepare(
            {{"a", a}, {"b", field}},
            {{"quotient", MutableArrayView::of(quotientValues).withPresence(present.data())}}))
            << run.error();
        ParallelOptions options;
        options.threads = 4;
        options.grain = 5000;
        const ParallelOutcome outcome = runByCrew(&plainThreads, run, 0, run.count(), options);
        EXPECT_FALSE(outcome.ok());
        EXPECT_EQ(outcome.refusal, ExecRefusal::ProviderFailed);
        EXPECT_EQ(outcome.error, "the field \"b\" declined at instruction 2 (LoadField), in the "
                                 "block of elements 30000 to 30999");
        EXPECT_EQ(outcome.completed, 30'000);
        EXPECT_EQ(std::count(quotientValues.begin(), quotientValues.begin() + 30'000, 77), 0);
        EXPECT_EQ(std::count(quotientValues.begin() + 30'000, quotientValues.begin() + 31'000, 77),
                  1000);
    }
}

TEST_F(ParallelRun, TellsProgressAndStopsWhenAsked) {
    Results results;
    ArrayRun run(program);
    ASSERT_TRUE(prepare(run, results));
    std::atomic<bool> isCancelled{false};
    std::vector<std::int64_t> told;
    ParallelOptions options;
    options.threads = 3;
    options.grain = 1024;
    options.isCancelled = &isCancelled;
    options.progress = [&](std::int64_t done, std::int64_t total) {
        EXPECT_EQ(total, count);
        told.push_back(done);
        if (done > 20'000)
            isCancelled = true;
    };
    const ParallelOutcome stopped = runByCrew(&plainThreads, run, 0, run.count(), options);
    EXPECT_TRUE(stopped.isCancelled);
    EXPECT_FALSE(stopped.ok());
    EXPECT_EQ(stopped.error, "");
    EXPECT_LT(stopped.completed, count);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));

    isCancelled = false;
    told.clear();
    options.progress = [&](std::int64_t done, std::int64_t) { told.push_back(done); };
    EXPECT_TRUE(runByCrew(&plainThreads, run, 0, run.count(), options).ok());
    EXPECT_EQ(told.back(), count);
    EXPECT_EQ(told.size(), static_cast<std::size_t>((count + 1023) / 1024));
}

TEST_F(ParallelRun, LetsExceptionsOfProvidersOut) {
    struct Throwing final : CpuFieldAccessor {
        bool read(const FieldRead& request) override {
            if (request.indices[0] >= 50'000)
                throw std::runtime_error("lost");
            return true;
        }
    } throwing;
    std::vector<std::int32_t> quotientValues(count);
    std::vector<unsigned char> present(count);
    ArrayRun run(program);
    ASSERT_TRUE(run.prepare(
        {{"a", a}, {"b", throwing}},
        {{"quotient", MutableArrayView::of(quotientValues).withPresence(present.data())}}));
    ParallelOptions options;
    options.threads = 3;
    options.grain = 1024;
    EXPECT_THROW(runByCrew(&plainThreads, run, 0, run.count(), options), std::runtime_error);
}

/// Copies a register's values to their positions in `out`. Ends the run at the first block that
/// begins at `stopAt` or later.
class PlacingSink final : public BlockSink {
  public:
    PlacingSink(int newNumber, std::vector<double>& newOut) : number(newNumber), out(newOut) {}
    bool consume(const RegisterFile& registers, long long start, int blockCount) override {
        std::memcpy(out.data() + start, registers.data(number),
                    static_cast<std::size_t>(blockCount) * sizeof(double));
        return start < stopAt;
    }
    long long stopAt = 1'000'000'000;

  private:
    int number;
    std::vector<double>& out;
};

TEST_F(ParallelRun, RunsInterpretersWithASinkForEachThread) {
    ArrayField fieldA(ArrayView::of(a));
    ArrayField fieldB(ArrayView::of(b));
    CpuFieldAccessor* const fields[] = {&fieldA, &fieldB};
    Bindings bindings;
    bindings.fields = fields;
    bindings.fieldCount = 2;
    int sum = 0;
    while (program.registerInfo(sum).name != "sum")
        ++sum;
    std::vector<double> expected(count);
    for (std::size_t i = 0; i < expected.size(); ++i)
        expected[i] = static_cast<double>(a[i]) + b[i];
    ParallelOptions options;
    options.threads = 3;
    options.grain = 3000;
    std::vector<double> out(count);
    const SinkFactory placing = [&](const Interpreter&) {
        return std::make_unique<PlacingSink>(sum, out);
    };
    const ParallelOutcome outcome =
        evaluateByCrew(&plainThreads, program, 512, 0, count, bindings, placing, options);
    EXPECT_TRUE(outcome.ok()) << outcome.error;
    EXPECT_EQ(out, expected);

    const SinkFactory stopping = [&](const Interpreter&) {
        auto sink = std::make_unique<PlacingSink>(sum, out);
        sink->stopAt = 40'000;
        return sink;
    };
    const ParallelOutcome stopped =
        evaluateByCrew(&plainThreads, program, 512, 0, count, bindings, stopping, options);
    EXPECT_FALSE(stopped.ok());
    EXPECT_EQ(stopped.refusal, ExecRefusal::None);
    EXPECT_LE(stopped.completed, 40'448);

    bindings.fieldCount = 1;
    EXPECT_EQ(
        evaluateByCrew(&plainThreads, program, 512, 0, count, bindings, placing, options).refusal,
        ExecRefusal::UnboundField);
    EXPECT_EQ(
        evaluateByCrew(&plainThreads, program, 0, 0, count, bindings, placing, options).refusal,
        ExecRefusal::ScratchRefused);
}

} // namespace
} // namespace Fenlet
