// What the instruction set makes of formats, and how they are put in words.
#pragma once

#include <fenletir/program.h>

#include <string>

namespace Fenlet {

/// Components that one constant or uniform may have.
inline constexpr std::int32_t valueComponents = 64;

inline bool isFormat(RegisterFormat format) {
    return format >= RegisterFormat::Tribool && format <= RegisterFormat::Float64;
}

inline bool isTribool(RegisterFormat format) {
    return format == RegisterFormat::Tribool;
}

inline bool isInteger(RegisterFormat format) {
    return format >= RegisterFormat::Int8 && format <= RegisterFormat::Int64;
}

inline bool isNumeric(RegisterFormat format) {
    return isFormat(format) && !isTribool(format);
}

/// What arithmetic, Negate and Length know.
inline bool isArithmetic(RegisterFormat format) {
    return isNumeric(format) && format != RegisterFormat::Int64;
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
