// The kernels of component extraction, one for each pair of kinds.
#include "kernels/conversions/conversions.h"
#include "kernels/conversions/wide_lanes.h"
#include "kernels/lanes/tiles.h"
#include "kernels/lanes/vectors.h"
#include "sources/component.h"
#include "vocabulary/kinds.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

/// out[e] = in[e * multiplicity + component]. `out` and `in` may begin at the same address, because
/// no element is stored behind the place that it is read from.
using ComponentRun = void (*)(unsigned char* out, const unsigned char* in, std::int64_t elements);

template <class Lane, int multiplicity, int component>
[[gnu::noinline]] void takeFixed(unsigned char* out, const unsigned char* in,
                                 std::int64_t elements) {
    // Vectors of 16 bytes have no instruction that takes every third lane of 1 or 2 bytes.
    constexpr bool isWide = multiplicity != 3 || sizeof(Lane) > 2 || vectorBytes > 16;
    const std::int64_t together = isWide ? elements - elements % lanesOfVector<Lane> : 0;
    const std::int64_t bytes = together * std::int64_t{sizeof(Lane)};
    for (std::int64_t i = 0; i < bytes; i += vectorBytes)
        storeLane(out + i, 0, loadComponent<Lane, multiplicity, component>(in + i * multiplicity));
    for (std::int64_t e = together; e < elements; ++e)
        storeLane(out, e, loadLane<Lane>(in, e * multiplicity + component));
}

/// The loop for elements of 2 to 4 components; null for other multiplicities.
template <class Lane>
ComponentRun takeRunOf(std::int64_t multiplicity, std::int64_t component) {
    static constexpr ComponentRun runs[3][4] = {
        {&takeFixed<Lane, 2, 0>, &takeFixed<Lane, 2, 1>, nullptr, nullptr},
        {&takeFixed<Lane, 3, 0>, &takeFixed<Lane, 3, 1>, &takeFixed<Lane, 3, 2>, nullptr},
        {&takeFixed<Lane, 4, 0>, &takeFixed<Lane, 4, 1>, &takeFixed<Lane, 4, 2>,
         &takeFixed<Lane, 4, 3>}};
    return multiplicity <= 4 ? runs[multiplicity - 2][component] : nullptr;
}

template <class Lane>
void takeComponents(unsigned char* out, const unsigned char* in, std::int64_t elements,
                    std::int64_t multiplicity, std::int64_t component) {
    if (const ComponentRun run = takeRunOf<Lane>(multiplicity, component))
        return run(out, in, elements);
    for (std::int64_t e = 0; e < elements; ++e)
        storeLane(out, e, loadLane<Lane>(in, e * multiplicity + component));
}

/// Extracts one component of each element and converts it.
template <class To, class From>
void extractStrided(const ComponentArgs& args) {
    using Bits = UnsignedOfSize<sizeof(From)>;
    const std::int64_t multiplicity = args.multiplicity;
    if constexpr (isSame<To, From>) {
        takeComponents<Bits>(args.result, args.source, args.count, multiplicity, args.component);
    } else {
        Tile<From> taken;
        for (std::int64_t e = 0; e < args.count; e += tileLanes) {
            const std::int64_t elements = atMost(tileLanes, args.count - e);
            takeComponents<Bits>(taken.bytes,
                                 args.source + e * multiplicity * std::int64_t{sizeof(From)},
                                 elements, multiplicity, args.component);
            mapRun<Convert<To, From>>(args.result + e * std::int64_t{sizeof(To)}, taken.bytes,
                                      elements);
        }
    }
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
constexpr ComponentKernel kernelFor() {
    if constexpr (hasConversion<To, From>)
        return &extractComponent<To, From>;
    else
        return nullptr;
}

} // namespace

extern const ComponentKernels componentKernels;
constinit const ComponentKernels componentKernels = pairTable<ComponentKernel, AllKinds>(
    []<class To, class From>() { return kernelFor<To, From>(); });

} // namespace FENLET_TARGET
} // namespace Fenlet
