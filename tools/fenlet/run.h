// `fenlet run`: a program over files.
#pragma once

#include <fenletir/program.h>

#include <optional>
#include <string>
#include <vector>

namespace Tool {

struct RunOptions {
    std::vector<std::string> fields; ///< each of these NAME=VALUE
    std::vector<std::string> uniforms;
    std::vector<std::string> samplers;
    std::vector<std::string> outputs;
    std::vector<std::string> masks;
    std::optional<int> blockSize;   ///< what suits the program if there is none
    std::optional<long long> count; ///< all elements of the fields if there is none
    bool isForced = false;          ///< whether to run in spite of findings that spoil results
};

/// Thrown when the process was told to end, after unfinished files are removed.
struct Interrupted {
    int signal;
};

/// Marks the registers that a run writes to files as outputs of the program. Throws as `run` does.
void markOutputs(Fenlet::FenletProgram& program, const RunOptions& options);

/// Evaluates a sound program and writes its results. All files appear at the end, or none does.
/// Throws `std::runtime_error` in one line for the user, and `Interrupted`.
void run(const Fenlet::FenletProgram& program, const RunOptions& options);

} // namespace Tool
