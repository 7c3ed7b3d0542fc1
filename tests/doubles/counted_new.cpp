// Replaces operators new and delete of this executable.
#include "counted_new.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t memoryOfTheMachine = std::size_t{1} << 40;

std::size_t counted = 0;
std::size_t live = 0;
std::size_t failFrom = SIZE_MAX;
std::size_t failTo = SIZE_MAX;
std::size_t refusedCount = 0;
std::array<std::size_t, 16> countedSizes{};

void* allocate(std::size_t size, std::size_t alignment) {
    const std::size_t number = counted++;
    if (number < countedSizes.size())
        countedSizes[number] = size;
    if (number >= failFrom && number <= failTo) {
        ++refusedCount;
        throw std::bad_alloc();
    }
    if (size > memoryOfTheMachine)
        throw std::bad_alloc();
    // aligned_alloc needs a multiple of the alignment that is not 0.
    const std::size_t rounded = (size + alignment) / alignment * alignment;
    void* const memory = std::aligned_alloc(alignment, rounded);
    if (memory == nullptr)
        throw std::bad_alloc();
    ++live;
    return memory;
}

void release(void* memory) noexcept {
    live -= memory != nullptr;
    std::free(memory);
}

constexpr std::size_t usualAlignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

} // namespace

void* operator new(std::size_t size) {
    return allocate(size, usualAlignment);
}
void* operator new[](std::size_t size) {
    return allocate(size, usualAlignment);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return allocate(size, usualAlignment);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}

namespace Fenlet::Doubles {

AllocationCount::AllocationCount() {
    counted = 0;
    countedSizes = {};
}

std::size_t AllocationCount::count() const {
    return counted;
}

std::array<std::size_t, 16> AllocationCount::sizes() const {
    return countedSizes;
}

std::size_t liveAllocations() {
    return live;
}

FailingAllocation::FailingAllocation(std::size_t number, Shortage shortage) {
    counted = 0;
    refusedCount = 0;
    failFrom = number;
    failTo = shortage == Shortage::Passing ? number : SIZE_MAX;
}

FailingAllocation::~FailingAllocation() {
    failFrom = SIZE_MAX;
}

std::size_t refusedAllocations() {
    return refusedCount;
}

} // namespace Fenlet::Doubles
