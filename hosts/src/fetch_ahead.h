// Asking for memory before its turn.
//
// A program's fields and results take turns, each with a piece of a page or less, and no processor
// foresees that by itself: the start of every piece would be waited for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Fenlet {

inline constexpr std::size_t lineBytes = 64;

/// Asks for the line at an address, which may be any: nothing is read there. Into the nearest
/// cache: measured, that takes a sixth less time on some processors than the cache behind it.
inline void fetchLine(std::uintptr_t address) {
    __builtin_prefetch(reinterpret_cast<const void*>(address));
}

/// Asks for the lines of `bytes` from `next` on; what is left of the last comes with the run after.
inline void fetchAhead(const void* next, std::size_t bytes) {
    const auto address = reinterpret_cast<std::uintptr_t>(next);
    for (std::size_t i = 0; i + lineBytes <= bytes; i += lineBytes)
        fetchLine(address + i);
}

/// Copies a run, and asks for as many bytes from `next` on. Line by line in turns: a copy in one
/// piece after all the asking would wait until the lines are there.
inline void copyAndFetchAhead(unsigned char* __restrict out, const unsigned char* __restrict in,
                              std::size_t bytes, const void* next) {
    const auto address = reinterpret_cast<std::uintptr_t>(next);
    std::size_t i = 0;
    for (; i + lineBytes <= bytes; i += lineBytes) {
        fetchLine(address + i);
        std::memcpy(out + i, in + i, lineBytes);
    }
    std::memcpy(out + i, in + i, bytes - i);
}

} // namespace Fenlet
