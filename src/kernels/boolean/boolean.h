// Three-valued logic on registers: Not, And, Or and IsTrue (Kleene 1952).
#pragma once

#include <cstdint>

namespace Fenlet {

/// The arguments for `lanes` bytes of 0 (false), 1 (true) or 255 (unknown). Areas may overlap: the
/// result is then as if lanes were processed in ascending order, one at a time.
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

/// The arguments of `isTrue`: `count` elements of `multiplicity` bytes, and a validity byte for
/// each.
struct IsTrueArgs {
    unsigned char* result;
    unsigned char* resultValidity;
    const unsigned char* operand;
    const unsigned char* operandValidity; ///< null counts as all valid
    std::int32_t count;
    std::int32_t multiplicity;
};

/// 1 where the byte of the operand is exactly 1 and its element is valid, otherwise 0. Then all
/// elements of the result become valid.
void isTrue(const IsTrueArgs& args);

/// The loops behind the four.
struct BooleanKernels {
    void (*logicalNot)(const LogicArgs&);
    void (*logicalAnd)(const LogicArgs&);
    void (*logicalOr)(const LogicArgs&);
    void (*isTrue)(const IsTrueArgs&);
};

} // namespace Fenlet
