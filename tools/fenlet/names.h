// Finds fields, uniforms, samplers and registers by name or number.
#pragma once

#include <charconv>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Tool {

inline std::string quoted(const std::string& name) {
    return "\"" + name + "\"";
}

/// The number, if the whole text is a number.
template <class Number>
std::optional<Number> numberIn(const std::string& text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end)
        return std::nullopt;
    return number;
}

/// All declarations of one sort: fields, uniforms, samplers or registers. `sort` is the word for
/// the sort, such as "field". `mark` precedes numbers.
template <class Entry>
class Declarations {
  public:
    Declarations(const std::vector<Entry>& newEntries, const char* newSort, char newMark)
        : entries(newEntries), sort(newSort), mark(newMark) {}

    /// The position of the entry `called`, given by its name or by its mark and number. Throws
    /// `std::runtime_error` with one line for the user if there is no such entry or the name is
    /// ambiguous.
    std::size_t find(const std::string& called) const {
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < entries.size(); ++i)
            if (!called.empty() && entries[i].name == called)
                found.push_back(i);
        if (found.size() == 1)
            return found[0];
        if (!found.empty())
            throw std::runtime_error("the program has several " + sort + "s " + quoted(called) +
                                     "; use a number instead, such as " + numbered(found[0]));
        const auto number = called.size() > 1 && called[0] == mark
                                ? numberIn<std::size_t>(called.substr(1))
                                : std::nullopt;
        if (number && *number < entries.size())
            return *number;
        throw std::runtime_error("the program has no " + sort + " " + quoted(called) + known());
    }

    /// The sort and the name of an entry. An entry without a name is described by its number.
    std::string describe(std::size_t position) const {
        const std::string& name = entries[position].name;
        return sort + " " + (name.empty() ? numbered(position) : quoted(name));
    }

  private:
    std::string numbered(std::size_t position) const { return mark + std::to_string(position); }

    /// A list of the first few entries, for a message.
    std::string known() const {
        constexpr std::size_t few = 8;
        std::string all = entries.empty() ? "; it has none" : "";
        for (std::size_t i = 0; i < entries.size() && i < few; ++i)
            all += (i == 0 ? "; it has " : ", ") +
                   (entries[i].name.empty() ? numbered(i) : quoted(entries[i].name));
        return all + (entries.size() > few ? " and others" : "");
    }

    const std::vector<Entry>& entries;
    std::string sort;
    char mark;
};

} // namespace Tool
