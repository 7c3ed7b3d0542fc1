// Seeds for the fuzzers. Each gets past everything that refuses inputs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet::Fuzz {

struct Seed {
    std::string name; ///< of its file
    std::vector<std::uint8_t> bytes;
};

/// For the fuzzer of programs.
std::vector<Seed> programSeeds();
/// For the fuzzer of kernels.
std::vector<Seed> kernelSeeds();

} // namespace Fenlet::Fuzz
