// Bringing a uniform into a register.
#include "sources/load_uniform.h"

#include "sources/block_scratch.h"
#include "sources/broadcast_value.h"

namespace Fenlet {

Fault loadUniform(UniformSource& source, int index, CpuElementKind kind, unsigned char* result,
                  int count, int multiplicity) {
    BlockScratch scratch;
    if (!source.fetch(index, kind, multiplicity, scratch.bytes))
        return Faults::uniformDeclined;
    if (!broadcastValue(result, kind, scratch.bytes, count, multiplicity))
        return Faults::uniformBroadcast;
    return Faults::none;
}

} // namespace Fenlet
