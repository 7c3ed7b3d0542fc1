// Three-valued logic on registers: Not, And, Or and IsTrue (Kleene 1952).
#pragma once

#include <cstdint>

namespace Fenlet {

/// One call over `lanes` bytes that hold 0 for false, 1 for true and 255 for unknown. Any areas may
/// overlap, and the result is then that of one lane at a time in ascending order.
struct LogicArgs {
    unsigned char* result;
    const unsigned char* left;
    const unsigned char* right; ///< null for `logicalNot`
    std::int64_t lanes;
};

/// Unknown stays unknown; 1 becomes 0; any other byte becomes 1.
void logicalNot(const LogicArgs& args);

/// False where either side is 0; else unknown where either is 255; else true, whatever the bytes.
void logicalAnd(const LogicArgs& args);

/// True where either side is 1; else unknown where either is 255; else false, whatever the bytes.
void logicalOr(const LogicArgs& args);

/// One call of `isTrue`, over `count` elements of `multiplicity` bytes and a validity byte each.
struct IsTrueArgs {
    unsigned char* result;
    unsigned char* resultValidity;
    const unsigned char* operand;
    const unsigned char* operandValidity; ///< null counts as all valid
    std::int32_t count;
    std::int32_t multiplicity;
};

/// 1 where the operand's byte is exactly 1 and its element valid, else 0. When all values are
/// written, every element of the result becomes valid.
void isTrue(const IsTrueArgs& args);

/// The loops behind the four.
struct BooleanKernels {
    void (*logicalNot)(const LogicArgs&);
    void (*logicalAnd)(const LogicArgs&);
    void (*logicalOr)(const LogicArgs&);
    void (*isTrue)(const IsTrueArgs&);
};

} // namespace Fenlet
