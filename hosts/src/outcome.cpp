// Describes the outcome of `configure` or `evaluate` in a sentence for a person.
#include <fenlethosts/outcome.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace Fenlet {
namespace {

// -------------------------------------------------------------------------------------------------
// The parts of a sentence

std::string quoted(const std::string& name) {
    return std::string(1, '"').append(name).append(1, '"');
}

std::string counted(long long count, const char* what) {
    return std::to_string(count).append(1, ' ').append(what).append(count == 1 ? "" : "s");
}

/// Values in words, such as: Float32 with 3 components.
std::string valuesInWords(CpuElementKind kind, std::int32_t components) {
    return std::string(cpuElementKindName(kind)) + " with " + counted(components, "component");
}

/// A register in words, such as: %2 "height". The program need not have this register.
std::string registerInWords(const FenletProgram& program, std::int32_t number) {
    std::string words(1, '%');
    words += std::to_string(number);
    if (program.isValidRegister(number) && !program.registerInfo(number).name.empty())
        words.append(1, ' ').append(quoted(program.registerInfo(number).name));
    return words;
}

/// A register and its storage in words, such as: %2 "height" (Float32 with 1 component).
std::string storageInWords(const FenletProgram& program, std::int32_t number, CpuElementKind kind,
                           std::int32_t components) {
    return registerInWords(program, number) + " (" + valuesInWords(kind, components) + ")";
}

/// A step in words, such as: step 2 of 5, %3 (Int64 with 1 component) = Add %1 (...), %2 (...).
std::string stepInWords(const FenletProgram& program, const Interpreter& interpreter,
                        std::size_t number) {
    const Interpreter::Step& step = interpreter.plan()[number];
    std::string words = "step " + std::to_string(number + 1) + " of " +
                        std::to_string(interpreter.plan().size()) + ", ";
    if (step.op != OpCode::Nop)
        words +=
            storageInWords(program, step.result, step.resultKind, step.resultMultiplicity) + " = ";
    words += opCodeName(step.op);
    for (int slot = 0; slot < step.arity && slot < 3; ++slot)
        words += (slot == 0 ? " " : ", ") + storageInWords(program, step.operands[slot],
                                                           step.operandKinds[slot],
                                                           step.operandMultiplicities[slot]);
    return words;
}

/// An instruction in words, such as: instruction 1 of 3, %3 = Add %1, %9.
std::string instructionInWords(const FenletProgram& program, std::int32_t number) {
    const Instruction& instruction = program.instructions[static_cast<std::size_t>(number)];
    std::string words = "instruction " + std::to_string(number + 1) + " of " +
                        std::to_string(program.instructionCount()) + ", ";
    if (instruction.op != OpCode::Nop)
        words += registerInWords(program, instruction.result) + " = ";
    words += opCodeName(instruction.op);
    for (int slot = 0; slot < opCodeArity(instruction.op); ++slot)
        words += (slot == 0 ? " " : ", ") + registerInWords(program, instruction.operands[slot]);
    return words;
}

/// An entry of a pool in words, such as: field "height". An entry without a name is: field 3.
template <class Entry>
std::string entryInWords(const char* sort, const std::vector<Entry>& pool, std::int32_t number) {
    std::string words = sort;
    if (number >= 0 && static_cast<std::size_t>(number) < pool.size() &&
        !pool[static_cast<std::size_t>(number)].name.empty())
        return words + " " + quoted(pool[static_cast<std::size_t>(number)].name);
    return words + " " + std::to_string(number);
}

/// The provider of the step's values, in words; empty for a step that needs no provider.
std::string providerInWords(const FenletProgram& program, const Interpreter::Step& step) {
    switch (step.op) {
    case OpCode::LoadField:
        return entryInWords("field", program.fields, step.immediate);
    case OpCode::LoadUniform:
        return entryInWords("uniform", program.uniforms, step.immediate);
    case OpCode::Sample:
        return entryInWords("sampler", program.samplers, step.immediate);
    default:
        return {};
    }
}

// -------------------------------------------------------------------------------------------------
// Refused by configure

/// Whether the instruction has two operands of different multiplicities, neither of them 1.
bool hasUnequalOperands(const FenletProgram& program, const Instruction& instruction) {
    if (opCodeArity(instruction.op) != 2)
        return false;
    std::int32_t multiplicities[2];
    for (int slot = 0; slot < 2; ++slot) {
        if (!program.isValidRegister(instruction.operands[slot]))
            return false;
        multiplicities[slot] = program.registerInfo(instruction.operands[slot]).multiplicity;
    }
    return multiplicities[0] != multiplicities[1] && multiplicities[0] != 1 &&
           multiplicities[1] != 1;
}

/// The finding that explains why `configure` refused. `configure` goes through the program in
/// several passes and stops at the first fault, so this is the first finding with the code of the
/// refusal. Only `MultiplicityMismatch` can come from two passes: the earlier pass refuses unequal
/// operands, the later pass refuses all other mismatches.
std::optional<Finding> findCulprit(const FenletProgram& program, ExecRefusal refusal) {
    std::vector<Finding> findings = verifyProgram(program);
    const auto fits = [&](const Finding& finding) {
        return finding.severity == FindingClass::Refused &&
               static_cast<std::int32_t>(finding.code) == static_cast<std::int32_t>(refusal);
    };
    const auto isFirstPass = [&](const Finding& finding) {
        return fits(finding) &&
               (finding.instruction < 0 ||
                hasUnequalOperands(
                    program, program.instructions[static_cast<std::size_t>(finding.instruction)]));
    };
    auto found = findings.end();
    if (refusal == ExecRefusal::MultiplicityMismatch)
        found = std::find_if(findings.begin(), findings.end(), isFirstPass);
    if (found == findings.end())
        found = std::find_if(findings.begin(), findings.end(), fits);
    if (found == findings.end())
        return std::nullopt;
    return std::move(*found);
}

std::string refusedProgram(const Interpreter& interpreter, const FenletProgram& program) {
    if (interpreter.lastRefusalMessage() == nullptr)
        return "Nothing can run: the interpreter has no program until it is configured.";
    const std::string words =
        std::string("The program was refused: ") + interpreter.lastRefusalMessage();
    const std::optional<Finding> finding = findCulprit(program, interpreter.lastRefusal());
    if (!finding)
        return words + ".";
    if (finding->instruction < 0)
        return words + ": " + finding->message;
    return words + " at " + instructionInWords(program, finding->instruction) + ": " +
           finding->message;
}

// -------------------------------------------------------------------------------------------------
// Ended by evaluate

/// A block of a run.
struct Block {
    long long number = 0; ///< from 0
    long long of = 0;     ///< blocks of the whole run
    long long first = 0;  ///< the number of its first element
    long long last = 0;
};

long long blockCount(const Interpreter& interpreter, long long count) {
    const int stride = interpreter.registerFile().elementCapacity();
    return stride < 1 || count < 1 ? 0 : (count - 1) / stride + 1;
}

/// Block `number` of the run, if the run has that many blocks. Element numbers wrap around, as in a
/// run.
std::optional<Block> blockAt(const Interpreter& interpreter, const EvaluateCall& call,
                             std::uint64_t number) {
    const long long blocks = blockCount(interpreter, call.count);
    if (number >= static_cast<std::uint64_t>(blocks))
        return std::nullopt;
    const auto stride =
        static_cast<unsigned long long>(interpreter.registerFile().elementCapacity());
    const auto count = static_cast<unsigned long long>(call.count);
    const unsigned long long offset = number * stride;
    const unsigned long long length = std::min(stride, count - offset);
    const unsigned long long first = static_cast<unsigned long long>(call.first) + offset;
    return Block{static_cast<long long>(number), blocks, static_cast<long long>(first),
                 static_cast<long long>(first + length - 1)};
}

/// A block in words, such as: block 2 of 5 (elements 1024 to 2047).
std::string blockInWords(const Block& block) {
    const std::string elements =
        block.first == block.last
            ? "element " + std::to_string(block.first)
            : "elements " + std::to_string(block.first) + " to " + std::to_string(block.last);
    return "block " + std::to_string(block.number + 1) + " of " + std::to_string(block.of) + " (" +
           elements + ")";
}

/// The number of steps that the run has begun. Nothing if the step counter is not consistent with
/// `call`.
std::optional<std::uint64_t> stepsOf(const Interpreter& interpreter, const EvaluateCall& call) {
    if (interpreter.plan().empty() || interpreter.executedSteps() < call.stepsBefore)
        return std::nullopt;
    return interpreter.executedSteps() - call.stepsBefore;
}

/// Says after which block the sink ended the run. Every step of that block and of those before it
/// has run, so the number of steps gives the number of blocks.
std::string endedBySink(const Interpreter& interpreter, const EvaluateCall& call) {
    const std::string words = "The sink ended the run";
    const std::optional<std::uint64_t> steps = stepsOf(interpreter, call);
    const std::size_t stepsOfBlock = interpreter.plan().size();
    if (!steps || *steps == 0 || *steps % stepsOfBlock != 0)
        return words + ".";
    const std::optional<Block> block = blockAt(interpreter, call, *steps / stepsOfBlock - 1);
    return words + (block ? " after " + blockInWords(*block) : "") + ".";
}

/// Whether a step that reads from a provider finds it in `bindings`.
bool isBound(const Interpreter::Step& step, const Bindings& bindings) {
    const auto has = [&step](const auto* providers, std::int32_t count) {
        return providers != nullptr && step.immediate < count &&
               providers[step.immediate] != nullptr;
    };
    switch (step.op) {
    case OpCode::LoadField:
        return has(bindings.fields, bindings.fieldCount);
    case OpCode::LoadUniform:
        return bindings.uniforms != nullptr;
    case OpCode::Sample:
        return has(bindings.samplers, bindings.samplerCount);
    default:
        return true;
    }
}

/// The refusal of a run that has not begun its first block: a provider is missing.
std::string refusedBindings(const Interpreter& interpreter, const FenletProgram& program,
                            const EvaluateCall& call) {
    const std::vector<Interpreter::Step>& plan = interpreter.plan();
    const std::string words = std::string("The run was refused before its first block: ") +
                              interpreter.lastRefusalMessage();
    const auto unbound = std::find_if(
        plan.begin(), plan.end(), [&](const auto& step) { return !isBound(step, call.bindings); });
    if (unbound == plan.end())
        return words + ".";
    return words + ": " + providerInWords(program, *unbound) + " is needed at " +
           stepInWords(program, interpreter, static_cast<std::size_t>(unbound - plan.begin())) +
           ".";
}

/// Says what the provider that declined was asked for.
std::string askedInWords(const FenletProgram& program, const Interpreter::Step& step) {
    std::string words = providerInWords(program, step) + " was asked for " +
                        valuesInWords(step.resultKind, step.resultMultiplicity);
    if (step.op == OpCode::Sample)
        words += ", at coordinates of " +
                 valuesInWords(step.operandKinds[0], step.operandMultiplicities[0]);
    return words;
}

/// The refusal of a step, which is the last step that the run began.
std::string refusedStep(const Interpreter& interpreter, const FenletProgram& program,
                        const EvaluateCall& call) {
    const std::string words =
        std::string("The run was refused: ") + interpreter.lastRefusalMessage();
    const std::optional<std::uint64_t> steps = stepsOf(interpreter, call);
    if (!steps || *steps == 0)
        return words + ".";
    const std::size_t stepsOfBlock = interpreter.plan().size();
    const std::optional<Block> block = blockAt(interpreter, call, (*steps - 1) / stepsOfBlock);
    const auto number = static_cast<std::size_t>((*steps - 1) % stepsOfBlock);
    const Interpreter::Step& step = interpreter.plan()[number];
    const bool hasDeclined = interpreter.lastRefusal() == ExecRefusal::ProviderFailed;
    if (!block || (hasDeclined && providerInWords(program, step).empty()))
        return words + ".";
    return words + (hasDeclined ? ": " + askedInWords(program, step) + "," : std::string()) +
           " at " + stepInWords(program, interpreter, number) + ", in " + blockInWords(*block) +
           ".";
}

bool isAboutBindings(ExecRefusal refusal) {
    return refusal == ExecRefusal::UnboundField || refusal == ExecRefusal::UnboundUniform ||
           refusal == ExecRefusal::UnboundSampler;
}

} // namespace

std::string describeOutcome(const Interpreter& interpreter, const FenletProgram& program) {
    if (!interpreter.isConfigured())
        return refusedProgram(interpreter, program);
    return "The program is planned: " +
           counted(static_cast<long long>(interpreter.plan().size()), "step") + ", " +
           counted(interpreter.registerFile().registerCount(), "register") +
           ", blocks of at most " +
           counted(interpreter.registerFile().elementCapacity(), "element") + ".";
}

std::string describeOutcome(const Interpreter& interpreter, const FenletProgram& program,
                            const EvaluateCall& call) {
    if (call.returned)
        return "The run is complete: " + counted(std::max(call.count, 0LL), "element") + " in " +
               counted(blockCount(interpreter, call.count), "block") + ".";
    if (!interpreter.isConfigured())
        return refusedProgram(interpreter, program);
    if (interpreter.registerFile().elementCapacity() < 1)
        return "Nothing can run: configure ran out of memory and left no room for a block.";
    if (interpreter.lastRefusalMessage() == nullptr)
        return endedBySink(interpreter, call);
    if (isAboutBindings(interpreter.lastRefusal()))
        return refusedBindings(interpreter, program, call);
    return refusedStep(interpreter, program, call);
}

} // namespace Fenlet
