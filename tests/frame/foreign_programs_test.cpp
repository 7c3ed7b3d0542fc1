// Programs from a test double of the program library, which returns what the real library never
// returns.
#include "doubles/expectations.h"
#include "doubles/program_library.h"
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <climits>
#include <cstdint>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;
using Bytes = std::vector<unsigned char>;
using Numbers = std::vector<std::int64_t>;

const char* const staleWords =
    "this build of fenletexec and the linked fenletir disagree about the OpCode numbering - one of "
    "them is stale and must be rebuilt";

class ForeignPrograms : public ::testing::Test {
  protected:
    void SetUp() override { programLibrary() = {}; }
};

TEST_F(ForeignPrograms, AreRefusedWhenTheOpCodeNumberingDiffers) {
    for (const int token : {6154, 6156, 0, -1, -6155, INT_MAX, INT_MIN, 6155 + 65536}) {
        programLibrary().token = token;
        expectConfigureRefuses(BenchProgram{}, ExecRefusal::StaleOpCodeTable, staleWords);
    }
}

TEST_F(ForeignPrograms, AreNotReadWhenTheOpCodeNumberingDiffers) {
    programLibrary().token = 6156;
    programLibrary().registerCount = -1;
    programLibrary().instructionCount = -1;
    ProgramSketch program;
    program.addRegister(static_cast<RegisterFormat>(8));
    Interpreter interpreter;
    EXPECT_FALSE(interpreter.configure(program, 0));
    expectReason(interpreter, ExecRefusal::StaleOpCodeTable, staleWords);
    EXPECT_EQ(programLibrary().tokenCalls, 1);
    EXPECT_EQ(programLibrary().planningCalls(), 1);
}

// The stages of planning in order, each with a fault that only this stage finds. The tests write
// the faulty instructions in the opposite order.
struct Stage {
    const char* name;
    void (*spoil)(BenchProgram&, int& blockSize);
    ExecRefusal code;
    const char* message;
};

const Stage stages[] = {
    {"numbering", [](BenchProgram&, int&) { programLibrary().token = 6154; },
     ExecRefusal::StaleOpCodeTable, staleWords},
    {"registers", [](BenchProgram& p, int&) { p.addRegister(static_cast<RegisterFormat>(8)); },
     ExecRefusal::UnsupportedFormat, "a register format has no CPU storage"},
    {"register file", [](BenchProgram&, int& blockSize) { blockSize = 0; },
     ExecRefusal::ScratchRefused, "block size must be positive"},
    {"instructions", [](BenchProgram& p, int&) { p.add(OpCode::Nop, -1, {0}); },
     ExecRefusal::ArityMismatch, "operand slot used past the opcode's arity"},
    {"multiplicities",
     [](BenchProgram& p, int&) {
         p.add(OpCode::Add, p.real3, {p.real2, p.real3});
     },
     ExecRefusal::MultiplicityMismatch, "operands differ in multiplicity and neither is a scalar"},
    {"rules", [](BenchProgram& p, int&) { p.add(OpCode::ElementIndex, p.int32); },
     ExecRefusal::KindMismatch, "ElementIndex must define an integral register"},
};

TEST_F(ForeignPrograms, AreRefusedByTheFirstStageThatFindsFault) {
    for (const Stage& first : stages) {
        for (const Stage* second = &first; second != std::end(stages); ++second) {
            SCOPED_TRACE(std::string(first.name) + " before " + second->name);
            programLibrary() = {};
            BenchProgram program;
            int blockSize = 4;
            second->spoil(program, blockSize);
            first.spoil(program, blockSize);
            expectConfigureRefuses(program, first.code, first.message, blockSize);
        }
    }
}

// Counts that are wrong.

TEST_F(ForeignPrograms, WithNegativeCountsEndInALengthError) {
    for (const bool ofRegisters : {true, false}) {
        for (const int count : {-1, INT_MIN}) {
            SCOPED_TRACE(count);
            programLibrary() = {};
            BenchProgram good;
            good.add(OpCode::ElementIndex, good.int64);
            RecordingHost host;
            Interpreter planned;
            ASSERT_TRUE(planned.configure(good, 4));
            ASSERT_TRUE(planned.evaluate(0, 4, host.bindings, host.sink));
            Interpreter fresh;

            auto& wrong =
                ofRegisters ? programLibrary().registerCount : programLibrary().instructionCount;
            wrong = count;
            EXPECT_THROW(static_cast<void>(planned.configure(good, 4)), std::length_error);
            EXPECT_TRUE(planned.isConfigured());
            EXPECT_TRUE(planned.plan().empty());
            expectReason(planned, ExecRefusal::None, nullptr);
            EXPECT_EQ(planned.executedSteps(), 0u);
            EXPECT_THROW(static_cast<void>(fresh.configure(good, 4)), std::length_error);
            EXPECT_FALSE(fresh.isConfigured());
            expectReason(fresh, ExecRefusal::None, nullptr);

            wrong.reset();
            EXPECT_TRUE(planned.configure(good, 4));
            EXPECT_TRUE(planned.evaluate(0, 4, host.bindings, host.sink));
            EXPECT_TRUE(fresh.configure(good, 4));
        }
    }
}

// Numbers outside the enumerations.

TEST_F(ForeignPrograms, WithFormatsOfNoKindAreRefused) {
    for (const int format : {8, 9, -1, INT_MIN}) {
        BenchProgram program;
        program.addRegister(static_cast<RegisterFormat>(format));
        expectConfigureRefuses(program, ExecRefusal::UnsupportedFormat,
                               "a register format has no CPU storage");
    }
}

TEST_F(ForeignPrograms, WithUnknownOpcodesArePlannedAndRefusedByTheFirstBlock) {
    for (const int number : {24, 25, 40, 63}) {
        for (const int arity : {0, 1, 2, 3}) {
            SCOPED_TRACE(std::to_string(number) + " of arity " + std::to_string(arity));
            programLibrary().arities[static_cast<std::size_t>(number)] = arity;
            BenchProgram program;
            program.add(static_cast<OpCode>(number), program.real);
            for (int slot = 0; slot < arity; ++slot)
                program.instructions[0].operands[slot] = program.real3;
            RecordingHost host;
            Interpreter interpreter;
            ASSERT_TRUE(interpreter.configure(program, 4));
            EXPECT_EQ(interpreter.plan()[0].arity, arity);
            EXPECT_TRUE(interpreter.evaluate(0, 0, host.bindings, host.sink));
            for (int run = 1; run <= 2; ++run) {
                EXPECT_FALSE(interpreter.evaluate(0, 4, host.bindings, host.sink));
                expectReason(interpreter, ExecRefusal::KindMismatch,
                             "opcode has no implementation in this backend");
                EXPECT_EQ(interpreter.executedSteps(), static_cast<std::uint64_t>(run));
            }
            EXPECT_TRUE(host.sink.blocks.empty());
        }
    }
}

TEST_F(ForeignPrograms, WithUnknownOpcodesAreStillChecked) {
    programLibrary().arities[24] = 2;
    const auto unknown = static_cast<OpCode>(24);
    BenchProgram noResult;
    noResult.add(unknown, -1, {0, 0});
    expectConfigureRefuses(noResult, ExecRefusal::BadRegister, "result register out of range");
    BenchProgram noOperand;
    noOperand.add(unknown, 0, {0});
    expectConfigureRefuses(noOperand, ExecRefusal::BadRegister, "operand register out of range");
    BenchProgram stray;
    stray.add(unknown, 0, {0, 0, 0});
    expectConfigureRefuses(stray, ExecRefusal::ArityMismatch,
                           "operand slot used past the opcode's arity");
    BenchProgram vectors;
    vectors.add(unknown, 0, {vectors.real2, vectors.real3});
    expectConfigureRefuses(vectors, ExecRefusal::MultiplicityMismatch,
                           "operands differ in multiplicity and neither is a scalar");
}

TEST_F(ForeignPrograms, HaveTheFirstTwoOperandsPairedByArityForAllButSelect) {
    const auto unknown = static_cast<OpCode>(24);
    for (const int arity : {2, 3}) {
        SCOPED_TRACE(arity);
        programLibrary().arities[24] = arity;
        BenchProgram program;
        // A third operand has no effect on the result.
        const std::int32_t last = arity == 3 ? program.real2 : noRegister;
        program.add(unknown, program.real, {program.real, program.real3, last});
        program.add(unknown, program.real, {program.real3, program.real, last});
        Interpreter interpreter;
        ASSERT_TRUE(interpreter.configure(program, 4));
        EXPECT_TRUE(interpreter.plan()[0].leftScalar);
        EXPECT_FALSE(interpreter.plan()[0].rightScalar);
        EXPECT_FALSE(interpreter.plan()[1].leftScalar);
        EXPECT_TRUE(interpreter.plan()[1].rightScalar);
        program.add(unknown, program.real, {program.real2, program.real3, last});
        expectConfigureRefuses(program, ExecRefusal::MultiplicityMismatch,
                               "operands differ in multiplicity and neither is a scalar");
    }
    programLibrary().arities[static_cast<std::size_t>(OpCode::Select)] = 2;
    BenchProgram select;
    select.add(OpCode::Select, select.real2, {select.tribool2, select.real3});
    expectConfigures(select);
}

TEST_F(ForeignPrograms, WithUnknownOpcodesHaveValidityMadeByTheirArity) {
    const struct {
        int arity;
        Bytes expected;
    } rows[] = {{0, {1, 1, 0, 3}}, {1, {1, 0, 1, 1}}, {2, {1, 0, 1, 0}}, {3, {1, 0, 1, 0}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.arity);
        programLibrary().arities[24] = row.arity;
        BenchProgram program;
        const int numbers[] = {program.real, program.int32, program.half, program.wide};
        for (const int number : numbers)
            program.add(OpCode::LoadField, number, {program.int64}, 0);
        program.add(static_cast<OpCode>(24), program.real);
        for (int slot = 0; slot < row.arity; ++slot)
            program.instructions.back().operands[slot] = numbers[slot + 1];
        const Bytes validity[] = {{1, 1, 0, 3}, {1, 0, 255, 1}, {2, 1, 1, 0}, {0, 0, 0, 0}};
        RecordingHost host;
        host.field.answer = [&](const FieldRead& request) {
            storeLanes(request.validity, validity[host.field.reads.size() - 1]);
            return true;
        };
        Interpreter interpreter;
        ASSERT_TRUE(interpreter.configure(program, 4));
        EXPECT_FALSE(interpreter.evaluate(0, 4, host.bindings, host.sink));
        EXPECT_EQ(liveValidity(interpreter.registerFile(), program.real), row.expected);
        EXPECT_EQ(interpreter.executedSteps(), 5u);
    }
}

TEST_F(ForeignPrograms, WithAnArityOutsideTheSlotsStayWithinThem) {
    BenchProgram program;
    program.add(static_cast<OpCode>(24), program.real, {program.real, program.real, program.real});
    programLibrary().arities[24] = 4;
    expectConfigures(program);
    programLibrary().arities[24] = -1;
    expectConfigureRefuses(program, ExecRefusal::ArityMismatch,
                           "operand slot used past the opcode's arity");
}

// LoadField without an operand reads at the block's own element numbers.

class FieldWithoutIndex : public ForeignPrograms {
  protected:
    void SetUp() override {
        ForeignPrograms::SetUp();
        programLibrary().arities[static_cast<std::size_t>(OpCode::LoadField)] = 0;
    }
};

TEST_F(FieldWithoutIndex, ReadsTheElementsOfTheBlock) {
    BenchProgram program;
    program.add(OpCode::LoadField, program.real3, {}, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(-3, 6, host.bindings, host.sink));
    ASSERT_EQ(host.field.reads.size(), 2u);
    EXPECT_EQ(host.field.reads[0].indices, (Numbers{-3, -2, -1, 0}));
    EXPECT_EQ(host.field.reads[1].indices, (Numbers{1, 2}));
    for (const RecordingField::Read& read : host.field.reads) {
        EXPECT_TRUE(read.request.contiguous);
        EXPECT_EQ(read.request.kind, CpuElementKind::Float32);
        EXPECT_EQ(read.request.multiplicity, 3);
        EXPECT_EQ(read.request.values, interpreter.registerFile().data(program.real3));
        EXPECT_EQ(read.request.validity, interpreter.registerFile().validity(program.real3));
    }
    EXPECT_EQ(host.field.reads[0].request.count, 4);
    EXPECT_EQ(host.field.reads[1].request.count, 2);
}

TEST_F(FieldWithoutIndex, WrapsPastTheLastNumber) {
    BenchProgram program;
    program.add(OpCode::LoadField, program.real, {}, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(LLONG_MAX - 1, 3, host.bindings, host.sink));
    EXPECT_EQ(host.field.reads[0].indices, (Numbers{LLONG_MAX - 1, LLONG_MAX, LLONG_MIN}));
    EXPECT_TRUE(host.field.reads[0].request.contiguous);
}

TEST_F(FieldWithoutIndex, LeavesTheRegistersValidityAsItStands) {
    BenchProgram program;
    program.fields.resize(2);
    program.add(OpCode::LoadField, program.real, {}, 0);
    program.add(OpCode::LoadField, program.real, {}, 1);
    RecordingField clearing;
    clearing.answer = [](const FieldRead& request) {
        storeLanes(request.validity, Bytes{1, 0, 77, 1});
        return true;
    };
    RecordingField watching;
    CpuFieldAccessor* const fields[] = {&clearing, &watching};
    RecordingSink sink;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 4, {fields, 2, nullptr, nullptr, 0}, sink));
    EXPECT_EQ(clearing.reads[0].validity, (Bytes{1, 1, 1, 1}));
    EXPECT_EQ(watching.reads[0].validity, (Bytes{1, 0, 77, 1}));
    // The block's own numbers count as contiguous even if a position is invalid.
    EXPECT_TRUE(watching.reads[0].request.contiguous);
    EXPECT_EQ(liveValidity(interpreter.registerFile(), program.real), (Bytes{1, 0, 77, 1}));
}

TEST_F(FieldWithoutIndex, TakesNoOperand) {
    BenchProgram program;
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    expectConfigureRefuses(program, ExecRefusal::ArityMismatch,
                           "operand slot used past the opcode's arity");
}

TEST_F(FieldWithoutIndex, IsRefusedAndDeclinedLikeTheOther) {
    BenchProgram outside;
    outside.add(OpCode::LoadField, outside.real, {}, 1);
    expectConfigureRefuses(outside, ExecRefusal::BadImmediate, "field binding index out of range");

    BenchProgram program;
    program.add(OpCode::LoadField, program.real, {}, 0);
    RecordingHost host;
    host.field.answer = [](const FieldRead&) { return false; };
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_FALSE(interpreter.evaluate(0, 4, Bindings{}, host.sink));
    expectReason(interpreter, ExecRefusal::UnboundField,
                 "no accessor bound for a field the program reads");
    EXPECT_FALSE(interpreter.evaluate(0, 4, host.bindings, host.sink));
    expectReason(interpreter, ExecRefusal::ProviderFailed, "field accessor declined");
}

TEST_F(ForeignPrograms, MaySampleWithoutCoordinates) {
    programLibrary().arities[static_cast<std::size_t>(OpCode::Sample)] = 0;
    BenchProgram program;
    program.add(OpCode::Sample, program.real2, {}, 0);
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    ASSERT_TRUE(interpreter.evaluate(0, 3, host.bindings, host.sink));
    const RecordingSampler::Sample& call = host.sampler.samples.at(0);
    EXPECT_EQ(call.coordinates, nullptr);
    EXPECT_EQ(call.coordinateKind, CpuElementKind::Unsupported);
    EXPECT_EQ(call.coordinateMultiplicity, 1);
    EXPECT_EQ(call.values, interpreter.registerFile().data(program.real2));
    EXPECT_EQ(call.validityOnEntry, (Bytes{1, 1, 1}));
}

// Calls to the program library.

TEST_F(ForeignPrograms, AreAskedForEachAritysOnceAndForTheNumberingOnce) {
    BenchProgram program;
    program.add(OpCode::Nop, -1);
    program.add(OpCode::ElementIndex, program.int64);
    program.add(OpCode::Select, program.real, {program.tribool, program.real, program.real});
    Interpreter interpreter;
    for (int times = 1; times <= 2; ++times) {
        ASSERT_TRUE(interpreter.configure(program, 4));
        EXPECT_EQ(programLibrary().tokenCalls, times);
        EXPECT_EQ(programLibrary().arityCalls, 3 * times);
    }
}

TEST_F(ForeignPrograms, AreAskedOnlyForConstantsWhileTheyRun) {
    BenchProgram program;
    program.add(OpCode::ElementIndex, program.int64);
    program.add(OpCode::LoadField, program.real, {program.int64}, 0);
    program.add(OpCode::LoadUniform, program.real, {}, 0);
    program.add(OpCode::Sample, program.real, {program.real}, 0);
    program.add(OpCode::Component, program.real, {program.real3}, 1);
    program.add(OpCode::LoadConstant, program.wide, {},
                program.addConstant(realConstant({1, 2, 3})));
    program.add(OpCode::LoadConstant, program.int32, {},
                program.addConstant(integerConstant({4, 5})));
    program.add(OpCode::LoadConstant, program.tribool, {}, program.addConstant(triboolConstant(1)));
    RecordingHost host;
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 4));
    EXPECT_TRUE(programLibrary().realComponentsAsked.empty());
    EXPECT_TRUE(programLibrary().integralComponentsAsked.empty());

    const int before = programLibrary().planningCalls();
    ASSERT_TRUE(interpreter.evaluate(0, 8, host.bindings, host.sink));
    EXPECT_EQ(programLibrary().planningCalls(), before);
    // In each of the two blocks, each component is read once, with one accessor.
    using Asked = std::vector<std::int32_t>;
    EXPECT_EQ(programLibrary().realComponentsAsked, (Asked{0, 1, 2, 0, 1, 2}));
    EXPECT_EQ(programLibrary().integralComponentsAsked, (Asked{0, 1, 0, 1}));
}

} // namespace
} // namespace Fenlet
