// The steps of an array run.
#include "bound_step.h"

#include <cstring>

namespace Fenlet::Steps {
namespace {

std::int64_t lanes(const BoundStep& step, const Block& block) {
    return std::int64_t{block.count} * step.multiplicity;
}

/// Where a step writes validity: to the result, or to a scratch place if nothing reads it.
unsigned char* validityOf(const BoundStep& step, const Place* places) {
    return step.scratch == noPlace ? places[step.result].validity : places[step.scratch].data;
}

bool areZeroOrOne(const unsigned char* bytes, std::int64_t count) {
    unsigned char bits = 0;
    for (std::int64_t i = 0; i < count; ++i)
        bits |= bytes[i];
    return bits <= 1;
}

SelectArgs selectArgs(const BoundStep& step, const Place* places, const Block& block) {
    const Place& whenTrue = places[step.operands[1]];
    const Place& whenFalse = places[step.operands[2]];
    return {places[step.result].data,
            validityOf(step, places),
            places[step.operands[0]].data,
            step.operandMultiplicity,
            whenTrue.data,
            whenTrue.validity,
            whenFalse.data,
            whenFalse.validity,
            block.count,
            step.multiplicity};
}

} // namespace

bool combineValidity(const BoundStep& step, Place* places, const Block& block) {
    const unsigned char* left = places[step.operands[0]].validity;
    const unsigned char* right = places[step.operands[1]].validity;
    left = left == nullptr ? right : left;
    right = right == nullptr ? left : right;
    if (left == nullptr)
        return allValid(step, places, block);
    bothValid(places[step.result].validity, left, right, block.count);
    return true;
}

bool allValid(const BoundStep& step, Place* places, const Block& block) {
    std::memset(places[step.result].validity, 1, static_cast<std::size_t>(block.count));
    return true;
}

bool elementIndex(const BoundStep& step, Place* places, const Block& block) {
    countUp(places[step.result].data, block.first, block.count);
    return true;
}

bool constant(const BoundStep& step, Place* places, const Block& block) {
    return !loadConstant(*step.work.constant, step.resultKind, places[step.result].data,
                         block.count, step.multiplicity, false);
}

bool spread(const BoundStep& step, Place* places, const Block& block) {
    return broadcastValue(places[step.result].data, step.resultKind, places[step.operands[0]].data,
                          block.count, step.multiplicity);
}

bool arrayAtOwnNumbers(const BoundStep& step, Place* places, const Block& block) {
    return step.work.field->read({places[step.result].data, validityOf(step, places),
                                  step.resultKind, step.multiplicity, &block.first, true,
                                  block.count});
}

bool locateArray(const BoundStep& step, Place* places, const Block& block) {
    const ArrayLayout& layout = step.work.located->layout();
    Place& result = places[step.result];
    const FlatRun values = layout.flatRun(block.first, block.count, layout.elementBytes());
    const FlatRun presence = layout.flatPresence(block.first, block.count);
    if (values.count == block.count && (!layout.hasPresence() || presence.count == block.count) &&
        (layout.kind() != ArrayKind::Bool || areZeroOrOne(values.data, lanes(step, block)))) {
        // The array is not written: a step only writes to its result, and this step is the only one
        // that has this result.
        result.data = const_cast<unsigned char*>(values.data);
        result.validity = const_cast<unsigned char*>(presence.data);
        return true;
    }
    result = places[step.scratch];
    std::memset(result.validity, 1, static_cast<std::size_t>(block.count));
    const bool isRead =
        step.work.located->read({result.data, result.validity, step.resultKind, step.multiplicity,
                                 &block.first, true, block.count});
    if (!step.canBeMissing)
        result.validity = nullptr;
    return isRead;
}

bool fieldAtOwnNumbers(const BoundStep& step, Place* places, const Block& block) {
    const Place& result = places[step.result];
    const auto* const numbers =
        static_cast<const std::int64_t*>(static_cast<const void*>(places[step.operands[0]].data));
    return step.work.field->read({result.data, result.validity, step.resultKind, step.multiplicity,
                                  numbers, true, block.count});
}

bool fieldByNumber(const BoundStep& step, Place* places, const Block& block) {
    const Place& result = places[step.result];
    const Place& operand = places[step.operands[0]];
    // Element numbers are read in place, unless they have 32 bits, the result overwrites them, or
    // they lie in an array and perhaps not aligned.
    unsigned char* const bytes = step.scratch == noPlace ? operand.data : places[step.scratch].data;
    auto* const numbers = static_cast<std::int64_t*>(static_cast<void*>(bytes));
    if (step.scratch != noPlace)
        copyIndices(numbers, operand.data, step.operandKind, block.count);
    return step.work.field->read({result.data, result.validity, step.resultKind, step.multiplicity,
                                  numbers, isContiguous(numbers, operand.validity, block.count),
                                  block.count});
}

bool gather(const BoundStep& step, Place* places, const Block& block) {
    const Place& result = places[step.result];
    const Place& numbers = places[step.operands[0]];
    step.work.located->gather(result.data, result.validity, numbers.data, numbers.validity,
                              block.count);
    return true;
}

bool sample(const BoundStep& step, Place* places, const Block& block) {
    const Place& result = places[step.result];
    const unsigned char* coordinates = places[step.operands[0]].data;
    if (step.scratch != noPlace) {
        const std::int64_t bytes =
            std::int64_t{elementSize(step.operandKind)} * step.operandMultiplicity * block.count;
        std::memcpy(places[step.scratch].data, coordinates, static_cast<std::size_t>(bytes));
        coordinates = places[step.scratch].data;
    }
    return step.work.sampler->sample(coordinates, step.operandKind, step.operandMultiplicity,
                                     result.data, step.resultKind, step.multiplicity,
                                     result.validity, block.count);
}

bool component(const BoundStep& step, Place* places, const Block& block) {
    step.work.component({places[step.result].data, places[step.operands[0]].data, block.count,
                         step.operandMultiplicity, step.immediate});
    return true;
}

bool unary(const BoundStep& step, Place* places, const Block& block) {
    step.work.unary({places[step.result].data, places[step.operands[0]].data, block.count,
                     step.operandMultiplicity});
    return true;
}

bool flatArithmetic(const BoundStep& step, Place* places, const Block& block) {
    step.work.flat(places[step.result].data, places[step.operands[0]].data,
                   places[step.operands[1]].data, lanes(step, block));
    return true;
}

bool arithmeticPair(const BoundStep& step, Place* places, const Block& block) {
    step.work.pair(places[step.result].data, places[step.operands[0]].data,
                   places[step.operands[1]].data, places[step.operands[2]].data,
                   lanes(step, block));
    return true;
}

bool arithmetic(const BoundStep& step, Place* places, const Block& block) {
    step.work.arithmetic({places[step.result].data, places[step.result].validity,
                          places[step.operands[0]].data, places[step.operands[1]].data, block.count,
                          step.multiplicity, step.leftScalar, step.rightScalar,
                          static_cast<ArithmeticOp>(step.immediate)});
    return true;
}

bool flatDivision(const BoundStep& step, Place* places, const Block& block) {
    step.work.flatDivision(places[step.result].data, places[step.result].validity,
                           places[step.operands[0]].data, places[step.operands[0]].validity,
                           places[step.operands[1]].data, places[step.operands[1]].validity,
                           block.count);
    return true;
}

bool comparison(const BoundStep& step, Place* places, const Block& block) {
    step.work.comparison({places[step.result].data, places[step.operands[0]].data,
                          places[step.operands[0]].validity, places[step.operands[1]].data,
                          places[step.operands[1]].validity, block.count, step.multiplicity,
                          step.rightScalar, static_cast<std::uint32_t>(step.immediate)});
    return true;
}

bool flatComparison(const BoundStep& step, Place* places, const Block& block) {
    step.work.flatComparison(places[step.result].data, places[step.operands[0]].data,
                             places[step.operands[0]].validity, places[step.operands[1]].data,
                             places[step.operands[1]].validity, lanes(step, block));
    return true;
}

bool logic(const BoundStep& step, Place* places, const Block& block) {
    step.work.logic({places[step.result].data, places[step.operands[0]].data,
                     places[step.operands[1]].data, lanes(step, block)});
    return true;
}

bool isTrue(const BoundStep& step, Place* places, const Block& block) {
    Fenlet::isTrue({places[step.result].data, validityOf(step, places),
                    places[step.operands[0]].data, places[step.operands[0]].validity, block.count,
                    step.multiplicity});
    return true;
}

bool select(const BoundStep& step, Place* places, const Block& block) {
    step.work.select(selectArgs(step, places, block));
    return true;
}

bool flatSelect(const BoundStep& step, Place* places, const Block& block) {
    step.work.flatSelect(selectArgs(step, places, block));
    return true;
}

bool knownSelect(const BoundStep& step, Place* places, const Block& block) {
    step.work.knownSelect(places[step.result].data, places[step.operands[0]].data,
                          places[step.operands[1]].data, places[step.operands[2]].data,
                          lanes(step, block));
    return true;
}

bool comparedSelect(const BoundStep& step, Place* places, const Block& block) {
    step.work.comparedSelect(places[step.result].data, places[step.operands[0]].data,
                             places[step.scratch].data, places[step.operands[1]].data,
                             places[step.operands[2]].data, lanes(step, block));
    return true;
}

} // namespace Fenlet::Steps
