// Builds programs one instruction at a time.
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

/// A shorter name, as in `Format::Float32`.
using Format = RegisterFormat;

/// The value of a Tribool constant.
enum class Truth : unsigned char { False = 0, True = 1, Unknown = 255 };

/// A register of a `ProgramBuilder`. Each call that writes an instruction returns the register of
/// its result; pass it as an operand to later calls. A failed call returns a `Register` with the
/// number `noRegister`.
struct Register {
    std::int32_t number = noRegister; ///< its place in `FenletProgram::registers`
    std::uint64_t program = 0;        ///< the program that the register belongs to; 0 for none
};

/// A declared field, uniform or sampler. `number` is its position among the fields, uniforms or
/// samplers, or -1 if the declaration failed; `program` is as in `Register`.
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

/// Thrown by a `ProgramBuilder` that was made with `OnError::Throw`.
class FENLETIR_API ProgramError : public std::invalid_argument {
  public:
    using std::invalid_argument::invalid_argument;
    ~ProgramError() override;
};

/// The result of a build: the program, or the first error.
struct BuildResult {
    FenletProgram program; ///< empty unless `ok()`
    std::string error;     ///< empty if `ok()`

    bool ok() const { return error.empty(); }
};

/// Builds a program, one instruction per call. Each call makes a new register for its result. The
/// number of components follows from the operands. The caller gives the format where the operands
/// do not determine it.
///
/// A call that would make a wrong instruction fails, with a message that names the instruction and
/// its registers and says what would be right. With `OnError::Throw` it throws `ProgramError` and
/// leaves the builder unchanged. With `OnError::Report` it returns a `Register` without a number;
/// the builder then ignores all further calls, and `build()` returns the message.
///
/// If an allocation fails, the call throws the allocator's exception and changes nothing; the
/// caller may repeat it. `build()` allocates nothing.
///
/// Handles belong to one program. Another builder refuses them, and this builder refuses them after
/// `build()`. A copy of a builder continues the same program and accepts the handles made before
/// the copy. Do not pass the copy a handle that the original makes later: the copy cannot tell such
/// a handle from its own.
class FENLETIR_API ProgramBuilder {
  public:
    enum class OnError { Report, Throw };

    explicit ProgramBuilder(OnError onError = OnError::Report);

    /// Declares a field, a uniform or a sampler. Fields, uniforms and samplers are each numbered
    /// from 0 in the order of their declarations; the host's provider has the same position in
    /// `Bindings`. No two fields can have the same name, no two uniforms, and no two samplers.
    FieldHandle field(std::string_view name);
    UniformHandle uniform(std::string_view name);
    SamplerHandle sampler(std::string_view name);

    /// An instruction that does nothing and has no result.
    void nop();
    /// The absolute number of each element, as Int64.
    Register elementIndex();

    /// A constant of 1 to `mostScratchComponents` real numbers. A float format rounds fractions to
    /// its nearest number. Any other number that `format` cannot hold is refused; `fitOfReal`
    /// decides.
    Register constant(Format format, const std::vector<double>& components);
    /// A constant of 1 to `mostScratchComponents` whole numbers. They may be too large for a double
    /// to hold exactly. A number that `format` cannot hold is refused; `fitOfInteger` decides.
    Register integerConstant(Format format, const std::vector<std::int64_t>& components);
    /// A constant of one truth value. A truth constant cannot have several components.
    Register truthConstant(Truth value);

    /// A uniform of 1 to `mostScratchComponents` components.
    Register loadUniform(UniformHandle uniform, Format format, std::int32_t multiplicity = 1);
    /// A field at the element numbers in `index`, which has one component of Int32 or Int64.
    Register loadField(FieldHandle field, Register index, Format format,
                       std::int32_t multiplicity = 1);
    /// The sampler's value at `coordinates`.
    Register sample(SamplerHandle sampler, Register coordinates, Format format,
                    std::int32_t multiplicity = 1);

    /// Component `number` of `operand`, in the operand's format or in `format`.
    Register component(Register operand, std::int32_t number);
    Register component(Register operand, std::int32_t number, Format format);
    /// `operand`, which has one component, in another format.
    Register convert(Register operand, Format format);

    /// Without `format`, the result has the format of the operands; two operands of different
    /// formats are then an error. The operands have the same number of components, or one operand
    /// has a single component.
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

    /// Compare component by component. If one side has a single component, it is compared with each
    /// component of the other side. If that is the left side, the builder writes the mirrored
    /// comparison.
    Register less(Register left, Register right);
    Register lessEqual(Register left, Register right);
    Register greater(Register left, Register right);
    Register greaterEqual(Register left, Register right);
    Register equal(Register left, Register right);
    Register notEqual(Register left, Register right);

    /// Three-valued logic, on Tribool registers with the same number of components.
    Register logicalNot(Register operand);
    Register logicalAnd(Register left, Register right);
    Register logicalOr(Register left, Register right);
    Register isTrue(Register operand);

    /// For each component, `whenTrue` where the condition is true, `whenFalse` where it is false,
    /// and an invalid zero where it is unknown. The arms have the same number of components. The
    /// condition has the same number or a single component.
    Register select(Register condition, Register whenTrue, Register whenFalse);
    Register select(Register condition, Register whenTrue, Register whenFalse, Format format);

    /// Names or renames `value`; no two registers can have the same name. Returns `value`.
    Register name(Register value, std::string_view name);
    /// Marks `value` as an output of the program, and names it if `name` is given. Returns `value`.
    Register output(Register value, std::string_view name);
    Register output(Register value);

    /// Returns the finished program or the first error, and resets the builder.
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
