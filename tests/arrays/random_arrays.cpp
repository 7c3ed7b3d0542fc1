// Random arrays.
#include "random_arrays.h"

#include "../oracle/exact_conversions.h"
#include "../oracle/lane_bits.h"

#include <algorithm>
#include <cstring>

namespace Fenlet {
namespace {

std::uint64_t mixed(std::uint64_t a, std::uint64_t b) {
    return Chance(a * 0x9E3779B97F4A7C15u + b).bits();
}

/// Stores the components of one element at `out`. Returns whether the element has a value: one in
/// eight is missing.
bool computeElement(std::uint64_t seed, CpuElementKind kind, int multiplicity, unsigned char* out) {
    Chance chance(seed);
    const auto size = static_cast<std::size_t>(elementSize(kind));
    for (int c = 0; c < multiplicity; ++c) {
        const std::uint64_t bits = Model::randomComponent(chance, kind);
        for (std::size_t byte = 0; byte < size; ++byte)
            out[static_cast<std::size_t>(c) * size + byte] =
                static_cast<unsigned char>(bits >> (8 * byte));
    }
    return !chance.oneIn(8);
}

} // namespace

RandomArray::RandomArray(Chance& chance, const ArrayWish& wish) {
    layOut(chance, wish);
    if (wish.hasPresence || (wish.isRead && chance.oneIn(3)))
        addPresence(chance);
    fill(chance);
}

void RandomArray::layOut(Chance& chance, const ArrayWish& wish) {
    view.kind = wish.kind;
    view.components = wish.components;
    view.componentStride = componentSize(wish.kind);
    const std::int64_t element = view.componentStride * wish.components;
    ArrayAxis& axis = view.axes[0];
    axis.size = axis.extent = wish.count;
    axis.presenceStride = 1;
    axis.stride = element;
    const int style = chance.below(8);
    if (style == 0)
        axis.stride = element + chance.below(5);
    else if (style == 1)
        axis.stride = -element;
    else if (style == 2 && wish.isRead)
        axis.stride = 0;
    else if (style == 3 && wish.isRead) {
        axis.extent = wish.count / 2 + chance.below(8);
        axis.offset = chance.below(9) - 4;
    }
    const std::int64_t last = std::max<std::int64_t>(axis.extent - 1, 0);
    valueBytes = axis.extent == 0 ? 0 : last * std::abs(axis.stride) + element;
    values = std::make_unique<FencedArea>(static_cast<std::size_t>(valueBytes),
                                          chance.oneIn(2) ? FencedArea::Fence::After
                                                          : FencedArea::Fence::Before);
    view.data = values->data() + (axis.stride < 0 ? -last * axis.stride : 0);
    // The same elements along two axes, if `columns` divides their number.
    const std::int64_t columns = wish.columns;
    if (axis.extent == axis.size && axis.offset == 0 && chance.oneIn(3) && wish.count > 0 &&
        wish.count % columns == 0) {
        view.axisCount = 2;
        view.axes[1] = {columns, axis.stride, 1, 0, columns};
        view.axes[0] = {wish.count / columns, axis.stride * columns, columns, 0,
                        wish.count / columns};
    }
}

void RandomArray::addPresence(Chance& chance) {
    std::int64_t extents = 1;
    for (int axis = 0; axis < view.axisCount; ++axis)
        extents *= view.axes[axis].extent;
    const bool isBits = chance.oneIn(2);
    const std::int64_t firstBit = isBits ? chance.below(11) : 0;
    presenceBytes = isBits ? (firstBit + extents + 7) / 8 : extents;
    presence = std::make_unique<FencedArea>(static_cast<std::size_t>(presenceBytes),
                                            FencedArea::Fence::After);
    view = isBits ? view.withPresenceBits(presence->data(), firstBit)
                  : view.withPresence(presence->data());
}

void RandomArray::fill(Chance& chance) {
    const auto kind = registerKind(view.kind);
    for (std::int64_t i = 0; i < valueBytes;) {
        const std::uint64_t bits = chance.oneIn(2) || kind == CpuElementKind::Tribool
                                       ? Model::randomComponent(chance, kind)
                                       : static_cast<std::uint64_t>(chance.below(300));
        const std::int64_t size = std::min<std::int64_t>(componentSize(view.kind), valueBytes - i);
        for (std::int64_t byte = 0; byte < size; ++byte)
            values->data()[i + byte] = static_cast<unsigned char>(bits >> (8 * byte));
        i += size;
    }
    for (std::int64_t i = 0; i < presenceBytes; ++i)
        presence->data()[i] =
            static_cast<unsigned char>(view.presence.isBits ? chance.bits() : chance.bits() % 4);
}

std::vector<unsigned char> RandomArray::bytes() const {
    std::vector<unsigned char> all(values->data(), values->data() + valueBytes);
    if (presence)
        all.insert(all.end(), presence->data(), presence->data() + presenceBytes);
    return all;
}

void RandomArray::restore(const std::vector<unsigned char>& earlier) {
    std::copy_n(earlier.begin(), valueBytes, values->data());
    if (presence)
        std::copy_n(earlier.begin() + valueBytes, presenceBytes, presence->data());
}

bool ComputedField::read(const FieldRead& request) {
    log.push_back("read " + std::to_string(request.count) + " from " +
                  std::to_string(request.count > 0 ? request.indices[0] : 0) +
                  (request.contiguous ? " on" : ""));
    if (static_cast<int>(log.size()) - 1 == declineAt)
        return false;
    const std::int64_t bytes = std::int64_t{elementSize(request.kind)} * request.multiplicity;
    for (std::int64_t i = 0; i < request.count; ++i)
        if (!computeElement(mixed(seed, static_cast<std::uint64_t>(request.indices[i])),
                            request.kind, request.multiplicity, request.values + i * bytes))
            request.validity[i] = 0;
    return true;
}

bool ComputedSampler::sample(const void* coordinates, CpuElementKind coordinateKind,
                             int coordinateMultiplicity, void* values, CpuElementKind valueKind,
                             int valueMultiplicity, unsigned char* validity, int count) {
    log.push_back("sample " + std::to_string(count));
    if (static_cast<int>(log.size()) - 1 == declineAt)
        return false;
    const std::int64_t bytes = std::int64_t{elementSize(valueKind)} * valueMultiplicity;
    const std::int64_t laneBytes = elementSize(coordinateKind);
    for (std::int64_t i = 0; i < count; ++i) {
        std::uint64_t hash = seed;
        for (std::int64_t c = 0; c < coordinateMultiplicity; ++c) {
            const unsigned char* const lane = static_cast<const unsigned char*>(coordinates) +
                                              (i * coordinateMultiplicity + c) * laneBytes;
            // All NaNs are alike: it is open which of two NaNs an operation returns.
            const std::uint64_t bits = Oracle::loadBits(coordinateKind, lane);
            hash = mixed(hash, Oracle::isNan(coordinateKind, bits) ? UINT64_MAX : bits);
        }
        if (!computeElement(hash, valueKind, valueMultiplicity,
                            static_cast<unsigned char*>(values) + i * bytes))
            validity[i] = 0;
    }
    return true;
}

} // namespace Fenlet
