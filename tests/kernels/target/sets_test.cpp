// Which instruction set is used.
#include "kernels/target/sets.h"

#include <gtest/gtest.h>

#ifdef FENLET_X86_SETS
#include <cpuid.h>
#endif

namespace Fenlet {
namespace {

TEST(InstructionSets, BaselineIsAlwaysThere) {
    EXPECT_TRUE(isAvailable(InstructionSet::Baseline));
}

TEST(InstructionSets, NumbersOfNoSetAreNotThere) {
    EXPECT_FALSE(isAvailable(static_cast<InstructionSet>(-1)));
    EXPECT_FALSE(isAvailable(static_cast<InstructionSet>(instructionSetCount)));
}

TEST(InstructionSets, ChosenSetRunsUntilTheNextChoice) {
    const InstructionSet before = chosenInstructionSet;
    EXPECT_TRUE(chooseInstructionSet(InstructionSet::Baseline));
    EXPECT_EQ(chosenInstructionSet, InstructionSet::Baseline);
    EXPECT_TRUE(chooseInstructionSet(before));
    EXPECT_EQ(chosenInstructionSet, before);
}

TEST(InstructionSets, SetThatIsNotThereIsNotChosen) {
    const InstructionSet before = chosenInstructionSet;
    EXPECT_FALSE(chooseInstructionSet(static_cast<InstructionSet>(instructionSetCount)));
    EXPECT_FALSE(chooseInstructionSet(static_cast<InstructionSet>(-1)));
    EXPECT_EQ(chosenInstructionSet, before);
}

#ifdef FENLET_X86_SETS

constexpr unsigned basicParts[] = {bit_OSXSAVE, bit_AVX, bit_F16C};
constexpr unsigned basic = bit_OSXSAVE | bit_AVX | bit_F16C;
constexpr unsigned avx512Parts[] = {bit_AVX512F, bit_AVX512DQ, bit_AVX512BW, bit_AVX512VL};
constexpr unsigned avx512 = bit_AVX512F | bit_AVX512DQ | bit_AVX512BW | bit_AVX512VL;
constexpr unsigned extended = bit_AVX2 | avx512;
constexpr unsigned avxState = 0x06;
constexpr unsigned avx512State = 0xE6;

TEST(InstructionSets, LibraryBeginsWithTheWidestOfTheProcessor) {
    InstructionSet widest = InstructionSet::Baseline;
    if (__builtin_cpu_supports("avx2"))
        widest = InstructionSet::Avx2;
    if (widest == InstructionSet::Avx2 && __builtin_cpu_supports("avx512f") &&
        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl"))
        widest = InstructionSet::Avx512;
    EXPECT_EQ(chosenInstructionSet, widest);
    EXPECT_TRUE(isAvailable(widest));
}

TEST(InstructionSets, ProcessorWithEverythingRunsAvx512) {
    EXPECT_EQ(widestWith({basic, extended, avx512State}), InstructionSet::Avx512);
    EXPECT_EQ(widestWith({~0u, ~0u, ~0u}), InstructionSet::Avx512);
}

TEST(InstructionSets, ProcessorWithoutAvx512RunsAvx2) {
    EXPECT_EQ(widestWith({basic, bit_AVX2, avx512State}), InstructionSet::Avx2);
    EXPECT_EQ(widestWith({basic, bit_AVX2, avxState}), InstructionSet::Avx2);
}

TEST(InstructionSets, Avx512TakesEachOfItsFourParts) {
    for (const unsigned part : avx512Parts)
        EXPECT_EQ(widestWith({basic, extended & ~part, avx512State}), InstructionSet::Avx2);
}

TEST(InstructionSets, Avx512TakesEachPartOfTheKeptState) {
    for (const unsigned part : {0x20u, 0x40u, 0x80u})
        EXPECT_EQ(widestWith({basic, extended, avx512State & ~part}), InstructionSet::Avx2);
}

TEST(InstructionSets, Avx2TakesEachBasicFeature) {
    for (const unsigned part : basicParts)
        EXPECT_EQ(widestWith({basic & ~part, extended, avx512State}), InstructionSet::Baseline);
}

TEST(InstructionSets, NothingIsWideWithoutAvx2) {
    EXPECT_EQ(widestWith({basic, avx512, avx512State}), InstructionSet::Baseline);
    EXPECT_EQ(widestWith({basic, 0, avx512State}), InstructionSet::Baseline);
}

TEST(InstructionSets, NothingIsWideWhereTheSystemKeepsNoWideState) {
    for (const unsigned part : {0x02u, 0x04u})
        EXPECT_EQ(widestWith({basic, extended, avx512State & ~part}), InstructionSet::Baseline);
    EXPECT_EQ(widestWith({basic, extended, 0}), InstructionSet::Baseline);
}

TEST(InstructionSets, OldestProcessorRunsTheBaseline) {
    EXPECT_EQ(widestWith({0, 0, 0}), InstructionSet::Baseline);
}

#endif

} // namespace
} // namespace Fenlet
