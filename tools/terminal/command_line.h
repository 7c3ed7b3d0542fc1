// What the command lines of all programs have in common.
#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
#include <optional>
#include <string>

namespace Terminal {

/// The text in one line, without control characters.
inline std::string oneLine(std::string text) {
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F')
            c = '?';
    return text;
}

/// Accepts the finite numbers that `accepts` accepts; `words` describes them. If a text is not a
/// number, the option itself refuses it.
template <class Accepts>
CLI::Validator finiteNumber(const std::string& words, Accepts accepts) {
    const auto check = [words, accepts](const std::string& text) {
        double value = 0;
        const bool isNumber = CLI::detail::lexical_cast(text, value);
        const bool isFine = !isNumber || (std::isfinite(value) && accepts(value));
        return isFine ? std::string() : text + " is not " + words;
    };
    return CLI::Validator(check, "");
}

inline CLI::Validator finite() {
    return finiteNumber("a finite number", [](double) { return true; });
}

inline CLI::Validator positive() {
    return finiteNumber("a finite number above 0", [](double value) { return value > 0; });
}

inline CLI::Validator notNegative() {
    return finiteNumber("a finite number of 0 or more", [](double value) { return value >= 0; });
}

inline CLI::Validator fileName() {
    return CLI::Validator(
        [](const std::string& text) {
            return text.empty() ? std::string("the file name is empty") : std::string();
        },
        "");
}

/// Reads the options. If the program has to end, because it printed the help or an argument is
/// wrong, returns the exit status for `main`. A wrong argument is reported in one line on standard
/// error.
inline std::optional<int> readCommandLine(CLI::App& app, int argumentCount, char** arguments) {
    app.failure_message([](const CLI::App* failed, const CLI::Error& error) {
        return oneLine(failed->get_name() + ": " + error.what()) + "\n";
    });
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    return std::nullopt;
}

} // namespace Terminal
