// Compares the evaluator with the model over random programs: every register byte after every step.
#include "exact_number.h"
#include "model.h"
#include "random_program.h"
#include "seed_on_death.h"
#include "shrink.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <gtest/gtest.h>
#include <iostream>
#include <map>

namespace Fenlet::Model {
namespace {

/// The outcome of a case. `difference` says where evaluator and model differ; it is empty if they
/// agree.
struct Outcome {
    std::string difference;
    ExecRefusal bindings = ExecRefusal::None; ///< result of the check of the providers
    std::vector<int> blocks;                  ///< lengths of the finished blocks
    std::vector<std::string> events;          ///< names of other events
    bool ambiguous = false;
    bool ran = false;
};

/// A call of the sink, as a line of the log. The providers write to the same log.
std::string sinkCall(long long blockStart, int count) {
    return "consume " + std::to_string(count) + " from " + std::to_string(blockStart);
}

std::vector<unsigned char> bytesOf(const RegisterFile& registers) {
    const unsigned char* const bytes = registers.data(0);
    return {bytes, bytes + registers.byteCount()};
}

/// Records the state after each block of `evaluate`, to compare it with the same run made step by
/// step.
class RecordingSink : public BlockSink {
  public:
    RecordingSink(int newStopAt, std::vector<std::string>& newLog)
        : stopAt(newStopAt), log(newLog) {}

    bool consume(const RegisterFile& registers, long long blockStart, int count) override {
        log.push_back(sinkCall(blockStart, count));
        blocks.push_back(bytesOf(registers));
        return static_cast<int>(blocks.size()) - 1 != stopAt;
    }

    std::vector<std::vector<unsigned char>> blocks;

  private:
    int stopAt;
    std::vector<std::string>& log;
};

std::string words(ExecRefusal code, const char* message) {
    return std::string(execRefusalName(code)) + " \"" + (message ? message : "") + "\"";
}

/// Runs one case in three ways: the evaluator step by step, the model step by step, and a second
/// interpreter with `evaluate`.
class Comparison {
  public:
    Comparison(const Case& newRun, std::vector<std::string>& kernels)
        : run(newRun), stepHost(newRun), modelHost(newRun), loopHost(newRun) {
        model.kernelsRun = &kernels;
    }

    Outcome compare() {
        if (configured()) {
            outcome.ran = true;
            stepsPass = bindingsPass();
            if (stepsPass)
                runBlocks();
            if (outcome.difference.empty() && !outcome.ambiguous)
                runLoop();
            noteRange();
        }
        return outcome;
    }

  private:
    bool configured() {
        const Verdict verdict = model.configure(run.program, run.blockSize);
        const bool accepted = stepwise.configure(run.program, run.blockSize);
        expectRefusal("configure", verdict, accepted);
        if (looping.configure(run.program, run.blockSize) != accepted)
            outcome.difference = "configure answers differently each time";
        outcome.events.push_back(std::string("configure: ") + execRefusalName(verdict.code));
        return accepted && outcome.difference.empty();
    }

    void expectRefusal(const std::string& where, const Verdict& verdict, bool accepted) {
        const bool same =
            verdict.refused() != accepted && verdict.code == stepwise.lastRefusal() &&
            verdict.message == (stepwise.lastRefusalMessage() ? stepwise.lastRefusalMessage() : "");
        if (!same)
            outcome.difference = where + ": the model says " +
                                 words(verdict.code, verdict.message.c_str()) + ", the evaluator " +
                                 words(stepwise.lastRefusal(), stepwise.lastRefusalMessage());
    }

    bool bindingsPass() {
        const Verdict verdict = model.checkBindings(modelHost.bindings());
        outcome.bindings = verdict.code;
        expectRefusal("the check of the providers", verdict,
                      stepwise.checkBindings(stepHost.bindings()));
        return !verdict.refused() && outcome.difference.empty();
    }

    void runBlocks() {
        auto& registers = const_cast<RegisterFile&>(stepwise.registerFile());
        for (long long done = 0; stepsPass && done < run.count; done += run.blockSize) {
            const int length =
                static_cast<int>(std::min<long long>(run.blockSize, run.count - done));
            const auto start = static_cast<long long>(static_cast<unsigned long long>(run.first) +
                                                      static_cast<unsigned long long>(done));
            registers.setBlockLength(length);
            for (int number = 0; number < registers.registerCount(); ++number)
                std::memset(registers.validity(number), 1, static_cast<std::size_t>(length));
            model.beginBlock(length);
            if (!runSteps(registers, start))
                return;
            stepHost.log.push_back(sinkCall(start, length));
            modelHost.log.push_back(sinkCall(start, length));
            blocks.push_back(bytesOf(registers));
            outcome.blocks.push_back(length);
            stepsPass = static_cast<int>(blocks.size()) - 1 != run.stopAtBlock;
            if (!stepsPass)
                outcome.events.emplace_back("the sink stops");
        }
    }

    /// Notes events: where the range lies, and how fields were read before the run ended.
    void noteRange() {
        const std::vector<int>& lengths = outcome.blocks;
        if (!lengths.empty() && run.first < 0)
            outcome.events.emplace_back("a range begins below zero");
        if (lengths.size() > 1 && lengths.back() < run.blockSize)
            outcome.events.emplace_back("a range ends within a block");
        for (const std::string& call : stepHost.log)
            for (const char* way : {"contiguous", "scattered"})
                if (call.find(way) != std::string::npos)
                    outcome.events.push_back(std::string("a field is read: ") + way);
    }

    bool runSteps(RegisterFile& registers, long long start) {
        const Bindings stepBindings = stepHost.bindings();
        const Bindings modelBindings = modelHost.bindings();
        for (std::size_t number = 0; number < stepwise.plan().size(); ++number) {
            const Verdict verdict = model.runInstruction(number, modelBindings, start);
            const bool ran = stepwise.runStep(stepwise.plan()[number], stepBindings, start);
            ++stepsRun;
            const std::string op = opCodeName(run.program.instructions[number].op);
            const std::string where = "instruction " + std::to_string(number) + " (" + op + ")";
            if (model.outside)
                outcome.difference = where + ": the model ran out of the storage";
            if (model.ambiguous)
                outcome.ambiguous = true;
            if (model.outside || model.ambiguous)
                return false;
            expectRefusal(where, verdict, ran);
            outcome.events.push_back(op + ": " + execRefusalName(verdict.code));
            if (outcome.difference.empty())
                expectStorage(where, registers.data(0));
            if (!ran || !outcome.difference.empty()) {
                stepsPass = false;
                return false;
            }
        }
        return true;
    }

    /// Compares every byte. In an open lane, the evaluator may have any NaN; the model then takes
    /// over its bits.
    void expectStorage(const std::string& where, const unsigned char* bytes) {
        for (const OpenLane& lane : model.openLanes) {
            const auto size = static_cast<std::size_t>(elementSize(lane.kind));
            std::uint64_t bits = 0;
            for (std::size_t b = 0; b < size; ++b) {
                const bool bigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;
                const std::size_t place = bigEndian ? size - 1 - b : b;
                bits |= std::uint64_t{bytes[lane.offset + place]} << (8 * b);
            }
            if (isNan(lane.kind, bits))
                std::memcpy(model.storage.data() + lane.offset, bytes + lane.offset, size);
        }
        if (stepwise.registerFile().byteCount() != model.storage.size()) {
            outcome.difference = where + ": the register files differ in size";
            return;
        }
        if (std::equal(model.storage.begin(), model.storage.end(), bytes))
            return;
        std::size_t i = 0;
        while (model.storage[i] == bytes[i])
            ++i;
        outcome.difference = where + ": byte " + std::to_string(i) + " of the storage is " +
                             std::to_string(bytes[i]) + " and should be " +
                             std::to_string(model.storage[i]);
    }

    void runLoop() {
        RecordingSink sink(run.stopAtBlock, loopHost.log);
        const bool passed = looping.evaluate(run.first, run.count, loopHost.bindings(), sink);
        const std::string end = words(looping.lastRefusal(), looping.lastRefusalMessage());
        const std::string stepsEnd = words(stepwise.lastRefusal(), stepwise.lastRefusalMessage());
        if (passed != stepsPass || end != stepsEnd)
            outcome.difference = "evaluate ends with " + end + ", its steps with " + stepsEnd;
        else if (looping.executedSteps() != stepsRun)
            outcome.difference = "evaluate counts other steps";
        else if (loopHost.log != stepHost.log || modelHost.log != stepHost.log)
            outcome.difference = "providers and sink were called in another way or order";
        else if (sink.blocks != blocks)
            outcome.difference = "the sink got other blocks";
        else if (bytesOf(looping.registerFile()) != bytesOf(stepwise.registerFile()))
            outcome.difference = "evaluate leaves other bytes in the registers";
    }

    const Case& run;
    Outcome outcome;
    Model model;
    Interpreter stepwise;
    Interpreter looping;
    RandomHost stepHost;
    RandomHost modelHost;
    RandomHost loopHost;
    bool stepsPass = true;
    std::uint64_t stepsRun = 0;
    std::vector<std::vector<unsigned char>> blocks;
};

Outcome outcomeOf(const Case& run, std::vector<std::string>& kernels) {
    try {
        return Comparison(run, kernels).compare();
    } catch (const std::exception& unexpected) {
        Outcome outcome;
        outcome.difference = std::string("an exception came out: ") + unexpected.what();
        return outcome;
    }
}

std::string differenceOf(const Case& run) {
    std::vector<std::string> kernels;
    return outcomeOf(run, kernels).difference;
}

/// A number from the environment. Scripts use it to run more cases, or the one that failed.
std::uint64_t setting(const char* name, std::uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

/// The case with this seed. In some cases the host lacks a provider.
Case caseWithHoles(std::uint64_t seed) {
    Case run = randomCase(seed);
    run.holes = randomHoles(seed, run.program);
    return run;
}

/// Counts what a run of many cases has covered.
struct Coverage {
    std::map<std::string, long long> kernels;
    std::map<std::string, long long> events;
    std::map<ExecRefusal, long long> bindings;
    std::map<int, long long> blocksOfAtLeast = {{64, 0}, {512, 0}, {513, 0}};
    long long ran = 0;
    long long ambiguous = 0;

    void add(const Outcome& outcome, const std::vector<std::string>& hit) {
        for (const std::string& kernel : hit)
            ++kernels[kernel];
        for (const std::string& event : outcome.events)
            ++events[event];
        ran += outcome.ran;
        ambiguous += outcome.ambiguous;
        bindings[outcome.bindings] += outcome.ran;
        for (auto& [least, blocks] : blocksOfAtLeast)
            blocks += std::count_if(outcome.blocks.begin(), outcome.blocks.end(),
                                    [least = least](int length) { return length >= least; });
    }

    long long times(const std::string& event) const {
        const auto found = events.find(event);
        return found == events.end() ? 0 : found->second;
    }

    /// For each family, the number of kernels and shapes that ran.
    std::map<std::string, int> perFamily() const {
        std::map<std::string, int> families;
        for (const auto& [kernel, times] : kernels)
            ++families[kernel.substr(0, kernel.find(' '))];
        return families;
    }
};

void print(const Coverage& met, std::uint64_t firstSeed, std::uint64_t cases) {
    std::cout << "seeds " << firstSeed << " and on, " << cases << " programs, " << met.ran
              << " accepted, " << met.ambiguous << " left off where a NaN's bits are open\n";
    for (const auto& [code, times] : met.bindings)
        std::cout << "  providers " << execRefusalName(code) << ": " << times << "\n";
    for (const auto& [least, blocks] : met.blocksOfAtLeast)
        std::cout << "  blocks of " << least << " elements or more: " << blocks << "\n";
    for (const auto& [event, times] : met.events)
        std::cout << "  " << event << ": " << times << "\n";
    for (const auto& [family, shapes] : met.perFamily())
        std::cout << "  " << family << ": " << shapes << " kernels and shapes hit\n";
}

void expectAllMet(const Coverage& met) {
    std::map<std::string, int> families = met.perFamily();
    for (const char* op : {"Add", "Subtract", "Multiply", "Divide"})
        EXPECT_EQ(families[op], 64 * 3) << op;
    for (const char* op : {"Less", "LessEqual", "Greater", "GreaterEqual", "Equal", "NotEqual"})
        EXPECT_EQ(families[op], 25 * 2) << op;
    EXPECT_EQ(families["Select"], 126 * 2);
    EXPECT_EQ(families["Component"], 26 * 2);
    EXPECT_EQ(families["Negate"], 16);
    EXPECT_EQ(families["Length"], 16);
    for (const char* op : {"Not", "IsTrue", "And", "Or"})
        EXPECT_EQ(families[op], 1) << op;
    // Longer than any vector, tile or piece, and not a multiple of any.
    EXPECT_GT(met.blocksOfAtLeast.at(513), 100);
    for (std::uint32_t op = 0; op < opCodeCount; ++op)
        EXPECT_GT(met.times(std::string(opCodeName(static_cast<OpCode>(op))) + ": None"), 1000);
    for (const char* refused :
         {"UnsupportedFormat", "ScratchRefused", "BadRegister", "BadImmediate", "ArityMismatch",
          "MultiplicityMismatch", "KindMismatch", "None"})
        EXPECT_GT(met.times(std::string("configure: ") + refused), 100) << refused;
    for (const char* event :
         {"LoadField: ProviderFailed", "LoadUniform: ProviderFailed", "Sample: ProviderFailed",
          "Component: KindMismatch", "Negate: KindMismatch", "Length: KindMismatch",
          "Add: KindMismatch", "Divide: KindMismatch", "Less: KindMismatch", "Select: KindMismatch",
          "Unknown: KindMismatch", "a field is read: contiguous", "a field is read: scattered",
          "a range begins below zero", "a range ends within a block", "the sink stops"})
        EXPECT_GT(met.times(event), 4) << event;
    for (const ExecRefusal code :
         {ExecRefusal::UnboundField, ExecRefusal::UnboundSampler, ExecRefusal::UnboundUniform})
        EXPECT_EQ(met.bindings.count(code), 1u) << execRefusalName(code);
}

TEST(Model, AgreesWithTheEvaluatorOnRandomPrograms) {
    const std::uint64_t firstSeed = setting("FENLET_MODEL_SEED", 1);
    const std::uint64_t cases = setting("FENLET_MODEL_CASES", 20000);
    Coverage met;
    for (std::uint64_t seed = firstSeed; seed < firstSeed + cases; ++seed) {
        tellSeedOnDeath(seed);
        if (cases > 100000 && (seed - firstSeed) % 10000 == 0)
            std::cout << "at seed " << seed << std::endl;
        const Case run = caseWithHoles(seed);
        std::vector<std::string> hit;
        const Outcome outcome = outcomeOf(run, hit);
        met.add(outcome, hit);
        if (!outcome.difference.empty()) {
            const Case small =
                shrinkCase(run, [](const Case& other) { return !differenceOf(other).empty(); });
            FAIL() << "seed " << seed << ": " << differenceOf(small) << "\n" << describe(small);
        }
    }
    print(met, firstSeed, cases);
    EXPECT_LT(met.ambiguous * 50, met.ran);
    if (cases >= 20000)
        expectAllMet(met);
}

} // namespace
} // namespace Fenlet::Model
