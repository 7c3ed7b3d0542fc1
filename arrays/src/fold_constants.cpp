// Computes operations on constants, with the kernels that would compute them in a run.
#include "evaluator.h"
#include "rewriter.h"

#include <fenletir/number_fit.h>

#include <cstring>

namespace Fenlet {
namespace {

/// An operand: one element.
struct Folded {
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::int32_t width = 1;
    BlockScratch value;
};

template <class Lane>
Lane laneOf(const BlockScratch& value, std::int32_t c) {
    Lane lane;
    std::memcpy(&lane, value.bytes + static_cast<std::size_t>(c) * sizeof lane, sizeof lane);
    return lane;
}

/// Converts a component of any kind of number by the kernel.
template <class Lane>
Lane converted(CpuElementKind to, const Folded& from, std::int32_t c) {
    BlockScratch lane;
    dispatchComponent(to, from.kind, {lane.bytes, from.value.bytes, 1, from.width, c});
    return laneOf<Lane>(lane, 0);
}

/// Runs the instruction for one element. `isPresent` is the result's validity byte.
bool compute(const Instruction& instruction, const Folded (&operands)[3], Folded& result,
             unsigned char& isPresent) {
    const Folded& left = operands[0];
    const Folded& right = operands[1];
    unsigned char* const out = result.value.bytes;
    const auto op = static_cast<std::uint32_t>(instruction.op);
    const bool leftScalar = left.width == 1 && right.width != 1;
    const bool rightScalar = right.width == 1 && left.width != 1;
    if (isArithmetic(instruction.op))
        return dispatchArithmetic(
            result.kind, left.kind, right.kind,
            {out, &isPresent, left.value.bytes, right.value.bytes, 1, result.width, leftScalar,
             rightScalar, static_cast<ArithmeticOp>(op - static_cast<std::uint32_t>(OpCode::Add))});
    if (isComparison(instruction.op))
        return dispatchComparison(left.kind, right.kind,
                                  {out, left.value.bytes, nullptr, right.value.bytes, nullptr, 1,
                                   result.width, rightScalar,
                                   op - static_cast<std::uint32_t>(OpCode::Less)});
    const LogicArgs logic{out, left.value.bytes, right.value.bytes, result.width};
    switch (instruction.op) {
    case OpCode::Component:
        return dispatchComponent(result.kind, left.kind,
                                 {out, left.value.bytes, 1, left.width, instruction.immediate});
    case OpCode::Negate:
    case OpCode::Length:
        return dispatchUnary(instruction.op == OpCode::Negate ? UnaryOp::Negate : UnaryOp::Length,
                             result.kind, left.kind, {out, left.value.bytes, 1, left.width});
    case OpCode::Not:
        logicalNot({out, left.value.bytes, nullptr, result.width});
        return true;
    case OpCode::And:
        logicalAnd(logic);
        return true;
    case OpCode::Or:
        logicalOr(logic);
        return true;
    case OpCode::IsTrue:
        isTrue({out, &isPresent, left.value.bytes, nullptr, 1, result.width});
        return true;
    case OpCode::Select:
        return dispatchSelect(result.kind, right.kind, operands[2].kind,
                              {out, &isPresent, left.value.bytes, left.width, right.value.bytes,
                               nullptr, operands[2].value.bytes, nullptr, 1, result.width});
    default:
        return false;
    }
}

/// The constant that gives these components when it is loaded.
Constant constantOf(const Folded& result) {
    if (result.kind == CpuElementKind::Tribool)
        return Constant::ofTribool(result.value.bytes[0]);
    std::vector<std::int64_t> integers;
    std::vector<double> reals;
    for (std::int32_t c = 0; c < result.width; ++c)
        if (isFloat(result.kind))
            reals.push_back(converted<double>(CpuElementKind::Float64, result, c));
        else
            integers.push_back(converted<std::int64_t>(CpuElementKind::Int64, result, c));
    return isFloat(result.kind) ? Constant::ofReals(std::move(reals))
                                : Constant::ofIntegers(std::move(integers));
}

/// Whether loading the constant gives exactly these bytes, and no finding of `verifyProgram`.
bool isExact(const Constant& constant, const Folded& result, RegisterFormat format) {
    for (const std::int64_t value : constant.integers)
        if (fitOfInteger(value, format) != NumberFit::Fits)
            return false;
    BlockScratch again;
    return !loadConstant(constant, result.kind, again.bytes, 1, result.width, false) &&
           std::memcmp(again.bytes, result.value.bytes, sizeof again.bytes) == 0;
}

} // namespace

bool foldConstants(const Rewriter& rewriter, const Instruction& instruction, RegisterFormat format,
                   Constant& value) {
    if (opCodeArity(instruction.op) == 0)
        return false;
    const Constant* constants[3] = {};
    bool areConstants = true;
    forEachOperand(instruction, [&](std::int32_t slot, std::int32_t number) {
        constants[slot] = areConstants ? rewriter.constantIn(number) : nullptr;
        areConstants = constants[slot] != nullptr;
    });
    if (!areConstants)
        return false;
    Folded result;
    result.kind = rewriter.kindOf(instruction.result);
    result.width = rewriter.widthOf(instruction.result);
    if (result.width > mostScratchComponents ||
        (result.kind == CpuElementKind::Tribool && result.width > 1))
        return false;
    Folded operands[3];
    forEachOperand(instruction, [&](std::int32_t slot, std::int32_t number) {
        Folded& operand = operands[slot];
        operand.kind = rewriter.kindOf(number);
        operand.width = rewriter.widthOf(number);
        // This succeeds: the register has storage.
        static_cast<void>(loadConstant(*constants[slot], operand.kind, operand.value.bytes, 1,
                                       operand.width, false));
    });
    unsigned char isPresent = 1;
    if (!compute(instruction, operands, result, isPresent) || isPresent == 0)
        return false;
    value = constantOf(result);
    return isExact(value, result, format);
}

} // namespace Fenlet
