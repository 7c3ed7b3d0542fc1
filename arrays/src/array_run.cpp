// The public class, and the loop over blocks.
#include "array_plan.h"
#include "words.h"

#include <algorithm>

namespace Fenlet {

ArrayRun::ArrayRun(const FenletProgram& program, const ArrayRunOptions& options)
    : plan(std::make_unique<ArrayPlan>(program, options)) {}
ArrayRun::~ArrayRun() = default;
ArrayRun::ArrayRun(ArrayRun&&) noexcept = default;
ArrayRun& ArrayRun::operator=(ArrayRun&&) noexcept = default;

bool ArrayRun::prepare(const std::vector<ArrayInput>& inputs,
                       const std::vector<ArrayOutput>& outputs) {
    return plan->prepare(inputs.data(), inputs.size(), outputs.data(), outputs.size());
}

bool ArrayRun::prepare(std::initializer_list<ArrayInput> inputs,
                       std::initializer_list<ArrayOutput> outputs) {
    return plan->prepare(inputs.begin(), inputs.size(), outputs.begin(), outputs.size());
}

bool ArrayRun::run() {
    return plan->run(plan->own, 0, count());
}

bool ArrayRun::run(std::int64_t first, std::int64_t count) {
    return plan->run(plan->own, first, count);
}

bool ArrayRun::isPrepared() const {
    return plan->isPrepared;
}

std::int64_t ArrayRun::count() const {
    return plan->isPrepared ? plan->elements : 0;
}

std::int32_t ArrayRun::blockSize() const {
    return plan->isPrepared ? plan->blockSize : 0;
}

const std::string& ArrayRun::error() const {
    return plan->own.error;
}

ExecRefusal ArrayRun::refusal() const {
    return plan->own.refusal;
}

ArrayRun::Figures ArrayRun::figures() const {
    return plan->isPrepared ? plan->figures : Figures{};
}

ArrayRun::Worker::Worker(const ArrayRun& run)
    : plan(run.plan.get()), state(std::make_unique<RunState>()) {
    if (plan->isPrepared)
        plan->setUp(*state);
}
ArrayRun::Worker::~Worker() = default;
ArrayRun::Worker::Worker(Worker&&) noexcept = default;
ArrayRun::Worker& ArrayRun::Worker::operator=(Worker&&) noexcept = default;

bool ArrayRun::Worker::run(std::int64_t first, std::int64_t count) {
    return plan->run(*state, first, count);
}

const std::string& ArrayRun::Worker::error() const {
    return state->error;
}

ExecRefusal ArrayRun::Worker::refusal() const {
    return state->refusal;
}

void ArrayPlan::setUp(RunState& state) const {
    state.planNumber = planNumber;
    state.scratch.assign(static_cast<std::size_t>(scratchBytes), 0);
    state.places.assign(homes.size(), {});
    for (std::size_t place = 0; place < homes.size(); ++place) {
        if (homes[place].dataOffset >= 0)
            state.places[place].data = state.scratch.data() + homes[place].dataOffset;
        if (homes[place].validityOffset >= 0)
            state.places[place].validity = state.scratch.data() + homes[place].validityOffset;
    }
    const Block block{0, blockSize};
    for (const Constancy& one : constants) {
        if (one.uniform < 0)
            Steps::constant(one.step, state.places.data(), block);
        else
            broadcastValue(state.places[one.place].data, one.step.resultKind,
                           uniformBytes[static_cast<std::size_t>(one.uniform)].bytes, block.count,
                           one.step.multiplicity);
    }
}

bool ArrayPlan::run(RunState& state, std::int64_t first, std::int64_t count) const {
    if (!isPrepared)
        return state.error.empty() ? state.refuse("nothing is prepared; bind inputs and outputs "
                                                  "first",
                                                  ExecRefusal::NotConfigured)
                                   : false;
    if (state.planNumber != planNumber)
        return state.refuse("this worker was made for another preparation; make a new one",
                            ExecRefusal::NotConfigured);
    state.error.clear();
    state.refusal = ExecRefusal::None;
    if (first < 0 || count < 0 || first > elements || count > elements - first)
        return state.refuse(
            std::to_string(count) + " elements are asked for, beginning with element " +
            std::to_string(first) + "; the arrays have " + std::to_string(elements));
    for (Block block{first, 0}; block.first < first + count; block.first += block.count) {
        block.count = static_cast<std::int32_t>(
            std::min<std::int64_t>(blockSize, first + count - block.first));
        if (!runBlock(state, block))
            return false;
    }
    return true;
}

bool ArrayPlan::runBlock(RunState& state, const Block& block) const {
    Place* const places = state.places.data();
    for (const Moving& one : moving) {
        if (one.data != nullptr)
            places[one.place].data = one.data + block.first * one.dataBytes;
        if (one.validity != nullptr)
            places[one.place].validity = one.validity + block.first;
    }
    for (const BoundStep& step : steps)
        if (!step.run(step, places, block))
            return declined(state, step, block);
    store(state, block);
    return true;
}

void ArrayPlan::store(const RunState& state, const Block& block) const {
    for (const OutputTarget& output : targets) {
        const Place& place = state.places[static_cast<std::size_t>(output.number) + 1];
        if (!output.isInPlace)
            output.store->store(block.first, block.count, place.data, place.validity);
        else if (output.array.presence.data != nullptr)
            output.store->storePresence(block.first, block.count, place.validity);
    }
}

bool ArrayPlan::declined(RunState& state, const BoundStep& step, const Block& block) const {
    const std::int32_t origin = originOf(step.instruction);
    const Instruction& instruction = program.instructions[static_cast<std::size_t>(origin)];
    const bool isField = instruction.op == OpCode::LoadField;
    const auto number = static_cast<std::size_t>(instruction.immediate);
    const std::string& name = isField ? program.fields[number].name : program.samplers[number].name;
    std::string words = isField ? "the field " : "the sampler ";
    words += quoted(nameOf(name, poolMark, instruction.immediate));
    words += " declined at " + instructionInWords(program, origin) + ", in the block of elements " +
             std::to_string(block.first) + " to " + std::to_string(block.first + block.count - 1);
    return state.refuse(std::move(words), ExecRefusal::ProviderFailed);
}

} // namespace Fenlet
