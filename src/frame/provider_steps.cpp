// The steps that ask the host's providers for values, and the check before a run that no provider
// is missing.
#include "frame/provider_steps.h"

#include "frame/step_rules.h"
#include "sources/broadcast_value.h"
#include "sources/field_indices.h"

namespace Fenlet {

// The compiler emits the virtual tables and type information of these classes in this file.
CpuFieldAccessor::~CpuFieldAccessor() = default;
UniformSource::~UniformSource() = default;
FenletSampler::~FenletSampler() = default;
BlockSink::~BlockSink() = default;

namespace {

/// The provider with this number. `number` must not be negative. Null if the host did not bind the
/// provider.
template <class Provider>
Provider* findProvider(Provider* const* providers, std::int32_t count, std::int32_t number) {
    return providers != nullptr && number < count ? providers[number] : nullptr;
}

Fault findBindingFault(const Interpreter::Step& step, const Bindings& bindings) {
    switch (step.op) {
    case OpCode::LoadField:
        return findProvider(bindings.fields, bindings.fieldCount, step.immediate)
                   ? Faults::none
                   : Faults::fieldBinding;
    case OpCode::Sample:
        return findProvider(bindings.samplers, bindings.samplerCount, step.immediate)
                   ? Faults::none
                   : Faults::samplerBinding;
    case OpCode::LoadUniform:
        return bindings.uniforms ? Faults::none : Faults::uniformBinding;
    default:
        return Faults::none;
    }
}

/// Calls a provider, and returns what the call returned. The provider may call the interpreter that
/// is running it. If that changed the plan, the step and its registers no longer exist, and the
/// result is false as if the provider had declined. If that ran steps, what was known about the
/// block may no longer hold and is forgotten.
template <class Call>
bool askHost(BlockFrame& block, Call call) {
    const std::uint64_t plan = block.planNumber;
    const std::uint64_t steps = block.executedSteps;
    if (!call() || block.planNumber != plan)
        return false;
    if (block.executedSteps != steps) {
        block.known.stop();
        block.count = block.registers.liveElements();
    }
    return true;
}

/// The element numbers to read a field at: the operand's values, or the block's own numbers if the
/// step has no operand. Uses the operand's values in place, unless they are not 64 bits wide or the
/// read would overwrite them.
const std::int64_t* indicesOf(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (step.arity <= 0)
        countUp(reinterpret_cast<unsigned char*>(frame.block.elementIndices),
                frame.block.blockStart, frame.block.count);
    else if (step.operandKinds[0] == CpuElementKind::Int64 && step.operands[0] != step.result)
        // The cast through void is safe: every register begins on a cache line.
        return static_cast<const std::int64_t*>(
            static_cast<const void*>(frame.resolved.operands[0]));
    else
        copyIndices(frame.block.elementIndices, frame.resolved.operands[0], step.operandKinds[0],
                    frame.block.count);
    return frame.block.elementIndices;
}

/// Whether the element numbers are all valid and ascend by one. Remembers the answer, as several
/// fields are often read at the same numbers.
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

} // namespace

bool Interpreter::checkBindings(const Bindings& bindings) {
    for (const Step& step : steps)
        if (const Fault fault = findBindingFault(step, bindings))
            return refuseAtRun(fault.code, fault.message);
    return true;
}

Fault runLoadUniform(const StepFrame& frame) {
    const Interpreter::Step& step = frame.step;
    if (frame.block.bindings.uniforms == nullptr)
        return Faults::uniformBinding;
    if (const Fault fault = StepRules::uniform(step, *frame.block.program))
        return fault;
    const int count = frame.block.count;
    BlockScratch scratch;
    const auto fetch = [&] {
        return frame.block.bindings.uniforms->fetch(step.immediate, step.resultKind,
                                                    step.resultMultiplicity, scratch.bytes);
    };
    if (!askHost(frame.block, fetch))
        return Faults::uniformDeclined;
    const bool stored =
        updateBroadcast(frame.resolved.result, step.resultKind, scratch.bytes, count,
                        step.resultMultiplicity, frame.block.known.isAlike(step.result));
    return stored ? Faults::none : Faults::uniformBroadcast;
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
    if (!askHost(frame.block, [&] { return field->read(request); }))
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
    const auto sample = [&] {
        return sampler->sample(frame.resolved.operands[0], step.operandKinds[0],
                               step.operandMultiplicities[0], frame.resolved.result,
                               step.resultKind, step.resultMultiplicity,
                               frame.resolved.resultValidity, frame.block.count);
    };
    if (!askHost(frame.block, sample))
        return Faults::samplerDeclined;
    frame.findOutValidity();
    return Faults::none;
}

} // namespace Fenlet
