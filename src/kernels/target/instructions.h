// The instructions of the set that is being compiled for. This is the one place that asks which.
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
