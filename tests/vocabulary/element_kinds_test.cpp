// The storage kinds: names, sizes, and the kind of each format.
#include <fenletexec/element_kinds.h>

#include <climits>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

TEST(ElementKinds, HaveTheNumbersThatTablesAreIndexedBy) {
    EXPECT_EQ(static_cast<int>(CpuElementKind::Unsupported), 0);
    EXPECT_EQ(static_cast<int>(CpuElementKind::Tribool), 1);
    EXPECT_EQ(static_cast<int>(CpuElementKind::Int32), 2);
    EXPECT_EQ(static_cast<int>(CpuElementKind::Int64), 3);
    EXPECT_EQ(static_cast<int>(CpuElementKind::Half), 4);
    EXPECT_EQ(static_cast<int>(CpuElementKind::Float32), 5);
    EXPECT_EQ(static_cast<int>(CpuElementKind::Float64), 6);
    EXPECT_EQ(sizeof(CpuElementKind), 4u);
}

TEST(ElementKinds, AreNamedAndSizedByTheirNumber) {
    const struct {
        int number;
        const char* name;
        int size;
    } rows[] = {
        {0, "Unsupported", 0},
        {1, "Tribool", 1},
        {2, "Int32", 4},
        {3, "Int64", 8},
        {4, "Half", 2},
        {5, "Float32", 4},
        {6, "Float64", 8},
        {7, "Unsupported", 0},
        {8, "Unsupported", 0},
        {-1, "Unsupported", 0},
        {1000, "Unsupported", 0},
        {INT_MAX, "Unsupported", 0},
        {INT_MIN, "Unsupported", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.number);
        const auto kind = static_cast<CpuElementKind>(row.number);
        EXPECT_STREQ(cpuElementKindName(kind), row.name);
        EXPECT_EQ(elementSize(kind), row.size);
    }
}

TEST(RegisterFormats, MapOntoKindsByTheirNumber) {
    const struct {
        int format;
        CpuElementKind kind;
    } rows[] = {
        {0, CpuElementKind::Tribool},
        {1, CpuElementKind::Int32},
        {2, CpuElementKind::Int32},
        {3, CpuElementKind::Int32},
        {4, CpuElementKind::Int64},
        {5, CpuElementKind::Half},
        {6, CpuElementKind::Float32},
        {7, CpuElementKind::Float64},
        {8, CpuElementKind::Unsupported},
        {9, CpuElementKind::Unsupported},
        {255, CpuElementKind::Unsupported},
        {-1, CpuElementKind::Unsupported},
        {INT_MAX, CpuElementKind::Unsupported},
        {INT_MIN, CpuElementKind::Unsupported},
    };
    for (const auto& row : rows)
        EXPECT_EQ(blockElement(static_cast<RegisterFormat>(row.format)), row.kind) << row.format;
}

TEST(RegisterFormats, OfThreeIntegersAreStoredAlike) {
    for (int format = 1; format <= 3; ++format)
        EXPECT_EQ(elementSize(blockElement(static_cast<RegisterFormat>(format))), 4) << format;
}

} // namespace
} // namespace Fenlet
