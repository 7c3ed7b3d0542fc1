// Turns a bound program into a flat list of steps.
#include "step_binder.h"

#include "words.h"

#include <algorithm>

namespace Fenlet {
namespace {

/// Elements in a block unless the scratch would need more than `roomForScratch` bytes, so that it
/// stays in the nearest cache.
constexpr std::int32_t usualBlock = 1024;
constexpr std::int32_t smallestBlock = 256;
constexpr std::int64_t roomForScratch = 32 * 1024;

/// Areas hold a multiple of this many elements, so that each begins on a cache line.
constexpr std::int64_t lineElements = 64;

ArithmeticOp arithmeticOp(OpCode op) {
    return static_cast<ArithmeticOp>(static_cast<std::uint32_t>(op) -
                                     static_cast<std::uint32_t>(OpCode::Add));
}

} // namespace

StepBinder::StepBinder(ArrayPlan& newPlan)
    : plan(newPlan),
      program(newPlan.boundProgram()),
      flow(newPlan.boundFlow()),
      facts(program, flow, newPlan.fields),
      values(program.registers.size() + 1) {
    for (std::int32_t number = 0; number < program.registerCount(); ++number)
        valueOf(number).bytes =
            std::int64_t{elementSize(flow.of(number).kind)} * flow.of(number).multiplicity;
}

bool StepBinder::asksProvider(const Instruction& instruction) const {
    return instruction.op == OpCode::Sample ||
           (instruction.op == OpCode::LoadField &&
            plan.fields[static_cast<std::size_t>(instruction.immediate)].accessor != nullptr);
}

void StepBinder::findNeeds() {
    std::vector<std::int32_t> outputs;
    for (const OutputTarget& output : plan.targets)
        outputs.push_back(output.number);
    flow.need(outputs, [this](const Instruction& one) { return asksProvider(one); });
    for (std::int32_t i = 0; i < program.instructionCount(); ++i)
        if (flow.isNeeded[static_cast<std::size_t>(i)] &&
            asksProvider(program.instructions[static_cast<std::size_t>(i)]))
            lastDecline = i;
}

/// Finds the last instruction that may read each array. A register may lie in the array, so its
/// last reader counts too.
void StepBinder::findTouches() {
    for (FieldSource& field : plan.fields)
        field.lastTouch = -1;
    for (std::int32_t i = 0; i < program.instructionCount(); ++i) {
        const Instruction& instruction = program.instructions[static_cast<std::size_t>(i)];
        if (instruction.op != OpCode::LoadField || !flow.isNeeded[static_cast<std::size_t>(i)])
            continue;
        FieldSource& field = plan.fields[static_cast<std::size_t>(instruction.immediate)];
        field.lastTouch = std::max({field.lastTouch, i, flow.of(instruction.result).lastRead});
    }
}

bool StepBinder::bind() {
    findNeeds();
    findTouches();
    plan.steps.clear();
    plan.moving.clear();
    plan.constants.clear();
    plan.uniformBytes.clear();
    plan.figures = {};
    for (OutputTarget& output : plan.targets)
        output.isInPlace = false;
    // Registers that several instructions write share no memory, and are all valid at the beginning
    // of each block.
    for (std::int32_t number = 0; number < program.registerCount(); ++number) {
        Value& value = valueOf(number);
        if (!flow.of(number).isRewritten)
            continue;
        value.data = {Home::Kind::Scratch, takeScratch(value.bytes), nullptr, 0};
        value.validity = {Home::Kind::Scratch, takeScratch(1), nullptr, 0};
        BoundStep begin;
        begin.result = placeOf(number);
        emit(begin, &Steps::allValid);
    }
    for (std::int32_t i = 0; i < program.instructionCount(); ++i) {
        if (program.instructions[static_cast<std::size_t>(i)].op == OpCode::Nop)
            continue;
        if (flow.isNeeded[static_cast<std::size_t>(i)])
            bindInstruction(i);
    }
    countDropped();
    if (!settleOutputs())
        return false;
    settleMemory();
    plan.figures.steps = static_cast<int>(plan.steps.size());
    return true;
}

/// Counts the instructions of the user's program that do not run.
void StepBinder::countDropped() {
    std::vector<bool> runs(plan.program.instructions.size());
    for (std::int32_t i = 0; i < program.instructionCount(); ++i)
        if (flow.isNeeded[static_cast<std::size_t>(i)])
            runs[static_cast<std::size_t>(plan.originOf(i))] = true;
    for (std::size_t i = 0; i < runs.size(); ++i)
        if (!runs[i] && plan.program.instructions[i].op != OpCode::Nop)
            ++plan.figures.droppedSteps;
}

void StepBinder::emit(BoundStep step, BoundStep::Run run) {
    step.run = run;
    plan.steps.push_back(step);
}

std::int64_t StepBinder::takeScratch(std::int64_t bytes) {
    const std::int64_t offset = scratchBytes;
    scratchBytes += bytes;
    return offset;
}

/// Takes scratch that was given back if a gap is large enough, and otherwise new scratch.
std::int64_t StepBinder::takeShared(std::int64_t bytes) {
    auto best = gaps.end();
    for (auto gap = gaps.begin(); gap != gaps.end(); ++gap)
        if (gap->bytes >= bytes && (best == gaps.end() || gap->bytes < best->bytes))
            best = gap;
    if (best == gaps.end())
        return takeScratch(bytes);
    const std::int64_t offset = best->offset;
    best->offset += bytes;
    best->bytes -= bytes;
    if (best->bytes == 0)
        gaps.erase(best);
    return offset;
}

std::uint32_t StepBinder::addPlace(std::int64_t bytes) {
    Value value;
    value.bytes = bytes;
    value.data = {Home::Kind::Scratch, takeScratch(bytes), nullptr, 0};
    values.push_back(value);
    return static_cast<std::uint32_t>(values.size() - 1);
}

bool StepBinder::isOutput(std::int32_t number) const {
    return std::any_of(plan.targets.begin(), plan.targets.end(),
                       [number](const OutputTarget& one) { return one.number == number; });
}

/// If register `number` lay in this field's array: whether storing a block in the outputs could
/// overwrite what is still to be stored. That is the register's values, if it is an output, or its
/// validity, which other registers may share.
bool StepBinder::meetsOutput(const FieldSource& field, std::int32_t number) const {
    return std::any_of(plan.targets.begin(), plan.targets.end(), [&](const OutputTarget& one) {
        return !areDisjoint(field.memory.presence, one.memory.presence) ||
               (isOutput(number) && !areDisjoint(field.memory.values, one.memory.values));
    });
}

/// Whether this step may write its result into an output's array: no field that lies there is read
/// afterwards.
bool StepBinder::mayWriteBehind(const BoundStep& step, const OutputTarget& output) const {
    for (const FieldSource& field : plan.fields) {
        if (!field.isBound || field.accessor != nullptr || field.lastTouch < 0 ||
            areDisjoint(field.memory.values, output.memory.values))
            continue;
        // The step itself may read the field if it works lane by lane, on lanes of the same size.
        const bool isLaneByLane = step.multiplicity == field.array.components &&
                                  elementSize(step.resultKind) == componentSize(field.array.kind);
        if (field.lastTouch > step.instruction ||
            (field.lastTouch == step.instruction && !isLaneByLane))
            return false;
    }
    return true;
}

/// Lets the result lie in an output's array, if that is possible. Its validity must be planned.
bool StepBinder::placeInOutput(const BoundStep& step) {
    if (!plan.options.inPlace || step.instruction <= lastDecline)
        return false;
    for (OutputTarget& output : plan.targets) {
        if (placeOf(output.number) != step.result || output.isInPlace)
            continue;
        const FlatArray flat = flatArray(output.layout);
        const bool needsFill =
            output.rules.fill && values[step.result].validity.kind != Home::Kind::Nowhere;
        if (flat.data == nullptr || needsFill || output.array.kind != arrayKind(step.resultKind) ||
            output.array.components != step.multiplicity || !mayWriteBehind(step, output))
            continue;
        output.isInPlace = true;
        values[step.result].data = {Home::Kind::Moving, 0, const_cast<unsigned char*>(flat.data),
                                    output.layout.elementBytes()};
        ++plan.figures.outputsInPlace;
        return true;
    }
    return false;
}

void StepBinder::placeResult(const BoundStep& step) {
    Value& result = values[step.result];
    if (result.data.kind != Home::Kind::Nowhere || placeInOutput(step))
        return;
    result.data = {Home::Kind::Scratch, takeShared(result.bytes), nullptr, 0};
}

/// Gives back the scratch of operands that no later instruction reads.
void StepBinder::releaseOperands(const Instruction& instruction, std::int32_t number) {
    const auto isFixed = [this](std::int32_t one) {
        const OpCode op = program.instructions[static_cast<std::size_t>(flow.of(one).writer)].op;
        return flow.of(one).isRewritten || op == OpCode::LoadConstant ||
               op == OpCode::LoadUniform || op == OpCode::LoadField || op == OpCode::Sample;
    };
    const auto release = [&](std::int32_t one) {
        Value& value = valueOf(one);
        if (value.data.kind != Home::Kind::Scratch || value.isGivenBack ||
            flow.of(one).lastRead > number || isOutput(one) || isFixed(one))
            return;
        gaps.push_back({value.data.offset, value.bytes});
        value.isGivenBack = true;
    };
    forEachOperand(instruction, [&](std::int32_t, std::int32_t one) { release(one); });
}

/// Plans the result's validity: valid where operands 0 and 1 both are. If possible, the result
/// shares the validity of an operand and no step writes it.
void StepBinder::shareValidity(const BoundStep& step) {
    Value& result = values[step.result];
    const Home& left = values[step.operands[0]].validity;
    const Home& right = values[step.operands[1]].validity;
    const auto isRewritten = [this](std::uint32_t place) {
        return place != noPlace && flow.of(static_cast<std::int32_t>(place) - 1).isRewritten;
    };
    const bool canShare = !isRewritten(step.result) && !isRewritten(step.operands[0]) &&
                          !isRewritten(step.operands[1]) && left.kind != Home::Kind::Varying &&
                          right.kind != Home::Kind::Varying;
    if (canShare && (left.kind == Home::Kind::Nowhere || left == right)) {
        result.validity = right.kind == Home::Kind::Nowhere ? left : right;
        return;
    }
    if (canShare && right.kind == Home::Kind::Nowhere) {
        result.validity = left;
        return;
    }
    ownValidity(step);
}

/// The same, but always in separate memory, which the step may change.
void StepBinder::ownValidity(const BoundStep& step) {
    Value& result = values[step.result];
    if (result.validity.kind == Home::Kind::Nowhere)
        result.validity = {Home::Kind::Scratch, takeScratch(1), nullptr, 0};
    emit(step, &Steps::combineValidity);
}

/// Plans the result's validity: every element has a value.
void StepBinder::noValidity(const BoundStep& step) {
    if (values[step.result].validity.kind != Home::Kind::Nowhere)
        emit(step, &Steps::allValid);
}

/// Whether the values lie in an array, where nothing is promised of their alignment.
bool StepBinder::liesInArray(std::uint32_t place) const {
    const Home::Kind kind = values[place].data.kind;
    return kind == Home::Kind::Moving || kind == Home::Kind::Varying;
}

void StepBinder::bindInstruction(std::int32_t number) {
    const Instruction& instruction = program.instructions[static_cast<std::size_t>(number)];
    const RegisterFlow& result = flow.of(instruction.result);
    BoundStep step;
    step.instruction = number;
    step.result = placeOf(instruction.result);
    step.multiplicity = result.multiplicity;
    step.resultKind = result.kind;
    step.immediate = instruction.immediate;
    forEachOperand(instruction, [&](std::int32_t slot, std::int32_t operand) {
        step.operands[slot] = placeOf(operand);
    });
    if (step.operands[0] != noPlace) {
        step.operandKind = flow.of(instruction.operands[0]).kind;
        step.operandMultiplicity = flow.of(instruction.operands[0]).multiplicity;
    }

    switch (instruction.op) {
    case OpCode::Nop:
        break;
    case OpCode::ElementIndex:
        if (!result.isReadAsValue)
            break;
        placeResult(step);
        emit(step, &Steps::elementIndex);
        break;
    case OpCode::LoadConstant:
        bindConstant(step, instruction);
        break;
    case OpCode::LoadUniform:
        bindUniform(step, instruction);
        break;
    case OpCode::LoadField:
        bindField(step, instruction);
        break;
    case OpCode::Sample:
        ownValidity(step);
        if (!result.isRewritten)
            values[step.result].data = {Home::Kind::Scratch, takeScratch(values[step.result].bytes),
                                        nullptr, 0};
        if (liesInArray(step.operands[0]))
            step.scratch = addPlace(values[step.operands[0]].bytes);
        step.work.sampler = plan.samplers[static_cast<std::size_t>(instruction.immediate)];
        emit(step, &Steps::sample);
        break;
    case OpCode::Component:
        shareValidity(step);
        placeResult(step);
        step.work.component = componentKernel(step.resultKind, step.operandKind);
        emit(step, &Steps::component);
        break;
    case OpCode::Negate:
    case OpCode::Length:
        shareValidity(step);
        placeResult(step);
        step.work.unary =
            unaryKernel(instruction.op == OpCode::Negate ? UnaryOp::Negate : UnaryOp::Length,
                        step.resultKind, step.operandKind);
        emit(step, &Steps::unary);
        break;
    case OpCode::Add:
    case OpCode::Subtract:
    case OpCode::Multiply:
    case OpCode::Divide:
        bindArithmetic(step, instruction);
        break;
    case OpCode::Less:
    case OpCode::LessEqual:
    case OpCode::Greater:
    case OpCode::GreaterEqual:
    case OpCode::Equal:
    case OpCode::NotEqual:
        bindComparison(step, instruction);
        break;
    case OpCode::Not:
    case OpCode::IsTrue:
    case OpCode::And:
    case OpCode::Or:
        bindLogic(step, instruction);
        break;
    case OpCode::Select:
        bindSelect(step, instruction);
        break;
    }
    facts.learn(instruction);
    releaseOperands(instruction, number);
}

void StepBinder::bindConstant(const BoundStep& step, const Instruction& instruction) {
    BoundStep filling = step;
    filling.work.constant = &program.constants[static_cast<std::size_t>(instruction.immediate)];
    Value& result = values[step.result];
    if (flow.of(instruction.result).isRewritten) {
        emit(filling, &Steps::constant);
        return;
    }
    result.data = {Home::Kind::Scratch, takeScratch(result.bytes), nullptr, 0};
    constantBytes += result.bytes;
    plan.constants.push_back({step.result, filling, -1});
}

void StepBinder::bindUniform(const BoundStep& step, const Instruction& instruction) {
    const auto number = static_cast<std::int32_t>(plan.uniformBytes.size());
    plan.uniformBytes.emplace_back();
    // This succeeds: `uniformsFit` has tried the same.
    static_cast<void>(plan.uniforms.fetch(instruction.immediate, step.resultKind, step.multiplicity,
                                          plan.uniformBytes.back().bytes));
    if (flow.of(instruction.result).isRewritten) {
        // The value is kept in a separate place and copied from there in each block.
        BoundStep copying = step;
        copying.operands[0] = addPlace(values[step.result].bytes);
        plan.constants.push_back({copying.operands[0], step, number});
        emit(copying, &Steps::spread);
        return;
    }
    Value& result = values[step.result];
    result.data = {Home::Kind::Scratch, takeScratch(result.bytes), nullptr, 0};
    constantBytes += result.bytes;
    plan.constants.push_back({step.result, step, number});
}

/// Lets the register lie in the field's array, if that is possible for all blocks.
bool StepBinder::lendField(const Instruction& instruction, const FieldSource& field) {
    const RegisterFlow& result = flow.of(instruction.result);
    const FlatArray flat = flatArray(field.reader->layout());
    if (!plan.options.inPlace || result.isRewritten || flat.data == nullptr ||
        field.array.kind != arrayKind(result.kind) || meetsOutput(field, instruction.result))
        return false;
    Value& value = valueOf(instruction.result);
    // The array is not written: a step only writes to its result, and only this instruction has
    // this one.
    value.data = {Home::Kind::Moving, 0, const_cast<unsigned char*>(flat.data),
                  field.reader->layout().elementBytes()};
    if (flat.presence != nullptr)
        value.validity = {Home::Kind::Moving, 0, const_cast<unsigned char*>(flat.presence), 1};
    ++plan.figures.fieldsInPlace;
    return true;
}

/// Lets the register lie in the field's array in those blocks whose elements are adjacent there,
/// such as blocks inside a row of a shifted grid. Other blocks are copied.
bool StepBinder::locateField(BoundStep step, const Instruction& instruction, FieldSource& field) {
    const ArrayLayout& layout = field.reader->layout();
    const bool isKept =
        field.array.kind == arrayKind(step.resultKind) ||
        (field.array.kind == ArrayKind::Bool && step.resultKind == CpuElementKind::Tribool);
    if (!plan.options.inPlace || flow.of(instruction.result).isRewritten || !isKept ||
        !layout.hasAdjacentComponents() || layout.hasPresenceBits() ||
        meetsOutput(field, instruction.result))
        return false;
    Value& result = values[step.result];
    step.canBeMissing = canBeMissing(layout);
    step.scratch = addPlace(result.bytes);
    // Reading the array needs room for validity, even if it changes none.
    values[step.scratch].validity = {Home::Kind::Scratch, takeScratch(1), nullptr, 0};
    result.data = {Home::Kind::Varying, 0, nullptr, 0};
    if (step.canBeMissing)
        result.validity = {Home::Kind::Varying, 0, nullptr, 0};
    step.work.located = field.reader.get();
    emit(step, &Steps::locateArray);
    ++plan.figures.fieldsInPlace;
    return true;
}

/// Reads an array at computed numbers without a copy of the numbers, if that is possible.
bool StepBinder::gatherField(BoundStep step, const Instruction& instruction, FieldSource& field) {
    if (flow.of(instruction.result).isRewritten || step.operandKind != CpuElementKind::Int64 ||
        !field.reader->canGather(step.resultKind, step.multiplicity))
        return false;
    values[step.result].validity = {Home::Kind::Scratch, takeScratch(1), nullptr, 0};
    placeResult(step);
    step.work.located = field.reader.get();
    emit(step, &Steps::gather);
    return true;
}

void StepBinder::bindField(BoundStep step, const Instruction& instruction) {
    FieldSource& field = plan.fields[static_cast<std::size_t>(instruction.immediate)];
    const bool ownNumbers = flow.readsOwnNumbers(instruction);
    const bool isArray = field.accessor == nullptr;
    Value& result = values[step.result];
    if (isArray && ownNumbers && lendField(instruction, field))
        return;
    if (isArray && ownNumbers && locateField(step, instruction, field))
        return;
    if (isArray && !ownNumbers && gatherField(step, instruction, field))
        return;
    step.work.field = isArray ? field.reader.get() : field.accessor;
    if (!flow.of(instruction.result).isRewritten)
        result.data = {Home::Kind::Scratch, takeScratch(result.bytes), nullptr, 0};
    if (isArray && ownNumbers && !canBeMissing(field.reader->layout()) &&
        result.validity.kind == Home::Kind::Nowhere) {
        // Reading the array then changes no validity, but still needs room for it.
        discarded = discarded == noPlace ? addPlace(1) : discarded;
        step.scratch = discarded;
        emit(step, &Steps::arrayAtOwnNumbers);
        return;
    }
    ownValidity(step);
    if (isArray && ownNumbers) {
        emit(step, &Steps::arrayAtOwnNumbers);
    } else if (ownNumbers) {
        emit(step, &Steps::fieldAtOwnNumbers);
    } else {
        if (step.operandKind != CpuElementKind::Int64 || step.operands[0] == step.result ||
            liesInArray(step.operands[0]))
            step.scratch = addPlace(8);
        emit(step, &Steps::fieldByNumber);
    }
}

/// Divides integers in one loop, with their validity, if that is possible. All places hold whole
/// blocks, so the loop may read dividends whose divisor is zero.
bool StepBinder::bindDivision(BoundStep step, const Instruction& instruction) {
    const auto fits = [this](std::int32_t number) {
        return flow.of(number).kind == CpuElementKind::Int32 && flow.of(number).multiplicity == 1;
    };
    step.work.flatDivision = Fenlet::flatDivision();
    if (step.work.flatDivision == nullptr || !fits(instruction.operands[0]) ||
        !fits(instruction.operands[1]) || !fits(instruction.result) ||
        flow.of(instruction.result).isRewritten)
        return false;
    values[step.result].validity = {Home::Kind::Scratch, takeScratch(1), nullptr, 0};
    placeResult(step);
    emit(step, &Steps::flatDivision);
    return true;
}

void StepBinder::bindArithmetic(BoundStep step, const Instruction& instruction) {
    const RegisterFlow& left = flow.of(instruction.operands[0]);
    const RegisterFlow& right = flow.of(instruction.operands[1]);
    const ArithmeticOp op = arithmeticOp(instruction.op);
    step.leftScalar = left.multiplicity == 1 && right.multiplicity != 1;
    step.rightScalar = right.multiplicity == 1 && left.multiplicity != 1;
    step.immediate = static_cast<std::int32_t>(op);
    // A divisor of zero makes an element missing.
    if (op == ArithmeticOp::Divide && step.resultKind == CpuElementKind::Int32) {
        if (bindDivision(step, instruction))
            return;
        ownValidity(step);
    } else
        shareValidity(step);
    placeResult(step);
    const bool isFlat = !step.leftScalar && !step.rightScalar;
    step.work.flat =
        isFlat ? Fenlet::flatArithmetic(op, step.resultKind, left.kind, right.kind) : nullptr;
    if (step.work.flat != nullptr && !flow.of(instruction.result).isRewritten)
        return joinsStepBefore(step, instruction) ? emit(step, &Steps::arithmeticPair)
                                                  : emit(step, &Steps::flatArithmetic);
    step.work.arithmetic = arithmeticKernel(step.resultKind, left.kind, right.kind);
    emit(step, &Steps::arithmetic);
}

/// If the step before this one computes an operand that nothing else reads, and a loop does both,
/// takes that step out of the list and makes this one do its work. Nothing lies between the two, so
/// the operands of the first are still what they were.
bool StepBinder::joinsStepBefore(BoundStep& step, const Instruction& instruction) {
    if (plan.steps.empty() || step.operands[0] == step.operands[1])
        return false;
    const BoundStep first = plan.steps.back();
    const bool isLeft = step.operands[0] == first.result;
    const RegisterFlow& inner = flow.of(instruction.operands[isLeft ? 0 : 1]);
    const auto number = static_cast<std::int32_t>(first.result) - 1;
    if (first.run != &Steps::flatArithmetic || (!isLeft && step.operands[1] != first.result) ||
        inner.lastRead != step.instruction || isOutput(number) ||
        first.multiplicity != step.multiplicity)
        return false;
    const auto isOfKind = [&](std::uint32_t place) {
        return flow.of(static_cast<std::int32_t>(place) - 1).kind == step.resultKind;
    };
    const std::uint32_t outer = step.operands[isLeft ? 1 : 0];
    const PairLoop loop = pairLoop(step.resultKind, static_cast<ArithmeticOp>(first.immediate),
                                   static_cast<ArithmeticOp>(step.immediate),
                                   isLeft ? PairSide::Left : PairSide::Right);
    if (loop == nullptr || !isOfKind(first.result) || !isOfKind(first.operands[0]) ||
        !isOfKind(first.operands[1]) || !isOfKind(outer))
        return false;
    plan.steps.pop_back();
    step.operands[0] = first.operands[0];
    step.operands[1] = first.operands[1];
    step.operands[2] = outer;
    step.work.pair = loop;
    ++plan.figures.joinedSteps;
    return true;
}

void StepBinder::bindComparison(BoundStep step, const Instruction& instruction) {
    const RegisterFlow& left = flow.of(instruction.operands[0]);
    const RegisterFlow& right = flow.of(instruction.operands[1]);
    step.rightScalar = right.multiplicity == 1 && left.multiplicity != 1;
    step.immediate =
        static_cast<std::int32_t>(instruction.op) - static_cast<std::int32_t>(OpCode::Less);
    // The evaluator combines the operands' validity first. That matters if the result is an
    // operand.
    if (flow.of(instruction.result).isRewritten)
        ownValidity(step);
    placeResult(step);
    const bool isAlwaysKnown = values[step.operands[0]].validity.kind == Home::Kind::Nowhere &&
                               values[step.operands[1]].validity.kind == Home::Kind::Nowhere;
    // All places hold whole blocks, so one loop may read lanes that are missing. The result is not
    // an operand: those have numbers.
    const bool goesLaneByLane = left.multiplicity == right.multiplicity &&
                                left.multiplicity == step.multiplicity &&
                                (step.multiplicity == 1 || isAlwaysKnown);
    step.work.flatComparison =
        goesLaneByLane ? Fenlet::flatComparison(static_cast<std::uint32_t>(step.immediate),
                                                left.kind, right.kind)
                       : nullptr;
    if (step.work.flatComparison != nullptr) {
        emit(step, &Steps::flatComparison);
    } else {
        step.work.comparison = comparisonKernel(left.kind, right.kind);
        emit(step, &Steps::comparison);
    }
    noValidity(step);
}

void StepBinder::bindLogic(BoundStep step, const Instruction& instruction) {
    if (instruction.op == OpCode::IsTrue) {
        if (flow.of(instruction.result).isRewritten)
            ownValidity(step);
        placeResult(step);
        discarded = discarded == noPlace ? addPlace(1) : discarded;
        step.scratch = discarded;
        emit(step, &Steps::isTrue);
        noValidity(step);
        return;
    }
    shareValidity(step);
    placeResult(step);
    step.work.logic = instruction.op == OpCode::Not   ? &logicalNot
                      : instruction.op == OpCode::And ? &logicalAnd
                                                      : &logicalOr;
    emit(step, &Steps::logic);
}

void StepBinder::bindSelect(BoundStep step, const Instruction& instruction) {
    const bool isRewritten = flow.of(instruction.result).isRewritten;
    const bool isAlwaysValid = !facts.of(instruction.operands[0]).canBeUnknown &&
                               values[step.operands[1]].validity.kind == Home::Kind::Nowhere &&
                               values[step.operands[2]].validity.kind == Home::Kind::Nowhere;
    const auto isLikeResult = [&](std::int32_t number) {
        return flow.of(number).kind == step.resultKind &&
               flow.of(number).multiplicity == step.multiplicity;
    };
    // All places hold whole blocks, so a loop may read both arms.
    const bool areArmsFlat = !isRewritten && isLikeResult(instruction.operands[1]) &&
                             isLikeResult(instruction.operands[2]);
    if (areArmsFlat && isAlwaysValid && step.operandMultiplicity == step.multiplicity) {
        placeResult(step);
        if (joinsComparisonBefore(step, instruction))
            return emit(step, &Steps::comparedSelect);
        step.work.knownSelect = Fenlet::knownSelect(elementSize(step.resultKind));
        return emit(step, &Steps::knownSelect);
    }
    if (isRewritten) {
        ownValidity(step);
    } else if (isAlwaysValid) {
        discarded = discarded == noPlace ? addPlace(1) : discarded;
        step.scratch = discarded;
    } else {
        values[step.result].validity = {Home::Kind::Scratch, takeScratch(1), nullptr, 0};
    }
    placeResult(step);
    step.work.flatSelect = areArmsFlat && step.operandMultiplicity == 1
                               ? Fenlet::flatSelect(step.resultKind, step.multiplicity)
                               : nullptr;
    if (step.work.flatSelect != nullptr)
        return emit(step, &Steps::flatSelect);
    step.work.select = selectKernel(step.resultKind, flow.of(instruction.operands[1]).kind,
                                    flow.of(instruction.operands[2]).kind);
    emit(step, &Steps::select);
}

/// If the step before this one computes the condition, nothing else reads it, and a loop does both,
/// takes that step out of the list and makes this one do its work.
bool StepBinder::joinsComparisonBefore(BoundStep& step, const Instruction& instruction) {
    if (plan.steps.empty())
        return false;
    const BoundStep first = plan.steps.back();
    if (first.run != &Steps::flatComparison || first.result != step.operands[0] ||
        flow.of(instruction.operands[0]).lastRead != step.instruction ||
        isOutput(instruction.operands[0]))
        return false;
    for (const std::uint32_t side : {first.operands[0], first.operands[1]})
        if (flow.of(static_cast<std::int32_t>(side) - 1).kind != step.resultKind ||
            values[side].validity.kind != Home::Kind::Nowhere)
            return false;
    const ComparedSelect loop =
        Fenlet::comparedSelect(step.resultKind, static_cast<std::uint32_t>(first.immediate));
    if (loop == nullptr)
        return false;
    plan.steps.pop_back();
    step.operands[0] = first.operands[0];
    step.scratch = first.operands[1];
    step.work.comparedSelect = loop;
    ++plan.figures.joinedSteps;
    return true;
}

bool StepBinder::settleOutputs() {
    // What an output needs follows from the program as the user wrote it, however much of it is
    // simplified.
    RegisterFacts asWritten(plan.program, plan.flow, plan.fields);
    if (plan.simplification)
        asWritten.learnAll();
    const RegisterFacts& known = plan.simplification ? asWritten : facts;
    for (OutputTarget& output : plan.targets) {
        const RegisterFlow& about = flow.of(output.number);
        const bool canBeMissing = known.of(output.number).canBeMissing;
        const bool canBeUnknown = about.kind == CpuElementKind::Tribool &&
                                  (about.isRewritten || !known.of(output.number).isTruth());
        OutputRules rules = output.rules;
        if (!canBeUnknown && rules.unknown == UnknownAs::Refuse)
            rules.unknown = UnknownAs::False;
        const std::string fault =
            ArrayStore::faultOf(output.array, about.kind, about.multiplicity, canBeMissing, rules);
        if (!fault.empty())
            return plan.refuse("the output " + quoted(output.name) + ": " + fault);
        output.store.emplace(output.array, about.kind, about.multiplicity, canBeMissing, rules);
    }
    return true;
}

void StepBinder::settleMemory() {
    std::int32_t size = plan.options.blockSize;
    if (size <= 0)
        for (size = usualBlock;
             size > smallestBlock && (scratchBytes - constantBytes) * size > roomForScratch;
             size /= 2) {
        }
    plan.blockSize = static_cast<std::int32_t>(
        std::clamp<std::int64_t>(std::min<std::int64_t>(size, plan.elements), 1, 65536));
    const std::int64_t capacity = (plan.blockSize + lineElements - 1) / lineElements * lineElements;
    plan.scratchBytes = scratchBytes * capacity;
    plan.figures.scratchBytes = plan.scratchBytes;
    plan.homes.assign(values.size(), {});
    for (std::size_t place = 0; place < values.size(); ++place) {
        const Value& value = values[place];
        if (value.data.kind == Home::Kind::Scratch)
            plan.homes[place].dataOffset = value.data.offset * capacity;
        if (value.validity.kind == Home::Kind::Scratch)
            plan.homes[place].validityOffset = value.validity.offset * capacity;
        const bool movesData = value.data.kind == Home::Kind::Moving;
        const bool movesValidity = value.validity.kind == Home::Kind::Moving;
        if (movesData || movesValidity)
            plan.moving.push_back({static_cast<std::uint32_t>(place),
                                   movesData ? value.data.start : nullptr, value.data.bytes,
                                   movesValidity ? value.validity.start : nullptr});
    }
}

bool ArrayPlan::prepare(const ArrayInput* inputs, std::size_t inputCount,
                        const ArrayOutput* outputs, std::size_t outputCount) {
    ++planNumber;
    isPrepared = false;
    const bool isBound = bindAll(inputs, inputCount, outputs, outputCount);
    if (isBound)
        setUp(own);
    isPrepared = isBound;
    return isPrepared;
}

bool ArrayPlan::bindAll(const ArrayInput* inputs, std::size_t inputCount,
                        const ArrayOutput* outputs, std::size_t outputCount) {
    if (!flow.error.empty())
        return refuse(flow.error, flow.refusal);
    own.error.clear();
    own.refusal = ExecRefusal::None;
    fields.clear();
    fields.resize(program.fields.size());
    isUniformBound.assign(program.uniforms.size(), false);
    samplers.assign(program.samplers.size(), nullptr);
    targets.clear();
    for (std::size_t i = 0; i < inputCount; ++i)
        if (!bindInput(inputs[i]))
            return false;
    for (std::size_t i = 0; i < outputCount; ++i)
        if (!bindOutput(outputs[i]))
            return false;
    if (!isEverythingBound() || !fieldsFit() || !uniformsFit() || !settleShape() || !memoryFits())
        return false;
    if (options.simplify)
        simplify();
    return StepBinder(*this).bind();
}

} // namespace Fenlet
