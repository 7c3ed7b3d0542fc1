// Random programs in which `verifyProgram` finds no error.
#pragma once

#include "../model/random_program.h"

#include <fenletir/program.h>

namespace Fenlet {

/// A program of up to about 30 instructions over three fields, three uniforms and a sampler. Every
/// operand is written before it is read. Registers may be written more than once, even by
/// instructions that read them.
///
/// A wasteful program has much that can be simplified, and much that only looks so: repeated
/// subexpressions, operations on constants, of which many are special values, neutral operands,
/// negated comparisons, conversions there and back, and components of operations.
FenletProgram soundProgram(Model::Chance& chance, bool isWasteful = false);

} // namespace Fenlet
