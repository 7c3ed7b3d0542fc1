// What came of a program, in a sentence for a person.
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

/// Says in one sentence what came of the last `configure` of `interpreter`, which got `program`. If
/// the program was refused, the sentence has the refusal's words, the place in the program, and
/// what would be right there.
///
/// For an interpreter that was never configured it says so. Any program may be passed: if it is not
/// the one that was refused, the sentence names no place, or the wrong one, and nothing worse
/// happens. Throws only the allocator's exception.
FENLETHOSTS_API std::string describeOutcome(const Interpreter& interpreter,
                                            const FenletProgram& program);

/// Says in one sentence what came of `call`, the last `evaluate` of `interpreter`:
///
///     const EvaluateCall call{0, count, bindings};
///     if (!interpreter.evaluate(call.first, call.count, call.bindings, sink))
///         std::puts(describeOutcome(interpreter, program, call).c_str());
///
/// If the run was refused, the sentence has the refusal's words, the step with its registers, the
/// name of the provider and what was asked of it, and the block with its elements. If the sink
/// ended the run, it names the block after which that happened. If no plan stands, it says the same
/// as for `configure`.
///
/// `program` is the one that `configure` got, unchanged. Between the start of the call and this
/// function nobody else may have used the interpreter. If a provider or the sink did so, the
/// numbers of steps tell nothing: the sentence is then without the place, or names the wrong one if
/// they look right by chance. Throws only the allocator's exception.
FENLETHOSTS_API std::string describeOutcome(const Interpreter& interpreter,
                                            const FenletProgram& program, const EvaluateCall& call);

} // namespace Fenlet
