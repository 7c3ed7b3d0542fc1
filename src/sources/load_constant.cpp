// Bringing a constant into a register.
#include "sources/load_constant.h"

#include "kernels/conversions/conversions.h"
#include "sources/block_scratch.h"
#include "sources/broadcast_value.h"

#include <cstring>

namespace Fenlet {
namespace {

/// Puts the constant's components into the scratch, in the register's kind. The kind alone decides
/// which of the constant's values is asked for.
bool materialise(const Constant& constant, CpuElementKind kind, unsigned char* scratch) {
    if (kind == CpuElementKind::Tribool) {
        scratch[0] = constant.boolean;
        return true;
    }
    for (std::int32_t c = 0; c < constant.multiplicity; ++c) {
        switch (kind) {
        case CpuElementKind::Int32:
            storeLane(scratch, c, convert<std::int32_t>(constant.integralComponent(c)));
            break;
        case CpuElementKind::Int64:
            storeLane(scratch, c, constant.integralComponent(c));
            break;
        case CpuElementKind::Half:
            storeLane(scratch, c, convert<Half>(constant.realComponent(c)));
            break;
        case CpuElementKind::Float32:
            storeLane(scratch, c, convert<float>(constant.realComponent(c)));
            break;
        case CpuElementKind::Float64:
            storeLane(scratch, c, constant.realComponent(c));
            break;
        default:
            return false;
        }
    }
    return elementSize(kind) != 0;
}

/// As `broadcastValue`, for a register of more components than the scratch has: what the scratch
/// does not hold is zero.
bool broadcastPadded(unsigned char* result, CpuElementKind kind, const BlockScratch& scratch,
                     int count, int multiplicity) {
    const auto componentBytes = static_cast<std::size_t>(elementSize(kind));
    const std::size_t scratchBytes = componentBytes * scratchComponents;
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
        multiplicity <= scratchComponents
            ? updateBroadcast(result, kind, scratch.bytes, count, multiplicity, isAlike)
            : broadcastPadded(result, kind, scratch, count, multiplicity);
    return stored ? Faults::none : Faults::constantBroadcast;
}

} // namespace Fenlet
