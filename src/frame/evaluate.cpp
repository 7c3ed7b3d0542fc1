// The loop over blocks.
#include "frame/block_knowledge.h"
#include "vocabulary/element_numbers.h"

#include <fenletexec/interpreter.h>

#include <algorithm>
#include <cstring>

namespace Fenlet {
namespace {

/// Makes every element of every register valid, so that no block inherits validity from the block
/// before. Skips registers that are known to be valid. Blocks never grow within a run, so all
/// elements of the new block are valid in such a register.
void beginBlock(RegisterFile& registers, BlockKnowledge& known) {
    const auto length = static_cast<std::size_t>(registers.liveElements());
    known.makeAllValid(registers.registerCount(),
                       [&](int number) { std::memset(registers.validity(number), 1, length); });
    known.beginBlock();
}

} // namespace

bool Interpreter::evaluate(long long first, long long count, const Bindings& bindings,
                           BlockSink& sink) {
    if (!configured)
        return false;
    // If `configure` threw, the register file may have no room for a block.
    long long stride = registers.elementCapacity();
    if (stride < 1)
        return false;
    refusal = ExecRefusal::None;
    refusalMessage = nullptr;
    if (!checkBindings(bindings))
        return false;

    BlockKnowledge known(registerFacts);
    for (long long done = 0; done < count;) {
        const std::uint64_t plan = planNumber;
        const std::uint64_t stepsAfterBlock = stepsExecuted + steps.size();
        const long long length = std::min(stride, count - done);
        const long long blockStart = offsetElement(first, done);
        registers.setBlockLength(static_cast<int>(length));
        beginBlock(registers, known);
        if (!runBlock(bindings, blockStart, known))
            return false;
        if (!sink.consume(registers, blockStart, static_cast<int>(length)))
            return false;
        done += length;
        if (planNumber != plan) {
            if (!configured || planIncomplete)
                return false;
            stride = std::min<long long>(stride, registers.elementCapacity());
        }
        // The sink or a provider may also have run steps that do not belong to this run.
        if (planNumber != plan || stepsExecuted != stepsAfterBlock)
            known.startOver(registerFacts);
    }
    return true;
}

} // namespace Fenlet
