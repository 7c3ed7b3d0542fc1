// Ready-made samplers: a ramp for one coordinate, a grid for two. Several threads may use the same
// one at the same time.
#pragma once

#include <fenletexec/providers.h>
#include <fenlethosts/array_layout.h>
#include <fenlethosts/export.h>

#include <cstdint>
#include <vector>

namespace Fenlet {

/// One point of a ramp: its position, and the value there.
struct RampStop {
    double position = 0;
    std::vector<double> value;
};

/// A piecewise linear function of one coordinate, such as a colour ramp. The function is constant
/// below the first stop and above the last one. At a NaN the element is invalid. The sampler
/// computes in binary64.
///
/// Coordinates have one component of any numeric kind. The sampler declines values with a number of
/// components other than that of the stops, and `Tribool` as coordinate or value.
class FENLETHOSTS_API RampSampler final : public FenletSampler {
  public:
    /// Takes at least one stop, in ascending order of positions; all have the same number of
    /// components, 1 to 16. Throws `std::invalid_argument` otherwise.
    explicit RampSampler(std::vector<RampStop> stops);
    ~RampSampler() override;

    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int count) override;

  private:
    std::vector<RampStop> stops;
};

/// Values on a grid of `width` times `height` cells, row after row. The centre of cell (column,
/// row) has the coordinates (column, row).
///
/// Coordinates have two components, x and y, of any numeric kind. `Nearest` takes the cell that
/// contains the coordinates; on a boundary, the cell with the higher number. Outside all cells the
/// element is invalid. If the cells have the requested kind, `Nearest` copies every bit. `Bilinear`
/// interpolates between the four nearest cells in binary64; the element is invalid beyond the
/// outermost centres and where a cell with a weight other than 0 is invalid. At a NaN the element
/// is invalid. The sampler declines values with a number of components other than the grid's, and
/// `Tribool`.
class FENLETHOSTS_API GridSampler final : public FenletSampler {
  public:
    enum class Filter { Nearest, Bilinear };

    /// The view has `width` * `height` elements of 1 to 16 components, and its array must outlive
    /// the sampler. Throws `std::invalid_argument` otherwise, and if `faultOfView` finds a fault. A
    /// kind without storage is not refused here: the sampler then declines every call.
    GridSampler(const ArrayView& cells, std::int64_t width, std::int64_t height, Filter filter);
    ~GridSampler() override;

    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int count) override;

  private:
    bool nearest(double x, double y, CpuElementKind kind, unsigned char* out) const;
    bool bilinear(double x, double y, CpuElementKind kind, unsigned char* out) const;

    ArrayLayout cells;
    std::int64_t width;
    std::int64_t height;
    Filter filter;
};

} // namespace Fenlet
