// Bringing a constant into a register.
#include "sources/load_constant.h"

#include "kernels/conversions/conversions.h"
#include "sources/broadcast_value.h"
#include "vocabulary/kinds.h"

#include <cstring>

namespace Fenlet {
namespace {

/// Stores the constant's components as lanes of one kind from `scratch` on. The kind alone decides
/// which of the constant's values is asked for.
template <class Lane>
void storeComponents(const Constant& constant, unsigned char* scratch) {
    if constexpr (isSame<Lane, Tribool>) {
        scratch[0] = constant.boolean;
    } else {
        for (std::int32_t c = 0; c < constant.multiplicity; ++c) {
            if constexpr (isInteger<Lane>)
                storeLane(scratch, c, convert<Lane>(constant.integralComponent(c)));
            else
                storeLane(scratch, c, convert<Lane>(constant.realComponent(c)));
        }
    }
}

using Store = void (*)(const Constant& constant, unsigned char* scratch);

constexpr auto stores =
    kindTable<Store, AllKinds>([]<class Lane>() { return &storeComponents<Lane>; });

/// As `broadcastValue`, for a register of more components than the scratch has: what the scratch
/// does not hold is zero.
bool broadcastPadded(unsigned char* result, CpuElementKind kind, const BlockScratch& scratch,
                     int count, int multiplicity) {
    const auto componentBytes = static_cast<std::size_t>(elementSize(kind));
    const std::size_t scratchBytes = componentBytes * mostScratchComponents;
    const std::size_t valueBytes = componentBytes * static_cast<std::size_t>(multiplicity);
    for (int i = 0; i < count; ++i, result += valueBytes) {
        std::memcpy(result, scratch.bytes, scratchBytes);
        std::memset(result + scratchBytes, 0, valueBytes - scratchBytes);
    }
    return componentBytes != 0;
}

} // namespace

Fault loadConstant(const Constant& constant, CpuElementKind kind, unsigned char* result, int count,
                   int multiplicity, bool isAlike) {
    BlockScratch scratch;
    const Store store = stores.find(kind);
    if (store == nullptr)
        return Faults::constantMaterialise;
    store(constant, scratch.bytes);
    const bool stored =
        multiplicity <= mostScratchComponents
            ? updateBroadcast(result, kind, scratch.bytes, count, multiplicity, isAlike)
            : broadcastPadded(result, kind, scratch, count, multiplicity);
    return stored ? Faults::none : Faults::constantBroadcast;
}

} // namespace Fenlet
