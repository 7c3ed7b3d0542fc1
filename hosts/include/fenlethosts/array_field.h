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
/// A component is read as its `registerKind` and then converted to the requested kind, like every
/// conversion of the library. Each position of a read gets:
///
/// | element                                      | value             | validity  |
/// |----------------------------------------------|-------------------|-----------|
/// | the view has no element of this number       | zero bytes        | 0         |
/// | it lies outside the array along an axis      | zero bytes        | 0         |
/// | it is not present                            | the array's value | 0         |
/// | the position was invalid before the read     | zero bytes        | 0         |
/// | any other                                    | the array's value | unchanged |
///
/// If the request is contiguous, the fourth line does not apply: such a position gets its element's
/// value and stays invalid.
///
/// Only bytes of the array are read. A read is declined if it asks for another number of components
/// than the array has, or for a kind that the array does not convert to: `Tribool` and `Bool`
/// arrays give `Tribool` only, and arrays of numbers give numbers only. If `faultOfView` finds a
/// fault in the view, every read is declined.
class FENLETHOSTS_API ArrayField final : public CpuFieldAccessor {
  public:
    /// The array's memory is borrowed and must outlive the field.
    explicit ArrayField(const ArrayView& array);
    ~ArrayField() override;

    /// Returns false to decline, as described above. If the request is contiguous, only
    /// `indices[0]` is used.
    bool read(const FieldRead& request) override;

    const ArrayLayout& layout() const { return array; }

  private:
    ArrayLayout array;
};

} // namespace Fenlet
