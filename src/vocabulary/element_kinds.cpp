// The names and sizes of the storage kinds, and the kind of each register format.
#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

namespace Fenlet {

namespace {

/// The name of a kind with storage; null for other numbers.
constexpr const char* nameOf(CpuElementKind kind) {
    switch (kind) {
    case CpuElementKind::Unsupported:
        break;
    case CpuElementKind::Tribool:
        return "Tribool";
    case CpuElementKind::Int32:
        return "Int32";
    case CpuElementKind::Int64:
        return "Int64";
    case CpuElementKind::Half:
        return "Half";
    case CpuElementKind::Float32:
        return "Float32";
    case CpuElementKind::Float64:
        return "Float64";
    }
    return nullptr;
}

// The compiler reports an enumerator that the switch above leaves out. This check reports one that
// the list `AllKinds` leaves out.
static_assert(
    [] {
        for (int number = -1; number < 100; ++number) {
            const auto kind = static_cast<CpuElementKind>(number);
            if ((nameOf(kind) != nullptr) != (AllKinds::positionOf(kind) >= 0))
                return false;
        }
        return true;
    }(),
    "AllKinds leaves out a kind of the enumeration");

constexpr auto sizes = kindTable<std::int32_t, AllKinds>(
    []<class Lane>() { return static_cast<std::int32_t>(sizeof(Lane)); });

} // namespace

const char* cpuElementKindName(CpuElementKind kind) {
    const char* const name = nameOf(kind);
    return name != nullptr ? name : "Unsupported";
}

std::int32_t elementSize(CpuElementKind kind) {
    return sizes.find(kind);
}

CpuElementKind blockElement(RegisterFormat format) {
    switch (format) {
    case RegisterFormat::Tribool:
        return CpuElementKind::Tribool;
    case RegisterFormat::Int8:
    case RegisterFormat::Int16:
    case RegisterFormat::Int32:
        return CpuElementKind::Int32;
    case RegisterFormat::Int64:
        return CpuElementKind::Int64;
    case RegisterFormat::Half:
        return CpuElementKind::Half;
    case RegisterFormat::Float32:
        return CpuElementKind::Float32;
    case RegisterFormat::Float64:
        return CpuElementKind::Float64;
    }
    return CpuElementKind::Unsupported;
}

} // namespace Fenlet
