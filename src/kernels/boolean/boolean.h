// Three-valued logic on registers: Not, And, Or and IsTrue (Kleene 1952).
#pragma once

#include <cstdint>

namespace Fenlet {

/// The arguments of Not, And and Or, for `lanes` bytes of 0 (false), 1 (true) or 255 (unknown).
/// Areas may overlap: the result is then as if lanes were processed one at a time, in ascending
/// order.
struct LogicArgs {
    unsigned char* result;
    const unsigned char* left;
    const unsigned char* right; ///< null for `logicalNot`
    std::int64_t lanes;
};

/// 255 (unknown) stays 255; 1 becomes 0; any other byte becomes 1.
void logicalNot(const LogicArgs& args);

/// False where either side is 0; else unknown where either side is 255; else true, even for bytes
/// other than 1.
void logicalAnd(const LogicArgs& args);

/// True where either side is 1; else unknown where either side is 255; else false, even for bytes
/// other than 0.
void logicalOr(const LogicArgs& args);

/// The arguments of `isTrue`, for `count` elements of `multiplicity` bytes. Each element has a
/// validity byte.
struct IsTrueArgs {
    unsigned char* result;
    unsigned char* resultValidity;
    const unsigned char* operand;
    const unsigned char* operandValidity; ///< null counts as all valid
    std::int32_t count;
    std::int32_t multiplicity;
};

/// Stores 1 where the operand's byte is exactly 1 and its element is valid, otherwise 0. Afterwards
/// makes all elements of the result valid.
void isTrue(const IsTrueArgs& args);

/// The loops that these four functions run, in one instruction set.
struct BooleanKernels {
    void (*logicalNot)(const LogicArgs&);
    void (*logicalAnd)(const LogicArgs&);
    void (*logicalOr)(const LogicArgs&);
    void (*isTrue)(const IsTrueArgs&);
};

} // namespace Fenlet
