// The loop over blocks, and the check of the host's providers before it.
#include "frame/block_knowledge.h"
#include "frame/find_provider.h"
#include "frame/resolved_step.h"
#include "vocabulary/element_numbers.h"
#include "vocabulary/faults.h"

#include <fenletexec/interpreter.h>

#include <algorithm>
#include <cstring>

namespace Fenlet {
namespace {

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

} // namespace

bool Interpreter::checkBindings(const Bindings& bindings) {
    for (const Step& step : steps)
        if (const Fault fault = findBindingFault(step, bindings))
            return refuseAtRun(fault.code, fault.message);
    return true;
}

bool Interpreter::evaluate(long long first, long long count, const Bindings& bindings,
                           BlockSink& sink) {
    if (!configured)
        return false;
    // An exception out of `configure` may have left a plan without room for a block.
    long long stride = registers.elementCapacity();
    if (stride < 1)
        return false;
    refusal = ExecRefusal::None;
    refusalMessage = nullptr;
    if (!checkBindings(bindings))
        return false;

    BlockKnowledge known(registers.registerCount());
    ResolvedPlan resolved;
    resolved.resolveAll(steps, registers);
    for (long long done = 0; done < count;) {
        const long long length = std::min(stride, count - done);
        registers.setBlockLength(static_cast<int>(length));
        // Every element of every register starts the block valid, so that nothing carries over from
        // the one before. No block is longer than the one before, of which some is known.
        for (int number = 0, end = registers.registerCount(); number < end; ++number) {
            if (known.isValid(number))
                continue;
            std::memset(registers.validity(number), 1, static_cast<std::size_t>(length));
            known.setValid(number, true);
        }
        known.beginBlock();
        const long long blockStart = offsetElement(first, done);
        if (!runBlock(resolved, bindings, blockStart, known))
            return false;
        const std::uint64_t stepsSoFar = stepsExecuted;
        if (!sink.consume(registers, blockStart, static_cast<int>(length)))
            return false;
        done += length;
        // A sink that had the interpreter run or plan something else has changed what is known, and
        // how many elements there is room for. Steps tell, where there are any.
        if (stepsExecuted != stepsSoFar || steps.size() != resolved.stepCount() || steps.empty()) {
            known.startOver(registers.registerCount());
            resolved.resolveAll(steps, registers);
            stride = std::min<long long>(stride, registers.elementCapacity());
            if (stride < 1 && done < count)
                return false;
        }
    }
    return true;
}

} // namespace Fenlet
