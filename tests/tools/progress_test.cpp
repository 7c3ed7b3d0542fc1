// The progress line for long work.
#include "terminal/progress.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace Terminal {
namespace {

using namespace std::chrono_literals;

/// Captures this program's standard error until it is destroyed.
class StandardError {
  public:
    /// Takes two ends of a pipe or terminal: `theirs`, to which standard error is written, and
    /// `newOurs`, from which the test reads.
    StandardError(int theirs, int newOurs) : ours(newOurs), saved(dup(STDERR_FILENO)) {
        dup2(theirs, STDERR_FILENO);
        close(theirs);
    }
    ~StandardError() {
        dup2(saved, STDERR_FILENO);
        close(saved);
        close(ours);
    }
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

    /// What was written since the last call. A terminal passes text on with a delay, so this
    /// function waits: long until it has as much text as `expected`, and then a moment for more.
    std::string written(const std::string& expected) const {
        std::string text;
        std::array<char, 256> buffer;
        pollfd file{ours, POLLIN, 0};
        while (poll(&file, 1, text.size() < expected.size() ? 10000 : 50) == 1) {
            const ssize_t got = read(ours, buffer.data(), buffer.size());
            if (got <= 0)
                break;
            text.append(buffer.data(), static_cast<std::size_t>(got));
        }
        return text;
    }

  private:
    int ours;
    int saved;
};

void expectWritten(const StandardError& error, const std::string& expected) {
    EXPECT_EQ(error.written(expected), expected);
}

TEST(Progress, AppearsOnATerminalAfterAMomentAndIsGoneAtTheEnd) {
    const int ours = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(ours, 0);
    ASSERT_EQ(grantpt(ours), 0);
    ASSERT_EQ(unlockpt(ours), 0);
    const StandardError terminal(open(ptsname(ours), O_RDWR | O_NOCTTY), ours);
    {
        Progress progress("drawing", 200);
        std::this_thread::sleep_for(310ms);
        progress.advance(50);
        expectWritten(terminal, "\rdrawing:  25 %\033[K");
        std::this_thread::sleep_for(110ms);
        progress.advance(200);
        expectWritten(terminal, "\rdrawing: 100 %\033[K");
    }
    expectWritten(terminal, "\r\033[K");
}

TEST(Progress, LeavesNoTraceOfShortWork) {
    const int ours = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(ours, 0);
    ASSERT_EQ(grantpt(ours), 0);
    ASSERT_EQ(unlockpt(ours), 0);
    const StandardError terminal(open(ptsname(ours), O_RDWR | O_NOCTTY), ours);
    const auto start = std::chrono::steady_clock::now();
    {
        Progress progress("drawing", 200);
        progress.advance(50);
        progress.advance(200);
    }
    // On a busy machine, the work may not have been short.
    const bool wasShort = std::chrono::steady_clock::now() - start < 300ms;
    const std::string written = terminal.written("");
    EXPECT_TRUE(written.empty() || !wasShort) << written;
}

TEST(Progress, GoesNowhereButToATerminal) {
    std::array<int, 2> ends;
    ASSERT_EQ(pipe(ends.data()), 0);
    const StandardError pipe(ends[1], ends[0]);
    {
        Progress progress("drawing", 200);
        std::this_thread::sleep_for(310ms);
        progress.advance(100);
    }
    expectWritten(pipe, "");
}

} // namespace
} // namespace Terminal
