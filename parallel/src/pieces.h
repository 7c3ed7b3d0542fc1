// Cuts a range into pieces that threads take one after the other.
#pragma once

#include "crew.h"

#include <fenletparallel/parallel_run.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <string>

namespace Fenlet {

/// How one piece ended.
struct PieceOutcome {
    bool ok = true;
    ExecRefusal refusal = ExecRefusal::None;
    std::string error;
};

/// What a thread does with the elements `first` to `first` + `count` - 1.
using PieceWork = std::function<PieceOutcome(std::int64_t first, std::int64_t count)>;

/// Cuts `count` elements from `first` on into pieces of `grain`, and lets a crew run them. A
/// `count` below 1 runs nothing. Each thread calls `makeWork` once, one thread at a time, and then
/// runs pieces with the result. An exception of `makeWork` or of the work ends the run. It leaves
/// this call when all threads have ended; if there are several, only that of the lowest piece does.
ParallelOutcome runPieces(std::int64_t first, std::int64_t count, std::int64_t grain, int threads,
                          const ParallelOptions& options, Crew crew,
                          const std::function<PieceWork()>& makeWork);

} // namespace Fenlet
