// A progress line on the terminal for long work.
#pragma once

#include <chrono>
#include <string>

namespace Terminal {

/// Writes to standard error, and only if this is a terminal. The line appears after a moment, so
/// that short work shows nothing. The destructor removes the line.
class Progress {
  public:
    Progress(std::string what, long long total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(long long done);

  private:
    std::string what;
    long long total;
    bool isTerminal;
    bool isShown = false;
    std::chrono::steady_clock::time_point next;
};

} // namespace Terminal
