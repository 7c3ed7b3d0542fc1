// Runs a program and waits for its end.
#include "doubles/process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Fenlet::Doubles {
namespace {

int orThrow(int result, const char* what) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

/// An open file that closes itself.
class File {
  public:
    explicit File(int newNumber = -1) : number(newNumber) {}
    File(File&& other) noexcept : number(std::exchange(other.number, -1)) {}
    File& operator=(File&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~File() { close(); }

    void close() {
        if (number >= 0)
            ::close(std::exchange(number, -1));
    }

    int number;
};

/// A pipe or a terminal: the end where the program writes, and the end where the test reads.
struct Channel {
    File ours;
    File theirs;
};

Channel pipeChannel() {
    int ends[2];
    orThrow(pipe2(ends, O_CLOEXEC), "pipe");
    return {File(ends[0]), File(ends[1])};
}

Channel terminalChannel() {
    File ours(orThrow(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt"));
    orThrow(grantpt(ours.number), "grantpt");
    orThrow(unlockpt(ours.number), "unlockpt");
    File theirs(orThrow(open(ptsname(ours.number), O_RDWR | O_NOCTTY | O_CLOEXEC), "terminal"));
    return {std::move(ours), std::move(theirs)};
}

/// Runs in the new process. Calls only functions that are safe between fork and exec.
[[noreturn]] void become(const Command& command, char* const* arguments, int input, int output,
                         int error) {
    const rlimit limit{static_cast<rlim_t>(command.longestFile),
                       static_cast<rlim_t>(command.longestFile)};
    const bool isReady = (command.folder.empty() || chdir(command.folder.c_str()) == 0) &&
                         (input < 0 || dup2(input, STDIN_FILENO) >= 0) &&
                         dup2(output, STDOUT_FILENO) >= 0 && dup2(error, STDERR_FILENO) >= 0 &&
                         (command.longestFile < 0 || (std::signal(SIGXFSZ, SIG_IGN) != SIG_ERR &&
                                                      setrlimit(RLIMIT_FSIZE, &limit) == 0));
    if (isReady)
        execv(command.program.c_str(), arguments);
    _exit(127);
}

/// Reads both channels until both have ended. Reading from a terminal fails when no process has it
/// open any more; this counts as its end.
void drain(File& output, std::string& outputText, File& error, std::string& errorText) {
    pollfd files[2] = {{output.number, POLLIN, 0}, {error.number, POLLIN, 0}};
    std::string* const texts[2] = {&outputText, &errorText};
    while (files[0].fd >= 0 || files[1].fd >= 0) {
        if (poll(files, 2, -1) < 0 && errno != EINTR)
            orThrow(-1, "poll");
        for (int i = 0; i < 2; ++i) {
            if (files[i].fd < 0 || files[i].revents == 0)
                continue;
            char buffer[4096];
            const ssize_t got = read(files[i].fd, buffer, sizeof buffer);
            if (got > 0)
                texts[i]->append(buffer, static_cast<std::size_t>(got));
            else if (got == 0 || errno != EINTR)
                files[i].fd = -1;
        }
    }
}

} // namespace

Outcome run(const Command& command) {
    std::vector<std::string> words = {command.program};
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    Channel output = pipeChannel();
    Channel error = command.hasTerminal ? terminalChannel() : pipeChannel();
    if (!command.output.empty())
        output.theirs = File(
            orThrow(open(command.output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666), "output"));
    File input;
    if (!command.input.empty())
        input = File(orThrow(open(command.input.c_str(), O_RDONLY | O_CLOEXEC), "input"));
    const pid_t child = orThrow(fork(), "fork");
    if (child == 0)
        become(command, arguments.data(), input.number, output.theirs.number, error.theirs.number);
    output.theirs.close();
    error.theirs.close();

    Outcome outcome;
    drain(output.ours, outcome.output, error.ours, outcome.error);
    int status = 0;
    orThrow(waitpid(child, &status, 0), "waitpid");
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return outcome;
}

} // namespace Fenlet::Doubles
