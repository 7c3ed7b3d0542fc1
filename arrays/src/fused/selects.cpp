// Looks up the loops for selections.
#include "fused/selects.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const SelectLoops selectLoops)

namespace {

constexpr KernelSets<SelectLoops> kernels = {FENLET_ADDRESSES(selectLoops)};

} // namespace

KnownSelect knownSelect(std::int32_t laneBytes) {
    switch (laneBytes) {
    case 1:
        return kernels.chosen().known[0];
    case 2:
        return kernels.chosen().known[1];
    case 4:
        return kernels.chosen().known[2];
    case 8:
        return kernels.chosen().known[3];
    default:
        return nullptr;
    }
}

ComparedSelect comparedSelect(CpuElementKind kind, std::uint32_t predicate) {
    return predicate < 6 ? kernels.chosen().compared.find(kind).of[predicate] : nullptr;
}

} // namespace Fenlet
