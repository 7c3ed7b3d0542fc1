// `fenlet bench`: how long a program takes.
#pragma once

#include <fenletir/program.h>

#include <optional>

namespace Tool {

/// Prints the time for each element, for several block sizes, and for each instruction at
/// `blockSize`, or at one that suits the program, as tables. Data is made up. Throws
/// `std::runtime_error` in one line for the user.
void bench(const Fenlet::FenletProgram& program, std::optional<int> blockSize);

} // namespace Tool
