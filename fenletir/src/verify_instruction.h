// The check of one instruction.
#pragma once

#include <fenletir/verify.h>

namespace Fenlet {

/// Appends what is wrong with instruction `number`. Does not look at the other instructions.
void verifyInstruction(const FenletProgram& program, std::int32_t number,
                       std::vector<Finding>& findings);

} // namespace Fenlet
