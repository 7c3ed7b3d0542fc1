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
    /// What the arithmetic kernel comes down to for this step, null where it is more than a loop.
    FlatArithmetic flatArithmetic = nullptr;
    ComparisonKernel comparison = nullptr;
    SelectKernel select = nullptr;
    UnaryKernel unary = nullptr;
    ComponentKernel component = nullptr;
};

ResolvedStep resolve(const Interpreter::Step& step, RegisterFile& registers);

/// The operation of `Add`, `Subtract`, `Multiply` or `Divide`.
inline ArithmeticOp arithmeticOp(OpCode op) {
    return static_cast<ArithmeticOp>(static_cast<std::uint32_t>(op) -
                                     static_cast<std::uint32_t>(OpCode::Add));
}

/// The first steps of a plan, resolved for a run. There is room for those of most programs, on the
/// stack since a run takes no memory; of a longer one the others are resolved each time.
class ResolvedPlan {
  public:
    void resolveAll(const std::vector<Interpreter::Step>& steps, RegisterFile& registers) {
        count = steps.size();
        for (std::size_t number = 0; number < count && number < room; ++number)
            resolved[number] = resolve(steps[number], registers);
    }

    /// Of how many steps the plan is.
    std::size_t stepCount() const { return count; }

    /// The first steps, as many as are resolved. The others have to be as they come.
    const ResolvedStep* first() const { return resolved; }
    std::size_t resolvedCount() const { return count < room ? count : room; }

  private:
    static constexpr std::size_t room = 64;
    ResolvedStep resolved[room];
    std::size_t count = 0;
};

} // namespace Fenlet
