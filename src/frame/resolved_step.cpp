// Looking up what a step needs to run.
#include "frame/resolved_step.h"

#include "frame/step_rules.h"

namespace Fenlet {
namespace {

/// The registers of one layout, for many lookups.
class Registers {
  public:
    explicit Registers(RegisterFile& file)
        : count(static_cast<unsigned>(file.registerCount())), elements(file.elementCapacity()) {
        if (count == 0)
            return;
        slots = &file.slotOf(0);
        storage = file.data(0) - slots->dataOffset;
    }

    bool has(int number) const { return static_cast<unsigned>(number) < count; }

    /// Whether there is a register of this kind and multiplicity.
    bool has(int number, CpuElementKind kind, int multiplicity) const {
        return has(number) && slots[number].spec.kind == kind &&
               slots[number].spec.multiplicity == multiplicity;
    }

    /// Stores where the register's areas are. Does not change the pointers if there is no such
    /// register.
    template <class Byte>
    void locate(int number, Byte*& data, Byte*& validity) const {
        if (!has(number))
            return;
        data = storage + slots[number].dataOffset;
        validity = storage + slots[number].validityOffset;
    }

    /// The number of elements that every register has room for.
    int elementCapacity() const { return elements; }

  private:
    const RegisterSlot* slots = nullptr;
    unsigned char* storage = nullptr;
    unsigned count;
    int elements;
};

/// Whether a step with two operands can run as one loop over lanes. This needs three registers with
/// the kinds and component counts that the step states, the same number of components in each, and
/// no more lanes in a block than `mostFlatLanes`. Areas of different registers never overlap, so
/// the lanes are then independent. The loop may read all lanes: every register has memory for a
/// whole block, which is zeroed when it is laid out.
bool goesLaneByLane(const Interpreter::Step& step, const Registers& registers) {
    const auto fits = [&](int number, CpuElementKind kind, int multiplicity) {
        return multiplicity == step.resultMultiplicity && registers.has(number, kind, multiplicity);
    };
    return fits(step.result, step.resultKind, step.resultMultiplicity) &&
           fits(step.operands[0], step.operandKinds[0], step.operandMultiplicities[0]) &&
           fits(step.operands[1], step.operandKinds[1], step.operandMultiplicities[1]) &&
           !step.leftScalar && !step.rightScalar &&
           std::int64_t{registers.elementCapacity()} * step.resultMultiplicity <= mostFlatLanes;
}

/// Whether all components of an element have one condition, and the registers are as the step
/// describes them, with arms like the result. Both arms may then be read as a whole, for the same
/// reason. An arm must not be the result: its validity is then overwritten before the kernel runs,
/// and that shows in the result.
bool selectsFlat(const Interpreter::Step& step, const Registers& registers) {
    const auto isLikeResult = [&](int number) {
        return registers.has(number, step.resultKind, step.resultMultiplicity);
    };
    return step.operandMultiplicities[0] == 1 &&
           registers.has(step.operands[0], CpuElementKind::Tribool, 1) &&
           isLikeResult(step.result) && isLikeResult(step.operands[1]) &&
           isLikeResult(step.operands[2]) && step.operandKinds[1] == step.resultKind &&
           step.operandKinds[2] == step.resultKind && step.result != step.operands[1] &&
           step.result != step.operands[2];
}

/// Whether a step divides `Int32` registers of one component.
bool dividesIntegers(const Interpreter::Step& step) {
    constexpr CpuElementKind integer = CpuElementKind::Int32;
    return step.op == OpCode::Divide && step.arity == 2 && step.resultMultiplicity == 1 &&
           step.resultKind == integer && step.operandKinds[0] == integer &&
           step.operandKinds[1] == integer;
}

void findArithmetic(const Interpreter::Step& step, const Registers& registers,
                    ResolvedStep& resolved) {
    const CpuElementKind result = step.resultKind;
    const CpuElementKind* const operands = step.operandKinds;
    const bool isLaneByLane = goesLaneByLane(step, registers);
    if (isLaneByLane)
        resolved.flatArithmetic =
            flatArithmetic(arithmeticOp(step.op), result, operands[0], operands[1]);
    const FlatDivision division = isLaneByLane && dividesIntegers(step) ? flatDivision() : nullptr;
    resolved.isFlat = division != nullptr;
    if (resolved.isFlat)
        resolved.flatDivision = division;
    else if (resolved.flatArithmetic == nullptr)
        resolved.arithmetic = arithmeticKernel(result, operands[0], operands[1]);
}

void findComparison(const Interpreter::Step& step, const Registers& registers,
                    ResolvedStep& resolved) {
    const CpuElementKind left = step.operandKinds[0];
    const CpuElementKind right = step.operandKinds[1];
    const bool fits = step.resultMultiplicity == 1 && !StepRules::comparison(step) &&
                      goesLaneByLane(step, registers);
    const FlatComparison flat = fits ? flatComparison(predicateOf(step.op), left, right) : nullptr;
    resolved.isFlat = flat != nullptr;
    if (resolved.isFlat)
        resolved.flatComparison = flat;
    else
        resolved.comparison = comparisonKernel(left, right);
}

void findSelect(const Interpreter::Step& step, const Registers& registers, ResolvedStep& resolved) {
    const bool fits = !StepRules::select(step) && selectsFlat(step, registers);
    const FlatSelect flat = fits ? flatSelect(step.resultKind, step.resultMultiplicity) : nullptr;
    resolved.isFlat = flat != nullptr;
    if (resolved.isFlat)
        resolved.flatSelect = flat;
    else
        resolved.select = selectKernel(step.resultKind, step.operandKinds[1], step.operandKinds[2]);
}

void findKernel(const Interpreter::Step& step, const Registers& registers, ResolvedStep& resolved) {
    const CpuElementKind result = step.resultKind;
    const CpuElementKind* const operands = step.operandKinds;
    switch (step.op) {
    case OpCode::Component:
        resolved.component = componentKernel(result, operands[0]);
        return;
    case OpCode::Negate:
        resolved.unary = unaryKernel(UnaryOp::Negate, result, operands[0]);
        return;
    case OpCode::Length:
        resolved.unary = unaryKernel(UnaryOp::Length, result, operands[0]);
        return;
    case OpCode::Add:
    case OpCode::Subtract:
    case OpCode::Multiply:
    case OpCode::Divide:
        findArithmetic(step, registers, resolved);
        return;
    case OpCode::Less:
    case OpCode::LessEqual:
    case OpCode::Greater:
    case OpCode::GreaterEqual:
    case OpCode::Equal:
    case OpCode::NotEqual:
        findComparison(step, registers, resolved);
        return;
    case OpCode::Select:
        findSelect(step, registers, resolved);
        return;
    default:
        return;
    }
}

void resolveInto(ResolvedStep& resolved, const Interpreter::Step& step,
                 const Registers& registers) {
    registers.locate(step.result, resolved.result, resolved.resultValidity);
    for (int slot = 0; slot < 3; ++slot)
        registers.locate(step.operands[slot], resolved.operands[slot],
                         resolved.operandValidity[slot]);
    findKernel(step, registers, resolved);
}

} // namespace

ResolvedStep resolve(const Interpreter::Step& step, RegisterFile& registers) {
    ResolvedStep resolved;
    resolveInto(resolved, step, Registers(registers));
    return resolved;
}

void resolveAll(const std::vector<Interpreter::Step>& steps, RegisterFile& registers,
                std::vector<ResolvedStep>& resolved) {
    const Registers known(registers);
    for (const Interpreter::Step& step : steps)
        resolveInto(resolved.emplace_back(), step, known);
}

} // namespace Fenlet
