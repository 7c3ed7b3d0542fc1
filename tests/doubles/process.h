// Runs a program and waits for its end.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet::Doubles {

struct Command {
    std::string program;
    std::vector<std::string> arguments;
    std::string folder;            ///< the working folder
    std::string output;            ///< the file for its standard output, if not empty
    bool hasTerminal = false;      ///< whether its standard error is a terminal
    std::int64_t longestFile = -1; ///< bytes that it may write to one file; -1 for no limit
    std::string input;             ///< the file for its standard input, if not empty
};

struct Outcome {
    int status = 0; ///< exit status, or minus the number of the signal that ended it
    std::string output;
    std::string error;
};

/// Runs the command and waits for its end. Throws `std::system_error` if the command cannot be
/// started.
Outcome run(const Command& command);

} // namespace Fenlet::Doubles
