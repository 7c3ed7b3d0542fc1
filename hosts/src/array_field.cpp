// A field over an array in memory.
#include "element_copies.h"
#include "fetch_ahead.h"
#include "lane_conversions.h"

#include <fenlethosts/array_field.h>

#include <algorithm>
#include <cstring>

namespace Fenlet {
namespace {

/// A read and what is derived from it.
struct Reading {
    const ArrayLayout& array;
    const FieldRead& request;
    LaneConversion convert;  ///< null if lanes are copied unchanged
    std::int64_t valueBytes; ///< size of an element in the request

    unsigned char* valueAt(std::int64_t position) const {
        return request.values + position * valueBytes;
    }
};

/// Reads an element that is too large for the conversion buffer: converts it straight from the
/// array into the request.
struct ConvertedElement {
    const Reading& reading;
    std::int64_t bytes;

    void pack(unsigned char* out, const unsigned char* in) const {
        const ArrayLayout& array = reading.array;
        convertSpread(reading.convert, out, elementSize(reading.request.kind), in,
                      array.laneBytes(), array.componentStride(), array.components());
    }
    void clear(unsigned char* out) const { std::memset(out, 0, static_cast<std::size_t>(bytes)); }
};

/// Fills the values of positions `start` to `start + count - 1`. Calls pack(element, out, position,
/// count), which stores packed elements of the array at `out`. If no conversion is needed, `out`
/// lies in the request. Otherwise `out` is a buffer, from which the elements are then converted.
template <class Pack>
void packValues(const Reading& reading, std::int64_t start, std::int64_t count, Pack pack) {
    constexpr std::int64_t areaBytes = 2048;
    const ArrayLayout& array = reading.array;
    if (reading.convert == nullptr) {
        withElementCopy(array, [&](const auto& element) {
            pack(element, reading.valueAt(start), start, count);
        });
    } else if (array.elementBytes() > areaBytes) {
        pack(ConvertedElement{reading, reading.valueBytes}, reading.valueAt(start), start, count);
    } else {
        withElementCopy(array, [&](const auto& element) {
            unsigned char area[areaBytes];
            const std::int64_t fitting = areaBytes / array.elementBytes();
            for (std::int64_t done = 0; done < count; done += fitting) {
                const std::int64_t turn = std::min(fitting, count - done);
                pack(element, area, start + done, turn);
                reading.convert(reading.valueAt(start + done), area, turn * array.components());
            }
        });
    }
}

// ---------------------------------------------------------------------------------------------
// One ascending run of element numbers

/// Clears the validity of missing elements. `present` has adjacent presence bytes.
void keepWherePresent(unsigned char* __restrict validity, const unsigned char* __restrict present,
                      std::int64_t count) {
    fetchAhead(present + count, static_cast<std::size_t>(count));
    for (std::int64_t i = 0; i < count; ++i)
        validity[i] = present[i] == 0 ? static_cast<unsigned char>(0) : validity[i];
}

/// Clears the validity of missing elements. `bits` has adjacent presence bits, starting at bit
/// `first`.
void keepWhereBitsSay(unsigned char* validity, const unsigned char* bits, std::int64_t first,
                      std::int64_t count) {
    std::int64_t i = 0;
    const auto one = [&] { validity[i] = bitAt(bits, first + i) ? validity[i] : 0; };
    for (; i < count && ((first + i) & 7) != 0; ++i)
        one();
    for (; i + 8 <= count; i += 8) {
        std::uint64_t eight;
        std::memcpy(&eight, validity + i, sizeof eight);
        eight &= bytesOfBits(bits[(first + i) >> 3]);
        std::memcpy(validity + i, &eight, sizeof eight);
    }
    for (; i < count; ++i)
        one();
}

void clearPositions(const Reading& reading, std::int64_t start, std::int64_t count) {
    std::memset(reading.valueAt(start), 0, static_cast<std::size_t>(count * reading.valueBytes));
    std::memset(reading.request.validity + start, 0, static_cast<std::size_t>(count));
}

/// Reads a run whose elements, or their components, are not adjacent.
[[gnu::noinline]] void takeStrided(const Reading& reading, std::int64_t start,
                                   const unsigned char* stored, std::int64_t count) {
    const std::int64_t stride = reading.array.values().stride();
    const bool isAsking = !sharesLines(stride) && reachesFar(reading.array.values());
    packValues(
        reading, start, count,
        [&](const auto& element, unsigned char* out, std::int64_t position, std::int64_t turn) {
            const unsigned char* const from = stored + (position - start) * stride;
            if (isAsking)
                packFarRun(element, out, from, turn, stride);
            else
                packRun(element, out, from, turn, stride);
        });
}

/// Reads elements that lie inside the array at equal distances.
void takeRun(const Reading& reading, std::int64_t start, const unsigned char* stored,
             std::int64_t count) {
    const ArrayLayout& array = reading.array;
    if (array.values().stride() != reading.array.elementBytes() || !array.hasAdjacentComponents())
        return takeStrided(reading, start, stored, count);
    const auto bytes = static_cast<std::size_t>(count * array.elementBytes());
    if (reading.convert == nullptr) {
        copyAndFetchAhead(reading.valueAt(start), stored, bytes, stored + bytes);
    } else {
        fetchAhead(stored + bytes, bytes);
        reading.convert(reading.valueAt(start), stored, count * array.components());
    }
}

/// Clears the validity of `count` positions from `start` on if their elements are not present. The
/// elements are numbered from `first` on.
[[gnu::noinline]] void takePresence(const Reading& reading, std::int64_t start, std::int64_t first,
                                    std::int64_t count) {
    const ArrayLayout& array = reading.array;
    const unsigned char* const presence = array.presenceAddress();
    const std::int64_t stride = array.presence().stride();
    for (std::int64_t done = 0; done < count;) {
        const ElementPlaces::Run run = array.presence().runFrom(first + done, count - done);
        unsigned char* const validity = reading.request.validity + start + done;
        done += run.count;
        if (!run.isInside)
            continue;
        if (array.hasPresenceBits() && stride == 1) {
            keepWhereBitsSay(validity, presence, run.place, run.count);
        } else if (array.hasPresenceBits()) {
            for (std::int64_t i = 0; i < run.count; ++i)
                validity[i] = bitAt(presence, run.place + i * stride) ? validity[i] : 0;
        } else if (stride == 1) {
            keepWherePresent(validity, presence + run.place, run.count);
        } else {
            for (std::int64_t i = 0; i < run.count; ++i)
                validity[i] = presence[run.place + i * stride] != 0 ? validity[i] : 0;
        }
    }
}

/// Reads a run of element numbers whose elements are not one run inside the array.
[[gnu::noinline]] void readPieces(const Reading& reading, std::int64_t start, std::int64_t count) {
    const ElementPlaces& places = reading.array.values();
    // Positions `before` to `end` - 1 have an element of the view.
    const std::int64_t before = start >= 0 ? 0 : start <= -count ? count : -start;
    const bool isWithin = before < count && start + before < places.count();
    const std::int64_t end =
        isWithin ? before + std::min(count - before, places.count() - (start + before)) : before;
    clearPositions(reading, 0, before);
    clearPositions(reading, end, count - end);
    for (std::int64_t done = before; done < end;) {
        const ElementPlaces::Run run = places.runFrom(start + done, end - done);
        if (run.isInside)
            takeRun(reading, done, reading.array.data() + run.place, run.count);
        else
            clearPositions(reading, done, run.count);
        done += run.count;
    }
    if (reading.array.hasPresence() && before < end)
        takePresence(reading, before, start + before, end - before);
}

void readRun(const Reading& reading) {
    const ArrayLayout& array = reading.array;
    const ElementPlaces::Axis& axis = array.values().axis(0);
    const std::int64_t start = reading.request.indices[0];
    const std::int64_t count = reading.request.count;
    if (array.values().axisCount() != 1 || start < axis.from || start > axis.to - count)
        return readPieces(reading, start, count);
    const std::int64_t place = array.values().origin() + (start - axis.from) * axis.stride;
    takeRun(reading, 0, array.data() + place, count);
    if (!array.hasPresence())
        return;
    const ElementPlaces& presence = array.presence();
    if (presence.axisCount() == 1 && presence.stride() == 1 && !array.hasPresenceBits())
        keepWherePresent(reading.request.validity,
                         array.presenceAddress() + presence.origin() + (start - axis.from), count);
    else
        takePresence(reading, 0, start, count);
}

// ---------------------------------------------------------------------------------------------
// Numbers in any order

/// Copies elements from an array with one axis. Each element has the size of `Word`.
template <class Word>
[[gnu::noinline]] void gatherWords(const ArrayLayout& array, unsigned char* values,
                                   unsigned char* validity, const unsigned char* numbers,
                                   std::int64_t count) {
    // Local copies keep the loop fast: the compiler must assume that a byte store can change any
    // object in memory.
    const ElementPlaces::Axis axis = array.values().axis(0);
    const auto from = static_cast<std::uint64_t>(axis.from);
    const auto limit = static_cast<std::uint64_t>(axis.to - axis.from);
    const auto stride = static_cast<std::uint64_t>(axis.stride);
    const unsigned char* const data = array.data() + array.values().origin();
    const auto along = [=](std::int64_t i) {
        std::uint64_t number = 0;
        std::memcpy(&number, numbers + i * std::int64_t{sizeof number}, sizeof number);
        return number - from;
    };
    const auto takeOne = [=](std::int64_t i) {
        const std::uint64_t place = along(i);
        Word word = 0;
        if (validity[i] != 0 && place < limit)
            std::memcpy(&word, data + static_cast<std::int64_t>(place * stride), sizeof word);
        else
            validity[i] = 0;
        std::memcpy(values + i * std::int64_t{sizeof word}, &word, sizeof word);
    };
    const std::int64_t asking = reachesFar(array.values()) ? count - turnsBefore : 0;
    std::int64_t i = 0;
    for (; i < asking; ++i) {
        // The element need not exist: a prefetch of any address is harmless.
        fetchLine(reinterpret_cast<std::uintptr_t>(data) + along(i + turnsBefore) * stride);
        takeOne(i);
    }
    for (; i < count; ++i)
        takeOne(i);
}

/// Finds the elements of positions `start` to `start + count - 1` and prefetches them. Positions
/// without an element get null, and their validity is cleared.
void findElements(const Reading& reading, std::int64_t start, std::int64_t count,
                  const unsigned char** addresses) {
    const FieldRead& request = reading.request;
    for (std::int64_t i = 0; i < count; ++i) {
        const std::int64_t position = start + i;
        addresses[i] = request.validity[position] == 0
                           ? nullptr
                           : reading.array.addressOf(request.indices[position]);
        if (addresses[i] != nullptr)
            fetchLine(reinterpret_cast<std::uintptr_t>(addresses[i]));
        else
            request.validity[position] = 0;
    }
}

[[gnu::noinline]] void gather(const Reading& reading) {
    constexpr std::int64_t mostAtOnce = turnsBefore;
    packValues(
        reading, 0, reading.request.count,
        [&](const auto& element, unsigned char* out, std::int64_t position, std::int64_t turn) {
            const unsigned char* addresses[mostAtOnce];
            for (std::int64_t done = 0; done < turn; done += mostAtOnce) {
                const std::int64_t found = std::min(mostAtOnce, turn - done);
                findElements(reading, position + done, found, addresses);
                packFound(element, out + done * element.bytes, addresses, found);
            }
        });
}

/// Clears the validity of positions whose elements are not present.
[[gnu::noinline]] void takeScatteredPresence(const ArrayLayout& array, const FieldRead& request) {
    for (std::int32_t i = 0; i < request.count; ++i)
        if (request.validity[i] != 0 && !array.isPresent(request.indices[i]))
            request.validity[i] = 0;
}

} // namespace

ArrayField::ArrayField(const ArrayView& newArray) : array(newArray) {
    if (!array.hasAdjacentComponents() || array.values().axisCount() != 1)
        return;
    switch (array.elementBytes()) {
    case 1:
        gatherWords = &Fenlet::gatherWords<std::uint8_t>;
        break;
    case 2:
        gatherWords = &Fenlet::gatherWords<std::uint16_t>;
        break;
    case 4:
        gatherWords = &Fenlet::gatherWords<std::uint32_t>;
        break;
    case 8:
        gatherWords = &Fenlet::gatherWords<std::uint64_t>;
        break;
    default:
        break;
    }
}

ArrayField::~ArrayField() = default;

bool ArrayField::read(const FieldRead& request) {
    const bool isKept = arrayKind(request.kind) == array.kind();
    const LaneConversion convert = isKept ? nullptr : laneConversion(request.kind, array.kind());
    const bool isServed = isKept ? array.kind() != ArrayKind::Unsupported : convert != nullptr;
    if (!isServed || request.multiplicity != array.components())
        return false;
    const Reading reading{array, request, convert,
                          std::int64_t{elementSize(request.kind)} * array.components()};
    if (request.contiguous && request.count > 0) {
        readRun(reading);
        return true;
    }
    if (isKept && gatherWords != nullptr)
        gatherWords(array, request.values, request.validity,
                    reinterpret_cast<const unsigned char*>(request.indices), request.count);
    else
        Fenlet::gather(reading);
    if (array.hasPresence())
        takeScatteredPresence(array, request);
    return true;
}

bool ArrayField::canGather(CpuElementKind kind, std::int32_t components) const {
    return gatherWords != nullptr && !array.hasPresence() && arrayKind(kind) == array.kind() &&
           components == array.components();
}

void ArrayField::gather(unsigned char* values, unsigned char* validity,
                        const unsigned char* numbers, const unsigned char* numberValidity,
                        std::int64_t count) const {
    const auto bytes = static_cast<std::size_t>(count);
    if (numberValidity == nullptr)
        std::memset(validity, 1, bytes);
    else if (numberValidity != validity)
        std::memcpy(validity, numberValidity, bytes);
    gatherWords(array, values, validity, numbers, count);
}

} // namespace Fenlet
