// The list of register formats, with everything that the program library knows about each.
#pragma once

#include <fenletir/program.h>

#include <array>
#include <cstddef>
#include <string>

namespace Fenlet {

enum class FormatSort { None, Truth, Integer, Float };

struct FormatFacts {
    const char* name = nullptr; ///< as the enumeration spells it; null if the number has no format
    const char* word = nullptr; ///< in program text
    FormatSort sort = FormatSort::None;
    bool hasArithmetic = false; ///< whether arithmetic, Negate and Length have kernels for it
    int digits = 0; ///< binary digits: an integer's without the sign, a float's of the significand
    int exponent = 0; ///< floats: the largest finite number is just below 2 to this power
};

/// One row for each format. There is no `default`, so that the compiler reports a new format
/// without a row.
constexpr FormatFacts factsFor(RegisterFormat format) {
    switch (format) {
    case RegisterFormat::Tribool:
        return {"Tribool", "tribool", FormatSort::Truth, false};
    case RegisterFormat::Int8:
        return {"Int8", "i8", FormatSort::Integer, true, 7};
    case RegisterFormat::Int16:
        return {"Int16", "i16", FormatSort::Integer, true, 15};
    case RegisterFormat::Int32:
        return {"Int32", "i32", FormatSort::Integer, true, 31};
    case RegisterFormat::Int64:
        return {"Int64", "i64", FormatSort::Integer, false, 63};
    case RegisterFormat::Half:
        return {"Half", "f16", FormatSort::Float, true, 11, 16};
    case RegisterFormat::Float32:
        return {"Float32", "f32", FormatSort::Float, true, 24, 128};
    case RegisterFormat::Float64:
        return {"Float64", "f64", FormatSort::Float, true, 53, 1024};
    }
    return {};
}

/// How many formats there are; their numbers run from 0 to `formatCount` - 1.
inline constexpr std::int32_t formatCount = [] {
    std::int32_t count = 0;
    while (factsFor(static_cast<RegisterFormat>(count)).name != nullptr)
        ++count;
    return count;
}();

/// The rows of `factsFor`, indexed by format number.
inline constexpr auto formatTable = [] {
    std::array<FormatFacts, static_cast<std::size_t>(formatCount)> table{};
    for (std::size_t number = 0; number < table.size(); ++number)
        table[number] = factsFor(static_cast<RegisterFormat>(number));
    return table;
}();

inline constexpr FormatFacts noFormatFacts{};

/// The format's row, or an empty row for a number that is not a format.
constexpr const FormatFacts& factsOf(RegisterFormat format) {
    const auto number = static_cast<std::int32_t>(format);
    return number >= 0 && number < formatCount ? formatTable[static_cast<std::size_t>(number)]
                                               : noFormatFacts;
}

constexpr bool isFormat(RegisterFormat format) {
    return factsOf(format).sort != FormatSort::None;
}

constexpr bool isTribool(RegisterFormat format) {
    return factsOf(format).sort == FormatSort::Truth;
}

constexpr bool isInteger(RegisterFormat format) {
    return factsOf(format).sort == FormatSort::Integer;
}

constexpr bool isNumeric(RegisterFormat format) {
    return isInteger(format) || factsOf(format).sort == FormatSort::Float;
}

constexpr bool isArithmetic(RegisterFormat format) {
    return factsOf(format).hasArithmetic;
}

/// The formats that `belongs` accepts, in words, such as "Half, Float32 or Float64".
inline std::string formatsInWords(bool (*belongs)(RegisterFormat)) {
    std::string words;
    std::string last;
    for (std::int32_t number = 0; number < formatCount; ++number) {
        if (!belongs(static_cast<RegisterFormat>(number)))
            continue;
        if (!last.empty())
            words += (words.empty() ? "" : ", ") + last;
        last = formatTable[static_cast<std::size_t>(number)].name;
    }
    return words.empty() ? last : words + " or " + last;
}

inline std::string componentsInWords(std::int32_t count) {
    return std::to_string(count) + (count == 1 ? " component" : " components");
}

/// A register of the program in words: number, name if it has one, format and components.
inline std::string registerInWords(const FenletProgram& program, std::int32_t number) {
    const RegisterInfo& about = program.registerInfo(number);
    std::string words = "register %" + std::to_string(number);
    if (!about.name.empty())
        words += " \"" + about.name + "\"";
    return words + " (" + registerFormatName(about.format) + ", " +
           componentsInWords(about.multiplicity) + ")";
}

} // namespace Fenlet
