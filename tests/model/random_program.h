// Programs, data and hosts by chance, the same ones for the same seed on every machine.
#pragma once

#include <fenletexec/interpreter.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Fenlet::Model {

/// A small generator of its own (SplitMix64), since the standard library's distributions differ.
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

/// What is missing of the providers of one sort that a host could bring.
struct PoolHoles {
    int nullEntry = -1; ///< the provider whose place is null; -1 for none
    int shortBy = 0;    ///< by how much the count falls short, also to below zero
    bool nullArray = false;
};

/// What a host does not bring.
struct Holes {
    PoolHoles fields;
    PoolHoles samplers;
    bool noUniforms = false;
};

/// One run: a program, how it is cut into blocks, and what its hosts do.
struct Case {
    FenletProgram program;
    int blockSize = 1;
    long long first = 0;
    int count = 0;
    std::uint64_t dataSeed = 0;
    int declineAtCall = -1;    ///< the provider call that declines, counted from 0; -1 for none
    int stopAtBlock = -1;      ///< the block at which the sink stops; -1 for none
    bool holeInFields = false; ///< the first field has no accessor
    Holes holes;               ///< what else the host does not bring
};

/// A case that is sound more often than not. Its last register is unused and wide, so that whatever
/// runs past another register's areas still stays within the storage.
Case randomCase(std::uint64_t seed);

/// Holes by chance for a case with this seed, none more often than not.
Holes randomHoles(std::uint64_t seed, const FenletProgram& program);

/// `bytes` of one component by chance, special values above all.
std::uint64_t randomComponent(Chance& chance, CpuElementKind kind);

/// The provider of every kind of data in a case: all values follow from the case's data seed and
/// from what is asked. Keeps a log of its calls.
class RandomHost : public CpuFieldAccessor, public UniformSource, public FenletSampler {
  public:
    explicit RandomHost(const Case& run);

    /// As field 0, for who calls the host by itself.
    bool read(const FieldRead& request) override { return readField(0, request); }
    bool fetch(int index, CpuElementKind kind, int multiplicity, void* out) override;
    /// As sampler 0, for who calls the host by itself.
    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int count) override {
        return sampleFrom(0, coordinates, coordinateKind, coordinateMultiplicity, values, valueKind,
                          valueMultiplicity, validity, count);
    }

    /// What the case's host brings. Its arrays are the host's own.
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

/// The case in words, for a person who has to find out what went wrong: how it is run, what is
/// missing of its host, and the program's listing.
std::string describe(const Case& run);

} // namespace Fenlet::Model
