// Single values with known results, and all pairs of bytes.
#include "naive_boolean.h"

namespace Fenlet {
namespace {

using Bytes = std::vector<unsigned char>;

unsigned char negated(unsigned char value) {
    unsigned char result = 99;
    logicalNot({&result, &value, nullptr, 1});
    return result;
}

unsigned char both(unsigned char left, unsigned char right) {
    unsigned char result = 99;
    logicalAnd({&result, &left, &right, 1});
    return result;
}

unsigned char either(unsigned char left, unsigned char right) {
    unsigned char result = 99;
    logicalOr({&result, &left, &right, 1});
    return result;
}

/// Runs `IsTrue` over one element, which has as many components as `components`.
Bytes truthOf(const Bytes& components, const unsigned char* validity,
              unsigned char* resultValidity) {
    Bytes result(components.size(), 99);
    isTrue({result.data(), resultValidity, components.data(), validity, 1,
            static_cast<std::int32_t>(components.size())});
    return result;
}

TEST(Not, ExchangesFalseAndTrueAndKeepsUnknown) {
    EXPECT_EQ(negated(0), 1);
    EXPECT_EQ(negated(1), 0);
    EXPECT_EQ(negated(255), 255);
    EXPECT_EQ(negated(2), 1);
    EXPECT_EQ(negated(254), 1);
}

TEST(And, IsDecidedByFalseAlone) {
    constexpr unsigned char expected[3][3] = {{0, 0, 0}, {0, 1, 255}, {0, 255, 255}};
    constexpr unsigned char values[3] = {0, 1, 255};
    for (int left = 0; left < 3; ++left)
        for (int right = 0; right < 3; ++right)
            EXPECT_EQ(both(values[left], values[right]), expected[left][right]);
}

TEST(And, TakesStrayBytesForTrue) {
    EXPECT_EQ(both(2, 1), 1);
    EXPECT_EQ(both(1, 2), 1);
    EXPECT_EQ(both(2, 2), 1);
    EXPECT_EQ(both(2, 255), 255);
    EXPECT_EQ(both(255, 2), 255);
    EXPECT_EQ(both(2, 0), 0);
}

TEST(Or, IsDecidedByTrueAlone) {
    constexpr unsigned char expected[3][3] = {{0, 1, 255}, {1, 1, 1}, {255, 1, 255}};
    constexpr unsigned char values[3] = {0, 1, 255};
    for (int left = 0; left < 3; ++left)
        for (int right = 0; right < 3; ++right)
            EXPECT_EQ(either(values[left], values[right]), expected[left][right]);
}

TEST(Or, TakesStrayBytesForFalse) {
    EXPECT_EQ(either(2, 0), 0);
    EXPECT_EQ(either(0, 2), 0);
    EXPECT_EQ(either(2, 2), 0);
    EXPECT_EQ(either(2, 1), 1);
    EXPECT_EQ(either(2, 255), 255);
    EXPECT_EQ(either(255, 2), 255);
}

TEST(IsTrue, IsOneForExactlyOneInAValidElement) {
    unsigned char resultValidity = 9;
    const unsigned char valid = 1;
    EXPECT_EQ(truthOf({0, 1, 255, 2, 254}, &valid, &resultValidity), (Bytes{0, 1, 0, 0, 0}));
    EXPECT_EQ(resultValidity, 1);
}

TEST(IsTrue, ClearsAllComponentsOfAnInvalidElementAndMakesItValid) {
    unsigned char resultValidity = 9;
    const unsigned char invalid = 0;
    EXPECT_EQ(truthOf({1}, &invalid, &resultValidity), Bytes{0});
    EXPECT_EQ(resultValidity, 1);
    resultValidity = 0;
    EXPECT_EQ(truthOf({1, 1, 1}, &invalid, &resultValidity), (Bytes{0, 0, 0}));
    EXPECT_EQ(resultValidity, 1);
}

TEST(IsTrue, TakesAMissingValidityAreaForAllValid) {
    unsigned char resultValidity = 0;
    EXPECT_EQ(truthOf({1, 0, 255}, nullptr, &resultValidity), (Bytes{1, 0, 0}));
    EXPECT_EQ(resultValidity, 1);
}

TEST(IsTrue, TakesAnyValidityByteButZeroForValid) {
    for (int validity = 0; validity < 256; ++validity) {
        unsigned char resultValidity = 9;
        const auto byte = static_cast<unsigned char>(validity);
        const unsigned char expected = validity == 0 ? 0 : 1;
        EXPECT_EQ(truthOf({1}, &byte, &resultValidity), Bytes{expected}) << validity;
        EXPECT_EQ(resultValidity, 1);
    }
}

// All pairs of bytes in one call, so that the vector loops process them, too.
TEST(Boolean, FollowsItsRuleForEveryPairOfBytes) {
    Bytes left;
    Bytes right;
    for (int a = 0; a < 256; ++a)
        for (int b = 0; b < 256; ++b) {
            left.push_back(static_cast<unsigned char>(a));
            right.push_back(static_cast<unsigned char>(b));
        }
    for (const BooleanOp op : everyBooleanOp)
        for (const BooleanBuild& build : everyBooleanBuild()) {
            const auto lanes = static_cast<std::int32_t>(left.size());
            BooleanCall call{op, lanes, 1, false, {}};
            Draw draw(1);
            LaneMemory memory = layOutApart(call, 0, draw);
            std::copy(left.begin(), left.end(), memory.at(call.places.left));
            std::copy(right.begin(), right.end(), memory.at(call.places.right));
            EXPECT_EQ(differenceFromNaive(build, call, memory), "");
        }
}

TEST(IsTrue, FollowsItsRuleForEveryByteUnderEveryValidityByte) {
    for (const std::int32_t multiplicity : {1, 2, 3, 256})
        for (const BooleanBuild& build : everyBooleanBuild()) {
            const std::int32_t count = 65536 / multiplicity;
            BooleanCall call{BooleanOp::IsTrue, count, multiplicity, true, {}};
            Draw draw(1);
            LaneMemory memory = layOutApart(call, 0, draw);
            for (std::int64_t lane = 0; lane < call.lanes(); ++lane)
                *memory.at(call.places.left + static_cast<std::size_t>(lane)) =
                    static_cast<unsigned char>(lane);
            for (std::int32_t element = 0; element < count; ++element)
                *memory.at(call.places.leftValidity + static_cast<std::size_t>(element)) =
                    static_cast<unsigned char>(element * multiplicity / 256);
            EXPECT_EQ(differenceFromNaive(build, call, memory), "");
        }
}

} // namespace
} // namespace Fenlet
