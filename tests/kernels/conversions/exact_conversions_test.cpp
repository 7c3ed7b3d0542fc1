// Checks exact integer arithmetic against values written by hand.
#include "oracle/exact_conversions.h"

#include <gtest/gtest.h>

namespace Fenlet::Oracle {
namespace {

using Kind = CpuElementKind;

TEST(ExactConversions, RoundToNearestTiesToEven) {
    EXPECT_EQ(convertBits(Kind::Half, Kind::Int32, 2049), 0x6800u);
    EXPECT_EQ(convertBits(Kind::Half, Kind::Int32, 2051), 0x6802u);
    EXPECT_EQ(convertBits(Kind::Half, Kind::Float64, 0x3FF0020000000000), 0x3C00u);
    EXPECT_EQ(convertBits(Kind::Half, Kind::Float64, 0x3FF0020000000001), 0x3C01u);
    EXPECT_EQ(convertBits(Kind::Float32, Kind::Int64, 1152921573326323713), 0x5D800001u);
    EXPECT_EQ(convertBits(Kind::Float64, Kind::Int64, 0x7FFFFFFFFFFFFFFF), 0x43E0000000000000u);
}

TEST(ExactConversions, MeetTheLimitsOfHalf) {
    EXPECT_EQ(convertBits(Kind::Half, Kind::Float32, 0x477FEFFF), 0x7BFFu);
    EXPECT_EQ(convertBits(Kind::Half, Kind::Float32, 0x477FF000), 0x7C00u);
    EXPECT_EQ(convertBits(Kind::Half, Kind::Float32, 0xB3000000), 0x8000u);
    EXPECT_EQ(convertBits(Kind::Half, Kind::Float32, 0x33000001), 0x0001u);
    EXPECT_EQ(convertBits(Kind::Half, Kind::Float64, 0x7FEFFFFFFFFFFFFF), 0x7C00u);
    EXPECT_EQ(convertBits(Kind::Half, Kind::Float64, 1), 0u);
}

TEST(ExactConversions, WidenExactly) {
    EXPECT_EQ(convertBits(Kind::Float32, Kind::Half, 0x0001), 0x33800000u);
    EXPECT_EQ(convertBits(Kind::Float32, Kind::Half, 0x7BFF), 0x477FE000u);
    EXPECT_EQ(convertBits(Kind::Float64, Kind::Half, 0xFC00), 0xFFF0000000000000u);
    EXPECT_EQ(convertBits(Kind::Float64, Kind::Float32, 0x80000001), 0xB6A0000000000000u);
    EXPECT_EQ(convertBits(Kind::Float64, Kind::Int32, 0x80000000), 0xC1E0000000000000u);
    EXPECT_EQ(convertBits(Kind::Int64, Kind::Int32, 0x80000000), 0xFFFFFFFF80000000u);
}

TEST(ExactConversions, TruncateOrGiveTheMostNegativeInteger) {
    EXPECT_EQ(convertBits(Kind::Int32, Kind::Float32, 0xBFF33333), 0xFFFFFFFFu);
    EXPECT_EQ(convertBits(Kind::Int32, Kind::Float64, 0x41DFFFFFFFFFFFFF), 0x7FFFFFFFu);
    EXPECT_EQ(convertBits(Kind::Int32, Kind::Float64, 0x41E0000000000000), 0x80000000u);
    EXPECT_EQ(convertBits(Kind::Int32, Kind::Half, 0x7C00), 0x80000000u);
    EXPECT_EQ(convertBits(Kind::Int64, Kind::Float64, 0x43F0000000000000), 0x8000000000000000u);
    EXPECT_EQ(convertBits(Kind::Int64, Kind::Float64, 0x7FE0000000000000), 0x8000000000000000u);
    EXPECT_EQ(convertBits(Kind::Int64, Kind::Float32, 0x5EFFFFFF), 0x7FFFFF8000000000u);
}

TEST(ExactConversions, QuietNansAndKeepTheirTopBits) {
    EXPECT_EQ(convertBits(Kind::Half, Kind::Float32, 0xFF800001), 0xFE00u);
    EXPECT_EQ(convertBits(Kind::Float32, Kind::Half, 0x7C01), 0x7FC02000u);
    EXPECT_EQ(convertBits(Kind::Float64, Kind::Float32, 0xFF812345),
              hasSingleNan ? 0x7FF8000000000000u : 0xFFF82468A0000000u);
    EXPECT_EQ(convertBits(Kind::Float32, Kind::Float32, 0xFF812345), 0xFF812345u);
    EXPECT_TRUE(isNan(Kind::Half, 0x7C01));
    EXPECT_FALSE(isNan(Kind::Half, 0x7C00));
    EXPECT_FALSE(isNan(Kind::Int32, 0x7FC00000));
}

} // namespace
} // namespace Fenlet::Oracle
