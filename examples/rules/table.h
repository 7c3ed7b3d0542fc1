// A table of columns, read from a CSV file.
#pragma once

#include <fenlethosts/array_view.h>

#include <string>
#include <vector>

namespace Rules {

/// One column. A missing number is an invalid element, a missing truth value is unknown.
struct Column {
    enum class Kind { Number, Truth, Text };
    std::string name;
    Kind kind = Kind::Text;
    std::vector<double> numbers;
    std::vector<unsigned char> truths; ///< 0 false, 1 true, 255 unknown
    std::vector<unsigned char> present;
    std::vector<std::string> texts; ///< as in the file

    /// The column as an array for a field; it must not be a column of text.
    Fenlet::ArrayView view() const;
};

struct Table {
    std::vector<Column> columns;
    std::size_t rows = 0;
};

/// Reads a comma-separated file whose first line names the columns; fields may be quoted. An empty
/// field or "NA" is a missing value. A column with nothing but numbers is one of numbers, a column
/// with nothing but "true" and "false" is one of truth values, and any other is one of text. Throws
/// `Fenlet::FileError` with the number of the line.
Table readTable(const std::string& path);

} // namespace Rules
