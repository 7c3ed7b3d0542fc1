// Loading constants into registers.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;

/// The live lanes of a register of this format after a constant was loaded into two elements.
template <class Lane>
std::vector<Lane> loaded(const Constant& constant, RegisterFormat format, int multiplicity = 1) {
    ProgramSketch program;
    const int result = program.addRegister(format, multiplicity);
    program.add(OpCode::LoadConstant, result, {}, program.addConstant(constant));
    RecordingHost host;
    Interpreter interpreter;
    EXPECT_TRUE(interpreter.configure(program, 4));
    EXPECT_TRUE(interpreter.evaluate(0, 2, host.bindings, host.sink));
    return liveLanes<Lane>(interpreter.registerFile(), result);
}

using Int32s = std::vector<std::int32_t>;
using Int64s = std::vector<std::int64_t>;
using Halves = std::vector<std::uint16_t>;
using Floats = std::vector<float>;
using Doubles64 = std::vector<double>;
using Bytes = std::vector<unsigned char>;

TEST(LoadConstant, FillsEachElementInTheRegistersKind) {
    EXPECT_EQ(loaded<double>(realConstant({1.25}), RegisterFormat::Float64),
              (Doubles64{1.25, 1.25}));
    EXPECT_EQ(loaded<float>(realConstant({1.25}), RegisterFormat::Float32), (Floats{1.25f, 1.25f}));
    EXPECT_EQ(loaded<std::uint16_t>(realConstant({1.25}), RegisterFormat::Half),
              (Halves{0x3D00, 0x3D00}));
    EXPECT_EQ(loaded<std::int64_t>(integerConstant({INT64_MIN + 5}), RegisterFormat::Int64),
              (Int64s{INT64_MIN + 5, INT64_MIN + 5}));
    for (const auto format : {RegisterFormat::Int8, RegisterFormat::Int16, RegisterFormat::Int32})
        EXPECT_EQ(loaded<std::int32_t>(integerConstant({-70000}), format),
                  (Int32s{-70000, -70000}));
    EXPECT_EQ(loaded<unsigned char>(triboolConstant(1), RegisterFormat::Tribool), (Bytes{1, 1}));
}

TEST(LoadConstant, PacksTheComponentsOfEachElement) {
    const Constant reals = realConstant({1, 2, 3});
    EXPECT_EQ(loaded<float>(reals, RegisterFormat::Float32, 3), (Floats{1, 2, 3, 1, 2, 3}));
    EXPECT_EQ(loaded<double>(reals, RegisterFormat::Float64, 3), (Doubles64{1, 2, 3, 1, 2, 3}));
    EXPECT_EQ(loaded<std::uint16_t>(reals, RegisterFormat::Half, 3),
              (Halves{0x3C00, 0x4000, 0x4200, 0x3C00, 0x4000, 0x4200}));
    const Constant integers = integerConstant({1, -2, 3});
    EXPECT_EQ(loaded<std::int32_t>(integers, RegisterFormat::Int32, 3),
              (Int32s{1, -2, 3, 1, -2, 3}));
    EXPECT_EQ(loaded<std::int64_t>(integers, RegisterFormat::Int64, 3),
              (Int64s{1, -2, 3, 1, -2, 3}));
}

TEST(LoadConstant, DropsComponentsThatTheRegisterDoesNotHave) {
    EXPECT_EQ(loaded<float>(realConstant({1, 2, 3}), RegisterFormat::Float32), (Floats{1, 1}));
    EXPECT_EQ(loaded<std::int64_t>(integerConstant({1, 2, 3}), RegisterFormat::Int64, 2),
              (Int64s{1, 2, 1, 2}));
}

TEST(LoadConstant, LeavesComponentsThatTheConstantDoesNotHaveAtZero) {
    EXPECT_EQ(loaded<float>(realConstant({1.5}), RegisterFormat::Float32, 3),
              (Floats{1.5, 0, 0, 1.5, 0, 0}));
    EXPECT_EQ(loaded<std::int32_t>(integerConstant({7, 8}), RegisterFormat::Int32, 3),
              (Int32s{7, 8, 0, 7, 8, 0}));
}

TEST(LoadConstant, StartsEachStepFromZeros) {
    ProgramSketch program;
    const int wide = program.addRegister(RegisterFormat::Float64, 3);
    const int narrow = program.addRegister(RegisterFormat::Float64, 3);
    program.add(OpCode::LoadConstant, wide, {}, program.addConstant(realConstant({4, 5, 6})));
    program.add(OpCode::LoadConstant, narrow, {}, program.addConstant(realConstant({1})));
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 6, host.bindings, host.sink));
    EXPECT_EQ(liveLanes<double>(interpreter.registerFile(), narrow), (Doubles64{1, 0, 0, 1, 0, 0}));
}

TEST(LoadConstant, PutsATriboolIntoTheFirstComponentAlone) {
    for (const int byte : {0, 1, 255, 2, 128}) {
        const auto value = static_cast<unsigned char>(byte);
        EXPECT_EQ(loaded<unsigned char>(triboolConstant(value), RegisterFormat::Tribool, 2),
                  (Bytes{value, 0, value, 0}));
        Constant wide = triboolConstant(value);
        wide.multiplicity = 3;
        EXPECT_EQ(loaded<unsigned char>(wide, RegisterFormat::Tribool, 2),
                  (Bytes{value, 0, value, 0}));
    }
}

TEST(LoadConstant, LetsTheKindAloneChooseTheAccessor) {
    // A constant with a Tribool and reals at once. The functions of `Constant` make no such
    // constant.
    Constant both;
    both.boolean = 255;
    both.integers = {3};
    both.reals = {4.5};
    EXPECT_EQ(loaded<unsigned char>(both, RegisterFormat::Tribool), (Bytes{255, 255}));
    EXPECT_EQ(loaded<std::int32_t>(both, RegisterFormat::Int32), (Int32s{3, 3}));
    EXPECT_EQ(loaded<std::int64_t>(both, RegisterFormat::Int64), (Int64s{3, 3}));
    EXPECT_EQ(loaded<std::uint16_t>(both, RegisterFormat::Half), (Halves{0x4480, 0x4480}));
    EXPECT_EQ(loaded<float>(both, RegisterFormat::Float32), (Floats{4.5, 4.5}));
    EXPECT_EQ(loaded<double>(both, RegisterFormat::Float64), (Doubles64{4.5, 4.5}));
}

TEST(LoadConstant, ConvertsFromTheWidestValueInOneStep) {
    EXPECT_EQ(loaded<std::int32_t>(integerConstant({0x100000000}), RegisterFormat::Int32)[0], 0);
    EXPECT_EQ(loaded<std::int32_t>(integerConstant({0x1FFFFFFFF}), RegisterFormat::Int32)[0], -1);
    // A value just above a tie of binary16. Rounding to binary32 first would give the tie.
    EXPECT_EQ(loaded<std::uint16_t>(realConstant({1 + 0x1p-11 + 0x1p-30}), RegisterFormat::Half)[0],
              0x3C01);
    EXPECT_EQ(loaded<std::uint16_t>(realConstant({65520}), RegisterFormat::Half)[0], 0x7C00);
    EXPECT_EQ(loaded<float>(realConstant({16777217}), RegisterFormat::Float32)[0], 16777216.0f);
    EXPECT_EQ(loaded<float>(realConstant({1e39}), RegisterFormat::Float32)[0],
              std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::signbit(loaded<float>(realConstant({-0.0}), RegisterFormat::Float32)[0]));
}

// Values in the pool beyond the multiplicity are not read.
TEST(LoadConstant, OfNoComponentsIsZero) {
    for (const int multiplicity : {0, -1, INT_MIN}) {
        Constant none;
        none.multiplicity = multiplicity;
        none.integers = {3, 4};
        none.reals = {4.5, 5.5};
        EXPECT_EQ(loaded<std::int32_t>(none, RegisterFormat::Int32), (Int32s{0, 0}));
        EXPECT_EQ(loaded<std::int64_t>(none, RegisterFormat::Int64), (Int64s{0, 0}));
        EXPECT_EQ(loaded<std::uint16_t>(none, RegisterFormat::Half), (Halves{0, 0}));
        EXPECT_EQ(loaded<float>(none, RegisterFormat::Float32, 2), (Floats{0, 0, 0, 0}));
        EXPECT_EQ(loaded<double>(none, RegisterFormat::Float64), (Doubles64{0, 0}));
        // A Tribool constant still has its byte.
        none.boolean = 255;
        EXPECT_EQ(loaded<unsigned char>(none, RegisterFormat::Tribool), (Bytes{255, 255}));
    }
}

TEST(LoadConstant, StopsAtTheConstantsMultiplicity) {
    Constant constant = realConstant({1.5, 2.5, 3.5});
    constant.multiplicity = 2;
    EXPECT_EQ(loaded<float>(constant, RegisterFormat::Float32, 3),
              (Floats{1.5, 2.5, 0, 1.5, 2.5, 0}));
}

TEST(LoadConstant, TakesConstantsOf64Components) {
    std::vector<double> reals;
    std::vector<float> expected;
    for (int element = 0; element < 2; ++element)
        for (int c = 0; c < 64; ++c)
            expected.push_back(static_cast<float>(c) + 0.5f);
    for (int c = 0; c < 64; ++c)
        reals.push_back(c + 0.5);
    EXPECT_EQ(loaded<float>(realConstant(reals), RegisterFormat::Float32, 64), expected);
    EXPECT_EQ(loaded<float>(realConstant(reals), RegisterFormat::Float32), (Floats{0.5, 0.5}));
}

template <class Lane>
void expectZerosPastTheConstant(const Constant& constant, RegisterFormat format, Lane first,
                                int components, int multiplicity) {
    std::vector<Lane> expected;
    for (int element = 0; element < 2; ++element)
        for (int c = 0; c < multiplicity; ++c)
            expected.push_back(c < components ? first : Lane{});
    EXPECT_EQ(loaded<Lane>(constant, format, multiplicity), expected) << multiplicity;
}

TEST(LoadConstant, FillsUpRegistersWiderThanTheScratchWithZeros) {
    for (const int multiplicity : {65, 66, 100, 1000}) {
        const Constant reals = realConstant(std::vector<double>(64, 1.0));
        const Constant integers = integerConstant(std::vector<std::int64_t>(64, -1));
        expectZerosPastTheConstant<float>(reals, RegisterFormat::Float32, 1, 64, multiplicity);
        expectZerosPastTheConstant<double>(reals, RegisterFormat::Float64, 1, 64, multiplicity);
        expectZerosPastTheConstant<std::uint16_t>(reals, RegisterFormat::Half, 0x3C00, 64,
                                                  multiplicity);
        expectZerosPastTheConstant<std::int32_t>(integers, RegisterFormat::Int32, -1, 64,
                                                 multiplicity);
        expectZerosPastTheConstant<std::int64_t>(integers, RegisterFormat::Int64, -1, 64,
                                                 multiplicity);
        expectZerosPastTheConstant<unsigned char>(triboolConstant(255), RegisterFormat::Tribool,
                                                  255, 1, multiplicity);
        expectZerosPastTheConstant<float>(realConstant({1}), RegisterFormat::Float32, 1, 1,
                                          multiplicity);
    }
}

TEST(LoadConstant, FillsTheLiveElementsAlone) {
    ProgramSketch program;
    program.fields.resize(1);
    const int result = program.addRegister(RegisterFormat::Int64);
    program.add(OpCode::LoadField, result, {result}, 0);
    program.add(OpCode::LoadConstant, result, {}, program.addConstant(integerConstant({9})));
    RecordingHost host;
    host.field.answer = [](const FieldRead& request) {
        if (request.count == 3)
            storeLanes(request.values, Int64s{1, 2, 3, 4, 5});
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 5));
    ASSERT_TRUE(interpreter.evaluate(0, 3, host.bindings, host.sink));
    EXPECT_EQ(lanesOf<std::int64_t>(interpreter.registerFile(), result, 5),
              (Int64s{9, 9, 9, 4, 5}));
}

} // namespace
} // namespace Fenlet
