// Reads any bytes as a program over sound registers. The program must be refused if the verifier
// says so, and run safely otherwise.
#include "program_bytes.h"
#include "reached.h"

#include <fenletexec/interpreter.h>
#include <fenletir/verify.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

using namespace Fenlet;

/// A host that writes every byte that it is asked for, and reads every byte that it receives.
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
    const auto [program, blockSize] = Fuzz::ByteReader(data, size).program();
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
    // A program without steps runs, too, but tests nothing.
    if (ran && interpreter.executedSteps() > 0)
        ++Fuzz::reached;
    return 0;
}
