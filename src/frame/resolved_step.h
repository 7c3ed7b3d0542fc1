// What a step needs besides itself, looked up once: where its registers lie, and its kernel.
#pragma once

#include "kernels/arithmetic/arithmetic.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/select/select.h"
#include "kernels/unary/unary.h"
#include "sources/component.h"

#include <fenletexec/interpreter.h>

namespace Fenlet {

/// Holds as long as the layout of the registers does.
struct ResolvedStep {
    unsigned char* result = nullptr;
    unsigned char* resultValidity = nullptr;
    /// Null for an operand that the step does not have.
    const unsigned char* operands[3] = {};
    const unsigned char* operandValidity[3] = {};
    /// The one of the step's family. Null where the family has none for the step's kinds, which
    /// only a run refuses.
    ArithmeticKernel arithmetic = nullptr;
    ComparisonKernel comparison = nullptr;
    SelectKernel select = nullptr;
    UnaryKernel unary = nullptr;
    ComponentKernel component = nullptr;
};

ResolvedStep resolve(const Interpreter::Step& step, RegisterFile& registers);

} // namespace Fenlet
