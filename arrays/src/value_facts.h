// What is known of a register's values before there is any data.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletir/program.h>

namespace Fenlet {

/// What the values of a register can be. Nothing is known at first.
struct ValueFacts {
    bool canBeMissing = true;
    // Of Tribool registers:
    bool canBeUnknown = true; ///< a byte of 255
    bool canBeStray = true;   ///< a byte other than 0, 1 and 255
    // Of registers of numbers:
    bool canBeNan = true;
    /// A NaN whose bits change where it passes through an operation. A signalling NaN becomes quiet
    /// there, and some processors also replace sign and fraction.
    bool canBeRawNan = true;

    /// Whether the register holds nothing but 0 and 1.
    bool isTruth() const { return !canBeUnknown && !canBeStray; }
};

/// An operand: its kind and what is known of it.
struct KnownOperand {
    CpuElementKind kind = CpuElementKind::Unsupported;
    ValueFacts facts;
};

/// What is known of an instruction's result. `constant` is what a `LoadConstant` loads. Nothing is
/// known of what the host provides, except that a uniform is never missing.
ValueFacts factsOfResult(OpCode op, CpuElementKind result, const KnownOperand (&operands)[3],
                         const Constant* constant);

inline bool isFloat(CpuElementKind kind) {
    return kind == CpuElementKind::Half || kind == CpuElementKind::Float32 ||
           kind == CpuElementKind::Float64;
}

} // namespace Fenlet
