// Rules, and the programs that they are compiled into.
#pragma once

#include "table.h"

#include <fenletir/program.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Rules {

/// What is wrong with a rule, in one line, and where.
class RuleError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct RuleProgram {
    Fenlet::FenletProgram program;
    int truth = 0;                    ///< "truth", the register with the three-valued result
    int holds = 0;                    ///< "holds", the register that tells whether it is true
    std::vector<std::size_t> columns; ///< for each field, its column in the table
};

/// Compiles a rule such as `(a < b and c > 0.5) or not d`: comparisons (< <= > >= = <>) of columns
/// and numbers; columns of truth values; true, false and unknown; and, or, not, and parentheses.
/// Throws `RuleError`.
RuleProgram compileRule(const std::string& rule, const Table& table);

} // namespace Rules
