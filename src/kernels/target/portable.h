// An unknown processor: everything is left to the compiler.
#pragma once

#include "kernels/target/offers.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

inline constexpr int vectorBytes = 16;

/// Whether any bit of a vector is set.
template <class Vector>
inline bool isAnySet(const Vector& bytes) {
    using Words [[gnu::vector_size(vectorBytes)]] = std::uint64_t;
    const auto words = bitCast<Words>(bytes);
    return (words[0] | words[1]) != 0;
}

/// There are no conversions here.
struct WideLanes {};

} // namespace FENLET_TARGET
} // namespace Fenlet
