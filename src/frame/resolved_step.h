// What the run of a step needs besides the `Step`: the memory of its registers, and its kernel.
#pragma once

#include "kernels/arithmetic/arithmetic.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/select/select.h"
#include "kernels/unary/unary.h"
#include "sources/component.h"

#include <fenletexec/interpreter.h>

namespace Fenlet {

/// Valid until the registers are laid out again.
struct ResolvedStep {
    unsigned char* result = nullptr;
    unsigned char* resultValidity = nullptr;
    /// Null for an operand that the step does not have.
    const unsigned char* operands[3] = {};
    const unsigned char* operandValidity[3] = {};
    /// The loop that does all the work of an arithmetic step. Null if one loop is not enough for
    /// the step.
    FlatArithmetic flatArithmetic = nullptr;
    /// Whether one loop does all the work of the step, its validity included: `flatComparison`,
    /// `flatSelect` or `flatDivision`.
    bool isFlat = false;
    /// The kernel for the step's kinds. The step's opcode determines which member is in use. Null
    /// if there is no such kernel; the step is then refused when it runs. Also null if
    /// `flatArithmetic` is set, and for opcodes that have one kernel for all kinds.
    union {
        ArithmeticKernel arithmetic = nullptr;
        FlatDivision flatDivision;
        ComparisonKernel comparison;
        FlatComparison flatComparison;
        SelectKernel select;
        FlatSelect flatSelect;
        UnaryKernel unary;
        ComponentKernel component;
    };
};

/// Looks up what `step` needs, with kernels of the instruction set in use now. Accepts any step:
/// pointers to registers and kernels that do not exist are null.
ResolvedStep resolve(const Interpreter::Step& step, RegisterFile& registers);

/// Looks up what each of `steps` needs. `resolved` must be empty and have capacity for all steps,
/// so that nothing is allocated.
void resolveAll(const std::vector<Interpreter::Step>& steps, RegisterFile& registers,
                std::vector<ResolvedStep>& resolved);

/// The operation of `Add`, `Subtract`, `Multiply` or `Divide`.
inline ArithmeticOp arithmeticOp(OpCode op) {
    return static_cast<ArithmeticOp>(static_cast<std::uint32_t>(op) -
                                     static_cast<std::uint32_t>(OpCode::Add));
}

/// The kernels' number of `Less` to `NotEqual`.
inline std::uint32_t predicateOf(OpCode op) {
    return static_cast<std::uint32_t>(op) - static_cast<std::uint32_t>(OpCode::Less);
}

} // namespace Fenlet
