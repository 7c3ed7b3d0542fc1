// Copying one value over a block.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletir/program.h>

#include <cstddef>

namespace Fenlet {

/// Room for one value while it is put together, before it is copied over a block. It begins as
/// zeros, and its components have at most 8 bytes each.
struct BlockScratch {
    alignas(8) unsigned char bytes[std::size_t{mostScratchComponents} * 8] = {};
};

/// Stores the `multiplicity` packed components of `value` into each of `count` elements of
/// `destination`, as raw bits. Returns false, with nothing written, for a kind without storage; a
/// `count` or `multiplicity` below 1 writes nothing and returns true. The areas must not overlap.
bool broadcastValue(void* destination, CpuElementKind kind, const void* value, int count,
                    int multiplicity);

/// As `broadcastValue`. `isAlike` says that all elements of `destination` have the same components
/// already: if those are the value's, as in every block after the first, nothing is left to do.
bool updateBroadcast(void* destination, CpuElementKind kind, const void* value, int count,
                     int multiplicity, bool isAlike);

} // namespace Fenlet
