// Loading a constant into a register.
#include "sources/load_constant.h"

#include "kernels/conversions/conversions.h"
#include "sources/broadcast_value.h"
#include "vocabulary/kinds.h"

#include <cstring>

namespace Fenlet {
namespace {

/// Stores the components of a constant as lanes of one kind. Integer kinds use `integralComponent`,
/// float kinds `realComponent`, and Tribool the constant's truth value.
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

/// Stores the components in the register's kind. Returns false if `kind` is not a kind with
/// storage.
bool materialise(const Constant& constant, CpuElementKind kind, unsigned char* scratch) {
    switch (kind) {
    case CpuElementKind::Unsupported:
        return false;
    case CpuElementKind::Tribool:
        storeComponents<Tribool>(constant, scratch);
        return true;
    case CpuElementKind::Int32:
        storeComponents<std::int32_t>(constant, scratch);
        return true;
    case CpuElementKind::Int64:
        storeComponents<std::int64_t>(constant, scratch);
        return true;
    case CpuElementKind::Half:
        storeComponents<Half>(constant, scratch);
        return true;
    case CpuElementKind::Float32:
        storeComponents<float>(constant, scratch);
        return true;
    case CpuElementKind::Float64:
        storeComponents<double>(constant, scratch);
        return true;
    }
    return false;
}

/// Like `broadcastValue`, for a register that has more components than the scratch buffer. The
/// further components become zero.
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
    if (!materialise(constant, kind, scratch.bytes))
        return Faults::constantMaterialise;
    const bool stored =
        multiplicity <= mostScratchComponents
            ? updateBroadcast(result, kind, scratch.bytes, count, multiplicity, isAlike)
            : broadcastPadded(result, kind, scratch, count, multiplicity);
    return stored ? Faults::none : Faults::constantBroadcast;
}

} // namespace Fenlet
