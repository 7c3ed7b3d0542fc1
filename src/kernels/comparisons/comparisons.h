// The six comparisons: two registers, component by component, into a Tribool register.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// One call of a kernel. The operands' areas hold components of their own kinds; any areas may
/// overlap, and the result is then that of one lane at a time in ascending order.
///
/// Component (i, c) of the result, at index i * multiplicity + c, compares the same index of the
/// left operand with the same index of the right one, or with index i of a right one that is a
/// scalar.
struct ComparisonArgs {
    unsigned char* result;
    const void* left;
    const unsigned char* leftValidity; ///< a byte for each element; null counts as all valid
    const void* right;
    const unsigned char* rightValidity; ///< as for the left
    std::int32_t count;
    std::int32_t multiplicity; ///< of the result
    bool rightScalar;
    std::uint32_t predicate; ///< the opcode's number less that of `OpCode::Less`
};

/// Runs the kernel for these two kinds. Returns false, with nothing touched, when there is none:
/// every pair of numeric kinds has one, and no other has.
///
/// Writes 0 for false, 1 for true, and 255 for unknown into all components of an element of which
/// either side is invalid; the data of such an element decides nothing. Both values are converted
/// to the higher of the two kinds, in the order of the enumeration, and compared there: integers as
/// signed numbers, the floating kinds as IEEE 754 has it. A NaN on either side is unequal to
/// everything, and that is false or true, never unknown. A predicate above 5 writes nothing.
bool dispatchComparison(CpuElementKind left, CpuElementKind right, const ComparisonArgs& args);

using ComparisonKernel = void (*)(const ComparisonArgs&);

/// The kernel that `dispatchComparison` runs, in the instruction set that runs now; null when there
/// is none.
ComparisonKernel comparisonKernel(CpuElementKind left, CpuElementKind right);

/// The kernels by left and right kind.
using ComparisonKernels = PairTable<ComparisonKernel, NumericKinds>;

} // namespace Fenlet
