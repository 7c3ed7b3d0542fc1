// A rule in words, and the program that it means.
#pragma once

#include "table.h"

#include <fenletir/program.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Rules {

/// What is wrong with a rule, in one line that tells the place.
class RuleError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct RuleProgram {
    Fenlet::FenletProgram program;
    int truth = 0;                    ///< the register: the rule's three-valued truth
    int holds = 0;                    ///< the register: whether the rule is known to be true
    std::vector<std::size_t> columns; ///< the table's column behind each field
};

/// Compiles a rule such as `(a < b and c > 0.5) or not d`: comparisons (< <= > >= = <>) of columns
/// and numbers; columns of truth values; true, false and unknown; and, or, not, and parentheses.
/// Throws `RuleError`.
RuleProgram compileRule(const std::string& rule, const Table& table);

} // namespace Rules
