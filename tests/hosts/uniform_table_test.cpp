// A table of uniforms.
#include "doubles/program_sketch.h"
#include "doubles/recording.h"
#include "hosts/lane_bits.h"

#include <fenlethosts/uniform_table.h>

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>

namespace Fenlet::Hosts {
namespace {

constexpr unsigned char guard = 0xA5;

/// The bytes that `fetch` writes; empty if it declines. In that case it must not have written
/// anything.
Bytes fetched(UniformTable& table, int index, CpuElementKind kind, int multiplicity) {
    Bytes out(512, guard);
    const auto size = static_cast<std::size_t>(elementSize(kind) * multiplicity);
    const bool done = table.fetch(index, kind, multiplicity, out.data());
    const std::size_t written = done ? size : 0;
    EXPECT_EQ(Bytes(out.begin() + static_cast<std::ptrdiff_t>(written), out.end()),
              Bytes(out.size() - written, guard));
    out.resize(written);
    return out;
}

Bytes packed(CpuElementKind kind, const std::vector<std::uint64_t>& bits) {
    const auto size = static_cast<std::size_t>(elementSize(kind));
    Bytes bytes(bits.size() * size);
    for (std::size_t i = 0; i < bits.size(); ++i)
        storeBits(kind, bytes.data() + i * size, bits[i]);
    return bytes;
}

/// For each kind, expects the table to give these components converted to that kind, or to decline
/// if `from` does not convert to it.
void expectServes(UniformTable& table, int index, CpuElementKind from,
                  const std::vector<std::uint64_t>& bits) {
    for (const CpuElementKind to : allKinds) {
        std::vector<std::uint64_t> expected;
        for (const std::uint64_t one : bits)
            if (converts(to, from))
                expected.push_back(converted(to, from, one));
        EXPECT_EQ(fetched(table, index, to, static_cast<int>(bits.size())), packed(to, expected))
            << cpuElementKindName(to);
    }
}

TEST(UniformTable, GivesRealsInEveryNumericKind) {
    UniformTable table;
    for (const std::uint64_t bits : tellingBits(CpuElementKind::Float64)) {
        double value;
        std::memcpy(&value, &bits, sizeof value);
        table.set(0, Constant::ofReals({value}));
        expectServes(table, 0, CpuElementKind::Float64, {bits});
    }
    table.set(0, Constant::ofReals({2.75, -2.75}));
    expectServes(table, 0, CpuElementKind::Float64, {0x4006000000000000, 0xC006000000000000});
}

TEST(UniformTable, GivesIntegersInEveryNumericKindAndExactly) {
    UniformTable table;
    for (const std::uint64_t bits : tellingBits(CpuElementKind::Int64)) {
        table.set(0, Constant::ofIntegers({static_cast<std::int64_t>(bits)}));
        expectServes(table, 0, CpuElementKind::Int64, {bits});
    }
    table.set(0, Constant::ofIntegers({std::numeric_limits<std::int64_t>::min(), 1,
                                       std::numeric_limits<std::int64_t>::max()}));
    expectServes(table, 0, CpuElementKind::Int64, {1ULL << 63, 1, ~std::uint64_t{0} >> 1});
}

TEST(UniformTable, GivesTruthValuesAsTheyAreAndToNothingElse) {
    UniformTable table;
    for (const unsigned char truth : Bytes{0, 1, 255}) {
        table.set(0, Constant::ofTribool(truth));
        expectServes(table, 0, CpuElementKind::Tribool, {truth});
    }
}

TEST(UniformTable, DeclinesWhatItHasNoValueFor) {
    UniformTable table;
    EXPECT_EQ(fetched(table, 0, CpuElementKind::Float32, 1), Bytes());
    table.set(3, Constant::ofReals({1, 2}));
    for (const int index : {0, 2, 4, -1, INT_MIN, INT_MAX})
        EXPECT_EQ(fetched(table, index, CpuElementKind::Float32, 2), Bytes()) << index;
    for (const int multiplicity : {1, 3, 64})
        EXPECT_EQ(fetched(table, 3, CpuElementKind::Float32, multiplicity), Bytes());
    for (const CpuElementKind kind : kindsWithoutStorage)
        EXPECT_EQ(fetched(table, 3, kind, 2), Bytes());
    EXPECT_EQ(fetched(table, 3, CpuElementKind::Float32, 2).size(), 8u);
}

TEST(UniformTable, ALaterValueTakesTheEarlierOnesPlace) {
    UniformTable table;
    table.set(1, Constant::ofReals({1, 2, 3}));
    table.set(0, Constant::ofTribool(1));
    table.set(1, Constant::ofIntegers({7}));
    EXPECT_EQ(fetched(table, 1, CpuElementKind::Int32, 1), packed(CpuElementKind::Int32, {7}));
    EXPECT_EQ(fetched(table, 1, CpuElementKind::Int32, 3), Bytes());
    EXPECT_EQ(fetched(table, 0, CpuElementKind::Tribool, 1), Bytes{1});
}

TEST(UniformTable, HoldsNoValueThatContradictsItself) {
    UniformTable table;
    EXPECT_THROW(table.set(-1, Constant::ofTribool(1)), std::invalid_argument);
    EXPECT_THROW(table.set(INT_MIN, Constant::ofTribool(1)), std::invalid_argument);
    EXPECT_THROW(table.set(0, Constant::ofReals({})), std::invalid_argument);
    Constant tooFew = Constant::ofReals({1, 2, 3});
    tooFew.multiplicity = 4;
    EXPECT_THROW(table.set(0, tooFew), std::invalid_argument);
    Constant truths = Constant::ofTribool(1);
    truths.multiplicity = 2;
    EXPECT_THROW(table.set(0, truths), std::invalid_argument);
    Constant both = Constant::ofReals({1});
    both.integers = {1};
    both.multiplicity = 2;
    EXPECT_THROW(table.set(0, both), std::invalid_argument);
    EXPECT_EQ(fetched(table, 0, CpuElementKind::Float32, 1), Bytes());
}

TEST(UniformTable, ServesAProgram) {
    Doubles::ProgramSketch program;
    const auto scale = program.addRegister(RegisterFormat::Float32, 2);
    program.uniforms.resize(1);
    program.add(OpCode::LoadUniform, scale, {}, 0);
    Interpreter interpreter;
    ASSERT_TRUE(interpreter.configure(program, 3));
    UniformTable table;
    Doubles::RecordingSink sink;
    Bindings bindings;
    bindings.uniforms = &table;
    EXPECT_FALSE(interpreter.evaluate(0, 3, bindings, sink));
    EXPECT_STREQ(interpreter.lastRefusalMessage(), "uniform source declined");
    table.set(0, Constant::ofReals({0.5, -3}));
    ASSERT_TRUE(interpreter.evaluate(0, 3, bindings, sink));
    EXPECT_EQ(Doubles::liveLanes<float>(interpreter.registerFile(), scale),
              (std::vector<float>{0.5, -3, 0.5, -3, 0.5, -3}));
}

} // namespace
} // namespace Fenlet::Hosts
