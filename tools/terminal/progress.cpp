// A progress line on the terminal for long work.
#include "terminal/progress.h"

#include <cstdio>
#include <unistd.h>
#include <utility>

namespace Terminal {

using namespace std::chrono_literals;

Progress::Progress(std::string newWhat, long long newTotal)
    : what(std::move(newWhat)),
      total(newTotal),
      isTerminal(isatty(STDERR_FILENO) == 1),
      next(std::chrono::steady_clock::now() + 300ms) {}

Progress::~Progress() {
    if (isShown)
        std::fputs("\r\033[K", stderr);
}

void Progress::advance(long long done) {
    if (!isTerminal || std::chrono::steady_clock::now() < next)
        return;
    next += 100ms;
    isShown = true;
    const double share = 100.0 * static_cast<double>(done) / static_cast<double>(total);
    std::fprintf(stderr, "\r%s: %3.0f %%\033[K", what.c_str(), share);
}

} // namespace Terminal
