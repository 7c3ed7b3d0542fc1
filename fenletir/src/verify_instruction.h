// The rules of one instruction.
#pragma once

#include <fenletir/verify.h>

namespace Fenlet {

/// Appends what is wrong with instruction `number` by itself, wherever it stands in the program.
void verifyInstruction(const FenletProgram& program, std::int32_t number,
                       std::vector<Finding>& findings);

} // namespace Fenlet
