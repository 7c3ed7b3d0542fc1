// The evaluator: checks and plans a program once, then runs it block by block.
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
class ResolvedPlan;

/// The host's providers for one `evaluate`. Everything that it points to is borrowed for the call.
struct Bindings {
    /// `fieldCount` pointers, indexed by field number. May be null when there are none; an entry
    /// may be null when the program does not read that field.
    CpuFieldAccessor* const* fields = nullptr;
    std::int32_t fieldCount = 0;
    UniformSource* uniforms = nullptr; ///< serves all uniforms; may be null when none is read
    /// `samplerCount` pointers, indexed by sampler number, as for `fields`.
    FenletSampler* const* samplers = nullptr;
    std::int32_t samplerCount = 0;
};

/// Takes the finished blocks.
class FENLETEXEC_API BlockSink {
  public:
    virtual ~BlockSink();

    /// Called once for each block, after its last step. `registers` may be read during the call
    /// only: the next block overwrites it. `blockStart` is the absolute number of the block's first
    /// element, `count` the number of its elements. True means go on, false ends the run.
    virtual bool consume(const RegisterFile& registers, long long blockStart, int count) = 0;
};

/// Evaluates one program at a time. One thread uses an `Interpreter` at a time; several of them may
/// share a program.
///
/// An operation that cannot be done returns false, and `lastRefusal()` and `lastRefusalMessage()`
/// say why. A refused `configure` leaves no plan; a refused `evaluate` leaves the plan standing.
/// Only the allocator's exception can come out of `configure` by itself, and only a provider's or
/// the sink's own out of `evaluate`.
class Interpreter {
  public:
    /// One instruction as planned: what its registers are, looked up once. Slots of `operands`,
    /// `operandKinds` and `operandMultiplicities` from `arity` on hold their defaults.
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
        /// Operand 0 has one component and operand 1 another number: the one component meets each
        /// of operand 1's. Never set together with `rightScalar`, nor for equal multiplicities.
        bool leftScalar = false;
        bool rightScalar = false; ///< the same with the operands' roles exchanged
    };

    FENLETEXEC_API Interpreter();
    FENLETEXEC_API ~Interpreter();
    Interpreter(const Interpreter&) = delete;
    Interpreter& operator=(const Interpreter&) = delete;

    /// Checks and plans `program` for blocks of at most `blockSize` elements. The program is
    /// borrowed: it must stay alive and unchanged until the last `evaluate`. May be called at any
    /// time and any number of times; only the capacity of the arrays survives, so that repeating it
    /// for the same shape allocates nothing. Returns false when the program is refused.
    [[nodiscard]] FENLETEXEC_API bool configure(const FenletProgram& program, int blockSize);

    /// A temporary program would no longer exist when `evaluate` reads it.
    bool configure(const FenletProgram&& program, int blockSize) = delete;

    /// Runs the plan over the elements `first` to `first` + `count` - 1, block by block, and hands
    /// each block to `sink`. Returns true when the whole range went through, also for a `count`
    /// below 1. After a false, `lastRefusal()` is `None` when the sink ended the run.
    [[nodiscard]] FENLETEXEC_API bool evaluate(long long first, long long count,
                                               const Bindings& bindings, BlockSink& sink);

    /// Whether `bindings` has every provider that the plan needs. Refuses as a run does.
    FENLETEXEC_API bool checkBindings(const Bindings& bindings);

    /// Fills `step`, which must hold the defaults, from `instruction`. A plan must stand or be in
    /// the making. Refuses as `configure` does.
    FENLETEXEC_API bool planInstruction(const Instruction& instruction, Step& step);

    /// Whether `step` keeps the rules of its opcode that do not depend on data. A plan must stand
    /// or be in the making. Refuses as `configure` does.
    FENLETEXEC_API bool validateStep(const Step& step);

    /// Runs one step over the current block, whose first element has the number `blockStart`. A
    /// plan must stand. Refuses as a run does.
    FENLETEXEC_API bool runStep(const Step& step, const Bindings& bindings, long long blockStart);

    /// Stores the reason, throws the plan away and returns false. `message` is kept, not copied.
    FENLETEXEC_API bool refuseAtConfigure(ExecRefusal code, const char* message);

    /// Stores the reason, leaves the plan standing and returns false. `message` is kept, not
    /// copied.
    FENLETEXEC_API bool refuseAtRun(ExecRefusal code, const char* message);

    /// Whether a plan stands, so that `evaluate` may run.
    bool isConfigured() const { return configured; }
    /// Why the last `configure` or `evaluate` refused; `NotConfigured` for a new object.
    ExecRefusal lastRefusal() const { return refusal; }
    /// The refusal's words, null when there is none. The text has static lifetime.
    const char* lastRefusalMessage() const { return refusalMessage; }
    /// Steps entered since the last `configure`, over all blocks and runs.
    std::uint64_t executedSteps() const { return stepsExecuted; }
    /// The block memory.
    const RegisterFile& registerFile() const { return registers; }
    /// The planned steps, in program order; empty when no plan stands.
    const std::vector<Step>& plan() const { return steps; }

  private:
    bool runBlock(const ResolvedPlan& plan, const Bindings& bindings, long long blockStart,
                  BlockKnowledge& known);

    const FenletProgram* program = nullptr;
    std::vector<Step> steps;
    std::vector<std::int64_t> elementIndices;
    RegisterFile registers;
    bool configured = false;
    ExecRefusal refusal = ExecRefusal::NotConfigured;
    const char* refusalMessage = nullptr;
    std::uint64_t stepsExecuted = 0;
};

} // namespace Fenlet
