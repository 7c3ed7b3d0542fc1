// Add, Subtract, Multiply and Divide, lane by lane, of two registers into a third.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// An operation's number is its opcode's number minus that of `OpCode::Add`.
enum class ArithmeticOp : std::uint32_t { Add = 0, Subtract = 1, Multiply = 2, Divide = 3 };

/// The arguments of a kernel. Each area holds components of its own kind. Areas may overlap: the
/// result is then as if lanes were processed in ascending order, one at a time.
///
/// Lane (i, c) of the result is at index i * multiplicity + c. It takes its inputs from the same
/// index of each operand, or from index i of an operand that is a scalar.
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

/// Runs the kernel for these three kinds. Returns false, and touches nothing, if there is none.
/// Every combination of `Int32`, `Half`, `Float32` and `Float64` has a kernel; no other has.
///
/// The kind of the result decides the arithmetic: each operand is converted to it separately before
/// the operation. `Int32` wraps at 32 bits and truncates quotients toward zero. A divisor of 0
/// gives 0 and makes the element invalid; a divisor of -1 gives the wrapping negation. The floating
/// kinds follow IEEE 754, with one operation and one rounding for each lane. A `Half` lane is
/// computed in binary32 and then rounded again.
bool dispatchArithmetic(CpuElementKind result, CpuElementKind left, CpuElementKind right,
                        const ArithmeticArgs& args);

using ArithmeticKernel = void (*)(const ArithmeticArgs&);

/// The kernel that `dispatchArithmetic` runs, in the instruction set in use; null if there is none.
ArithmeticKernel arithmeticKernel(CpuElementKind result, CpuElementKind left, CpuElementKind right);

/// The most lanes that a call without scalars can count. It counts them in 32 bits, so that a
/// larger product of `count` and `multiplicity` wraps. Only integer division does not wrap.
inline constexpr std::int64_t mostFlatLanes = INT32_MAX;

/// result[i] = left[i] op right[i] for every lane, in one loop. The lanes must be independent of
/// one another.
using FlatArithmetic = void (*)(unsigned char* result, const unsigned char* left,
                                const unsigned char* right, std::int64_t lanes);

/// The loop that the kernel runs if neither operand is a scalar and the lanes are independent. A
/// caller who knows both can call it directly. Null if the kernel is more than one loop: for
/// `Int32` division, and where halves are converted in a separate pass.
FlatArithmetic flatArithmetic(ArithmeticOp op, CpuElementKind result, CpuElementKind left,
                              CpuElementKind right);

/// result[i] = left[i] / right[i] for elements of one component, all `Int32`, with the validity of
/// the quotient: 1 where both operands are valid and the divisor is not 0, otherwise 0. Null counts
/// as all valid. Returns whether every element is valid. All of both operands must be readable. The
/// results may each be the same area of an operand; apart from that they overlap nothing else.
using FlatDivision = bool (*)(unsigned char* result, unsigned char* resultValidity,
                              const unsigned char* left, const unsigned char* leftValidity,
                              const unsigned char* right, const unsigned char* rightValidity,
                              std::int64_t elements);

/// The loop of an integer division with its validity. Null if the set in use has none.
FlatDivision flatDivision();

/// The loop of an operation for three kinds; null where `flatArithmetic` has none.
using FlatArithmeticOf = FlatArithmetic (*)(ArithmeticOp op);

/// The kernels and their flat loops, by the kinds of result, left and right.
struct ArithmeticKernels {
    TripleTable<ArithmeticKernel, KindsWithArithmetic> kernels;
    TripleTable<FlatArithmeticOf, KindsWithArithmetic> flat;
    FlatDivision flatDivision;
};

} // namespace Fenlet
