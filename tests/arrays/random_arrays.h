// Random arrays of any kind, layout and presence, in memory that ends at a fence.
#pragma once

#include "../kernels/fenced_area.h"
#include "../model/random_program.h"

#include <fenletexec/interpreter.h>
#include <fenlethosts/array_view.h>

#include <memory>
#include <vector>

namespace Fenlet {

using Model::Chance;

/// How an array may be laid out.
struct ArrayWish {
    ArrayKind kind = ArrayKind::Unsupported;
    std::int32_t components = 1;
    std::int64_t count = 0;
    std::int64_t columns = 1; ///< the size of a second axis, if it divides the count
    bool isRead = true;       ///< elements may share memory or lie outside the array
    bool hasPresence = false; ///< if false, arrays that are read may have presence, too
};

/// A random array and its memory. An access beyond one end of the memory, drawn at random, faults.
class RandomArray {
  public:
    RandomArray(Chance& chance, const ArrayWish& wish);

    MutableArrayView view;

    /// Fills values and presence at random, with many special values.
    void fill(Chance& chance);
    /// All bytes of values and presence.
    std::vector<unsigned char> bytes() const;
    void restore(const std::vector<unsigned char>& earlier);

  private:
    void layOut(Chance& chance, const ArrayWish& wish);
    void addPresence(Chance& chance);

    std::int64_t valueBytes = 0;
    std::int64_t presenceBytes = 0;
    std::unique_ptr<FencedArea> values;
    std::unique_ptr<FencedArea> presence;
};

/// A field that the host computes: each value follows from a seed and the element's number. The
/// field declines the call with number `declineAt`, counted from 0. If `declineAt` is -1, it
/// declines none.
class ComputedField final : public CpuFieldAccessor {
  public:
    ComputedField(std::uint64_t newSeed, int newDeclineAt)
        : seed(newSeed), declineAt(newDeclineAt) {}
    bool read(const FieldRead& request) override;

    std::vector<std::string> log;

  private:
    std::uint64_t seed;
    int declineAt;
};

/// A sampler that the host computes: each value follows from a seed and the bytes of the
/// coordinates. `declineAt` is as for `ComputedField`.
class ComputedSampler final : public FenletSampler {
  public:
    ComputedSampler(std::uint64_t newSeed, int newDeclineAt)
        : seed(newSeed), declineAt(newDeclineAt) {}
    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int count) override;

    std::vector<std::string> log;

  private:
    std::uint64_t seed;
    int declineAt;
};

} // namespace Fenlet
