// Select: for each component one of two registers, as a condition says.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// One call of a kernel. Each area holds components of its own kind; any of them may overlap, and
/// the result is then that of one lane at a time in ascending order, an element's validity byte
/// after its components.
///
/// Component c of element i stands at index i * multiplicity + c of the result and of both arms.
/// Its condition stands at index i if the condition has one component, else at index
/// i * conditionMultiplicity + c.
struct SelectArgs {
    void* result;
    unsigned char* resultValidity; ///< every element's byte is written, none is read
    const unsigned char* condition;
    std::int32_t conditionMultiplicity;
    const void* whenTrue;
    const unsigned char* whenTrueValidity; ///< null where every element is valid
    const void* whenFalse;
    const unsigned char* whenFalseValidity; ///< null where every element is valid
    std::int32_t count;
    std::int32_t multiplicity; ///< of the result
};

/// Runs the kernel for these three kinds. Returns false, with nothing touched, when there is none:
/// every combination of the five numeric kinds has one, three times `Tribool` has one, and no other
/// combination has.
///
/// A condition byte of 1 takes the component of `whenTrue`, one of 255 (unknown) takes neither, and
/// any other byte takes that of `whenFalse`. What is taken is converted to the result kind from its
/// own kind, whatever the other arm's is; equal kinds keep every bit. What is not taken is not
/// read, neither its value nor its validity. Unknown gives zero bits, in a `Tribool` result again
/// unknown.
///
/// An element's validity byte becomes 1 if none of its components was unknown and every arm that
/// one of them came from is valid there, else 0.
bool dispatchSelect(CpuElementKind result, CpuElementKind whenTrue, CpuElementKind whenFalse,
                    const SelectArgs& args);

using SelectKernel = void (*)(const SelectArgs&);

/// The kernel that `dispatchSelect` runs, in the instruction set that runs now; null when there is
/// none.
SelectKernel selectKernel(CpuElementKind result, CpuElementKind whenTrue, CpuElementKind whenFalse);

/// The kernels by the result's kind and those of the arms; null where there is none.
using SelectKernels = TripleTable<SelectKernel, AllKinds>;

} // namespace Fenlet
