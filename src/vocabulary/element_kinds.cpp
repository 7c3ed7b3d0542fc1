// The storage kinds: their names, their sizes, and how register formats map onto them.
#include <fenletexec/element_kinds.h>

namespace Fenlet {

const char* cpuElementKindName(CpuElementKind kind) {
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
    return "Unsupported";
}

std::int32_t elementSize(CpuElementKind kind) {
    switch (kind) {
    case CpuElementKind::Unsupported:
        break;
    case CpuElementKind::Tribool:
        return 1;
    case CpuElementKind::Half:
        return 2;
    case CpuElementKind::Int32:
    case CpuElementKind::Float32:
        return 4;
    case CpuElementKind::Int64:
    case CpuElementKind::Float64:
        return 8;
    }
    return 0;
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
