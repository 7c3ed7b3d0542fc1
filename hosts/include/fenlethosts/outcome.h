// Describes the outcome of `configure` or `evaluate` in a sentence for a person.
#pragma once

#include <fenletexec/interpreter.h>
#include <fenlethosts/export.h>
#include <fenletir/program.h>

#include <cstdint>
#include <string>

namespace Fenlet {

/// One call of `Interpreter::evaluate`: what went into it, and what it returned.
struct EvaluateCall {
    long long first = 0;
    long long count = 0;
    Bindings bindings;
    /// `executedSteps()` right before the call. 0 is right for the first run after `configure`.
    std::uint64_t stepsBefore = 0;
    bool returned = false;
};

/// Describes in one sentence the outcome of the last `configure` of `interpreter`, which was given
/// `program`. If the program was refused, the sentence has the refusal's words, the place in the
/// program, and what would be right there.
///
/// For an interpreter that was never configured it says so. Any program may be passed: if it is not
/// the one that was refused, the sentence names no place, or the wrong one, and nothing worse
/// happens. Throws only the allocator's exception.
FENLETHOSTS_API std::string describeOutcome(const Interpreter& interpreter,
                                            const FenletProgram& program);

/// Describes in one sentence the outcome of `call`, the last `evaluate` of `interpreter`:
///
///     const EvaluateCall call{0, count, bindings};
///     if (!interpreter.evaluate(call.first, call.count, call.bindings, sink))
///         std::puts(describeOutcome(interpreter, program, call).c_str());
///
/// If the run was refused, the sentence has the refusal's words, the step with its registers, the
/// name of the provider and what was asked of it, and the block with its elements. If the sink
/// ended the run, it names the block after which that happened. If there is no plan, it says the
/// same as for `configure`.
///
/// `program` must be the one that `configure` was given, unchanged. Nothing else may use the
/// interpreter between the start of the call and this function. If a provider or the sink did, the
/// step counts do not show where the run ended: the sentence then names no place, or by chance a
/// wrong one. Throws only the allocator's exception.
FENLETHOSTS_API std::string describeOutcome(const Interpreter& interpreter,
                                            const FenletProgram& program, const EvaluateCall& call);

} // namespace Fenlet
