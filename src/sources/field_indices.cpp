// The element numbers that a field is read at.
#include "sources/field_indices.h"

#include "kernels/lanes/lanes.h"
#include "vocabulary/element_numbers.h"

#include <cstring>

namespace Fenlet {

void countUp(std::int64_t* out, std::int64_t start, int count) {
    for (int i = 0; i < count; ++i)
        out[i] = offsetElement(start, i);
}

void copyIndices(std::int64_t* out, const unsigned char* operand, CpuElementKind kind, int count) {
    if (kind == CpuElementKind::Int32) {
        for (int i = 0; i < count; ++i)
            out[i] = loadLane<std::int32_t>(operand, i);
    } else {
        std::memcpy(out, operand, static_cast<std::size_t>(count) * sizeof *out);
    }
}

bool isContiguous(const std::int64_t* indices, const unsigned char* validity, int count) {
    for (int i = 0; i < count; ++i) {
        if (validity != nullptr && validity[i] == 0)
            return false;
        if (indices[i] != offsetElement(indices[0], i))
            return false;
    }
    return true;
}

} // namespace Fenlet
