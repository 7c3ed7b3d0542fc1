// The library's conversions, chosen by kind.
#include "lane_conversions.h"

#include "kernels/conversions/conversions.h"
#include "kernels/lanes/kinds.h"

namespace Fenlet {
namespace {

template <class To>
LaneConversion conversionTo(CpuElementKind from) {
    switch (from) {
    case CpuElementKind::Int32:
        return &mapRun<Convert<To, std::int32_t>>;
    case CpuElementKind::Int64:
        return &mapRun<Convert<To, std::int64_t>>;
    case CpuElementKind::Half:
        return &mapRun<Convert<To, Half>>;
    case CpuElementKind::Float32:
        return &mapRun<Convert<To, float>>;
    case CpuElementKind::Float64:
        return &mapRun<Convert<To, double>>;
    default:
        return nullptr;
    }
}

} // namespace

LaneConversion laneConversion(CpuElementKind to, CpuElementKind from) {
    switch (to) {
    case CpuElementKind::Tribool:
        return from == to ? &mapRun<Convert<Tribool, Tribool>> : nullptr;
    case CpuElementKind::Int32:
        return conversionTo<std::int32_t>(from);
    case CpuElementKind::Int64:
        return conversionTo<std::int64_t>(from);
    case CpuElementKind::Half:
        return conversionTo<Half>(from);
    case CpuElementKind::Float32:
        return conversionTo<float>(from);
    case CpuElementKind::Float64:
        return conversionTo<double>(from);
    default:
        return nullptr;
    }
}

} // namespace Fenlet
