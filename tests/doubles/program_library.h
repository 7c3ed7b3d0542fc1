// A test double for the program library. It returns what a test tells it to return, and counts
// calls.
#pragma once

#include <fenletir/program.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace Fenlet::Doubles {

struct ProgramLibrary {
    std::int32_t token = 6155;
    /// The arities by opcode number: the real ones, and 0 for numbers that are no opcode.
    std::array<std::int32_t, 64> arities{0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 2,
                                         2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3};
    /// If set, returned instead of the program's own counts.
    std::optional<std::int32_t> registerCount;
    std::optional<std::int32_t> instructionCount;

    int tokenCalls = 0;
    int arityCalls = 0;
    int countCalls = 0;
    int registerCalls = 0;
    std::vector<std::int32_t> realComponentsAsked;
    std::vector<std::int32_t> integralComponentsAsked;

    /// Calls of everything except the constants' accessors.
    int planningCalls() const { return tokenCalls + arityCalls + countCalls + registerCalls; }
};

/// The library that is in use.
ProgramLibrary& programLibrary();

} // namespace Fenlet::Doubles
