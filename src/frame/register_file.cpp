// The register file's exported functions.
#include "frame/register_layout.h"

#include <fenletexec/register_file.h>

namespace Fenlet {

RegisterFile::RegisterFile() = default;

bool RegisterFile::configure(const RegisterSpec* specs, int count, int elements) {
    // Missing specs get the same message as a negative count.
    const int given = count != 0 && specs == nullptr ? -1 : count;
    return layOut([specs](int number) { return specs[number]; }, given, elements);
}

} // namespace Fenlet
