// Copying one value over a block.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletir/program.h>

#include <cstddef>

namespace Fenlet {

/// Room for one value before it is copied over a block. It starts as zeros. No kind has components
/// of more than 8 bytes.
struct BlockScratch {
    alignas(8) unsigned char bytes[std::size_t{mostScratchComponents} * 8] = {};
};

/// Stores the `multiplicity` packed components of `value` in each of `count` elements of
/// `destination`, bit by bit. Returns false, and writes nothing, for a kind without storage. A
/// `count` or `multiplicity` below 1 writes nothing and returns true. The areas must not overlap.
bool broadcastValue(void* destination, CpuElementKind kind, const void* value, int count,
                    int multiplicity);

/// Like `broadcastValue`. If `isAlike`, all elements of `destination` already have the same
/// components. Nothing is written if those are the components of `value`, as in every block after
/// the first.
bool updateBroadcast(void* destination, CpuElementKind kind, const void* value, int count,
                     int multiplicity, bool isAlike);

} // namespace Fenlet
