// Two arithmetic instructions in one loop.
//
// The first result stays in a register of the processor. That saves a store and a load for each
// lane, and fields stream from memory together instead of one after the other.
#pragma once

#include "kernels/arithmetic/arithmetic.h"

#include <cstdint>

namespace Fenlet {

/// The kinds that have loops for pairs. All operands and results of a pair have the same kind.
using KindsWithPairs =
    KindList<Kind<CpuElementKind::Float32, float>, Kind<CpuElementKind::Float64, double>>;

/// For every lane, result[i] = (a[i] first b[i]) second c[i], or c[i] second (a[i] first b[i]).
/// Both operations round. Lane i of the result may be lane i of an operand; apart from that, areas
/// must not overlap.
using PairLoop = void (*)(unsigned char* result, const unsigned char* a, const unsigned char* b,
                          const unsigned char* c, std::int64_t lanes);

/// On which side of the second operation the first result is.
enum class PairSide : int { Left = 0, Right = 1 };

/// Finds the loop for two operations, in the instruction set in use. Returns null if `kind` has no
/// loops for pairs.
PairLoop pairLoop(CpuElementKind kind, ArithmeticOp first, ArithmeticOp second, PairSide side);

/// The loops of an instruction set.
struct PairKernels {
    struct Loops {
        PairLoop of[4][4][2]; ///< by first and second operation, and by side
    };
    KindTable<const Loops*, KindsWithPairs> kinds;
};

} // namespace Fenlet
