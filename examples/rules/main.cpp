// Finds the rows of a table for which a three-valued rule holds.
#include "rule.h"
#include "table.h"
#include "terminal/command_line.h"

#include <fenletarrays/array_run.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

namespace Rules {
namespace {

using namespace Fenlet;

struct Options {
    std::string table = "examples/rules/stations.csv";
    std::string rule = "(low < high and rain > 0.5) or not automatic";
    std::optional<int> blockSize;
    long long limit = 20;
};

struct Answer {
    long long holds = 0;
    long long fails = 0;
    long long unknown = 0;
    std::vector<std::size_t> rows; ///< those for which the rule holds
};

Answer evaluate(const RuleProgram& rule, const Table& table, const Options& options) {
    std::vector<ArrayInput> columns;
    for (const std::size_t column : rule.columns)
        columns.emplace_back(table.columns[column].name, table.columns[column].view());
    std::vector<unsigned char> truth(table.rows);
    std::vector<unsigned char> holds(table.rows);
    const auto count = static_cast<std::int64_t>(table.rows);
    ArrayRun run(rule.program, {options.blockSize.value_or(0)});
    if (!run.evaluate(columns, {{"truth", {truth.data(), ArrayKind::Tribool, count}},
                                {"holds", {holds.data(), ArrayKind::Bool, count}}}))
        throw std::runtime_error(run.error());

    Answer answer;
    for (std::size_t row = 0; row < table.rows; ++row) {
        ++(truth[row] == 1 ? answer.holds : truth[row] == 0 ? answer.fails : answer.unknown);
        if (holds[row] == 1)
            answer.rows.push_back(row);
    }
    return answer;
}

/// The text as a CSV field, quoted if it needs quotes.
std::string csvField(const std::string& text) {
    if (text.find_first_of(",\"\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char c : text)
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + '"';
}

void print(const Answer& answer, const Table& table, const Options& options) {
    std::printf("true %lld, false %lld, unknown %lld\n", answer.holds, answer.fails,
                answer.unknown);
    const auto line = [&](const std::string& lead, auto textOf) {
        std::string text = lead;
        for (const Column& column : table.columns) {
            text += ',';
            text += csvField(textOf(column));
        }
        std::printf("%s\n", text.c_str());
    };
    line("row", [](const Column& column) { return column.name; });
    const auto all = static_cast<long long>(answer.rows.size());
    const long long shown = options.limit < all ? options.limit : all;
    for (const std::size_t row : std::vector(answer.rows.begin(), answer.rows.begin() + shown))
        line(std::to_string(row + 1), [row](const Column& column) { return column.texts[row]; });
    if (shown < all)
        std::printf("... and %lld more\n", all - shown);
}

} // namespace
} // namespace Rules

int main(int argumentCount, char** arguments) {
    using namespace Rules;
    Options options;
    CLI::App app("Finds the rows of a table for which a three-valued rule holds.", "rules");
    app.add_option("table", options.table,
                   "comma-separated file whose first line names the columns")
        ->check(Terminal::fileName())
        ->capture_default_str();
    app.add_option("rule", options.rule,
                   "the condition on a row, such as: (a < b and c > 0.5) or not d")
        ->capture_default_str();
    app.add_option("--block-size", options.blockSize, "rows to evaluate at a time")
        ->check(CLI::Range(1, 1 << 20))
        ->default_str("chosen for the program");
    app.add_option("--limit", options.limit, "print at most this many rows")
        ->check(Terminal::notNegative())
        ->capture_default_str();
    if (const auto status = Terminal::readCommandLine(app, argumentCount, arguments))
        return *status;
    try {
        const Table table = readTable(options.table);
        print(evaluate(compileRule(options.rule, table), table, options), table, options);
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
            throw std::runtime_error(std::string("standard output: ") + std::strerror(errno));
        return 0;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "rules: %s: not enough memory\n", options.table.c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "rules: %s\n", Terminal::oneLine(error.what()).c_str());
    }
    return 1;
}
