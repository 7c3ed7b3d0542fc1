// What a fuzzer tells those who run it over kept inputs.
#pragma once

#include <cstddef>

namespace Fenlet::Fuzz {

/// How many inputs so far came to what the fuzzer is about, past everything that refuses them.
inline std::size_t reached = 0;

} // namespace Fenlet::Fuzz
