// Arithmetic on element numbers.
#pragma once

#include <cstdint>

namespace Fenlet {

/// `number` + `offset` modulo 2 to the power 64. The sum may overflow, because a host may start a
/// range at any number.
inline std::int64_t offsetElement(std::int64_t number, std::int64_t offset) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(number) +
                                     static_cast<std::uint64_t>(offset));
}

} // namespace Fenlet
