// What all x86 sets have.
#pragma once

#include "kernels/target/offers.h"

#include <immintrin.h>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// A value that is in a register now. Compilers would narrow halves and store them by one
/// instruction, which some processors take in many more steps than they do the two.
template <class Vector>
inline Vector inRegister(Vector value) {
    asm("" : "+x"(value));
    return value;
}

/// Truncation to Int64, of one lane: there has been no instruction for several before AVX-512.
struct Int64Truncation {
#ifdef __x86_64__
    static long long truncatedToInt64(float value) {
        return _mm_cvttss_si64(_mm_set_ss(value));
    }
    static long long truncatedToInt64(double value) {
        return _mm_cvttsd_si64(_mm_set_sd(value));
    }
#endif
};

} // namespace FENLET_TARGET
} // namespace Fenlet
