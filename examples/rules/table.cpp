// Reads a table from a CSV file.
#include "table.h"

#include <fenlethosts/npy.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <optional>

namespace Rules {

using Fenlet::ArrayView;
using Fenlet::CpuElementKind;
using Fenlet::FileError;

namespace {

std::optional<double> asNumber(const std::string& text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, problem] = std::from_chars(text.data(), end, value);
    if (problem != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

bool isMissing(const std::string& text) {
    return text.empty() || text == "NA";
}

/// Reads a CSV file record by record. A quoted field may contain line breaks.
class CsvReader {
  public:
    explicit CsvReader(const std::string& newPath) : path(newPath), file(newPath) {
        if (!file)
            throw FileError(path + ": " + std::strerror(errno));
    }

    bool next(std::vector<std::string>& fields);

    [[noreturn]] void fail(const std::string& what) const {
        throw FileError(path + ":" + std::to_string(recordLine) + ": " + what);
    }

  private:
    int nextCharacter();
    std::string quotedField();

    const std::string& path;
    std::ifstream file;
    long long line = 1;
    long long recordLine = 1;
};

int CsvReader::nextCharacter() {
    const int c = file.get();
    if (c == '\n')
        ++line;
    // This also ends the reading of binary files and of devices that never end.
    if (c == 0)
        throw FileError(path + ":" + std::to_string(line) +
                        ": this is not a text file; it contains a zero byte");
    return c;
}

std::string CsvReader::quotedField() {
    std::string field;
    for (int c = nextCharacter(); c != EOF; c = nextCharacter()) {
        if (c != '"')
            field += static_cast<char>(c);
        else if (file.peek() == '"')
            field += static_cast<char>(file.get());
        else
            return field;
    }
    fail("a quoted field has no end");
}

bool CsvReader::next(std::vector<std::string>& fields) {
    fields.clear();
    recordLine = line;
    if (file.peek() == EOF) {
        if (file.bad())
            throw FileError(path + ": cannot be read");
        return false;
    }
    std::string field;
    for (int c = nextCharacter(); c != EOF && c != '\n'; c = nextCharacter()) {
        if (c == ',') {
            fields.push_back(std::move(field));
            field.clear();
        } else if (c == '"' && field.empty()) {
            field = quotedField();
        } else if (c != '\r') {
            field += static_cast<char>(c);
        }
    }
    fields.push_back(std::move(field));
    return true;
}

void decideKind(Column& column) {
    const auto all = [&](auto fits) {
        return std::all_of(column.texts.begin(), column.texts.end(),
                           [&](const std::string& text) { return isMissing(text) || fits(text); });
    };
    if (all([](const std::string& text) { return asNumber(text).has_value(); }))
        column.kind = Column::Kind::Number;
    else if (all([](const std::string& text) { return text == "true" || text == "false"; }))
        column.kind = Column::Kind::Truth;
    for (const std::string& text : column.texts) {
        column.present.push_back(!isMissing(text));
        if (column.kind == Column::Kind::Number)
            column.numbers.push_back(asNumber(text).value_or(0));
        else if (column.kind == Column::Kind::Truth)
            column.truths.push_back(isMissing(text) ? 255 : text == "true");
    }
}

} // namespace

ArrayView Column::view() const {
    if (kind == Kind::Truth)
        return {
            truths.data(), CpuElementKind::Tribool, static_cast<std::int64_t>(truths.size()), 1, 0,
            nullptr};
    ArrayView view = ArrayView::of(numbers.data(), static_cast<std::int64_t>(numbers.size()));
    view.presence.data = present.data();
    return view;
}

Table readTable(const std::string& path) {
    CsvReader reader(path);
    Table table;
    std::vector<std::string> fields;
    if (!reader.next(fields) || (fields.size() == 1 && fields[0].empty()))
        throw FileError(path + ": has no line that names its columns");
    for (const std::string& name : fields) {
        const bool twice = std::any_of(table.columns.begin(), table.columns.end(),
                                       [&](const Column& other) { return other.name == name; });
        if (name.empty() || twice)
            reader.fail(
                "column " + std::to_string(table.columns.size() + 1) +
                (twice ? " has the same name as another one, '" + name + "'" : " has no name"));
        table.columns.emplace_back();
        table.columns.back().name = name;
    }
    while (reader.next(fields)) {
        if (fields.size() == 1 && fields[0].empty() && table.columns.size() > 1)
            continue;
        if (fields.size() != table.columns.size())
            reader.fail(std::to_string(fields.size()) + " fields where the first line names " +
                        std::to_string(table.columns.size()));
        for (std::size_t i = 0; i < fields.size(); ++i)
            table.columns[i].texts.push_back(std::move(fields[i]));
        ++table.rows;
    }
    for (Column& column : table.columns)
        decideKind(column);
    return table;
}

} // namespace Rules
