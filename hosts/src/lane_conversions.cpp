// The evaluator's conversions, chosen by kind.
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

/// By the kinds' numbers: fields look a conversion up for every block.
constexpr auto conversions =
    kindTable<KindTable<LaneConversion, AllKinds>, AllKinds>([]<class To>() {
        return kindTable<LaneConversion, AllKinds>(
            []<class From>() { return conversionOf<To, From>(); });
    });

} // namespace

LaneConversion laneConversion(CpuElementKind to, CpuElementKind from) {
    const auto number = static_cast<std::uint32_t>(to);
    return number <= AllKinds::highest ? conversions.of[number].find(from) : nullptr;
}

} // namespace Fenlet
