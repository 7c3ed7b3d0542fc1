// Cutting a range into pieces that threads take one after the other.
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

/// How one piece went.
struct PieceOutcome {
    bool ok = true;
    ExecRefusal refusal = ExecRefusal::None;
    std::string error;
};

/// What a thread does with the elements `first` to `first` + `count` - 1.
using PieceWork = std::function<PieceOutcome(std::int64_t first, std::int64_t count)>;

/// Cuts `count` elements from `first` on into pieces of `grain`, and lets a crew run them. Each
/// thread makes its own work by `makeWork`, for which threads take turns; a thread whose work
/// cannot be made (an exception) ends the run. Exceptions leave this call once all threads have
/// ended, the one of the lowest piece first.
ParallelOutcome runPieces(std::int64_t first, std::int64_t count, std::int64_t grain, int threads,
                          const ParallelOptions& options, Crew crew,
                          const std::function<PieceWork()>& makeWork);

} // namespace Fenlet
