// Which case was in hand when the process died of it.
#pragma once

#include <cstdint>

namespace Fenlet::Model {

/// Has a process that dies of a signal, of `std::abort` or of a sanitizer's finding write to the
/// standard error stream that this seed was in hand. The last call counts. Whatever would have
/// happened otherwise happens afterwards. What gcc's UndefinedBehaviorSanitizer finds goes unseen:
/// it tells nobody.
void tellSeedOnDeath(std::uint64_t seed);

} // namespace Fenlet::Model
