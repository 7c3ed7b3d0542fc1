// Tests what a dying process reports about the running case.
#include "seed_on_death.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/mman.h>

namespace Fenlet::Model {
namespace {

void dieOfSignal(std::uint64_t seed, int signal) {
    tellSeedOnDeath(seed);
    raise(signal);
}

void dieOfAbort(std::uint64_t earlierSeed, std::uint64_t seed) {
    tellSeedOnDeath(earlierSeed);
    tellSeedOnDeath(seed);
    std::abort();
}

/// Writes to read-only memory, so that the processor raises the signal.
void dieOfFault(std::uint64_t seed) {
    auto* const page = static_cast<volatile unsigned char*>(
        mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    tellSeedOnDeath(seed);
    *page = 1;
}

TEST(SeedOnDeathDeathTest, IsToldOnEachFatalSignal) {
    for (const int signal : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV})
        EXPECT_DEATH(dieOfSignal(4711, signal), "died with seed 4711\n") << signal;
}

TEST(SeedOnDeathDeathTest, IsToldOnAFault) {
    EXPECT_DEATH(dieOfFault(12), "died with seed 12\n");
}

TEST(SeedOnDeathDeathTest, IsTheLastOneSet) {
    EXPECT_DEATH(dieOfAbort(1, 18446744073709551615u), "died with seed 18446744073709551615\n");
    EXPECT_DEATH(dieOfAbort(1, 0), "died with seed 0\n");
}

TEST(SeedOnDeathDeathTest, LeavesTheSignalToDoWhatItDid) {
    EXPECT_EXIT(dieOfSignal(1, SIGABRT), testing::KilledBySignal(SIGABRT), "died with seed 1\n");
}

} // namespace
} // namespace Fenlet::Model
