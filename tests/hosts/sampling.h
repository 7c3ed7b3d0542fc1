// A call of a sampler for one block of positions.
#pragma once

#include "hosts/lane_bits.h"

#include <fenletexec/providers.h>

#include <cstring>
#include <utility>
#include <vector>

namespace Fenlet::Hosts {

/// The bits of a value in a kind, converted by the library.
inline std::uint64_t bitsOf(CpuElementKind kind, double value) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return converted(kind, CpuElementKind::Float64, bits);
}

/// One call of a sampler with its memory, which is aligned for no type.
struct SampleCall {
    CpuElementKind coordinateKind = CpuElementKind::Float64;
    int coordinateMultiplicity = 1;
    CpuElementKind valueKind = CpuElementKind::Float64;
    int valueMultiplicity = 1;
    Bytes coordinates;
    Bytes values;
    Bytes validity;

    static constexpr unsigned char guard = 0xA5;

    SampleCall(CpuElementKind newCoordinateKind, int newCoordinateMultiplicity,
               CpuElementKind newValueKind, int newValueMultiplicity,
               const std::vector<double>& lanes)
        : coordinateKind(newCoordinateKind),
          coordinateMultiplicity(newCoordinateMultiplicity),
          valueKind(newValueKind),
          valueMultiplicity(newValueMultiplicity),
          validity(lanes.size() / static_cast<std::size_t>(coordinateMultiplicity), 1) {
        const auto size = static_cast<std::size_t>(elementSize(coordinateKind));
        coordinates.resize(1 + lanes.size() * size);
        for (std::size_t i = 0; i < lanes.size(); ++i)
            storeBits(coordinateKind, coordinates.data() + 1 + i * size,
                      bitsOf(coordinateKind, lanes[i]));
        values.assign(1 + validity.size() * valueBytes(), guard);
    }

    std::size_t valueBytes() const {
        return static_cast<std::size_t>(elementSize(valueKind) * valueMultiplicity);
    }

    bool ask(FenletSampler& sampler) {
        return sampler.sample(coordinates.data() + 1, coordinateKind, coordinateMultiplicity,
                              values.data() + 1, valueKind, valueMultiplicity, validity.data(),
                              static_cast<int>(validity.size()));
    }

    std::uint64_t bits(std::size_t position, int component = 0) const {
        return loadBits(valueKind,
                        values.data() + 1 + position * valueBytes() +
                            static_cast<std::size_t>(component * elementSize(valueKind)));
    }

    /// A component of a call for `Float64` values.
    double value(std::size_t position, int component = 0) const {
        const std::uint64_t number = bits(position, component);
        double result;
        std::memcpy(&result, &number, sizeof result);
        return result;
    }
};

/// A call with `Float64` coordinates and values.
inline SampleCall realCall(int coordinateMultiplicity, int valueMultiplicity,
                           const std::vector<double>& lanes) {
    return {CpuElementKind::Float64, coordinateMultiplicity, CpuElementKind::Float64,
            valueMultiplicity, lanes};
}

/// Whether the sampler declines and leaves all memory unchanged.
inline bool declines(FenletSampler& sampler, SampleCall call) {
    return !call.ask(sampler) && call.values == Bytes(call.values.size(), SampleCall::guard) &&
           call.validity == Bytes(call.validity.size(), 1);
}

} // namespace Fenlet::Hosts
