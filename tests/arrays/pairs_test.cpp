// Two arithmetic instructions in one loop give the bits of two loops.
#include <fenletarrays/array_run.h>
#include <fenletexec/interpreter.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/sinks.h>
#include <fenletir/program_builder.h>

#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

constexpr OpCode operations[] = {OpCode::Add, OpCode::Subtract, OpCode::Multiply, OpCode::Divide};

/// Whether two values have the same bits. All NaNs are alike, since it is open which of two NaNs an
/// operation returns.
template <class Value>
bool areAlike(Value left, Value right) {
    return (left != left && right != right) || std::memcmp(&left, &right, sizeof left) == 0;
}

/// Values whose sums, products and quotients round, overflow, lose their sign or are NaNs.
template <class Value>
std::vector<Value> corners() {
    using Limits = std::numeric_limits<Value>;
    return {0,
            static_cast<Value>(-0.0),
            1,
            static_cast<Value>(-1.1),
            3,
            Limits::max(),
            Limits::min(),
            Limits::denorm_min(),
            Limits::infinity(),
            -Limits::infinity(),
            Limits::quiet_NaN(),
            Limits::signaling_NaN()};
}

/// All triples of corners, in three arrays.
template <class Value>
struct Triples {
    Triples() {
        for (const Value x : corners<Value>())
            for (const Value y : corners<Value>())
                for (const Value z : corners<Value>()) {
                    a.push_back(x);
                    b.push_back(y);
                    c.push_back(z);
                }
    }
    std::vector<Value> a, b, c;
};

template <class Value>
struct PairsOf : public testing::Test {};
using Kinds = testing::Types<float, double>;
TYPED_TEST_SUITE(PairsOf, Kinds);

FenletProgram pairProgram(RegisterFormat format, OpCode first, OpCode second, bool isRight) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto index = write.elementIndex();
    const auto a = write.loadField(write.field("a"), index, format);
    const auto b = write.loadField(write.field("b"), index, format);
    const auto c = write.loadField(write.field("c"), index, format);
    const auto apply = [&](OpCode op, Register left, Register right) {
        return op == OpCode::Add        ? write.add(left, right)
               : op == OpCode::Subtract ? write.subtract(left, right)
               : op == OpCode::Multiply ? write.multiply(left, right)
                                        : write.divide(left, right);
    };
    const auto inner = apply(first, a, b);
    write.output(isRight ? apply(second, c, inner) : apply(second, inner, c), "result");
    return write.build().program;
}

template <class Value>
std::vector<Value> stepByStep(const FenletProgram& program, const Triples<Value>& triples) {
    ArrayField a(ArrayView::of(triples.a));
    ArrayField b(ArrayView::of(triples.b));
    ArrayField c(ArrayView::of(triples.c));
    CpuFieldAccessor* const fields[] = {&a, &b, &c};
    const auto count = static_cast<std::int64_t>(triples.a.size());
    Bindings bindings;
    bindings.fields = fields;
    bindings.fieldCount = 3;
    Interpreter interpreter;
    EXPECT_TRUE(interpreter.configure(program, 256));
    std::int32_t number = 0;
    for (std::int32_t i = 0; i < program.registerCount(); ++i)
        number = program.registerInfo(i).output ? i : number;
    CollectingSink sink(interpreter.registerFile(), {number}, 0, count);
    EXPECT_TRUE(interpreter.evaluate(0, count, bindings, sink));
    std::vector<Value> values(triples.a.size());
    std::memcpy(values.data(), sink[0].values.data(), values.size() * sizeof(Value));
    return values;
}

TYPED_TEST(PairsOf, OperationsGiveTheBitsOfSingleSteps) {
    const Triples<TypeParam> triples;
    constexpr auto format = sizeof(TypeParam) == 4 ? Format::Float32 : Format::Float64;
    for (const OpCode first : operations)
        for (const OpCode second : operations)
            for (const bool isRight : {false, true}) {
                const std::string what = std::string(opCodeName(first)) + ", then " +
                                         opCodeName(second) + (isRight ? " on the right" : "");
                const FenletProgram program = pairProgram(format, first, second, isRight);
                const std::vector<TypeParam> expected = stepByStep(program, triples);
                std::vector<TypeParam> result(expected.size());
                ArrayRun run(program);
                ASSERT_TRUE(run.evaluate({{"a", triples.a}, {"b", triples.b}, {"c", triples.c}},
                                         {{"result", result}}))
                    << run.error();
                EXPECT_EQ(run.figures().joinedSteps, 1) << what;
                for (std::size_t i = 0; i < expected.size(); ++i)
                    ASSERT_TRUE(areAlike(result[i], expected[i]))
                        << what << ": " << triples.a[i] << ", " << triples.b[i] << ", "
                        << triples.c[i] << " gives " << result[i] << ", not " << expected[i];
            }
}

TEST(Pairs, AreNotMadeOfResultsThatAreReadTwice) {
    ProgramBuilder write(ProgramBuilder::OnError::Throw);
    const auto a = write.loadField(write.field("a"), write.elementIndex(), Format::Float32);
    const auto sum = write.add(a, a);
    write.output(write.multiply(sum, sum), "square");
    const auto difference = write.subtract(a, sum);
    write.output(difference, "difference");
    write.output(write.multiply(difference, a), "product");
    const FenletProgram program = write.build().program;
    const std::vector<float> values = {1, 2, 3};
    std::vector<float> square(3), difference3(3), product(3);
    ArrayRun run(program);
    ASSERT_TRUE(run.evaluate(
        {{"a", values}}, {{"square", square}, {"difference", difference3}, {"product", product}}))
        << run.error();
    EXPECT_EQ(run.figures().joinedSteps, 0);
    EXPECT_EQ(square, (std::vector<float>{4, 16, 36}));
    EXPECT_EQ(difference3, (std::vector<float>{-1, -2, -3}));
    EXPECT_EQ(product, (std::vector<float>{-1, -4, -9}));
}

TEST(Pairs, MayWriteWhereAnyOperandLies) {
    const FenletProgram program =
        pairProgram(Format::Float32, OpCode::Multiply, OpCode::Add, false);
    for (int place = 0; place < 3; ++place) {
        std::vector<float> fields[3];
        for (int i = 0; i < 3000; ++i)
            for (int k = 0; k < 3; ++k)
                fields[k].push_back(static_cast<float>(i % 97 + k));
        ArrayRun run(program);
        ASSERT_TRUE(run.evaluate({{"a", fields[0]}, {"b", fields[1]}, {"c", fields[2]}},
                                 {{"result", fields[place]}}))
            << run.error();
        EXPECT_EQ(run.figures().joinedSteps, 1);
        for (int i = 0; i < 3000; ++i) {
            const auto x = static_cast<float>(i % 97);
            ASSERT_EQ(fields[place][static_cast<std::size_t>(i)], x * (x + 1) + (x + 2));
        }
    }
}

} // namespace
} // namespace Fenlet
