// Ready-made samplers.
#include "lane_conversions.h"

#include <fenlethosts/samplers.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace Fenlet {
namespace {

/// The most components of a sample. Samples are computed on the stack.
constexpr std::size_t sampleComponents = 16;

bool isNumeric(CpuElementKind kind) {
    return elementSize(kind) != 0 && kind != CpuElementKind::Tribool;
}

double readDouble(LaneConversion toDouble, const unsigned char* lane) {
    double value;
    toDouble(reinterpret_cast<unsigned char*>(&value), lane, 1);
    return value;
}

void storeDoubles(CpuElementKind kind, unsigned char* out, const double* values,
                  std::size_t count) {
    laneConversion(kind, CpuElementKind::Float64)(
        out, reinterpret_cast<const unsigned char*>(values), static_cast<std::int64_t>(count));
}

/// The position of `at` between `low` and `high`, from 0 to 1. If `high - low` overflows, all three
/// are halved first.
double shareBetween(double low, double high, double at) {
    const double width = high - low;
    return std::isfinite(width) ? (at - low) / width : (at / 2 - low / 2) / (high / 2 - low / 2);
}

/// Interpolates. Exact for a share of 0, and for equal values, which may be infinite.
double mix(double low, double high, double share) {
    return share == 0 || low == high ? low : std::lerp(low, high, share);
}

/// The number of the cell that contains a coordinate. On a boundary between two cells, the higher
/// number.
double nearestCell(double coordinate) {
    const double below = std::floor(coordinate);
    return coordinate - below < 0.5 ? below : below + 1;
}

} // namespace

RampSampler::RampSampler(std::vector<RampStop> newStops) : stops(std::move(newStops)) {
    if (stops.empty())
        throw std::invalid_argument("a ramp needs at least one stop");
    const std::size_t components = stops.front().value.size();
    for (std::size_t i = 0; i < stops.size(); ++i) {
        if (stops[i].value.size() != components || components < 1 || components > sampleComponents)
            throw std::invalid_argument("the stops of a ramp need 1 to 16 components, all the "
                                        "same number");
        if (!std::isfinite(stops[i].position) ||
            (i > 0 && !(stops[i - 1].position <= stops[i].position)))
            throw std::invalid_argument("the stops of a ramp need ascending positions");
    }
}

RampSampler::~RampSampler() = default;

bool RampSampler::sample(const void* coordinates, CpuElementKind coordinateKind,
                         int coordinateMultiplicity, void* values, CpuElementKind valueKind,
                         int valueMultiplicity, unsigned char* validity, int count) {
    const std::size_t components = stops.front().value.size();
    if (!isNumeric(coordinateKind) || !isNumeric(valueKind) || coordinateMultiplicity != 1 ||
        static_cast<std::size_t>(valueMultiplicity) != components || coordinates == nullptr)
        return false;
    const LaneConversion toDouble = laneConversion(CpuElementKind::Float64, coordinateKind);
    const auto* in = static_cast<const unsigned char*>(coordinates);
    auto* out = static_cast<unsigned char*>(values);
    const auto valueBytes = static_cast<std::size_t>(elementSize(valueKind)) * components;
    for (int i = 0; i < count; ++i, in += elementSize(coordinateKind), out += valueBytes) {
        if (validity[i] == 0)
            continue;
        const double at = readDouble(toDouble, in);
        if (std::isnan(at)) {
            validity[i] = 0;
            continue;
        }
        const auto above =
            std::upper_bound(stops.begin(), stops.end(), at,
                             [](double x, const RampStop& stop) { return x < stop.position; });
        const RampStop& high = above == stops.end() ? stops.back() : *above;
        const RampStop& low = above == stops.begin() ? high : *(above - 1);
        const double share = &low == &high ? 0 : shareBetween(low.position, high.position, at);
        std::array<double, sampleComponents> mixed;
        for (std::size_t c = 0; c < components; ++c)
            mixed[c] = mix(low.value[c], high.value[c], share);
        storeDoubles(valueKind, out, mixed.data(), components);
    }
    return true;
}

GridSampler::GridSampler(const ArrayView& newCells, std::int64_t newWidth, std::int64_t newHeight,
                         Filter newFilter)
    : cells(newCells), width(newWidth), height(newHeight), filter(newFilter) {
    const std::int64_t count = newCells.count();
    if (width < 1 || height < 1 || count % width != 0 || count / width != height)
        throw std::invalid_argument("a grid needs width times height cells");
    if (newCells.components < 1 || static_cast<std::size_t>(newCells.components) > sampleComponents)
        throw std::invalid_argument("the cells of a grid need 1 to 16 components");
    const std::string fault = faultOfView(newCells);
    if (!fault.empty() && componentSize(newCells.kind) != 0)
        throw std::invalid_argument("the cells of a grid: " + fault);
}

GridSampler::~GridSampler() = default;

bool GridSampler::sample(const void* coordinates, CpuElementKind coordinateKind,
                         int coordinateMultiplicity, void* values, CpuElementKind valueKind,
                         int valueMultiplicity, unsigned char* validity, int count) {
    if (!isNumeric(coordinateKind) || !isNumeric(valueKind) ||
        !isNumeric(registerKind(cells.kind())) || coordinateMultiplicity != 2 ||
        valueMultiplicity != cells.components() || coordinates == nullptr)
        return false;
    const LaneConversion toDouble = laneConversion(CpuElementKind::Float64, coordinateKind);
    const auto* in = static_cast<const unsigned char*>(coordinates);
    auto* out = static_cast<unsigned char*>(values);
    const auto laneBytes = static_cast<std::ptrdiff_t>(elementSize(coordinateKind));
    const auto valueBytes = static_cast<std::ptrdiff_t>(elementSize(valueKind)) * valueMultiplicity;
    for (int i = 0; i < count; ++i, in += 2 * laneBytes, out += valueBytes) {
        if (validity[i] == 0)
            continue;
        const double x = readDouble(toDouble, in);
        const double y = readDouble(toDouble, in + laneBytes);
        const bool found = filter == Filter::Nearest ? nearest(x, y, valueKind, out)
                                                     : bilinear(x, y, valueKind, out);
        if (!found)
            validity[i] = 0;
    }
    return true;
}

bool GridSampler::nearest(double x, double y, CpuElementKind kind, unsigned char* out) const {
    const double column = nearestCell(x);
    const double row = nearestCell(y);
    if (!(column >= 0 && row >= 0 && column < static_cast<double>(width) &&
          row < static_cast<double>(height)))
        return false;
    const std::int64_t cell =
        static_cast<std::int64_t>(row) * width + static_cast<std::int64_t>(column);
    if (!cells.isPresent(cell))
        return false;
    convertSpread(laneConversion(kind, cells.kind()), out, elementSize(kind), cells.addressOf(cell),
                  cells.laneBytes(), cells.componentStride(), cells.components());
    return true;
}

bool GridSampler::bilinear(double x, double y, CpuElementKind kind, unsigned char* out) const {
    if (!(x >= 0 && y >= 0 && x <= static_cast<double>(width - 1) &&
          y <= static_cast<double>(height - 1)))
        return false;
    const double left = std::floor(x);
    const double top = std::floor(y);
    const auto components = static_cast<std::size_t>(cells.components());
    const LaneConversion toDouble = laneConversion(CpuElementKind::Float64, cells.kind());
    std::array<double, sampleComponents> sum{};
    for (int corner = 0; corner < 4; ++corner) {
        const double dx = corner & 1 ? x - left : 1 - (x - left);
        const double dy = corner & 2 ? y - top : 1 - (y - top);
        // A cell with the weight 0 need not exist.
        if (dx * dy == 0)
            continue;
        const std::int64_t cell = (static_cast<std::int64_t>(top) + (corner >> 1)) * width +
                                  static_cast<std::int64_t>(left) + (corner & 1);
        if (!cells.isPresent(cell))
            return false;
        std::array<double, sampleComponents> value;
        convertSpread(toDouble, reinterpret_cast<unsigned char*>(value.data()), sizeof(double),
                      cells.addressOf(cell), cells.laneBytes(), cells.componentStride(),
                      cells.components());
        for (std::size_t c = 0; c < components; ++c)
            sum[c] += value[c] * (dx * dy);
    }
    storeDoubles(kind, out, sum.data(), components);
    return true;
}

} // namespace Fenlet
