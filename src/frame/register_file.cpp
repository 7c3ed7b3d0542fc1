// The register file's own entry points.
#include "frame/register_layout.h"

#include <fenletexec/register_file.h>

namespace Fenlet {

RegisterFile::RegisterFile() = default;

bool RegisterFile::configure(const RegisterSpec* specs, int count, int elements) {
    // Specs that are missing count as a negative number of them: both are told in the same words.
    const int given = count != 0 && specs == nullptr ? -1 : count;
    return layOut([specs](int number) { return specs[number]; }, given, elements);
}

} // namespace Fenlet
