// Select: takes each component from one of two registers, as a condition says.
#pragma once

#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <cstdint>

namespace Fenlet {

/// The arguments of a kernel. Each area holds components of its own kind. Areas may overlap: the
/// result is then as if lanes were processed in ascending order, one at a time, with the validity
/// byte of an element after its components.
///
/// Component c of element i is at index i * multiplicity + c of the result and of both arms. Its
/// condition is at index i if the condition has one component, and otherwise at index i *
/// conditionMultiplicity + c.
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

/// Runs the kernel for these three kinds. Returns false, and touches nothing, if there is none.
/// Every combination of the five numeric kinds has a kernel, and so has `Tribool` for all three; no
/// other combination has.
///
/// A condition byte of 1 takes the component from `whenTrue`, 255 (unknown) takes neither, and any
/// other byte takes it from `whenFalse`. The component is converted from the kind of its arm to
/// that of the result; equal kinds keep every bit. What is not taken is not read, neither its value
/// nor its validity. Unknown gives zero bits, or unknown in a `Tribool` result.
///
/// The validity byte of an element becomes 1 if none of its components was unknown and every arm
/// that it took a component from is valid there; otherwise 0.
bool dispatchSelect(CpuElementKind result, CpuElementKind whenTrue, CpuElementKind whenFalse,
                    const SelectArgs& args);

using SelectKernel = void (*)(const SelectArgs&);

/// The kernel that `dispatchSelect` runs, in the instruction set in use; null if there is none.
SelectKernel selectKernel(CpuElementKind result, CpuElementKind whenTrue, CpuElementKind whenFalse);

/// Writes the same bytes where both arms have the kind of the result and there is one condition for
/// each element. Returns whether every element is valid. Reads both arms as a whole, with their
/// validity: all of it must be readable, also what is not taken. The result may be an arm, or the
/// condition of a `Tribool` result; apart from that, what is written overlaps nothing else.
using FlatSelect = bool (*)(const SelectArgs& args);

/// The loop for a kind and a multiplicity, in the instruction set in use. A caller who knows that
/// its areas fit can call it directly. Null if there is none, or if the kernel above is as fast:
/// elements of one component have a loop in every kind.
FlatSelect flatSelect(CpuElementKind kind, std::int32_t multiplicity);

/// The kernels by the result's kind and those of the arms, null where there is none; and the flat
/// ones by kind, for elements of up to so many components.
struct SelectKernels {
    TripleTable<SelectKernel, AllKinds> kernels;
    KindTable<FlatSelect, AllKinds> flat;
    std::int32_t mostFlatComponents;
};

} // namespace Fenlet
