// Functions that the command lines of all programs share.
#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
#include <optional>
#include <string>

namespace Terminal {

/// The text in one line: every control character becomes a question mark.
inline std::string oneLine(std::string text) {
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F')
            c = '?';
    return text;
}

/// A validator for the finite numbers that `accepts` accepts. `words` describes these numbers. The
/// validator passes a text that is not a number, because the option refuses it anyway.
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

/// Reads the options. If an argument is wrong, or the help was printed, returns the exit status for
/// `main`; otherwise nothing. Reports a wrong argument in one line on standard error.
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
