// Runs on every core.
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

/// How to run in parallel. Results do not depend on these options.
struct ParallelOptions {
    /// The largest number of threads, including the caller's; 0 or less means `defaultThreads()`.
    /// A build without oneTBB runs everything on the caller's thread.
    int threads = 0;
    /// Elements that a thread takes at a time, rounded up to whole blocks; 0 or less means a number
    /// that suits most runs.
    std::int64_t grain = 0;
    /// Called after each piece with the number of elements done so far, anywhere in the range, and
    /// the number of all elements. Only one thread calls it at a time, but this is not always the
    /// caller's thread. May be empty. Must not throw.
    std::function<void(std::int64_t done, std::int64_t total)> progress;
    /// Read before each piece. Once the flag is true, no further piece begins. May be null.
    /// Borrowed for the call.
    const std::atomic<bool>* isCancelled = nullptr;
};

/// How a parallel run ended.
struct ParallelOutcome {
    /// The refusal that caused `error`. `None` if no refusal caused it, as for a wrong range.
    ExecRefusal refusal = ExecRefusal::None;
    /// Why the run failed, in a sentence; empty if it finished or was cancelled. If several pieces
    /// fail, this is the error of the first failed piece in the range.
    std::string error;
    /// Whether the run was cancelled before all elements were complete. False if a piece failed.
    bool isCancelled = false;
    /// The first `completed` elements of the range are complete. Only whole pieces count; elements
    /// after these may have been written too.
    std::int64_t completed = 0;

    bool ok() const { return error.empty() && !isCancelled; }
};

/// Evaluates `count` elements from `first` on of a prepared run. Each thread has its own
/// `ArrayRun::Worker`. The threads are those of oneTBB's pool. The caller's thread works, too, and
/// finishes the run alone if no other thread is free.
///
/// Several threads call the run's providers at the same time, so providers must be thread-safe. The
/// blocks within a piece are evaluated in order; pieces are evaluated in any order.
///
/// If nothing is prepared, or the range does not lie within the arrays, nothing runs and `error`
/// says why. An exception that a provider or the allocator throws ends the run and leaves this
/// call.
FENLETPARALLEL_API ParallelOutcome runParallel(const ArrayRun& run, std::int64_t first,
                                               std::int64_t count,
                                               const ParallelOptions& options = {});
/// Evaluates all elements of a prepared run, as above.
FENLETPARALLEL_API ParallelOutcome runParallel(const ArrayRun& run,
                                               const ParallelOptions& options = {});

/// Makes the sink of one thread, after its interpreter was configured; must not return null. Called
/// on that thread, for one thread at a time. `interpreter` lives as long as the sink.
using SinkFactory = std::function<std::unique_ptr<BlockSink>(const Interpreter& interpreter)>;

/// Evaluates a program over the elements `first` to `first` + `count` - 1. Each thread has its own
/// `Interpreter` and sink. Blocks have `blockSize` elements; only the last may have fewer.
/// Everything is borrowed for the call.
///
/// Several threads call the providers at the same time, so providers must be thread-safe, as must
/// everything that the sinks share. Each sink receives some of the blocks, in ascending order.
///
/// A program or bindings that an `Interpreter` refuses are refused before any thread begins. A sink
/// that returns false ends the run with `error` set and the refusal `None`. An exception that a
/// provider, a sink, `makeSink` or the allocator throws ends the run and leaves this call.
FENLETPARALLEL_API ParallelOutcome evaluateParallel(const FenletProgram& program, int blockSize,
                                                    std::int64_t first, std::int64_t count,
                                                    const Bindings& bindings,
                                                    const SinkFactory& makeSink,
                                                    const ParallelOptions& options = {});

/// The number of threads that oneTBB offers: the number that the machine can run at once, unless
/// the host limits it. 1 in a build without oneTBB.
FENLETPARALLEL_API int defaultThreads();

} // namespace Fenlet
