// Arrays by chance: of any kind, layout and presence, in memory that ends at a fence.
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
    std::int64_t columns = 1; ///< of a second axis, if they divide the elements
    bool isRead = true;       ///< several elements may share memory, and some lie outside the array
    bool hasPresence = false; ///< for sure; else now and then, if it is read
};

/// An array with memory of its own. Nothing may be touched right before or right after it.
class RandomArray {
  public:
    RandomArray(Chance& chance, const ArrayWish& wish);

    MutableArrayView view;

    /// Fills values and presence by chance, special values above all.
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

/// A field that the host computes: every value follows from a seed and the element's number. It
/// declines at one of its calls, if asked to.
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

/// A sampler like that, whose values follow from the coordinates' bytes.
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
