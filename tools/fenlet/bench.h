// `fenlet bench`: measures how long a program takes.
#pragma once

#include <fenletir/program.h>

#include <optional>

namespace Tool {

/// Prints two tables: the time per element at several block sizes, with the advised size marked,
/// and the time per instruction at `blockSize`. If `blockSize` is not given, uses the advised size.
/// The data is made up. On failure throws `std::runtime_error` with one line for the user.
void bench(const Fenlet::FenletProgram& program, std::optional<int> blockSize);

} // namespace Tool
