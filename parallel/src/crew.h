// The threads of a parallel run.
//
// This is the only place that knows where threads come from: tests put plain threads in its place,
// since oneTBB hides its own from those who look for races.
#pragma once

#include <functional>

namespace Fenlet {

/// Calls `work(0)` to `work(threads - 1)`, each at most once and as far as threads can be had, and
/// returns when all of them have. `work(0)` is called for sure, on the caller's thread if no other
/// is free. `work` must not throw.
using Crew = void (*)(int threads, const std::function<void(int worker)>& work);

/// The crew of this build: oneTBB's threads, or the caller's alone.
void standardCrew(int threads, const std::function<void(int worker)>& work);

/// How many threads the standard crew can have.
int standardCrewSize();

} // namespace Fenlet
