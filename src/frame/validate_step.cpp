// The last pass of planning: the rules of each opcode that depend on no data.
#include "frame/step_rules.h"

#include <fenletexec/interpreter.h>

namespace Fenlet {
namespace {

Fault findFault(const Interpreter::Step& step, const FenletProgram& program) {
    switch (step.op) {
    case OpCode::ElementIndex:
        return StepRules::elementIndex(step);
    case OpCode::LoadConstant:
        return StepRules::constant(step, program);
    case OpCode::LoadUniform:
        return StepRules::uniform(step, program);
    case OpCode::LoadField:
        if (const Fault fault = StepRules::field(step, program))
            return fault;
        return StepRules::fieldIndexOperand(step);
    case OpCode::Sample:
        return StepRules::sampler(step, program);
    case OpCode::Component:
        return StepRules::component(step);
    case OpCode::Not:
    case OpCode::IsTrue:
        return StepRules::notOrIsTrue(step);
    case OpCode::Less:
    case OpCode::LessEqual:
    case OpCode::Greater:
    case OpCode::GreaterEqual:
    case OpCode::Equal:
    case OpCode::NotEqual:
        return StepRules::comparison(step);
    case OpCode::And:
    case OpCode::Or:
        return StepRules::andOr(step);
    case OpCode::Select:
        return StepRules::select(step);
    // No rules here: only the kernels know which kinds these opcodes support. An unknown opcode is
    // refused when it runs.
    case OpCode::Nop:
    case OpCode::Negate:
    case OpCode::Length:
    case OpCode::Add:
    case OpCode::Subtract:
    case OpCode::Multiply:
    case OpCode::Divide:
        break;
    }
    return Faults::none;
}

} // namespace

bool Interpreter::validateStep(const Step& step) {
    if (const Fault fault = findFault(step, *program))
        return refuseAtConfigure(fault.code, fault.message);
    return true;
}

} // namespace Fenlet
