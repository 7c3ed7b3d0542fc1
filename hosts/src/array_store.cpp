// Storing registers in arrays.
#include "element_copies.h"
#include "fetch_ahead.h"
#include "narrowing.h"

#include <fenlethosts/array_store.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

namespace Fenlet {
namespace {

// ---------------------------------------------------------------------------------------------
// What is refused

/// `count` elements or components, `stride` bytes or bits apart.
struct Steps {
    std::uint64_t stride = 0;
    std::int64_t count = 0;
};

/// Whether two elements may share memory. Sorts the axes by stride: if each stride is at least the
/// total extent of the axes with shorter strides, no two elements overlap. Every slice of an
/// ordinary array passes this test.
bool mayShare(const ElementPlaces& places, Steps components, std::int64_t unit) {
    std::array<Steps, mostAxes + 1> steps;
    std::size_t used = 0;
    if (components.count > 1)
        steps[used++] = components;
    for (int k = 0; k < places.axisCount(); ++k) {
        const ElementPlaces::Axis& axis = places.axis(k);
        const auto stride = static_cast<std::uint64_t>(axis.stride);
        if (axis.to - axis.from > 1)
            steps[used++] = {axis.stride < 0 ? -stride : stride, axis.to - axis.from};
    }
    std::sort(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(used),
              [](const Steps& a, const Steps& b) { return a.stride < b.stride; });
    auto inner = static_cast<std::uint64_t>(unit);
    for (std::size_t k = 0; k < used; ++k) {
        if (steps[k].stride < inner)
            return true;
        inner += steps[k].stride * static_cast<std::uint64_t>(steps[k].count - 1);
    }
    return false;
}

std::string faultOfMemory(const ArrayLayout& array) {
    const std::int64_t stride = array.componentStride();
    const auto length = static_cast<std::uint64_t>(stride);
    if (mayShare(array.values(), {stride < 0 ? -length : length, array.components()},
                 array.laneBytes()))
        return "some elements of the array share memory; an array can be written only if each "
               "element has its own";
    if (array.hasPresence() && mayShare(array.presence(), {}, 1))
        return "some elements of the array share their presence; an array can be written only if "
               "each element has its own";
    return {};
}

std::string pairText(ArrayKind to, CpuElementKind from) {
    return std::string("the register's kind is ") + cpuElementKindName(from) +
           " and the array's is " + arrayKindName(to);
}

std::string faultOfKinds(ArrayKind to, CpuElementKind from, const OutputRules& rules) {
    switch (storingOf(to, from)) {
    case Storing::Never:
        if (from == CpuElementKind::Tribool)
            return pairText(to, from) + "; store it in a Bool or Tribool array, or select numbers "
                                        "by it in the program";
        return pairText(to, from) +
               "; store it in an array of numbers, or compare it in the program";
    case Storing::ToWhole:
        return pairText(to, from) + "; convert it to an integer in the program";
    case Storing::All:
        return {};
    default:
        break;
    }
    if (from == CpuElementKind::Tribool)
        return rules.unknown != UnknownAs::Refuse
                   ? ""
                   : "a Bool array cannot hold unknown truth values; choose whether they become "
                     "false, true or missing, or use a Tribool array";
    const bool canWrap =
        registerKind(to) == CpuElementKind::Int32 || registerKind(to) == CpuElementKind::Int64;
    const std::string ways = canWrap ? "wrap, saturate or missing" : "saturate or missing";
    const std::string wider = std::string(", or use an array of kind ") + cpuElementKindName(from);
    if (rules.narrowing == Narrowing::Refuse)
        return std::string("an array of kind ") + arrayKindName(to) +
               " cannot hold every value of a register of kind " + cpuElementKindName(from) +
               "; choose " + ways + " for the others" + wider;
    if (rules.narrowing == Narrowing::Wrap && !canWrap)
        return std::string("values cannot wrap around in an array of kind ") + arrayKindName(to) +
               "; choose " + ways + " for those that it cannot hold" + wider;
    return {};
}

std::size_t componentsOf(const Constant& value) {
    return std::max({value.integers.size(), value.reals.size(), std::size_t{1}});
}

/// One element filled with `value`, in the array's kind; empty if the array cannot hold the value.
std::vector<unsigned char> elementOf(const Constant& value, const ArrayLayout& array) {
    std::vector<unsigned char> element(static_cast<std::size_t>(array.elementBytes()));
    const auto laneBytes = static_cast<std::size_t>(array.laneBytes());
    for (std::size_t c = 0; c * laneBytes < element.size(); ++c)
        if (!storeConstant(array.kind(), value, componentsOf(value) == 1 ? 0 : c,
                           element.data() + c * laneBytes))
            return {};
    return element;
}

std::string faultOfFill(const Constant& value, const ArrayLayout& array) {
    const auto components = static_cast<std::size_t>(array.components());
    if (componentsOf(value) != 1 && componentsOf(value) != components)
        return "the fill value has " + std::to_string(componentsOf(value)) +
               " components and the array " + std::to_string(components) + "; give it 1" +
               (components == 1 ? "" : " or " + std::to_string(components));
    if (elementOf(value, array).empty())
        return std::string("an array of kind ") + arrayKindName(array.kind()) +
               " cannot hold the fill value; choose one that it can hold";
    return {};
}

} // namespace

std::string ArrayStore::faultOf(const MutableArrayView& array, CpuElementKind kind,
                                std::int32_t components, bool canBeMissing,
                                const OutputRules& rules) {
    std::string viewFault = faultOfView(array);
    if (!viewFault.empty())
        return viewFault;
    if (elementSize(kind) == 0)
        return "the register's kind cannot be stored; choose a register that the program writes";
    if (components != array.components)
        return "the register has " + std::to_string(components) + " components and the array " +
               std::to_string(array.components) + "; give the array as many as the register";
    std::string kindFault = faultOfKinds(array.kind, kind, rules);
    if (!kindFault.empty())
        return kindFault;
    const ArrayLayout layout(array);
    std::string memoryFault = faultOfMemory(layout);
    if (!memoryFault.empty())
        return memoryFault;
    if (rules.fill)
        return faultOfFill(*rules.fill, layout);
    if (layout.hasPresence())
        return {};
    if (canBeMissing)
        return "elements of the register can be missing, and the array cannot show that; give it "
               "presence or choose a fill value";
    if (laneStoring(array.kind, kind, rules).mark != nullptr)
        return "values that the array cannot hold become missing, and the array cannot show that; "
               "give it presence or choose a fill value";
    return {};
}

ArrayStore::ArrayStore(const MutableArrayView& array, CpuElementKind kind, std::int32_t components,
                       bool canBeMissing, const OutputRules& rules)
    : places(array),
      data(static_cast<unsigned char*>(array.data)),
      presence(array.presence.data),
      registerBytes(std::int64_t{elementSize(kind)} * components),
      isKept(arrayKind(kind) == array.kind) {
    const std::string fault = faultOf(array, kind, components, canBeMissing, rules);
    if (!fault.empty())
        throw std::invalid_argument(fault);
    const LaneStoring storing = laneStoring(array.kind, kind, rules);
    convert = storing.convert;
    mark = storing.mark;
    if (rules.fill)
        fillElement = elementOf(*rules.fill, places);
    replacementElement = fillElement;
    replacementElement.resize(static_cast<std::size_t>(places.elementBytes()));
}

ArrayStore::~ArrayStore() = default;

// ---------------------------------------------------------------------------------------------
// Values

namespace {

/// Stores packed elements `stride` bytes apart.
template <class Element>
void unpackRun(const Element& element, unsigned char* __restrict out,
               const unsigned char* __restrict in, std::int64_t count, std::int64_t stride) {
    for (std::int64_t i = 0; i < count; ++i)
        element.unpack(out + i * stride, in + i * element.bytes);
}

} // namespace

/// Stores elements at equal distances, the first at `out`. An element whose byte in `kept` is 0
/// gets `replacementElement` instead. If `kept` is null, no element is replaced.
void ArrayStore::storeRun(unsigned char* out, std::int64_t count, const unsigned char* values,
                          const unsigned char* kept) const {
    constexpr std::int64_t areaBytes = 2048;
    const std::int64_t stride = places.values().stride();
    const std::int64_t bytes = places.elementBytes();
    const bool isFlat = stride == bytes && places.hasAdjacentComponents();
    if (isFlat && isKept) {
        copyAndFetchAhead(out, values, static_cast<std::size_t>(count * bytes),
                          out + count * bytes);
    } else if (isFlat) {
        convert(out, values, count * places.components());
    } else if (isKept) {
        withElementCopy(
            places, [&](const auto& element) { unpackRun(element, out, values, count, stride); });
    } else if (bytes <= areaBytes) {
        withElementCopy(places, [&](const auto& element) {
            unsigned char area[areaBytes];
            const std::int64_t fitting = areaBytes / bytes;
            for (std::int64_t done = 0; done < count; done += fitting) {
                const std::int64_t turn = std::min(fitting, count - done);
                convert(area, values + done * registerBytes, turn * places.components());
                unpackRun(element, out + done * stride, area, turn, stride);
            }
        });
    } else {
        const std::int64_t laneBytes = registerBytes / places.components();
        for (std::int64_t i = 0; i < count; ++i)
            for (std::int32_t c = 0; c < places.components(); ++c)
                convert(out + i * stride + c * places.componentStride(),
                        values + i * registerBytes + c * laneBytes, 1);
    }
    if (kept == nullptr)
        return;
    withElementCopy(places, [&](const auto& element) {
        for (std::int64_t i = 0; i < count; ++i)
            if (kept[i] == 0)
                element.unpack(out + i * stride, replacementElement.data());
    });
}

void ArrayStore::storeValues(std::int64_t first, std::int64_t count, const unsigned char* values,
                             const unsigned char* kept) const {
    for (std::int64_t done = 0; done < count;) {
        const ElementPlaces::Run run = places.values().runFrom(first + done, count - done);
        if (run.isInside)
            storeRun(data + run.place, run.count, values + done * registerBytes,
                     kept == nullptr ? nullptr : kept + done);
        done += run.count;
    }
}

// ---------------------------------------------------------------------------------------------
// Presence

namespace {

/// Sets the bits of `byte` that `mask` selects to those of `bits`.
void setBits(unsigned char& byte, unsigned mask, unsigned bits) {
    if (mask == 0xFF) {
        byte = static_cast<unsigned char>(bits);
        return;
    }
    // Atomic operations, because another thread may be changing the other bits of this byte.
    const unsigned set = mask & bits;
    const unsigned cleared = mask & ~bits;
    if (set != 0)
        __atomic_fetch_or(&byte, static_cast<unsigned char>(set), __ATOMIC_RELAXED);
    if (cleared != 0)
        __atomic_fetch_and(&byte, static_cast<unsigned char>(~cleared), __ATOMIC_RELAXED);
}

bool isPresent(const unsigned char* present, std::int64_t i) {
    return present == nullptr || present[i] != 0;
}

/// Stores adjacent bits, starting at bit `first`.
void storeBits(unsigned char* bits, std::int64_t first, std::int64_t count,
               const unsigned char* present) {
    for (std::int64_t done = 0; done < count;) {
        const auto low = static_cast<unsigned>((first + done) & 7);
        const std::int64_t turn = std::min<std::int64_t>(8 - low, count - done);
        unsigned value = 0;
        for (std::int64_t i = 0; i < turn; ++i)
            value |= unsigned{isPresent(present, done + i)} << i;
        const unsigned mask = 0xFFu >> (8 - turn);
        setBits(bits[(first + done) >> 3], mask << low, value << low);
        done += turn;
    }
}

/// Stores adjacent presence bytes. They may lie exactly where `present` does.
void storeBytes(unsigned char* out, const unsigned char* present, std::int64_t count) {
    if (present == nullptr)
        std::memset(out, 1, static_cast<std::size_t>(count));
    else if (present == out)
        // In a loop with one pointer, the compiler sees that no byte depends on another one.
        for (std::int64_t i = 0; i < count; ++i)
            out[i] = out[i] != 0;
    else
        for (std::int64_t i = 0; i < count; ++i)
            out[i] = present[i] != 0;
}

} // namespace

/// `present` is null if all elements are present.
void ArrayStore::storePresent(std::int64_t first, std::int64_t count,
                              const unsigned char* present) const {
    const std::int64_t stride = places.presence().stride();
    for (std::int64_t done = 0; done < count;) {
        const ElementPlaces::Run run = places.presence().runFrom(first + done, count - done);
        const unsigned char* const part = present == nullptr ? nullptr : present + done;
        done += run.count;
        if (!run.isInside)
            continue;
        if (places.hasPresenceBits() && stride == 1) {
            storeBits(presence, run.place, run.count, part);
        } else if (places.hasPresenceBits()) {
            for (std::int64_t i = 0; i < run.count; ++i)
                storeBits(presence, run.place + i * stride, 1,
                          part == nullptr ? nullptr : part + i);
        } else if (stride == 1) {
            storeBytes(presence + run.place, part, run.count);
        } else {
            for (std::int64_t i = 0; i < run.count; ++i)
                presence[run.place + i * stride] = isPresent(part, i) ? 1 : 0;
        }
    }
}

// ---------------------------------------------------------------------------------------------

namespace {

/// The part of a range that belongs to a view of `elements` elements.
struct Clipped {
    std::int64_t before = 0; ///< elements skipped at the beginning of the range
    std::int64_t count = 0;
};

Clipped clip(std::int64_t first, std::int64_t count, std::int64_t elements) {
    if (count <= 0 || first >= elements || first <= -count)
        return {};
    const std::int64_t before = first < 0 ? -first : 0;
    return {before, std::min(count - before, elements - (first + before))};
}

} // namespace

void ArrayStore::store(std::int64_t first, std::int64_t count, const unsigned char* values,
                       const unsigned char* validity) const {
    const Clipped part = clip(first, count, places.count());
    if (part.count == 0)
        return;
    first += part.before;
    count = part.count;
    values += part.before * registerBytes;
    if (validity != nullptr)
        validity += part.before;

    if (mark == nullptr) {
        storeValues(first, count, values, fillElement.empty() ? nullptr : validity);
        if (presence != nullptr)
            storePresent(first, count, validity);
        return;
    }
    constexpr std::int64_t mostAtOnce = 256;
    unsigned char fits[mostAtOnce];
    unsigned char present[mostAtOnce];
    for (std::int64_t done = 0; done < count; done += mostAtOnce) {
        const std::int64_t turn = std::min(mostAtOnce, count - done);
        const unsigned char* const some = values + done * registerBytes;
        std::fill_n(fits, turn, static_cast<unsigned char>(1));
        mark(fits, some, turn, places.components());
        for (std::int64_t i = 0; i < turn; ++i)
            present[i] = fits[i] != 0 && (validity == nullptr || validity[done + i] != 0);
        storeValues(first + done, turn, some, fillElement.empty() ? fits : present);
        if (presence != nullptr)
            storePresent(first + done, turn, present);
    }
}

void ArrayStore::storePresence(std::int64_t first, std::int64_t count,
                               const unsigned char* validity) const {
    const Clipped part = clip(first, count, places.count());
    if (presence != nullptr && part.count > 0)
        storePresent(first + part.before, part.count,
                     validity == nullptr ? nullptr : validity + part.before);
}

} // namespace Fenlet
