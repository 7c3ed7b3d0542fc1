// Copying one value to every element of a block.
#include "sources/broadcast_value.h"

#include <algorithm>
#include <cstring>

namespace Fenlet {

bool broadcastValue(void* destination, CpuElementKind kind, const void* value, int count,
                    int multiplicity) {
    const auto componentBytes = static_cast<std::size_t>(elementSize(kind));
    if (componentBytes == 0)
        return false;
    if (count < 1 || multiplicity < 1)
        return true;
    const std::size_t valueBytes = componentBytes * static_cast<std::size_t>(multiplicity);
    const std::size_t blockBytes = valueBytes * static_cast<std::size_t>(count);
    auto* const bytes = static_cast<unsigned char*>(destination);
    // Each copy doubles the number of bytes that are filled.
    std::memcpy(bytes, value, valueBytes);
    for (std::size_t done = valueBytes; done < blockBytes;) {
        const std::size_t length = std::min(done, blockBytes - done);
        std::memcpy(bytes + done, bytes, length);
        done += length;
    }
    return true;
}

bool updateBroadcast(void* destination, CpuElementKind kind, const void* value, int count,
                     int multiplicity, bool isAlike) {
    const auto valueBytes =
        static_cast<std::size_t>(elementSize(kind)) * static_cast<std::size_t>(multiplicity);
    if (isAlike && std::memcmp(destination, value, valueBytes) == 0)
        return true;
    return broadcastValue(destination, kind, value, count, multiplicity);
}

} // namespace Fenlet
