// Writes constants so that reading them gives back every bit.
#include "text_words.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace Fenlet::Text {
namespace {

/// The bits of the NaN that is written as `nan`.
constexpr std::uint64_t plainNan = 0x7ff8000000000000;

std::string nanText(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    if (bits == plainNan)
        return "nan";
    char digits[16];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, bits, 16);
    return "bits(0x" + std::string(digits, end.ptr) + ")";
}

std::string realText(double value) {
    if (std::isnan(value))
        return nanText(value);
    if (std::isinf(value))
        return value < 0 ? "-inf" : "inf";
    // The shortest digits that read back as this value.
    char digits[32];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, value);
    std::string text(digits, end.ptr);
    // A real number needs a decimal point or an exponent; without one it would read back as an
    // integer.
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

std::string integerText(std::int64_t value) {
    return std::to_string(value);
}

template <class Component>
std::string listText(const std::vector<Component>& components, std::string (*text)(Component)) {
    std::string list = "(";
    for (const Component component : components)
        list += (list.size() > 1 ? ", " : "") + text(component);
    return list + ")";
}

template <class Component>
std::string vectorText(const std::vector<Component>& components, std::string (*text)(Component)) {
    return components.size() == 1 ? text(components.front()) : listText(components, text);
}

/// Whether the components alone describe the constant completely.
bool isPlain(const Constant& constant) {
    const std::size_t count = constant.integers.size() + constant.reals.size();
    return (constant.integers.empty() || constant.reals.empty()) && constant.boolean == 0 &&
           count > 0 && constant.multiplicity >= 1 &&
           static_cast<std::size_t>(constant.multiplicity) == count;
}

const char* truthText(const Constant& constant) {
    const bool isTribool =
        constant.integers.empty() && constant.reals.empty() && constant.multiplicity == 1;
    if (!isTribool)
        return nullptr;
    switch (constant.boolean) {
    case 0:
        return "false";
    case 1:
        return "true";
    case 255:
        return "unknown";
    default:
        return nullptr;
    }
}

} // namespace

std::string constantText(const Constant& constant) {
    if (const char* truth = truthText(constant))
        return truth;
    if (!isPlain(constant))
        return "raw " + std::to_string(constant.multiplicity) + " " +
               std::to_string(static_cast<int>(constant.boolean)) + " " +
               listText(constant.integers, integerText) + " " + listText(constant.reals, realText);
    return constant.reals.empty() ? vectorText(constant.integers, integerText)
                                  : vectorText(constant.reals, realText);
}

} // namespace Fenlet::Text
