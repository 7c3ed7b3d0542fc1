// The two programs of this example: one enlarges a grid of heights, the other draws it.
#pragma once

#include <fenletir/program.h>

#include <cstdint>

namespace Terrain {

/// Samples the sampler "grid".
struct EnlargeProgram {
    Fenlet::FenletProgram program;
    int height = 0; ///< "height", the result's register, Float32
};

/// The program for rows of `width` elements, at `factor` times the grid's resolution.
EnlargeProgram enlargeProgram(std::int32_t width, std::int32_t factor);

/// Draws the field "height" with the uniforms "sea level", "slope scale" and "light" and the
/// sampler "palette".
struct ReliefProgram {
    Fenlet::FenletProgram program;
    int colour = 0;  ///< "colour", a result's register, Int32: red, green and blue from 0 to 255
    int visible = 0; ///< "visible", another, Tribool: false where a neighbour is missing
    static constexpr int seaLevelUniform = 0;
    static constexpr int slopeScaleUniform = 1; ///< 1 / (2 * spacing), east and south
    static constexpr int lightUniform = 2;      ///< toward the light, length 1
};

/// The program for a shaded relief with rows of `width` heights.
ReliefProgram reliefProgram(std::int32_t width);

} // namespace Terrain
