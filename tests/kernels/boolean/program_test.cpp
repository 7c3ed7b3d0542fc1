// Three-valued logic as steps of a program.
#include "kernels/step_bench.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using Bytes = std::vector<unsigned char>;

/// One step on Tribool registers from 0 on. Its result is the register after them.
struct LogicBench : StepBench {
    LogicBench(OpCode op, int resultMultiplicity, const std::vector<LoadedRegister>& operands)
        : StepBench(op, RegisterFormat::Tribool, resultMultiplicity, operands) {}

    Bytes lanes(int number) const { return lanesIn<unsigned char>(number); }
};

TEST(NotStep, ComputesInvalidElementsTooAndCarriesTheirValidity) {
    LogicBench bench(OpCode::Not, 1, {loadedTribools(1, {1, 1, 0, 255, 2}, {0, 1, 77, 0, 1})});
    ASSERT_TRUE(bench.run(5));
    EXPECT_EQ(bench.lanes(1), (Bytes{0, 0, 1, 255, 1}));
    EXPECT_EQ(bench.validityIn(1), (Bytes{0, 1, 1, 0, 1}));
}

TEST(NotStep, ComputesEveryComponent) {
    LogicBench bench(OpCode::Not, 3, {loadedTribools(3, {1, 0, 255, 2, 1, 0}, {1, 0})});
    ASSERT_TRUE(bench.run(2));
    EXPECT_EQ(bench.lanes(1), (Bytes{0, 1, 255, 1, 0, 1}));
    EXPECT_EQ(bench.validityIn(1), (Bytes{1, 0}));
}

TEST(NotStep, CountsTheResultsLanesWhateverTheOperandHas) {
    LogicBench bench(OpCode::Not, 1, {loadedTribools(3, {1, 0, 255, 0, 1, 0}, {1, 1})});
    ASSERT_TRUE(bench.run(2));
    EXPECT_EQ(Doubles::lanesOf<unsigned char>(bench.interpreter.registerFile(), 1, 6),
              (Bytes{0, 1, 0, 0, 0, 0}));
}

TEST(NotStep, MayHaveItsOperandAsResult) {
    LogicBench bench(OpCode::Not, 1, {loadedTribools(2, {1, 0, 255, 7}, {77, 0})});
    bench.program.instructions.back().result = 0;
    ASSERT_TRUE(bench.run(2));
    EXPECT_EQ(bench.lanes(0), (Bytes{0, 1, 255, 1}));
    EXPECT_EQ(bench.validityIn(0), (Bytes{1, 0}));
}

TEST(IsTrueStep, LeavesNothingUnknownAndNothingInvalid) {
    LogicBench bench(OpCode::IsTrue, 1,
                     {loadedTribools(1, {1, 1, 0, 255, 255, 2, 1}, {1, 0, 1, 1, 0, 1, 255})});
    ASSERT_TRUE(bench.run(7));
    EXPECT_EQ(bench.lanes(1), (Bytes{1, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(bench.validityIn(1), Bytes(7, 1));
}

TEST(IsTrueStep, ClearsAllComponentsOfAnInvalidElement) {
    LogicBench bench(OpCode::IsTrue, 3,
                     {loadedTribools(3, {1, 1, 1, 1, 255, 1, 1, 1, 1}, {0, 1, 0})});
    ASSERT_TRUE(bench.run(3));
    EXPECT_EQ(bench.lanes(1), (Bytes{0, 0, 0, 1, 0, 1, 0, 0, 0}));
    EXPECT_EQ(bench.validityIn(1), (Bytes{1, 1, 1}));
}

TEST(IsTrueStep, GoesByTheResultsComponentsWhateverTheOperandHas) {
    LogicBench narrow(OpCode::IsTrue, 1, {loadedTribools(3, {1, 0, 1, 1, 1, 1}, {1, 0})});
    ASSERT_TRUE(narrow.run(2));
    EXPECT_EQ(Doubles::lanesOf<unsigned char>(narrow.interpreter.registerFile(), 1, 6),
              (Bytes{1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(narrow.validityIn(1), (Bytes{1, 1}));

    // The bytes after the operand's two elements belong to the operand's area, too.
    LogicBench wide(OpCode::IsTrue, 3, {loadedTribools(1, {1, 255, 1, 1, 0, 1}, {0, 1})});
    ASSERT_TRUE(wide.run(2));
    EXPECT_EQ(wide.lanes(1), (Bytes{0, 0, 0, 1, 0, 1}));
    EXPECT_EQ(wide.validityIn(1), (Bytes{1, 1}));
}

TEST(IsTrueStep, MayHaveItsOperandAsResult) {
    LogicBench bench(OpCode::IsTrue, 1, {loadedTribools(2, {1, 1, 255, 1, 1, 2}, {0, 1, 77})});
    bench.program.instructions.back().result = 0;
    ASSERT_TRUE(bench.run(3));
    EXPECT_EQ(bench.lanes(0), (Bytes{0, 0, 0, 1, 1, 0}));
    EXPECT_EQ(bench.validityIn(0), (Bytes{1, 1, 1}));
}

// An operand that decides the value does not make the element valid.
TEST(AndStep, DecidesValuesAndStaysInvalidWhereEitherSideIs) {
    LogicBench bench(OpCode::And, 1,
                     {loadedTribools(1, {0, 0, 1, 255, 2, 1}, {1, 1, 1, 0, 1, 77}),
                      loadedTribools(1, {255, 1, 1, 0, 1, 255}, {0, 1, 0, 1, 2, 1})});
    ASSERT_TRUE(bench.run(6));
    EXPECT_EQ(bench.lanes(2), (Bytes{0, 0, 1, 0, 1, 255}));
    EXPECT_EQ(bench.validityIn(2), (Bytes{0, 1, 0, 0, 1, 1}));
}

TEST(OrStep, OfTrueIsTrueAndStillFollowsTheOtherSidesValidity) {
    LogicBench bench(OpCode::Or, 1,
                     {loadedTribools(1, {1, 1, 1, 1, 1}, {1, 1, 1, 1, 1}),
                      loadedTribools(1, {0, 1, 255, 2, 255}, {1, 0, 1, 255, 0})});
    ASSERT_TRUE(bench.run(5));
    EXPECT_EQ(bench.lanes(2), Bytes(5, 1));
    EXPECT_EQ(bench.validityIn(2), (Bytes{1, 0, 1, 1, 0}));
}

TEST(OrStep, KeepsUnknownWhereNoSideIsTrue) {
    LogicBench bench(OpCode::Or, 2,
                     {loadedTribools(2, {0, 255, 2, 2, 0, 1}, {1, 1, 0}),
                      loadedTribools(2, {255, 0, 0, 255, 0, 0}, {1, 77, 1})});
    ASSERT_TRUE(bench.run(3));
    EXPECT_EQ(bench.lanes(2), (Bytes{255, 255, 0, 255, 0, 1}));
    EXPECT_EQ(bench.validityIn(2), (Bytes{1, 1, 0}));
}

TEST(IsTrueStep, TakesADecidedButInvalidLaneForFalse) {
    LogicBench bench(
        OpCode::Or, 1,
        {loadedTribools(1, {1, 1, 255}, {1, 1, 1}), loadedTribools(1, {0, 255, 255}, {1, 0, 1})});
    const std::int32_t known = bench.program.addRegister(RegisterFormat::Tribool);
    bench.program.add(OpCode::IsTrue, known, {2});
    ASSERT_TRUE(bench.run(3));
    EXPECT_EQ(bench.lanes(2), (Bytes{1, 1, 255}));
    EXPECT_EQ(bench.lanes(known), (Bytes{1, 0, 0}));
    EXPECT_EQ(bench.validityIn(known), (Bytes{1, 1, 1}));
}

// Areas begin at multiples of 64 bytes, so the four bytes after the two elements are still in the
// area.
TEST(AndStep, ReadsAScalarSideFlatAndRepeatsNothing) {
    const LoadedRegister scalar = loadedTribools(1, {1, 0, 1, 1, 1, 1}, {1, 1});
    const LoadedRegister triple = loadedTribools(3, {1, 1, 1, 1, 1, 1}, {1, 1});
    for (const bool scalarIsLeft : {true, false}) {
        LogicBench bench(OpCode::And, 3,
                         {scalarIsLeft ? scalar : triple, scalarIsLeft ? triple : scalar});
        ASSERT_TRUE(bench.run(2));
        EXPECT_EQ(bench.lanes(2), (Bytes{1, 0, 1, 1, 1, 1}));
    }
}

TEST(OrStep, ReadsAScalarSideFlatAndRepeatsNothing) {
    const LoadedRegister scalar = loadedTribools(1, {1, 0, 0, 255, 0, 1}, {1, 1});
    const LoadedRegister triple = loadedTribools(3, {0, 0, 0, 0, 0, 0}, {1, 1});
    for (const bool scalarIsLeft : {true, false}) {
        LogicBench bench(OpCode::Or, 3,
                         {scalarIsLeft ? scalar : triple, scalarIsLeft ? triple : scalar});
        ASSERT_TRUE(bench.run(2));
        EXPECT_EQ(bench.lanes(2), (Bytes{1, 0, 0, 255, 0, 1}));
    }
}

TEST(AndStep, MayHaveEitherOperandAsResult) {
    for (const std::int32_t result : {0, 1}) {
        LogicBench bench(OpCode::And, 1,
                         {loadedTribools(1, {0, 1, 255, 1}, {1, 0, 1, 1}),
                          loadedTribools(1, {1, 1, 1, 255}, {1, 1, 0, 77})});
        bench.program.instructions.back().result = result;
        ASSERT_TRUE(bench.run(4));
        EXPECT_EQ(bench.lanes(result), (Bytes{0, 1, 255, 255}));
        EXPECT_EQ(bench.validityIn(result), (Bytes{1, 0, 0, 1}));
    }
}

TEST(OrStep, MayBeGivenOneRegisterTwice) {
    LogicBench bench(OpCode::Or, 1, {loadedTribools(1, {0, 1, 255, 2}, {1, 0, 1, 1})});
    bench.program.instructions.back().operands[1] = 0;
    ASSERT_TRUE(bench.run(4));
    EXPECT_EQ(bench.lanes(1), (Bytes{0, 1, 255, 0}));
    EXPECT_EQ(bench.validityIn(1), (Bytes{1, 0, 1, 1}));
}

} // namespace
} // namespace Fenlet
