// The rules that rewrite a single instruction. <fenletarrays/simplify.h> says why each is exact.
#include "rewriter.h"

#include <cmath>

namespace Fenlet {
namespace {

bool foldToConstant(Rewriter& rewriter, Instruction& instruction) {
    Constant value;
    const RegisterFormat format = rewriter.formatOf(instruction.result);
    if (!foldConstants(rewriter, instruction, format, value))
        return false;
    rewriter.becomeConstant(instruction, std::move(value));
    return true;
}

/// Takes the only arm of a `Select` that can be taken.
bool takeArm(Rewriter& rewriter, Instruction& instruction, std::int32_t arm) {
    if (rewriter.kindOf(arm) == rewriter.kindOf(instruction.result) &&
        rewriter.becomeCopy(instruction, arm))
        return true;
    if (rewriter.widthOf(instruction.result) == 1) {
        Instruction conversion;
        conversion.op = OpCode::Component;
        conversion.result = instruction.result;
        conversion.operands[0] = arm;
        conversion.immediate = 0;
        instruction = conversion;
        return true;
    }
    // Several components are converted by a `Select`. It need not wait for the other arm.
    if (instruction.operands[1] == arm && instruction.operands[2] == arm)
        return false;
    instruction.operands[1] = arm;
    instruction.operands[2] = arm;
    return true;
}

bool decideCondition(Rewriter& rewriter, Instruction& instruction) {
    if (instruction.op != OpCode::Select)
        return false;
    const Constant* const condition = rewriter.constantIn(instruction.operands[0]);
    if (condition == nullptr || rewriter.widthOf(instruction.operands[0]) != 1 ||
        condition->boolean == 255)
        return false;
    return takeArm(rewriter, instruction, instruction.operands[condition->boolean == 1 ? 1 : 2]);
}

bool joinArms(Rewriter& rewriter, Instruction& instruction) {
    return instruction.op == OpCode::Select && instruction.operands[1] == instruction.operands[2] &&
           !rewriter.factsOf(instruction.operands[0]).canBeUnknown &&
           takeArm(rewriter, instruction, instruction.operands[1]);
}

/// Whether every value of a kind has the same value in another one.
bool isWidening(CpuElementKind to, CpuElementKind from) {
    switch (from) {
    case CpuElementKind::Int32:
        return to == CpuElementKind::Int64 || to == CpuElementKind::Float64;
    case CpuElementKind::Half:
        return to == CpuElementKind::Float32 || to == CpuElementKind::Float64;
    case CpuElementKind::Float32:
        return to == CpuElementKind::Float64;
    default:
        return false;
    }
}

bool joinConversions(Rewriter& rewriter, Instruction& instruction) {
    if (instruction.op != OpCode::Component)
        return false;
    const std::int32_t operand = instruction.operands[0];
    const CpuElementKind kind = rewriter.kindOf(instruction.result);
    const CpuElementKind between = rewriter.kindOf(operand);
    if (between == kind && rewriter.widthOf(operand) == 1 &&
        rewriter.becomeCopy(instruction, operand))
        return true;
    const Instruction* const first = rewriter.writerOf(operand);
    if (first == nullptr || first->op != OpCode::Component ||
        !rewriter.isStable(first->operands[0]))
        return false;
    const std::int32_t source = first->operands[0];
    const CpuElementKind from = rewriter.kindOf(source);
    const bool isExact =
        between == from || (isWidening(between, from) && !rewriter.factsOf(source).canBeRawNan);
    if (!isExact)
        return false;
    if (from == kind && rewriter.widthOf(source) == 1)
        return rewriter.becomeCopy(instruction, source);
    // Otherwise the same work is done, unless the first conversion is then not needed.
    if (from != kind && !rewriter.isReadOnce(operand))
        return false;
    instruction.operands[0] = source;
    instruction.immediate = first->immediate;
    return true;
}

OpCode negated(OpCode op) {
    switch (op) {
    case OpCode::Less:
        return OpCode::GreaterEqual;
    case OpCode::LessEqual:
        return OpCode::Greater;
    case OpCode::Greater:
        return OpCode::LessEqual;
    case OpCode::GreaterEqual:
        return OpCode::Less;
    case OpCode::Equal:
        return OpCode::NotEqual;
    default:
        return OpCode::Equal;
    }
}

bool negateComparison(Rewriter& rewriter, Instruction& instruction) {
    if (instruction.op != OpCode::Not || !rewriter.isReadOnce(instruction.operands[0]))
        return false;
    const Instruction* const comparison = rewriter.writerOf(instruction.operands[0]);
    if (comparison == nullptr || !isComparison(comparison->op) ||
        !rewriter.isStable(comparison->operands[0]) || !rewriter.isStable(comparison->operands[1]))
        return false;
    const bool isEquality = comparison->op == OpCode::Equal || comparison->op == OpCode::NotEqual;
    if (!isEquality && (rewriter.factsOf(comparison->operands[0]).canBeNan ||
                        rewriter.factsOf(comparison->operands[1]).canBeNan))
        return false;
    const std::int32_t result = instruction.result;
    instruction = *comparison;
    instruction.op = negated(comparison->op);
    instruction.result = result;
    return true;
}

bool dropDoubleNegation(Rewriter& rewriter, Instruction& instruction) {
    if (instruction.op != OpCode::Not)
        return false;
    const Instruction* const inner = rewriter.writerOf(instruction.operands[0]);
    return inner != nullptr && inner->op == OpCode::Not &&
           !rewriter.factsOf(inner->operands[0]).canBeStray &&
           rewriter.becomeCopy(instruction, inner->operands[0]);
}

bool dropIsTrue(Rewriter& rewriter, Instruction& instruction) {
    if (instruction.op != OpCode::IsTrue)
        return false;
    const ValueFacts& facts = rewriter.factsOf(instruction.operands[0]);
    return facts.isTruth() && !facts.canBeMissing &&
           rewriter.becomeCopy(instruction, instruction.operands[0]);
}

/// Whether all components of a constant are 1.
bool isOne(const Constant& constant, CpuElementKind kind) {
    for (std::int32_t c = 0; c < constant.multiplicity; ++c)
        if (isFloat(kind) ? constant.realComponent(c) != 1.0 : constant.integralComponent(c) != 1)
            return false;
    return true;
}

/// Whether all components of a constant are zero, and of this sign if they are floats. An integer
/// counts as positive.
bool isZero(const Constant& constant, CpuElementKind kind, bool isNegative) {
    for (std::int32_t c = 0; c < constant.multiplicity; ++c) {
        if (!isFloat(kind)) {
            if (constant.integralComponent(c) != 0 || isNegative)
                return false;
            continue;
        }
        const double value = constant.realComponent(c);
        if (value != 0 || std::signbit(value) != isNegative)
            return false;
    }
    return true;
}

/// Whether `instruction` gives its operand in the other slot if its operand in this slot is this
/// constant.
bool isNeutral(const Instruction& instruction, std::int32_t slot, const Constant& constant,
               CpuElementKind kind, CpuElementKind resultKind) {
    const bool isInteger = !isFloat(resultKind);
    switch (instruction.op) {
    case OpCode::Add:
        return isZero(constant, kind, true) || (isInteger && isZero(constant, kind, false));
    case OpCode::Subtract:
        return slot == 1 &&
               (isZero(constant, kind, false) || (isInteger && isZero(constant, kind, true)));
    case OpCode::Multiply:
        return isOne(constant, kind);
    case OpCode::Divide:
        return slot == 1 && isOne(constant, kind);
    default:
        return false;
    }
}

bool dropNeutralOperand(Rewriter& rewriter, Instruction& instruction) {
    if (!isArithmetic(instruction.op))
        return false;
    const CpuElementKind resultKind = rewriter.kindOf(instruction.result);
    for (std::int32_t slot = 0; slot < 2; ++slot) {
        const std::int32_t kept = instruction.operands[1 - slot];
        const Constant* const constant = rewriter.constantIn(instruction.operands[slot]);
        if (constant != nullptr && rewriter.widthOf(kept) == rewriter.widthOf(instruction.result) &&
            !rewriter.factsOf(kept).canBeRawNan &&
            isNeutral(instruction, slot, *constant, rewriter.kindOf(instruction.operands[slot]),
                      resultKind))
            return rewriter.becomeCopy(instruction, kept);
    }
    return false;
}

bool dropNeutralTruth(Rewriter& rewriter, Instruction& instruction) {
    if (instruction.op != OpCode::And && instruction.op != OpCode::Or)
        return false;
    const unsigned char neutral = instruction.op == OpCode::And ? 1 : 0;
    if (instruction.operands[0] == instruction.operands[1])
        return !rewriter.factsOf(instruction.operands[0]).canBeStray &&
               rewriter.becomeCopy(instruction, instruction.operands[0]);
    // A constant of several components is false in all but the first.
    if (rewriter.widthOf(instruction.result) > 1)
        return false;
    for (std::int32_t slot = 0; slot < 2; ++slot) {
        const Constant* const constant = rewriter.constantIn(instruction.operands[slot]);
        const std::int32_t other = instruction.operands[1 - slot];
        if (constant == nullptr)
            continue;
        if (constant->boolean == neutral && !rewriter.factsOf(other).canBeStray)
            return rewriter.becomeCopy(instruction, other);
        if (constant->boolean == 1 - neutral && !rewriter.factsOf(other).canBeMissing)
            return rewriter.becomeCopy(instruction, instruction.operands[slot]);
    }
    return false;
}

} // namespace

const RewriteRule rewriteRules[] = {
    {"constant folding", &foldToConstant},
    {"constant condition", &decideCondition},
    {"same arms", &joinArms},
    {"conversion", &joinConversions},
    {"negated comparison", &negateComparison},
    {"double negation", &dropDoubleNegation},
    {"known truth", &dropIsTrue},
    {"neutral operand", &dropNeutralOperand},
    {"neutral truth", &dropNeutralTruth},
};
const int rewriteRuleCount = sizeof rewriteRules / sizeof rewriteRules[0];

} // namespace Fenlet
