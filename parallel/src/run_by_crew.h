// Runs in parallel on the threads of a given crew, so that tests can choose the threads.
#pragma once

#include "crew.h"

#include <fenletparallel/parallel_run.h>

namespace Fenlet {

/// Like `runParallel` and `evaluateParallel`, with the threads of `crew`.
ParallelOutcome runByCrew(Crew crew, const ArrayRun& run, std::int64_t first, std::int64_t count,
                          const ParallelOptions& options);
ParallelOutcome evaluateByCrew(Crew crew, const FenletProgram& program, int blockSize,
                               std::int64_t first, std::int64_t count, const Bindings& bindings,
                               const SinkFactory& makeSink, const ParallelOptions& options);

} // namespace Fenlet
