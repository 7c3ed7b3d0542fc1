// What an `ArrayRun` allocates, and its state after an allocation has failed.
#include "../doubles/counted_new.h"

#include <fenletarrays/array_run.h>
#include <fenletir/program_builder.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <new>
#include <vector>

namespace Fenlet {
namespace {

/// A program with fields that are read in place, fields that are converted, a constant, a uniform,
/// a gather and two outputs.
FenletProgram someOfEverything() {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto index = write.elementIndex();
    const auto a = write.loadField(write.field("a"), index, Format::Float32);
    const auto b = write.loadField(write.field("b"), index, Format::Float32);
    const auto place = write.loadField(write.field("place"), index, Format::Int32);
    const auto found = write.loadField(write.field("table"), place, Format::Float32);
    const auto scale = write.loadUniform(write.uniform("scale"), Format::Float32);
    const auto scaled = write.multiply(write.add(a, b), scale);
    write.output(write.select(write.less(a, write.constant(Format::Float32, {100})), scaled, b),
                 "chosen");
    write.output(write.add(found, scaled), "sum");
    return write.build().program;
}

class ArrayRunMemory : public testing::Test {
  protected:
    ArrayRunMemory() {
        for (std::size_t i = 0; i < a.size(); ++i) {
            a[i] = static_cast<float>(i);
            b[i] = static_cast<std::int16_t>(i % 100);
            place[i] = static_cast<std::int32_t>(i * 7 % 11);
        }
    }
    bool prepare(ArrayRun& run) {
        return run.prepare(
            {{"a", a}, {"b", b}, {"place", place}, {"table", table}, {"scale", 2.0}},
            {{"chosen", chosen}, {"sum", MutableArrayView::of(sum).withPresence(present.data())}});
    }

    const FenletProgram program = someOfEverything();
    std::vector<float> a = std::vector<float>(5000);
    std::vector<std::int16_t> b = std::vector<std::int16_t>(5000);
    std::vector<std::int32_t> place = std::vector<std::int32_t>(5000);
    std::vector<float> table = std::vector<float>(9, 0.5f);
    std::vector<float> chosen = std::vector<float>(5000);
    std::vector<float> sum = std::vector<float>(5000);
    std::vector<unsigned char> present = std::vector<unsigned char>(5000);
};

TEST_F(ArrayRunMemory, IsNotTakenInARun) {
    ArrayRun run(program);
    ASSERT_TRUE(prepare(run)) << run.error();
    const Doubles::AllocationCount taken;
    ASSERT_TRUE(run.run());
    ASSERT_TRUE(run.run(17, 3000));
    EXPECT_EQ(taken.count(), 0u);
    EXPECT_EQ(chosen[7], 28);
    EXPECT_EQ(present[1], 1);
    EXPECT_EQ(present[10], 1);
}

TEST_F(ArrayRunMemory, MayRunOutWhereverPrepareTakesSome) {
    ArrayRun expected(program);
    ASSERT_TRUE(prepare(expected));
    ASSERT_TRUE(expected.run());
    const std::vector<float> wanted = sum;
    ArrayRun run(program);
    std::size_t number = 0;
    for (bool isPrepared = false; !isPrepared; ++number) {
        ASSERT_LT(number, 1000u);
        try {
            const Doubles::FailingAllocation failing(number);
            isPrepared = prepare(run);
        } catch (const std::bad_alloc&) {
            EXPECT_FALSE(run.isPrepared());
            EXPECT_FALSE(run.run());
        }
    }
    EXPECT_GT(number, 5u);
    std::fill(sum.begin(), sum.end(), 0.0f);
    ASSERT_TRUE(run.run());
    EXPECT_EQ(sum, wanted);
}

} // namespace
} // namespace Fenlet
