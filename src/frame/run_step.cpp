// One step over the current block.
#include "frame/find_provider.h"
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

/// What a step has at hand: itself, and what it may touch.
struct StepFrame {
    const Interpreter::Step& step;
    const FenletProgram& program;
    const Bindings& bindings;
    RegisterFile& registers;
    std::int64_t* elementIndices;
    long long blockStart;
    int count;

    std::int64_t resultLanes() const { return std::int64_t{count} * step.resultMultiplicity; }
    unsigned char* resultData() const { return registers.data(step.result); }
    unsigned char* resultValidity() const { return registers.validity(step.result); }
    const unsigned char* operandData(int slot) const { return registers.data(step.operands[slot]); }
    const unsigned char* operandValidity(int slot) const {
        return registers.validity(step.operands[slot]);
    }
};

// One value for each element, packed from the start of the data area whatever the result's
// multiplicity is.
Fault runElementIndex(const StepFrame& frame) {
    if (const Fault fault = StepRules::elementIndex(frame.step))
        return fault;
    countUp(frame.resultData(), frame.blockStart, frame.count);
    return Faults::none;
}

Fault runLoadConstant(const StepFrame& frame) {
    if (const Fault fault = StepRules::constant(frame.step, frame.program))
        return fault;
    return loadConstant(frame.program.constants[static_cast<std::size_t>(frame.step.immediate)],
                        frame.step.resultKind, frame.resultData(), frame.count,
                        frame.step.resultMultiplicity);
}

Fault runLoadUniform(const StepFrame& frame) {
    if (frame.bindings.uniforms == nullptr)
        return Faults::uniformBinding;
    if (const Fault fault = StepRules::uniform(frame.step, frame.program))
        return fault;
    return loadUniform(*frame.bindings.uniforms, frame.step.immediate, frame.step.resultKind,
                       frame.resultData(), frame.count, frame.step.resultMultiplicity);
}

// With an operand, its values are the numbers of the elements to read; without one they are the
// block's own.
Fault runLoadField(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::field(step, frame.program))
        return fault;
    CpuFieldAccessor* const field =
        findProvider(frame.bindings.fields, frame.bindings.fieldCount, step.immediate);
    if (field == nullptr)
        return Faults::fieldBindingOfStep;
    if (const Fault fault = StepRules::fieldIndexOperand(step))
        return fault;

    FieldRead request{frame.resultData(),   frame.resultValidity(),
                      step.resultKind,      step.resultMultiplicity,
                      frame.elementIndices, true,
                      frame.count};
    if (step.arity > 0) {
        copyIndices(frame.elementIndices, frame.operandData(0), step.operandKinds[0], frame.count);
        request.contiguous =
            isContiguous(frame.elementIndices, frame.operandValidity(0), frame.count);
    } else {
        countUp(reinterpret_cast<unsigned char*>(frame.elementIndices), frame.blockStart,
                frame.count);
    }
    return field->read(request) ? Faults::none : Faults::fieldDeclined;
}

Fault runSample(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::sampler(step, frame.program))
        return fault;
    FenletSampler* const sampler =
        findProvider(frame.bindings.samplers, frame.bindings.samplerCount, step.immediate);
    if (sampler == nullptr)
        return Faults::samplerBindingOfStep;
    const bool sampled =
        sampler->sample(frame.operandData(0), step.operandKinds[0], step.operandMultiplicities[0],
                        frame.resultData(), step.resultKind, step.resultMultiplicity,
                        frame.resultValidity(), frame.count);
    return sampled ? Faults::none : Faults::samplerDeclined;
}

Fault runComponent(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::component(step))
        return fault;
    const ComponentArgs args{frame.resultData(), frame.operandData(0), frame.count,
                             step.operandMultiplicities[0], step.immediate};
    return dispatchComponent(step.resultKind, step.operandKinds[0], args) ? Faults::none
                                                                          : Faults::componentKernel;
}

Fault runUnary(const StepFrame& frame, UnaryOp op) {
    const Interpreter::Step& step = frame.step;
    const UnaryArgs args{frame.resultData(), frame.operandData(0), frame.count,
                         step.operandMultiplicities[0]};
    return dispatchUnary(op, step.resultKind, step.operandKinds[0], args) ? Faults::none
                                                                          : Faults::unaryKernel;
}

Fault runArithmetic(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    const auto op = static_cast<ArithmeticOp>(static_cast<std::uint32_t>(step.op) -
                                              static_cast<std::uint32_t>(OpCode::Add));
    const ArithmeticArgs args{frame.resultData(),
                              frame.resultValidity(),
                              frame.operandData(0),
                              frame.operandData(1),
                              frame.count,
                              step.resultMultiplicity,
                              step.leftScalar,
                              step.rightScalar,
                              op};
    const bool ran =
        dispatchArithmetic(step.resultKind, step.operandKinds[0], step.operandKinds[1], args);
    return ran ? Faults::none : Faults::arithmeticKernel;
}

// The result is valid throughout: what an invalid operand means, its value tells.
Fault runComparison(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::comparison(step))
        return fault;
    const ComparisonArgs args{frame.resultData(),
                              frame.operandData(0),
                              frame.operandValidity(0),
                              frame.operandData(1),
                              frame.operandValidity(1),
                              frame.count,
                              step.resultMultiplicity,
                              step.rightScalar,
                              static_cast<std::uint32_t>(step.op) -
                                  static_cast<std::uint32_t>(OpCode::Less)};
    if (!dispatchComparison(step.operandKinds[0], step.operandKinds[1], args))
        return Faults::comparisonKernel;
    std::memset(frame.resultValidity(), 1, static_cast<std::size_t>(frame.count));
    return Faults::none;
}

Fault runNot(const StepFrame& frame) {
    if (const Fault fault = StepRules::notOrIsTrue(frame.step))
        return fault;
    logicalNot({frame.resultData(), frame.operandData(0), nullptr, frame.resultLanes()});
    return Faults::none;
}

Fault runIsTrue(const StepFrame& frame) {
    if (const Fault fault = StepRules::notOrIsTrue(frame.step))
        return fault;
    isTrue({frame.resultData(), frame.resultValidity(), frame.operandData(0),
            frame.operandValidity(0), frame.count, frame.step.resultMultiplicity});
    return Faults::none;
}

// Both operands are read flat: one of a single component is not repeated over the other's.
Fault runAndOr(const StepFrame& frame, void (*logic)(const LogicArgs&)) {
    if (const Fault fault = StepRules::andOr(frame.step))
        return fault;
    logic({frame.resultData(), frame.operandData(0), frame.operandData(1), frame.resultLanes()});
    return Faults::none;
}

Fault runSelect(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (const Fault fault = StepRules::select(step))
        return fault;
    const SelectArgs args{frame.resultData(),   frame.resultValidity(),
                          frame.operandData(0), step.operandMultiplicities[0],
                          frame.operandData(1), frame.operandValidity(1),
                          frame.operandData(2), frame.operandValidity(2),
                          frame.count,          step.resultMultiplicity};
    const bool ran =
        dispatchSelect(step.resultKind, step.operandKinds[1], step.operandKinds[2], args);
    return ran ? Faults::none : Faults::selectKernel;
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

} // namespace

bool Interpreter::runStep(const Step& step, const Bindings& bindings, long long blockStart) {
    ++stepsExecuted;
    const int count = registers.liveElements();
    // A Nop has no registers, whatever its arity is said to be.
    if (step.arity > 0 && step.op != OpCode::Nop)
        combineValidity(registers.validity(step.result), registers.validity(step.operands[0]),
                        step.arity > 1 ? registers.validity(step.operands[1]) : nullptr, count);

    const StepFrame frame{step,       *program, bindings, registers, elementIndices.data(),
                          blockStart, count};
    if (const Fault fault = runOpCode(frame))
        return refuseAtRun(fault.code, fault.message);
    return true;
}

} // namespace Fenlet
