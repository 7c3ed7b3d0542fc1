// Where the elements of a view lie.
#include <fenlethosts/array_layout.h>

#include <algorithm>

namespace Fenlet {
namespace {

/// The axis, and the part of it that lies inside the array.
ElementPlaces::Axis insideOf(const ArrayAxis& axis, std::int64_t stride) {
    ElementPlaces::Axis part;
    part.size = axis.size;
    part.stride = stride;
    part.from = axis.offset >= 0 ? 0 : axis.offset <= -axis.size ? axis.size : -axis.offset;
    part.to = part.from;
    if (axis.offset < axis.extent) {
        // The difference may need 64 bits.
        const std::uint64_t end =
            static_cast<std::uint64_t>(axis.extent) - static_cast<std::uint64_t>(axis.offset);
        const auto size = static_cast<std::uint64_t>(axis.size);
        part.to = std::max(part.from, static_cast<std::int64_t>(std::min(size, end)));
    }
    return part;
}

/// Whether a step along `outer` continues where `inner` ends, so that the two can be merged into
/// one axis.
bool continues(const ElementPlaces::Axis& outer, const ElementPlaces::Axis& inner) {
    std::int64_t wholeInner = 0;
    return inner.from == 0 && inner.to == inner.size &&
           !__builtin_mul_overflow(inner.stride, inner.size, &wholeInner) &&
           outer.stride == wholeInner;
}

} // namespace

ElementPlaces::ElementPlaces(const ArrayView& view, std::int64_t ArrayAxis::*stride,
                             std::int64_t firstPlace)
    : usedAxes(0), elements(view.count()) {
    bool isInside = elements > 0;
    std::int64_t place = firstPlace;
    for (int k = 0; k < view.axisCount && isInside; ++k) {
        const ArrayAxis& whole = view.axes[k];
        const Axis part = insideOf(whole, whole.*stride);
        isInside = part.from < part.to;
        if (!isInside)
            break;
        place = wrappingSum(place, wrappingProduct(part.from + whole.offset, part.stride));
        if (part.size == 1)
            continue;
        if (usedAxes > 0 && continues(axes[usedAxes - 1], part)) {
            Axis& outer = axes[usedAxes - 1];
            outer.size *= part.size;
            outer.from *= part.size;
            outer.to *= part.size;
            outer.stride = part.stride;
        } else {
            axes[usedAxes++] = part;
        }
    }
    if (!isInside) {
        usedAxes = 1;
        axes[0] = Axis();
        axes[0].size = elements;
        return;
    }
    firstInside = place;
    if (usedAxes == 0) {
        usedAxes = 1;
        axes[0].size = axes[0].to = 1;
    }
    leastPlace = place;
    placeSpan = 0;
    std::int64_t inner = 1;
    for (int k = usedAxes - 1; k >= 0; --k) {
        axes[k].inner = inner;
        inner *= axes[k].size;
        const std::int64_t way = (axes[k].to - axes[k].from - 1) * axes[k].stride;
        leastPlace += way < 0 ? way : 0;
        placeSpan += way < 0 ? -way : way;
    }
}

ElementPlaces::Run ElementPlaces::runAcrossAxes(std::int64_t first, std::int64_t most) const {
    std::int64_t rest = first;
    std::int64_t place = firstInside;
    for (int k = 0; k < usedAxes; ++k) {
        const Axis& one = axes[k];
        const std::int64_t along = k + 1 < usedAxes ? rest / one.inner : rest;
        rest -= along * one.inner;
        if (along < one.from || along >= one.to) {
            const std::int64_t end = along < one.from ? one.from : one.size;
            return {std::min(most, (end - along) * one.inner - rest), false, 0};
        }
        place += (along - one.from) * one.stride;
        if (k + 1 == usedAxes)
            most = std::min(most, one.to - along);
    }
    return {most, true, place};
}

ArrayLayout::ArrayLayout(const ArrayView& view) {
    if (!faultOfView(view).empty())
        return;
    valueData = static_cast<const unsigned char*>(view.data);
    valuePlaces = ElementPlaces(view, &ArrayAxis::stride, 0);
    laneSize = componentSize(view.kind);
    laneStride = view.componentStride;
    laneCount = view.components;
    laneKind = view.kind;
    if (view.presence.data == nullptr)
        return;
    presenceData = view.presence.data;
    hasBits = view.presence.isBits;
    presencePlaces = ElementPlaces(view, &ArrayAxis::presenceStride, view.presence.firstBit);
}

MemoryRange ArrayLayout::valueMemory() const {
    if (valuePlaces.span() < 0)
        return {};
    const std::int64_t components = (laneCount - 1) * laneStride;
    const std::int64_t least = valuePlaces.least();
    const std::int64_t greatest = least + valuePlaces.span();
    return {valueData + least + (components < 0 ? components : 0),
            valueData + greatest + (components < 0 ? 0 : components) + laneSize};
}

MemoryRange ArrayLayout::presenceMemory() const {
    if (presenceData == nullptr || presencePlaces.span() < 0)
        return {};
    const int bitsOfPlace = hasBits ? 3 : 0;
    const std::int64_t least = presencePlaces.least();
    const std::int64_t greatest = least + presencePlaces.span();
    return {presenceData + (least >> bitsOfPlace), presenceData + (greatest >> bitsOfPlace) + 1};
}

bool ArrayLayout::isPresent(std::int64_t number) const {
    std::int64_t place = 0;
    if (presenceData == nullptr)
        return valuePlaces.find(number, place);
    return presencePlaces.find(number, place) &&
           (hasBits ? bitAt(presenceData, place) : presenceData[place] != 0);
}

namespace {

FlatRun flatPart(const ElementPlaces& places, const unsigned char* data, std::int64_t first,
                 std::int64_t count, std::int64_t stride) {
    if (first < 0 || first >= places.count() || count < 1)
        return {};
    // A run of a single element fits any stride.
    const ElementPlaces::Run run = places.runFrom(first, places.stride() == stride ? count : 1);
    return run.isInside ? FlatRun{data + run.place, run.count} : FlatRun{};
}

} // namespace

FlatRun ArrayLayout::flatRun(std::int64_t first, std::int64_t count, std::int64_t stride) const {
    return flatPart(valuePlaces, valueData, first, count, stride);
}

FlatRun ArrayLayout::flatPresence(std::int64_t first, std::int64_t count) const {
    if (presenceData == nullptr || hasBits)
        return {};
    return flatPart(presencePlaces, presenceData, first, count, 1);
}

} // namespace Fenlet
