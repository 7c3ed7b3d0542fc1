// Copying one value to every element of a block.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletir/program.h>

#include <cstddef>

namespace Fenlet {

/// Buffer for one value before it is copied to every element of a block. It starts as zeros. No
/// kind has components of more than 8 bytes.
struct BlockScratch {
    alignas(8) unsigned char bytes[std::size_t{mostScratchComponents} * 8] = {};
};

/// Copies the `multiplicity` packed components of `value`, byte for byte, to each of `count`
/// elements of `destination`. Returns false, and writes nothing, for a kind without storage. A
/// `count` or `multiplicity` below 1 writes nothing and returns true. The areas must not overlap.
bool broadcastValue(void* destination, CpuElementKind kind, const void* value, int count,
                    int multiplicity);

/// Like `broadcastValue`. `isAlike` states that all elements of `destination` already have the same
/// components. If these are the components of `value`, as in most blocks after the first, nothing
/// is written.
bool updateBroadcast(void* destination, CpuElementKind kind, const void* value, int count,
                     int multiplicity, bool isAlike);

} // namespace Fenlet
