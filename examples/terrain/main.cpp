// Draws a shaded relief of an elevation grid.
#include "picture.h"
#include "programs.h"
#include "terminal/command_line.h"
#include "terminal/progress.h"

#include <fenletarrays/array_run.h>
#include <fenlethosts/npy.h>
#include <fenlethosts/samplers.h>
#include <fenletparallel/parallel_run.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

namespace Terrain {
namespace {

using namespace Fenlet;

struct Options {
    std::string input = "data/jacksboro_elevation.npy";
    std::string output = "terrain.png";
    std::optional<int> blockSize;
    int enlarge = 2;
    double seaLevel = 306; // the reservoir in the default grid is at 305
    double spacingEast = 75;
    double spacingSouth = 92;
    double exaggeration = 1.5;
    double lightAzimuth = 315;
    double lightAltitude = 45;
    bool northUp = true;
};

/// Heights in metres, row after row.
struct Heights {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<float> metres;

    long long count() const { return static_cast<long long>(width) * height; }
};

/// Runs a program over arrays on every core. `what` says on a terminal what takes so long.
void evaluate(const FenletProgram& program, const Options& options, const char* what,
              const std::vector<ArrayInput>& inputs, const std::vector<ArrayOutput>& outputs) {
    ArrayRun run(program, {options.blockSize.value_or(0)});
    if (!run.prepare(inputs, outputs))
        throw std::runtime_error(run.error());
    Terminal::Progress progress(what, run.count());
    ParallelOptions parallel;
    parallel.progress = [&](std::int64_t done, std::int64_t) { progress.advance(done); };
    const ParallelOutcome outcome = runParallel(run, parallel);
    if (!outcome.ok())
        throw std::runtime_error(outcome.error);
}

/// How an output is stored whose missing elements get this value.
OutputRules filledWith(Constant value) {
    OutputRules rules;
    rules.fill = std::move(value);
    return rules;
}

/// Pixels along a side of the picture. Its borders are the centres of the grid's outermost cells:
/// beyond those there are no heights.
std::int64_t enlargedSize(std::int64_t cells, const Options& options) {
    return (cells - 1) * options.enlarge + 1;
}

NpyArray readGrid(const Options& options) {
    NpyArray grid = readNpy(options.input);
    const auto fail = [&](const char* what) { return FileError(options.input + ": " + what); };
    if (grid.shape.size() != 2)
        throw fail("not a grid: its array does not have two dimensions");
    if (grid.kind == CpuElementKind::Tribool)
        throw fail("not a grid of heights: its entries are truth values");
    if (grid.shape[0] < 1 || grid.shape[1] < 1)
        throw fail("the grid is empty");
    // The program numbers the pixels with 32 bits.
    if (enlargedSize(grid.shape[0], options) > 2147483647 / enlargedSize(grid.shape[1], options))
        throw fail("the grid is too large: its picture would have more than 2147483647 pixels");
    return grid;
}

Heights enlarge(const NpyArray& grid, const Options& options) {
    Heights heights;
    heights.height = static_cast<std::int32_t>(enlargedSize(grid.shape[0], options));
    heights.width = static_cast<std::int32_t>(enlargedSize(grid.shape[1], options));
    heights.metres.resize(static_cast<std::size_t>(heights.count()));
    GridSampler sampler(grid.view(), grid.shape[1], grid.shape[0], GridSampler::Filter::Bilinear);
    evaluate(enlargeProgram(heights.width, options.enlarge).program, options, "reading heights",
             {{"grid", sampler}},
             {{"height", heights.metres, filledWith(Constant::ofReals({std::nan("")}))}});
    if (!options.northUp)
        for (std::int32_t row = 0; row < heights.height / 2; ++row)
            std::swap_ranges(heights.metres.begin() + std::ptrdiff_t{row} * heights.width,
                             heights.metres.begin() + std::ptrdiff_t{row + 1} * heights.width,
                             heights.metres.end() - std::ptrdiff_t{row + 1} * heights.width);
    return heights;
}

/// Green valleys, ochre slopes, grey rock and snow, from the lowest land to the highest.
RampSampler paletteFor(const Heights& heights, const Options& options) {
    double low = HUGE_VAL;
    double high = -HUGE_VAL;
    for (const float height : heights.metres) {
        const auto metres = static_cast<double>(height);
        if (std::isfinite(metres) && metres >= options.seaLevel) {
            low = std::min(low, metres);
            high = std::max(high, metres);
        }
    }
    if (!(low <= high))
        low = high = options.seaLevel;
    const auto at = [&](double share) { return low + (high - low) * share; };
    return RampSampler({{at(0.00), {0.36, 0.50, 0.30}},
                        {at(0.12), {0.49, 0.60, 0.36}},
                        {at(0.30), {0.70, 0.70, 0.45}},
                        {at(0.50), {0.74, 0.61, 0.42}},
                        {at(0.70), {0.62, 0.48, 0.38}},
                        {at(0.88), {0.66, 0.62, 0.60}},
                        {at(1.00), {0.95, 0.95, 0.96}}});
}

/// The unit vector toward the light.
Constant lightFor(const Options& options) {
    constexpr double degree = 3.14159265358979323846 / 180;
    const double azimuth = options.lightAzimuth * degree;
    const double altitude = options.lightAltitude * degree;
    return Constant::ofReals({std::sin(azimuth) * std::cos(altitude),
                              -std::cos(azimuth) * std::cos(altitude), std::sin(altitude)});
}

Picture draw(const Heights& heights, const Options& options) {
    Picture picture{
        static_cast<std::size_t>(heights.width), static_cast<std::size_t>(heights.height), {}};
    picture.pixels.resize(static_cast<std::size_t>(heights.count()) * 4);
    std::vector<unsigned char> visible(static_cast<std::size_t>(heights.count()));
    RampSampler palette = paletteFor(heights, options);
    const double scale = options.exaggeration * options.enlarge / 2;
    // Red, green and blue are the first three of the four bytes of a pixel.
    const MutableArrayView colour(picture.pixels.data(), ArrayKind::UInt8, heights.count(), 3, 4);
    OutputRules colourRules = filledWith(Constant::ofIntegers({0}));
    colourRules.narrowing = Narrowing::Saturate;
    evaluate(reliefProgram(heights.width).program, options, "drawing",
             {{"height", heights.metres},
              {"sea level", options.seaLevel},
              {"slope scale",
               Constant::ofReals({scale / options.spacingEast, scale / options.spacingSouth})},
              {"light", lightFor(options)},
              {"palette", palette}},
             {{"colour", colour, colourRules},
              {"visible", {visible.data(), ArrayKind::Bool, heights.count()}}});
    for (std::size_t i = 0; i < visible.size(); ++i) {
        unsigned char* const pixel = picture.pixels.data() + 4 * i;
        if (visible[i] != 0)
            pixel[3] = 255;
        else
            std::fill_n(pixel, 3, static_cast<unsigned char>(0));
    }
    return picture;
}

void addOptions(CLI::App& app, Options& options) {
    app.add_option("input", options.input, "elevation grid in metres, a two-dimensional .npy file")
        ->check(Terminal::fileName())
        ->capture_default_str();
    app.add_option("-o,--output", options.output, "picture to write")
        ->check(Terminal::fileName())
        ->capture_default_str();
    app.add_option("--block-size", options.blockSize, "elements to evaluate at a time")
        ->check(CLI::Range(1, 1 << 20))
        ->default_str("chosen for the program");
    app.add_option("--enlarge", options.enlarge, "pixels from one grid point to the next")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    app.add_option("--sea-level", options.seaLevel, "height in metres below which there is water")
        ->check(Terminal::finite())
        ->capture_default_str();
    app.add_option("--spacing-east", options.spacingEast, "metres from column to column")
        ->check(Terminal::positive())
        ->capture_default_str();
    app.add_option("--spacing-south", options.spacingSouth, "metres from row to row")
        ->check(Terminal::positive())
        ->capture_default_str();
    app.add_option("--exaggeration", options.exaggeration,
                   "factor by which slopes are drawn steeper")
        ->check(Terminal::notNegative())
        ->capture_default_str();
    app.add_option("--light-azimuth", options.lightAzimuth,
                   "where the light comes from, in degrees clockwise from north")
        ->check(Terminal::finite())
        ->capture_default_str();
    app.add_option("--light-altitude", options.lightAltitude, "how high the light is, in degrees")
        ->check(Terminal::finite())
        ->check(CLI::Range(0.0, 90.0))
        ->capture_default_str();
    app.add_flag("!--south-up", options.northUp, "the grid's first row is its southernmost");
}

} // namespace
} // namespace Terrain

int main(int argumentCount, char** arguments) {
    using namespace Terrain;
    Options options;
    CLI::App app("Draws a shaded relief of an elevation grid.", "terrain");
    addOptions(app, options);
    if (const auto status = Terminal::readCommandLine(app, argumentCount, arguments))
        return *status;
    try {
        const Heights heights = enlarge(readGrid(options), options);
        const Picture picture = draw(heights, options);
        writePng(picture, options.output);
        std::printf("%s: %zu x %zu pixels\n", options.output.c_str(), picture.width,
                    picture.height);
        return 0;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "terrain: %s: not enough memory\n", options.input.c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "terrain: %s\n", error.what());
    }
    return 1;
}
