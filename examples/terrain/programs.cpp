// The two programs of this example.
#include "programs.h"

#include <fenletir/program_builder.h>

namespace Terrain {

using namespace Fenlet;

namespace {

/// The element's row and column, from its number.
struct Position {
    Register row;
    Register column;
};

Position positionOf(ProgramBuilder& program, Register index, std::int32_t width) {
    const auto columns = program.integerConstant(Format::Int32, {width});
    const auto row = program.divide(index, columns);
    return {row, program.subtract(index, program.multiply(row, columns))};
}

FenletProgram finish(ProgramBuilder& program) {
    BuildResult result = program.build();
    if (!result.ok())
        throw ProgramError(result.error);
    return std::move(result.program);
}

} // namespace

EnlargeProgram enlargeProgram(std::int32_t width, std::int32_t factor) {
    ProgramBuilder program;
    const auto grid = program.sampler("grid");
    const auto index = program.convert(program.elementIndex(), Format::Int32);
    const auto [row, column] = positionOf(program, index, width);
    const double step = 1.0 / factor;
    // A vector is the sum of its components, each times the unit vector of its axis.
    const auto along =
        program.multiply(program.constant(Format::Float32, {step, 0}), column, Format::Float32);
    const auto down =
        program.multiply(program.constant(Format::Float32, {0, step}), row, Format::Float32);
    const auto height = program.sample(grid, program.add(along, down), Format::Float32);
    program.output(height, "height");
    EnlargeProgram result;
    result.height = height.number;
    result.program = finish(program);
    return result;
}

ReliefProgram reliefProgram(std::int32_t width) {
    ProgramBuilder program;
    const auto heights = program.field("height");
    const auto seaLevel = program.loadUniform(program.uniform("sea level"), Format::Float32);
    const auto slopeScale = program.loadUniform(program.uniform("slope scale"), Format::Float32, 2);
    const auto light = program.loadUniform(program.uniform("light"), Format::Float32, 3);
    const auto palette = program.sampler("palette");

    const auto index = program.convert(program.elementIndex(), Format::Int32);
    const auto column = positionOf(program, index, width).column;
    const auto one = program.integerConstant(Format::Int32, {1});
    const auto none = program.integerConstant(Format::Int32, {-1});
    const auto last = program.integerConstant(Format::Int32, {width - 1});
    const auto oneRow = program.integerConstant(Format::Int32, {width});

    // A neighbour beyond the border has no height. Above and below the grid its number is outside
    // the field; at the ends of a row, -1 takes the place of its number.
    const auto isFirst = program.lessEqual(column, program.integerConstant(Format::Int32, {0}));
    const auto isLast = program.greaterEqual(column, last);
    const auto heightAt = [&](Register at) {
        return program.loadField(heights, at, Format::Float32);
    };
    const auto height = heightAt(index);
    const auto west = heightAt(program.select(isFirst, none, program.subtract(index, one)));
    const auto east = heightAt(program.select(isLast, none, program.add(index, one)));
    const auto north = heightAt(program.subtract(index, oneRow));
    const auto south = heightAt(program.add(index, oneRow));

    // The surface's normal, from the slopes to the east and to the south.
    const auto slopeEast =
        program.multiply(program.subtract(east, west), program.component(slopeScale, 0));
    const auto slopeSouth =
        program.multiply(program.subtract(south, north), program.component(slopeScale, 1));
    const auto axis = [&](double x, double y, double z) {
        return program.constant(Format::Float32, {x, y, z});
    };
    const auto upright = program.add(program.multiply(axis(1, 0, 0), program.negate(slopeEast)),
                                     program.multiply(axis(0, 1, 0), program.negate(slopeSouth)));
    const auto steep = program.add(upright, axis(0, 0, 1));
    const auto normal = program.divide(steep, program.length(steep));

    // The cosine of the angle between the light and the normal.
    const auto lit = program.multiply(normal, light);
    const auto dot = program.add(program.add(program.component(lit, 0), program.component(lit, 1)),
                                 program.component(lit, 2));
    const auto zero = program.constant(Format::Float32, {0});
    const auto brightness = program.select(program.greater(dot, zero), dot, zero);
    const auto ambient = program.constant(Format::Float32, {0.35});
    const auto diffuse = program.constant(Format::Float32, {0.85});
    const auto shade = program.add(program.multiply(brightness, diffuse), ambient);

    // Water has one colour and no shade; land has the palette's colour, shaded.
    const auto isWater = program.less(height, seaLevel);
    const auto land = program.multiply(program.sample(palette, height, Format::Float32, 3), shade);
    const auto water = axis(0.29, 0.47, 0.62);
    const auto chosen = program.select(isWater, water, land);
    const auto white = axis(1, 1, 1);
    const auto colour = program.select(program.less(chosen, white), chosen, white);

    // An element is not visible if its own height or a neighbour's is missing or a NaN. If one is
    // missing, a comparison below is unknown. An element whose own height is a NaN is neither land
    // nor water. A neighbour's NaN makes `dot` a NaN, which does not equal itself.
    const auto isShaded = program.equal(dot, dot);
    const auto isDry = program.greaterEqual(height, seaLevel);
    const auto visible =
        program.isTrue(program.logicalAnd(isShaded, program.logicalOr(isDry, isWater)));

    // Adding one half and converting to Int32, which truncates, rounds to the nearest integer.
    const auto scaled =
        program.add(program.multiply(colour, program.constant(Format::Float32, {255})),
                    program.constant(Format::Float32, {0.5}));
    const auto bytes =
        program.add(scaled, program.integerConstant(Format::Int32, {0}), Format::Int32);
    program.output(bytes, "colour");
    program.output(visible, "visible");
    ReliefProgram result;
    result.colour = bytes.number;
    result.visible = visible.number;
    result.program = finish(program);
    return result;
}

} // namespace Terrain
