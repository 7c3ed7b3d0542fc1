// Writes the new program: decides where operations work on one component, applies the rules, and
// joins instructions that compute the same.
#include "rewriter.h"

#include <cstring>

namespace Fenlet {
namespace {

/// More rules than this never follow each other for one instruction.
constexpr int mostRulesInARow = 8;

std::size_t mixed(std::size_t hash, std::uint64_t value) {
    return static_cast<std::size_t>((hash ^ value) * 0x9E3779B97F4A7C15u) ^ (hash >> 29);
}

template <class Value>
bool sameBytes(const std::vector<Value>& a, const std::vector<Value>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(Value)) == 0);
}

bool areSame(const Constant& a, const Constant& b) {
    return a.multiplicity == b.multiplicity && a.boolean == b.boolean &&
           sameBytes(a.integers, b.integers) && sameBytes(a.reals, b.reals);
}

std::uint64_t bitsOf(const Constant& constant) {
    std::uint64_t bits = constant.boolean;
    if (!constant.integers.empty())
        std::memcpy(&bits, constant.integers.data(), sizeof bits);
    else if (!constant.reals.empty())
        std::memcpy(&bits, constant.reals.data(), sizeof bits);
    return bits;
}

} // namespace

Rewriter::Rewriter(const FenletProgram& newGiven, const ProgramFlow& newFlow,
                   const std::vector<std::int32_t>& outputs)
    : given(newGiven), flow(newFlow), registers(newGiven.registers.size()) {
    std::size_t size = 16;
    while (size < 8 * given.instructions.size())
        size *= 2;
    earlier.assign(size, -1);
    for (std::size_t number = 0; number < registers.size(); ++number) {
        const ProgramFlow::RegisterFlow& about = flow.registers[number];
        registers[number].kind = about.kind;
        registers[number].isStable = about.writer >= 0 && !about.isRewritten;
    }
    simplified.program = given;
    simplified.program.instructions.clear();
    simplified.program.instructions.reserve(given.instructions.size());
    simplified.origins.reserve(given.instructions.size());
    for (RegisterInfo& info : simplified.program.registers)
        info.output = false;
    for (const std::int32_t number : outputs) {
        stateOf(number).isWanted = true;
        simplified.program.registers[place(number)].output = true;
    }
    countReads();
    findOnlyComponents();
}

const Instruction* Rewriter::writerOf(std::int32_t number) const {
    const RegisterState& about = registers[place(number)];
    return about.isStable && about.writer >= 0
               ? &simplified.program.instructions[place(about.writer)]
               : nullptr;
}

const Constant* Rewriter::constantIn(std::int32_t number) const {
    const Instruction* const writer = writerOf(number);
    if (writer == nullptr || writer->op != OpCode::LoadConstant)
        return nullptr;
    const Constant& constant = simplified.program.constants[place(writer->immediate)];
    // The register would hold zeros besides, or only the first components.
    return constant.multiplicity == widthOf(number) ? &constant : nullptr;
}

/// Counts how often each register is read, and finds out what is known of the given program.
void Rewriter::countReads() {
    for (std::int32_t i = 0; i < given.instructionCount(); ++i) {
        const Instruction& instruction = given.instructions[place(i)];
        if (!flow.isNeeded[place(i)])
            continue;
        forEachOperand(instruction,
                       [&](std::int32_t, std::int32_t number) { ++stateOf(number).reads; });
        learnFacts(given, instruction);
    }
}

void Rewriter::learnFacts(const FenletProgram& program, const Instruction& instruction) {
    RegisterState& result = stateOf(instruction.result);
    if (!result.isStable)
        return;
    KnownOperand operands[3];
    forEachOperand(instruction, [&](std::int32_t slot, std::int32_t number) {
        operands[slot] = {stateOf(number).kind, stateOf(number).facts};
    });
    result.facts = factsOfResult(instruction.op, result.kind, operands,
                                 instruction.op == OpCode::LoadConstant
                                     ? &program.constants[place(instruction.immediate)]
                                     : nullptr);
}

/// Whether an operation of several components computes each of them separately, gives the same bits
/// when it computes only one, and does less work then.
bool Rewriter::worksByComponent(const Instruction& instruction) const {
    const RegisterState& result = registers[place(instruction.result)];
    const std::int32_t width = widthOf(instruction.result);
    if (!result.isStable || result.isWanted || width == 1)
        return false;
    bool isSeparate = isComparison(instruction.op);
    switch (instruction.op) {
    case OpCode::Negate:
    case OpCode::Not:
    case OpCode::IsTrue:
    case OpCode::And:
    case OpCode::Or:
    case OpCode::Add:
    case OpCode::Subtract:
    case OpCode::Multiply:
        isSeparate = true;
        break;
    case OpCode::Divide: // a zero divisor in any component makes the element missing
        isSeparate = result.kind != CpuElementKind::Int32;
        break;
    case OpCode::Select: // several conditions decide about the presence of one element
        isSeparate = widthOf(instruction.operands[0]) == 1;
        break;
    default:
        break;
    }
    // Taking a component is a step over all elements, too, and taking two is no gain. Components of
    // constants are constants.
    std::int32_t taken = 0;
    forEachOperand(instruction, [&](std::int32_t slot, std::int32_t number) {
        const Instruction& writer = given.instructions[place(flow.of(number).writer)];
        const bool isAgain = slot > 0 && number == instruction.operands[slot - 1];
        taken += widthOf(number) > 1 && writer.op != OpCode::LoadConstant && !isAgain ? 1 : 0;
    });
    return isSeparate && taken <= 1;
}

void Rewriter::readComponents(const Instruction& instruction) {
    const auto read = [this](std::int32_t number, std::int32_t component) {
        std::int32_t& only = stateOf(number).onlyComponent;
        only = only == unread || only == component ? component : several;
    };
    RegisterState& result = stateOf(instruction.result);
    if (instruction.op == OpCode::Component)
        return read(instruction.operands[0], instruction.immediate);
    const bool isNarrowed = result.onlyComponent >= 0 && worksByComponent(instruction);
    if (!isNarrowed)
        result.onlyComponent = several;
    forEachOperand(instruction, [&](std::int32_t, std::int32_t number) {
        read(number, isNarrowed && widthOf(number) > 1 ? result.onlyComponent : several);
    });
}

/// Finds the operations of which a single component is needed, from the last instruction to the
/// first.
void Rewriter::findOnlyComponents() {
    for (std::int32_t i = given.instructionCount(); i-- > 0;)
        if (flow.isNeeded[place(i)])
            readComponents(given.instructions[place(i)]);
}

void Rewriter::take(std::int32_t number) {
    current = number;
    Instruction instruction = given.instructions[place(number)];
    forEachOperand(instruction, [&](std::int32_t slot, std::int32_t operand) {
        if (const std::int32_t same = stateOf(operand).sameAs; same != noRegister)
            instruction.operands[slot] = same;
    });
    if (instruction.op == OpCode::Component) {
        const std::int32_t narrowed = stateOf(instruction.operands[0]).narrowed;
        if (narrowed != noRegister) {
            instruction.operands[0] = narrowed;
            instruction.immediate = 0;
        }
    }
    const RegisterState& result = stateOf(instruction.result);
    if (!result.isStable)
        emit(instruction);
    else if (instruction.op != OpCode::Component && result.onlyComponent >= 0)
        narrow(instruction);
    else
        write(instruction);
}

/// Adds a register of one component.
std::int32_t Rewriter::addRegister(std::int32_t like) {
    RegisterInfo info;
    info.format = simplified.program.registers[place(like)].format;
    simplified.program.registers.push_back(info);
    RegisterState about;
    about.kind = stateOf(like).kind;
    about.isStable = true;
    about.reads = stateOf(like).reads;
    registers.push_back(about);
    return simplified.program.registerCount() - 1;
}

/// A register with this component of the register `number`.
std::int32_t Rewriter::componentOf(std::int32_t number, std::int32_t component) {
    if (stateOf(number).narrowed != noRegister)
        return stateOf(number).narrowed;
    Instruction extraction;
    extraction.op = OpCode::Component;
    extraction.result = addRegister(number);
    extraction.operands[0] = number;
    extraction.immediate = component;
    write(extraction);
    const std::int32_t same = stateOf(extraction.result).sameAs;
    return same != noRegister ? same : extraction.result;
}

/// Writes an operation for the only component that is needed.
void Rewriter::narrow(Instruction instruction) {
    const std::int32_t wide = instruction.result;
    const std::int32_t component = stateOf(wide).onlyComponent;
    note("component of operation");
    forEachOperand(instruction, [&](std::int32_t slot, std::int32_t number) {
        if (widthOf(number) > 1)
            instruction.operands[slot] = componentOf(number, component);
    });
    instruction.result = addRegister(wide);
    const std::int32_t narrowed = instruction.result;
    write(instruction);
    const std::int32_t same = stateOf(narrowed).sameAs;
    stateOf(wide).narrowed = same != noRegister ? same : narrowed;
}

void Rewriter::write(Instruction instruction) {
    const auto isReplaced = [&] { return stateOf(instruction.result).sameAs != noRegister; };
    for (int i = 0; i < mostRulesInARow && applyRules(instruction); ++i)
        if (isReplaced())
            return;
    if (joinEarlier(instruction)) {
        note("common subexpression");
        if (isReplaced())
            return;
    }
    emit(instruction);
}

bool Rewriter::applyRules(Instruction& instruction) {
    for (int i = 0; i < rewriteRuleCount; ++i)
        if (rewriteRules[i].apply(*this, instruction)) {
            note(rewriteRules[i].name);
            return true;
        }
    return false;
}

bool Rewriter::becomeCopy(Instruction& instruction, std::int32_t source) {
    RegisterState& result = stateOf(instruction.result);
    if (!isStable(source) || result.kind != stateOf(source).kind)
        return false;
    if (!result.isWanted) {
        result.sameAs = source;
        stateOf(source).reads += result.reads;
        return true;
    }
    // The register must be written. Only one component can be copied by a shorter instruction.
    const bool isCopy = instruction.op == OpCode::Component && instruction.operands[0] == source;
    if (widthOf(instruction.result) != 1 || isCopy || opCodeArity(instruction.op) == 0)
        return false;
    Instruction copy;
    copy.op = OpCode::Component;
    copy.result = instruction.result;
    copy.operands[0] = source;
    copy.immediate = 0;
    instruction = copy;
    return true;
}

void Rewriter::becomeConstant(Instruction& instruction, Constant value) {
    Instruction load;
    load.op = OpCode::LoadConstant;
    load.result = instruction.result;
    load.immediate = static_cast<std::int32_t>(simplified.program.constants.size());
    simplified.program.constants.push_back(std::move(value));
    instruction = load;
}

/// Whether the instruction computes the same wherever it has the same operands.
bool Rewriter::isPure(const Instruction& instruction) const {
    if (instruction.op == OpCode::Nop || instruction.op == OpCode::LoadField ||
        instruction.op == OpCode::Sample || instruction.op == OpCode::LoadUniform ||
        !isStable(instruction.result))
        return false;
    bool areStable = true;
    forEachOperand(instruction, [&](std::int32_t, std::int32_t number) {
        areStable = areStable && isStable(number);
    });
    return areStable;
}

/// Finds an earlier instruction that computes the same. If there is none, remembers this one.
bool Rewriter::joinEarlier(Instruction& instruction) {
    if (!isPure(instruction))
        return false;
    const std::vector<Constant>& constants = simplified.program.constants;
    const bool isConstant = instruction.op == OpCode::LoadConstant;
    const bool hasNumber = instruction.op == OpCode::Component;
    const RegisterState& result = stateOf(instruction.result);
    std::size_t hash = mixed(static_cast<std::size_t>(instruction.op),
                             static_cast<std::uint64_t>(result.kind) * 65536u +
                                 static_cast<std::uint64_t>(widthOf(instruction.result)));
    forEachOperand(instruction, [&](std::int32_t, std::int32_t number) {
        hash = mixed(hash, static_cast<std::uint64_t>(number));
    });
    if (hasNumber)
        hash = mixed(hash, static_cast<std::uint64_t>(instruction.immediate));
    if (isConstant)
        hash = mixed(hash, bitsOf(constants[place(instruction.immediate)]));
    const auto isSame = [&](const Instruction& other) {
        const bool isAlike =
            other.op == instruction.op && stateOf(other.result).kind == result.kind &&
            widthOf(other.result) == widthOf(instruction.result) &&
            std::memcmp(other.operands, instruction.operands, sizeof other.operands) == 0;
        if (!isAlike || isConstant)
            return isAlike && areSame(constants[place(other.immediate)],
                                      constants[place(instruction.immediate)]);
        return !hasNumber || other.immediate == instruction.immediate;
    };
    const std::size_t mask = earlier.size() - 1;
    for (std::size_t slot = (hash >> 7) & mask;; slot = (slot + 1) & mask) {
        if (earlier[slot] < 0) {
            earlier[slot] = simplified.program.instructionCount();
            return false;
        }
        const Instruction& other = simplified.program.instructions[place(earlier[slot])];
        if (isSame(other))
            return becomeCopy(instruction, other.result);
    }
}

void Rewriter::emit(const Instruction& instruction) {
    stateOf(instruction.result).writer = simplified.program.instructionCount();
    learnFacts(simplified.program, instruction);
    simplified.program.instructions.push_back(instruction);
    simplified.origins.push_back(current);
}

} // namespace Fenlet
