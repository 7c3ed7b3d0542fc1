// `fenlet bench`: measures how long a program takes.
#pragma once

#include <fenletir/program.h>

#include <optional>

namespace Tool {

/// Prints two tables: the time for each element at several block sizes, where the advised one is
/// marked, and the time for each instruction at `blockSize`, or at the advised size without one.
/// The data is made up. Throws `std::runtime_error` with one line for the user.
void bench(const Fenlet::FenletProgram& program, std::optional<int> blockSize);

} // namespace Tool
