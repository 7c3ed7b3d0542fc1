// Bringing a uniform into a register.
#include "sources/load_uniform.h"

#include "sources/block_scratch.h"
#include "sources/broadcast_value.h"

namespace Fenlet {

Fault loadUniform(UniformSource& source, int index, CpuElementKind kind, unsigned char* result,
                  int count, int multiplicity, bool isAlike) {
    BlockScratch scratch;
    if (!source.fetch(index, kind, multiplicity, scratch.bytes))
        return Faults::uniformDeclined;
    if (!updateBroadcast(result, kind, scratch.bytes, count, multiplicity, isAlike))
        return Faults::uniformBroadcast;
    return Faults::none;
}

} // namespace Fenlet
