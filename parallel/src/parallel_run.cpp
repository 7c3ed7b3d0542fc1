// Runs on every core.
#include "pieces.h"
#include "run_by_crew.h"

#include <fenlethosts/outcome.h>
#include <fenletparallel/parallel_run.h>

#include <algorithm>

namespace Fenlet {
namespace {

/// Elements in a piece. Few enough that no thread waits long at the end of the run, and many enough
/// that the cost of taking a piece does not matter.
constexpr std::int64_t usualGrain = 32768;

/// The most pieces of a run. More pieces would only take more memory: a run notes for each piece
/// whether it is done.
constexpr std::int64_t mostPieces = 1 << 20;

std::int64_t grainOf(const ParallelOptions& options, std::int64_t count, std::int64_t blockSize) {
    const std::int64_t wish = options.grain > 0 ? options.grain : usualGrain;
    const std::int64_t enough =
        std::clamp<std::int64_t>(wish, count / mostPieces + 1, std::max<std::int64_t>(count, 1));
    const std::int64_t blocks = (enough - 1) / blockSize + 1;
    return blocks > count / blockSize ? std::max<std::int64_t>(count, blockSize)
                                      : blocks * blockSize;
}

int threadsOf(const ParallelOptions& options) {
    return options.threads > 0 ? options.threads : defaultThreads();
}

} // namespace

ParallelOutcome runByCrew(Crew crew, const ArrayRun& run, std::int64_t first, std::int64_t count,
                          const ParallelOptions& options) {
    if (!run.isPrepared() || first < 0 || count < 0 || first > run.count() ||
        count > run.count() - first) {
        // A worker refuses such a range, too. Takes the error from there.
        ArrayRun::Worker asking(run);
        static_cast<void>(asking.run(first, count));
        ParallelOutcome refused;
        refused.refusal = asking.refusal();
        refused.error = asking.error();
        return refused;
    }
    return runPieces(first, count, grainOf(options, count, run.blockSize()), threadsOf(options),
                     options, crew, [&run]() -> PieceWork {
                         auto worker = std::make_shared<ArrayRun::Worker>(run);
                         return [worker](std::int64_t start, std::int64_t some) -> PieceOutcome {
                             if (worker->run(start, some))
                                 return {};
                             return {false, worker->refusal(), worker->error()};
                         };
                     });
}

ParallelOutcome evaluateByCrew(Crew crew, const FenletProgram& program, int blockSize,
                               std::int64_t first, std::int64_t count, const Bindings& bindings,
                               const SinkFactory& makeSink, const ParallelOptions& options) {
    struct Thread {
        Interpreter interpreter;
        std::unique_ptr<BlockSink> sink;
    };
    {
        // Refuses a wrong program or wrong bindings before any thread begins, even if the range is
        // empty.
        Interpreter planning;
        if (!planning.configure(program, blockSize) || !planning.checkBindings(bindings)) {
            ParallelOutcome refused;
            refused.refusal = planning.lastRefusal();
            refused.error = planning.isConfigured()
                                ? describeOutcome(planning, program, {first, count, bindings})
                                : describeOutcome(planning, program);
            return refused;
        }
    }
    return runPieces(
        first, count, grainOf(options, count, blockSize), threadsOf(options), options, crew,
        [&]() -> PieceWork {
            auto thread = std::make_shared<Thread>();
            static_cast<void>(thread->interpreter.configure(program, blockSize));
            thread->sink = makeSink(thread->interpreter);
            return [thread, &program, &bindings](std::int64_t start,
                                                 std::int64_t some) -> PieceOutcome {
                Interpreter& interpreter = thread->interpreter;
                const EvaluateCall call{start, some, bindings, interpreter.executedSteps()};
                if (interpreter.evaluate(start, some, bindings, *thread->sink))
                    return {};
                return {false, interpreter.lastRefusal(),
                        describeOutcome(interpreter, program, call)};
            };
        });
}

ParallelOutcome runParallel(const ArrayRun& run, std::int64_t first, std::int64_t count,
                            const ParallelOptions& options) {
    return runByCrew(&standardCrew, run, first, count, options);
}

ParallelOutcome runParallel(const ArrayRun& run, const ParallelOptions& options) {
    return runParallel(run, 0, run.count(), options);
}

ParallelOutcome evaluateParallel(const FenletProgram& program, int blockSize, std::int64_t first,
                                 std::int64_t count, const Bindings& bindings,
                                 const SinkFactory& makeSink, const ParallelOptions& options) {
    return evaluateByCrew(&standardCrew, program, blockSize, first, count, bindings, makeSink,
                          options);
}

int defaultThreads() {
    return standardCrewSize();
}

} // namespace Fenlet
