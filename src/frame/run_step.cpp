// One step over the current block, and all of them.
#include "frame/block_knowledge.h"
#include "frame/find_provider.h"
#include "frame/resolved_step.h"
#include "frame/step_rules.h"
#include "frame/validity.h"
#include "kernels/arithmetic/arithmetic.h"
#include "kernels/boolean/boolean.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/elements/elements.h"
#include "kernels/select/select.h"
#include "kernels/unary/unary.h"
#include "sources/component.h"
#include "sources/field_indices.h"
#include "sources/load_constant.h"
#include "sources/load_uniform.h"

#include <fenletexec/interpreter.h>

#include <cstring>

namespace Fenlet {
namespace {

/// What all steps of a block have in common.
struct BlockFrame {
    const FenletProgram* program; ///< null where there are no steps, since no plan stands
    const Bindings& bindings;
    std::int64_t* elementIndices;
    long long blockStart;
    int count;
    BlockKnowledge& known;
};

/// What a step has at hand: itself, and what it may touch.
struct StepFrame {
    const BlockFrame& block;
    const Interpreter::Step& step;
    const ResolvedStep& resolved;

    std::int64_t resultLanes() const { return std::int64_t{block.count} * step.resultMultiplicity; }
    /// The operand's validity, or null, which means valid throughout, where that is known.
    const unsigned char* doubtfulValidity(int slot) const {
        return block.known.isValid(step.operands[slot]) ? nullptr : resolved.operandValidity[slot];
    }
    /// Looks through the result's validity, which the step has written in a way of its own.
    void findOutValidity() const {
        if (block.known.remembers(step.result))
            block.known.setValid(step.result,
                                 isOneThroughout(resolved.resultValidity, block.count));
    }
};

// One value for each element, packed from the start of the data area whatever the result's
// multiplicity is.
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

Fault runLoadUniform(const StepFrame& frame) {
    if (frame.block.bindings.uniforms == nullptr)
        return Faults::uniformBinding;
    if (const Fault fault = StepRules::uniform(frame.step, *frame.block.program))
        return fault;
    return loadUniform(*frame.block.bindings.uniforms, frame.step.immediate, frame.step.resultKind,
                       frame.resolved.result, frame.block.count, frame.step.resultMultiplicity,
                       frame.block.known.isAlike(frame.step.result));
}

/// The numbers of the elements that a field is read at: with an operand its values, without one the
/// block's own. They are read where they stand, unless they are of another width or would be
/// overwritten by the values that are read.
const std::int64_t* indicesOf(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (step.arity <= 0)
        countUp(reinterpret_cast<unsigned char*>(frame.block.elementIndices),
                frame.block.blockStart, frame.block.count);
    else if (step.operandKinds[0] == CpuElementKind::Int64 && step.operands[0] != step.result)
        // By way of void: every register begins on a cache line.
        return static_cast<const std::int64_t*>(
            static_cast<const void*>(frame.resolved.operands[0]));
    else
        copyIndices(frame.block.elementIndices, frame.resolved.operands[0], step.operandKinds[0],
                    frame.block.count);
    return frame.block.elementIndices;
}

/// Whether the element numbers are valid and run on by one. Many fields are read at the same ones.
bool indicesRunOn(const StepFrame& frame, const std::int64_t* indices) {
    BlockKnowledge& known = frame.block.known;
    const int operand = frame.step.operands[0];
    if (frame.step.arity <= 0 || (known.ownNumbers == operand && known.isValid(operand)))
        return true;
    if (known.scanned != operand) {
        known.scannedRunsOn = isContiguous(indices, frame.doubtfulValidity(0), frame.block.count);
        known.scanned = operand;
    }
    return known.scannedRunsOn;
}

Fault runLoadField(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::field(step, *frame.block.program))
        return fault;
    CpuFieldAccessor* const field =
        findProvider(frame.block.bindings.fields, frame.block.bindings.fieldCount, step.immediate);
    if (field == nullptr)
        return Faults::fieldBindingOfStep;
    if (const Fault fault = StepRules::fieldIndexOperand(step))
        return fault;

    const std::int64_t* const indices = indicesOf(frame);
    const FieldRead request{frame.resolved.result,
                            frame.resolved.resultValidity,
                            step.resultKind,
                            step.resultMultiplicity,
                            indices,
                            indicesRunOn(frame, indices),
                            frame.block.count};
    if (!field->read(request))
        return Faults::fieldDeclined;
    frame.findOutValidity();
    return Faults::none;
}

Fault runSample(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::sampler(step, *frame.block.program))
        return fault;
    FenletSampler* const sampler = findProvider(frame.block.bindings.samplers,
                                                frame.block.bindings.samplerCount, step.immediate);
    if (sampler == nullptr)
        return Faults::samplerBindingOfStep;
    const bool sampled =
        sampler->sample(frame.resolved.operands[0], step.operandKinds[0],
                        step.operandMultiplicities[0], frame.resolved.result, step.resultKind,
                        step.resultMultiplicity, frame.resolved.resultValidity, frame.block.count);
    if (!sampled)
        return Faults::samplerDeclined;
    frame.findOutValidity();
    return Faults::none;
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
    // As many lanes as the operand has are negated, which is more than the result has room for.
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
    // Divisors that are zero make elements invalid.
    if (op == ArithmeticOp::Divide && step.resultKind == CpuElementKind::Int32)
        frame.findOutValidity();
    return Faults::none;
}

// The result is valid throughout: what an invalid operand means, its value tells.
Fault runComparison(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::comparison(step))
        return fault;
    if (frame.resolved.comparison == nullptr)
        return Faults::comparisonKernel;
    const ComparisonArgs args{frame.resolved.result,
                              frame.resolved.operands[0],
                              frame.doubtfulValidity(0),
                              frame.resolved.operands[1],
                              frame.doubtfulValidity(1),
                              frame.block.count,
                              step.resultMultiplicity,
                              step.rightScalar,
                              static_cast<std::uint32_t>(step.op) -
                                  static_cast<std::uint32_t>(OpCode::Less)};
    frame.resolved.comparison(args);
    if (!frame.block.known.isValid(step.result))
        std::memset(frame.resolved.resultValidity, 1, static_cast<std::size_t>(frame.block.count));
    frame.block.known.setValid(step.result, true);
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

// Both operands are read flat: one of a single component is not repeated over the other's.
Fault runAndOr(const StepFrame& frame, void (*logic)(const LogicArgs&)) {
    if (const Fault fault = StepRules::andOr(frame.step))
        return fault;
    logic({frame.resolved.result, frame.resolved.operands[0], frame.resolved.operands[1],
           frame.resultLanes()});
    return Faults::none;
}

Fault runSelect(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::select(step))
        return fault;
    if (frame.resolved.select == nullptr)
        return Faults::selectKernel;
    const SelectArgs args{frame.resolved.result,      frame.resolved.resultValidity,
                          frame.resolved.operands[0], step.operandMultiplicities[0],
                          frame.resolved.operands[1], frame.doubtfulValidity(1),
                          frame.resolved.operands[2], frame.doubtfulValidity(2),
                          frame.block.count,          step.resultMultiplicity};
    frame.resolved.select(args);
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

/// Gives the result the validity of the first two operands together.
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

Fault runOn(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    // A Nop has no registers, whatever its arity is said to be.
    if (step.arity > 0 && step.op != OpCode::Nop)
        passValidityOn(frame);
    if (const Fault fault = runOpCode(frame))
        return fault;
    frame.block.known.changed(step.result);
    frame.block.known.filled(step.result, step.op);
    return Faults::none;
}

/// As `runOn`, for the step that most programs have most of: one loop, from operands to a result
/// all of which are known to be valid. False, with nothing done, for any other.
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

/// Runs `count` steps, of which each counts when it begins.
Fault runAll(const BlockFrame& block, const Interpreter::Step* step, const ResolvedStep* resolved,
             std::size_t count, std::uint64_t& executed) {
    for (; count > 0; --count, ++step, ++resolved) {
        ++executed;
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
    const BlockFrame block{
        program, bindings, elementIndices.data(), blockStart, registers.liveElements(), nothing};
    const ResolvedStep resolved = resolve(step, registers);
    const Fault fault = runAll(block, &step, &resolved, 1, stepsExecuted);
    return fault ? refuseAtRun(fault.code, fault.message) : true;
}

bool Interpreter::runBlock(const ResolvedPlan& plan, const Bindings& bindings, long long blockStart,
                           BlockKnowledge& known) {
    const BlockFrame block{
        program, bindings, elementIndices.data(), blockStart, registers.liveElements(), known};
    Fault fault = runAll(block, steps.data(), plan.first(), plan.resolvedCount(), stepsExecuted);
    for (std::size_t number = plan.resolvedCount(); !fault && number < steps.size(); ++number) {
        const ResolvedStep resolved = resolve(steps[number], registers);
        fault = runAll(block, &steps[number], &resolved, 1, stepsExecuted);
    }
    return fault ? refuseAtRun(fault.code, fault.message) : true;
}

} // namespace Fenlet
