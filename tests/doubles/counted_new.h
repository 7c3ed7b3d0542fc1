// An operator new that counts, fails on request, and pretends that the machine has one tebibyte.
#pragma once

#include <array>
#include <cstddef>

namespace Fenlet::Doubles {

/// The allocations since the last object of this class was made.
class AllocationCount {
  public:
    AllocationCount();
    std::size_t count() const;
    /// Sizes in bytes, in order, as far as there is room.
    std::array<std::size_t, 16> sizes() const;
};

/// Allocations of the whole process that were not freed.
std::size_t liveAllocations();

/// Whether allocations succeed again after the one that fails.
enum class Shortage { Lasting, Passing };

/// While it lives, allocation number `number`, counted from 0, throws `std::bad_alloc`. If the
/// shortage lasts, so do all later ones.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::size_t number, Shortage shortage = Shortage::Lasting);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

/// How many allocations the last `FailingAllocation` made fail.
std::size_t refusedAllocations();

} // namespace Fenlet::Doubles
