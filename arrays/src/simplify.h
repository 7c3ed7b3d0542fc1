// The simplifier, for a program that has been examined already.
#pragma once

#include "program_flow.h"

#include <fenletarrays/simplify.h>

namespace Fenlet {

/// Like `simplifyProgram`. `flow` belongs to the program and must have found no error in it; this
/// changes which of its instructions are needed.
SimplifiedProgram simplifyExamined(const FenletProgram& program, ProgramFlow& flow,
                                   const std::vector<std::int32_t>& outputs);

} // namespace Fenlet
