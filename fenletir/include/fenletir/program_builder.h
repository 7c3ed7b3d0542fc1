// Writing a program in readable lines.
#pragma once

#include <fenletir/export.h>
#include <fenletir/program.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Fenlet {

/// Short for use in programs: `Format::Float32`.
using Format = RegisterFormat;

/// A Tribool constant's value.
enum class Truth : unsigned char { False = 0, True = 1, Unknown = 255 };

/// What `ProgramBuilder` hands out for a register, and takes as an operand. One whose number is
/// `noRegister` stands for what could not be built.
struct Register {
    std::int32_t number = noRegister; ///< its place in `FenletProgram::registers`
    std::uint64_t program = 0;        ///< the builder's number for that program; 0 for none
};

/// A field, uniform or sampler that a program declares; `number` is its place among its like, -1
/// for what could not be declared, and `program` is as for a register.
struct FieldHandle {
    std::int32_t number = -1;
    std::uint64_t program = 0;
};
struct UniformHandle {
    std::int32_t number = -1;
    std::uint64_t program = 0;
};
struct SamplerHandle {
    std::int32_t number = -1;
    std::uint64_t program = 0;
};

/// What a `ProgramBuilder` throws when it is asked to throw.
class FENLETIR_API ProgramError : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
    ~ProgramError() override;
};

/// What became of a build: the program, or the words of the first thing that could not stand.
struct BuildResult {
    FenletProgram program; ///< empty unless `ok()`
    std::string error;     ///< empty if `ok()`

    bool ok() const { return error.empty(); }
};

/// Builds a program one instruction a call. Each call makes a new register for its result, whose
/// multiplicity follows from the operands; its storage kind is asked for where the instruction
/// leaves it open.
///
/// What cannot stand is refused by the call that wrote it, in words that name the instruction and
/// its registers and say what would stand. A builder that throws throws `ProgramError` there and
/// then, and has not changed. One that does not answers with a `Register` that has no number,
/// ignores everything after it, and tells the words in `build()`.
///
/// A call that finds no memory throws what the allocator throws and has not been made, whichever of
/// the two it would have been: it can be made again. `build()` needs none.
///
/// Handles are good for the program that they were made for: another builder refuses them, and so
/// does this one after `build()`. A copy of a builder carries on from the same program with the
/// handles that there are; it cannot tell those that only the other one has made since.
class FENLETIR_API ProgramBuilder {
  public:
    enum class OnError { Report, Throw };

    explicit ProgramBuilder(OnError onError = OnError::Report);

    /// Declares a field, a uniform or a sampler. Its number is its place among its like, from 0:
    /// the place that the host's provider takes in `Bindings`. A name may stand only once among
    /// fields, once among uniforms and once among samplers.
    FieldHandle field(std::string_view name);
    UniformHandle uniform(std::string_view name);
    SamplerHandle sampler(std::string_view name);

    /// An instruction that does nothing and has no result.
    void nop();
    /// The absolute number of each element, as Int64.
    Register elementIndex();

    /// A constant of 1 to 64 real numbers. A float format rounds fractions to its nearest number.
    /// Any other number that `format` cannot hold is refused; `fitOfReal` decides.
    Register constant(Format format, const std::vector<double>& components);
    /// A constant of 1 to 64 whole numbers, also of those that a double cannot hold. A number that
    /// `format` cannot hold is refused; `fitOfInteger` decides.
    Register integerConstant(Format format, const std::vector<std::int64_t>& components);
    /// One truth value. There is no constant of several.
    Register truthConstant(Truth value);

    /// A uniform of 1 to 64 components.
    Register loadUniform(UniformHandle uniform, Format format, std::int32_t multiplicity = 1);
    /// A field at the element numbers in `index`, one component of Int32 or Int64.
    Register loadField(FieldHandle field, Register index, Format format,
                       std::int32_t multiplicity = 1);
    /// What the sampler has at `coordinates`.
    Register sample(SamplerHandle sampler, Register coordinates, Format format,
                    std::int32_t multiplicity = 1);

    /// Component `number` of `operand`, in the operand's own format or in another.
    Register component(Register operand, std::int32_t number);
    Register component(Register operand, std::int32_t number, Format format);
    /// `operand`, of one component, in another format.
    Register convert(Register operand, Format format);

    /// Without a format, that of the operand or, for two operands of different formats, an error.
    /// Operands have as many components as each other, or one of them has one.
    Register negate(Register operand);
    Register negate(Register operand, Format format);
    Register length(Register operand);
    Register length(Register operand, Format format);
    Register add(Register left, Register right);
    Register add(Register left, Register right, Format format);
    Register subtract(Register left, Register right);
    Register subtract(Register left, Register right, Format format);
    Register multiply(Register left, Register right);
    Register multiply(Register left, Register right, Format format);
    Register divide(Register left, Register right);
    Register divide(Register left, Register right, Format format);

    /// Component by component. A side of one component meets each component of the other; where
    /// that is the left one the mirrored comparison is written.
    Register less(Register left, Register right);
    Register lessEqual(Register left, Register right);
    Register greater(Register left, Register right);
    Register greaterEqual(Register left, Register right);
    Register equal(Register left, Register right);
    Register notEqual(Register left, Register right);

    /// Three-valued logic, on Tribool registers of the same number of components.
    Register logicalNot(Register operand);
    Register logicalAnd(Register left, Register right);
    Register logicalOr(Register left, Register right);
    Register isTrue(Register operand);

    /// For each component `whenTrue` where the condition is true, `whenFalse` where it is false,
    /// and an invalid zero where it is unknown. The arms have as many components as each other;
    /// the condition has as many, or one.
    Register select(Register condition, Register whenTrue, Register whenFalse);
    Register select(Register condition, Register whenTrue, Register whenFalse, Format format);

    /// Gives `value` a name that no other register has, in the place of the one that it may have
    /// had. Answers `value`.
    Register name(Register value, std::string_view name);
    /// Marks `value` as one that the host wants, and gives it a name or leaves it the one that it
    /// may have. Answers `value`.
    Register output(Register value, std::string_view name);
    Register output(Register value);

    /// The finished program. The builder is as new afterwards, whether or not it could be built.
    BuildResult build();

  private:
    void refuseWith(const std::string& message);
    Register refuse(OpCode op, const std::string& words);
    bool declarable(const char* what, std::string_view name, bool isTaken);
    bool isOwn(Register value) const;
    bool known(OpCode op, std::initializer_list<Register> operands);
    bool isKnownTo(const char* call, Register value);
    Register giveName(const char* call, Register value, std::string_view name);
    std::string describe(Register value) const;
    const RegisterInfo& info(Register value) const;
    bool isFormatAsked(OpCode op, Format format);
    bool storable(OpCode op, Format format, std::int32_t multiplicity);
    Register emit(OpCode op, std::initializer_list<Register> operands, Format format,
                  std::int32_t multiplicity, std::int32_t immediate = -1);
    bool constantStands(Format format, std::size_t components);
    Register emitConstant(Format format, Constant constant);
    Register unary(OpCode op, Register operand, Format format);
    Register arithmetic(OpCode op, Register left, Register right, const Format* format);
    Register comparison(OpCode op, Register left, Register right);
    Register logical(OpCode op, std::initializer_list<Register> operands);
    Register choose(Register condition, Register whenTrue, Register whenFalse,
                    const Format* format);

    FenletProgram program;
    std::string error;
    OnError onError;
    std::uint64_t programNumber;
};

} // namespace Fenlet
