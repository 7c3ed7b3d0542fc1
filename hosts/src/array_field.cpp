// A field over an array in memory.
#include "fetch_ahead.h"
#include "lane_conversions.h"

#include <fenlethosts/array_field.h>

#include <algorithm>
#include <cstring>

namespace Fenlet {
namespace {

std::int64_t packedBytes(CpuElementKind kind, std::int32_t components) {
    return std::int64_t{elementSize(kind)} * components;
}

/// Clears the validity of elements that are missing.
void keepWhereValid(unsigned char* validity, const unsigned char* present, std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i)
        validity[i] = present[i] == 0 ? static_cast<unsigned char>(0) : validity[i];
}

/// Reads adjacent elements with ascending numbers.
void readRun(const ArrayView& array, LaneConversion convert, const FieldRead& request) {
    const std::int64_t start = request.indices[0];
    const std::int64_t count = request.count;
    // The part of the request that lies within the array: positions `before` to `end`.
    const std::int64_t before = start >= 0 ? 0 : start <= -count ? count : -start;
    const bool isInside = start + before >= 0 && start + before < array.count;
    const std::int64_t end =
        isInside ? before + std::min(count - before, array.count - (start + before)) : before;
    constexpr unsigned char invalid = 0;
    std::fill(request.validity, request.validity + before, invalid);
    std::fill(request.validity + end, request.validity + count, invalid);

    if (end == before)
        return;
    const auto* const elements = static_cast<const unsigned char*>(array.data);
    const std::int64_t valueBytes = packedBytes(request.kind, array.components);
    unsigned char* const values = request.values + before * valueBytes;
    const unsigned char* const stored = elements + (start + before) * array.stride;
    const auto elementCount = static_cast<std::size_t>(end - before);
    const std::size_t bytes = elementCount * static_cast<std::size_t>(array.stride);
    if (request.kind == array.kind) {
        copyAndFetchAhead(values, stored, bytes, stored + bytes);
    } else {
        fetchAhead(stored + bytes, bytes);
        convert(values, stored, (end - before) * array.components);
    }
    if (array.validity != nullptr) {
        const unsigned char* const present = array.validity + (start + before);
        fetchAhead(present + elementCount, elementCount);
        keepWhereValid(request.validity + before, present, end - before);
    }
}

/// Elements are prefetched in arrays that are larger than this; smaller arrays stay in the nearer
/// caches.
constexpr std::int64_t farBytes = 1 << 20;
constexpr int prefetchDistance = 32;

/// Prefetches an element. Its number may be any: nothing is read.
void fetchElement(const unsigned char* elements, std::int64_t index, std::int64_t stride) {
    const auto offset = static_cast<std::uintptr_t>(index) * static_cast<std::uintptr_t>(stride);
    fetchLine(reinterpret_cast<std::uintptr_t>(elements) + offset);
}

/// Copies elements that have the size of `Word`, without conversion.
template <class Word>
void gather(const ArrayView& array, const FieldRead& request) {
    // Local copies: for all the compiler knows, a byte store may change any member.
    const auto* const elements = static_cast<const unsigned char*>(array.data);
    const unsigned char* const present = array.validity;
    const std::int64_t stride = array.stride;
    const auto limit = static_cast<std::uint64_t>(array.count);
    const std::int64_t* const indices = request.indices;
    unsigned char* const values = request.values;
    unsigned char* const validity = request.validity;
    const int count = request.count;
    const int prefetched = array.count * stride > farBytes ? count - prefetchDistance : 0;
    for (int i = 0; i < count; ++i) {
        if (i < prefetched)
            fetchElement(elements, indices[i + prefetchDistance], stride);
        const std::int64_t index = indices[i];
        const bool isThere = validity[i] != 0 && static_cast<std::uint64_t>(index) < limit &&
                             (present == nullptr || present[index] != 0);
        if (isThere)
            std::memcpy(values + i * std::int64_t{sizeof(Word)}, elements + index * stride,
                        sizeof(Word));
        else
            validity[i] = 0;
    }
}

using Gather = void (*)(const ArrayView&, const FieldRead&);

/// Null if elements must be converted, or do not have the size of a word.
Gather gatherFor(const ArrayView& array, CpuElementKind asked) {
    if (asked != array.kind)
        return nullptr;
    switch (packedBytes(array.kind, array.components)) {
    case 1:
        return &gather<std::uint8_t>;
    case 2:
        return &gather<std::uint16_t>;
    case 4:
        return &gather<std::uint32_t>;
    case 8:
        return &gather<std::uint64_t>;
    default:
        return nullptr;
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
    else if (const Gather gatherWords = gatherFor(array, request.kind))
        gatherWords(array, request);
    else
        readSingly(array, convert, request);
    return true;
}

} // namespace Fenlet
