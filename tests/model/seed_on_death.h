// Reports the running case when the process dies.
#pragma once

#include <cstdint>

namespace Fenlet::Model {

/// If the process dies of a signal, `std::abort` or a sanitizer's finding, it first writes this
/// seed to standard error. A later call replaces the seed. Then the process dies as it would have
/// otherwise. Findings of gcc's UndefinedBehaviorSanitizer are not seen: it calls no handler.
void tellSeedOnDeath(std::uint64_t seed);

} // namespace Fenlet::Model
