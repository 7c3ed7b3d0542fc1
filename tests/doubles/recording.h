// Providers and a sink that record their calls. A test sets what they answer.
#pragma once

#include <fenletexec/interpreter.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

namespace Fenlet::Doubles {

class RecordingField : public CpuFieldAccessor {
  public:
    struct Read {
        FieldRead request;
        std::vector<std::int64_t> indices;
        std::vector<unsigned char> validity; ///< the bytes on entry
    };
    std::vector<Read> reads;
    std::function<bool(const FieldRead&)> answer = [](const FieldRead&) { return true; };

    bool read(const FieldRead& request) override {
        reads.push_back({request,
                         {request.indices, request.indices + request.count},
                         {request.validity, request.validity + request.count}});
        return answer(request);
    }
};

class RecordingUniforms : public UniformSource {
  public:
    struct Fetch {
        int index;
        CpuElementKind kind;
        int multiplicity;
        void* out;
        std::array<unsigned char, 512> scratch; ///< the bytes on entry
    };
    std::vector<Fetch> fetches;
    std::function<bool(const Fetch&)> answer = [](const Fetch&) { return true; };

    bool fetch(int index, CpuElementKind kind, int multiplicity, void* out) override {
        Fetch call{index, kind, multiplicity, out, {}};
        std::memcpy(call.scratch.data(), out, call.scratch.size());
        fetches.push_back(call);
        return answer(call);
    }
};

class RecordingSampler : public FenletSampler {
  public:
    struct Sample {
        const void* coordinates;
        CpuElementKind coordinateKind;
        int coordinateMultiplicity;
        void* values;
        CpuElementKind valueKind;
        int valueMultiplicity;
        unsigned char* validity;
        int count;
        std::vector<unsigned char> validityOnEntry;
    };
    std::vector<Sample> samples;
    std::function<bool(const Sample&)> answer = [](const Sample&) { return true; };

    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int count) override {
        samples.push_back({coordinates,
                           coordinateKind,
                           coordinateMultiplicity,
                           values,
                           valueKind,
                           valueMultiplicity,
                           validity,
                           count,
                           {validity, validity + count}});
        return answer(samples.back());
    }
};

class RecordingSink : public BlockSink {
  public:
    struct Block {
        long long start;
        int count;
        bool operator==(const Block& other) const {
            return start == other.start && count == other.count;
        }
    };
    std::vector<Block> blocks;
    std::function<bool(const RegisterFile&)> answer = [](const RegisterFile&) { return true; };

    bool consume(const RegisterFile& registers, long long blockStart, int count) override {
        blocks.push_back({blockStart, count});
        return answer(registers);
    }
};

/// A host with one provider of each sort, and a sink.
struct RecordingHost {
    RecordingField field;
    RecordingUniforms uniforms;
    RecordingSampler sampler;
    RecordingSink sink;
    CpuFieldAccessor* fields[1] = {&field};
    FenletSampler* samplers[1] = {&sampler};
    Bindings bindings{fields, 1, &uniforms, samplers, 1};

    RecordingHost() = default;
    RecordingHost(const RecordingHost&) = delete;
    RecordingHost& operator=(const RecordingHost&) = delete;
};

/// The first `count` lanes of a data area, including those of invalid elements.
template <class Lane>
std::vector<Lane> lanesOf(const RegisterFile& registers, int number, int count) {
    std::vector<Lane> lanes(static_cast<std::size_t>(count));
    std::memcpy(lanes.data(), registers.data(number), lanes.size() * sizeof(Lane));
    return lanes;
}

/// All live lanes of a register.
template <class Lane>
std::vector<Lane> liveLanes(const RegisterFile& registers, int number) {
    return lanesOf<Lane>(registers, number,
                         registers.liveElements() * registers.specOf(number).multiplicity);
}

/// The live bytes of a validity area.
inline std::vector<unsigned char> liveValidity(const RegisterFile& registers, int number) {
    const unsigned char* const bytes = registers.validity(number);
    return {bytes, bytes + registers.liveElements()};
}

/// Puts `values` at the start of an area.
template <class Lane>
void storeLanes(void* area, const std::vector<Lane>& values) {
    if (!values.empty())
        std::memcpy(area, values.data(), values.size() * sizeof(Lane));
}

} // namespace Fenlet::Doubles
