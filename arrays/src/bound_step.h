// A run as a flat list of steps.
//
// A plan binds each instruction once: to a kernel, and to the places of its registers. A place is a
// number that each thread looks up in a table of addresses. Threads have different scratch, and the
// address of an array changes with each block. A step needs nothing but its record and that table.
#pragma once

#include "evaluator.h"
#include "fused/pairs.h"
#include "fused/selects.h"

#include <fenletexec/providers.h>
#include <fenlethosts/array_field.h>

#include <cstdint>

namespace Fenlet {

/// Where a register's values and validity lie for the current block.
struct Place {
    unsigned char* data = nullptr;
    /// A byte for each element, 0 for a missing one; null where every element has a value.
    unsigned char* validity = nullptr;
};

/// The place of an operand that does not exist: both addresses are null.
inline constexpr std::uint32_t noPlace = 0;

/// The elements of a block.
struct Block {
    std::int64_t first;
    std::int32_t count;
};

struct BoundStep {
    /// Returns false if a provider declines.
    using Run = bool (*)(const BoundStep& step, Place* places, const Block& block);

    union Work {
        FlatArithmetic flat = nullptr;
        PairLoop pair;
        ArithmeticKernel arithmetic;
        FlatDivision flatDivision;
        ComparisonKernel comparison;
        FlatComparison flatComparison;
        SelectKernel select;
        FlatSelect flatSelect;
        KnownSelect knownSelect;
        ComparedSelect comparedSelect;
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
    /// A place for copies of element numbers, of array elements, or for validity that is not read;
    /// or a fourth operand.
    std::uint32_t scratch = noPlace;
    std::int32_t multiplicity = 1;        ///< of the result
    std::int32_t operandMultiplicity = 1; ///< of operand 0
    std::int32_t immediate = 0;           ///< component number, or operation number
    CpuElementKind resultKind = CpuElementKind::Unsupported;
    CpuElementKind operandKind = CpuElementKind::Unsupported; ///< of operand 0
    bool leftScalar = false;
    bool rightScalar = false;
    bool canBeMissing = false;     ///< of a located array: whether an element can be missing
    std::int32_t instruction = -1; ///< its number in the program, for messages
};

/// The steps. Their comments say what they use besides the places of operands and result.
namespace Steps {

/// Makes the result valid where operands 0 and 1 both are. An operand whose validity is null is
/// valid everywhere.
bool combineValidity(const BoundStep& step, Place* places, const Block& block);
/// Sets the result's validity: every element has a value.
bool allValid(const BoundStep& step, Place* places, const Block& block);

bool elementIndex(const BoundStep& step, Place* places, const Block& block);
/// Fills the block with `work.constant`, for a register that several instructions write. Other
/// registers are filled once, before the first block.
bool constant(const BoundStep& step, Place* places, const Block& block);
/// Fills the block with the first element of operand 0, for such a register.
bool spread(const BoundStep& step, Place* places, const Block& block);
/// Reads `work.field` at the block's own numbers. It must be an `ArrayField`, which uses only the
/// first number.
bool arrayAtOwnNumbers(const BoundStep& step, Place* places, const Block& block);
/// If the block's own elements are adjacent in the array of `work.located`, and truth values are
/// stored as a register holds them, lets the result lie in the array. Otherwise copies them to the
/// place `scratch`, and lets the result lie there.
bool locateArray(const BoundStep& step, Place* places, const Block& block);
/// Reads `work.field` at the block's own numbers, which operand 0 holds.
bool fieldAtOwnNumbers(const BoundStep& step, Place* places, const Block& block);
/// Reads `work.field` at the numbers in operand 0. `scratch` takes a copy of them if it is a place.
bool fieldByNumber(const BoundStep& step, Place* places, const Block& block);
/// Reads `work.located` at the Int64 numbers in operand 0, wherever they lie, and sets the result's
/// validity. The array must be one that can gather.
bool gather(const BoundStep& step, Place* places, const Block& block);
bool sample(const BoundStep& step, Place* places, const Block& block);
bool component(const BoundStep& step, Place* places, const Block& block);
bool unary(const BoundStep& step, Place* places, const Block& block);
/// Runs `work.flat`, one loop over all lanes.
bool flatArithmetic(const BoundStep& step, Place* places, const Block& block);
/// Runs `work.pair`, one loop over all lanes of three operands.
bool arithmeticPair(const BoundStep& step, Place* places, const Block& block);
bool arithmetic(const BoundStep& step, Place* places, const Block& block);
/// Runs `work.flatDivision`, which sets the result's validity too.
bool flatDivision(const BoundStep& step, Place* places, const Block& block);
bool comparison(const BoundStep& step, Place* places, const Block& block);
/// Runs `work.flatComparison`, one loop over all lanes.
bool flatComparison(const BoundStep& step, Place* places, const Block& block);
bool logic(const BoundStep& step, Place* places, const Block& block);
bool isTrue(const BoundStep& step, Place* places, const Block& block);
bool select(const BoundStep& step, Place* places, const Block& block);
/// Runs `work.flatSelect`, which reads both arms as a whole.
bool flatSelect(const BoundStep& step, Place* places, const Block& block);
/// Runs `work.knownSelect`, where every element has a value.
bool knownSelect(const BoundStep& step, Place* places, const Block& block);
/// Runs `work.comparedSelect`. The sides are operand 0 and `scratch`, the arms operands 1 and 2.
bool comparedSelect(const BoundStep& step, Place* places, const Block& block);

} // namespace Steps
} // namespace Fenlet
