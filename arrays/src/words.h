// Names in messages.
#pragma once

#include <fenletir/program.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Fenlet {

inline std::string quoted(std::string_view name) {
    std::string words = "\"";
    words += name;
    words += '"';
    return words;
}

/// What precedes a number that is used as a name: for fields, uniforms and samplers, and for
/// registers.
inline constexpr char poolMark = '@';
inline constexpr char registerMark = '%';

/// The name, or if it is empty, the number after its mark, such as @0.
inline std::string nameOf(const std::string& name, char mark, std::int32_t number) {
    if (!name.empty())
        return name;
    std::string words(1, mark);
    words += std::to_string(number);
    return words;
}

/// "instruction 3 (Add)"
inline std::string instructionInWords(const FenletProgram& program, std::int32_t number) {
    std::string words = "instruction ";
    words += std::to_string(number);
    words += " (";
    words += opCodeName(program.instructions[static_cast<std::size_t>(number)].op);
    words += ')';
    return words;
}

} // namespace Fenlet
