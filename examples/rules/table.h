// A table of columns, read from a CSV file.
#pragma once

#include <fenlethosts/array_field.h>

#include <string>
#include <vector>

namespace Rules {

/// One column. Where nothing stands, a number has no validity, and a truth value is unknown.
struct Column {
    enum class Kind { Number, Truth, Text };
    std::string name;
    Kind kind = Kind::Text;
    std::vector<double> numbers;
    std::vector<unsigned char> truths; ///< 0 false, 1 true, 255 unknown
    std::vector<unsigned char> present;
    std::vector<std::string> texts; ///< as they stand in the file

    /// The column as the array behind a field. Not for text.
    Fenlet::ArrayView view() const;
};

struct Table {
    std::vector<Column> columns;
    std::size_t rows = 0;
};

/// Reads a comma-separated file whose first line names the columns; fields may be quoted. Nothing,
/// or "NA", is a missing value. A column of numbers is one, and so is one of "true" and "false";
/// any other is text. Throws `Fenlet::FileError`, with the line.
Table readTable(const std::string& path);

} // namespace Rules
