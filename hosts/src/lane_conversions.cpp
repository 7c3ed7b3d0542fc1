// The library's conversions, chosen by kind.
#include "lane_conversions.h"

#include "kernels/conversions/conversions.h"
#include "vocabulary/kinds.h"

namespace Fenlet {
namespace {

template <class To, class From>
constexpr LaneConversion conversionOf() {
    if constexpr (hasConversion<To, From>)
        return &mapRun<Convert<To, From>>;
    else
        return nullptr;
}

constexpr auto conversions = pairTable<LaneConversion, AllKinds>(
    []<class To, class From>() { return conversionOf<To, From>(); });

} // namespace

LaneConversion laneConversion(CpuElementKind to, CpuElementKind from) {
    return conversions.find(to, from);
}

} // namespace Fenlet
