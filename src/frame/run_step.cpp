// Running one step over the current block, or all steps of the plan.
#include "frame/provider_steps.h"
#include "frame/step_frame.h"
#include "frame/step_rules.h"
#include "kernels/arithmetic/arithmetic.h"
#include "kernels/boolean/boolean.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/elements/elements.h"
#include "kernels/select/select.h"
#include "kernels/unary/unary.h"
#include "sources/component.h"
#include "sources/load_constant.h"

#include <fenletexec/interpreter.h>

#include <cstring>

namespace Fenlet {
namespace {

// Stores one value for each element from the start of the data area, even if the result has several
// components.
Fault runElementIndex(const StepFrame& frame) {
    if (const Fault fault = StepRules::elementIndex(frame.step))
        return fault;
    countUp(frame.resolved.result, frame.block.blockStart, frame.block.count);
    return Faults::none;
}

Fault runLoadConstant(const StepFrame& frame) {
    if (const Fault fault = StepRules::constant(frame.step, *frame.block.program))
        return fault;
    return loadConstant(
        frame.block.program->constants[static_cast<std::size_t>(frame.step.immediate)],
        frame.step.resultKind, frame.resolved.result, frame.block.count,
        frame.step.resultMultiplicity, frame.block.known.isAlike(frame.step.result));
}

Fault runComponent(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::component(step))
        return fault;
    if (frame.resolved.component == nullptr)
        return Faults::componentKernel;
    const ComponentArgs args{frame.resolved.result, frame.resolved.operands[0], frame.block.count,
                             step.operandMultiplicities[0], step.immediate};
    frame.resolved.component(args);
    return Faults::none;
}

Fault runUnary(const StepFrame& frame, UnaryOp op) {
    const Interpreter::Step& step = frame.step;
    if (frame.resolved.unary == nullptr)
        return Faults::unaryKernel;
    const UnaryArgs args{frame.resolved.result, frame.resolved.operands[0], frame.block.count,
                         step.operandMultiplicities[0]};
    frame.resolved.unary(args);
    // Negate writes all lanes of the operand. If the result has fewer lanes, this overwrites other
    // registers.
    if (op == UnaryOp::Negate && step.operandMultiplicities[0] > step.resultMultiplicity)
        frame.block.known.forget();
    return Faults::none;
}

Fault runArithmetic(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (frame.resolved.flatArithmetic != nullptr) {
        frame.resolved.flatArithmetic(frame.resolved.result, frame.resolved.operands[0],
                                      frame.resolved.operands[1], frame.resultLanes());
        return Faults::none;
    }
    const ArithmeticOp op = arithmeticOp(step.op);
    if (frame.resolved.arithmetic == nullptr)
        return Faults::arithmeticKernel;
    const ArithmeticArgs args{frame.resolved.result,
                              frame.resolved.resultValidity,
                              frame.resolved.operands[0],
                              frame.resolved.operands[1],
                              frame.block.count,
                              step.resultMultiplicity,
                              step.leftScalar,
                              step.rightScalar,
                              op};
    frame.resolved.arithmetic(args);
    // An integer division by zero makes the element invalid.
    if (op == ArithmeticOp::Divide && step.resultKind == CpuElementKind::Int32)
        frame.findOutValidity();
    return Faults::none;
}

void makeValid(const StepFrame& frame) {
    if (!frame.block.known.isValid(frame.step.result))
        std::memset(frame.resolved.resultValidity, 1, static_cast<std::size_t>(frame.block.count));
    frame.block.known.setValid(frame.step.result, true);
}

// The result is always valid. Where an operand is invalid, the result is unknown.
Fault runComparison(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::comparison(step))
        return fault;
    if (frame.resolved.comparison == nullptr)
        return Faults::comparisonKernel;
    const ComparisonArgs args{
        frame.resolved.result,      frame.resolved.operands[0], frame.doubtfulValidity(0),
        frame.resolved.operands[1], frame.doubtfulValidity(1),  frame.block.count,
        step.resultMultiplicity,    step.rightScalar,           predicateOf(step.op)};
    frame.resolved.comparison(args);
    makeValid(frame);
    return Faults::none;
}

Fault runNot(const StepFrame& frame) {
    if (const Fault fault = StepRules::notOrIsTrue(frame.step))
        return fault;
    logicalNot({frame.resolved.result, frame.resolved.operands[0], nullptr, frame.resultLanes()});
    return Faults::none;
}

Fault runIsTrue(const StepFrame& frame) {
    if (const Fault fault = StepRules::notOrIsTrue(frame.step))
        return fault;
    isTrue({frame.resolved.result, frame.resolved.resultValidity, frame.resolved.operands[0],
            frame.doubtfulValidity(0), frame.block.count, frame.step.resultMultiplicity});
    frame.block.known.setValid(frame.step.result, true);
    return Faults::none;
}

// Reads both operands lane by lane, even if one has a single component: it is not paired with each
// component of the other.
Fault runAndOr(const StepFrame& frame, void (*logic)(const LogicArgs&)) {
    if (const Fault fault = StepRules::andOr(frame.step))
        return fault;
    logic({frame.resolved.result, frame.resolved.operands[0], frame.resolved.operands[1],
           frame.resultLanes()});
    return Faults::none;
}

SelectArgs selectArgs(const StepFrame& frame) {
    const ResolvedStep& resolved = frame.resolved;
    return {resolved.result,      resolved.resultValidity,
            resolved.operands[0], frame.step.operandMultiplicities[0],
            resolved.operands[1], frame.doubtfulValidity(1),
            resolved.operands[2], frame.doubtfulValidity(2),
            frame.block.count,    frame.step.resultMultiplicity};
}

Fault runSelect(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::select(step))
        return fault;
    if (frame.resolved.select == nullptr)
        return Faults::selectKernel;
    frame.resolved.select(selectArgs(frame));
    frame.findOutValidity();
    return Faults::none;
}

Fault runOpCode(const StepFrame& frame) {
    switch (frame.step.op) {
    case OpCode::ElementIndex:
        return runElementIndex(frame);
    case OpCode::LoadConstant:
        return runLoadConstant(frame);
    case OpCode::LoadUniform:
        return runLoadUniform(frame);
    case OpCode::LoadField:
        return runLoadField(frame);
    case OpCode::Sample:
        return runSample(frame);
    case OpCode::Component:
        return runComponent(frame);
    case OpCode::Negate:
        return runUnary(frame, UnaryOp::Negate);
    case OpCode::Length:
        return runUnary(frame, UnaryOp::Length);
    case OpCode::Add:
    case OpCode::Subtract:
    case OpCode::Multiply:
    case OpCode::Divide:
        return runArithmetic(frame);
    case OpCode::Less:
    case OpCode::LessEqual:
    case OpCode::Greater:
    case OpCode::GreaterEqual:
    case OpCode::Equal:
    case OpCode::NotEqual:
        return runComparison(frame);
    case OpCode::Not:
        return runNot(frame);
    case OpCode::IsTrue:
        return runIsTrue(frame);
    case OpCode::And:
        return runAndOr(frame, &logicalAnd);
    case OpCode::Or:
        return runAndOr(frame, &logicalOr);
    case OpCode::Select:
        return runSelect(frame);
    case OpCode::Nop:
        return Faults::none;
    }
    return Faults::opCode;
}

/// Writes 1 to `result` where both operands are valid, else 0. A null operand counts as valid
/// throughout.
void combineValidity(unsigned char* result, const unsigned char* left, const unsigned char* right,
                     int count) {
    if (count <= 0)
        return;
    if (left == nullptr)
        left = right;
    if (right == nullptr)
        right = left;
    if (left == nullptr)
        std::memset(result, 1, static_cast<std::size_t>(count));
    else
        bothValid(result, left, right, count);
}

/// Makes the result valid where the first two operands are valid.
void passValidityOn(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    const ResolvedStep& resolved = frame.resolved;
    const bool areBothValid = frame.block.known.isValid(step.operands[0]) &&
                              (step.arity < 2 || frame.block.known.isValid(step.operands[1]));
    if (!areBothValid)
        combineValidity(resolved.resultValidity, resolved.operandValidity[0],
                        step.arity > 1 ? resolved.operandValidity[1] : nullptr, frame.block.count);
    else if (!frame.block.known.isValid(step.result))
        std::memset(resolved.resultValidity, 1, static_cast<std::size_t>(frame.block.count));
    frame.block.known.setValid(step.result, areBothValid);
}

/// Runs a step whose loop decides the result's validity without what other steps would pass on.
/// Nothing can refuse it.
void runFlat(const StepFrame& frame) {
    const ResolvedStep& resolved = frame.resolved;
    BlockKnowledge& known = frame.block.known;
    if (frame.step.op == OpCode::Select) {
        known.setValid(frame.step.result, resolved.flatSelect(selectArgs(frame)));
    } else if (frame.step.op == OpCode::Divide) {
        known.setValid(frame.step.result,
                       resolved.flatDivision(resolved.result, resolved.resultValidity,
                                             resolved.operands[0], frame.doubtfulValidity(0),
                                             resolved.operands[1], frame.doubtfulValidity(1),
                                             frame.block.count));
    } else {
        resolved.flatComparison(resolved.result, resolved.operands[0], frame.doubtfulValidity(0),
                                resolved.operands[1], frame.doubtfulValidity(1), frame.block.count);
        makeValid(frame);
    }
    known.changed(frame.step.result);
}

Fault runOn(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (frame.resolved.isFlat) {
        runFlat(frame);
        return Faults::none;
    }
    // A Nop has no registers, even if the step states an arity.
    if (step.arity > 0 && step.op != OpCode::Nop)
        passValidityOn(frame);
    if (const Fault fault = runOpCode(frame))
        return fault;
    frame.block.known.changed(step.result);
    frame.block.known.filled(step.result, step.op);
    return Faults::none;
}

/// Runs the most common kind of step fast: an arithmetic step that is one loop, whose operands and
/// result are all known to be valid. For any other step, does nothing and returns false.
bool runPlainly(const BlockFrame& block, const Interpreter::Step& step,
                const ResolvedStep& resolved) {
    BlockKnowledge& known = block.known;
    if (resolved.flatArithmetic == nullptr || !known.isValid(step.operands[0]) ||
        !known.isValid(step.operands[1]) || !known.isValid(step.result))
        return false;
    resolved.flatArithmetic(resolved.result, resolved.operands[0], resolved.operands[1],
                            std::int64_t{block.count} * step.resultMultiplicity);
    known.changed(step.result);
    return true;
}

/// Runs `count` steps. A step counts as executed when it begins.
Fault runAll(BlockFrame& block, const Interpreter::Step* step, const ResolvedStep* resolved,
             std::size_t count) {
    for (; count > 0; --count, ++step, ++resolved) {
        ++block.executedSteps;
        if (runPlainly(block, *step, *resolved))
            continue;
        if (const Fault fault = runOn({block, *step, *resolved}))
            return fault;
    }
    return Faults::none;
}

} // namespace

bool Interpreter::runStep(const Step& step, const Bindings& bindings, long long blockStart) {
    BlockKnowledge nothing;
    BlockFrame block{
        program, bindings,  elementIndices.data(), blockStart, registers.liveElements(),
        nothing, registers, stepsExecuted,         planNumber};
    const std::uint64_t plan = planNumber;
    const ResolvedStep resolved = resolve(step, registers);
    const Fault fault = runAll(block, &step, &resolved, 1);
    return fault ? refuseStep(fault.code, fault.message, plan) : true;
}

bool Interpreter::runBlock(const Bindings& bindings, long long blockStart, BlockKnowledge& known) {
    BlockFrame block{
        program, bindings,  elementIndices.data(), blockStart, registers.liveElements(),
        known,   registers, stepsExecuted,         planNumber};
    const std::uint64_t plan = planNumber;
    const Fault fault = runAll(block, steps.data(), resolvedSteps.data(), resolvedSteps.size());
    return fault ? refuseStep(fault.code, fault.message, plan) : true;
}

// If a provider changed the plan, the step fails as if the provider had declined. But if the
// provider's `configure` was refused, the reason and the message of that refusal stay, because they
// say more.
bool Interpreter::refuseStep(ExecRefusal code, const char* message, std::uint64_t planOfRun) {
    const bool isSaid = planNumber != planOfRun && refusal != ExecRefusal::None;
    return isSaid ? false : refuseAtRun(code, message);
}

} // namespace Fenlet
