// The rules of each opcode that do not depend on data: those for immediates, kinds and component
// counts.
//
// `validateStep` applies them when a plan is made. The code that runs an opcode applies them again
// each time, as `runStep` accepts any step and the program may have changed since it was planned.
// Each of the two decides which rules an opcode has. They cannot share this decision, because a run
// also checks for missing providers between the rules, in an order that is fixed for each opcode.
//
// Other rules are elsewhere. Planning (`plan.cpp`) checks the rules that are the same for all
// opcodes: register numbers, arity, and whether the operands' multiplicities fit together.
// `provider_steps.cpp` checks for missing providers, before a run and again in each step. Only the
// kernel families know whether there is a kernel for a step's kinds; a step without one is refused
// when it runs.
#pragma once

#include "vocabulary/faults.h"

#include <fenletexec/interpreter.h>

namespace Fenlet::StepRules {

using Step = Interpreter::Step;

template <class Entry>
bool indexes(std::int32_t index, const std::vector<Entry>& pool) {
    return index >= 0 && static_cast<std::size_t>(index) < pool.size();
}

inline bool isTribool(CpuElementKind kind) {
    return kind == CpuElementKind::Tribool;
}

inline Fault elementIndex(const Step& step) {
    return step.resultKind == CpuElementKind::Int64 ? Faults::none : Faults::elementIndexKind;
}

// The limit applies to the constant's components, not to the register's: the scratch buffer holds
// the constant.
inline Fault constant(const Step& step, const FenletProgram& program) {
    if (!indexes(step.immediate, program.constants))
        return Faults::constantIndex;
    const Constant& constant = program.constants[static_cast<std::size_t>(step.immediate)];
    return constant.multiplicity <= mostScratchComponents ? Faults::none
                                                          : Faults::constantMultiplicity;
}

// The limit applies to the register's components: the host writes that many components into the
// scratch buffer.
inline Fault uniform(const Step& step, const FenletProgram& program) {
    if (!indexes(step.immediate, program.uniforms))
        return Faults::uniformIndex;
    return step.resultMultiplicity <= mostScratchComponents ? Faults::none
                                                            : Faults::uniformMultiplicity;
}

inline Fault field(const Step& step, const FenletProgram& program) {
    return indexes(step.immediate, program.fields) ? Faults::none : Faults::fieldIndex;
}

inline Fault fieldIndexOperand(const Step& step) {
    const CpuElementKind kind = step.operandKinds[0];
    const bool isInteger = kind == CpuElementKind::Int32 || kind == CpuElementKind::Int64;
    return step.arity <= 0 || isInteger ? Faults::none : Faults::fieldIndexKind;
}

inline Fault sampler(const Step& step, const FenletProgram& program) {
    return indexes(step.immediate, program.samplers) ? Faults::none : Faults::samplerIndex;
}

inline Fault component(const Step& step) {
    const bool inside = step.immediate >= 0 && step.immediate < step.operandMultiplicities[0];
    return inside ? Faults::none : Faults::componentIndex;
}

inline Fault notOrIsTrue(const Step& step) {
    const bool fits = isTribool(step.resultKind) && isTribool(step.operandKinds[0]);
    return fits ? Faults::none : Faults::notKinds;
}

// The kernels decide which operand kinds are supported. No kernel takes a scalar left operand: a
// program must use the mirrored comparison, with the scalar on the right.
inline Fault comparison(const Step& step) {
    if (!isTribool(step.resultKind))
        return Faults::comparisonKind;
    return step.leftScalar ? Faults::scalarLeft : Faults::none;
}

inline Fault andOr(const Step& step) {
    const bool fits = isTribool(step.resultKind) && isTribool(step.operandKinds[0]) &&
                      isTribool(step.operandKinds[1]);
    return fits ? Faults::none : Faults::andKinds;
}

// The kernels decide which kinds of arms are supported.
inline Fault select(const Step& step) {
    if (!isTribool(step.operandKinds[0]))
        return Faults::conditionKind;
    const std::int32_t condition = step.operandMultiplicities[0];
    const bool fits = condition == 1 || condition == step.resultMultiplicity;
    return fits ? Faults::none : Faults::conditionMultiplicity;
}

} // namespace Fenlet::StepRules
