#include "formats.h"

#include <limits>
#include <utility>

namespace Fenlet {
namespace {

template <class Component>
bool holds(const std::vector<Component>& components, std::int32_t index) {
    return index >= 0 && static_cast<std::size_t>(index) < components.size();
}

std::int64_t truncate(double value) {
    // The limit, 2 to the power 63, is exact in binary64. A NaN fails both comparisons.
    constexpr double limit = 9223372036854775808.0;
    if (value >= -limit && value < limit)
        return static_cast<std::int64_t>(value);
    return std::numeric_limits<std::int64_t>::min();
}

} // namespace

const char* registerFormatName(RegisterFormat format) {
    return isFormat(format) ? factsOf(format).name : "Unknown";
}

Constant Constant::ofTribool(unsigned char value) {
    Constant constant;
    constant.boolean = value;
    return constant;
}

Constant Constant::ofIntegers(std::vector<std::int64_t> values) {
    Constant constant;
    constant.multiplicity = static_cast<std::int32_t>(values.size());
    constant.integers = std::move(values);
    return constant;
}

Constant Constant::ofReals(std::vector<double> values) {
    Constant constant;
    constant.multiplicity = static_cast<std::int32_t>(values.size());
    constant.reals = std::move(values);
    return constant;
}

double Constant::realComponent(std::int32_t index) const {
    if (holds(reals, index))
        return reals[static_cast<std::size_t>(index)];
    if (holds(integers, index))
        return static_cast<double>(integers[static_cast<std::size_t>(index)]);
    const bool isTribool = reals.empty() && integers.empty();
    return isTribool && index == 0 && boolean == 1 ? 1.0 : 0.0;
}

std::int64_t Constant::integralComponent(std::int32_t index) const {
    if (holds(integers, index))
        return integers[static_cast<std::size_t>(index)];
    if (holds(reals, index))
        return truncate(reals[static_cast<std::size_t>(index)]);
    const bool isTribool = reals.empty() && integers.empty();
    return isTribool && index == 0 && boolean == 1 ? 1 : 0;
}

std::int32_t FenletProgram::registerCount() const {
    return static_cast<std::int32_t>(registers.size());
}

std::int32_t FenletProgram::instructionCount() const {
    return static_cast<std::int32_t>(instructions.size());
}

bool FenletProgram::isValidRegister(std::int32_t number) const {
    return number >= 0 && number < registerCount();
}

const RegisterInfo& FenletProgram::registerInfo(std::int32_t number) const {
    return registers[static_cast<std::size_t>(number)];
}

} // namespace Fenlet
