// Random programs, data and hosts: the same ones for the same seed on every machine.
#pragma once

#include <fenletexec/interpreter.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet::Model {

/// A small random generator (SplitMix64). It replaces the distributions of the standard library,
/// which differ between implementations.
class Chance {
  public:
    explicit Chance(std::uint64_t seed) : state(seed) {}

    std::uint64_t bits();
    /// 0 to `bound` - 1.
    int below(int bound) { return static_cast<int>(bits() % static_cast<std::uint64_t>(bound)); }
    bool oneIn(int odds) { return below(odds) == 0; }

  private:
    std::uint64_t state;
};

/// Which providers of one sort are missing in a host.
struct PoolHoles {
    int nullEntry = -1; ///< the provider whose entry is null; -1 for none
    int shortBy = 0;    ///< how much smaller the count is than it should be; may make it negative
    bool nullArray = false;
};

/// The providers that are missing in a host.
struct Holes {
    PoolHoles fields;
    PoolHoles samplers;
    bool noUniforms = false;
};

/// One run: a program, its range and block size, and the behaviour of its host.
struct Case {
    FenletProgram program;
    int blockSize = 1;
    long long first = 0;
    int count = 0;
    std::uint64_t dataSeed = 0;
    int declineAtCall = -1;    ///< the provider call that declines, counted from 0; -1 for none
    int stopAtBlock = -1;      ///< the block at which the sink stops; -1 for none
    bool holeInFields = false; ///< the first field has no accessor
    Holes holes;               ///< other missing providers
};

/// A random case. Most cases are sound. The last register is unused and wide, so that code that
/// writes past another register stays within the storage.
Case randomCase(std::uint64_t seed);

/// Random missing providers for the case with this seed; in most cases none is missing.
Holes randomHoles(std::uint64_t seed, const FenletProgram& program);

/// The random bits of one component; often those of a special value.
std::uint64_t randomComponent(Chance& chance, CpuElementKind kind);

/// Provides all data of a case. The values depend only on the case's data seed and on the request.
/// Keeps a log of its calls.
class RandomHost : public CpuFieldAccessor, public UniformSource, public FenletSampler {
  public:
    explicit RandomHost(const Case& run);

    /// Reads field 0, for callers without an evaluator.
    bool read(const FieldRead& request) override { return readField(0, request); }
    bool fetch(int index, CpuElementKind kind, int multiplicity, void* out) override;
    /// Samples sampler 0, for callers without an evaluator.
    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int count) override {
        return sampleFrom(0, coordinates, coordinateKind, coordinateMultiplicity, values, valueKind,
                          valueMultiplicity, validity, count);
    }

    /// The bindings of the case's host, which owns the arrays.
    Bindings bindings();

    std::vector<std::string> log;

  private:
    struct Field : CpuFieldAccessor {
        Field(RandomHost& newHost, int newNumber) : host(&newHost), number(newNumber) {}
        bool read(const FieldRead& request) override { return host->readField(number, request); }

        RandomHost* host;
        int number;
    };

    struct Sampler : FenletSampler {
        Sampler(RandomHost& newHost, int newNumber) : host(&newHost), number(newNumber) {}
        bool sample(const void* coordinates, CpuElementKind coordinateKind,
                    int coordinateMultiplicity, void* values, CpuElementKind valueKind,
                    int valueMultiplicity, unsigned char* validity, int count) override {
            return host->sampleFrom(number, coordinates, coordinateKind, coordinateMultiplicity,
                                    values, valueKind, valueMultiplicity, validity, count);
        }

        RandomHost* host;
        int number;
    };

    bool readField(int number, const FieldRead& request);
    bool sampleFrom(int number, const void* coordinates, CpuElementKind coordinateKind,
                    int coordinateMultiplicity, void* values, CpuElementKind valueKind,
                    int valueMultiplicity, unsigned char* validity, int count);
    bool answers(std::string call);
    void fill(std::uint64_t seed, CpuElementKind kind, int multiplicity, unsigned char* out) const;

    const Case& run;
    int calls = 0;
    std::vector<Field> ownFields;
    std::vector<Sampler> ownSamplers;
    std::vector<CpuFieldAccessor*> fields;
    std::vector<FenletSampler*> samplers;
};

/// The case as text for a person: how it runs, which providers are missing, and the program's
/// listing.
std::string describe(const Case& run);

} // namespace Fenlet::Model
