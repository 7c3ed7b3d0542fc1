// The evaluator: checks and plans a program once, then runs it block by block.
//
// A sink may call back into the interpreter that is running it. The run then goes on after the
// block just delivered:
// - After a successful `configure` it goes on with the new plan, in blocks that fit the new layout
//   and are no longer than before. The providers are not checked again before the run goes on; a
//   step whose provider is missing is refused.
// - After a refused `configure`, `evaluate` returns false and keeps the reason of that refusal. If
//   `configure` threw and the sink caught the exception, `evaluate` also returns false.
// - After an `evaluate` or `runStep` it goes on as if nothing had happened. The registers that the
//   sink is reading are overwritten.
//
// A provider should not call the interpreter, as a block is only half computed when a provider is
// called. If the provider calls `configure`, the memory that it was asked to fill may no longer
// exist, and the call of the provider counts as declined. If that `configure` was refused, the
// reason of that refusal stays. If the provider calls `evaluate` or `runStep`, they overwrite the
// registers, and the remaining values of the block are unspecified.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenletexec/exec_refusal.h>
#include <fenletexec/export.h>
#include <fenletexec/providers.h>
#include <fenletexec/register_file.h>
#include <fenletir/program.h>

#include <cstdint>
#include <vector>

namespace Fenlet {

class BlockKnowledge;
struct RegisterFacts;
struct ResolvedStep;

/// The host's providers for one `evaluate`. Everything it points to is borrowed for the call.
struct Bindings {
    /// `fieldCount` pointers, indexed by field number. May be null if there are none. An entry may
    /// be null if the program does not read that field.
    CpuFieldAccessor* const* fields = nullptr;
    std::int32_t fieldCount = 0;
    UniformSource* uniforms =
        nullptr; ///< serves all uniforms; may be null if the program reads none
    /// `samplerCount` pointers, indexed by sampler number. The array and its entries may be null as
    /// for `fields`.
    FenletSampler* const* samplers = nullptr;
    std::int32_t samplerCount = 0;
};

/// Receives the finished blocks.
class FENLETEXEC_API BlockSink {
  public:
    virtual ~BlockSink();

    /// Called once for each block, after its last step. `registers` may only be read during the
    /// call, as the next block overwrites it. `blockStart` is the absolute number of the block's
    /// first element, `count` the number of its elements. Returns true to go on and false to end
    /// the run.
    virtual bool consume(const RegisterFile& registers, long long blockStart, int count) = 0;
};

/// Evaluates one program at a time. Only one thread may use an `Interpreter` at a time. Several
/// interpreters may share a program.
///
/// An operation that fails returns false, and `lastRefusal()` and `lastRefusalMessage()` say why. A
/// refused `configure` leaves no plan. A refused `evaluate` keeps the plan. `configure` throws only
/// what the allocator and the standard containers throw; call it again after such an exception
/// before anything else. `evaluate` throws only what a provider or the sink throws.
class Interpreter {
  public:
    /// A planned instruction, with the kinds and multiplicities of its registers. The entries of
    /// `operands`, `operandKinds` and `operandMultiplicities` from `arity` on hold their defaults.
    struct Step {
        OpCode op = OpCode::Nop;
        std::int32_t result = noRegister;
        std::int32_t operands[3] = {noRegister, noRegister, noRegister};
        std::int32_t immediate = -1;
        CpuElementKind resultKind = CpuElementKind::Unsupported;
        CpuElementKind operandKinds[3] = {CpuElementKind::Unsupported, CpuElementKind::Unsupported,
                                          CpuElementKind::Unsupported};
        std::int32_t resultMultiplicity = 1;
        std::int32_t operandMultiplicities[3] = {1, 1, 1};
        std::int32_t arity = 0;
        /// Operand 0 has one component and operand 1 has several: the one component is paired with
        /// each of the others. `leftScalar` and `rightScalar` are never both set.
        bool leftScalar = false;
        bool rightScalar = false; ///< the same with the operands exchanged
    };

    FENLETEXEC_API Interpreter();
    FENLETEXEC_API ~Interpreter();
    Interpreter(const Interpreter&) = delete;
    Interpreter& operator=(const Interpreter&) = delete;

    /// Checks and plans `program` for blocks of at most `blockSize` elements. The program is
    /// borrowed: it must stay alive and unchanged until the last `evaluate`. May be called any
    /// number of times. Each call starts afresh but keeps allocated memory, so a call for a program
    /// and block size no larger than before allocates nothing. Returns false if the program is
    /// refused.
    [[nodiscard]] FENLETEXEC_API bool configure(const FenletProgram& program, int blockSize);

    /// A temporary program would no longer exist when `evaluate` reads it.
    bool configure(const FenletProgram&& program, int blockSize) = delete;

    /// Runs the plan over the elements `first` to `first` + `count` - 1, block by block, and hands
    /// each block to `sink`. Allocates nothing. Returns true after the whole range. If `count` is
    /// below 1, the range is empty. If the sink ended the run, returns false with `lastRefusal()`
    /// at `None`.
    [[nodiscard]] FENLETEXEC_API bool evaluate(long long first, long long count,
                                               const Bindings& bindings, BlockSink& sink);

    /// Returns whether `bindings` has every provider that the plan needs. Refuses like `evaluate`.
    FENLETEXEC_API bool checkBindings(const Bindings& bindings);

    /// Fills `step`, which must hold the defaults, from `instruction`. Needs a configured
    /// interpreter. Refuses like `configure`.
    FENLETEXEC_API bool planInstruction(const Instruction& instruction, Step& step);

    /// Returns whether `step` follows those rules of its opcode that do not depend on data. Needs a
    /// configured interpreter. Refuses like `configure`.
    FENLETEXEC_API bool validateStep(const Step& step);

    /// Runs any one step over the current block, whose first element has the number `blockStart`.
    /// Needs a configured interpreter. Refuses like `evaluate`.
    FENLETEXEC_API bool runStep(const Step& step, const Bindings& bindings, long long blockStart);

    /// Stores the reason, discards the plan and returns false. `message` must have static lifetime:
    /// it is not copied.
    FENLETEXEC_API bool refuseAtConfigure(ExecRefusal code, const char* message);

    /// Stores the reason, keeps the plan and returns false. `message` must have static lifetime: it
    /// is not copied.
    FENLETEXEC_API bool refuseAtRun(ExecRefusal code, const char* message);

    /// Whether there is a plan for `evaluate` to run.
    bool isConfigured() const { return configured; }
    /// Why the last `configure` or `evaluate` refused; `NotConfigured` for a new object.
    ExecRefusal lastRefusal() const { return refusal; }
    /// The refusal in words, null if there is none. The text has static lifetime.
    const char* lastRefusalMessage() const { return refusalMessage; }
    /// Steps begun since the last `configure`, over all blocks and runs.
    std::uint64_t executedSteps() const { return stepsExecuted; }
    /// The block memory.
    const RegisterFile& registerFile() const { return registers; }
    /// The planned steps, in program order. Empty if there is no plan.
    const std::vector<Step>& plan() const { return steps; }

  private:
    bool layOutRegisters(int blockSize);
    bool planSteps();
    bool runBlock(const Bindings& bindings, long long blockStart, BlockKnowledge& known);
    bool refuseStep(ExecRefusal code, const char* message, std::uint64_t planOfRun);

    const FenletProgram* program = nullptr;
    std::vector<Step> steps;
    std::vector<std::int64_t> elementIndices;
    RegisterFile registers;
    bool configured = false;
    ExecRefusal refusal = ExecRefusal::NotConfigured;
    const char* refusalMessage = nullptr;
    std::uint64_t stepsExecuted = 0;
    /// What a run needs besides the steps: the memory and kernel of each step, and space for facts
    /// about each register. `configure` allocates both, so that a run allocates nothing.
    std::vector<ResolvedStep> resolvedSteps;
    std::vector<RegisterFacts> registerFacts;
    /// Increases whenever the plan changes. A run compares it to find out whether its sink or a
    /// provider has changed the plan.
    std::uint64_t planNumber = 0;
    /// The last `configure` threw before the plan was complete.
    bool planIncomplete = false;
};

} // namespace Fenlet
