// No instructions that compilers do not find.
#pragma once

#include "kernels/target/offers.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

inline constexpr int vectorBytes = 16;

/// Whether any bit of a vector is set. No compiler finds the instruction for that.
template <class Vector>
inline bool isAnySet(const Vector& bytes) {
    using Words [[gnu::vector_size(vectorBytes)]] = std::uint64_t;
    const auto words = bitCast<Words>(bytes);
    return (words[0] | words[1]) != 0;
}

/// None.
struct WideLanes {};

} // namespace FENLET_TARGET
} // namespace Fenlet
