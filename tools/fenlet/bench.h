// `fenlet bench`: measures how long a program takes.
#pragma once

#include <fenletir/program.h>

#include <optional>

namespace Tool {

/// Prints two tables: the time per element at several block sizes, with a mark at the advised one,
/// and the time per instruction at `blockSize`, or at the advised size if there is none. The data
/// is made up. Throws `std::runtime_error` with one line for the user.
void bench(const Fenlet::FenletProgram& program, std::optional<int> blockSize);

} // namespace Tool
