// Where the elements of a view lie in memory, for code that works on arrays in place.
#pragma once

#include <fenlethosts/array_view.h>
#include <fenlethosts/export.h>

#include <cstdint>

namespace Fenlet {

/// Where each element of a view lies. A place is the distance from the array's element 0, in bytes,
/// or in bits for presence bits. Axes that continue each other are merged, so a packed view has one
/// axis, whatever its shape.
class FENLETHOSTS_API ElementPlaces {
  public:
    struct Axis {
        std::int64_t size = 0;   ///< number of elements in the view
        std::int64_t stride = 0; ///< distance from one element to the next
        std::int64_t from = 0;   ///< elements `from` to `to` - 1 lie inside the array
        std::int64_t to = 0;
        std::int64_t inner = 1; ///< elements of the view for each step along this axis
    };
    /// Elements with consecutive numbers that either all lie inside the array, `stride()` apart, or
    /// all lie outside.
    struct Run {
        std::int64_t count = 0;
        bool isInside = false;
        std::int64_t place = 0; ///< place of the first element; 0 for a run outside
    };

    ElementPlaces() = default;
    /// `stride` selects the strides of the values or those of presence. `firstPlace` is the place
    /// of the array's element 0. The view must be one in which `faultOfView` finds no fault.
    ElementPlaces(const ArrayView& view, std::int64_t ArrayAxis::*stride, std::int64_t firstPlace);

    std::int64_t count() const { return elements; }
    int axisCount() const { return usedAxes; }
    const Axis& axis(int number) const { return axes[number]; }
    /// The distance from one element to the next along the last axis.
    std::int64_t stride() const { return axes[usedAxes - 1].stride; }
    /// The place of the first element that lies inside the array; 0 if there is none.
    std::int64_t origin() const { return firstInside; }

    /// Sets `place` to the place of element `number`. Returns false if the view has no such element
    /// or it lies outside the array.
    bool find(std::int64_t number, std::int64_t& place) const {
        if (number < 0 || number >= elements)
            return false;
        place = firstInside;
        std::int64_t rest = number;
        for (int k = 0; k + 1 < usedAxes; ++k) {
            const std::int64_t along = rest / axes[k].inner;
            rest -= along * axes[k].inner;
            if (along < axes[k].from || along >= axes[k].to)
                return false;
            place += (along - axes[k].from) * axes[k].stride;
        }
        const Axis& last = axes[usedAxes - 1];
        if (rest < last.from || rest >= last.to)
            return false;
        place += (rest - last.from) * last.stride;
        return true;
    }

    /// The longest run that starts at element `first` and has at most `most` elements. The view
    /// must have an element `first`, and `most` must be at least 1.
    Run runFrom(std::int64_t first, std::int64_t most) const {
        const Axis& only = axes[0];
        if (usedAxes != 1 || first < only.from || first >= only.to)
            return runAcrossAxes(first, most);
        const std::int64_t left = only.to - first;
        return {left < most ? left : most, true, firstInside + (first - only.from) * only.stride};
    }

    /// The least place of the elements that lie inside the array; 0 if there are none.
    std::int64_t least() const { return leastPlace; }
    /// The distance from the least place of an element inside the array to the greatest; -1 if no
    /// element lies inside.
    std::int64_t span() const { return placeSpan; }

  private:
    Run runAcrossAxes(std::int64_t first, std::int64_t most) const;

    Axis axes[mostAxes] = {};
    int usedAxes = 1;
    std::int64_t elements = 0;
    std::int64_t firstInside = 0;
    std::int64_t leastPlace = 0;
    std::int64_t placeSpan = -1;
};

/// The bytes from `begin` up to, but not including, `end`. Both are null for an empty range.
struct MemoryRange {
    const unsigned char* begin = nullptr;
    const unsigned char* end = nullptr;
};

/// Elements, or bytes of presence, at equal distances in memory.
struct FlatRun {
    const unsigned char* data = nullptr; ///< the first one; null if there is none
    std::int64_t count = 0;
};

/// Finds the elements of a view by number. Borrows the array's memory. Allocates nothing, except
/// that the constructor may allocate a message.
class FENLETHOSTS_API ArrayLayout {
  public:
    /// If `faultOfView` finds a fault, the layout has kind `Unsupported` and no elements.
    explicit ArrayLayout(const ArrayView& view);

    ArrayKind kind() const { return laneKind; }
    std::int32_t components() const { return laneCount; }
    std::int64_t laneBytes() const { return laneSize; }
    /// Size of an element in bytes, gaps between its components not counted.
    std::int64_t elementBytes() const { return laneSize * laneCount; }
    /// Bytes from one component to the next.
    std::int64_t componentStride() const { return laneStride; }
    bool hasAdjacentComponents() const { return laneStride == laneSize || laneCount == 1; }
    std::int64_t count() const { return valuePlaces.count(); }

    const unsigned char* data() const { return valueData; }
    const ElementPlaces& values() const { return valuePlaces; }

    bool hasPresence() const { return presenceData != nullptr; }
    bool hasPresenceBits() const { return hasBits; }
    const unsigned char* presenceAddress() const { return presenceData; }
    const ElementPlaces& presence() const { return presencePlaces; }

    /// The address of component 0 of element `number`; null if the view has no such element, or if
    /// the element lies outside the array.
    const unsigned char* addressOf(std::int64_t number) const {
        std::int64_t place = 0;
        return valuePlaces.find(number, place) ? valueData + place : nullptr;
    }
    /// The smallest range of memory that contains all elements that lie inside the array. Some of
    /// its bytes may belong to no element.
    MemoryRange valueMemory() const;
    /// The smallest range of memory that contains the presence bytes or bits of all elements that
    /// lie inside the array. Empty if the view has no presence or no such element.
    MemoryRange presenceMemory() const;

    /// Whether the view has an element `number` that lies inside the array and is present.
    bool isPresent(std::int64_t number) const;

    /// The longest run of elements from `first` on that lie inside the array, exactly `stride`
    /// bytes apart; at most `count` elements. Empty if element `first` lies outside. A run of one
    /// element has any `stride`. Ignores presence and `componentStride()`.
    FlatRun flatRun(std::int64_t first, std::int64_t count, std::int64_t stride) const;
    /// The longest run of adjacent presence bytes from element `first` on. Empty if the view has no
    /// presence or has presence bits.
    FlatRun flatPresence(std::int64_t first, std::int64_t count) const;

  private:
    const unsigned char* valueData = nullptr;
    const unsigned char* presenceData = nullptr;
    ElementPlaces valuePlaces;
    ElementPlaces presencePlaces;
    std::int64_t laneSize = 0;
    std::int64_t laneStride = 0;
    std::int32_t laneCount = 1;
    ArrayKind laneKind = ArrayKind::Unsupported;
    bool hasBits = false;
};

/// Whether bit number `place` is set. Bit 0 is the lowest bit of the byte at `bits`; negative
/// numbers count bits in the bytes before it.
inline bool bitAt(const unsigned char* bits, std::int64_t place) {
    return (bits[place >> 3] >> (place & 7) & 1) != 0;
}

} // namespace Fenlet
