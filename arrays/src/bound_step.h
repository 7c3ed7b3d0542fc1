// A run as a flat list of steps that know all they need.
//
// A plan binds each instruction once: to a kernel, and to places, where the registers' values and
// validity lie. Places are numbers, since each thread has memory of its own, and since an array's
// place moves on from block to block. What a step does not find in its record it does not look up.
#pragma once

#include "evaluator.h"

#include <fenletexec/providers.h>
#include <fenlethosts/array_field.h>

#include <cstdint>

namespace Fenlet {

/// Where a register's values and validity lie for the block in hand.
struct Place {
    unsigned char* data = nullptr;
    /// A byte for each element, 0 for a missing one; null where every element has a value.
    unsigned char* validity = nullptr;
};

/// The number of a place that is nobody's: both addresses are null.
inline constexpr std::uint32_t noPlace = 0;

/// The elements in hand.
struct Block {
    std::int64_t first;
    std::int32_t count;
};

struct BoundStep {
    /// Returns false where a provider declines.
    using Run = bool (*)(const BoundStep& step, Place* places, const Block& block);

    union Work {
        FlatArithmetic flat = nullptr;
        ArithmeticKernel arithmetic;
        ComparisonKernel comparison;
        SelectKernel select;
        UnaryKernel unary;
        ComponentKernel component;
        void (*logic)(const LogicArgs&);
        const Constant* constant;
        CpuFieldAccessor* field;
        ArrayField* located;
        FenletSampler* sampler;
    };

    Run run = nullptr;
    Work work;
    std::uint32_t result = noPlace;
    std::uint32_t operands[3] = {noPlace, noPlace, noPlace};
    /// Whose data takes element numbers, or validity that nobody reads.
    std::uint32_t scratch = noPlace;
    std::int32_t multiplicity = 1;        ///< of the result
    std::int32_t operandMultiplicity = 1; ///< of operand 0
    std::int32_t immediate = 0;           ///< component number, or the kernel's operation number
    CpuElementKind resultKind = CpuElementKind::Unsupported;
    CpuElementKind operandKind = CpuElementKind::Unsupported; ///< of operand 0
    bool leftScalar = false;
    bool rightScalar = false;
    std::int32_t instruction = -1; ///< in the program, for whoever has to say where a run ended
};

/// The steps. Each says what it reads beyond the places of its operands and its result.
namespace Steps {

/// Validity: of the result from that of operands 0 and 1, either of which may be null.
bool combineValidity(const BoundStep& step, Place* places, const Block& block);
/// Validity: every element of the result has a value.
bool allValid(const BoundStep& step, Place* places, const Block& block);

bool elementIndex(const BoundStep& step, Place* places, const Block& block);
/// `work.constant`, spread over the block. Only for registers that several instructions write.
bool constant(const BoundStep& step, Place* places, const Block& block);
/// Copies operand 0, one value, over the block. Only for registers that several instructions write.
bool spread(const BoundStep& step, Place* places, const Block& block);
/// `work.field`, which reads an array, at the block's own numbers. It looks at the first alone.
bool arrayAtOwnNumbers(const BoundStep& step, Place* places, const Block& block);
/// Finds out whether the array `work.located` has the block's own elements side by side. Then the
/// result lies there, else they are copied to the place `scratch`, and the result lies there.
bool locateArray(const BoundStep& step, Place* places, const Block& block);
/// `work.field` at the block's own numbers, which operand 0 holds, or at any that it holds.
bool fieldAtOwnNumbers(const BoundStep& step, Place* places, const Block& block);
bool fieldByNumber(const BoundStep& step, Place* places, const Block& block);
bool sample(const BoundStep& step, Place* places, const Block& block);
bool component(const BoundStep& step, Place* places, const Block& block);
bool unary(const BoundStep& step, Place* places, const Block& block);
/// `work.flat`: one loop over lanes.
bool flatArithmetic(const BoundStep& step, Place* places, const Block& block);
bool arithmetic(const BoundStep& step, Place* places, const Block& block);
bool comparison(const BoundStep& step, Place* places, const Block& block);
bool logic(const BoundStep& step, Place* places, const Block& block);
bool isTrue(const BoundStep& step, Place* places, const Block& block);
bool select(const BoundStep& step, Place* places, const Block& block);

} // namespace Steps
} // namespace Fenlet
