// `fenlet run`: evaluates a program over files.
#pragma once

#include <fenletir/program.h>

#include <optional>
#include <string>
#include <vector>

namespace Tool {

struct RunOptions {
    std::vector<std::string> fields; ///< each entry of these lists has the form NAME=VALUE
    std::vector<std::string> uniforms;
    std::vector<std::string> samplers;
    std::vector<std::string> outputs;
    std::vector<std::string> masks;
    std::optional<int> blockSize;   ///< by default, a size that suits the program
    std::optional<int> threads;     ///< at most; by default, all cores
    std::optional<long long> count; ///< by default, all elements of the fields
    bool isForced = false;          ///< whether to run in spite of findings that spoil results
};

/// Thrown when a signal asks the process to end. By then, unfinished files have been removed.
struct Interrupted {
    int signal;
};

/// Marks the registers that a run writes to files as outputs of the program. Throws as `run` does.
void markOutputs(Fenlet::FenletProgram& program, const RunOptions& options);

/// Evaluates a sound program and writes its results. The output files appear all together at the
/// end; after a failure none appears. On failure throws `std::runtime_error` with one line for the
/// user, or `Interrupted`.
void run(const Fenlet::FenletProgram& program, const RunOptions& options);

} // namespace Tool
