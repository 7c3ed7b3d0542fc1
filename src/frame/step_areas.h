// Where the registers of a step lie, looked up once.
#pragma once

#include <fenletexec/interpreter.h>

namespace Fenlet {

/// Null for an operand that the step does not have. Holds as long as the layout does.
struct StepAreas {
    unsigned char* result = nullptr;
    unsigned char* resultValidity = nullptr;
    const unsigned char* operands[3] = {};
    const unsigned char* operandValidity[3] = {};
};

inline StepAreas areasOf(const Interpreter::Step& step, RegisterFile& registers) {
    StepAreas areas;
    areas.result = registers.data(step.result);
    areas.resultValidity = registers.validity(step.result);
    for (int slot = 0; slot < 3; ++slot) {
        areas.operands[slot] = registers.data(step.operands[slot]);
        areas.operandValidity[slot] = registers.validity(step.operands[slot]);
    }
    return areas;
}

} // namespace Fenlet
