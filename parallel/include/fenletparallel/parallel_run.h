// One run on every core.
#pragma once

#include <fenletarrays/array_run.h>
#include <fenletexec/interpreter.h>
#include <fenletparallel/export.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace Fenlet {

/// How a parallel run works. Results do not depend on it.
struct ParallelOptions {
    /// Threads at most, that of the caller among them; 0 for as many as the machine runs at a time.
    /// A build without oneTBB runs everything on the caller's thread.
    int threads = 0;
    /// Elements that a thread takes at a time, rounded up to whole blocks; 0 for what suits most
    /// runs.
    std::int64_t grain = 0;
    /// Called by one thread at a time, not always the caller's, with the elements that are done;
    /// may be empty. It must not throw.
    std::function<void(std::int64_t done, std::int64_t total)> progress;
    /// Read before each piece; once it is true no further piece begins. May be null.
    const std::atomic<bool>* isCancelled = nullptr;
};

/// What came of a parallel run.
struct ParallelOutcome {
    ExecRefusal refusal = ExecRefusal::None;
    /// Why the run ended early, in a sentence; empty after a whole run and after a cancelled one.
    /// Of several reasons that of the lowest element.
    std::string error;
    bool isCancelled = false;
    /// At least so many elements from the first on are complete. Elements behind them may be
    /// written, too.
    std::int64_t completed = 0;

    bool ok() const { return error.empty() && !isCancelled; }
};

/// Evaluates `count` elements from `first` on of a prepared run. Every thread gets an
/// `ArrayRun::Worker`. Providers that the run asks are asked by several threads at a time, block by
/// block in no order across pieces, and must be able to take it. Threads are taken from oneTBB's
/// pool and given back; the caller's thread works too, and can finish alone.
FENLETPARALLEL_API ParallelOutcome runParallel(const ArrayRun& run, std::int64_t first,
                                               std::int64_t count,
                                               const ParallelOptions& options = {});
FENLETPARALLEL_API ParallelOutcome runParallel(const ArrayRun& run,
                                               const ParallelOptions& options = {});

/// Makes the sink of one thread, after its interpreter was configured. Called on that thread, never
/// for two threads at a time.
using SinkFactory = std::function<std::unique_ptr<BlockSink>(const Interpreter& interpreter)>;

/// Evaluates a program block by block, each thread with an `Interpreter` and a sink. Blocks begin
/// at multiples of `blockSize` from `first` on. What the sinks share must be able to take it. An
/// exception that leaves a provider or a sink ends the run and leaves this call.
FENLETPARALLEL_API ParallelOutcome evaluateParallel(const FenletProgram& program, int blockSize,
                                                    std::int64_t first, std::int64_t count,
                                                    const Bindings& bindings,
                                                    const SinkFactory& makeSink,
                                                    const ParallelOptions& options = {});

/// How many threads a run with `threads` = 0 uses; 1 in a build without oneTBB.
FENLETPARALLEL_API int defaultThreads();

} // namespace Fenlet
