// Which memory a view reaches, and whether two views can reach the same byte.
#pragma once

#include <fenlethosts/array_layout.h>

#include <cstdint>

namespace Fenlet {

/// The bytes of a range that belong to elements: pieces of `width` bytes, of which each begins a
/// multiple of `step` behind the range's start.
struct MemoryPieces {
    MemoryRange range;
    std::int64_t width = 0;
    std::int64_t step = 0; ///< 0 for a single piece
};

struct ArrayMemory {
    MemoryPieces values;
    MemoryPieces presence;
};

ArrayMemory memoryOf(const ArrayLayout& layout);

/// Whether no byte belongs to both. It may answer false where that is hard to tell.
bool areDisjoint(const MemoryPieces& a, const MemoryPieces& b);

/// Whether every element of one view lies exactly where the same element of the other does, values
/// and, as far as both have it, presence.
bool isSameLayout(const ArrayView& a, const ArrayView& b);

/// A view whose elements lie side by side, in the order of their numbers and wholly inside their
/// array: `data` null if it is not one.
struct FlatArray {
    const unsigned char* data = nullptr;
    const unsigned char* presence =
        nullptr; ///< a byte for each element, null where all have values
};
FlatArray flatArray(const ArrayLayout& layout);

/// Whether an element of the view can be missing: by presence, or by lying outside the array.
bool canBeMissing(const ArrayLayout& layout);

} // namespace Fenlet
