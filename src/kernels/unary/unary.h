// Negate and Length: one register into another.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

enum class UnaryOp : std::uint32_t { Negate = 0, Length = 1 };

/// One call of a kernel. The two areas hold components of their own kinds and may overlap; the
/// result is then that of one lane at a time in ascending order, a length after the components that
/// it is made of.
///
/// `Negate` writes `count` * `multiplicity` lanes, lane i from lane i. `Length` writes one value
/// for each element, packed from the start of the result, from the `multiplicity` components at
/// index i * multiplicity.
struct UnaryArgs {
    void* result;
    const void* operand;
    std::int32_t count;
    std::int32_t multiplicity; ///< of the operand
};

/// Runs the kernel of this operation for these two kinds. Returns false, with nothing touched, when
/// there is none: every pair of `Int32`, `Half`, `Float32` and `Float64` has one, and no other has.
///
/// The result's kind decides the arithmetic: each component is converted to it first.
///
/// `Negate` then flips the sign bit, also of zeros and NaNs; an `Int32` is subtracted from 0 and
/// wraps at 32 bits.
///
/// `Length` then adds up the squares, strictly in component order, and takes the root. The floating
/// kinds follow IEEE 754, with one rounding for each product, sum and root. `Half` computes in
/// binary32 and rounds the running sum to binary16 after each component, and the root again.
/// `Int32` wraps at 32 bits; its root is taken in binary64 and truncated, and that of a sum that
/// has wrapped below 0 is the most negative integer.
bool dispatchUnary(UnaryOp op, CpuElementKind result, CpuElementKind operand,
                   const UnaryArgs& args);

using UnaryKernel = void (*)(const UnaryArgs&);

/// The kernel that `dispatchUnary` runs, in the instruction set that runs now; null when there is
/// none.
UnaryKernel unaryKernel(UnaryOp op, CpuElementKind result, CpuElementKind operand);

/// The kernels by result and operand kind.
struct UnaryKernels {
    PairTable<UnaryKernel, KindsWithArithmetic> negate;
    PairTable<UnaryKernel, KindsWithArithmetic> length;
};

} // namespace Fenlet
