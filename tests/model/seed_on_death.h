// Reports the running case when the process dies.
#pragma once

#include <cstdint>

namespace Fenlet::Model {

/// If the process dies of a signal, `std::abort` or a sanitizer's finding, it first writes this
/// seed to standard error, and then dies as it would have otherwise. A later call replaces the
/// seed. Does not work for findings of gcc's UndefinedBehaviorSanitizer, which calls no handler.
void tellSeedOnDeath(std::uint64_t seed);

} // namespace Fenlet::Model
