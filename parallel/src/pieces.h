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

/// The outcome of one piece.
struct PieceOutcome {
    bool ok = true;
    ExecRefusal refusal = ExecRefusal::None;
    std::string error;
};

/// The function that a thread calls for each piece: the elements `first` to `first` + `count` - 1.
using PieceWork = std::function<PieceOutcome(std::int64_t first, std::int64_t count)>;

/// Cuts `count` elements from `first` on into pieces of `grain`, and lets a crew run them. A
/// `count` below 1 runs nothing. Each thread calls `makeWork` once, and then runs pieces with the
/// function that it returned. Only one thread at a time calls `makeWork`. An exception of
/// `makeWork` or of a piece ends the run, and leaves this call after all threads have ended. If
/// there are several exceptions, only that of the lowest piece leaves the call.
ParallelOutcome runPieces(std::int64_t first, std::int64_t count, std::int64_t grain, int threads,
                          const ParallelOptions& options, Crew crew,
                          const std::function<PieceWork()>& makeWork);

} // namespace Fenlet
