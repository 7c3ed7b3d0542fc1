// A field over an array in memory.
#pragma once

#include <fenletexec/providers.h>
#include <fenlethosts/export.h>

#include <cstdint>

namespace Fenlet {

/// Elements in memory that somebody else owns. Nothing needs to be aligned.
struct ArrayView {
    const void* data = nullptr; ///< may be null when `count` is 0
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::int64_t count = 0;      ///< elements
    std::int32_t components = 1; ///< of each element, adjacent
    std::int64_t stride = 0;     ///< bytes from one element to the next; 0 when they are adjacent
    const unsigned char* validity = nullptr; ///< a byte for each element, 0 for none; may be null

    /// Adjacent elements of one component or more.
    static ArrayView of(const std::int32_t* data, std::int64_t count, std::int32_t components = 1) {
        return {data, CpuElementKind::Int32, count, components, 0, nullptr};
    }
    static ArrayView of(const std::int64_t* data, std::int64_t count, std::int32_t components = 1) {
        return {data, CpuElementKind::Int64, count, components, 0, nullptr};
    }
    static ArrayView of(const float* data, std::int64_t count, std::int32_t components = 1) {
        return {data, CpuElementKind::Float32, count, components, 0, nullptr};
    }
    static ArrayView of(const double* data, std::int64_t count, std::int32_t components = 1) {
        return {data, CpuElementKind::Float64, count, components, 0, nullptr};
    }
};

/// Serves the elements of an array, element number n at position n.
///
/// An element number outside the array, and an element whose validity byte is 0, is an invalid
/// element. Nothing outside the array is read. Values are converted to the kind that is asked for
/// as every conversion of the library is. It declines a read of another number of components than
/// the array has, and of a kind that the array's does not convert to: `Tribool` goes with itself
/// alone.
class FENLETHOSTS_API ArrayField final : public CpuFieldAccessor {
  public:
    /// The array must outlive the field.
    explicit ArrayField(const ArrayView& array);
    ~ArrayField() override;

    bool read(const FieldRead& request) override;

  private:
    ArrayView array;
};

} // namespace Fenlet
