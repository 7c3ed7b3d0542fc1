// A builder in which registers of all sorts are already defined.
#pragma once

#include <fenletir/program_builder.h>

namespace Fenlet::BuilderTests {

/// Registers %0 to %13, in the order of these members and with their names.
struct Bench {
    explicit Bench(ProgramBuilder::OnError onError = ProgramBuilder::OnError::Throw)
        : builder(onError) {}

    Register filled(const char* name, Format format, std::int32_t multiplicity = 1) {
        return builder.name(builder.loadField(field, index, format, multiplicity), name);
    }

    ProgramBuilder builder;
    FieldHandle otherField = builder.field("other");
    FieldHandle field = builder.field("field");
    UniformHandle otherUniform = builder.uniform("other");
    UniformHandle uniform = builder.uniform("uniform");
    SamplerHandle otherSampler = builder.sampler("other");
    SamplerHandle sampler = builder.sampler("sampler");

    Register index = builder.name(builder.elementIndex(), "index");
    Register truth = filled("truth", Format::Tribool);
    Register truth2 = filled("truth2", Format::Tribool, 2);
    Register truth3 = filled("truth3", Format::Tribool, 3);
    Register int8 = filled("int8", Format::Int8);
    Register int16x3 = filled("int16x3", Format::Int16, 3);
    Register int32 = filled("int32", Format::Int32);
    Register half = filled("half", Format::Half);
    Register half3 = filled("half3", Format::Half, 3);
    Register real = filled("real", Format::Float32);
    Register real2 = filled("real2", Format::Float32, 2);
    Register real3 = filled("real3", Format::Float32, 3);
    Register wide = filled("wide", Format::Float64);
    Register wide3 = filled("wide3", Format::Float64, 3);
};

/// The number of registers and of instructions that a bench begins with.
inline constexpr std::int32_t benchRegisters = 14;

} // namespace Fenlet::BuilderTests
