// How registers are laid out in a register file.
#pragma once

#include "vocabulary/faults.h"

#include <fenletexec/register_file.h>

namespace Fenlet {

/// Every area begins at a multiple of this many bytes from the start of the storage.
inline constexpr std::uint64_t areaAlignment = 64;

inline constexpr std::uint64_t alignArea(std::uint64_t offset) {
    return (offset + areaAlignment - 1) / areaAlignment * areaAlignment;
}

/// Where a register goes.
struct Placement {
    RegisterSlot slot;
    std::uint64_t end; ///< the end of its areas
};

/// Places a register behind areas that end at `cursor`. If its areas would end beyond `limit`, or
/// at an offset that 64 bits cannot hold, the returned end is `limit` + 1.
inline Placement placeRegister(const RegisterSpec& spec, std::uint64_t cursor,
                               std::uint64_t elements, std::uint64_t limit) {
    const auto multiplicity = static_cast<std::uint64_t>(spec.multiplicity);
    const std::uint64_t bytesPerComponent =
        static_cast<std::uint64_t>(elementSize(spec.kind)) * elements;
    const std::uint64_t dataOffset = alignArea(cursor);
    // Counts the validity area and the padding that aligns it.
    const std::uint64_t spent = dataOffset + elements + 2 * areaAlignment;
    if (spent > limit ||
        (bytesPerComponent != 0 && multiplicity > (limit - spent) / bytesPerComponent))
        return {{spec, dataOffset, dataOffset}, limit + 1};
    const std::uint64_t validityOffset = alignArea(dataOffset + bytesPerComponent * multiplicity);
    return {{spec, dataOffset, validityOffset}, validityOffset + elements};
}

// Calls `specAt(number)` for each register's spec, so that planning a program need not allocate an
// array of specs.
template <class SpecAt>
bool RegisterFile::layOut(SpecAt specAt, int count, int elements) {
    slots.clear();
    storage.clear();
    blockSize = 0;
    blockLength = 0;
    lastError = nullptr;

    const auto fail = [this](const Fault& fault) {
        slots.clear();
        lastError = fault.message;
        return false;
    };
    if (elements < 1)
        return fail(Faults::blockSize);
    if (count < 0)
        return fail(Faults::specMissing);

    const std::uint64_t limit = storage.max_size();
    const auto elementCount = static_cast<std::uint64_t>(elements);
    std::uint64_t end = 0;
    slots.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number) {
        const RegisterSpec spec = specAt(number);
        if (spec.kind == CpuElementKind::Unsupported)
            return fail(Faults::specKind);
        if (spec.multiplicity < 1)
            return fail(Faults::specMultiplicity);
        const Placement placement = placeRegister(spec, end, elementCount, limit);
        slots.push_back(placement.slot);
        end = placement.end;
    }

    // The storage is empty, so `resize` clears every byte. If it throws, the slots must be removed,
    // because they would refer to storage that does not exist.
    try {
        storage.resize(alignArea(end));
    } catch (...) {
        slots.clear();
        throw;
    }
    blockSize = elements;
    return true;
}

} // namespace Fenlet
