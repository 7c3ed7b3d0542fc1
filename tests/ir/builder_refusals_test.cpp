// The refusals of the builder, with their exact messages, returned or thrown.
#include "builder_bench.h"

#include <fenletir/text.h>

#include <climits>
#include <gtest/gtest.h>
#include <string>

namespace Fenlet::BuilderTests {
namespace {

using Builder = ProgramBuilder;

/// The message with which `call` is refused on a new bench. The message must be the same whether
/// the call throws it or `build()` returns it. A call that throws must leave the program unchanged.
/// After a call that reports an error, `build()` must return no program.
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
                                  " components given; a constant has 1 to 64";
        EXPECT_EQ(ofReals(count), words);
        EXPECT_EQ(ofIntegers(count), words);
    }
}

TEST(BuilderRefuses, ConstantsThatTheirFormatDoesNotHave) {
    const std::string noTruth = "instruction 14 (LoadConstant): a number is not a truth value; use "
                                "truthConstant() for Tribool";
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.constant(Format::Tribool, {1}); }),
              noTruth);
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.integerConstant(Format::Tribool, {1}); }),
              noTruth);
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.constant(noFormat, {1}); }),
              "instruction 14 (LoadConstant): the requested format, 8, does not exist; use "
              "Tribool, Int8, Int16, Int32, Int64, Half, Float32 or Float64");
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.truthConstant(Truth{2}); }),
              "instruction 14 (LoadConstant): 2 is not a truth value; use False, True or Unknown");
    EXPECT_EQ(
        refused([](Builder& p, Bench&) { return p.truthConstant(Truth{254}); }),
        "instruction 14 (LoadConstant): 254 is not a truth value; use False, True or Unknown");
}

TEST(BuilderRefuses, ConstantsThatWouldChangeTheirValue) {
    EXPECT_EQ(
        refused([](Builder& p, Bench&) { return p.integerConstant(Format::Int32, {3000000000}); }),
        "instruction 14 (LoadConstant): 3000000000 does not fit into Int32, which holds "
        "-2147483648 to 2147483647; the nearest is 2147483647");
    EXPECT_EQ(refused([](Builder& p, Bench&) {
                  return p.constant(Format::Half, {0.1, 1e6});
              }),
              "instruction 14 (LoadConstant): component 1: 1e+06 does not fit into Half, which "
              "holds -65504 to 65504; the nearest is 65504");
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.constant(Format::Int32, {1.7}); }),
              "instruction 14 (LoadConstant): 1.7 does not fit into Int32, which holds whole "
              "numbers; the nearest is 2");
    EXPECT_EQ(
        refused([](Builder& p, Bench&) {
            return p.integerConstant(Format::Int8, {1, 300, 400});
        }),
        "instruction 14 (LoadConstant): component 1: 300 does not fit into Int8, which holds -128 "
        "to 127; the nearest is 127");
    EXPECT_EQ(refused([](Builder& p, Bench&) { return p.constant(Format::Float32, {16777217}); }),
              "instruction 14 (LoadConstant): 16777217 does not fit into Float32, which holds "
              "every whole number only up to 16777216; the nearest is 16777216");
}

TEST(BuilderRefuses, UniformsOfNoOrTooManyComponents) {
    const auto ofComponents = [](std::int32_t count) {
        return refused([count](Builder& p, Bench& b) {
            return p.loadUniform(b.uniform, Format::Float32, count);
        });
    };
    EXPECT_EQ(ofComponents(65), "instruction 14 (LoadUniform): 65 components requested; a "
                                "uniform has 1 to 64");
    EXPECT_EQ(ofComponents(0), "instruction 14 (LoadUniform): 0 components requested; a "
                               "uniform has 1 to 64");
    EXPECT_EQ(
        ofComponents(INT_MIN),
        "instruction 14 (LoadUniform): -2147483648 components requested; a uniform has 1 to 64");
}

TEST(BuilderRefuses, RegistersOfNoComponents) {
    EXPECT_EQ(refused([](Builder& p, Bench& b) {
                  return p.loadField(b.field, b.index, Format::Float32, 0);
              }),
              "instruction 14 (LoadField): 0 components requested; a register has at least 1");
    EXPECT_EQ(refused([](Builder& p, Bench& b) {
                  return p.sample(b.sampler, b.real, Format::Float32, -1);
              }),
              "instruction 14 (Sample): -1 components requested; a register has at least 1");
}

TEST(BuilderRefuses, FormatsThatAreNone) {
    const auto words = [](const char* op, int format) {
        return "instruction 14 (" + std::string(op) + "): the requested format, " +
               std::to_string(format) +
               ", does not exist; use Tribool, Int8, Int16, Int32, Int64, Half, Float32 or "
               "Float64";
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
    const std::string rest = "; it must have one component of an integer format";
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

TEST(BuilderRefuses, ComponentsThatTheRegisterDoesNotHave) {
    const std::string words = " in register %11 \"real3\" (Float32, 3 components); "
                              "its components are 0 to 2";
    for (const std::int32_t number : {-1, 3, INT_MAX, INT_MIN}) {
        const std::string start =
            "instruction 14 (Component): there is no component " + std::to_string(number) + words;
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return p.component(b.real3, number); }),
                  start);
        EXPECT_EQ(refused([=](Builder& p, Bench& b) {
                      return p.component(b.real3, number, Format::Int64);
                  }),
                  start);
    }
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.component(b.truth, 1); }),
              "instruction 14 (Component): there is no component 1 in register %1 \"truth\" "
              "(Tribool, 1 component); its only component is 0");
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.convert(b.real2, Format::Half); }),
              "instruction 14 (Component): register %10 \"real2\" (Float32, 2 components) has more "
              "than one component to convert; use component() for each of them");
}

TEST(BuilderRefuses, ToMakeTruthOfNumbersAndNumbersOfTruth) {
    const std::string rest = "; both must be Tribool, or neither";
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.convert(b.truth, Format::Int32); }),
              "instruction 14 (Component): register %1 \"truth\" (Tribool, 1 component) cannot be "
              "converted to Int32" +
                  rest);
    EXPECT_EQ(
        refused([](Builder& p, Bench& b) { return p.component(b.real3, 0, Format::Tribool); }),
        "instruction 14 (Component): register %11 \"real3\" (Float32, 3 components) cannot be "
        "converted to Tribool" +
            rest);
}

TEST(BuilderRefuses, NegateAndLengthOfKindsWithoutAKernel) {
    const std::string rest = "; use Int8, Int16, Int32, Half, Float32 or Float64";
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.negate(b.index); }),
              "instruction 14 (Negate): there is no kernel for register %0 \"index\" (Int64, 1 "
              "component) into Int64" +
                  rest);
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.negate(b.index, Format::Float64); }),
              "instruction 14 (Negate): there is no kernel for register %0 \"index\" (Int64, 1 "
              "component) into Float64" +
                  rest);
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.length(b.truth2); }),
              "instruction 14 (Length): there is no kernel for register %2 \"truth2\" (Tribool, 2 "
              "components) into "
              "Tribool" +
                  rest);
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.length(b.real3, Format::Int64); }),
              "instruction 14 (Length): there is no kernel for register %11 \"real3\" (Float32, 3 "
              "components) into "
              "Int64" +
                  rest);
}

/// Everything that an arithmetic call refuses.
template <class Short, class Long>
void expectArithmeticRefusals(const std::string& name, Short call, Long callInto) {
    SCOPED_TRACE(name);
    const std::string start = "instruction 14 (" + name + "): ";
    const std::string noKernel =
        " have no kernel; use Int8, Int16, Int32, Half, Float32 or Float64";
    EXPECT_EQ(refused([=](Builder& p, Bench& b) { return (p.*call)(b.index, b.index); }),
              start +
                  "register %0 \"index\" (Int64, 1 component) and register %0 \"index\" "
                  "(Int64, 1 component)" +
                  noKernel);
    EXPECT_EQ(refused([=](Builder& p, Bench& b) { return (p.*call)(b.real, b.truth); }),
              start +
                  "register %9 \"real\" (Float32, 1 component) and register %1 \"truth\" "
                  "(Tribool, 1 component)" +
                  noKernel);
    EXPECT_EQ(refused([=](Builder& p, Bench& b) {
                  return (p.*callInto)(b.index, b.real, Format::Float32);
              }),
              start +
                  "register %0 \"index\" (Int64, 1 component) and register %9 \"real\" "
                  "(Float32, 1 component) into Float32" +
                  noKernel);
    EXPECT_EQ(
        refused([=](Builder& p, Bench& b) { return (p.*callInto)(b.real, b.real, Format::Int64); }),
        start +
            "register %9 \"real\" (Float32, 1 component) and register %9 \"real\" "
            "(Float32, 1 component) into Int64" +
            noKernel);
    EXPECT_EQ(refused([=](Builder& p, Bench& b) { return (p.*call)(b.half, b.real2); }),
              start + "register %7 \"half\" (Half, 1 component) and register %10 \"real2\" "
                      "(Float32, 2 components) have different formats; give the result's format as "
                      "a third argument");
    const std::string unfit =
        start + "register %10 \"real2\" (Float32, 2 components) and register %11 \"real3\" "
                "(Float32, 3 components) have different numbers of components; they need the same "
                "number, or one of them must have 1";
    EXPECT_EQ(refused([=](Builder& p, Bench& b) { return (p.*call)(b.real2, b.real3); }), unfit);
    EXPECT_EQ(refused([=](Builder& p, Bench& b) {
                  return (p.*callInto)(b.real2, b.real3, Format::Half);
              }),
              unfit);
}

TEST(BuilderRefuses, ArithmeticOfKindsAndComponentsThatDoNotFit) {
    using Short = Register (Builder::*)(Register, Register);
    using Long = Register (Builder::*)(Register, Register, Format);
    expectArithmeticRefusals("Add", Short(&Builder::add), Long(&Builder::add));
    expectArithmeticRefusals("Subtract", Short(&Builder::subtract), Long(&Builder::subtract));
    expectArithmeticRefusals("Multiply", Short(&Builder::multiply), Long(&Builder::multiply));
    expectArithmeticRefusals("Divide", Short(&Builder::divide), Long(&Builder::divide));
}

TEST(BuilderRefuses, ComparisonsOfTruthAndOfComponentsThatDoNotFit) {
    const struct {
        Register (Builder::*call)(Register, Register);
        std::string name;
    } rows[] = {
        {&Builder::less, "Less"},       {&Builder::lessEqual, "LessEqual"},
        {&Builder::greater, "Greater"}, {&Builder::greaterEqual, "GreaterEqual"},
        {&Builder::equal, "Equal"},     {&Builder::notEqual, "NotEqual"},
    };
    for (const auto& row : rows) {
        const std::string start = "instruction 14 (" + row.name + "): ";
        const auto call = row.call;
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return (p.*call)(b.truth, b.truth); }),
                  start +
                      "register %1 \"truth\" (Tribool, 1 component) and register %1 "
                      "\"truth\" (Tribool, 1 component) cannot be compared; both must be numbers");
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return (p.*call)(b.half3, b.truth); }),
                  start + "register %8 \"half3\" (Half, 3 components) and register %1 \"truth\" "
                          "(Tribool, 1 component) cannot be compared; both must be numbers");
        EXPECT_EQ(refused([=](Builder& p, Bench& b) { return (p.*call)(b.real3, b.real2); }),
                  start + "register %11 \"real3\" (Float32, 3 components) and register %10 "
                          "\"real2\" (Float32, 2 components) have different numbers of components; "
                          "they need the same number, or one of them must have 1");
    }
}

TEST(BuilderRefuses, LogicOfNumbersAndOfComponentsThatDoNotFit) {
    const std::string noTruth = " must be Tribool";
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.logicalNot(b.int32); }),
              "instruction 14 (Not): register %6 \"int32\" (Int32, 1 component)" + noTruth);
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.isTrue(b.real3); }),
              "instruction 14 (IsTrue): register %11 \"real3\" (Float32, 3 components)" + noTruth);
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.logicalAnd(b.real, b.truth3); }),
              "instruction 14 (And): register %9 \"real\" (Float32, 1 component)" + noTruth);
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.logicalOr(b.truth3, b.wide); }),
              "instruction 14 (Or): register %12 \"wide\" (Float64, 1 component)" + noTruth);
    const std::string unfit =
        "register %1 \"truth\" (Tribool, 1 component) and register %3 \"truth3\" (Tribool, 3 "
        "components) have different numbers of components; they need the same number";
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.logicalAnd(b.truth, b.truth3); }),
              "instruction 14 (And): " + unfit);
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.logicalOr(b.truth, b.truth3); }),
              "instruction 14 (Or): " + unfit);
}

TEST(BuilderRefuses, SelectionsThatDoNotFit) {
    const std::string start = "instruction 14 (Select): ";
    EXPECT_EQ(
        refused([](Builder& p, Bench& b) { return p.select(b.real, b.real, b.real); }),
        start + "the condition is register %9 \"real\" (Float32, 1 component); it must be Tribool");
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.select(b.truth3, b.real2, b.real2); }),
              start + "the condition is register %3 \"truth3\" (Tribool, 3 components) and the "
                      "arms have 2 components; it needs the same number, or 1");
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.select(b.truth3, b.real, b.real); }),
              start + "the condition is register %3 \"truth3\" (Tribool, 3 components) and the "
                      "arms have 1 component; it needs the same number, or 1");
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.select(b.truth, b.real, b.real3); }),
              start + "register %9 \"real\" (Float32, 1 component) and register %11 \"real3\" "
                      "(Float32, 3 components) have different numbers of components; the arms need "
                      "the same number");
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.select(b.truth, b.half, b.real); }),
              start + "register %7 \"half\" (Half, 1 component) and register %9 \"real\" "
                      "(Float32, 1 component) have different formats; give the result's format as "
                      "a fourth argument");
}

TEST(BuilderRefuses, SelectionsOfTruthAndNumbersTogether) {
    const std::string start = "instruction 14 (Select): ";
    const std::string rest = " have no kernel; all must be numbers, or all Tribool";
    EXPECT_EQ(refused([](Builder& p, Bench& b) { return p.select(b.truth, b.truth, b.real); }),
              start +
                  "register %1 \"truth\" (Tribool, 1 component) and register %9 \"real\" "
                  "(Float32, 1 component)" +
                  rest);
    EXPECT_EQ(refused([](Builder& p, Bench& b) {
                  return p.select(b.truth, b.real, b.truth, Format::Float32);
              }),
              start +
                  "register %9 \"real\" (Float32, 1 component) and register %1 \"truth\" "
                  "(Tribool, 1 component) into Float32" +
                  rest);
    EXPECT_EQ(refused([](Builder& p, Bench& b) {
                  return p.select(b.truth, b.half, b.real, Format::Tribool);
              }),
              start +
                  "register %7 \"half\" (Half, 1 component) and register %9 \"real\" "
                  "(Float32, 1 component) into Tribool" +
                  rest);
    EXPECT_EQ(refused([](Builder& p, Bench& b) {
                  return p.select(b.truth, b.truth, b.truth, Format::Int8);
              }),
              start +
                  "register %1 \"truth\" (Tribool, 1 component) and register %1 \"truth\" "
                  "(Tribool, 1 component) into Int8" +
                  rest);
}

} // namespace
} // namespace Fenlet::BuilderTests
