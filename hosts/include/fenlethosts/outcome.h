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
/// `program`. If the program was refused, the sentence has the message of the refusal, the place in
/// the program, and what would be right there.
///
/// If the interpreter was never configured, the sentence says so. Any program may be passed: if it
/// is not the refused program, the sentence names no place or a wrong place, and nothing worse
/// happens. Throws only the allocator's exception.
FENLETHOSTS_API std::string describeOutcome(const Interpreter& interpreter,
                                            const FenletProgram& program);

/// Describes in one sentence the outcome of `call`, the last `evaluate` of `interpreter`:
///
///     const EvaluateCall call{0, count, bindings};
///     if (!interpreter.evaluate(call.first, call.count, call.bindings, sink))
///         std::puts(describeOutcome(interpreter, program, call).c_str());
///
/// If the run was refused, the sentence has the message of the refusal, the step with its
/// registers, the name of the provider and what it was asked for, and the block with its elements.
/// If the sink ended the run, the sentence names the last block. If there is no plan, the sentence
/// is the one for the last `configure`.
///
/// `program` must be the program that `configure` was given, unchanged. Nothing else may use the
/// interpreter between the start of the call and this function. If a provider or the sink did, the
/// step counts do not show where the run ended: the sentence then names no place, or by chance a
/// wrong one. Throws only the allocator's exception.
FENLETHOSTS_API std::string describeOutcome(const Interpreter& interpreter,
                                            const FenletProgram& program, const EvaluateCall& call);

} // namespace Fenlet
