// What is known of a register's values before there is any data.
#include "value_facts.h"

#include <cmath>

namespace Fenlet {
namespace {

ValueFacts factsOfConstant(const Constant& constant) {
    ValueFacts facts;
    facts.canBeMissing = false;
    facts.canBeUnknown = constant.boolean == 255;
    facts.canBeStray = constant.boolean != 255 && constant.boolean > 1;
    facts.canBeNan = false;
    for (const double value : constant.reals)
        facts.canBeNan = facts.canBeNan || std::isnan(value);
    facts.canBeRawNan = facts.canBeNan;
    return facts;
}

/// A value that is copied, or converted to another kind.
ValueFacts factsOfCopy(CpuElementKind result, const KnownOperand& operand) {
    ValueFacts facts = operand.facts;
    facts.canBeNan = facts.canBeNan && isFloat(operand.kind);
    facts.canBeRawNan = facts.canBeNan && (facts.canBeRawNan || result != operand.kind);
    return facts;
}

ValueFacts factsOfArithmetic(OpCode op, CpuElementKind result, const KnownOperand (&operands)[3]) {
    ValueFacts facts;
    const bool dividesIntegers = op == OpCode::Divide && result == CpuElementKind::Int32;
    facts.canBeMissing =
        operands[0].facts.canBeMissing || operands[1].facts.canBeMissing || dividesIntegers;
    facts.canBeRawNan = false;
    return facts;
}

ValueFacts factsOfLogic(bool canBeMissing, bool canBeUnknown) {
    ValueFacts facts;
    facts.canBeMissing = canBeMissing;
    facts.canBeUnknown = canBeUnknown;
    facts.canBeStray = false;
    return facts;
}

ValueFacts factsOfSelect(CpuElementKind result, const KnownOperand (&operands)[3]) {
    const ValueFacts whenTrue = factsOfCopy(result, operands[1]);
    const ValueFacts whenFalse = factsOfCopy(result, operands[2]);
    const bool isEitherTaken = !operands[0].facts.canBeUnknown;
    ValueFacts facts;
    facts.canBeMissing = !isEitherTaken || whenTrue.canBeMissing || whenFalse.canBeMissing;
    facts.canBeUnknown = !isEitherTaken || whenTrue.canBeUnknown || whenFalse.canBeUnknown;
    facts.canBeStray = whenTrue.canBeStray || whenFalse.canBeStray;
    facts.canBeNan = whenTrue.canBeNan || whenFalse.canBeNan;
    facts.canBeRawNan = whenTrue.canBeRawNan || whenFalse.canBeRawNan;
    return facts;
}

ValueFacts factsOfAnyKind(OpCode op, CpuElementKind result, const KnownOperand (&operands)[3],
                          const Constant* constant) {
    const ValueFacts& left = operands[0].facts;
    const ValueFacts& right = operands[1].facts;
    switch (op) {
    case OpCode::Nop:
    case OpCode::LoadField:
    case OpCode::Sample:
        return {};
    case OpCode::ElementIndex:
    case OpCode::LoadUniform: {
        ValueFacts facts;
        facts.canBeMissing = false;
        return facts;
    }
    case OpCode::LoadConstant:
        return factsOfConstant(*constant);
    case OpCode::Component:
        return factsOfCopy(result, operands[0]);
    case OpCode::Negate: {
        ValueFacts facts = factsOfCopy(result, operands[0]);
        facts.canBeRawNan = facts.canBeNan;
        return facts;
    }
    case OpCode::Length: {
        ValueFacts facts = factsOfCopy(result, operands[0]);
        facts.canBeRawNan = false;
        return facts;
    }
    case OpCode::Add:
    case OpCode::Subtract:
    case OpCode::Multiply:
    case OpCode::Divide:
        return factsOfArithmetic(op, result, operands);
    case OpCode::Less:
    case OpCode::LessEqual:
    case OpCode::Greater:
    case OpCode::GreaterEqual:
    case OpCode::Equal:
    case OpCode::NotEqual:
        return factsOfLogic(false, left.canBeMissing || right.canBeMissing);
    case OpCode::IsTrue:
        return factsOfLogic(false, false);
    case OpCode::Not:
        return factsOfLogic(left.canBeMissing, left.canBeUnknown);
    case OpCode::And:
    case OpCode::Or:
        return factsOfLogic(left.canBeMissing || right.canBeMissing,
                            left.canBeUnknown || right.canBeUnknown);
    case OpCode::Select:
        return factsOfSelect(result, operands);
    }
    return {};
}

} // namespace

ValueFacts factsOfResult(OpCode op, CpuElementKind result, const KnownOperand (&operands)[3],
                         const Constant* constant) {
    ValueFacts facts = factsOfAnyKind(op, result, operands, constant);
    if (!isFloat(result)) {
        facts.canBeNan = false;
        facts.canBeRawNan = false;
    }
    return facts;
}

} // namespace Fenlet
