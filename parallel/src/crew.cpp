// The threads of a parallel run.
#include "crew.h"

#ifdef FENLET_HAVE_TBB
#include <algorithm>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#endif

namespace Fenlet {

#ifdef FENLET_HAVE_TBB
void standardCrew(int threads, const std::function<void(int worker)>& work) {
    // If oneTBB has too few threads, some of these calls start after the others have finished. They
    // then find nothing left to do.
    tbb::task_arena arena(std::min(threads, standardCrewSize()));
    arena.execute([&] {
        tbb::parallel_for(
            0, threads, [&](int worker) { work(worker); }, tbb::simple_partitioner());
    });
}

int standardCrewSize() {
    return std::max(1, tbb::this_task_arena::max_concurrency());
}
#else
void standardCrew(int, const std::function<void(int worker)>& work) {
    work(0);
}

int standardCrewSize() {
    return 1;
}
#endif

} // namespace Fenlet
