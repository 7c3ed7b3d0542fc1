// Inputs for the fuzzers to begin with, each of which comes to what its fuzzer is about.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet::Fuzz {

struct Seed {
    std::string name; ///< as a file's
    std::vector<std::uint8_t> bytes;
};

/// For the fuzzer of programs.
std::vector<Seed> programSeeds();
/// For the fuzzer of kernels.
std::vector<Seed> kernelSeeds();

} // namespace Fenlet::Fuzz
