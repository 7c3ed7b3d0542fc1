// Kinds of array elements, and the check of views.
#include <fenlethosts/array_view.h>

#include <limits>

namespace Fenlet {
namespace {

struct KindFacts {
    const char* name;
    CpuElementKind inRegister;
    std::int32_t bytes;
};

constexpr KindFacts kindFacts[arrayKindCount] = {
    {"Unsupported", CpuElementKind::Unsupported, 0},
    {"Tribool", CpuElementKind::Tribool, 1},
    {"Int32", CpuElementKind::Int32, 4},
    {"Int64", CpuElementKind::Int64, 8},
    {"Half", CpuElementKind::Half, 2},
    {"Float32", CpuElementKind::Float32, 4},
    {"Float64", CpuElementKind::Float64, 8},
    {"Bool", CpuElementKind::Tribool, 1},
    {"Int8", CpuElementKind::Int32, 1},
    {"UInt8", CpuElementKind::Int32, 1},
    {"Int16", CpuElementKind::Int32, 2},
    {"UInt16", CpuElementKind::Int32, 2},
    {"UInt32", CpuElementKind::Int64, 4},
};

const KindFacts& factsOf(ArrayKind kind) {
    const auto number = static_cast<std::uint32_t>(kind);
    return kindFacts[number < arrayKindCount ? number : 0];
}

/// The largest number of elements, bytes or bits: 2 to the power 63, minus 1.
constexpr const char* mostText = "9223372036854775807";

/// Adds to `reach` the distance from the first to the last of `count` places. Returns false if the
/// sum overflows.
bool addReach(std::int64_t& reach, std::int64_t stride, std::int64_t count) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    const std::uint64_t length =
        stride < 0 ? -static_cast<std::uint64_t>(stride) : static_cast<std::uint64_t>(stride);
    std::uint64_t distance = 0;
    if (length > most ||
        __builtin_mul_overflow(length, static_cast<std::uint64_t>(count - 1), &distance) ||
        distance > most)
        return false;
    return !__builtin_add_overflow(reach, static_cast<std::int64_t>(distance), &reach);
}

std::string faultOfAxis(const ArrayAxis& axis, const std::string& name) {
    if (axis.size < 0)
        return name + " has a size of " + std::to_string(axis.size) + "; give it 0 or more";
    if (axis.extent < 0)
        return name + " has an extent of " + std::to_string(axis.extent) + "; give it 0 or more";
    return {};
}

std::string faultOfReach(const ArrayView& view) {
    std::int64_t valueReach = componentSize(view.kind);
    std::int64_t presenceReach = view.presence.firstBit;
    bool valuesFit = addReach(valueReach, view.componentStride, view.components);
    bool presenceFits = true;
    for (int k = 0; k < view.axisCount; ++k) {
        const ArrayAxis& axis = view.axes[k];
        valuesFit = valuesFit && addReach(valueReach, axis.stride, axis.extent);
        presenceFits = presenceFits && addReach(presenceReach, axis.presenceStride, axis.extent);
    }
    if (!valuesFit)
        return std::string("the array spans more than ") + mostText +
               " bytes; give it smaller strides or extents";
    if (view.presence.data != nullptr && !presenceFits)
        return std::string("the array's presence spans more than ") + mostText +
               (view.presence.isBits ? " bits" : " bytes") + "; give it smaller presence strides";
    return {};
}

} // namespace

CpuElementKind registerKind(ArrayKind kind) {
    return factsOf(kind).inRegister;
}

std::int32_t componentSize(ArrayKind kind) {
    return factsOf(kind).bytes;
}

const char* arrayKindName(ArrayKind kind) {
    return factsOf(kind).name;
}

std::string faultOfView(const ArrayView& view) {
    if (view.axisCount == -1)
        return "the view was shaped or shifted in a way that does not fit it; give shaped() sizes "
               "that multiply to its number of elements, and shifted() a number for each axis";
    if (view.axisCount < 0 || view.axisCount > mostAxes)
        return "the view has " + std::to_string(view.axisCount) + " axes; give it 0 to " +
               std::to_string(mostAxes);
    if (componentSize(view.kind) == 0)
        return "the array's kind is " + std::to_string(static_cast<int>(view.kind)) +
               ", which cannot be stored; choose one from Tribool to UInt32";
    if (view.components < 1 || view.components > mostComponents)
        return "the array has " + std::to_string(view.components) +
               " components to an element; give it 1 to " + std::to_string(mostComponents);
    bool isEmpty = false;
    for (int k = 0; k < view.axisCount; ++k) {
        std::string fault = faultOfAxis(view.axes[k], "axis " + std::to_string(k));
        if (!fault.empty())
            return fault;
        isEmpty = isEmpty || view.axes[k].size == 0 || view.axes[k].extent == 0;
    }
    if (view.count() < 0)
        return std::string("the view has more than ") + mostText +
               " elements; give it smaller sizes";
    if (view.presence.firstBit < 0)
        return "presence begins at bit " + std::to_string(view.presence.firstBit) +
               "; let it begin at bit 0 or later";
    if (view.presence.firstBit != 0 && !view.presence.isBits)
        return "presence has a byte for each element and begins at bit " +
               std::to_string(view.presence.firstBit) + "; let it begin at bit 0";
    if (isEmpty)
        return {};
    if (view.data == nullptr)
        return "the view has elements but no address; give it the address of the array's element 0";
    return faultOfReach(view);
}

} // namespace Fenlet
