// Having every allocation of an operation fail in turn.
#pragma once

#include "doubles/counted_new.h"

#include <gtest/gtest.h>
#include <new>
#include <string>

namespace Fenlet::Doubles {

/// Has the first, second, ... allocation of `operate(subject)` fail on a new subject that `prepare`
/// makes, once with all after it and once alone, until there is none left to fail. Each failure has
/// to come out as `std::bad_alloc`, and once the subject is gone nothing may be left of it.
///
/// `examine(subject)` is asked after each failure, with memory at hand again, and after the first
/// operation that went through. Answers how many operations failed.
template <class Prepare, class Operate, class Examine>
int failEachAllocation(Prepare prepare, Operate operate, Examine examine) {
    // What is made once for the whole process is made here.
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
