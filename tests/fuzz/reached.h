// What a fuzzer reports when it runs over stored inputs.
#pragma once

#include <cstddef>

namespace Fenlet::Fuzz {

/// How many inputs so far were not refused at any stage.
inline std::size_t reached = 0;

} // namespace Fenlet::Fuzz
