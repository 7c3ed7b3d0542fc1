// Add, Subtract, Multiply and Divide: two registers, lane by lane, into a third.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// The kernels' operation numbers: the opcode's number less that of `OpCode::Add`.
enum class ArithmeticOp : std::uint32_t { Add = 0, Subtract = 1, Multiply = 2, Divide = 3 };

/// One call of a kernel. Each area holds components of its own kind; any of them may overlap, and
/// the result is then that of one lane at a time in ascending order.
///
/// Lane (i, c) of the result, at index i * multiplicity + c, takes its inputs from the same index
/// of either operand, but from index i of one that is a scalar.
struct ArithmeticArgs {
    void* result;
    unsigned char* resultValidity; ///< written by an `Int32` division alone
    const void* left;
    const void* right;
    std::int32_t count;
    std::int32_t multiplicity; ///< of the result
    bool leftScalar;           ///< wins over `rightScalar`
    bool rightScalar;
    ArithmeticOp op;
};

/// Runs the kernel for these three kinds. Returns false, with nothing touched, when there is none:
/// every combination of `Int32`, `Half`, `Float32` and `Float64` has one, and no other has.
///
/// The result's kind decides the arithmetic: each operand is converted to it by itself, and the
/// operation runs there. `Int32` wraps at 32 bits, and its quotients are truncated toward zero; a
/// divisor of 0 stores 0 and makes the element invalid, and one of -1 stores the wrapping negation.
/// The floating kinds follow IEEE 754, one operation and one rounding for each lane; a `Half` lane
/// is computed in binary32 and rounded again.
bool dispatchArithmetic(CpuElementKind result, CpuElementKind left, CpuElementKind right,
                        const ArithmeticArgs& args);

using ArithmeticKernel = void (*)(const ArithmeticArgs&);

/// The kernel that `dispatchArithmetic` runs, in the instruction set that runs now; null when there
/// is none.
ArithmeticKernel arithmeticKernel(CpuElementKind result, CpuElementKind left, CpuElementKind right);

/// result[i] = left[i] op right[i] for every lane, straight from the operands to the result. The
/// lanes must be independent of one another.
using FlatArithmetic = void (*)(unsigned char* result, const unsigned char* left,
                                const unsigned char* right, std::int64_t lanes);

/// What the kernel comes down to where neither operand is a scalar and lanes are independent, so
/// that a caller who knows that need not ask each time. Null where it is more than one loop: for
/// `Int32` division and where halves take a pass of their own.
FlatArithmetic flatArithmetic(ArithmeticOp op, CpuElementKind result, CpuElementKind left,
                              CpuElementKind right);

/// The loop of an operation, for three kinds; null where `flatArithmetic` has none.
using FlatArithmeticOf = FlatArithmetic (*)(ArithmeticOp op);

/// The kernels by result, left and right kind, and their loops.
struct ArithmeticKernels {
    TripleTable<ArithmeticKernel, KindsWithArithmetic> kernels;
    TripleTable<FlatArithmeticOf, KindsWithArithmetic> flat;
};

} // namespace Fenlet
