// What the builder refuses: at the call that wrote it, in exact words, returned or thrown.
#include "builder_bench.h"

#include <fenletir/text.h>

#include <climits>
#include <gtest/gtest.h>
#include <string>

namespace Fenlet::BuilderTests {
namespace {

using Builder = ProgramBuilder;

/// The words in which `call` is refused on a new bench. They are the same whether they are thrown
/// or told by `build()`; thrown, they leave the program as it was, and told, they leave none.
template <class Call>
std::string refused(Call&& call) {
    Bench throwing(Builder::OnError::Throw);
    std::string thrown = "nothing is thrown";
    try {
        call(throwing.builder, throwing);
    } catch (const ProgramError& error) {
        thrown = error.what();
    }
    const BuildResult kept = throwing.builder.build();
    EXPECT_EQ(kept.error, "");
    EXPECT_EQ(listing(kept.program), listing(Bench().builder.build().program));

    Bench reporting(Builder::OnError::Report);
    EXPECT_LT(call(reporting.builder, reporting).number, 0);
    const BuildResult told = reporting.builder.build();
    EXPECT_FALSE(told.ok());
    EXPECT_EQ(told.error, thrown);
    EXPECT_EQ(listing(told.program), "");
    return thrown;
}

constexpr auto noFormat = static_cast<Format>(8);

TEST(BuilderRefuses, ConstantsOfNoOrTooManyComponents) {
    const auto ofReals = [](std::size_t count) {
        return refused([count](Builder& p, Bench&) {
            return p.constant(Format::Half, std::vector<double>(count));
        });
    };
    const auto ofIntegers = [](std::size_t count) {
        return refused([count](Builder& p, Bench&) {
            return p.integerConstant(Format::Int64, std::vector<std::int64_t>(count));
        });
    };
    for (const std::size_t count : {0u, 65u, 1000u}) {
        const std::string words = "instruction 14 (LoadConstant): " + std::to_string(count) +
                                  " components are given; a constant has 1 to 64";
        EXPECT_EQ(ofReals(count), words);
        EXPECT_EQ(ofIntegers(count), words);
    }
}

TEST(BuilderRefuses, ConstantsThatTheirFormatDoesNotHave) {
    const std::string noTruth =
        "instruction 14 (LoadConstant): a number has no truth value; a Tribool takes "
        "truthConstant()";
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.constant(Format::Tribool, {1}); }),
              noTruth);
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.integerConstant(Format::Tribool, {1}); }),
              noTruth);
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.constant(noFormat, {1}); }),
              "instruction 14 (LoadConstant): the format asked for, 8, is none; it takes one from "
              "Tribool to Float64");
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.truthConstant(Truth{2}); }),
              "instruction 14 (LoadConstant): 2 is no truth value; it takes False, True or "
              "Unknown");
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.truthConstant(Truth{254}); }),
              "instruction 14 (LoadConstant): 254 is no truth value; it takes False, True or "
              "Unknown");
}

TEST(BuilderRefuses, UniformsOfNoOrTooManyComponents) {
    const auto ofComponents = [](std::int32_t count) {
        return refused([count](Builder& p, Bench& b) {
            return p.loadUniform(b.uniform, Format::Float32, count);
        });
    };
    EXPECT_EQ(ofComponents(65), "instruction 14 (LoadUniform): 65 components are asked for; a "
                                "uniform has 1 to 64");
    EXPECT_EQ(ofComponents(0), "instruction 14 (LoadUniform): 0 components are asked for; a "
                               "uniform has 1 to 64");
    EXPECT_EQ(ofComponents(INT_MIN), "instruction 14 (LoadUniform): -2147483648 components are "
                                     "asked for; a uniform has 1 to 64");
}

TEST(BuilderRefuses, RegistersOfNoComponents) {
    EXPECT_EQ(refused([](Builder& p, Bench& b) {
                  return p.loadField(b.field, b.index, Format::Float32, 0);
              }),
              "instruction 14 (LoadField): 0 components are asked for; a register has at least 1");
    EXPECT_EQ(refused([](Builder& p, Bench& b) {
                  return p.sample(b.sampler, b.real, Format::Float32, -1);
              }),
              "instruction 14 (Sample): -1 components are asked for; a register has at least 1");
}

TEST(BuilderRefuses, FormatsThatAreNone) {
    const auto words = [](const char* op, int format) {
        return "instruction 14 (" + std::string(op) + "): the format asked for, " +
               std::to_string(format) + ", is none; it takes one from Tribool to Float64";
    };
    for (const std::int32_t number : {-1, 8, INT_MAX, INT_MIN}) {
        const auto format = static_cast<Format>(number);
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return p.loadUniform(b.uniform, format); }),
                  words("LoadUniform", number));
        EXPECT_EQ(
            refused([=](Builder& p, Bench& b) { return p.loadField(b.field, b.index, format); }),
            words("LoadField", number));
        EXPECT_EQ(
            refused([=](Builder& p, Bench& b) { return p.sample(b.sampler, b.real, format); }),
            words("Sample", number));
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return p.component(b.real, 0, format); }),
                  words("Component", number));
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return p.convert(b.truth, format); }),
                  words("Component", number));
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return p.negate(b.real, format); }),
                  words("Negate", number));
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return p.length(b.real3, format); }),
                  words("Length", number));
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return p.add(b.real, b.real, format); }),
                  words("Add", number));
        EXPECT_EQ(refused([=](Builder& p, Bench& b) {
                      return p.select(b.truth, b.real, b.real, format);
                  }),
                  words("Select", number));
    }
}

TEST(BuilderRefuses, IndicesThatAreNotOneInteger) {
    const std::string rest = "; it takes one component of an integer format";
    EXPECT_EQ(
        refused([](Builder& p, Bench& b) { return p.loadField(b.field, b.real, Format::Float32); }),
        "instruction 14 (LoadField): the index is register %9 \"real\" (Float32, 1 "
        "component)" +
            rest);
    EXPECT_EQ(refused([](Builder& p, Bench& b) {
                  return p.loadField(b.field, b.truth, Format::Float32);
              }),
              "instruction 14 (LoadField): the index is register %1 \"truth\" (Tribool, 1 "
              "component)" +
                  rest);
    EXPECT_EQ(refused([](Builder& p, Bench& b) {
                  return p.loadField(b.field, b.int16x3, Format::Float32);
              }),
              "instruction 14 (LoadField): the index is register %5 \"int16x3\" (Int16, 3 "
              "components)" +
                  rest);
}

} // namespace
} // namespace Fenlet::BuilderTests
