// Reports the running case when the process dies.
#include "seed_on_death.h"

#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define FENLET_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) ||                         \
    __has_feature(thread_sanitizer) || __has_feature(undefined_behavior_sanitizer)
#define FENLET_SANITIZED 1
#endif
#endif
#ifdef FENLET_SANITIZED
#include <sanitizer/common_interface_defs.h>
#endif

namespace Fenlet::Model {
namespace {

constexpr int fatalSignals[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV};

std::atomic<std::uint64_t> currentSeed{0};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "a signal handler reads it");

/// The action for each signal before `tellSeedOnDeath` replaced it.
struct sigaction before[std::size(fatalSignals)];

/// Does only what a signal handler may do: it allocates nothing and uses no stream.
void tellSeed() {
    constexpr char words[] = "died with seed ";
    constexpr std::size_t mostDigits = 20;
    char text[sizeof words + mostDigits];
    std::memcpy(text, words, sizeof words - 1);
    std::size_t length = sizeof words - 1;
    const std::uint64_t seed = currentSeed;
    std::uint64_t power = 1;
    while (seed / power >= 10)
        power *= 10;
    for (; power != 0; power /= 10)
        text[length++] = static_cast<char>('0' + seed / power % 10);
    text[length++] = '\n';
    // If this fails, nothing more can be done.
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text, length);
}

void handle(int signal, siginfo_t* information, void*) {
    tellSeed();
    for (std::size_t i = 0; i < std::size(fatalSignals); ++i)
        if (fatalSignals[i] == signal)
            sigaction(signal, &before[i], nullptr);
    // After a return from here a fault happens again, but a signal that was sent must be raised
    // again.
    if (information->si_code <= 0)
        raise(signal);
}

bool install() {
    struct sigaction action = {};
    action.sa_sigaction = handle;
    action.sa_flags = SA_SIGINFO;
    for (std::size_t i = 0; i < std::size(fatalSignals); ++i)
        sigaction(fatalSignals[i], &action, &before[i]);
#ifdef FENLET_SANITIZED
    __sanitizer_set_death_callback(tellSeed);
#endif
    return true;
}

} // namespace

void tellSeedOnDeath(std::uint64_t seed) {
    [[maybe_unused]] static const bool installed = install();
    currentSeed = seed;
}

} // namespace Fenlet::Model
