// Writes the instructions of a formula, and keeps where in the text each came from.
#pragma once

#include "formula_value.h"

#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace Fenlet::Formulas {

/// Wraps `ProgramBuilder`. Its callers have checked formats and components, so that no call is
/// refused. Constants, and what is made of constants alone, are written once and shared.
class Writer {
  public:
    /// The place of the instructions that are written next.
    void setPlace(SourceSpan newPlace) { place = newPlace; }
    SourceSpan currentPlace() const { return place; }
    /// The number of the next register, which is also that of the next instruction.
    std::int32_t nextRegister() const { return static_cast<std::int32_t>(places.size()); }

    ProgramBuilder& builder() { return program; }
    /// Records the place of an instruction that was just written.
    Register keep(Register written);

    // Constants
    Register number(Format format, const Literal& literal, std::int32_t components = 1);
    Register number(Format format, double value, std::int32_t components = 1);
    /// The numbers as components. Each must fit into the format.
    Register vector(Format format, const std::vector<Literal>& literals);
    Register truth(Truth value);
    /// Several unknown truth values; a constant holds only one.
    Register unknown(std::int32_t components);
    /// A missing value of a format.
    Register missing(Format format, std::int32_t components);
    /// True in component `number` only.
    Register unitMask(std::int32_t components, std::int32_t number);

    /// The number of each element, as Int64.
    Register elementIndex();
    /// The register of a value, which is neither bad nor open.
    Register load(const Value& value);
    /// The same values in another format; nothing is written if it already has it.
    Register convert(const Value& value, Format format);
    /// A number of one component, repeated. -0.0 is added, which changes no value.
    Register spread(const Value& value, Format format, std::int32_t components);
    /// A new register with the same bits.
    Register copy(const Value& value);

    // Instructions
    Register arithmetic(OpCode op, Register left, Register right, Format format);
    Register comparison(OpCode op, Register left, Register right);
    Register logic(OpCode op, Register left, Register right);
    Register negate(Register operand, Format format);
    Register logicalNot(Register operand);
    Register isTrue(Register operand);
    Register length(Register operand, Format format);
    Register component(Register operand, std::int32_t number, Format format);
    Register select(Register condition, Register whenTrue, Register whenFalse, Format format);

    /// The truth value, unknown where it is missing.
    Register settle(const Value& value);

    /// Names a register, unless it has a name.
    void nameRegister(Register value, std::string_view name);
    /// Its name, or empty.
    std::string_view nameOf(Register value) const;

    /// The finished program with the names of its registers, or the builder's error.
    BuildResult build();
    std::vector<SourceSpan> takePlaces() { return std::move(places); }

  private:
    Register integerNumber(Format format, std::int64_t value, std::int32_t components);

    using ConstantKey = std::tuple<Format, std::int32_t, std::uint64_t>;

    ProgramBuilder program;
    std::vector<SourceSpan> places;
    std::vector<std::string> names; ///< of the first registers; the builder would search them all
    SourceSpan place;
    std::map<ConstantKey, Register> constants;
    std::map<std::int32_t, Register> unknowns; ///< by components
    std::map<std::pair<std::int32_t, std::int32_t>, Register> masks;
    std::map<std::pair<Format, std::int32_t>, Register> missings;
    std::map<std::int32_t, Register> settled; ///< by register
    Register index;                           ///< as Int64
    Register indexNumber;                     ///< as Float64
};

} // namespace Fenlet::Formulas
