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

/// While it lives, allocation number `number`, counted from 0, throws `std::bad_alloc`, and all
/// after it.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::size_t number);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

} // namespace Fenlet::Doubles
