// What all instruction sets of x86 share.
#pragma once

#include "kernels/target/offers.h"

#include <immintrin.h>

namespace Fenlet {
inline namespace FENLET_TARGET {

/// Keeps a value in a register. Compilers would narrow halves and store them in one instruction,
/// which takes many more steps on some processors than two instructions do.
template <class Vector>
inline Vector inRegister(Vector value) {
    asm("" : "+x"(value));
    return value;
}

/// Truncates one lane to Int64. Only AVX-512 has an instruction for several.
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
