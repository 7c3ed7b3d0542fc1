// How scripts/performance talks to the programs that it compares.
//
// Each program is started with a folder of arrays. It writes one line for each line that it reads:
//
//   version             its name and version
//   W2 load             reads the arrays of W2: the bytes of these and of its result
//   W2 check FILE       runs W2 once and writes FILE.npy, and FILE.present.npy if any is missing
//   W2 time [TIMES]     runs W2 TIMES times, by default once: nanoseconds for all of them
//   W2 first [TIMES]    the same, with everything prepared anew each time
//
// For a workload that it cannot express, a program writes `none`. If anything goes wrong, it writes
// a line that begins with `error`.
#pragma once

#include "workload_data.h"

#include <functional>
#include <string>
#include <vector>

namespace Fenlet::Bench {

/// The result of a run.
struct Result {
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::int32_t components = 1;
    std::int64_t count = 0;
    const void* values = nullptr;           ///< the components of each element, adjacent
    const unsigned char* present = nullptr; ///< 0 where an element is missing; null if none can be
};

/// A workload that is ready to run any number of times.
struct Prepared {
    std::vector<std::string> arrays; ///< the arrays that it reads
    std::function<void()> run;       ///< empty if the workload cannot be expressed
    std::function<Result()> result;  ///< the result of the last run
};

/// A program to be compared.
struct Contender {
    std::string version;
    std::function<Prepared(const std::string& workload, WorkloadData& data)> prepare;
};

/// Answers requests until the input ends. Returns the exit status of the process.
int serve(const std::string& folder, const Contender& contender);

} // namespace Fenlet::Bench
