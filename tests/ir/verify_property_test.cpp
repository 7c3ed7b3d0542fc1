// Compares what the verifier promises with what the evaluator does, over random programs.
#include "model/random_program.h"
#include "model/shrink.h"

#include <fenletexec/interpreter.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <iostream>

namespace Fenlet {
namespace {

using Model::Case;
using Model::RandomHost;

bool has(const std::vector<Finding>& findings, FindingClass severity, ExecRefusal code,
         std::int32_t instruction) {
    return std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
        return finding.severity == severity && finding.instruction == instruction &&
               static_cast<std::int32_t>(finding.code) == static_cast<std::int32_t>(code);
    });
}

bool has(const std::vector<Finding>& findings, FindingClass severity) {
    return std::any_of(findings.begin(), findings.end(),
                       [&](const Finding& finding) { return finding.severity == severity; });
}

std::string inWords(const Interpreter& interpreter) {
    return std::string(execRefusalName(interpreter.lastRefusal())) + " \"" +
           interpreter.lastRefusalMessage() + "\"";
}

/// The program with all instructions but one replaced by Nop.
FenletProgram alone(const FenletProgram& program, std::size_t number) {
    FenletProgram one = program;
    for (std::size_t i = 0; i < one.instructions.size(); ++i)
        if (i != number)
            one.instructions[i] = Instruction{};
    return one;
}

/// Compares a run of one program with its findings. `check` returns what is wrong, or nothing.
class Promise {
  public:
    explicit Promise(const Case& newRun)
        : run(newRun), findings(verifyProgram(run.program)), host(run), otherHost(run) {}

    std::string check() {
        const int blockSize = std::max(run.blockSize, 1);
        if (!interpreter.configure(run.program, blockSize))
            return refusedForAReason(blockSize);
        if (has(findings, FindingClass::Refused))
            return "accepted, and a finding says that it is refused";
        if (has(findings, FindingClass::OutsideItsArea))
            return {};
        if (!twin.configure(run.program, blockSize))
            return "accepted once and not again";
        ran = true;
        return runBlock(std::min(blockSize, 9));
    }

    bool ran = false;
    bool refusedInRun = false;

  private:
    // `configure` stops at the first refusal, so each instruction is also planned alone.
    std::string refusedForAReason(int blockSize) {
        if (isSound(findings))
            return "refused without a finding: " + inWords(interpreter);
        Interpreter single;
        const FenletProgram registers = alone(run.program, run.program.instructions.size());
        if (!single.configure(registers, blockSize))
            return has(findings, FindingClass::Refused, single.lastRefusal(), -1)
                       ? ""
                       : "no register has the finding " + inWords(single);
        for (std::size_t i = 0; i < run.program.instructions.size(); ++i) {
            const FenletProgram instruction = alone(run.program, i);
            if (!single.configure(instruction, blockSize) &&
                !has(findings, FindingClass::Refused, single.lastRefusal(),
                     static_cast<std::int32_t>(i)))
                return "instruction " + std::to_string(i) + " has no finding " + inWords(single);
        }
        return {};
    }

    std::string runBlock(int length) {
        auto& registers = const_cast<RegisterFile&>(interpreter.registerFile());
        auto& others = const_cast<RegisterFile&>(twin.registerFile());
        registers.setBlockLength(length);
        others.setBlockLength(length);
        for (std::size_t number = 0; number < interpreter.plan().size(); ++number) {
            const std::string where = "instruction " + std::to_string(number) + " ";
            const Interpreter::Step& step = interpreter.plan()[number];
            const std::vector<unsigned char> before = bytesOf(registers);
            disturbAllBut(step, registers, others);
            const bool went = interpreter.runStep(step, host.bindings(), run.first);
            twin.runStep(twin.plan()[number], otherHost.bindings(), run.first);
            if (!went) {
                refusedInRun = true;
                return has(findings, FindingClass::RefusedInRun, interpreter.lastRefusal(),
                           static_cast<std::int32_t>(number))
                           ? ""
                           : where +
                                 "is refused in the run without a finding: " + inWords(interpreter);
            }
            const std::string broken = touchesItsOwn(step, before, registers, others);
            if (!broken.empty())
                return where + broken;
        }
        return has(findings, FindingClass::RefusedInRun)
                   ? "runs, and a finding says that it is refused in the run"
                   : "";
    }

    static std::vector<unsigned char> bytesOf(RegisterFile& registers) {
        const unsigned char* const first = registers.data(0);
        return {first, first + registers.byteCount()};
    }

    /// Calls `visit` with the offset and length of the two areas of a register.
    template <class Visit>
    static void forEachArea(const RegisterFile& registers, std::int32_t number, Visit&& visit) {
        if (number == noRegister)
            return;
        const RegisterSlot& slot = registers.slotOf(number);
        const auto lanes = static_cast<std::size_t>(registers.elementCapacity());
        visit(slot.dataOffset, lanes * static_cast<std::size_t>(slot.spec.multiplicity) *
                                   static_cast<std::size_t>(elementSize(slot.spec.kind)));
        visit(slot.validityOffset, lanes);
    }

    /// Makes the registers of this step equal in both interpreters, and all other bytes of `others`
    /// different.
    void disturbAllBut(const Interpreter::Step& step, RegisterFile& registers,
                       RegisterFile& others) {
        const unsigned char* const from = registers.data(0);
        unsigned char* const to = others.data(0);
        for (std::size_t i = 0; i < registers.byteCount(); ++i)
            to[i] = static_cast<unsigned char>(from[i] ^ 0x5A);
        const auto same = [&](std::uint64_t offset, std::size_t bytes) {
            std::memcpy(to + offset, from + offset, bytes);
        };
        if (step.op == OpCode::Nop)
            return;
        forEachArea(registers, step.result, same);
        for (std::int32_t slot = 0; slot < step.arity; ++slot)
            forEachArea(registers, step.operands[slot], same);
    }

    /// Checks that the step has changed only its result's areas, and that these are the same in
    /// both interpreters.
    std::string touchesItsOwn(const Interpreter::Step& step,
                              const std::vector<unsigned char>& before, RegisterFile& registers,
                              RegisterFile& others) {
        std::vector<bool> own(before.size());
        const unsigned char* const after = registers.data(0);
        std::string broken;
        if (step.op != OpCode::Nop)
            forEachArea(registers, step.result, [&](std::uint64_t offset, std::size_t bytes) {
                std::fill_n(own.begin() + static_cast<std::ptrdiff_t>(offset), bytes, true);
                if (std::memcmp(after + offset, others.data(0) + offset, bytes) != 0)
                    broken = "has a result that depends on bytes beside its operands";
            });
        for (std::size_t i = 0; i < before.size(); ++i)
            if (!own[i] && after[i] != before[i])
                broken = "writes beside its result, at byte " + std::to_string(i);
        return broken;
    }

    const Case& run;
    std::vector<Finding> findings;
    RandomHost host;
    RandomHost otherHost;
    Interpreter interpreter;
    Interpreter twin;
};

Case caseOf(std::uint64_t seed) {
    Case run = Model::randomCase(seed);
    run.declineAtCall = -1;
    run.stopAtBlock = -1;
    run.holeInFields = false;
    return run;
}

std::uint64_t setting(const char* name, std::uint64_t otherwise) {
    const char* const text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

void holdPromise(std::uint64_t programs) {
    const std::uint64_t first = setting("FENLET_VERIFY_SEED", 1);
    std::uint64_t ran = 0;
    std::uint64_t refusedInRun = 0;
    for (std::uint64_t seed = first; seed < first + programs; ++seed) {
        const Case run = caseOf(seed);
        Promise promise(run);
        if (const std::string broken = promise.check(); !broken.empty()) {
            const Case small = Model::shrinkCase(
                run, [](const Case& other) { return !Promise(other).check().empty(); });
            FAIL() << "seed " << seed << ": " << Promise(small).check() << "\n" << describe(small);
        }
        ran += promise.ran;
        refusedInRun += promise.refusedInRun;
    }
    std::cout << programs << " programs, " << ran << " run, " << refusedInRun
              << " of them refused in the run\n";
    EXPECT_GT(ran, programs / 4);
    EXPECT_GT(refusedInRun, programs / 200);
}

TEST(VerifyPromise, HoldsForRandomPrograms) {
    holdPromise(setting("FENLET_VERIFY_PROGRAMS", 10000));
}

} // namespace
} // namespace Fenlet
