// Negate and Length: one register into another.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

enum class UnaryOp : std::uint32_t { Negate = 0, Length = 1 };

/// The arguments of a kernel. The two areas hold components of their own kinds. They may overlap:
/// the result is then as if lanes were processed in ascending order, one at a time, where a length
/// is written after its components have been read.
///
/// `Negate` writes `count` * `multiplicity` lanes, lane i from lane i. `Length` writes one value
/// for each element, packed, from the `multiplicity` components at index i * multiplicity.
struct UnaryArgs {
    void* result;
    const void* operand;
    std::int32_t count;
    std::int32_t multiplicity; ///< of the operand
};

/// Runs the kernel of this operation for these two kinds. Returns false, and touches nothing, if
/// there is none. Every pair of `Int32`, `Half`, `Float32` and `Float64` has a kernel; no other
/// pair has.
///
/// The kind of the result decides the arithmetic: each component is converted to it first.
///
/// `Negate` then flips the sign bit, also of zeros and NaNs. An `Int32` is subtracted from 0 and
/// wraps at 32 bits.
///
/// `Length` then adds the squares, strictly in component order, and takes the root. The floating
/// kinds follow IEEE 754, with one rounding for each product, sum and root. `Half` is computed in
/// binary32; the running sum is rounded to binary16 after each component, and so is the root.
/// `Int32` wraps at 32 bits. Its root is computed in binary64 and truncated; the root of a sum that
/// wrapped below 0 is the most negative integer.
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
