// Any bytes as instructions over sound registers: refused as the verifier says, or run.
#include <fenletexec/interpreter.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

using namespace Fenlet;

class Bytes {
  public:
    Bytes(const std::uint8_t* newData, std::size_t newSize) : data(newData), size(newSize) {}
    bool isOver() const { return size == 0; }
    std::uint8_t next() {
        if (size == 0)
            return 0;
        --size;
        return *data++;
    }
    /// Small numbers by one byte, any number by five.
    std::int32_t number() {
        const std::uint8_t small = next();
        if (small != 255)
            return static_cast<std::int32_t>(small) - 2;
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i)
            value = value << 8 | next();
        return static_cast<std::int32_t>(value);
    }

  private:
    const std::uint8_t* data;
    std::size_t size;
};

FenletProgram programFrom(Bytes& bytes) {
    FenletProgram program;
    program.fields.resize(2);
    program.uniforms.resize(2);
    program.samplers.resize(2);
    program.constants = {Constant::ofReals({1.5, -2, 0}), Constant::ofTribool(255),
                         Constant::ofIntegers({INT64_MIN, 7})};
    for (int count = 1 + bytes.next() % 12; count > 0; --count) {
        RegisterInfo info;
        info.format = static_cast<RegisterFormat>(bytes.next() % 8);
        const int width = bytes.next();
        info.multiplicity = width < 200 ? 1 + width % 4 : 1 + width % 70;
        program.registers.push_back(info);
    }
    while (!bytes.isOver() && program.instructions.size() < 40) {
        Instruction instruction;
        instruction.op = static_cast<OpCode>(bytes.next() % 26);
        instruction.result = bytes.number();
        for (std::int32_t slot = 0; slot < opCodeArity(instruction.op); ++slot)
            instruction.operands[slot] = bytes.number();
        instruction.immediate = bytes.number();
        program.instructions.push_back(instruction);
    }
    return program;
}

/// Writes every byte that it is asked for, and reads every byte that it is given.
class Host : public CpuFieldAccessor, public UniformSource, public FenletSampler, public BlockSink {
  public:
    bool read(const FieldRead& request) override {
        for (int i = 0; i < request.count; ++i)
            request.validity[i] = request.indices[i] % 3 != 0;
        fill(request.values, request.kind, request.count * request.multiplicity);
        return true;
    }
    bool fetch(int, CpuElementKind kind, int multiplicity, void* out) override {
        fill(static_cast<unsigned char*>(out), kind, multiplicity);
        return true;
    }
    bool sample(const void* coordinates, CpuElementKind kind, int multiplicity, void* values,
                CpuElementKind valueKind, int valueMultiplicity, unsigned char*,
                int count) override {
        const auto* const in = static_cast<const unsigned char*>(coordinates);
        for (int i = 0; i < count * multiplicity * elementSize(kind); ++i)
            state += in[i];
        fill(static_cast<unsigned char*>(values), valueKind, count * valueMultiplicity);
        return true;
    }
    bool consume(const RegisterFile&, long long, int) override { return true; }

    Bindings bindings() { return {fields, 2, this, samplers, 2}; }

  private:
    void fill(unsigned char* out, CpuElementKind kind, int lanes) {
        for (int i = 0; i < lanes * elementSize(kind); ++i) {
            state = state * 6364136223846793005u + 1442695040888963407u;
            out[i] = static_cast<unsigned char>(state >> 56);
        }
    }

    std::uint64_t state = 1;
    CpuFieldAccessor* fields[2] = {this, this};
    FenletSampler* samplers[2] = {this, this};
};

bool hasClass(const std::vector<Finding>& findings, FindingClass severity) {
    return std::any_of(findings.begin(), findings.end(),
                       [&](const Finding& finding) { return finding.severity == severity; });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    const int blockSize = 1 + bytes.next() % 70;
    const FenletProgram program = programFrom(bytes);
    const std::vector<Finding> findings = verifyProgram(program);
    Interpreter interpreter;
    const bool accepted = interpreter.configure(program, blockSize);
    if (accepted == hasClass(findings, FindingClass::Refused))
        std::abort();
    if (!accepted || hasClass(findings, FindingClass::OutsideItsArea))
        return 0;
    Host host;
    const bool ran = interpreter.evaluate(-3, 100, host.bindings(), host);
    if (ran == hasClass(findings, FindingClass::RefusedInRun))
        std::abort();
    return 0;
}
