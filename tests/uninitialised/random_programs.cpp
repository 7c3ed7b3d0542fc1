// Runs random programs under MemorySanitizer in the instruction set named by the argument. Each
// block begins with uninitialised registers. If a step skips an element, or reads lanes that belong
// to no element, MemorySanitizer reports this when such values reach a provider or the sink, or
// when a branch depends on them.
//
// This test has its own host and uses no streams: the C++ library is not instrumented, so
// everything that it writes would count as uninitialised.
#include "kernels/target/sets.h"
#include "model/random_program.h"

#include <fenletexec/interpreter.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <sanitizer/msan_interface.h>
#include <vector>

namespace Fenlet {
namespace {

std::size_t elementBytes(CpuElementKind kind, int multiplicity) {
    return static_cast<std::size_t>(elementSize(kind) * multiplicity);
}

/// A host that gives random values, many of them special, and checks that everything that it
/// receives is initialised.
class Host : public CpuFieldAccessor, public UniformSource, public FenletSampler {
  public:
    explicit Host(const Model::Case& run)
        : chance(run.dataSeed),
          fields(run.program.fields.size(), this),
          samplers(run.program.samplers.size(), this) {}

    bool read(const FieldRead& request) override {
        const auto count = static_cast<std::size_t>(request.count);
        __msan_check_mem_is_initialized(request.indices, count * sizeof(std::int64_t));
        __msan_check_mem_is_initialized(request.validity, count);
        const std::size_t bytes = elementBytes(request.kind, request.multiplicity);
        for (std::size_t i = 0; i < count; ++i)
            answer(request.kind, request.multiplicity, request.values + i * bytes,
                   request.validity[i]);
        return true;
    }

    bool fetch(int, CpuElementKind kind, int multiplicity, void* out) override {
        fill(kind, multiplicity, static_cast<unsigned char*>(out));
        return true;
    }

    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int elements) override {
        const auto count = static_cast<std::size_t>(elements);
        if (coordinates != nullptr)
            __msan_check_mem_is_initialized(
                coordinates, count * elementBytes(coordinateKind, coordinateMultiplicity));
        __msan_check_mem_is_initialized(validity, count);
        const std::size_t bytes = elementBytes(valueKind, valueMultiplicity);
        for (std::size_t i = 0; i < count; ++i)
            answer(valueKind, valueMultiplicity, static_cast<unsigned char*>(values) + i * bytes,
                   validity[i]);
        return true;
    }

    Bindings bindings() {
        return {fields.data(), static_cast<std::int32_t>(fields.size()), this, samplers.data(),
                static_cast<std::int32_t>(samplers.size())};
    }

  private:
    void answer(CpuElementKind kind, int multiplicity, unsigned char* out,
                unsigned char& validity) {
        fill(kind, multiplicity, out);
        if (chance.oneIn(8))
            validity = 0;
    }

    void fill(CpuElementKind kind, int multiplicity, unsigned char* out) {
        const std::size_t bytes = elementBytes(kind, 1);
        for (int c = 0; c < multiplicity; ++c) {
            const std::uint64_t bits = Model::randomComponent(chance, kind);
            std::memcpy(out + static_cast<std::size_t>(c) * bytes, &bits, bytes);
        }
    }

    Model::Chance chance;
    std::vector<CpuFieldAccessor*> fields;
    std::vector<FenletSampler*> samplers;
};

/// The registers that each block writes completely before it reads any part of them.
std::vector<int> renewedRegisters(const FenletProgram& program,
                                  const std::vector<Finding>& findings) {
    std::vector<int> renewed;
    for (const Instruction& instruction : program.instructions) {
        const bool isOld = std::any_of(findings.begin(), findings.end(), [&](const Finding& one) {
            return (one.code == FindingCode::NeverWritten ||
                    one.code == FindingCode::PartlyWritten) &&
                   one.registerNumber == instruction.result;
        });
        if (instruction.op != OpCode::Nop && !isOld)
            renewed.push_back(instruction.result);
    }
    return renewed;
}

/// The registers that hold a constant or a uniform at the end of a block. The next block may
/// compare its value with the one that was left there.
std::vector<int> keptRegisters(const FenletProgram& program) {
    std::vector<int> kept;
    for (const Instruction& instruction : program.instructions) {
        if (instruction.op == OpCode::Nop)
            continue;
        kept.erase(std::remove(kept.begin(), kept.end(), instruction.result), kept.end());
        if (instruction.op == OpCode::LoadConstant || instruction.op == OpCode::LoadUniform)
            kept.push_back(instruction.result);
    }
    return kept;
}

/// Marks the values of these registers as uninitialised, and all validity from element `live` on. A
/// run may remember the validity of earlier elements from block to block.
void unwrite(const std::vector<int>& renewed, const RegisterFile& registers, std::size_t live) {
    const auto capacity = static_cast<std::size_t>(registers.elementCapacity());
    for (const int number : renewed) {
        const RegisterSpec spec = registers.specOf(number);
        __msan_poison(registers.data(number),
                      capacity * elementBytes(spec.kind, spec.multiplicity));
    }
    for (int number = 0; live < capacity && number < registers.registerCount(); ++number)
        __msan_poison(registers.validity(number) + live, capacity - live);
}

/// A sink that checks that every lane of every block is initialised.
class Sink : public BlockSink {
  public:
    Sink(const std::vector<int>& newRenewed, int elements) : renewed(newRenewed), left(elements) {}

    bool consume(const RegisterFile& registers, long long, int elements) override {
        const auto count = static_cast<std::size_t>(elements);
        for (int number = 0; number < registers.registerCount(); ++number) {
            const RegisterSpec spec = registers.specOf(number);
            __msan_check_mem_is_initialized(registers.data(number),
                                            count * elementBytes(spec.kind, spec.multiplicity));
            __msan_check_mem_is_initialized(registers.validity(number), count);
        }
        left -= elements;
        unwrite(renewed, registers, static_cast<std::size_t>(left));
        return true;
    }

  private:
    const std::vector<int>& renewed;
    int left;
};

/// Whether the program is sound and ran to the end.
bool runs(const Model::Case& run) {
    const std::vector<Finding> findings = verifyProgram(run.program);
    Interpreter interpreter;
    if (!isSound(findings) || !interpreter.configure(run.program, run.blockSize))
        return false;
    std::vector<int> renewed = renewedRegisters(run.program, findings);
    unwrite(renewed, interpreter.registerFile(), 0);
    for (const int kept : keptRegisters(run.program))
        renewed.erase(std::remove(renewed.begin(), renewed.end(), kept), renewed.end());
    Host host(run);
    Sink sink(renewed, run.count);
    return interpreter.evaluate(run.first, run.count, host.bindings(), sink);
}

/// The number of programs that ran.
int runPrograms(std::uint64_t programs) {
    int ran = 0;
    for (std::uint64_t seed = 1; seed <= programs; ++seed)
        ran += runs(Model::randomCase(seed));
    return ran;
}

} // namespace
} // namespace Fenlet

int main(int, const char** arguments) {
    constexpr int programs = 20000;
    const auto& names = Fenlet::instructionSetNames;
    const auto* const name = std::find_if(std::begin(names), std::end(names), [&](const char* one) {
        return std::strcmp(one, arguments[1]) == 0;
    });
    if (!Fenlet::chooseInstructionSet(static_cast<Fenlet::InstructionSet>(name - names)))
        return 2;
    const int ran = Fenlet::runPrograms(programs);
    std::printf("%d programs, %d of them sound and run to their end\n", programs, ran);
    return ran > programs / 4 ? 0 : 1;
}
