// Rewrites a program so that it does less work and gives the same results.
#pragma once

#include <fenletarrays/export.h>
#include <fenletir/program.h>

#include <cstdint>
#include <vector>

namespace Fenlet {

/// A rewrite that `simplifyProgram` made.
struct Rewrite {
    const char* rule;         ///< its name in the table below; has static lifetime
    std::int32_t instruction; ///< in the program as it was given
};

struct SimplifiedProgram {
    FenletProgram program;
    /// For each instruction of `program`, the instruction of the given program that it comes from.
    std::vector<std::int32_t> origins;
    std::vector<Rewrite> rewrites;
};

/// Returns a program that gives the same values and presence in all wanted registers, to the bit,
/// also in missing elements. It asks the host's providers the same in the same order. Only which of
/// two NaNs an operation returns is open, as it is without the simplifier.
///
/// The wanted registers are `outputs`. If there are none, they are the registers that are marked as
/// outputs, or all registers if none is marked. The wanted registers are marked as outputs in the
/// new program, and no others are.
///
/// Registers, fields, uniforms and samplers keep their numbers. New registers follow the old ones.
/// Constants are numbered anew.
///
/// Returns the program as it is if `verifyProgram` finds an error in it, or a register that is read
/// but never written, only partly written or misread; also if `outputs` has a number that is no
/// register. Throws what the allocator throws.
///
/// A rule applies to registers that a single instruction writes. The time that this takes grows
/// linearly with the number of instructions.
///
/// | rule                   | from                                       | to                 |
/// |------------------------|--------------------------------------------|--------------------|
/// | constant folding       | an operation on constants                  | a constant         |
/// | constant condition     | `Select(true, x, y)`                       | `x`                |
/// | same arms              | `Select(c, x, x)`                          | `x`                |
/// | conversion             | conversions one after the other            | one, or none       |
/// | negated comparison     | `Not(Equal(x, y))`                         | `NotEqual(x, y)`   |
/// | double negation        | `Not(Not(x))`                              | `x`                |
/// | known truth            | `IsTrue(x)`                                | `x`                |
/// | neutral operand        | `x * 1`, `x / 1`, `x + -0.0`, `x - 0.0`    | `x`                |
/// | neutral truth          | `And(x, true)`, `Or(x, false)`, `Or(x, x)` | `x`                |
/// | common subexpression   | the same instruction again                 | the earlier result |
/// | component of operation | `Component(x * y, k)`                      | the product of
/// components | | copied output          | a result and its copy in an output         | the result
/// in the output | | dead step              | an instruction that nothing needs          | nothing
/// |
///
/// Why each is exact, and where it does not apply:
///
/// - Constant folding: the kernels that would run compute the constant. It does not apply if the
///   result is missing, since a constant cannot be; to a Tribool of several components, since a
///   constant has one; or if the constant does not fit its format.
/// - Constant condition: `Select` takes value and presence from this arm, and converts the value as
///   `Component` does. It does not apply to an unknown condition, which makes the element missing.
/// - Same arms: applies only if the condition is never unknown.
/// - Conversion: applies if the first conversion keeps every value, as from Int32 to Int64, or
///   keeps the kind. A conversion also makes a signalling NaN quiet. So the rule does not apply to
///   floats that the host provides.
/// - Negated comparison: both are unknown for the same elements. `Less`, `LessEqual`, `Greater` and
///   `GreaterEqual` are all false beside a NaN, so they are negated only if no side can be one.
///   Does not apply if the comparison itself is needed, too.
/// - Double negation: applies if x holds nothing but 0, 1 and 255. `Not` turns other bytes into 1.
/// - Known truth: applies if x holds nothing but 0 and 1 and is never missing.
/// - Neutral operand: IEEE 754 gives back x with its sign. It makes a signalling NaN quiet, so a
///   float x must be the result of arithmetic, and of the same kind. x + 0.0 is no such case: it
///   turns -0.0 into 0.0.
/// - Neutral truth: applies if x holds nothing but 0, 1 and 255. `And(x, false)` is false and
///   `Or(x, true)` is true if x is never missing.
/// - Common subexpression: the same opcode, kind and components, and the same operands in the same
///   order. Does not apply to instructions that ask a provider.
/// - Component of operation: `Negate`, arithmetic, comparisons, logic, and `Select` with one
///   condition for each element compute each component separately, and presence comes from all
///   operands either way. Does not apply to Int32 division, where a zero divisor in any component
///   makes the element missing; to `Select` with a condition for each component, where all of them
///   decide presence; if another component is read; or if several operands have components, since
///   nothing is gained then.
/// - Copied output: the copy has the same bits. Does not apply to what a provider fills.
/// - Dead step: does not apply to an instruction that asks a provider, nor to what its operand
///   needs.
FENLETARRAYS_API SimplifiedProgram simplifyProgram(const FenletProgram& program,
                                                   const std::vector<std::int32_t>& outputs = {});

} // namespace Fenlet
