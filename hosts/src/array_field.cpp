// A field over an array in memory.
#include "lane_conversions.h"

#include <fenlethosts/array_field.h>

#include <algorithm>

namespace Fenlet {

ArrayField::ArrayField(const ArrayView& newArray) : array(newArray) {
    if (array.stride == 0)
        array.stride = std::int64_t{elementSize(array.kind)} * array.components;
}

ArrayField::~ArrayField() = default;

bool ArrayField::read(const FieldRead& request) {
    const LaneConversion convert = laneConversion(request.kind, array.kind);
    if (convert == nullptr || request.multiplicity != array.components)
        return false;
    const auto* const elements = static_cast<const unsigned char*>(array.data);
    const std::int64_t elementBytes = std::int64_t{elementSize(array.kind)} * array.components;
    const std::int64_t valueBytes = std::int64_t{elementSize(request.kind)} * array.components;
    const auto has = [this](std::int64_t index) { return index >= 0 && index < array.count; };

    if (request.contiguous && request.count > 0 && array.stride == elementBytes) {
        // The part of the run that lies within the array, in positions.
        const std::int64_t start = request.indices[0];
        const std::int64_t before = start >= 0                ? 0
                                    : start <= -request.count ? request.count
                                                              : -start;
        const std::int64_t inside =
            has(start + before)
                ? std::min<std::int64_t>(request.count - before, array.count - (start + before))
                : 0;
        for (std::int64_t i = 0; i < request.count; ++i)
            if (i < before || i >= before + inside)
                request.validity[i] = 0;
        if (inside > 0)
            convert(request.values + before * valueBytes,
                    elements + (start + before) * elementBytes, inside * array.components);
        for (std::int64_t i = before; array.validity != nullptr && i < before + inside; ++i)
            if (array.validity[start + i] == 0)
                request.validity[i] = 0;
        return true;
    }
    for (std::int64_t i = 0; i < request.count; ++i) {
        const std::int64_t index = request.indices[i];
        if (request.validity[i] == 0)
            continue;
        if (!has(index) || (array.validity != nullptr && array.validity[index] == 0))
            request.validity[i] = 0;
        else
            convert(request.values + i * valueBytes, elements + index * array.stride,
                    array.components);
    }
    return true;
}

} // namespace Fenlet
