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

/// A register's slot when the areas before it end at `cursor`, and where its own areas end. An end
/// past `limit` stands for every one that is too far.
struct Placement {
    RegisterSlot slot;
    std::uint64_t end;
};

inline Placement placeRegister(const RegisterSpec& spec, std::uint64_t cursor,
                               std::uint64_t elements, std::uint64_t limit) {
    const auto multiplicity = static_cast<std::uint64_t>(spec.multiplicity);
    const std::uint64_t bytesPerComponent =
        static_cast<std::uint64_t>(elementSize(spec.kind)) * elements;
    const std::uint64_t dataOffset = alignArea(cursor);
    // Leaves room for the validity area and its alignment.
    const std::uint64_t spent = dataOffset + elements + 2 * areaAlignment;
    if (spent > limit ||
        (bytesPerComponent != 0 && multiplicity > (limit - spent) / bytesPerComponent))
        return {{spec, dataOffset, dataOffset}, limit + 1};
    const std::uint64_t validityOffset = alignArea(dataOffset + bytesPerComponent * multiplicity);
    return {{spec, dataOffset, validityOffset}, validityOffset + elements};
}

// Asks `specAt(number)` for each register's spec, so that the specs need not stand in one array:
// what plans a program can hand them over without allocating any.
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

    // The storage was emptied, so every byte of it becomes zero here. If it cannot be had there are
    // no slots either, and every area reads as absent.
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
