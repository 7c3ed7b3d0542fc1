// The two programs of this example: one enlarges a grid of heights, one draws it.
#pragma once

#include <fenletir/program.h>

#include <cstdint>

namespace Terrain {

/// Where a grid is asked for its heights: `field`, `uniform` and `sampler` numbers are those that
/// the hosts have to be bound at.
struct EnlargeProgram {
    Fenlet::FenletProgram program;
    int height = 0; ///< the register: Float32
    static constexpr int gridSampler = 0;
};

/// Samples a grid at `factor` times its resolution, for rows of `width` elements.
EnlargeProgram enlargeProgram(std::int32_t width, std::int32_t factor);

struct ReliefProgram {
    Fenlet::FenletProgram program;
    int colour = 0;  ///< the register: Int32, red, green and blue from 0 to 255
    int visible = 0; ///< the register: Tribool, false where a neighbour is missing
    static constexpr int heightField = 0;
    static constexpr int seaLevelUniform = 0;
    static constexpr int slopeScaleUniform = 1; ///< 1 / (2 * spacing), east and south
    static constexpr int lightUniform = 2;      ///< toward the light, length 1
    static constexpr int paletteSampler = 0;
};

/// A shaded relief of rows of `width` heights.
ReliefProgram reliefProgram(std::int32_t width);

} // namespace Terrain
