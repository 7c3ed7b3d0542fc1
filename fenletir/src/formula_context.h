// What operators and functions of a formula share: errors, and how values meet.
#pragma once

#include "formula_complaints.h"
#include "formula_writer.h"

#include <initializer_list>
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
    bool areNumbers(const std::vector<Value>& values, const std::string& user);
    /// Whether arithmetic knows the format. Reports it for `value` if not.
    bool hasArithmetic(Format format, const Value& value, const std::string& user);

    /// What the values become together: all numbers, or all truth values. Reports it if they do not
    /// go together. Numbers of one component are repeated beside wider ones.
    std::optional<Meeting> meet(const std::vector<Value>& values, SourceSpan place);
    /// The same for values that `arm` loads.
    std::optional<Meeting> meetAsArms(const std::vector<Value>& values, SourceSpan place);

    /// The register of a value that took part in a meeting, with as many components.
    Register arm(const Value& value, const Meeting& meeting);
    /// The same for an instruction that repeats one component: arithmetic and comparisons.
    Register side(const Value& value, const Meeting& meeting);

    /// The condition as a register without missing elements; the word `missing` takes
    /// `components`. Reports it if it is no truth value.
    std::optional<Register> condition(const Value& value, const std::string& user,
                                      std::int32_t components = 1);

    /// Whether further errors are only counted.
    bool isFull() const { return complaints.isFull(); }

  private:
    std::string_view text;
    Complaints& complaints;
};

} // namespace Fenlet::Formulas
