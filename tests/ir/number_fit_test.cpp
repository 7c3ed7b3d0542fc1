// Which numbers fit into which formats, compared with exact arithmetic.
#include <fenletir/number_fit.h>
#include <fenletir/program_builder.h>

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <set>
#include <vector>

namespace Fenlet {
namespace {

constexpr Format integerFormats[] = {Format::Int8, Format::Int16, Format::Int32, Format::Int64};
constexpr Format floatFormats[] = {Format::Half, Format::Float32, Format::Float64};

/// One above the highest number of an integer format.
double limitOf(Format format) {
    const int bits = format == Format::Int8    ? 8
                     : format == Format::Int16 ? 16
                     : format == Format::Int32 ? 32
                                               : 64;
    return std::ldexp(1.0, bits - 1);
}

int digitsOf(Format format) {
    return format == Format::Half ? 11 : format == Format::Float32 ? 24 : 53;
}

/// The smallest number that rounds to infinity: halfway between the largest finite one and the
/// next.
double infinityOf(Format format) {
    return format == Format::Half ? 65520 : format == Format::Float32 ? 0x1.ffffffp127 : HUGE_VAL;
}

/// Whether a float format holds an integer exactly: without its factors of two, the integer must
/// have no more digits than the format.
bool holds(Format format, std::int64_t value) {
    std::uint64_t odd =
        value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    while (odd != 0 && odd % 2 == 0)
        odd /= 2;
    return odd < std::uint64_t{1} << digitsOf(format);
}

bool isIntegerFormat(Format format) {
    return format >= Format::Int8 && format <= Format::Int64;
}

NumberFit expected(std::int64_t value, Format format) {
    if (format == Format::Tribool)
        return NumberFit::NoNumber;
    if (format == Format::Int64)
        return NumberFit::Fits;
    // A double holds the limits of all other formats exactly, so rounding `value` to a double does
    // not move it across a limit.
    const auto rounded = static_cast<double>(value);
    if (isIntegerFormat(format))
        return rounded >= limitOf(format) || rounded < -limitOf(format) ? NumberFit::OutOfRange
                                                                        : NumberFit::Fits;
    if (std::fabs(rounded) >= infinityOf(format))
        return NumberFit::OutOfRange;
    return holds(format, value) ? NumberFit::Fits : NumberFit::Inexact;
}

NumberFit expected(double value, Format format) {
    if (format == Format::Tribool)
        return NumberFit::NoNumber;
    const bool isWhole = std::fmod(value, 1) == 0;
    if (isIntegerFormat(format)) {
        if (value >= limitOf(format) || value < -limitOf(format))
            return NumberFit::OutOfRange;
        return isWhole ? NumberFit::Fits : NumberFit::Fraction;
    }
    if (std::fabs(value) >= infinityOf(format))
        return NumberFit::OutOfRange;
    const bool isExact = isWhole && std::fabs(value) < 0x1p53;
    return !isExact || holds(format, static_cast<std::int64_t>(value)) ? NumberFit::Fits
                                                                       : NumberFit::Inexact;
}

/// Expects `fitOfReal` to follow the rule for `value` in every format.
void expectRule(double value) {
    for (std::int32_t number = 0; number < 8; ++number) {
        const auto format = static_cast<Format>(number);
        const NumberFit fit = fitOfReal(value, format);
        ASSERT_EQ(fit, expected(value, format))
            << testing::PrintToString(value) << " into " << registerFormatName(format);
    }
}

void expectRule(std::int64_t value) {
    for (std::int32_t number = 0; number < 8; ++number) {
        const auto format = static_cast<Format>(number);
        const NumberFit fit = fitOfInteger(value, format);
        ASSERT_EQ(fit, expected(value, format)) << value << " into " << registerFormatName(format);
        ASSERT_EQ(integerMisfit(value, format).empty(), fit == NumberFit::Fits);
    }
}

/// The 64-bit integers from `middle` - 70 to `middle` + 70.
std::set<std::int64_t> around(std::int64_t middle) {
    std::set<std::int64_t> all;
    for (std::int64_t offset = -70; offset <= 70; ++offset) {
        std::int64_t value = 0;
        if (!__builtin_add_overflow(middle, offset, &value))
            all.insert(value);
    }
    return all;
}

TEST(NumberFit, FollowsTheRuleAroundEveryPowerOfTwo) {
    for (int exponent = 0; exponent < 64; ++exponent) {
        const auto middle = static_cast<std::int64_t>(std::uint64_t{1} << exponent);
        for (const std::int64_t value : around(middle)) {
            expectRule(value);
            if (value != std::numeric_limits<std::int64_t>::min())
                expectRule(-value);
        }
    }
    for (int exponent = -1074; exponent < 1024; ++exponent) {
        const double middle = std::ldexp(1.0, exponent);
        for (const double value : {middle, std::nextafter(middle, 0.0),
                                   std::nextafter(middle, 2 * middle), middle * 1.5, middle * 1.25})
            for (const double sign : {1.0, -1.0})
                if (std::isfinite(value))
                    expectRule(sign * value);
    }
}

TEST(NumberFit, FollowsTheRuleAtHalvesAndQuartersOfAllSmallNumbers) {
    for (int quarters = -4 * 70000; quarters <= 4 * 70000; ++quarters)
        ASSERT_NO_FATAL_FAILURE(expectRule(quarters / 4.0));
}

TEST(NumberFit, FollowsTheRuleForRandomNumbers) {
    std::mt19937_64 bits(1);
    for (int round = 0; round < 20000; ++round) {
        const auto value = static_cast<std::int64_t>(bits()) >> (bits() % 64);
        expectRule(value);
        expectRule(static_cast<double>(value));
        expectRule(std::ldexp(static_cast<double>(value), -static_cast<int>(bits() % 64)));
    }
}

TEST(NumberFit, EndsWhereAnInfinityBegins) {
    EXPECT_EQ(fitOfReal(65504, Format::Half), NumberFit::Fits);
    EXPECT_EQ(fitOfReal(65519.99, Format::Half), NumberFit::Fits);
    EXPECT_EQ(fitOfReal(65519, Format::Half), NumberFit::Inexact);
    EXPECT_EQ(fitOfReal(65520, Format::Half), NumberFit::OutOfRange);
    EXPECT_EQ(fitOfInteger(65520, Format::Half), NumberFit::OutOfRange);
    EXPECT_EQ(fitOfReal(-0x1.fffffefffffffp127, Format::Float32), NumberFit::Fits);
    EXPECT_EQ(fitOfReal(-0x1.ffffffp127, Format::Float32), NumberFit::OutOfRange);
    EXPECT_EQ(fitOfReal(std::numeric_limits<double>::max(), Format::Float64), NumberFit::Fits);
}

TEST(NumberFit, TakesARealNumberForRoundedWhereAllAreWhole) {
    EXPECT_EQ(fitOfReal(1e30, Format::Float32), NumberFit::Fits);
    EXPECT_EQ(fitOfReal(9007199254740992.0 + 2, Format::Float32), NumberFit::Fits);
    EXPECT_EQ(fitOfReal(9007199254740992.0 - 1, Format::Float32), NumberFit::Inexact);
    EXPECT_EQ(fitOfInteger(9007199254740994, Format::Float32), NumberFit::Inexact);
}

TEST(NumberFit, TakesWhatIsNotFiniteIntoFloatsAlone) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const Format format : floatFormats)
        for (const double value : {infinity, -infinity, nan, -nan})
            EXPECT_EQ(fitOfReal(value, format), NumberFit::Fits);
    for (const Format format : integerFormats) {
        EXPECT_EQ(fitOfReal(infinity, format), NumberFit::OutOfRange);
        EXPECT_EQ(fitOfReal(-infinity, format), NumberFit::OutOfRange);
        EXPECT_EQ(fitOfReal(nan, format), NumberFit::NoNumber);
        EXPECT_EQ(fitOfReal(-0.0, format), NumberFit::Fits);
    }
    for (const double value : {infinity, nan, 1e300, 1.0, 0.5})
        for (const Format format : {Format::Tribool, Format{8}, Format{-1}})
            EXPECT_EQ(fitOfReal(value, format), NumberFit::NoNumber);
    EXPECT_EQ(fitOfInteger(1, Format{8}), NumberFit::NoNumber);
}

TEST(NumberFit, TellsTheNearestNumberThatFits) {
    EXPECT_EQ(integerMisfit(3000000000, Format::Int32),
              "3000000000 does not fit into Int32, which holds -2147483648 to 2147483647; the "
              "nearest is 2147483647");
    EXPECT_EQ(integerMisfit(-300, Format::Int8),
              "-300 does not fit into Int8, which holds -128 to 127; the nearest is -128");
    EXPECT_EQ(realMisfit(1.7, Format::Int32),
              "1.7 does not fit into Int32, which holds whole numbers; the nearest is 2");
    EXPECT_EQ(realMisfit(127.5, Format::Int8),
              "127.5 does not fit into Int8, which holds whole numbers; the nearest is 127");
    EXPECT_EQ(realMisfit(-9.3e18, Format::Int64),
              "-9.3e+18 does not fit into Int64, which holds -9223372036854775808 to "
              "9223372036854775807; the nearest is -9223372036854775808");
    EXPECT_EQ(realMisfit(std::numeric_limits<double>::quiet_NaN(), Format::Int16),
              "nan does not fit into Int16, which holds whole numbers and no NaN");
    EXPECT_EQ(realMisfit(-1e6, Format::Half),
              "-1e+06 does not fit into Half, which holds -65504 to 65504; the nearest is -65504");
    EXPECT_EQ(integerMisfit(16777217, Format::Float32),
              "16777217 does not fit into Float32, which holds every whole number only up to "
              "16777216; the nearest is 16777216");
    EXPECT_EQ(realMisfit(-16777219, Format::Float32),
              "-16777219 does not fit into Float32, which holds every whole number only up to "
              "16777216; the nearest is -16777220");
    EXPECT_EQ(integerMisfit(INT64_MAX, Format::Float64),
              "9223372036854775807 does not fit into Float64, which holds every whole number only "
              "up to 9007199254740992; the nearest is 9223372036854775808");
    EXPECT_EQ(realMisfit(1, Format::Tribool),
              "1 does not fit into Tribool, which holds no numbers; use false, true or "
              "unknown");
    EXPECT_EQ(integerMisfit(1, Format{8}),
              "1 does not fit into Unknown, which holds no numbers; use Int8, Int16, Int32, "
              "Int64, Half, Float32 or Float64");
    EXPECT_EQ(integerMisfit(1, Format::Half), "");
    EXPECT_EQ(realMisfit(0.1, Format::Half), "");
}

/// The last number in the message.
double nearestIn(const std::string& words) {
    return std::strtod(words.c_str() + words.rfind(' '), nullptr);
}

TEST(NumberFit, TellsNoNumberThatIsFartherThanAnother) {
    std::mt19937_64 bits(2);
    for (int round = 0; round < 20000; ++round) {
        const auto value = static_cast<std::int64_t>(bits()) >> (bits() % 64);
        const std::string floated = integerMisfit(value, Format::Float32);
        if (!floated.empty()) {
            // The cast rounds the integer once, to nearest.
            EXPECT_EQ(nearestIn(floated), double(float(value))) << floated;
        }
        const std::string doubled = integerMisfit(value, Format::Float64);
        if (!doubled.empty()) {
            EXPECT_EQ(nearestIn(doubled), double(value)) << doubled;
        }
        const double fraction = std::ldexp(static_cast<double>(value), -40);
        const std::string whole = realMisfit(fraction, Format::Int32);
        if (!whole.empty()) {
            EXPECT_EQ(nearestIn(whole),
                      std::fmin(std::fmax(std::nearbyint(fraction), INT32_MIN), INT32_MAX))
                << whole;
        }
    }
}

} // namespace
} // namespace Fenlet
