// The element numbers that a field is read at.
#include "sources/field_indices.h"

#include "kernels/elements/elements.h"

#include <cstring>

namespace Fenlet {

void copyIndices(std::int64_t* out, const unsigned char* operand, CpuElementKind kind, int count) {
    if (kind == CpuElementKind::Int32)
        widenIndices(out, operand, count);
    else
        std::memcpy(out, operand, static_cast<std::size_t>(count) * sizeof *out);
}

} // namespace Fenlet
