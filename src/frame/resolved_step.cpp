// Looking up what a step needs.
#include "frame/resolved_step.h"

#include <limits>

namespace Fenlet {
namespace {

/// Whether the registers of a step with two operands are what it says they are and each has as many
/// components as the result: areas of different registers never overlap, so that lanes are then
/// independent of one another. No block has more lanes than 32 bits count.
bool goesLaneByLane(const Interpreter::Step& step, const RegisterFile& registers) {
    const auto fits = [&](int number, CpuElementKind kind, int multiplicity) {
        if (registers.data(number) == nullptr || multiplicity != step.resultMultiplicity)
            return false;
        const RegisterSpec& spec = registers.specOf(number);
        return spec.kind == kind && spec.multiplicity == multiplicity;
    };
    constexpr std::int64_t mostLanes = std::numeric_limits<std::int32_t>::max();
    return fits(step.result, step.resultKind, step.resultMultiplicity) &&
           fits(step.operands[0], step.operandKinds[0], step.operandMultiplicities[0]) &&
           fits(step.operands[1], step.operandKinds[1], step.operandMultiplicities[1]) &&
           !step.leftScalar && !step.rightScalar &&
           std::int64_t{registers.elementCapacity()} * step.resultMultiplicity <= mostLanes;
}

void findKernel(const Interpreter::Step& step, const RegisterFile& registers,
                ResolvedStep& resolved) {
    const CpuElementKind result = step.resultKind;
    const CpuElementKind* const operands = step.operandKinds;
    switch (step.op) {
    case OpCode::Component:
        resolved.component = componentKernel(result, operands[0]);
        return;
    case OpCode::Negate:
        resolved.unary = unaryKernel(UnaryOp::Negate, result, operands[0]);
        return;
    case OpCode::Length:
        resolved.unary = unaryKernel(UnaryOp::Length, result, operands[0]);
        return;
    case OpCode::Add:
    case OpCode::Subtract:
    case OpCode::Multiply:
    case OpCode::Divide:
        resolved.arithmetic = arithmeticKernel(result, operands[0], operands[1]);
        if (goesLaneByLane(step, registers))
            resolved.flatArithmetic =
                flatArithmetic(arithmeticOp(step.op), result, operands[0], operands[1]);
        return;
    case OpCode::Less:
    case OpCode::LessEqual:
    case OpCode::Greater:
    case OpCode::GreaterEqual:
    case OpCode::Equal:
    case OpCode::NotEqual:
        resolved.comparison = comparisonKernel(operands[0], operands[1]);
        return;
    case OpCode::Select:
        resolved.select = selectKernel(result, operands[1], operands[2]);
        return;
    default:
        return;
    }
}

} // namespace

ResolvedStep resolve(const Interpreter::Step& step, RegisterFile& registers) {
    ResolvedStep resolved;
    resolved.result = registers.data(step.result);
    resolved.resultValidity = registers.validity(step.result);
    for (int slot = 0; slot < 3; ++slot) {
        resolved.operands[slot] = registers.data(step.operands[slot]);
        resolved.operandValidity[slot] = registers.validity(step.operands[slot]);
    }
    findKernel(step, registers, resolved);
    return resolved;
}

} // namespace Fenlet
