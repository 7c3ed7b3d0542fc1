// Which bytes belong to the elements of a view, and whether two views share any.
#pragma once

#include <fenlethosts/array_layout.h>

#include <cstdint>

namespace Fenlet {

/// The bytes of a range that belong to elements: pieces of `width` bytes. The distance from the
/// range's start to a piece is always a multiple of `step`.
struct MemoryPieces {
    MemoryRange range;
    std::int64_t width = 0;
    std::int64_t step = 0; ///< 0 for a single piece
};

struct ArrayMemory {
    MemoryPieces values;
    MemoryPieces presence; ///< empty if the view has none
};

ArrayMemory memoryOf(const ArrayLayout& layout);

/// True only if no byte belongs to both. May return false for views that share nothing but are
/// interleaved in a complicated way.
bool areDisjoint(const MemoryPieces& a, const MemoryPieces& b);

/// Whether the values, or the presence, of each element lie exactly where those of the same element
/// of the other view do.
bool haveSameValues(const ArrayLayout& a, const ArrayLayout& b);
bool haveSamePresence(const ArrayLayout& a, const ArrayLayout& b);

/// The addresses of a view's elements if they are adjacent, in the order of their numbers, and all
/// inside the array. Otherwise, and for an empty view, `data` is null.
struct FlatArray {
    const unsigned char* data = nullptr;
    /// Adjacent bytes, one for each element; null if the view has no presence.
    const unsigned char* presence = nullptr;
};
FlatArray flatArray(const ArrayLayout& layout);

/// Whether an element of the view can be missing: because the view has presence, or because the
/// element lies outside the array.
bool canBeMissing(const ArrayLayout& layout);

} // namespace Fenlet
