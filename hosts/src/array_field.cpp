// A field over an array in memory.
#include "lane_conversions.h"

#include <fenlethosts/array_field.h>

#include <algorithm>

namespace Fenlet {
namespace {

std::int64_t packedBytes(CpuElementKind kind, std::int32_t components) {
    return std::int64_t{elementSize(kind)} * components;
}

/// Positions of one ascending run of element numbers, over elements that lie side by side.
void readRun(const ArrayView& array, LaneConversion convert, const FieldRead& request) {
    const std::int64_t start = request.indices[0];
    const std::int64_t count = request.count;
    // The part of the run that lies within the array, in positions.
    const std::int64_t before = start >= 0 ? 0 : start <= -count ? count : -start;
    const bool isInside = start + before >= 0 && start + before < array.count;
    const std::int64_t end =
        isInside ? before + std::min(count - before, array.count - (start + before)) : before;
    constexpr unsigned char invalid = 0;
    std::fill(request.validity, request.validity + before, invalid);
    std::fill(request.validity + end, request.validity + count, invalid);

    const auto* const elements = static_cast<const unsigned char*>(array.data);
    const std::int64_t valueBytes = packedBytes(request.kind, array.components);
    const auto isMissing = [&](std::int64_t position) {
        return array.validity != nullptr && array.validity[start + position] == 0;
    };
    // What is missing parts the run into shorter ones: its values are not to be read.
    for (std::int64_t from = before; from < end;) {
        std::int64_t to = array.validity == nullptr ? end : from;
        while (to < end && !isMissing(to))
            ++to;
        if (to > from)
            convert(request.values + from * valueBytes, elements + (start + from) * array.stride,
                    (to - from) * array.components);
        for (from = to; from < end && isMissing(from); ++from)
            request.validity[from] = invalid;
    }
}

void readSingly(const ArrayView& array, LaneConversion convert, const FieldRead& request) {
    const auto* const elements = static_cast<const unsigned char*>(array.data);
    const std::int64_t valueBytes = packedBytes(request.kind, array.components);
    for (std::int64_t i = 0; i < request.count; ++i) {
        const std::int64_t index = request.indices[i];
        if (request.validity[i] == 0)
            continue;
        if (index < 0 || index >= array.count ||
            (array.validity != nullptr && array.validity[index] == 0))
            request.validity[i] = 0;
        else
            convert(request.values + i * valueBytes, elements + index * array.stride,
                    array.components);
    }
}

} // namespace

ArrayField::ArrayField(const ArrayView& newArray) : array(newArray) {
    if (array.stride == 0)
        array.stride = packedBytes(array.kind, array.components);
}

ArrayField::~ArrayField() = default;

bool ArrayField::read(const FieldRead& request) {
    const LaneConversion convert = laneConversion(request.kind, array.kind);
    if (convert == nullptr || request.multiplicity != array.components)
        return false;
    const bool isPacked = array.stride == packedBytes(array.kind, array.components);
    if (request.contiguous && request.count > 0 && isPacked)
        readRun(array, convert, request);
    else
        readSingly(array, convert, request);
    return true;
}

} // namespace Fenlet
