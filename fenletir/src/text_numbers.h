// Reads numbers: the same digits give the same number in every kind of text.
#pragma once

#include <charconv>
#include <string_view>
#include <system_error>

namespace Fenlet::Text {

/// Reads `text`, which must be a number and nothing else. `how` is the base of an integer. The
/// result is `errc()`, `invalid_argument` or `result_out_of_range`.
template <class Number, class... How>
std::errc readNumber(std::string_view text, Number& value, How... how) {
    const char* end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, value, how...);
    return read.ec == std::errc() && read.ptr != end ? std::errc::invalid_argument : read.ec;
}

} // namespace Fenlet::Text
