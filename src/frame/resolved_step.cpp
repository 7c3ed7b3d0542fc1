// Looking up what a step needs.
#include "frame/resolved_step.h"

namespace Fenlet {
namespace {

void findKernel(const Interpreter::Step& step, ResolvedStep& resolved) {
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
    findKernel(step, resolved);
    return resolved;
}

} // namespace Fenlet
