// `fenlet bench`: how long a program takes.
#pragma once

#include <fenletir/program.h>

namespace Tool {

/// Prints the time for each element, for several block sizes, and for each instruction at
/// `blockSize`, as tables. Data is made up. Throws `std::runtime_error` in one line for the user.
void bench(const Fenlet::FenletProgram& program, int blockSize);

} // namespace Tool
