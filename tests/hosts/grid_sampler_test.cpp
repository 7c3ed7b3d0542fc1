// A sampler on a grid with two coordinates.
#include "hosts/sampling.h"
#include "kernels/fenced_area.h"

#include <fenlethosts/samplers.h>

#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>

namespace Fenlet::Hosts {
namespace {

using Filter = GridSampler::Filter;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Three columns and two rows. The rows are 1 2 4 and 8 16 32.
const std::vector<double> sixCells = {1, 2, 4, 8, 16, 32};

GridSampler sixCellGrid(Filter filter) {
    return {ArrayView::of(sixCells.data(), 6), 3, 2, filter};
}

/// The value at (x, y); NaN if the element is invalid.
double valueAt(GridSampler& grid, double x, double y) {
    SampleCall call = realCall(2, 1, {x, y});
    EXPECT_TRUE(call.ask(grid));
    return call.validity[0] == 0 ? nan : call.value(0);
}

void expectNothingAt(GridSampler& grid, const std::vector<double>& pairs) {
    for (std::size_t i = 0; i < pairs.size(); i += 2)
        EXPECT_TRUE(std::isnan(valueAt(grid, pairs[i], pairs[i + 1])))
            << pairs[i] << ", " << pairs[i + 1];
}

TEST(NearestGridSampler, TakesTheCellThatACoordinateLiesIn) {
    GridSampler grid = sixCellGrid(Filter::Nearest);
    for (int row = 0; row < 2; ++row)
        for (int column = 0; column < 3; ++column)
            for (const double dx : {-0.5, -0.25, 0.0, 0.4999})
                for (const double dy : {-0.5, 0.0, 0.4999})
                    EXPECT_EQ(valueAt(grid, column + dx, row + dy),
                              sixCells[static_cast<std::size_t>(row * 3 + column)]);
}

TEST(NearestGridSampler, DecidesBoundariesToTheLastBit) {
    GridSampler grid = sixCellGrid(Filter::Nearest);
    EXPECT_EQ(valueAt(grid, std::nextafter(0.5, 0), 0), 1);
    EXPECT_EQ(valueAt(grid, 0.5, 0), 2);
    EXPECT_EQ(valueAt(grid, std::nextafter(1.5, 0), 0), 2);
    EXPECT_EQ(valueAt(grid, 1.5, 0), 4);
    EXPECT_EQ(valueAt(grid, 0, std::nextafter(0.5, 0)), 1);
    EXPECT_EQ(valueAt(grid, 0, 0.5), 8);
    EXPECT_EQ(valueAt(grid, -0.5, -0.5), 1);
    EXPECT_EQ(valueAt(grid, -0.0, -DBL_TRUE_MIN), 1);
    EXPECT_EQ(valueAt(grid, std::nextafter(2.5, 0), std::nextafter(1.5, 0)), 32);
}

TEST(NearestGridSampler, HasNoValueOutsideAllCells) {
    GridSampler grid = sixCellGrid(Filter::Nearest);
    expectNothingAt(grid, {std::nextafter(-0.5, -1),
                           0,
                           0,
                           std::nextafter(-0.5, -1),
                           2.5,
                           0,
                           0,
                           1.5,
                           -1,
                           -1,
                           3,
                           2,
                           1e300,
                           0,
                           0,
                           -1e300,
                           infinity,
                           0,
                           -infinity,
                           0,
                           0,
                           infinity,
                           0,
                           -infinity,
                           nan,
                           0,
                           0,
                           nan,
                           nan,
                           nan});
}

TEST(NearestGridSampler, KeepsEveryBitBetweenEqualKindsAndConvertsElse) {
    for (const CpuElementKind from : allKinds) {
        const std::size_t count = tellingBits(from).size();
        const Bytes cells = tellingLanes(from, count);
        GridSampler grid(
            ArrayView{cells.data(), from, static_cast<std::int64_t>(count), 1, 0, nullptr},
            static_cast<std::int64_t>(count), 1, Filter::Nearest);
        std::vector<double> coordinates;
        for (std::size_t i = 0; i < count; ++i)
            coordinates.insert(coordinates.end(), {static_cast<double>(i), 0});
        for (const CpuElementKind to : allKinds) {
            SampleCall call(CpuElementKind::Float64, 2, to, 1, coordinates);
            if (from == CpuElementKind::Tribool || to == CpuElementKind::Tribool) {
                EXPECT_TRUE(declines(grid, call));
                continue;
            }
            ASSERT_TRUE(call.ask(grid));
            for (std::size_t i = 0; i < count; ++i)
                EXPECT_EQ(call.bits(i), converted(to, from, tellingBits(from)[i]))
                    << cpuElementKindName(from) << " to " << cpuElementKindName(to) << ", " << i;
        }
    }
}

TEST(BilinearGridSampler, MixesTheFourCellsAround) {
    GridSampler grid = sixCellGrid(Filter::Bilinear);
    EXPECT_EQ(valueAt(grid, 0.5, 0), 1.5);
    EXPECT_EQ(valueAt(grid, 0, 0.5), 4.5);
    EXPECT_EQ(valueAt(grid, 0.5, 0.5), 6.75);
    EXPECT_EQ(valueAt(grid, 1.25, 0.75),
              0.25 * (2 * 0.75 + 4 * 0.25) + 0.75 * (16 * 0.75 + 32 * 0.25));
    for (int row = 0; row < 2; ++row)
        for (int column = 0; column < 3; ++column)
            EXPECT_EQ(valueAt(grid, column, row),
                      sixCells[static_cast<std::size_t>(row * 3 + column)]);
}

TEST(BilinearGridSampler, HasNoValueBeyondTheOutermostCentres) {
    GridSampler grid = sixCellGrid(Filter::Bilinear);
    EXPECT_EQ(valueAt(grid, -0.0, -0.0), 1);
    EXPECT_EQ(valueAt(grid, 2, 1), 32);
    expectNothingAt(grid, {-DBL_TRUE_MIN,
                           0,
                           0,
                           -DBL_TRUE_MIN,
                           std::nextafter(2, 3),
                           0,
                           0,
                           std::nextafter(1, 2),
                           1e300,
                           0,
                           infinity,
                           0,
                           0,
                           infinity,
                           -infinity,
                           0,
                           nan,
                           0,
                           0,
                           nan});
}

TEST(BilinearGridSampler, NeedsOnlyTheCellsThatCount) {
    Bytes present = {1, 1, 0, 1, 2, 1};
    ArrayView cells = ArrayView::of(sixCells.data(), 6);
    cells.presence.data = present.data();
    GridSampler grid(cells, 3, 2, Filter::Bilinear);
    EXPECT_EQ(valueAt(grid, 1, 0), 2);
    EXPECT_EQ(valueAt(grid, 1, 0.5), 9);
    EXPECT_EQ(valueAt(grid, 2, 1), 32);
    EXPECT_EQ(valueAt(grid, 1.5, 1), 24);
    expectNothingAt(grid, {2, 0, 1.5, 0, 1.5, 0.5, 2, 0.5, std::nextafter(1, 2), 0});
    GridSampler nearest(cells, 3, 2, Filter::Nearest);
    expectNothingAt(nearest, {2, 0});
    EXPECT_EQ(valueAt(nearest, 2, 1), 32);
}

TEST(BilinearGridSampler, TakesAndGivesEveryNumericKind) {
    const std::vector<double> values = {-4, 100, 7, 31};
    for (const CpuElementKind kind : allKinds) {
        Bytes cells(values.size() * 8);
        for (std::size_t i = 0; i < values.size() && kind != CpuElementKind::Tribool; ++i)
            storeBits(kind, cells.data() + i * static_cast<std::size_t>(elementSize(kind)),
                      bitsOf(kind, values[i]));
        GridSampler grid(ArrayView{cells.data(), kind, 4, 1, 0, nullptr}, 2, 2, Filter::Bilinear);
        for (const CpuElementKind to : allKinds) {
            SampleCall call(CpuElementKind::Half, 2, to, 1, {0.25, 0.5, 1, 1});
            if (kind == CpuElementKind::Tribool || to == CpuElementKind::Tribool) {
                EXPECT_TRUE(declines(grid, call));
                continue;
            }
            ASSERT_TRUE(call.ask(grid));
            // (-4 * 3 + 100) / 4 above and (7 * 3 + 31) / 4 below.
            EXPECT_EQ(call.bits(0), bitsOf(to, 17.5));
            EXPECT_EQ(call.bits(1), bitsOf(to, 31));
        }
    }
}

TEST(GridSampler, OneCellIsAllThereIs) {
    const float cell = 2.5;
    for (const Filter filter : {Filter::Nearest, Filter::Bilinear}) {
        GridSampler grid(ArrayView::of(&cell, 1), 1, 1, filter);
        EXPECT_EQ(valueAt(grid, 0, 0), 2.5);
        expectNothingAt(grid, {1, 0, 0, 1, -1, 0, 0, -1, 0.5, 0});
    }
    GridSampler nearest(ArrayView::of(&cell, 1), 1, 1, Filter::Nearest);
    EXPECT_EQ(valueAt(nearest, 0.25, -0.5), 2.5);
    GridSampler bilinear(ArrayView::of(&cell, 1), 1, 1, Filter::Bilinear);
    expectNothingAt(bilinear, {0.25, 0, 0, -0.5});
}

TEST(GridSampler, TakesCoordinatesOfEveryNumericKind) {
    for (const Filter filter : {Filter::Nearest, Filter::Bilinear}) {
        GridSampler grid = sixCellGrid(filter);
        for (const CpuElementKind kind : allKinds) {
            if (kind == CpuElementKind::Tribool) {
                EXPECT_TRUE(declines(grid, SampleCall(kind, 2, CpuElementKind::Int32, 1, {})));
                continue;
            }
            SampleCall call(kind, 2, CpuElementKind::Int32, 1, {2, 1, -3, 0, 1, 0});
            ASSERT_TRUE(call.ask(grid));
            EXPECT_EQ(call.validity, (Bytes{1, 0, 1}));
            EXPECT_EQ(call.bits(0), 32u);
            EXPECT_EQ(call.bits(2), 2u);
        }
    }
    // Integers that would lie within the grid if they lost their upper bits are outside, too.
    GridSampler grid = sixCellGrid(Filter::Nearest);
    SampleCall far(CpuElementKind::Int64, 2, CpuElementKind::Int32, 1, {0, 0, 0, 0});
    storeBits(CpuElementKind::Int64, far.coordinates.data() + 1, std::uint64_t{1} << 32);
    storeBits(CpuElementKind::Int64, far.coordinates.data() + 25, std::uint64_t{1} << 63);
    ASSERT_TRUE(far.ask(grid));
    EXPECT_EQ(far.validity, (Bytes{0, 0}));
}

TEST(GridSampler, LeavesInvalidPositionsAlone) {
    for (const Filter filter : {Filter::Nearest, Filter::Bilinear}) {
        GridSampler grid = sixCellGrid(filter);
        SampleCall call = realCall(2, 1, {0, 0, 1, 0, 2, 0});
        call.validity = {1, 0, 9};
        ASSERT_TRUE(call.ask(grid));
        EXPECT_EQ(call.validity, (Bytes{1, 0, 9}));
        EXPECT_EQ(call.bits(1), 0xA5A5A5A5A5A5A5A5u);
        EXPECT_EQ(call.value(2), 4);
    }
}

TEST(GridSampler, ReadsNoByteOutsideItsCells) {
    // Cells of two components in records of five halves; the last record ends at the fence.
    const std::int64_t stride = 10;
    FencedArea area(5 * stride + 4, FencedArea::Fence::After);
    FencedArea present(6, FencedArea::Fence::After);
    std::memset(present.data(), 1, 6);
    for (std::int64_t cell = 0; cell < 6; ++cell)
        for (const int c : {0, 1})
            storeBits(CpuElementKind::Half, area.data() + cell * stride + 2 * c,
                      bitsOf(CpuElementKind::Half, static_cast<double>(10 * cell + c)));
    const ArrayView cells{area.data(), CpuElementKind::Half, 6, 2, stride, present.data()};
    for (const Filter filter : {Filter::Nearest, Filter::Bilinear}) {
        GridSampler grid(cells, 3, 2, filter);
        int found = 0;
        for (double y = -1; y <= 2.5; y += 0.25) {
            for (double x = -1; x <= 3.5; x += 0.25) {
                SampleCall call = realCall(2, 2, {x, y});
                ASSERT_TRUE(call.ask(grid));
                if (call.validity[0] == 0)
                    continue;
                ++found;
                EXPECT_EQ(call.value(0, 1), call.value(0, 0) + 1) << x << ", " << y;
            }
        }
        // Quarters from -0.5 below 2.5 and 1.5, and from 0 to 2 and 1.
        EXPECT_EQ(found, filter == Filter::Nearest ? 12 * 8 : 9 * 5);
    }
}

TEST(GridSampler, DeclinesWhatItCannotAnswer) {
    for (const Filter filter : {Filter::Nearest, Filter::Bilinear}) {
        GridSampler grid = sixCellGrid(filter);
        EXPECT_FALSE(declines(grid, realCall(2, 1, {0, 0})));
        EXPECT_TRUE(declines(grid, realCall(2, 2, {0, 0})));
        EXPECT_TRUE(declines(grid, realCall(1, 1, {0, 0})));
        EXPECT_TRUE(declines(grid, realCall(3, 1, {0, 0, 0})));
        for (const CpuElementKind kind : kindsWithoutStorage) {
            SampleCall coordinates = realCall(2, 1, {0, 0});
            coordinates.coordinateKind = kind;
            EXPECT_TRUE(declines(grid, coordinates));
            SampleCall values = realCall(2, 1, {0, 0});
            values.valueKind = kind;
            EXPECT_TRUE(declines(grid, values));
            GridSampler shapeless(ArrayView{sixCells.data(), kind, 6, 1, 8, nullptr}, 3, 2, filter);
            EXPECT_TRUE(declines(shapeless, realCall(2, 1, {0, 0})));
        }
        SampleCall call = realCall(2, 1, {0, 0});
        EXPECT_FALSE(grid.sample(nullptr, CpuElementKind::Float64, 2, call.values.data(),
                                 CpuElementKind::Float64, 1, call.validity.data(), 1));
    }
}

TEST(GridSampler, IsNotMadeOfCellsThatAreNoGrid) {
    const auto expectRefused = [](std::int64_t count, std::int64_t width, std::int64_t height,
                                  std::int32_t components = 1) {
        const ArrayView cells = ArrayView::of(sixCells.data(), count, components);
        EXPECT_THROW(GridSampler(cells, width, height, Filter::Nearest), std::invalid_argument)
            << count << " as " << width << " x " << height;
    };
    expectRefused(6, 2, 2);
    expectRefused(6, 3, 3);
    expectRefused(6, 4, 1);
    expectRefused(6, -3, -2);
    expectRefused(0, 0, 0);
    expectRefused(0, 0, 1);
    expectRefused(6, 0, 6);
    expectRefused(0, std::int64_t{1} << 32, std::int64_t{1} << 32);
    expectRefused(6, 3, 2, 0);
    expectRefused(6, 3, 2, 17);
    EXPECT_NO_THROW(GridSampler(ArrayView::of(sixCells.data(), 6), 6, 1, Filter::Nearest));
}

} // namespace
} // namespace Fenlet::Hosts
