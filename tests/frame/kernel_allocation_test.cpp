// Runs every kernel. No kernel may allocate.
#include "doubles/counted_new.h"
#include "doubles/expectations.h"
#include "doubles/program_sketch.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

using namespace Doubles;

constexpr RegisterFormat formats[] = {RegisterFormat::Tribool, RegisterFormat::Int32,
                                      RegisterFormat::Half,    RegisterFormat::Float32,
                                      RegisterFormat::Float64, RegisterFormat::Int64};
constexpr int firstNumber = 1;
constexpr int endOfArithmetic = 5;
constexpr int endOfNumbers = 6;

/// A program that runs every kernel in every shape, on registers of one and of `width` components.
/// A number below stands for the format at this position in `formats`.
struct EveryKernelProgram : ProgramSketch {
    explicit EveryKernelProgram(int width) {
        fields.resize(1);
        const std::int32_t indices = addRegister(RegisterFormat::Int32);
        for (int kind = 0; kind < endOfNumbers; ++kind) {
            narrow[kind] = addRegister(formats[kind]);
            wide[kind] = addRegister(formats[kind], width);
            result[kind] = addRegister(formats[kind], width);
            scalarResult[kind] = addRegister(formats[kind]);
            add(OpCode::LoadField, narrow[kind], {indices}, 0);
            add(OpCode::LoadField, wide[kind], {indices}, 0);
        }
        addLogic();
        addUnary();
        addArithmetic();
        addComparisons();
        addComponents();
        addSelects();
    }

  private:
    void addLogic() {
        add(OpCode::Not, result[0], {wide[0]});
        add(OpCode::IsTrue, result[0], {wide[0]});
        add(OpCode::And, result[0], {wide[0], wide[0]});
        add(OpCode::Or, result[0], {wide[0], wide[0]});
    }
    void addUnary() {
        for (int to = firstNumber; to < endOfArithmetic; ++to)
            for (int from = firstNumber; from < endOfArithmetic; ++from) {
                add(OpCode::Negate, result[to], {wide[from]});
                add(OpCode::Length, scalarResult[to], {wide[from]});
            }
    }
    void addInShapes(OpCode op, std::int32_t to, int left, int right, bool scalarLeft) {
        add(op, to, {wide[left], wide[right]});
        add(op, to, {wide[left], narrow[right]});
        if (scalarLeft)
            add(op, to, {narrow[left], wide[right]});
    }
    void addArithmetic() {
        for (const OpCode op : {OpCode::Add, OpCode::Subtract, OpCode::Multiply, OpCode::Divide})
            for (int to = firstNumber; to < endOfArithmetic; ++to)
                for (int left = firstNumber; left < endOfArithmetic; ++left)
                    for (int right = firstNumber; right < endOfArithmetic; ++right)
                        addInShapes(op, result[to], left, right, true);
    }
    void addComparisons() {
        for (const OpCode op : {OpCode::Less, OpCode::LessEqual, OpCode::Greater,
                                OpCode::GreaterEqual, OpCode::Equal, OpCode::NotEqual})
            for (int left = firstNumber; left < endOfNumbers; ++left)
                for (int right = firstNumber; right < endOfNumbers; ++right)
                    addInShapes(op, result[0], left, right, false);
    }
    void addComponents() {
        for (int to = 0; to < endOfNumbers; ++to)
            for (int from = 0; from < endOfNumbers; ++from)
                if ((to == 0) == (from == 0)) {
                    add(OpCode::Component, scalarResult[to], {wide[from]}, 1);
                    add(OpCode::Component, scalarResult[to], {narrow[from]}, 0);
                }
    }
    void addSelects() {
        for (const std::int32_t condition : {narrow[0], wide[0]})
            for (int to = 0; to < endOfNumbers; ++to)
                for (int first = 0; first < endOfNumbers; ++first)
                    for (int second = 0; second < endOfNumbers; ++second)
                        if ((to == 0) == (first == 0) && (to == 0) == (second == 0))
                            add(OpCode::Select, result[to], {condition, wide[first], wide[second]});
    }

    std::int32_t narrow[endOfNumbers] = {};
    std::int32_t wide[endOfNumbers] = {};
    std::int32_t result[endOfNumbers] = {};
    std::int32_t scalarResult[endOfNumbers] = {};
};

/// A field whose bytes begin with five runs of 40 equal bytes; after that, neighbouring bytes
/// differ. In each read, every seventh element is invalid, beginning with the first.
class PatternField : public CpuFieldAccessor {
  public:
    bool read(const FieldRead& request) override {
        const auto bytes = static_cast<std::size_t>(elementSize(request.kind)) *
                           static_cast<std::size_t>(request.multiplicity) *
                           static_cast<std::size_t>(request.count);
        constexpr unsigned char pattern[] = {1, 0, 255, 1, 0x3C, 2, 0, 0x80, 255, 0x7F, 0xF0};
        for (std::size_t i = 0; i < bytes; ++i)
            request.values[i] = pattern[(i < 200 ? i / 40 : i) % sizeof pattern];
        for (int i = 0; i < request.count; i += 7)
            request.validity[i] = 0;
        return true;
    }
};

class EndlessSink : public BlockSink {
  public:
    bool consume(const RegisterFile&, long long, int) override { return true; }
};

TEST(Allocation, HappensInNoKernel) {
    for (const int width : {3, 40, 600}) {
        SCOPED_TRACE(width);
        const EveryKernelProgram program(width);
        PatternField field;
        CpuFieldAccessor* const fields[] = {&field};
        EndlessSink sink;
        Interpreter interpreter;
        ASSERT_TRUE(interpreter.configure(program, 1300 / width));
        const AllocationCount allocations;
        const bool ran =
            interpreter.evaluate(0, 1700 / width, {fields, 1, nullptr, nullptr, 0}, sink);
        EXPECT_EQ(allocations.count(), 0u);
        EXPECT_TRUE(ran);
        expectReason(interpreter, ExecRefusal::None, nullptr);
        // Loads, logic, Negate and Length, arithmetic, comparisons, Component and Select.
        EXPECT_EQ(interpreter.plan().size(),
                  12u + 4 + 2 * 16 + 4 * 64 * 3 + 6 * 25 * 2 + 26 * 2 + 126 * 2);
    }
}

} // namespace
} // namespace Fenlet
