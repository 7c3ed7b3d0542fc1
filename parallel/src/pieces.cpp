// Cuts a range into pieces.
#include "pieces.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace Fenlet {
namespace {

/// A run in progress. Pieces are numbered in the order of their elements and taken in that order.
/// So when a piece fails, threads have taken all pieces before it, and will finish these.
class PieceRun {
  public:
    PieceRun(std::int64_t newFirst, std::int64_t newCount, std::int64_t newGrain,
             const ParallelOptions& newOptions, const std::function<PieceWork()>& newMakeWork)
        : first(newFirst),
          count(newCount),
          grain(newGrain),
          pieceCount((newCount - 1) / newGrain + 1),
          options(newOptions),
          makeWork(newMakeWork),
          isDone(static_cast<std::size_t>(pieceCount)) {}

    std::int64_t pieces() const { return pieceCount; }

    /// What each thread does.
    void work() {
        PieceWork work;
        try {
            const std::lock_guard<std::mutex> turn(makingWork);
            if (next.load() < pieceCount)
                work = makeWork();
        } catch (...) {
            return fail(next.load(), {false, ExecRefusal::None, {}}, std::current_exception());
        }
        while (work) {
            if (options.isCancelled != nullptr && options.isCancelled->load()) {
                wasCancelled.store(true);
                return;
            }
            const std::int64_t piece = next.fetch_add(1);
            if (piece >= pieceCount || piece >= endAt.load())
                return;
            runPiece(work, piece);
        }
    }

    ParallelOutcome outcome() {
        if (failure)
            std::rethrow_exception(failure);
        ParallelOutcome whole;
        whole.refusal = failed.refusal;
        whole.error = failed.error;
        const auto firstOpen = std::find(isDone.begin(), isDone.end(), 0);
        whole.completed = std::min<std::int64_t>(count, (firstOpen - isDone.begin()) * grain);
        whole.isCancelled = wasCancelled.load() && whole.error.empty() && whole.completed < count;
        return whole;
    }

  private:
    void runPiece(const PieceWork& work, std::int64_t piece) {
        const std::int64_t start = piece * grain;
        const std::int64_t some = std::min(grain, count - start);
        try {
            const PieceOutcome outcome = work(first + start, some);
            if (!outcome.ok)
                return fail(piece, outcome, nullptr);
        } catch (...) {
            return fail(piece, {false, ExecRefusal::None, {}}, std::current_exception());
        }
        const std::lock_guard<std::mutex> turn(telling);
        isDone[static_cast<std::size_t>(piece)] = 1;
        done += some;
        if (options.progress)
            options.progress(done, count);
    }

    void fail(std::int64_t piece, const PieceOutcome& outcome, std::exception_ptr thrown) {
        const std::lock_guard<std::mutex> turn(telling);
        if (piece >= endAt.load())
            return;
        endAt.store(piece);
        failed = outcome;
        failure = std::move(thrown);
    }

    const std::int64_t first;
    const std::int64_t count;
    const std::int64_t grain;
    const std::int64_t pieceCount;
    const ParallelOptions& options;
    const std::function<PieceWork()>& makeWork;

    std::atomic<std::int64_t> next{0};
    /// The lowest piece that failed. No thread begins this piece or a later one.
    std::atomic<std::int64_t> endAt{std::numeric_limits<std::int64_t>::max()};
    std::atomic<bool> wasCancelled{false};

    std::mutex makingWork;
    std::mutex telling; ///< guards all members below
    std::vector<unsigned char> isDone;
    std::int64_t done = 0;
    PieceOutcome failed;
    std::exception_ptr failure;
};

} // namespace

ParallelOutcome runPieces(std::int64_t first, std::int64_t count, std::int64_t grain, int threads,
                          const ParallelOptions& options, Crew crew,
                          const std::function<PieceWork()>& makeWork) {
    if (count < 1)
        return {};
    PieceRun run(first, count, grain, options, makeWork);
    const int useful = static_cast<int>(std::min<std::int64_t>(std::max(threads, 1), run.pieces()));
    if (useful == 1)
        run.work();
    else
        crew(useful, [&run](int) { run.work(); });
    return run.outcome();
}

} // namespace Fenlet
