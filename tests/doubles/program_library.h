// A program library that answers as a test tells it to, and counts its calls.
#pragma once

#include <fenletir/program.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace Fenlet::Doubles {

struct ProgramLibrary {
    std::int32_t token = 6155;
    /// By opcode number: the real arities, and 0 for numbers above them.
    std::array<std::int32_t, 64> arities{0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 2,
                                         2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3};
    /// Instead of what the program holds.
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

/// The one that is in use.
ProgramLibrary& programLibrary();

} // namespace Fenlet::Doubles
