// Reading fields at the element numbers that a register holds.
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <climits>
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Bytes = std::vector<unsigned char>;
using Numbers = std::vector<std::int64_t>;
using Int32s = std::vector<std::int32_t>;

/// A program that fills an index register from field 0, and reads field 1 at these numbers.
template <class Index>
struct IndexBench {
    ProgramSketch program;
    int index;
    int result;
    RecordingField indexField;
    RecordingField field;
    RecordingSink sink;
    Interpreter interpreter;
    CpuFieldAccessor* fields[2] = {&indexField, &field};
    Bindings bindings{fields, 2, nullptr, nullptr, 0};

    IndexBench(std::vector<Index> values, Bytes validity, int indexMultiplicity = 1) {
        program.fields.resize(2);
        const int zero = program.addRegister(RegisterFormat::Int64);
        index = program.addRegister(
            sizeof(Index) == 4 ? RegisterFormat::Int32 : RegisterFormat::Int64, indexMultiplicity);
        result = program.addRegister(RegisterFormat::Float32, 2);
        program.add(OpCode::LoadField, index, {zero}, 0);
        program.add(OpCode::LoadField, result, {index}, 1);
        indexField.answer = [values, validity](const FieldRead& request) {
            storeLanes(request.values, values);
            storeLanes(request.validity, validity);
            return true;
        };
        EXPECT_TRUE(interpreter.configure(program, static_cast<int>(validity.size()) + 3));
        EXPECT_TRUE(
            interpreter.evaluate(5000, static_cast<long long>(validity.size()), bindings, sink));
    }

    const RecordingField::Read& read() const { return field.reads.at(0); }
};

TEST(LoadField, HandsTheAccessorTheResultRegister) {
    const IndexBench<std::int64_t> bench({7, 8, 9}, {1, 1, 1});
    const FieldRead& request = bench.read().request;
    const RegisterFile& registers = bench.interpreter.registerFile();
    EXPECT_EQ(request.values, registers.data(bench.result));
    EXPECT_EQ(request.validity, registers.validity(bench.result));
    EXPECT_EQ(request.kind, CpuElementKind::Float32);
    EXPECT_EQ(request.multiplicity, 2);
    EXPECT_EQ(request.count, 3);
    EXPECT_EQ(bench.read().validity, (Bytes{1, 1, 1}));
}

TEST(LoadField, BeginsWithADefaultRequest) {
    const FieldRead request;
    EXPECT_EQ(request.values, nullptr);
    EXPECT_EQ(request.validity, nullptr);
    EXPECT_EQ(request.indices, nullptr);
    EXPECT_FALSE(request.contiguous);
    EXPECT_EQ(request.count, 0);
}

TEST(LoadField, TakesTheNumbersAsTheyStand) {
    // The numbers are passed on as they are: no block start is added, and no bounds are checked.
    EXPECT_EQ(IndexBench<std::int64_t>({7, 8, 9}, {1, 1, 1}).read().indices, (Numbers{7, 8, 9}));
    EXPECT_EQ(IndexBench<std::int64_t>({INT64_MIN, -1, INT64_MAX}, {1, 1, 1}).read().indices,
              (Numbers{INT64_MIN, -1, INT64_MAX}));
    EXPECT_EQ(IndexBench<std::int32_t>({7, 8, 9}, {1, 1, 1}).read().indices, (Numbers{7, 8, 9}));
}

TEST(LoadField, PassesNegativeInt32NumbersOn) {
    EXPECT_EQ(IndexBench<std::int32_t>({-1, INT_MIN, INT_MAX}, {1, 1, 1}).read().indices,
              (Numbers{-1, INT_MIN, INT_MAX}));
}

TEST(LoadField, SaysWhenTheNumbersRunOnByOne) {
    const struct {
        Numbers indices;
        Bytes validity;
        bool contiguous;
    } rows[] = {
        {{7, 8, 9}, {1, 1, 1}, true},
        {{7, 9, 8}, {1, 1, 1}, false},
        {{9, 8, 7}, {1, 1, 1}, false},
        {{7, 7, 7}, {1, 1, 1}, false},
        {{7, 8, 8}, {1, 1, 1}, false},
        {{7, 8, 10}, {1, 1, 1}, false},
        {{7, 9, 11}, {1, 1, 1}, false},
        {{7}, {1}, true},
        {{-1}, {1}, true},
        {{7}, {0}, false},
        {{-2, -1, 0, 1}, {1, 1, 1, 1}, true},
        {{7, 8, 9}, {0, 1, 1}, false},
        {{7, 8, 9}, {1, 0, 1}, false},
        {{7, 8, 9}, {1, 1, 0}, false},
        {{7, 8, 9}, {255, 1, 200}, true},
        {{INT64_MAX - 1, INT64_MAX, INT64_MIN}, {1, 1, 1}, true},
        {{7, 8 + (std::int64_t{1} << 32), 9}, {1, 1, 1}, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.indices));
        const IndexBench<std::int64_t> bench(row.indices, row.validity);
        EXPECT_EQ(bench.read().request.contiguous, row.contiguous);
        EXPECT_EQ(bench.read().indices, row.indices);
    }
}

TEST(LoadField, CountsInt32NumbersOnPastTheirOwnRange) {
    EXPECT_TRUE(IndexBench<std::int32_t>({INT_MAX - 1, INT_MAX}, {1, 1}).read().request.contiguous);
    EXPECT_FALSE(IndexBench<std::int32_t>({INT_MAX, INT_MIN}, {1, 1}).read().request.contiguous);
}

TEST(LoadField, LooksAtEveryPosition) {
    for (const std::size_t count : {1u, 2u, 15u, 64u, 200u}) {
        Numbers run(count);
        for (std::size_t i = 0; i < count; ++i)
            run[i] = static_cast<std::int64_t>(i) + 100;
        EXPECT_TRUE(IndexBench<std::int64_t>(run, Bytes(count, 1)).read().request.contiguous);
        for (std::size_t i = 0; i < count; ++i) {
            Bytes validity(count, 1);
            validity[i] = 0;
            EXPECT_FALSE(IndexBench<std::int64_t>(run, validity).read().request.contiguous) << i;
            Numbers broken = run;
            broken[i] += 1000;
            EXPECT_EQ(IndexBench<std::int64_t>(broken, Bytes(count, 1)).read().request.contiguous,
                      count == 1)
                << i;
        }
    }
}

TEST(LoadField, StartsFromTheValidityOfItsIndices) {
    const IndexBench<std::int64_t> bench({7, 8, 9}, {200, 0, 1});
    EXPECT_EQ(bench.read().validity, (Bytes{1, 0, 1}));
    // The number of an invalid element is passed on, too.
    EXPECT_EQ(bench.read().indices, (Numbers{7, 8, 9}));
    EXPECT_FALSE(bench.read().request.contiguous);
}

TEST(LoadField, ReadsAWideIndexRegisterAsIfItWereFlat) {
    const IndexBench<std::int64_t> bench({10, 11, 12, 13, 14, 15}, {1, 1}, 3);
    EXPECT_EQ(bench.read().indices, (Numbers{10, 11}));
    EXPECT_TRUE(bench.read().request.contiguous);
    const IndexBench<std::int32_t> narrow({10, 99, 12, 13, 14, 15}, {1, 1}, 3);
    EXPECT_EQ(narrow.read().indices, (Numbers{10, 99}));
    EXPECT_FALSE(narrow.read().request.contiguous);
}

TEST(LoadField, MayReadIntoItsOwnIndexRegister) {
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    program.add(OpCode::LoadField, program.int64, {program.int64}, 0);
    RecordingHost host;
    host.field.answer = [](const FieldRead& request) {
        // An accessor may write values before it reads numbers, because the numbers are a copy.
        storeLanes(request.values, Numbers{0, 0, 0});
        Numbers doubled;
        for (int i = 0; i < request.count; ++i)
            doubled.push_back(request.indices[i] * 2);
        storeLanes(request.values, doubled);
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(5, 3, host.bindings, host.sink));
    EXPECT_EQ(liveLanes<std::int64_t>(interpreter.registerFile(), program.int64),
              (Numbers{10, 12, 14}));
    EXPECT_TRUE(host.field.reads[0].request.contiguous);
}

TEST(LoadField, KeepsElementMajorOrderAndTheAccessorsVerdicts) {
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    program.add(OpCode::LoadField, program.real2, {program.int64}, 0);
    program.add(OpCode::Component, program.real, {program.real2}, 1);
    RecordingHost host;
    host.field.answer = [](const FieldRead& request) {
        storeLanes(request.values, std::vector<float>{0, 1, 10, 11, 20, 21});
        storeLanes(request.validity, Bytes{1, 0, 77});
        return true;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 3, host.bindings, host.sink));
    const RegisterFile& registers = interpreter.registerFile();
    EXPECT_EQ(liveLanes<float>(registers, program.real), (std::vector<float>{1, 11, 21}));
    // The accessor's validity bytes are kept as they are. The next step turns them into 0 and 1.
    EXPECT_EQ(liveValidity(registers, program.real2), (Bytes{1, 0, 77}));
    EXPECT_EQ(liveValidity(registers, program.real), (Bytes{1, 0, 1}));
}

TEST(LoadField, KeepsWhatADecliningAccessorHasWritten) {
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    RecordingHost host;
    host.field.answer = [](const FieldRead& request) {
        storeLanes(request.values, std::vector<float>{4.5f});
        request.validity[1] = 0;
        return false;
    };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_FALSE(interpreter.evaluate(0, 3, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::ProviderFailed, "field accessor declined");
    EXPECT_TRUE(host.sink.blocks.empty());
    EXPECT_TRUE(interpreter.isConfigured());
    const RegisterFile& registers = interpreter.registerFile();
    EXPECT_EQ(liveLanes<float>(registers, program.real), (std::vector<float>{4.5f, 0, 0}));
    EXPECT_EQ(liveValidity(registers, program.real), (Bytes{1, 0, 1}));
}

} // namespace
} // namespace Fenlet
