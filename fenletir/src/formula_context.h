// Shared by a formula's operators and functions: reports errors, and finds the format and number of
// components that several values have when they are used together.
#pragma once

#include "formula_complaints.h"
#include "formula_writer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Fenlet::Formulas {

/// What several values become when they meet.
struct Meeting {
    Format format = Format::Float64;
    std::int32_t components = 1;
    bool mayBeMissing = false;
};

/// Up to `mostArguments` values, without copies of them.
class Values {
  public:
    static constexpr std::size_t mostArguments = 16;

    Values(const Value& only) : list{&only}, count(1) {}
    Values(const Value& left, const Value& right) : list{&left, &right}, count(2) {}
    Values(const std::vector<Value>& values) : count(std::min(values.size(), mostArguments)) {
        for (std::size_t number = 0; number < count; ++number)
            list[number] = &values[number];
    }

    const Value* const* begin() const { return list.data(); }
    const Value* const* end() const { return list.data() + count; }

  private:
    std::array<const Value*, mostArguments> list{};
    std::size_t count;
};

class Context {
  public:
    Context(std::string_view newText, Complaints& newComplaints)
        : text(newText), complaints(newComplaints) {}

    Writer writer;

    /// Reports an error. Returns a bad value.
    Value refuse(SourceSpan place, std::string wrong, std::string right = "");
    /// The text of a value for a message, or `otherwise` if it is long.
    std::string textOf(const Value& value, const char* otherwise = "x") const;
    /// The value in words: `a (f32x3)`.
    std::string describe(const Value& value) const;

    static Value made(Register held, const Meeting& meeting, SourceSpan place);
    static Value madeTruth(Register held, std::int32_t components, bool mayBeUnknown,
                           SourceSpan place);

    /// Whether the number fits into the format of `partner`. Reports it if not.
    bool fits(const Value& number, Format format, const Value* partner);

    /// Whether all are numbers, or will be. Reports the first that is not; `user` says in the
    /// message what takes them.
    bool areNumbers(const Values& values, std::string_view user);
    /// Whether arithmetic knows the format. Reports it for `value` if not.
    bool hasArithmetic(Format format, const Value& value, std::string_view user);

    /// What the values become together: all numbers, or all truth values. Reports it if they do not
    /// go together. Numbers of one component are repeated beside wider ones.
    std::optional<Meeting> meet(const Values& values, SourceSpan place);
    /// The same for values that `arm` loads.
    std::optional<Meeting> meetAsArms(const Values& values, SourceSpan place);

    /// The register of a value that took part in a meeting, with as many components.
    Register arm(const Value& value, const Meeting& meeting);
    /// The same for an instruction that repeats one component: arithmetic and comparisons.
    Register side(const Value& value, const Meeting& meeting);

    /// The condition as a register without missing elements; the word `missing` takes
    /// `components`. Reports it if it is no truth value.
    std::optional<Register> condition(const Value& value, std::string_view user,
                                      std::int32_t components = 1);

    /// Whether further errors are only counted.
    bool isFull() const { return complaints.isFull(); }

  private:
    /// Lets a value of a fixed format into a meeting that `first` began. Reports it if it cannot.
    bool join(Meeting& meeting, const Value& first, const Value& value, SourceSpan place);
    /// The same for a number as written.
    bool joinNumber(const Meeting& meeting, const Value* first, const Value& number);

    std::string_view text;
    Complaints& complaints;
};

} // namespace Fenlet::Formulas
