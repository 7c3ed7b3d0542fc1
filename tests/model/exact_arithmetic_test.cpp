// Compares exact_arithmetic.h with the processor's arithmetic.
#include "exact_arithmetic.h"
#include "random_program.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <ios>
#include <string>
#include <vector>

namespace Fenlet::Model {
namespace {

struct Binary32 {
    using Float = float;
    using Bits = std::uint32_t;
    static constexpr CpuElementKind kind = CpuElementKind::Float32;
};

struct Binary64 {
    using Float = double;
    using Bits = std::uint64_t;
    static constexpr CpuElementKind kind = CpuElementKind::Float64;
};

template <class Type>
std::uint64_t bitsOf(typename Type::Float value) {
    typename Type::Bits bits;
    std::memcpy(&bits, &value, sizeof bits);
    // IEEE 754 does not define which NaN an operation makes.
    return isNan(Type::kind, bits) ? UINT64_MAX : bits;
}

template <class Type>
typename Type::Float valueOf(std::uint64_t bits) {
    const auto narrow = static_cast<typename Type::Bits>(bits);
    typename Type::Float value;
    std::memcpy(&value, &narrow, sizeof value);
    return value;
}

template <class Type>
std::uint64_t encoded(const ExactNumber& number) {
    const std::uint64_t bits = encodeFloat(number, formatOf(Type::kind));
    return isNan(number) ? UINT64_MAX : bits;
}

/// Compares two values: -1, 0 or 1, and 2 if one is a NaN.
template <class Float>
int orderOf(Float left, Float right) {
    return left < right ? -1 : left > right ? 1 : left == right ? 0 : 2;
}

template <class Type>
int exactOrder(std::uint64_t left, std::uint64_t right) {
    if (isNan(Type::kind, left) || isNan(Type::kind, right))
        return 2;
    return compareFloatBits(formatOf(Type::kind), left, right);
}

/// The name of the first operation whose results differ; empty if all results agree.
template <class Type>
std::string differenceAt(std::uint64_t left, std::uint64_t right) {
    const auto a = valueOf<Type>(left);
    const auto b = valueOf<Type>(right);
    const ExactNumber x = decode(Type::kind, left);
    const ExactNumber y = decode(Type::kind, right);
    if (encoded<Type>(add(x, y)) != bitsOf<Type>(a + b))
        return "the sum";
    if (encoded<Type>(subtract(x, y)) != bitsOf<Type>(a - b))
        return "the difference";
    if (encoded<Type>(multiply(x, y)) != bitsOf<Type>(a * b))
        return "the product";
    if (encoded<Type>(divide(x, y)) != bitsOf<Type>(a / b))
        return "the quotient";
    if (encoded<Type>(squareRoot(x)) != bitsOf<Type>(std::sqrt(a)))
        return "the first one's square root";
    if (exactOrder<Type>(left, right) != orderOf(a, b))
        return "the order";
    return "";
}

template <class Type>
void expectAgreement(std::uint64_t left, std::uint64_t right) {
    const std::string difference = differenceAt<Type>(left, right);
    ASSERT_EQ(difference, "") << std::hex << left << " and " << right;
}

/// Zeros of both signs, least and greatest values, neighbours of one, halves, ties, infinities,
/// NaNs.
std::vector<std::uint64_t> specialBits(FloatFormat format) {
    const std::uint64_t unit = format.unit();
    const auto one = static_cast<std::uint64_t>(format.bias()) * unit;
    const std::uint64_t infinity = format.topField() * unit;
    const std::uint64_t digits = static_cast<std::uint64_t>(format.fractionBits) * unit;
    std::vector<std::uint64_t> all;
    for (const std::uint64_t centre :
         {std::uint64_t{0}, unit, 2 * unit, one / 2, one - digits - unit, one - digits, one - unit,
          one, one + unit, one + digits, one + digits + unit, one + one / 2, infinity - unit,
          infinity, infinity + unit / 2, unit / 2, one + unit / 2})
        for (std::uint64_t around = 0; around < 4; ++around)
            for (const std::uint64_t bits : {centre + around, centre - around})
                if (bits < infinity + unit)
                    all.push_back(bits);
    const std::uint64_t sign = infinity + unit;
    for (std::size_t i = all.size(); i-- > 0;)
        all.push_back(sign | all[i]);
    return all;
}

/// Draws pairs of random bits, and pairs with similar exponents: for these, a sum depends on both
/// operands.
template <class Type>
void expectAgreementByChance(int pairs) {
    const FloatFormat format = formatOf(Type::kind);
    const std::uint64_t mask = UINT64_MAX >> (64 - 8 * sizeof(typename Type::Bits));
    Chance chance(20250);
    for (int i = 0; i < pairs && !testing::Test::HasFatalFailure(); ++i) {
        const std::uint64_t left = chance.bits() & mask;
        std::uint64_t right = chance.bits() & mask;
        if (chance.oneIn(2)) {
            const auto apart = static_cast<std::uint64_t>(chance.below(140) - 70);
            const std::uint64_t field = (left >> format.fractionBits) + apart;
            right = (right & (format.unit() - 1)) | ((field << format.fractionBits) & mask);
        }
        expectAgreement<Type>(left, right);
    }
}

template <class Type>
class ExactArithmetic : public testing::Test {};
using Types = testing::Types<Binary32, Binary64>;
TYPED_TEST_SUITE(ExactArithmetic, Types);

TYPED_TEST(ExactArithmetic, AgreesWithTheProcessorOnSpecialValues) {
    const std::vector<std::uint64_t> special = specialBits(formatOf(TypeParam::kind));
    for (const std::uint64_t left : special)
        for (const std::uint64_t right : special)
            ASSERT_NO_FATAL_FAILURE(expectAgreement<TypeParam>(left, right));
}

TYPED_TEST(ExactArithmetic, AgreesWithTheProcessorOnBitsByChance) {
    expectAgreementByChance<TypeParam>(500000);
}

} // namespace
} // namespace Fenlet::Model
