// The threads of a parallel run.
//
// Only this file and crew.cpp depend on where threads come from. Tests use plain threads instead,
// because the thread sanitizer cannot follow oneTBB's threads.
#pragma once

#include <functional>

namespace Fenlet {

/// Calls `work(0)` once, and all or some of `work(1)` to `work(threads - 1)` once each, on several
/// threads including the caller's. Returns when all calls have returned. `work` must not throw.
using Crew = void (*)(int threads, const std::function<void(int worker)>& work);

/// The crew of this build: oneTBB's threads, or only the caller's thread.
void standardCrew(int threads, const std::function<void(int worker)>& work);

/// The largest number of threads that the standard crew uses.
int standardCrewSize();

} // namespace Fenlet
