// An operator new that counts, fails on request, and has a machine of one tebibyte.
#pragma once

#include <array>
#include <cstddef>

namespace Fenlet::Doubles {

/// What was allocated since the construction of the last of these.
class AllocationCount {
  public:
    AllocationCount();
    std::size_t count() const;
    /// Sizes in bytes, in order; as many as there is room for.
    std::array<std::size_t, 16> sizes() const;
};

/// Allocations of the whole process that have not been given back.
std::size_t liveAllocations();

/// Whether memory is there again after the one allocation that fails.
enum class Shortage { Lasting, Passing };

/// While it lives, allocation number `number`, counted from 0, throws `std::bad_alloc`; where the
/// shortage lasts, all after it do.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::size_t number, Shortage shortage = Shortage::Lasting);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

/// How many allocations the last `FailingAllocation` has made to fail, until the next one.
std::size_t refusedAllocations();

} // namespace Fenlet::Doubles
