// Parallel runs by any crew: what tests use to bring their own threads.
#pragma once

#include "crew.h"

#include <fenletparallel/parallel_run.h>

namespace Fenlet {

/// As `runParallel` and `evaluateParallel`.
ParallelOutcome runByCrew(Crew crew, const ArrayRun& run, std::int64_t first, std::int64_t count,
                          const ParallelOptions& options);
ParallelOutcome evaluateByCrew(Crew crew, const FenletProgram& program, int blockSize,
                               std::int64_t first, std::int64_t count, const Bindings& bindings,
                               const SinkFactory& makeSink, const ParallelOptions& options);

} // namespace Fenlet
