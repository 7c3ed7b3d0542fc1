// A sampler on a ramp with one coordinate.
#include "hosts/sampling.h"

#include <fenlethosts/samplers.h>

#include <cfloat>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>

namespace Fenlet::Hosts {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

TEST(RampSampler, MixesTheStopsAroundACoordinate) {
    RampSampler ramp({{0, {10, -1}}, {4, {20, 1}}, {6, {0, 1}}});
    SampleCall call = realCall(1, 2, {0, 1, 2, 4, 5, 5.5, 6});
    ASSERT_TRUE(call.ask(ramp));
    EXPECT_EQ(call.validity, Bytes(7, 1));
    const double expected[][2] = {{10, -1}, {12.5, -0.5}, {15, 0}, {20, 1},
                                  {10, 1},  {5, 1},       {0, 1}};
    for (std::size_t i = 0; i < 7; ++i)
        for (const int c : {0, 1})
            EXPECT_EQ(call.value(i, c), expected[i][c]) << i;
}

TEST(RampSampler, IsConstantBeyondItsEnds) {
    RampSampler ramp({{-1, {3}}, {1, {5}}});
    SampleCall call = realCall(1, 1, {-1, -1.5, -1e300, -infinity, 1, 1.5, 1e300, infinity});
    ASSERT_TRUE(call.ask(ramp));
    EXPECT_EQ(call.validity, Bytes(8, 1));
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(call.value(i), i < 4 ? 3 : 5) << i;
}

TEST(RampSampler, HasNoValueForNan) {
    RampSampler ramp({{0, {3}}, {1, {5}}});
    SampleCall call = realCall(1, 1, {0, nan, -nan, 1});
    ASSERT_TRUE(call.ask(ramp));
    EXPECT_EQ(call.validity, (Bytes{1, 0, 0, 1}));
}

TEST(RampSampler, LeavesInvalidPositionsAlone) {
    RampSampler ramp({{0, {3}}, {1, {5}}});
    SampleCall call = realCall(1, 1, {0, 1, 0});
    call.validity = {1, 0, 7};
    ASSERT_TRUE(call.ask(ramp));
    EXPECT_EQ(call.validity, (Bytes{1, 0, 7}));
    EXPECT_EQ(call.bits(1), 0xA5A5A5A5A5A5A5A5u);
    EXPECT_EQ(call.value(2), 3);
}

TEST(RampSampler, OneStopIsAConstant) {
    RampSampler ramp(std::vector<RampStop>{{7, {0.25}}});
    SampleCall call = realCall(1, 1, {-infinity, 7, 8, infinity, nan});
    ASSERT_TRUE(call.ask(ramp));
    EXPECT_EQ(call.validity, (Bytes{1, 1, 1, 1, 0}));
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(call.value(i), 0.25);
}

TEST(RampSampler, StopsAtOnePositionMakeAStep) {
    RampSampler ramp({{0, {0}}, {1, {1}}, {1, {9}}, {1, {5}}, {2, {6}}});
    SampleCall call = realCall(1, 1, {std::nextafter(1, 0), 1, 1.5});
    ASSERT_TRUE(call.ask(ramp));
    EXPECT_NEAR(call.value(0), 1, 1e-15);
    EXPECT_EQ(call.value(1), 5);
    EXPECT_EQ(call.value(2), 5.5);
}

TEST(RampSampler, SurvivesTheLargestPositionsAndValues) {
    RampSampler ramp({{-DBL_MAX, {-DBL_MAX, 1, infinity}}, {DBL_MAX, {DBL_MAX, 3, infinity}}});
    SampleCall call = realCall(1, 3, {-DBL_MAX, 0, DBL_MAX / 2, DBL_MAX});
    ASSERT_TRUE(call.ask(ramp));
    const double expected[][2] = {{-DBL_MAX, 1}, {0, 2}, {DBL_MAX / 2, 2.5}, {DBL_MAX, 3}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_DOUBLE_EQ(call.value(i, 0), expected[i][0]) << i;
        EXPECT_EQ(call.value(i, 1), expected[i][1]) << i;
        EXPECT_EQ(call.value(i, 2), infinity) << i;
    }
    RampSampler opening({{0, {1}}, {1, {infinity}}});
    SampleCall edge = realCall(1, 1, {0, 0.5, 1});
    ASSERT_TRUE(edge.ask(opening));
    EXPECT_EQ(edge.value(0), 1);
    EXPECT_EQ(edge.value(1), infinity);
    EXPECT_EQ(edge.value(2), infinity);
}

TEST(RampSampler, TakesAndGivesEveryNumericKind) {
    RampSampler ramp({{0, {0.3, 1}}, {4, {-7.7, 1e10}}});
    for (const CpuElementKind from : allKinds) {
        for (const CpuElementKind to : allKinds) {
            SampleCall call(from, 1, to, 2,
                            from == CpuElementKind::Tribool ? std::vector<double>()
                                                            : std::vector<double>{4, 0, -3});
            if (from == CpuElementKind::Tribool || to == CpuElementKind::Tribool) {
                EXPECT_TRUE(declines(ramp, call));
                continue;
            }
            ASSERT_TRUE(call.ask(ramp));
            for (const std::size_t position : {0u, 1u, 2u}) {
                EXPECT_EQ(call.bits(position, 0), bitsOf(to, position == 0 ? -7.7 : 0.3))
                    << cpuElementKindName(from) << " to " << cpuElementKindName(to);
                EXPECT_EQ(call.bits(position, 1), bitsOf(to, position == 0 ? 1e10 : 1));
            }
        }
    }
}

TEST(RampSampler, DeclinesWhatItCannotAnswer) {
    RampSampler ramp({{0, {0, 0}}, {1, {1, 1}}});
    EXPECT_FALSE(declines(ramp, realCall(1, 2, {0, 1})));
    EXPECT_TRUE(declines(ramp, realCall(1, 1, {0, 1})));
    EXPECT_TRUE(declines(ramp, realCall(1, 3, {0, 1})));
    EXPECT_TRUE(declines(ramp, realCall(2, 2, {0, 1})));
    for (const CpuElementKind kind : kindsWithoutStorage) {
        SampleCall coordinates = realCall(1, 2, {0, 1});
        coordinates.coordinateKind = kind;
        EXPECT_TRUE(declines(ramp, coordinates));
        SampleCall values = realCall(1, 2, {0, 1});
        values.valueKind = kind;
        EXPECT_TRUE(declines(ramp, values));
    }
    SampleCall call = realCall(1, 2, {0});
    EXPECT_FALSE(ramp.sample(nullptr, CpuElementKind::Float64, 1, call.values.data(),
                             CpuElementKind::Float64, 2, call.validity.data(), 1));
}

TEST(RampSampler, IsNotMadeOfStopsThatAreNoRamp) {
    const auto expectRefused = [](std::vector<RampStop> stops) {
        EXPECT_THROW(RampSampler{std::move(stops)}, std::invalid_argument);
    };
    expectRefused({});
    expectRefused({{0, {}}});
    expectRefused({{0, std::vector<double>(17)}});
    expectRefused({{0, {1}}, {1, {1, 2}}});
    expectRefused({{0, {1}}, {1, {}}});
    expectRefused({{1, {1}}, {0, {1}}});
    expectRefused({{nan, {1}}});
    expectRefused({{0, {1}}, {nan, {1}}});
    expectRefused({{-infinity, {1}}});
    expectRefused({{0, {1}}, {infinity, {1}}});
    RampSampler widest(std::vector<RampStop>{{0, std::vector<double>(16, 2.5)}});
    SampleCall call = realCall(1, 16, {0});
    ASSERT_TRUE(call.ask(widest));
    EXPECT_EQ(call.value(0, 15), 2.5);
}

} // namespace
} // namespace Fenlet::Hosts
