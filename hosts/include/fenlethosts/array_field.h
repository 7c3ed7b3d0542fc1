// A field over an array in memory.
#pragma once

#include <fenletexec/providers.h>
#include <fenlethosts/array_layout.h>
#include <fenlethosts/array_view.h>
#include <fenlethosts/export.h>

namespace Fenlet {

/// Serves the elements of a view by their numbers. Elements are numbered from 0, with the last axis
/// varying fastest.
///
/// A component is first read as the `registerKind` of its array kind, and then converted to the
/// requested kind with the library's own conversions. Each position of a read gets:
///
/// | element                                      | value             | validity  |
/// |----------------------------------------------|-------------------|-----------|
/// | the view has no element of this number       | zero bytes        | 0         |
/// | it lies outside the array along an axis      | zero bytes        | 0         |
/// | it is not present                            | the array's value | 0         |
/// | the position was invalid before the read     | zero bytes        | 0         |
/// | any other                                    | the array's value | unchanged |
///
/// If the request is contiguous, the row "the position was invalid before the read" does not apply:
/// such a position gets its element's value and stays invalid.
///
/// A read touches no bytes outside the array. A read is declined if it asks for another number of
/// components than the array has, or for a kind that the array does not convert to: `Tribool` and
/// `Bool` arrays give `Tribool` only, and arrays of numbers give numbers only. If `faultOfView`
/// finds a fault in the view, every read is declined.
class FENLETHOSTS_API ArrayField final : public CpuFieldAccessor {
  public:
    /// The array's memory is borrowed and must outlive the field.
    explicit ArrayField(const ArrayView& array);
    ~ArrayField() override;

    /// Returns false to decline, as described above. If the request is contiguous, only
    /// `indices[0]` is used.
    bool read(const FieldRead& request) override;

    const ArrayLayout& layout() const { return array; }

    /// Whether `gather` supports a register of this kind and number of components. It does if
    /// elements need no conversion and have 1, 2, 4 or 8 bytes, and the array has one axis and no
    /// presence.
    bool canGather(CpuElementKind kind, std::int32_t components) const;

    /// Reads `count` elements, like `read`. Call it only if `canGather` is true. The element
    /// numbers are Int64 values at `numbers`, which need not be aligned. Number i is invalid if
    /// `numberValidity[i]` is 0. If `numberValidity` is null, all numbers are valid. `validity[i]`
    /// becomes 0 if number i is invalid or the array has no such element; otherwise it becomes
    /// `numberValidity[i]`, or 1 if that is null. `validity` and `numberValidity` may be the same
    /// memory.
    void gather(unsigned char* values, unsigned char* validity, const unsigned char* numbers,
                const unsigned char* numberValidity, std::int64_t count) const;

  private:
    using Gather = void (*)(const ArrayLayout& array, unsigned char* values,
                            unsigned char* validity, const unsigned char* numbers,
                            std::int64_t count);

    ArrayLayout array;
    Gather gatherWords = nullptr; ///< null if the elements are not words along one axis
};

} // namespace Fenlet
