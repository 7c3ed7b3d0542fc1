// Room for one value while it is put together, before it is copied over a block.
#pragma once

namespace Fenlet {

/// Components of one value that the scratch has room for, each of at most 8 bytes.
inline constexpr int scratchComponents = 64;

/// Zero-filled, and aligned for every kind.
struct BlockScratch {
    alignas(8) unsigned char bytes[scratchComponents * 8] = {};
};

} // namespace Fenlet
