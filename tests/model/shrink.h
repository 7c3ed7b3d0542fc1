// Making a failing case small enough to be read.
#pragma once

#include "random_program.h"

#include <cstddef>

namespace Fenlet::Model {

/// The smallest case that still fails, found by leaving things out one at a time. `run` itself must
/// fail; `fails` answers for any case.
template <class Fails>
Case shrinkCase(Case run, Fails&& fails) {
    const auto keepIfItFails = [&](const Case& smaller) {
        const bool failed = fails(smaller);
        if (failed)
            run = smaller;
        return failed;
    };
    for (bool smaller = true; smaller;) {
        smaller = false;
        for (std::size_t i = 0; i < run.program.instructions.size(); ++i) {
            Case next = run;
            next.program.instructions.erase(next.program.instructions.begin() +
                                            static_cast<std::ptrdiff_t>(i));
            smaller = keepIfItFails(next) || smaller;
        }
        for (std::size_t i = 0; i + 1 < run.program.registers.size(); ++i) {
            Case next = run;
            if (next.program.registers[i].multiplicity > 1) {
                --next.program.registers[i].multiplicity;
                smaller = keepIfItFails(next) || smaller;
            }
        }
        Case next = run;
        if (next.count > 1) {
            --next.count;
            smaller = keepIfItFails(next) || smaller;
        }
    }
    return run;
}

} // namespace Fenlet::Model
