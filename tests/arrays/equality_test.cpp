// Runs random programs over random arrays, once with `ArrayRun` and once with an `Interpreter`,
// `ArrayField` and a copying sink. All bytes must be equal.
#include "../oracle/exact_conversions.h"
#include "../oracle/lane_bits.h"
#include "random_arrays.h"
#include "sound_program.h"

#include <fenletarrays/array_run.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/sinks.h>
#include <fenlethosts/uniform_table.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <map>

namespace Fenlet {
namespace {

/// One program, with arrays and providers for everything that it reads.
class Trial {
  public:
    explicit Trial(std::uint64_t seed) : chance(seed), run(Model::randomCase(seed)) {
        // Most random programs of the model are unsound on purpose, so most trials use a sound one.
        if (!chance.oneIn(4))
            run.program = soundProgram(chance, chance.oneIn(2));
        run.count = chance.oneIn(20) ? 700 + chance.below(3000) : 1 + chance.below(200);
        columns = 1 + chance.below(7);
        run.blockSize = chance.oneIn(4) ? 256 : 1 + chance.below(70);
        bindFields();
        bindUniforms();
        for (std::size_t i = 0; i < run.program.samplers.size(); ++i) {
            samplers.push_back(std::make_unique<ComputedSampler>(seed + i, declineAt()));
            samplerPointers.push_back(samplers.back().get());
        }
    }

    /// Runs both evaluators. Returns the first difference, or an empty text. Counts in `events`
    /// what the trial covered.
    std::string compare(std::map<std::string, int>& events);
    std::string listed() const { return Model::describe(run); }

  private:
    struct Output {
        std::int32_t number;
        std::unique_ptr<RandomArray> array; ///< null if the output lies in a field's array
        MutableArrayView view;
        std::vector<std::vector<unsigned char>> before; ///< each element before the run
    };

    int declineAt() { return chance.oneIn(10) ? chance.below(6) : -1; }
    void bindFields();
    void bindUniforms();
    void drawOutputs();
    std::string compareOutputs(const CollectingSink& expected, std::int64_t complete);

    static std::vector<unsigned char> elementAt(const ArrayLayout& layout, std::int64_t number) {
        std::vector<unsigned char> bytes;
        for (std::int64_t c = 0; c < layout.components(); ++c) {
            const unsigned char* const lane =
                layout.addressOf(number) + c * layout.componentStride();
            bytes.insert(bytes.end(), lane, lane + layout.laneBytes());
        }
        return bytes;
    }
    static std::string at(char mark, std::size_t number) { return mark + std::to_string(number); }

    Chance chance;
    Model::Case run;
    std::int64_t columns = 1;
    std::vector<std::unique_ptr<RandomArray>> arrays;     ///< by field; null for a provider
    std::vector<std::unique_ptr<ComputedField>> computed; ///< by field; null for an array
    std::vector<std::unique_ptr<ArrayField>> arrayFields;
    std::vector<CpuFieldAccessor*> fieldPointers;
    std::vector<std::unique_ptr<ComputedSampler>> samplers;
    std::vector<FenletSampler*> samplerPointers;
    std::vector<Constant> uniformValues;
    UniformTable uniforms;
    std::vector<Output> outputs;
    std::vector<std::string> names;
};

void Trial::bindFields() {
    for (std::size_t number = 0; number < run.program.fields.size(); ++number) {
        const Instruction* load = nullptr;
        for (const Instruction& one : run.program.instructions)
            if (one.op == OpCode::LoadField && one.immediate == static_cast<int>(number) &&
                run.program.isValidRegister(one.result))
                load = load == nullptr ? &one : load;
        arrays.emplace_back();
        computed.emplace_back();
        arrayFields.emplace_back();
        if (load == nullptr || chance.oneIn(5)) {
            computed.back() = std::make_unique<ComputedField>(chance.bits(), declineAt());
            fieldPointers.push_back(computed.back().get());
            continue;
        }
        const RegisterInfo& info = run.program.registerInfo(load->result);
        ArrayWish wish;
        wish.kind = arrayKind(blockElement(info.format));
        if (wish.kind == ArrayKind::Unsupported)
            wish.kind = ArrayKind::Float32;
        if (wish.kind == ArrayKind::Tribool)
            wish.kind = chance.oneIn(2) ? ArrayKind::Bool : ArrayKind::Tribool;
        else if (chance.oneIn(3))
            do
                wish.kind = static_cast<ArrayKind>(1 + chance.below(arrayKindCount - 1));
            while (registerKind(wish.kind) == CpuElementKind::Tribool);
        wish.components = std::clamp(info.multiplicity, 1, 64);
        wish.count = run.count;
        wish.columns = columns;
        arrays.back() = std::make_unique<RandomArray>(chance, wish);
        arrayFields.back() = std::make_unique<ArrayField>(arrays.back()->view);
        fieldPointers.push_back(arrayFields.back().get());
    }
}

void Trial::bindUniforms() {
    for (std::size_t number = 0; number < run.program.uniforms.size(); ++number) {
        const Instruction* load = nullptr;
        for (const Instruction& one : run.program.instructions)
            if (one.op == OpCode::LoadUniform && one.immediate == static_cast<int>(number) &&
                run.program.isValidRegister(one.result))
                load = &one;
        Constant value = Constant::ofReals({0.5});
        if (load != nullptr) {
            const RegisterInfo& info = run.program.registerInfo(load->result);
            const auto components = static_cast<std::size_t>(std::clamp(info.multiplicity, 1, 64));
            if (info.format == RegisterFormat::Tribool && components == 1)
                value = Constant::ofTribool(chance.oneIn(3) ? 255 : 1);
            else if (chance.oneIn(2))
                value = Constant::ofReals(std::vector<double>(components, chance.below(9) - 4.5));
            else
                value = Constant::ofIntegers(
                    std::vector<std::int64_t>(components, chance.below(9) - 4));
        }
        uniforms.set(static_cast<std::int32_t>(number), value);
        uniformValues.push_back(value);
    }
}

void Trial::drawOutputs() {
    std::vector<bool> taken(run.program.fields.size());
    for (std::int32_t number = 0; number < run.program.registerCount(); ++number) {
        const RegisterInfo& info = run.program.registerInfo(number);
        const bool isWritten =
            std::any_of(run.program.instructions.begin(), run.program.instructions.end(),
                        [number](const Instruction& one) {
                            return one.op != OpCode::Nop && one.result == number;
                        });
        // Wide registers take long to fill and to compare, so most of them are left out.
        const bool isTooWide =
            info.multiplicity > 200 || (info.multiplicity > 20 && !chance.oneIn(30));
        const bool hasStorage =
            blockElement(info.format) != CpuElementKind::Unsupported && info.multiplicity >= 1;
        if (!isWritten || !hasStorage || isTooWide || (!chance.oneIn(3) && !outputs.empty()))
            continue;
        Output output{number, nullptr, {}, {}};
        const ArrayKind kind = arrayKind(blockElement(info.format));
        for (std::size_t field = 0; field < arrays.size(); ++field) {
            if (!arrays[field] || taken[field] || output.view.data != nullptr ||
                arrays[field]->view.components != info.multiplicity ||
                componentSize(arrays[field]->view.kind) != componentSize(kind) ||
                arrays[field]->view.axes[0].offset != 0 ||
                arrays[field]->view.axes[0].extent != arrays[field]->view.axes[0].size ||
                arrays[field]->view.axes[0].stride == 0 || !chance.oneIn(3))
                continue;
            taken[field] = true;
            output.view = arrays[field]->view;
            output.view.kind = kind;
        }
        if (output.view.data == nullptr) {
            const ArrayWish wish{kind, info.multiplicity, run.count, columns, false, true};
            output.array = std::make_unique<RandomArray>(chance, wish);
            output.view = output.array->view;
        }
        outputs.push_back(std::move(output));
    }
}

/// Whether two lanes have the same bits. All NaNs are alike: it is open which of two NaNs an
/// operation returns.
bool areAlike(ArrayKind kind, const unsigned char* left, const unsigned char* right) {
    const CpuElementKind number = registerKind(kind);
    return std::memcmp(left, right, static_cast<std::size_t>(componentSize(kind))) == 0 ||
           (arrayKind(number) == kind && Oracle::isNan(number, Oracle::loadBits(number, left)) &&
            Oracle::isNan(number, Oracle::loadBits(number, right)));
}

/// Checks that the elements before `complete` are as expected, and that the other elements have not
/// changed.
std::string Trial::compareOutputs(const CollectingSink& expected, std::int64_t complete) {
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const CollectedRegister& wanted = expected[i];
        const MutableArrayView& view = outputs[i].view;
        const std::int64_t size = componentSize(view.kind);
        const ArrayLayout layout(view);
        for (std::int64_t e = complete; e < view.count(); ++e)
            if (elementAt(layout, e) != outputs[i].before[static_cast<std::size_t>(e)])
                return "register " + std::to_string(outputs[i].number) + ", element " +
                       std::to_string(e) + " was written in a block that is refused";
        for (std::int64_t e = 0; e < complete; ++e) {
            const unsigned char* const element = layout.addressOf(e);
            for (std::int64_t c = 0; c < view.components; ++c)
                if (!areAlike(view.kind, element + c * view.componentStride,
                              wanted.values.data() + (e * view.components + c) * size))
                    return "register " + std::to_string(outputs[i].number) + ", element " +
                           std::to_string(e) + ", component " + std::to_string(c) + " differs";
            if (view.presence.data != nullptr &&
                layout.isPresent(e) != (wanted.validity[static_cast<std::size_t>(e)] != 0))
                return "register " + std::to_string(outputs[i].number) + ", presence of element " +
                       std::to_string(e) + " differs";
        }
    }
    return {};
}

std::string Trial::compare(std::map<std::string, int>& events) {
    Interpreter interpreter;
    const bool isPlanned = interpreter.configure(run.program, run.blockSize);
    bool isSound = isPlanned;
    for (const Finding& finding : verifyProgram(run.program))
        isSound = isSound && (finding.severity == FindingClass::ProbablyAMistake &&
                              finding.code != FindingCode::NeverWritten &&
                              finding.code != FindingCode::PartlyWritten &&
                              finding.code != FindingCode::MisreadOperand);
    ArrayRunOptions options;
    options.blockSize = run.blockSize;
    options.inPlace = !chance.oneIn(4);
    options.simplify = !chance.oneIn(3);
    ArrayRun arrayRun(run.program, options);
    drawOutputs();

    std::vector<ArrayInput> inputs;
    std::vector<ArrayOutput> targets;
    names.reserve(1000);
    const auto keep = [this](std::string name) -> std::string_view {
        names.push_back(std::move(name));
        return names.back();
    };
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        const auto name =
            keep(run.program.fields[i].name.empty() ? at('@', i) : run.program.fields[i].name);
        if (arrays[i])
            inputs.emplace_back(name, ArrayView(arrays[i]->view));
        else
            inputs.emplace_back(name, *computed[i]);
    }
    for (std::size_t i = 0; i < uniformValues.size(); ++i)
        inputs.emplace_back(
            keep(run.program.uniforms[i].name.empty() ? at('@', i) : run.program.uniforms[i].name),
            uniformValues[i]);
    for (std::size_t i = 0; i < samplers.size(); ++i)
        inputs.emplace_back(
            keep(run.program.samplers[i].name.empty() ? at('@', i) : run.program.samplers[i].name),
            *samplers[i]);
    std::vector<int> numbers;
    for (const Output& output : outputs) {
        const auto number = static_cast<std::size_t>(output.number);
        numbers.push_back(output.number);
        targets.emplace_back(keep(run.program.registers[number].name.empty()
                                      ? at('%', number)
                                      : run.program.registers[number].name),
                             output.view);
    }

    const bool isPrepared = arrayRun.prepare(inputs, targets);
    if (!isSound) {
        ++events["unsound"];
        return isPrepared ? "an unsound program is prepared" : "";
    }
    const Bindings bindings{fieldPointers.data(), static_cast<std::int32_t>(fieldPointers.size()),
                            &uniforms, samplerPointers.data(),
                            static_cast<std::int32_t>(samplerPointers.size())};
    for (Output& output : outputs) {
        const ArrayLayout layout(output.view);
        for (std::int64_t e = 0; e < run.count; ++e)
            output.before.push_back(elementAt(layout, e));
    }
    CollectingSink sink(interpreter.registerFile(), numbers, 0, run.count);
    long long complete = 0;
    FunctionSink both([&](const RegisterFile& registers, long long start, int count) {
        complete = start + count;
        return sink.consume(registers, start, count);
    });
    const bool evaluated = interpreter.evaluate(0, run.count, bindings, both);
    if (!isPrepared) {
        const bool bothRefuse = !evaluated && arrayRun.refusal() == interpreter.lastRefusal();
        const bool isOurs = arrayRun.refusal() == ExecRefusal::None;
        ++events[isOurs ? "refused for its arrays" : "refused"];
        return bothRefuse || isOurs ? "" : "only the array run refuses: " + arrayRun.error();
    }
    std::vector<std::string> expectedLog;
    for (auto& one : computed)
        if (one) {
            expectedLog.insert(expectedLog.end(), one->log.begin(), one->log.end());
            one->log.clear();
        }
    for (auto& one : samplers) {
        expectedLog.insert(expectedLog.end(), one->log.begin(), one->log.end());
        one->log.clear();
    }
    bool ran = true;
    int parts = 0;
    for (std::int64_t first = 0; ran && first < run.count; ++parts) {
        const std::int64_t most = run.count - first;
        const std::int64_t blocks = chance.oneIn(2) ? run.count : 1 + chance.below(3);
        const std::int64_t some = std::min<std::int64_t>(most, blocks * arrayRun.blockSize());
        ran = arrayRun.run(first, some);
        first += some;
    }
    if (ran != evaluated)
        return "one of the two ends early: " + arrayRun.error();
    if (!ran && arrayRun.refusal() != interpreter.lastRefusal())
        return "the refusals differ: " + arrayRun.error();
    std::vector<std::string> log;
    for (auto& one : computed)
        if (one)
            log.insert(log.end(), one->log.begin(), one->log.end());
    for (auto& one : samplers)
        log.insert(log.end(), one->log.begin(), one->log.end());
    if (log != expectedLog)
        return "the providers were asked otherwise";
    ++events[ran ? "ran" : "a provider declined"];
    events["in several parts"] += parts > 1 ? 1 : 0;
    for (const Output& output : outputs)
        events["outputs over an input"] += output.array ? 0 : 1;
    events["fields in place"] += arrayRun.figures().fieldsInPlace;
    events["outputs in place"] += arrayRun.figures().outputsInPlace;
    events["steps dropped"] += arrayRun.figures().droppedSteps;
    events["steps joined"] += arrayRun.figures().joinedSteps;
    return compareOutputs(sink, complete);
}

TEST(ArrayRunModel, AgreesWithTheInterpreterOnRandomPrograms) {
    const char* const asked = std::getenv("FENLET_ARRAY_CASES");
    const char* const from = std::getenv("FENLET_ARRAY_SEED");
    const std::uint64_t first = from != nullptr ? std::strtoull(from, nullptr, 10) : 1;
    const std::uint64_t cases = asked != nullptr ? std::strtoull(asked, nullptr, 10) : 4000;
    std::map<std::string, int> events;
    for (std::uint64_t seed = first; seed < first + cases; ++seed) {
        Trial trial(seed);
        const std::string difference = trial.compare(events);
        ASSERT_EQ(difference, "") << "seed " << seed << "\n" << trial.listed();
    }
    std::printf("%llu random programs over arrays agree\n", static_cast<unsigned long long>(cases));
    // Checks that each event has happened: otherwise it was not tested.
    if (cases < 1000)
        return;
    for (const char* const name :
         {"ran", "a provider declined", "refused for its arrays", "unsound", "fields in place",
          "outputs in place", "outputs over an input", "steps dropped", "steps joined",
          "in several parts"})
        EXPECT_GT(events[name], static_cast<int>(cases / 1000)) << name;
}

} // namespace
} // namespace Fenlet
