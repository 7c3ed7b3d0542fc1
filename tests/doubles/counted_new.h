// An operator new that counts allocations, fails on request, and refuses more memory than one
// tebibyte.
#pragma once

#include <array>
#include <cstddef>

namespace Fenlet::Doubles {

/// The allocations since the last object of this class was made.
class AllocationCount {
  public:
    AllocationCount();
    std::size_t count() const;
    /// The sizes of the first allocations, in bytes.
    std::array<std::size_t, 16> sizes() const;
};

/// Allocations of the whole process that were not freed.
std::size_t liveAllocations();

/// Whether allocations succeed again after the one that fails.
enum class Shortage { Lasting, Passing };

/// While an object of this class lives, allocation number `number`, counted from 0, throws
/// `std::bad_alloc`. If the shortage is lasting, all later allocations throw it, too.
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
