// The six comparisons, component by component, of two registers into a Tribool register.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// The arguments of a kernel. The operands hold components of their own kinds. Areas may overlap:
/// the result is then as if lanes were processed in ascending order, one at a time.
///
/// Component (i, c) of the result is at index i * multiplicity + c. It comes from comparing the
/// operands' components at that same index. If `rightScalar` is set, the right operand has only one
/// component per element, at index i.
struct ComparisonArgs {
    unsigned char* result;
    const void* left;
    const unsigned char* leftValidity; ///< a byte for each element; null counts as all valid
    const void* right;
    const unsigned char* rightValidity; ///< as for the left
    std::int32_t count;
    std::int32_t multiplicity; ///< of the result
    bool rightScalar;
    std::uint32_t predicate; ///< the opcode's number minus that of `OpCode::Less`
};

/// Runs the kernel for these two kinds. Returns false, and touches nothing, if there is none. Every
/// pair of numeric kinds has a kernel; no other pair has.
///
/// Writes 0 for false, 1 for true, and 255 for unknown. All components of an element are unknown if
/// either operand is invalid there, whatever its data. Both values are converted to the higher of
/// the two kinds, in the order of the enumeration, and compared in it: integers as signed numbers,
/// floating kinds as in IEEE 754. A NaN is unequal to everything; that is false or true, never
/// unknown. A predicate above 5 writes nothing.
bool dispatchComparison(CpuElementKind left, CpuElementKind right, const ComparisonArgs& args);

using ComparisonKernel = void (*)(const ComparisonArgs&);

/// The kernel that `dispatchComparison` runs, in the instruction set in use; null if there is none.
ComparisonKernel comparisonKernel(CpuElementKind left, CpuElementKind right);

/// Compares lane by lane, in one loop, and writes the same bytes: result[i] tells how left[i]
/// compares with right[i], and is unknown where a byte i of validity is 0. Null counts as all
/// valid. All lanes of both operands must be readable, also where they are invalid. The result may
/// be one of the validity areas, and overlaps no other area.
using FlatComparison = void (*)(unsigned char* result, const unsigned char* left,
                                const unsigned char* leftValidity, const unsigned char* right,
                                const unsigned char* rightValidity, std::int64_t lanes);

/// The loop for elements of one component and, without validity, of any number of them. A caller
/// who knows that its areas fit can call it directly. Null if there is none, since a kind is
/// converted in a separate pass, or if the predicate is above 5.
FlatComparison flatComparison(std::uint32_t predicate, CpuElementKind left, CpuElementKind right);

/// The loop of a predicate for two kinds; null where `flatComparison` has none.
using FlatComparisonOf = FlatComparison (*)(std::uint32_t predicate);

/// The kernels and their flat loops, by left and right kind.
struct ComparisonKernels {
    PairTable<ComparisonKernel, NumericKinds> kernels;
    PairTable<FlatComparisonOf, NumericKinds> flat;
};

} // namespace Fenlet
