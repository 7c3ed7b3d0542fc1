// Arithmetic on element numbers.
#pragma once

#include <cstdint>

namespace Fenlet {

/// `number` + `offset`, wrapping: element numbers have no limits of their own, and a host may start
/// a range anywhere.
inline std::int64_t offsetElement(std::int64_t number, std::int64_t offset) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(number) +
                                     static_cast<std::uint64_t>(offset));
}

} // namespace Fenlet
