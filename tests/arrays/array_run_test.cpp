// `ArrayRun` as its users see it: values, presence, neighbours, ranges and error messages.
#include <fenletarrays/array_run.h>
#include <fenletir/program_builder.h>
#include <fenletir/text.h>

#include <array>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>

namespace Fenlet {
namespace {

FenletProgram vegetationIndex() {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto index = write.elementIndex();
    const auto nir = write.loadField(write.field("nir"), index, Format::Float32);
    const auto red = write.loadField(write.field("red"), index, Format::Float32);
    write.output(write.divide(write.subtract(nir, red), write.add(nir, red)), "ndvi");
    return write.build().program;
}

TEST(ArrayRun, TakesArraysByNameAndFillsArrays) {
    const FenletProgram program = vegetationIndex();
    const std::vector<float> nir = {3, 1, 0.5f};
    const std::array<float, 3> red = {1, 1, 1.5f};
    std::vector<float> ndvi(3);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate({{"nir", nir}, {"red", red}}, {{"ndvi", ndvi}})) << run.error();
    EXPECT_EQ(ndvi, (std::vector<float>{0.5f, 0, -0.5f}));
    EXPECT_EQ(run.figures().fieldsInPlace, 2);
    EXPECT_EQ(run.figures().outputsInPlace, 1);
}

TEST(ArrayRun, WritesWhereAnInputLies) {
    const FenletProgram program = vegetationIndex();
    std::vector<float> nir(5000);
    std::iota(nir.begin(), nir.end(), 2.0f);
    const std::vector<float> red(5000, 1.0f);
    std::vector<float> expected(5000);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate({{"nir", nir}, {"red", red}}, {{"ndvi", expected}})) << run.error();
    ASSERT_TRUE(run.evaluate({{"nir", nir}, {"red", red}}, {{"ndvi", nir}})) << run.error();
    EXPECT_EQ(nir, expected);
    EXPECT_EQ(run.figures().outputsInPlace, 1);
}

TEST(ArrayRun, WritesInPlaceWithAFillValueThatNoElementNeeds) {
    const FenletProgram program = vegetationIndex();
    const std::vector<float> nir = {3, 1, 0.5f};
    const std::vector<float> red = {1, 1, 1.5f};
    std::vector<float> ndvi(3);
    OutputRules rules;
    rules.fill = Constant::ofReals({-1});
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate({{"nir", nir}, {"red", red}}, {{"ndvi", ndvi, rules}})) << run.error();
    EXPECT_EQ(ndvi, (std::vector<float>{0.5f, 0, -0.5f}));
    EXPECT_EQ(run.figures().outputsInPlace, 1);

    const unsigned char present[] = {1, 0, 1};
    ASSERT_TRUE(run.evaluate({{"nir", ArrayView::of(nir).withPresence(present)}, {"red", red}},
                             {{"ndvi", ndvi, rules}}))
        << run.error();
    EXPECT_EQ(ndvi, (std::vector<float>{0.5f, -1, -0.5f}));
    EXPECT_EQ(run.figures().outputsInPlace, 0);
}

TEST(ArrayRun, ReadsEveryKindThatArraysStore) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto index = write.elementIndex();
    const auto byte = write.loadField(write.field("small"), index, Format::Float64);
    const auto word = write.loadField(write.field("large"), index, Format::Float64);
    const auto isThere = write.loadField(write.field("there"), index, Format::Tribool);
    write.output(write.select(isThere, write.add(byte, word), byte), "sum");
    const FenletProgram program = write.build().program;
    const std::vector<std::uint8_t> small = {255, 7};
    const std::vector<std::uint32_t> large = {4294967295u, 1};
    const bool isThereAtFirst[] = {true, false};
    std::vector<double> sum(2);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate(
        {{"small", small}, {"large", large}, {"there", ArrayView::of(isThereAtFirst, 2)}},
        {{"sum", sum}}))
        << run.error();
    EXPECT_EQ(sum, (std::vector<double>{4294967550.0, 7}));
}

TEST(ArrayRun, ReadsTruthValuesInPlaceUnlessABlockHasOtherBytesThanZeroAndOne) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto index = write.elementIndex();
    const auto isThere = write.loadField(write.field("there"), index, Format::Tribool);
    write.output(write.logicalNot(isThere), "absent");
    const FenletProgram program = write.build().program;
    std::vector<unsigned char> there(300, 1);
    there[1] = 0;
    there[150] = 7;
    there[299] = 0;
    std::vector<unsigned char> absent(300, 9);
    ArrayRunOptions options;
    options.blockSize = 100;
    ArrayRun run(program, options);
    ASSERT_TRUE(run.evaluate({{"there", ArrayView(there.data(), ArrayKind::Bool, 300)}},
                             {{"absent", MutableArrayView(absent.data(), ArrayKind::Bool, 300)}}))
        << run.error();
    EXPECT_EQ(run.figures().fieldsInPlace, 1);
    std::vector<unsigned char> expected(300, 0);
    expected[1] = expected[299] = 1;
    EXPECT_EQ(absent, expected);
    EXPECT_EQ(there[150], 7);
}

TEST(ArrayRun, ReadsTheRowsOfAWindowInPlaceWithoutPresence) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto height = write.loadField(write.field("height"), write.elementIndex(), Format::Int32);
    write.output(write.add(height, height), "twice");
    const FenletProgram program = write.build().program;
    std::vector<std::int32_t> grid(10 * 100);
    std::iota(grid.begin(), grid.end(), 0);
    // The left half of each row.
    ArrayView window = ArrayView::of(grid).shaped({10, 100});
    window.axes[1].size = 50;
    std::vector<std::int32_t> twice(10 * 50);
    ArrayRunOptions options;
    options.blockSize = 25;
    ArrayRun run(program, options);
    // The output has no presence: no element of the window can be missing.
    ASSERT_TRUE(run.evaluate({{"height", window}},
                             {{"twice", MutableArrayView::of(twice).shaped({10, 50})}}))
        << run.error();
    EXPECT_EQ(run.figures().fieldsInPlace, 1);
    for (std::size_t i = 0; i < twice.size(); ++i)
        EXPECT_EQ(twice[i], 2 * grid[i / 50 * 100 + i % 50]);
}

TEST(ArrayRun, GathersAtNumbersThatLieInAnArray) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto place = write.loadField(write.field("place"), write.elementIndex(), Format::Int64);
    write.output(write.loadField(write.field("table"), place, Format::Float32), "taken");
    const FenletProgram program = write.build().program;
    const std::vector<float> table = {10, 11, 12};
    const std::vector<std::int64_t> place64 = {2, 3, -1, 0, 1, 0};
    const std::vector<unsigned char> isPlace = {1, 1, 1, 1, 0, 5};
    // Numbers need not be aligned.
    std::vector<unsigned char> bytes(6 * 8 + 1);
    std::memcpy(bytes.data() + 1, place64.data(), 6 * 8);
    std::vector<float> taken(6, -1);
    std::vector<unsigned char> isTaken(6, 9);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate(
        {{"place", ArrayView(bytes.data() + 1, ArrayKind::Int64, 6, 1, 0, isPlace.data())},
         {"table", table}},
        {{"taken", MutableArrayView::of(taken).withPresence(isTaken.data())}}))
        << run.error();
    EXPECT_EQ(taken, (std::vector<float>{12, 0, 0, 10, 0, 10}));
    EXPECT_EQ(isTaken, (std::vector<unsigned char>{1, 0, 0, 1, 0, 1}));
    EXPECT_EQ(run.figures().outputsInPlace, 1);
}

TEST(ArrayRun, SeesNeighboursInAGridByShiftedViews) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto index = write.elementIndex();
    const auto east = write.loadField(write.field("east"), index, Format::Float32);
    const auto west = write.loadField(write.field("west"), index, Format::Float32);
    write.output(write.subtract(east, west), "slope");
    const FenletProgram program = write.build().program;
    // The rows are long, so that most blocks lie within one row.
    constexpr std::int64_t rows = 3;
    constexpr std::int64_t columns = 5000;
    std::vector<float> height(rows * columns);
    for (std::size_t i = 0; i < height.size(); ++i)
        height[i] = static_cast<float>(i % columns) * static_cast<float>(i % 7);
    const ArrayView grid = ArrayView::of(height).shaped({rows, columns});
    std::vector<float> slope(height.size());
    std::vector<unsigned char> present(height.size(), 9);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate(
        {{"east", grid.shifted({0, 1})}, {"west", grid.shifted({0, -1})}},
        {{"slope",
          MutableArrayView::of(slope).shaped({rows, columns}).withPresence(present.data())}}))
        << run.error();
    for (std::int64_t row = 0; row < rows; ++row)
        for (std::int64_t column = 0; column < columns; ++column) {
            const auto here = static_cast<std::size_t>(row * columns + column);
            const bool isInside = column > 0 && column < columns - 1;
            ASSERT_EQ(present[here], isInside ? 1 : 0) << here;
            if (isInside) {
                ASSERT_EQ(slope[here], height[here + 1] - height[here - 1]) << here;
            }
        }
}

TEST(ArrayRun, BroadcastsByStridesOfZero) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto index = write.elementIndex();
    const auto row = write.loadField(write.field("row"), index, Format::Float32);
    const auto column = write.loadField(write.field("column"), index, Format::Float32);
    write.output(write.add(row, column), "sum");
    const FenletProgram program = write.build().program;
    const float rows[] = {10, 20};
    const float columns[] = {1, 2, 3};
    ArrayView byRow = ArrayView::of(rows, 2);
    byRow.axisCount = 2;
    byRow.axes[1] = {3, 0, 0, 0, 3};
    ArrayView byColumn = ArrayView::of(columns, 3);
    byColumn.axisCount = 2;
    byColumn.axes[1] = byColumn.axes[0];
    byColumn.axes[0] = {2, 0, 0, 0, 2};
    std::vector<float> sum(6);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate({{"row", byRow}, {"column", byColumn}},
                             {{"sum", MutableArrayView::of(sum).shaped({2, 3})}}))
        << run.error();
    EXPECT_EQ(sum, (std::vector<float>{11, 12, 13, 21, 22, 23}));
}

TEST(ArrayRun, TakesUniformsSamplersAndAccessors) {
    struct Doubling final : FenletSampler {
        bool sample(const void* coordinates, CpuElementKind, int, void* values, CpuElementKind, int,
                    unsigned char*, int count) override {
            for (int i = 0; i < count; ++i)
                static_cast<float*>(values)[i] = 2 * static_cast<const float*>(coordinates)[i];
            return true;
        }
    };
    struct Numbers final : CpuFieldAccessor {
        bool read(const FieldRead& request) override {
            for (int i = 0; i < request.count; ++i) {
                const auto value = static_cast<float>(request.indices[i]);
                std::memcpy(request.values + i * 4, &value, sizeof value);
            }
            return true;
        }
    };
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto number =
        write.loadField(write.field("number"), write.elementIndex(), Format::Float32);
    const auto scale = write.loadUniform(write.uniform("scale"), Format::Float32);
    write.output(
        write.sample(write.sampler("twice"), write.multiply(number, scale), Format::Float32),
        "scaled");
    const FenletProgram program = write.build().program;
    Doubling twice;
    Numbers numbers;
    std::vector<float> scaled(2000);
    std::vector<unsigned char> present(2000);
    ArrayRun run(program);
    ASSERT_TRUE(
        run.evaluate({{"number", numbers}, {"scale", 1.5}, {"twice", twice}},
                     {{"scaled", MutableArrayView::of(scaled).withPresence(present.data())}}))
        << run.error();
    for (std::size_t i = 0; i < scaled.size(); ++i)
        ASSERT_EQ(scaled[i], 3.0f * static_cast<float>(i));
}

TEST(ArrayRun, RunsPartsOfTheRange) {
    const FenletProgram program = vegetationIndex();
    const std::vector<float> nir(3000, 3);
    const std::vector<float> red(3000, 1);
    std::vector<float> ndvi(3000, -1);
    ArrayRun run(program);
    ASSERT_TRUE(run.prepare({{"nir", nir}, {"red", red}}, {{"ndvi", ndvi}})) << run.error();
    EXPECT_EQ(run.count(), 3000);
    ASSERT_TRUE(run.run(17, 1500));
    for (std::size_t i = 0; i < ndvi.size(); ++i)
        ASSERT_EQ(ndvi[i], i >= 17 && i < 1517 ? 0.5f : -1.0f) << i;
    ASSERT_TRUE(run.run(3000, 0));
    EXPECT_FALSE(run.run(2999, 2));
    EXPECT_EQ(run.error(),
              "2 elements are asked for, beginning with element 2999; the arrays have 3000");
    EXPECT_FALSE(run.run(-1, 1));
    EXPECT_FALSE(run.run(1, std::numeric_limits<std::int64_t>::max()));
    EXPECT_TRUE(run.run());
}

TEST(ArrayRun, DropsStepsThatNoOutputNeeds) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto a = write.loadField(write.field("a"), write.elementIndex(), Format::Float32);
    write.output(write.add(a, a), "twice");
    write.output(write.multiply(write.multiply(a, a), a), "cube");
    const FenletProgram program = write.build().program;
    const std::vector<float> values = {1, 2, 3};
    std::vector<float> twice(3);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate({{"a", values}}, {{"twice", twice}})) << run.error();
    EXPECT_EQ(twice, (std::vector<float>{2, 4, 6}));
    EXPECT_EQ(run.figures().steps, 1);
    EXPECT_EQ(run.figures().droppedSteps, 2);
}

TEST(ArrayRun, TakesNoMoreMemoryForLongChains) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto a = write.loadField(write.field("a"), write.elementIndex(), Format::Float32);
    auto value = a;
    for (int i = 0; i < 100; ++i)
        value = write.add(value, a);
    write.output(value, "sum");
    const FenletProgram program = write.build().program;
    const std::vector<float> values(5000, 1);
    std::vector<float> sum(5000);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate({{"a", values}}, {{"sum", sum}})) << run.error();
    EXPECT_EQ(sum[4999], 101);
    // The sums alternate between two areas of scratch memory. The last step writes into the output.
    EXPECT_LE(run.figures().scratchBytes, std::int64_t{2} * 4 * run.blockSize());
}

TEST(ArrayRun, AnswersForNoElementsAtAll) {
    const FenletProgram program = vegetationIndex();
    const std::vector<float> none;
    std::vector<float> ndvi;
    ArrayRun run(program);
    EXPECT_TRUE(run.evaluate({{"nir", none}, {"red", none}}, {{"ndvi", ndvi}})) << run.error();
}

// Bindings that do not fit, and their error messages.
class ArrayRunRefusals : public testing::Test {
  protected:
    std::string whyNot(std::initializer_list<ArrayInput> inputs,
                       std::initializer_list<ArrayOutput> outputs) {
        EXPECT_FALSE(run.evaluate(inputs, outputs));
        EXPECT_FALSE(run.run()) << "what is not prepared must not run";
        return run.error();
    }

    const FenletProgram program = vegetationIndex();
    std::vector<float> nir = std::vector<float>(4);
    std::vector<float> red = std::vector<float>(4);
    std::vector<float> ndvi = std::vector<float>(4);
    ArrayRun run{program};
};

TEST_F(ArrayRunRefusals, NameWhatIsMissingUnknownOrDouble) {
    EXPECT_EQ(whyNot({{"nir", nir}}, {{"ndvi", ndvi}}),
              "the field \"red\" has no array; bind one to this name");
    EXPECT_EQ(whyNot({{"nir", nir}, {"red", red}, {"blue", red}}, {{"ndvi", ndvi}}),
              "the program has no input \"blue\"; it has the fields \"nir\", \"red\"");
    EXPECT_EQ(whyNot({{"nir", nir}, {"red", red}, {"nir", red}}, {{"ndvi", ndvi}}),
              "the field \"nir\" is bound twice; leave one of the two out");
    EXPECT_EQ(whyNot({{"nir", nir}, {"red", 1.0}}, {{"ndvi", ndvi}}),
              "\"red\" is a field; bind an array or an accessor to it");
    EXPECT_EQ(whyNot({{"nir", nir}, {"red", red}}, {}),
              "no output is bound; bind an array to at least one");
    EXPECT_EQ(whyNot({{"nir", nir}, {"red", red}}, {{"nvdi", ndvi}}),
              "the program has no register \"nvdi\"; its outputs are \"ndvi\"");
    EXPECT_EQ(whyNot({{"nir", nir}, {"red", red}}, {{"ndvi", ndvi}, {"ndvi", ndvi}}),
              "the output \"ndvi\" is bound twice; leave one of the two out");
}

TEST_F(ArrayRunRefusals, NameWhatDoesNotFit) {
    std::vector<float> longer(5);
    EXPECT_EQ(whyNot({{"nir", nir}, {"red", longer}}, {{"ndvi", ndvi}}),
              "the field \"red\" has the shape (5,), and the field \"nir\" has (4,); all arrays "
              "of a run need the same shape");
    EXPECT_EQ(whyNot({{"nir", nir}, {"red", ArrayView::of(nir, 2)}}, {{"ndvi", ndvi}}),
              "the field \"red\" has 2 components for each element, and instruction 2 (LoadField) "
              "reads 1");
    const bool truths[4] = {};
    EXPECT_EQ(whyNot({{"nir", nir}, {"red", ArrayView::of(truths, 4)}}, {{"ndvi", ndvi}}),
              "the field \"red\" holds Bool, and instruction 2 (LoadField) reads it as Float32; "
              "truth values and numbers do not mix");
    std::vector<std::int16_t> narrow(4);
    EXPECT_NE(
        whyNot({{"nir", nir}, {"red", red}}, {{"ndvi", narrow}}).find("the output \"ndvi\": "),
        std::string::npos);
    std::vector<unsigned char> present(4, 1);
    EXPECT_NE(whyNot({{"nir", ArrayView::of(nir).withPresence(present.data())}, {"red", red}},
                     {{"ndvi", ndvi}})
                  .find("can be missing"),
              std::string::npos);
}

TEST_F(ArrayRunRefusals, NameMemoryThatIsShared) {
    std::vector<float> all(8);
    const ArrayView front = ArrayView::of(all.data(), 4);
    EXPECT_EQ(
        whyNot({{"nir", front}, {"red", red}}, {{"ndvi", MutableArrayView::of(all.data() + 1, 4)}}),
        "the output \"ndvi\" overlaps the field \"nir\" and is laid out differently; give it "
        "other memory, or exactly the view of the field");
    // Columns of one table alternate in memory and share nothing.
    EXPECT_TRUE(
        run.evaluate({{"nir", ArrayView(all.data(), ArrayKind::Float32, 4, 1, 8)}, {"red", red}},
                     {{"ndvi", MutableArrayView(all.data() + 1, ArrayKind::Float32, 4, 1, 8)}}))
        << run.error();
}

TEST_F(ArrayRunRefusals, NamePresenceThatIsShifted) {
    std::vector<unsigned char> present(5, 1);
    const ArrayView field = ArrayView::of(nir).withPresence(present.data());
    EXPECT_NE(whyNot({{"nir", field}, {"red", red}},
                     {{"ndvi", MutableArrayView::of(nir).withPresence(present.data() + 1)}})
                  .find("the output \"ndvi\" overlaps the field \"nir\""),
              std::string::npos);
    // An output may be exactly the same elements as an input, even with another shape.
    EXPECT_TRUE(
        run.evaluate({{"nir", field.shaped({2, 2}).withPresence(present.data())}, {"red", red}},
                     {{"ndvi", MutableArrayView::of(nir).withPresence(present.data())}}))
        << run.error();
}

TEST_F(ArrayRunRefusals, StopWorkersOfAnEarlierPreparation) {
    ArrayRun::Worker early(run);
    EXPECT_FALSE(early.run(0, 1));
    ASSERT_TRUE(run.prepare({{"nir", nir}, {"red", red}}, {{"ndvi", ndvi}}));
    EXPECT_FALSE(early.run(0, 1));
    ArrayRun::Worker worker(run);
    EXPECT_TRUE(worker.run(0, 4)) << worker.error();
    ASSERT_TRUE(run.prepare({{"nir", nir}, {"red", red}}, {{"ndvi", ndvi}}));
    EXPECT_FALSE(worker.run(0, 4));
    EXPECT_FALSE(run.prepare({}, {}));
    EXPECT_EQ(run.count(), 0);
    EXPECT_EQ(run.blockSize(), 0);
}

TEST(ArrayRun, ReadsNumbersAndCoordinatesThatLieUnaligned) {
    struct Aligned final : FenletSampler {
        bool sample(const void* coordinates, CpuElementKind, int, void* values, CpuElementKind, int,
                    unsigned char*, int count) override {
            const auto* const in = static_cast<const double*>(coordinates);
            for (int i = 0; i < count; ++i)
                static_cast<double*>(values)[i] = in[i] + 1;
            return true;
        }
    } sampler;
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto index = write.elementIndex();
    const auto place = write.loadField(write.field("place"), index, Format::Int64);
    const auto found = write.loadField(write.field("table"), place, Format::Float64);
    const auto at = write.loadField(write.field("at"), index, Format::Float64);
    write.output(write.add(found, write.sample(write.sampler("next"), at, Format::Float64)), "sum");
    const FenletProgram program = write.build().program;
    std::vector<unsigned char> places(8 * 3 + 1);
    std::vector<unsigned char> ats(8 * 3 + 1);
    for (int i = 0; i < 3; ++i) {
        const std::int64_t number = 2 - i;
        const double coordinate = 10.0 * i;
        std::memcpy(places.data() + 1 + 8 * i, &number, 8);
        std::memcpy(ats.data() + 1 + 8 * i, &coordinate, 8);
    }
    const std::vector<double> table = {100, 200, 300};
    std::vector<double> sum(3);
    std::vector<unsigned char> present(3);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate({{"place", ArrayView(places.data() + 1, ArrayKind::Int64, 3)},
                              {"table", table},
                              {"at", ArrayView(ats.data() + 1, ArrayKind::Float64, 3)},
                              {"next", sampler}},
                             {{"sum", MutableArrayView::of(sum).withPresence(present.data())}}))
        << run.error();
    EXPECT_EQ(sum, (std::vector<double>{301, 211, 121}));
}

TEST_F(ArrayRunRefusals, TellWhoDeclined) {
    struct Declining final : CpuFieldAccessor {
        bool read(const FieldRead& request) override { return request.indices[0] == 0; }
    };
    Declining declining;
    std::vector<float> much(3000, 1);
    std::vector<float> result(3000, -7);
    std::vector<unsigned char> present(3000, 7);
    EXPECT_FALSE(
        run.evaluate({{"nir", much}, {"red", declining}},
                     {{"ndvi", MutableArrayView::of(result).withPresence(present.data())}}));
    EXPECT_EQ(run.refusal(), ExecRefusal::ProviderFailed);
    EXPECT_EQ(
        run.error(),
        "the field \"red\" declined at instruction 2 (LoadField), in the block of elements 1024 "
        "to 2047");
    // The first block is complete; the later ones are untouched.
    EXPECT_NE(result[1023], -7);
    EXPECT_EQ(present[1023], 1);
    EXPECT_EQ(result[1024], -7);
    EXPECT_EQ(present[1024], 7);
}

TEST(ArrayRunPrograms, ThatDependOnEarlierBlocksAreRefused) {
    FenletProgram program = vegetationIndex();
    program.instructions.erase(program.instructions.begin() + 2);
    ArrayRun run(program);
    std::vector<float> some(3);
    EXPECT_FALSE(run.evaluate({{"nir", some}}, {{"ndvi", some}}));
    EXPECT_EQ(run.error().find("the program cannot run over arrays: "), 0u) << run.error();
}

static_assert(!std::is_constructible_v<ArrayRun, FenletProgram> &&
                  !std::is_constructible_v<ArrayRun, const FenletProgram>,
              "a temporary program would be gone before the run uses it");

TEST(ArrayRun, KnowsWhatTheLastOfSeveralInstructionsLeavesInARegister) {
    // The first instruction leaves only 0 and 1 in %2, the second one also unknown.
    const FenletProgram program = parseProgram("%0 : i64 = ElementIndex\n"
                                               "%1 : triboolx2 = LoadField truths[%0]\n"
                                               "%2 : tribool = LoadConstant true\n"
                                               "%2 = Component %1[0]\n"
                                               "%3 result : tribool = Not %2\n")
                                      .program;
    const std::vector<unsigned char> truths = {255, 1, 0, 0};
    ArrayView pairs = ArrayView::of(truths.data(), 2);
    pairs.kind = ArrayKind::Tribool;
    pairs.components = 2;
    pairs.axes[0].stride = 2;
    std::vector<unsigned char> result(2);
    std::vector<unsigned char> present(2);
    MutableArrayView bools = MutableArrayView::of(result).withPresence(present.data());
    bools.kind = ArrayKind::Bool;
    ArrayRun run(program);
    EXPECT_FALSE(run.prepare({{"truths", pairs}}, {{"result", bools}}));
    EXPECT_NE(run.error().find("unknown"), std::string::npos) << run.error();
}

} // namespace
} // namespace Fenlet
