// Which bytes belong to the elements of a view.
#include "array_memory.h"

#include <cstdlib>
#include <numeric>

namespace Fenlet {
namespace {

MemoryPieces piecesOf(const MemoryRange& range, std::int64_t width, const ElementPlaces& places) {
    MemoryPieces pieces{range, width, 0};
    for (int number = 0; number < places.axisCount(); ++number) {
        const ElementPlaces::Axis& axis = places.axis(number);
        if (axis.to - axis.from > 1)
            pieces.step = std::gcd(pieces.step, std::abs(axis.stride));
    }
    return pieces;
}

bool areSamePlaces(const ElementPlaces& a, const ElementPlaces& b) {
    if (a.count() != b.count() || a.axisCount() != b.axisCount() || a.origin() != b.origin())
        return false;
    for (int number = 0; number < a.axisCount(); ++number) {
        const ElementPlaces::Axis& one = a.axis(number);
        const ElementPlaces::Axis& other = b.axis(number);
        if (one.size != other.size || one.from != other.from || one.to != other.to ||
            (one.to - one.from > 1 && one.stride != other.stride))
            return false;
    }
    return true;
}

bool isInside(const ElementPlaces& places) {
    for (int number = 0; number < places.axisCount(); ++number)
        if (places.axis(number).from > 0 || places.axis(number).to < places.axis(number).size)
            return false;
    return true;
}

std::int64_t lengthOf(const MemoryRange& range) {
    return static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(range.end) -
                                     reinterpret_cast<std::uintptr_t>(range.begin));
}

} // namespace

ArrayMemory memoryOf(const ArrayLayout& layout) {
    ArrayMemory memory;
    if (layout.count() < 1 || lengthOf(layout.valueMemory()) == 0)
        return memory;
    const std::int64_t width =
        layout.laneBytes() + std::abs(layout.componentStride()) * (layout.components() - 1);
    memory.values = piecesOf(layout.valueMemory(), width, layout.values());
    if (layout.hasPresence())
        memory.presence = piecesOf(layout.presenceMemory(), 1, layout.presence());
    // Elements share bytes: a piece can begin at any byte.
    if (layout.hasPresenceBits())
        memory.presence.step = 1;
    return memory;
}

bool areDisjoint(const MemoryPieces& a, const MemoryPieces& b) {
    const auto address = [](const unsigned char* byte) {
        return reinterpret_cast<std::uintptr_t>(byte);
    };
    if (lengthOf(a.range) == 0 || lengthOf(b.range) == 0 ||
        address(a.range.end) <= address(b.range.begin) ||
        address(b.range.end) <= address(a.range.begin))
        return true;
    // The pieces may still alternate, like the columns of one table.
    const std::int64_t step = std::gcd(a.step, b.step);
    if (step == 0)
        return false;
    const auto widthOf = [](const MemoryPieces& one) {
        return one.step == 0 ? lengthOf(one.range) : one.width;
    };
    const std::int64_t distance =
        static_cast<std::int64_t>(address(b.range.begin) - address(a.range.begin)) % step;
    const std::int64_t between = distance < 0 ? distance + step : distance;
    return between >= widthOf(a) && between + widthOf(b) <= step;
}

bool haveSameValues(const ArrayLayout& a, const ArrayLayout& b) {
    return a.data() == b.data() && a.laneBytes() == b.laneBytes() &&
           a.components() == b.components() &&
           (a.components() == 1 || a.componentStride() == b.componentStride()) &&
           areSamePlaces(a.values(), b.values());
}

bool haveSamePresence(const ArrayLayout& a, const ArrayLayout& b) {
    return a.presenceAddress() == b.presenceAddress() &&
           a.hasPresenceBits() == b.hasPresenceBits() && areSamePlaces(a.presence(), b.presence());
}

FlatArray flatArray(const ArrayLayout& layout) {
    const std::int64_t count = layout.count();
    if (count < 1 || !layout.hasAdjacentComponents())
        return {};
    const FlatRun values = layout.flatRun(0, count, layout.elementBytes());
    const FlatRun presence = layout.flatPresence(0, count);
    if (values.count < count || (layout.hasPresence() && presence.count < count))
        return {};
    return {values.data, presence.data};
}

bool canBeMissing(const ArrayLayout& layout) {
    return layout.hasPresence() || !isInside(layout.values());
}

} // namespace Fenlet
