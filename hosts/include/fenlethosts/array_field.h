// A field over an array in memory.
#pragma once

#include <fenletexec/providers.h>
#include <fenlethosts/export.h>

#include <cstdint>

namespace Fenlet {

/// Elements in memory that the caller owns. They need no alignment.
struct ArrayView {
    const void* data = nullptr; ///< may be null when `count` is 0
    CpuElementKind kind = CpuElementKind::Unsupported;
    std::int64_t count = 0;      ///< elements
    std::int32_t components = 1; ///< of each element, adjacent in memory
    std::int64_t stride = 0;     ///< bytes from one element to the next; 0 for adjacent ones
    const unsigned char* validity = nullptr; ///< a byte for each element, 0: invalid; may be null

    /// Adjacent elements of one or more components.
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

/// Serves the elements of an array; element number n is the array's entry n.
///
/// An element is invalid if its number lies outside the array or its validity byte is 0. Nothing
/// outside the array is read. Values are converted to the requested kind by the library's own
/// conversions. A read is declined if it asks for a number of components other than the array's, or
/// for a kind that the array's kind does not convert to: `Tribool` converts only to itself.
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
