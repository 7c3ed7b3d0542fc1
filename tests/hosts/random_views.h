// Random views over memory with fences, and a naive reader for them.
#pragma once

#include "hosts/lane_bits.h"
#include "kernels/fenced_area.h"

#include <fenlethosts/array_view.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace Fenlet {

/// Prints a kind in the message of a failed check.
inline void PrintTo(ArrayKind kind, std::ostream* out) {
    *out << arrayKindName(kind);
}

namespace Hosts {

inline constexpr ArrayKind allArrayKinds[] = {
    ArrayKind::Tribool, ArrayKind::Int32,   ArrayKind::Int64,  ArrayKind::Half,
    ArrayKind::Float32, ArrayKind::Float64, ArrayKind::Bool,   ArrayKind::Int8,
    ArrayKind::UInt8,   ArrayKind::Int16,   ArrayKind::UInt16, ArrayKind::UInt32};

/// Random numbers that are the same on every machine.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : engine(seed) {}

    /// From `least` to `most`.
    std::int64_t draw(std::int64_t least, std::int64_t most) {
        const auto width = static_cast<std::uint64_t>(most - least) + 1;
        return least + static_cast<std::int64_t>(width == 0 ? engine() : engine() % width);
    }
    bool once(std::int64_t in) { return draw(1, in) == 1; }
    template <class Value>
    Value pick(std::initializer_list<Value> values) {
        return values.begin()[draw(0, static_cast<std::int64_t>(values.size()) - 1)];
    }
    std::uint64_t bits() { return engine(); }

  private:
    std::mt19937_64 engine;
};

/// Random bits of a lane, often those of a special value.
inline std::uint64_t drawLane(Dice& dice, CpuElementKind kind) {
    const std::vector<std::uint64_t> telling = tellingBits(kind);
    if (dice.once(2))
        return telling[static_cast<std::size_t>(
            dice.draw(0, static_cast<std::int64_t>(telling.size()) - 1))];
    const int width = 8 * elementSize(kind);
    const std::uint64_t any = dice.bits();
    // Draws small numbers, too, because these fit into narrow arrays.
    const std::uint64_t some =
        dice.once(2) ? static_cast<std::uint64_t>(dice.draw(-70000, 70000)) : any;
    return width == 64 ? some : some & ((std::uint64_t{1} << width) - 1);
}

/// The bits of an array's lane after conversion to its register kind.
inline std::uint64_t registerBits(ArrayKind kind, const unsigned char* lane) {
    const auto as = [&](auto value) {
        std::memcpy(&value, lane, sizeof value);
        const auto wide = static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
        return registerKind(kind) == CpuElementKind::Int32 ? wide & 0xFFFFFFFF : wide;
    };
    switch (kind) {
    case ArrayKind::Bool:
        return *lane != 0;
    case ArrayKind::Int8:
        return as(std::int8_t{});
    case ArrayKind::UInt8:
        return as(std::uint8_t{});
    case ArrayKind::Int16:
        return as(std::int16_t{});
    case ArrayKind::UInt16:
        return as(std::uint16_t{});
    case ArrayKind::UInt32:
        return as(std::uint32_t{});
    default:
        return loadBits(registerKind(kind), lane);
    }
}

/// The position in the array, along each axis, of element `number` of the view. Nothing if the
/// element lies outside the array.
inline std::optional<std::vector<std::int64_t>> placeInArray(const ArrayView& view,
                                                             std::int64_t number) {
    std::vector<std::int64_t> place(static_cast<std::size_t>(view.axisCount));
    for (int k = view.axisCount - 1; k >= 0; --k) {
        const ArrayAxis& axis = view.axes[k];
        const std::int64_t at = wrappingSum(number % axis.size, axis.offset);
        number /= axis.size;
        if (at < 0 || at >= axis.extent)
            return std::nullopt;
        place[static_cast<std::size_t>(k)] = at;
    }
    return place;
}

/// The distance of `place` from the array's element 0, with the strides that `stride` selects.
inline std::int64_t distance(const ArrayView& view, const std::vector<std::int64_t>& place,
                             std::int64_t ArrayAxis::*stride) {
    std::int64_t sum = 0;
    for (std::size_t k = 0; k < place.size(); ++k)
        sum += place[k] * (view.axes[k].*stride);
    return sum;
}

/// One element of a view.
struct NaiveElement {
    bool isInside = false;
    bool isPresent = false;
    std::vector<std::uint64_t> lanes; ///< as `registerKind` holds them
};

inline NaiveElement naiveElement(const ArrayView& view, std::int64_t number) {
    NaiveElement element;
    if (number < 0 || number >= view.count())
        return element;
    const auto place = placeInArray(view, number);
    if (!place)
        return element;
    element.isInside = true;
    const auto* const data =
        static_cast<const unsigned char*>(view.data) + distance(view, *place, &ArrayAxis::stride);
    for (std::int32_t c = 0; c < view.components; ++c)
        element.lanes.push_back(registerBits(view.kind, data + c * view.componentStride));
    element.isPresent = true;
    if (view.presence.data != nullptr) {
        const std::int64_t at =
            view.presence.firstBit + distance(view, *place, &ArrayAxis::presenceStride);
        if (view.presence.isBits) {
            const std::int64_t byte = at >= 0 ? at / 8 : -((7 - at) / 8);
            element.isPresent = (view.presence.data[byte] >> (at - 8 * byte) & 1) != 0;
        } else {
            element.isPresent = view.presence.data[at] != 0;
        }
    }
    return element;
}

/// A random view and its memory. The memory ends or begins at a page that must not be touched.
struct DrawnView {
    MutableArrayView view;
    std::unique_ptr<FencedArea> values;
    std::unique_ptr<FencedArea> presence;
    std::size_t valueBytes = 0;
    std::size_t presenceBytes = 0;
    std::string text; ///< a description for messages
};

/// Constraints on a random view.
struct DrawnShape {
    bool isWritten = false; ///< no two elements share memory
    bool isLarge = false;   ///< elements of many components
};

/// Random strides for axes of these extents: packed, with gaps or negative. If not `areApart`,
/// elements may also overlap, and strides may be 0. `unit` is the size of one place.
inline std::vector<std::int64_t> drawStrides(Dice& dice, const std::vector<std::int64_t>& extents,
                                             std::int64_t unit, bool areApart) {
    std::vector<std::size_t> order(extents.size());
    for (std::size_t k = 0; k < order.size(); ++k)
        order[k] = order.size() - 1 - k;
    if (dice.once(3))
        std::reverse(order.begin(), order.end());
    if (dice.once(4))
        for (std::size_t k = order.size(); k > 1; --k)
            std::swap(
                order[k - 1],
                order[static_cast<std::size_t>(dice.draw(0, static_cast<std::int64_t>(k) - 1))]);
    const std::int64_t gapIn = dice.pick({2, 5, 1000000});
    std::vector<std::int64_t> strides(extents.size());
    std::int64_t inner = unit;
    for (const std::size_t k : order) {
        if (dice.once(gapIn))
            inner += dice.draw(0, 2 * unit + 3);
        strides[k] = inner;
        inner *= std::max<std::int64_t>(extents[k], 1);
        if (dice.once(5))
            strides[k] = -strides[k];
        if (!areApart && dice.once(6))
            strides[k] = dice.pick<std::int64_t>({0, 0, unit, -unit, 1, dice.draw(-9, 9)});
    }
    return strides;
}

/// The places that a view touches.
struct PlaceRange {
    std::int64_t least = 0;
    std::int64_t end = 0;
    bool isEmpty = true;

    void add(std::int64_t from, std::int64_t to) {
        least = isEmpty ? from : std::min(least, from);
        end = isEmpty ? to : std::max(end, to);
        isEmpty = false;
    }
};

/// Draws sizes, offsets, extents and strides.
inline void drawAxes(Dice& dice, const DrawnShape& shape, MutableArrayView& view) {
    std::int64_t left = shape.isLarge ? 6 : 400;
    std::vector<std::int64_t> extents;
    for (int k = 0; k < view.axisCount; ++k) {
        ArrayAxis& axis = view.axes[k];
        const std::int64_t most = std::min(left, dice.pick<std::int64_t>({1, 3, 9, 300}));
        axis.size = dice.once(40) ? 0 : dice.draw(1, most);
        left /= std::max<std::int64_t>(axis.size, 1);
        axis.extent = axis.size;
        if (dice.once(3)) {
            axis.offset = dice.draw(-axis.size - 1, axis.size + 1);
            axis.extent = std::max<std::int64_t>(0, axis.size + dice.draw(-2, 3));
        }
        extents.push_back(axis.extent);
    }
    const std::vector<std::int64_t> presenceStrides =
        drawStrides(dice, extents, 1, shape.isWritten);
    // The components count as one more axis.
    const std::int64_t laneBytes = componentSize(view.kind);
    extents.push_back(view.components);
    const std::vector<std::int64_t> strides =
        drawStrides(dice, extents, laneBytes, shape.isWritten);
    view.componentStride = view.components == 1 && dice.once(2) ? laneBytes : strides.back();
    for (int k = 0; k < view.axisCount; ++k) {
        view.axes[k].stride = strides[static_cast<std::size_t>(k)];
        view.axes[k].presenceStride = presenceStrides[static_cast<std::size_t>(k)];
    }
}

/// Allocates exactly the bytes that the view touches, and fills them with random content.
inline void drawMemory(Dice& dice, bool hasPresence, DrawnView& drawn) {
    MutableArrayView& view = drawn.view;
    PlaceRange values;
    PlaceRange presence;
    for (std::int64_t number = 0; number < view.count(); ++number) {
        const auto place = placeInArray(view, number);
        if (!place)
            continue;
        const std::int64_t at = distance(view, *place, &ArrayAxis::stride);
        const std::int64_t last = at + (view.components - 1) * view.componentStride;
        values.add(std::min(at, last), std::max(at, last) + componentSize(view.kind));
        const std::int64_t presenceAt =
            view.presence.firstBit + distance(view, *place, &ArrayAxis::presenceStride);
        const std::int64_t byte = view.presence.isBits ? presenceAt >> 3 : presenceAt;
        presence.add(byte, byte + 1);
    }
    const auto fence = dice.once(2) ? FencedArea::Fence::Before : FencedArea::Fence::After;
    drawn.valueBytes = static_cast<std::size_t>(values.end - values.least);
    drawn.values = std::make_unique<FencedArea>(drawn.valueBytes, fence);
    view.data = drawn.values->data() - values.least;
    for (std::size_t i = 0; i < drawn.valueBytes; ++i)
        drawn.values->data()[i] = static_cast<unsigned char>(dice.bits());
    if (!hasPresence)
        return;
    drawn.presenceBytes = static_cast<std::size_t>(presence.end - presence.least);
    drawn.presence = std::make_unique<FencedArea>(drawn.presenceBytes, fence);
    view.presence.data = drawn.presence->data() - presence.least;
    const bool areMostThere = dice.once(2);
    for (std::size_t i = 0; i < drawn.presenceBytes; ++i) {
        auto byte = static_cast<unsigned char>(dice.bits());
        if (!view.presence.isBits)
            byte = areMostThere ? !dice.once(10) : byte % 3;
        drawn.presence->data()[i] = byte;
    }
}

inline std::string textOf(const ArrayView& view) {
    std::string text = std::string(arrayKindName(view.kind)) + " x" +
                       std::to_string(view.components) + " every " +
                       std::to_string(view.componentStride);
    for (int k = 0; k < view.axisCount; ++k) {
        const ArrayAxis& axis = view.axes[k];
        text += ", " + std::to_string(axis.size) + " every " + std::to_string(axis.stride) +
                " (presence " + std::to_string(axis.presenceStride) + ") from " +
                std::to_string(axis.offset) + " of " + std::to_string(axis.extent);
    }
    if (view.presence.data == nullptr)
        return text;
    return text + (view.presence.isBits ? ", presence bits" : ", presence bytes");
}

inline DrawnView drawView(Dice& dice, const DrawnShape& shape) {
    DrawnView drawn;
    MutableArrayView& view = drawn.view;
    view.kind = allArrayKinds[dice.draw(0, 11)];
    view.components = static_cast<std::int32_t>(
        shape.isLarge ? dice.draw(100, 700) : dice.pick<std::int64_t>({1, 1, 1, 2, 3, 4, 5, 11}));
    view.axisCount = static_cast<std::int32_t>(dice.draw(0, dice.once(10) ? 8 : 4));
    drawAxes(dice, shape, view);
    const bool hasPresence = dice.once(2);
    view.presence.isBits = hasPresence && dice.once(2);
    view.presence.firstBit = view.presence.isBits ? dice.draw(0, 19) : 0;
    drawMemory(dice, hasPresence, drawn);
    drawn.text = textOf(view);
    return drawn;
}

} // namespace Hosts
} // namespace Fenlet
