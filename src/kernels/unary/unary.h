// Negate and Length: one register into another.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

enum class UnaryOp : std::uint32_t { Negate = 0, Length = 1 };

/// The arguments of a kernel. The two areas hold components of their own kinds. The areas may
/// overlap: the result is then as if lanes were processed one at a time, in ascending order, and as
/// if each length were written after its components were read.
///
/// `Negate` writes `count` * `multiplicity` lanes; lane i of the result depends on lane i of the
/// operand. `Length` writes one lane for each element, packed; lane i depends on the `multiplicity`
/// components from index i * multiplicity on.
struct UnaryArgs {
    void* result;
    const void* operand;
    std::int32_t count;
    std::int32_t multiplicity; ///< of the operand
};

/// Runs the kernel of this operation for these two kinds. Returns false, and writes nothing, if
/// there is no such kernel. There is one for every pair of `Int32`, `Half`, `Float32` and
/// `Float64`, and for no other pair.
///
/// Each component is first converted to the kind of the result, and all arithmetic is in this kind.
///
/// `Negate` then flips the sign bit, also of zeros and NaNs. An `Int32` is subtracted from 0 and
/// wraps at 32 bits.
///
/// `Length` then adds the squares, strictly in component order, and takes the square root. The
/// floating kinds follow IEEE 754, with one rounding for each product, sum and root. `Half` is
/// computed in binary32: the running sum is rounded to binary16 after each component, and the root
/// is rounded to binary16, too. `Int32` products and sums wrap at 32 bits. The root of an `Int32`
/// sum is computed in binary64 and truncated; if the sum has wrapped to a negative number, the
/// result is the most negative integer.
bool dispatchUnary(UnaryOp op, CpuElementKind result, CpuElementKind operand,
                   const UnaryArgs& args);

using UnaryKernel = void (*)(const UnaryArgs&);

/// The kernel that `dispatchUnary` runs, in the instruction set in use; null if there is none.
UnaryKernel unaryKernel(UnaryOp op, CpuElementKind result, CpuElementKind operand);

/// The kernels by result and operand kind.
struct UnaryKernels {
    PairTable<UnaryKernel, KindsWithArithmetic> negate;
    PairTable<UnaryKernel, KindsWithArithmetic> length;
};

} // namespace Fenlet
