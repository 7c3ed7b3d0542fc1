// The kernels of component extraction, one for each pair of kinds.
#include "kernels/conversions/conversions.h"
#include "kernels/conversions/half_runs.h"
#include "kernels/lanes/kinds.h"
#include "sources/component.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

/// One component of each element, converted. Also right where the result is the source register
/// itself: an element is written at or before the place that it is read from.
template <class To, class From>
void extractStrided(const ComponentArgs& args) {
    unsigned char* const out = args.result;
    const unsigned char* const in = args.source;
    const std::int64_t count = args.count;
    const std::int64_t multiplicity = args.multiplicity;
    const std::int64_t component = args.component;
    FENLET_INDEPENDENT_LANES
    for (std::int64_t e = 0; e < count; ++e)
        storeLane(out, e, convert<To>(loadLane<From>(in, e * multiplicity + component)));
}

template <class To, class From>
void extractComponent(const ComponentArgs& args) {
    const std::int64_t lanes = std::int64_t{args.count} * args.multiplicity;
    const bool independent = lanesAreIndependent({args.result, args.count, sizeof(To)},
                                                 {args.source, lanes, sizeof(From)});
    if (!independent) {
        for (std::int32_t e = 0; e < args.count; ++e)
            mapRun<Convert<To, From>>(args.result + std::int64_t{e} * std::int64_t{sizeof(To)},
                                      args.source +
                                          (std::int64_t{e} * args.multiplicity + args.component) *
                                              std::int64_t{sizeof(From)},
                                      1);
    } else if (args.multiplicity > 1) {
        extractStrided<To, From>(args);
    } else if (!isSame<To, From> || args.result != args.source) {
        mapRun<Convert<To, From>>(args.result, args.source, args.count);
    }
}

template <class To, class From>
consteval ComponentKernel kernelFor() {
    if constexpr (isSame<To, Tribool> == isSame<From, Tribool>)
        return &extractComponent<To, From>;
    else
        return nullptr;
}

template <class... Results>
consteval ComponentKernels everyPair(KindList<Results...>) {
    return {{{kernelFor<Results, Tribool>(), kernelFor<Results, std::int32_t>(),
              kernelFor<Results, std::int64_t>(), kernelFor<Results, Half>(),
              kernelFor<Results, float>(), kernelFor<Results, double>()}...}};
}

} // namespace

extern const ComponentKernels componentKernels;
const ComponentKernels componentKernels =
    everyPair(KindList<Tribool, std::int32_t, std::int64_t, Half, float, double>{});

} // namespace FENLET_TARGET
} // namespace Fenlet
