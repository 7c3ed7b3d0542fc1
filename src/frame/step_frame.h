// What a running step can see and change.
#pragma once

#include "frame/block_knowledge.h"
#include "frame/resolved_step.h"
#include "kernels/elements/elements.h"

#include <fenletexec/interpreter.h>

namespace Fenlet {

/// What all steps of a block share.
struct BlockFrame {
    const FenletProgram* program; ///< null if there are no steps
    const Bindings& bindings;
    std::int64_t* elementIndices;
    long long blockStart;
    int count; ///< live elements
    BlockKnowledge& known;
    const RegisterFile& registers;
    std::uint64_t& executedSteps;
    const std::uint64_t& planNumber;
};

struct StepFrame {
    BlockFrame& block;
    const Interpreter::Step& step;
    const ResolvedStep& resolved;

    std::int64_t resultLanes() const { return std::int64_t{block.count} * step.resultMultiplicity; }

    /// The operand's validity bytes, or null if they are known to be all 1.
    const unsigned char* doubtfulValidity(int slot) const {
        return block.known.isValid(step.operands[slot]) ? nullptr : resolved.operandValidity[slot];
    }

    /// Finds out whether the result is valid throughout. For steps that write validity in a way
    /// that cannot be known without reading it.
    void findOutValidity() const {
        if (block.known.remembers(step.result))
            block.known.setValid(step.result,
                                 isOneThroughout(resolved.resultValidity, block.count));
    }
};

} // namespace Fenlet
