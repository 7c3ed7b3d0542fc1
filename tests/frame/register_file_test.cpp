// The register file: what it refuses, and how it lays out registers.
#include <fenletexec/register_file.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace Fenlet {
namespace {

constexpr auto tribool = CpuElementKind::Tribool;
constexpr auto float32 = CpuElementKind::Float32;
constexpr auto float64 = CpuElementKind::Float64;
constexpr auto unsupported = CpuElementKind::Unsupported;

bool isAllZero(const RegisterFile& registers) {
    const unsigned char* const begin = registers.data(0) - registers.slotOf(0).dataOffset;
    return std::all_of(begin, begin + registers.byteCount(),
                       [](unsigned char b) { return b == 0; });
}

void expectEmpty(const RegisterFile& registers) {
    EXPECT_EQ(registers.registerCount(), 0);
    EXPECT_EQ(registers.byteCount(), 0u);
    EXPECT_EQ(registers.elementCapacity(), 0);
    EXPECT_EQ(registers.liveElements(), 0);
    for (const int number : {-1, 0, 1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(registers.data(number), nullptr);
        EXPECT_EQ(registers.validity(number), nullptr);
    }
}

TEST(RegisterFile, StartsEmpty) {
    const RegisterFile registers;
    expectEmpty(registers);
    EXPECT_EQ(registers.failure(), nullptr);
}

TEST(RegisterFile, BeginsWithDefaultSpecsAndSlots) {
    EXPECT_EQ(RegisterSpec{}.kind, unsupported);
    EXPECT_EQ(RegisterSpec{}.multiplicity, 1);
    EXPECT_EQ(RegisterSlot{}.spec.kind, unsupported);
    EXPECT_EQ(RegisterSlot{}.spec.multiplicity, 1);
    EXPECT_EQ(RegisterSlot{}.dataOffset, 0u);
    EXPECT_EQ(RegisterSlot{}.validityOffset, 0u);
}

struct ExpectedSlot {
    std::uint64_t dataOffset;
    std::uint64_t validityOffset;
};

void expectLayout(const std::vector<RegisterSpec>& specs, int blockSize,
                  const std::vector<ExpectedSlot>& expected, std::uint64_t total) {
    RegisterFile registers;
    ASSERT_TRUE(registers.configure(specs.data(), static_cast<int>(specs.size()), blockSize));
    EXPECT_EQ(registers.failure(), nullptr);
    EXPECT_EQ(registers.elementCapacity(), blockSize);
    EXPECT_EQ(registers.liveElements(), 0);
    EXPECT_EQ(registers.byteCount(), total);
    ASSERT_EQ(registers.registerCount(), static_cast<int>(expected.size()));
    const unsigned char* const base = registers.data(0) - registers.slotOf(0).dataOffset;
    for (int number = 0; number < registers.registerCount(); ++number) {
        SCOPED_TRACE(number);
        const auto index = static_cast<std::size_t>(number);
        EXPECT_EQ(registers.slotOf(number).dataOffset, expected[index].dataOffset);
        EXPECT_EQ(registers.slotOf(number).validityOffset, expected[index].validityOffset);
        EXPECT_EQ(registers.data(number), base + expected[index].dataOffset);
        EXPECT_EQ(registers.validity(number), base + expected[index].validityOffset);
        EXPECT_EQ(registers.specOf(number).kind, specs[index].kind);
        EXPECT_EQ(registers.specOf(number).multiplicity, specs[index].multiplicity);
    }
    EXPECT_TRUE(isAllZero(registers));
}

TEST(RegisterFile, LaysRegistersOutDataThenValidityAtMultiplesOf64) {
    expectLayout({{float32, 3}, {tribool, 1}}, 1000, {{0, 12032}, {13056, 14080}}, 15104);
}

TEST(RegisterFile, AlignsAreasOfSingleElementsToo) {
    expectLayout({{float64, 1}, {tribool, 1}}, 1, {{0, 64}, {128, 192}}, 256);
}

TEST(RegisterFile, PutsNothingBetweenAreasThatEndOnABoundary) {
    expectLayout({{float32, 4}, {tribool, 1}}, 64, {{0, 1024}, {1088, 1152}}, 1216);
}

TEST(RegisterFile, GivesAKindBeyondTheEnumerationAnEmptyDataArea) {
    expectLayout({{float32, 1}, {static_cast<CpuElementKind>(7), 3}, {tribool, 1}}, 10,
                 {{0, 64}, {128, 128}, {192, 256}}, 320);
    expectLayout({{static_cast<CpuElementKind>(-1), 1}}, 65, {{0, 0}}, 128);
}

TEST(RegisterFile, AnswersNullForNumbersThatAreNotRegisters) {
    RegisterFile registers;
    const RegisterSpec specs[] = {{float32, 1}, {tribool, 1}};
    ASSERT_TRUE(registers.configure(specs, 2, 8));
    for (const int number : {-1, 2, 3, INT_MAX, INT_MIN}) {
        EXPECT_EQ(registers.data(number), nullptr);
        EXPECT_EQ(registers.validity(number), nullptr);
        EXPECT_EQ(std::as_const(registers).data(number), nullptr);
        EXPECT_EQ(std::as_const(registers).validity(number), nullptr);
    }
}

TEST(RegisterFile, NeedsNoSpecsForNoRegisters) {
    RegisterFile registers;
    const RegisterSpec specs[] = {{float32, 1}};
    ASSERT_FALSE(registers.configure(specs, 1, 0));
    EXPECT_TRUE(registers.configure(nullptr, 0, 16));
    EXPECT_EQ(registers.failure(), nullptr);
    EXPECT_EQ(registers.elementCapacity(), 16);
    EXPECT_EQ(registers.registerCount(), 0);
    EXPECT_EQ(registers.byteCount(), 0u);
    EXPECT_EQ(registers.data(0), nullptr);
    EXPECT_EQ(registers.validity(0), nullptr);
    EXPECT_TRUE(registers.configure(specs, 0, 3));
    EXPECT_EQ(registers.registerCount(), 0);
}

TEST(RegisterFile, RefusesInAFixedOrder) {
    const RegisterSpec good[] = {{float32, 1}, {tribool, 2}};
    const RegisterSpec badKindLast[] = {{float32, 1}, {unsupported, 1}};
    const RegisterSpec badMultiplicityLast[] = {{float32, 1}, {float32, 0}};
    const RegisterSpec negativeMultiplicity[] = {{float32, INT_MIN}};
    const RegisterSpec bothInOne[] = {{unsupported, 0}};
    const RegisterSpec multiplicityThenKind[] = {{float32, 0}, {unsupported, 1}};
    const char* const size = "block size must be positive";
    const char* const missing = "register specification missing";
    const char* const kind = "register has no CPU representation";
    const char* const multiplicity = "register multiplicity must be positive";
    const struct {
        const RegisterSpec* specs;
        int count;
        int blockSize;
        const char* message;
    } rows[] = {
        {good, 2, 0, size},
        {good, 2, -1, size},
        {good, 2, INT_MIN, size},
        {nullptr, 2, 0, size},
        {nullptr, -1, -1, size},
        {badKindLast, 2, 0, size},
        {nullptr, 0, 0, size},
        {good, -1, 8, missing},
        {nullptr, -1, 8, missing},
        {good, INT_MIN, 8, missing},
        {nullptr, 1, 8, missing},
        {nullptr, INT_MAX, 8, missing},
        {badKindLast, 2, 8, kind},
        {badMultiplicityLast, 2, 8, multiplicity},
        {negativeMultiplicity, 1, 8, multiplicity},
        {bothInOne, 1, 8, kind},
        {multiplicityThenKind, 2, 8, multiplicity},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        RegisterFile registers;
        EXPECT_FALSE(registers.configure(row.specs, row.count, row.blockSize));
        EXPECT_STREQ(registers.failure(), row.message);
        expectEmpty(registers);
        // A failed `configure` also discards an earlier layout.
        ASSERT_TRUE(registers.configure(good, 2, 8));
        registers.setBlockLength(5);
        EXPECT_FALSE(registers.configure(row.specs, row.count, row.blockSize));
        EXPECT_STREQ(registers.failure(), row.message);
        expectEmpty(registers);
    }
}

TEST(RegisterFile, CopiesTheSpecs) {
    std::vector<RegisterSpec> specs{{float32, 3}};
    RegisterFile registers;
    ASSERT_TRUE(registers.configure(specs.data(), 1, 8));
    specs[0] = {tribool, 1};
    EXPECT_EQ(registers.specOf(0).kind, float32);
    EXPECT_EQ(registers.specOf(0).multiplicity, 3);
}

TEST(RegisterFile, KeepsItsMemoryWhenItShrinksAndClearsIt) {
    RegisterFile registers;
    const RegisterSpec large[] = {{float64, 4}, {float32, 2}, {tribool, 1}};
    const RegisterSpec small[] = {{tribool, 1}};
    ASSERT_TRUE(registers.configure(large, 3, 500));
    const unsigned char* const base = registers.data(0);
    const std::size_t largeTotal = registers.byteCount();
    std::memset(registers.data(0), 0xAB, largeTotal);

    ASSERT_TRUE(registers.configure(small, 1, 10));
    EXPECT_EQ(registers.data(0), base);
    EXPECT_EQ(registers.byteCount(), 128u);
    EXPECT_TRUE(isAllZero(registers));
    std::memset(registers.data(0), 0xCD, registers.byteCount());

    EXPECT_FALSE(registers.configure(small, 1, 0));
    ASSERT_TRUE(registers.configure(large, 3, 500));
    EXPECT_EQ(registers.data(0), base);
    EXPECT_EQ(registers.byteCount(), largeTotal);
    EXPECT_TRUE(isAllZero(registers));
}

TEST(RegisterFile, ForgetsTheBlockLengthWhenItIsLaidOutAgain) {
    RegisterFile registers;
    const RegisterSpec specs[] = {{float32, 1}};
    ASSERT_TRUE(registers.configure(specs, 1, 8));
    registers.setBlockLength(8);
    ASSERT_TRUE(registers.configure(specs, 1, 8));
    EXPECT_EQ(registers.liveElements(), 0);
}

TEST(RegisterFile, ClampsTheBlockLength) {
    RegisterFile registers;
    const RegisterSpec specs[] = {{float32, 1}};
    ASSERT_TRUE(registers.configure(specs, 1, 8));
    const struct {
        int given;
        int stored;
    } rows[] = {{5, 5}, {8, 8}, {9, 8}, {INT_MAX, 8}, {0, 0}, {3, 3}, {-1, 0}, {INT_MIN, 0}};
    for (const auto& row : rows) {
        registers.setBlockLength(row.given);
        EXPECT_EQ(registers.liveElements(), row.stored) << row.given;
    }
    RegisterFile unconfigured;
    unconfigured.setBlockLength(3);
    EXPECT_EQ(unconfigured.liveElements(), 0);
}

TEST(RegisterFile, KeepsAllAreasApart) {
    const CpuElementKind kinds[] = {
        tribool, CpuElementKind::Int32, CpuElementKind::Int64, CpuElementKind::Half, float32,
        float64};
    std::vector<RegisterSpec> specs;
    for (const CpuElementKind kind : kinds)
        for (const int multiplicity : {1, 2, 3, 7, 64})
            specs.push_back({kind, multiplicity});
    for (const int blockSize : {1, 7, 63, 64, 65, 100}) {
        SCOPED_TRACE(blockSize);
        RegisterFile registers;
        ASSERT_TRUE(registers.configure(specs.data(), static_cast<int>(specs.size()), blockSize));
        std::uint64_t end = 0;
        for (int number = 0; number < registers.registerCount(); ++number) {
            const RegisterSlot& slot = registers.slotOf(number);
            const auto dataBytes = static_cast<std::uint64_t>(elementSize(slot.spec.kind)) *
                                   static_cast<std::uint64_t>(slot.spec.multiplicity * blockSize);
            for (const std::uint64_t offset : {slot.dataOffset, slot.validityOffset})
                EXPECT_EQ(offset % 64, 0u);
            EXPECT_GE(slot.dataOffset, end);
            EXPECT_LT(slot.dataOffset - end, 64u);
            EXPECT_GE(slot.validityOffset, slot.dataOffset + dataBytes);
            EXPECT_LT(slot.validityOffset - slot.dataOffset - dataBytes, 64u);
            end = slot.validityOffset + static_cast<std::uint64_t>(blockSize);
        }
        EXPECT_EQ(registers.byteCount(), (end + 63) / 64 * 64);
    }
}

} // namespace
} // namespace Fenlet
