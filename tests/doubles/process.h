// Running a program and waiting for what becomes of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet::Doubles {

struct Command {
    std::string program;
    std::vector<std::string> arguments;
    std::string folder;            ///< in which it runs
    std::string output;            ///< the file that takes its standard output, if not empty
    bool hasTerminal = false;      ///< its standard error is a terminal
    std::int64_t longestFile = -1; ///< bytes that it may write to one file, -1 for any number
    std::string input;             ///< the file that is its standard input, if not empty
};

struct Outcome {
    int status = 0; ///< what it returned, or minus the number of the signal that ended it
    std::string output;
    std::string error;
};

/// Throws `std::system_error` if it cannot be started.
Outcome run(const Command& command);

} // namespace Fenlet::Doubles
