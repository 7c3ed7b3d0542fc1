// Binds inputs and outputs by name, and checks what is bound.
#include "array_plan.h"
#include "words.h"

#include <algorithm>

namespace Fenlet {
namespace {

/// The position of a name in a pool, -1 if no entry has it. An entry without a name is found by its
/// number after `mark`.
template <class Entry>
std::int32_t findName(const std::vector<Entry>& pool, std::string_view name, char mark) {
    for (std::size_t i = 0; i < pool.size(); ++i) {
        const auto number = static_cast<std::int32_t>(i);
        if (pool[i].name.empty() ? name == nameOf({}, mark, number) : pool[i].name == name)
            return number;
    }
    return -1;
}

template <class Entry>
std::string listNames(const std::vector<Entry>& pool, const char* what, char mark) {
    std::string text;
    for (std::size_t i = 0; i < pool.size() && i < 10; ++i)
        text += (i == 0 ? std::string(what) + " " : std::string(", ")) +
                quoted(nameOf(pool[i].name, mark, static_cast<std::int32_t>(i)));
    return text + (pool.size() > 10 ? ", ..." : "");
}

std::string inWords(std::int32_t components) {
    return std::to_string(components) + (components == 1 ? " component" : " components");
}

std::string shapeInWords(const std::int64_t* sizes, std::int32_t axisCount) {
    std::string text = "(";
    for (std::int32_t axis = 0; axis < axisCount; ++axis)
        text += (axis == 0 ? "" : ", ") + std::to_string(sizes[axis]);
    return text + (axisCount == 1 ? ",)" : ")");
}

} // namespace

bool ArrayPlan::bindField(const ArrayInput& input, std::int32_t number) {
    FieldSource& field = fields[static_cast<std::size_t>(number)];
    const auto words = [&] { return "the field " + quoted(input.name); };
    if (field.isBound)
        return refuse(words() + " is bound twice; leave one of the two out");
    field.name = input.name;
    field.isBound = true;
    field.accessor = input.field;
    field.array = input.array;
    if (field.accessor != nullptr)
        return true;
    if (const std::string fault = faultOfView(input.array); !fault.empty())
        return refuse(words() + ": " + fault);
    field.reader = std::make_unique<ArrayField>(input.array);
    field.memory = memoryOf(field.reader->layout());
    return true;
}

bool ArrayPlan::bindInput(const ArrayInput& input) {
    using Sort = ArrayInput::Sort;
    const std::int32_t field = findName(program.fields, input.name, poolMark);
    const std::int32_t uniform = findName(program.uniforms, input.name, poolMark);
    const std::int32_t sampler = findName(program.samplers, input.name, poolMark);
    if ((input.sort == Sort::Array || input.sort == Sort::Field) && field >= 0)
        return bindField(input, field);
    if (input.sort == Sort::Value && uniform >= 0) {
        const auto place = static_cast<std::size_t>(uniform);
        if (isUniformBound[place])
            return refuse("the uniform " + quoted(input.name) +
                          " is bound twice; leave one of the two out");
        isUniformBound[place] = true;
        uniforms.set(uniform, input.value);
        return true;
    }
    if (input.sort == Sort::Sampler && sampler >= 0) {
        FenletSampler*& bound = samplers[static_cast<std::size_t>(sampler)];
        if (bound != nullptr)
            return refuse("the sampler " + quoted(input.name) +
                          " is bound twice; leave one of the two out");
        bound = input.sampler;
        return true;
    }
    if (field >= 0)
        return refuse(quoted(input.name) + " is a field; bind an array or an accessor to it");
    if (uniform >= 0)
        return refuse(quoted(input.name) + " is a uniform; bind a value to it");
    if (sampler >= 0)
        return refuse(quoted(input.name) + " is a sampler; bind a sampler to it");
    std::string known;
    for (const std::string& names : {listNames(program.fields, "the fields", poolMark),
                                     listNames(program.uniforms, "the uniforms", poolMark),
                                     listNames(program.samplers, "the samplers", poolMark)})
        if (!names.empty())
            known += (known.empty() ? "; it has " : ", and ") + names;
    return refuse("the program has no input " + quoted(input.name) +
                  (known.empty() ? "; it has no inputs" : known));
}

bool ArrayPlan::bindOutput(const ArrayOutput& output) {
    const std::int32_t number = findName(program.registers, output.name, registerMark);
    if (number < 0) {
        std::string known;
        for (const RegisterInfo& info : program.registers)
            if (info.output && !info.name.empty())
                known += (known.empty() ? "; its outputs are " : ", ") + quoted(info.name);
        return refuse("the program has no register " + quoted(output.name) + known);
    }
    if (flow.of(number).writer < 0)
        return refuse("no instruction writes the output " + quoted(output.name) +
                      "; bind an array to a register that one writes");
    for (const OutputTarget& other : targets)
        if (other.name == output.name)
            return refuse("the output " + quoted(output.name) +
                          " is bound twice; leave one of the two out");
    if (const std::string fault = faultOfView(output.array); !fault.empty())
        return refuse("the output " + quoted(output.name) + ": " + fault);
    targets.emplace_back(output).number = number;
    return true;
}

bool ArrayPlan::isEverythingBound() {
    for (const Instruction& instruction : program.instructions) {
        const auto number = static_cast<std::size_t>(instruction.immediate);
        const auto wordsOf = [&](const char* what, const std::string& name) {
            return std::string("the ") + what + " " +
                   quoted(nameOf(name, poolMark, instruction.immediate));
        };
        if (instruction.op == OpCode::LoadField && !fields[number].isBound)
            return refuse(wordsOf("field", program.fields[number].name) +
                              " has no array; bind one to this name",
                          ExecRefusal::UnboundField);
        if (instruction.op == OpCode::LoadUniform && !isUniformBound[number])
            return refuse(wordsOf("uniform", program.uniforms[number].name) +
                              " has no value; bind one to this name",
                          ExecRefusal::UnboundUniform);
        if (instruction.op == OpCode::Sample && samplers[number] == nullptr)
            return refuse(wordsOf("sampler", program.samplers[number].name) +
                              " has no provider; bind one to this name",
                          ExecRefusal::UnboundSampler);
    }
    if (targets.empty())
        return refuse("no output is bound; bind an array to at least one");
    return true;
}

bool ArrayPlan::fieldsFit() {
    for (std::int32_t i = 0; i < program.instructionCount(); ++i) {
        const Instruction& instruction = program.instructions[static_cast<std::size_t>(i)];
        if (instruction.op != OpCode::LoadField)
            continue;
        FieldSource& field = fields[static_cast<std::size_t>(instruction.immediate)];
        if (field.accessor != nullptr)
            continue;
        const ProgramFlow::RegisterFlow& result = flow.of(instruction.result);
        const auto words = [&] { return "the field " + quoted(field.name); };
        const bool holdsTruth = registerKind(field.array.kind) == CpuElementKind::Tribool;
        if (holdsTruth != (result.kind == CpuElementKind::Tribool))
            return refuse(words() + " holds " + arrayKindName(field.array.kind) + ", and " +
                              instructionInWords(program, i) + " reads it as " +
                              cpuElementKindName(result.kind) +
                              "; truth values and numbers do not mix",
                          ExecRefusal::ProviderFailed);
        if (field.array.components != result.multiplicity)
            return refuse(words() + " has " + inWords(field.array.components) +
                              " for each element, and " + instructionInWords(program, i) +
                              " reads " + std::to_string(result.multiplicity),
                          ExecRefusal::ProviderFailed);
        if (!flow.readsOwnNumbers(instruction))
            field.isReadByNumber = true;
    }
    return true;
}

bool ArrayPlan::uniformsFit() {
    for (std::int32_t i = 0; i < program.instructionCount(); ++i) {
        const Instruction& instruction = program.instructions[static_cast<std::size_t>(i)];
        if (instruction.op != OpCode::LoadUniform)
            continue;
        const ProgramFlow::RegisterFlow& result = flow.of(instruction.result);
        BlockScratch value;
        if (!uniforms.fetch(instruction.immediate, result.kind, result.multiplicity, value.bytes))
            return refuse(
                "the value of the uniform " +
                    quoted(nameOf(
                        program.uniforms[static_cast<std::size_t>(instruction.immediate)].name,
                        poolMark, instruction.immediate)) +
                    " does not fit " + instructionInWords(program, i) + ", which reads " +
                    inWords(result.multiplicity) + " of " + cpuElementKindName(result.kind),
                ExecRefusal::ProviderFailed);
    }
    return true;
}

bool ArrayPlan::takeShape(const ArrayView& array, const char* sort, std::string_view name) {
    const std::int32_t axisCount = array.axisCount;
    const std::int64_t count = array.count();
    std::int64_t sizes[mostAxes] = {};
    for (std::int32_t axis = 0; axis < axisCount; ++axis)
        sizes[axis] = array.axes[axis].size;
    const bool isFirst = shapeAxes < 0;
    const bool isFlat = axisCount == 1 && !isFirst && count == elements;
    const bool wasFlat = shapeAxes == 1 && count == elements;
    const bool isAlike = axisCount == shapeAxes && std::equal(sizes, sizes + axisCount, shape);
    if (!isFirst && !isFlat && !wasFlat && !isAlike)
        return refuse(sort + quoted(name) + " has the shape " + shapeInWords(sizes, axisCount) +
                      ", and " + shapeFromSort + quoted(shapeFromName) + " has " +
                      shapeInWords(shape, shapeAxes) + "; all arrays of a run need the same shape");
    if (isFirst || (wasFlat && axisCount > 1)) {
        std::copy(sizes, sizes + mostAxes, shape);
        shapeAxes = axisCount;
        shapeFromSort = sort;
        shapeFromName = name;
        elements = count;
    }
    return true;
}

bool ArrayPlan::settleShape() {
    shapeAxes = -1;
    elements = 0;
    for (const Instruction& instruction : program.instructions) {
        if (instruction.op != OpCode::LoadField || !flow.readsOwnNumbers(instruction))
            continue;
        const FieldSource& field = fields[static_cast<std::size_t>(instruction.immediate)];
        if (field.accessor == nullptr && !takeShape(field.array, "the field ", field.name))
            return false;
    }
    for (const OutputTarget& output : targets)
        if (!takeShape(output.array, "the output ", output.name))
            return false;
    return true;
}

bool ArrayPlan::readAndWriteFit(const FieldSource& field, const OutputTarget& output) {
    const ArrayMemory& read = field.memory;
    const ArrayMemory& written = output.memory;
    const ArrayLayout& fieldLayout = field.reader->layout();
    const auto words = [&] {
        return "the output " + quoted(output.name) + " overlaps the field " + quoted(field.name);
    };
    const bool valuesMeet = !areDisjoint(read.values, written.values);
    const bool presenceMeets = !areDisjoint(read.presence, written.presence);
    if (!areDisjoint(read.values, written.presence) || !areDisjoint(read.presence, written.values))
        return refuse(words() +
                      ", where values of one are presence of the other; give it other memory");
    if ((valuesMeet && !haveSameValues(fieldLayout, output.layout)) ||
        (presenceMeets && !haveSamePresence(fieldLayout, output.layout)))
        return refuse(words() + " and is laid out differently; give it other memory, or exactly "
                                "the view of the field");
    if ((valuesMeet || presenceMeets) && field.isReadByNumber)
        return refuse(words() + ", which is also read by element number; give it other memory");
    return true;
}

bool ArrayPlan::memoryFits() {
    for (std::size_t i = 0; i < targets.size(); ++i) {
        const ArrayMemory& one = targets[i].memory;
        for (std::size_t k = 0; k < i; ++k) {
            const ArrayMemory& other = targets[k].memory;
            if (!areDisjoint(one.values, other.values) ||
                !areDisjoint(one.values, other.presence) ||
                !areDisjoint(one.presence, other.values) ||
                !areDisjoint(one.presence, other.presence))
                return refuse("the outputs " + quoted(targets[k].name) + " and " +
                              quoted(targets[i].name) +
                              " share memory; give each different memory");
        }
        for (const FieldSource& field : fields)
            if (field.isBound && field.accessor == nullptr && !readAndWriteFit(field, targets[i]))
                return false;
    }
    return true;
}

/// Simplifies the program for these outputs, unless it was simplified for the same ones before.
void ArrayPlan::simplify() {
    std::vector<std::int32_t> outputs;
    for (const OutputTarget& output : targets)
        outputs.push_back(output.number);
    std::sort(outputs.begin(), outputs.end());
    if (!simplification || simplification->outputs != outputs)
        simplification = std::make_unique<Simplification>(program, flow, outputs);
}

} // namespace Fenlet
