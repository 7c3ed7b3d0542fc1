// Seeds for the fuzzers. Each seed gets past every check that can refuse an input.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet::Fuzz {

struct Seed {
    std::string name; ///< the name of its file
    std::vector<std::uint8_t> bytes;
};

/// For the fuzzer of programs.
std::vector<Seed> programSeeds();
/// For the fuzzer of kernels.
std::vector<Seed> kernelSeeds();

} // namespace Fenlet::Fuzz
