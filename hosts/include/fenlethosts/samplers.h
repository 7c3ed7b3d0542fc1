// Ready-made samplers: a ramp over one coordinate, a grid over two.
#pragma once

#include <fenletexec/providers.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/export.h>

#include <cstdint>
#include <vector>

namespace Fenlet {

/// One point of a ramp: where it stands, and its value there.
struct RampStop {
    double position = 0;
    std::vector<double> value;
};

/// A piecewise linear function of one coordinate, such as a colour ramp. Below the first stop and
/// above the last one it is constant; a NaN has no value. Computed in binary64.
///
/// Coordinates have one component of any numeric kind. It declines values of another number of
/// components than the stops have, and `Tribool` on either side.
class FENLETHOSTS_API RampSampler final : public FenletSampler {
  public:
    /// At least one stop, by ascending position, all with the same number of components, 1 to 16.
    /// Throws `std::invalid_argument` otherwise.
    explicit RampSampler(std::vector<RampStop> stops);
    ~RampSampler() override;

    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int count) override;

  private:
    std::vector<RampStop> stops;
};

/// Values on a grid of `width` times `height` cells, row after row. Cell (column, row) has its
/// centre at the coordinates (column, row).
///
/// Coordinates have two components, x and y, of any numeric kind. `Nearest` takes the cell that
/// they lie in, the upper one on a boundary, and has no value outside all cells; between equal
/// kinds it keeps every bit. `Bilinear` mixes the four cells around in binary64, and has no value
/// beyond the outermost centres or where a cell that counts is invalid. A NaN has no value. It
/// declines another number of components than the grid has, and `Tribool`.
class FENLETHOSTS_API GridSampler final : public FenletSampler {
  public:
    enum class Filter { Nearest, Bilinear };

    /// The array has `width` * `height` elements and must outlive the sampler. Throws
    /// `std::invalid_argument` if it has another number of them.
    GridSampler(const ArrayView& cells, std::int64_t width, std::int64_t height, Filter filter);
    ~GridSampler() override;

    bool sample(const void* coordinates, CpuElementKind coordinateKind, int coordinateMultiplicity,
                void* values, CpuElementKind valueKind, int valueMultiplicity,
                unsigned char* validity, int count) override;

  private:
    bool nearest(double x, double y, CpuElementKind kind, unsigned char* out) const;
    bool bilinear(double x, double y, CpuElementKind kind, unsigned char* out) const;

    ArrayView cells;
    std::int64_t width;
    std::int64_t height;
    Filter filter;
};

} // namespace Fenlet
