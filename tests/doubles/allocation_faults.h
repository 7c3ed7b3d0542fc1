// Makes every allocation of an operation fail in turn.
#pragma once

#include "doubles/counted_new.h"

#include <gtest/gtest.h>
#include <new>
#include <string>

namespace Fenlet::Doubles {

/// Makes each allocation of `operate(subject)` fail in turn, on a new subject from `prepare` each
/// time: first together with all later allocations, then alone. Stops when an operation succeeds.
/// Each failed operation must throw `std::bad_alloc`, and the subject must free all its memory.
///
/// Calls `examine(subject)` after each failed operation, when memory is available again, and after
/// the operation that succeeded. Returns how many operations failed.
template <class Prepare, class Operate, class Examine>
int failEachAllocation(Prepare prepare, Operate operate, Examine examine) {
    // A first operation makes the allocations that happen only once in a process.
    {
        auto subject = prepare();
        operate(subject);
        examine(subject);
    }
    int failures = 0;
    for (const Shortage shortage : {Shortage::Lasting, Shortage::Passing}) {
        bool isMore = true;
        for (std::size_t number = 0; isMore; ++number) {
            const std::string where =
                "allocation " + std::to_string(number) +
                (shortage == Shortage::Lasting ? " and all after it" : " alone");
            SCOPED_TRACE(where);
            const std::size_t liveBefore = liveAllocations();
            {
                auto subject = prepare();
                bool hasFailed = false;
                try {
                    const FailingAllocation failing(number, shortage);
                    operate(subject);
                } catch (const std::bad_alloc&) {
                    hasFailed = true;
                }
                isMore = refusedAllocations() > 0;
                EXPECT_EQ(hasFailed, isMore);
                failures += hasFailed;
                examine(subject);
            }
            EXPECT_EQ(liveAllocations(), liveBefore);
        }
    }
    return failures;
}

} // namespace Fenlet::Doubles
