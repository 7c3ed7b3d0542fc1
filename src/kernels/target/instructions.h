// The instruction set that is being compiled for. No other file asks the compiler which one it is.
#pragma once

#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512DQ__) && defined(__AVX512VL__)
#include "kernels/target/avx512.h"
#elif defined(__AVX2__) && defined(__F16C__)
#include "kernels/target/avx2.h"
#elif defined(__SSE2__)
#include "kernels/target/sse2.h"
#elif defined(__aarch64__)
#include "kernels/target/neon.h"
#else
#include "kernels/target/portable.h"
#endif
