// One product and one sum, which a compiler can fuse into one operation. The source is compiled
// once with the kernels' options and once with the opposite ones, both for processors that have the
// fused operation.
#pragma once

#include <cstddef>

namespace Fenlet {
namespace Rounded {
/// `out[i]` becomes `a[i]` * `b[i]` + `c[i]`, for `count` numbers.
void multiplyAdd(const double* a, const double* b, const double* c, double* out, std::size_t count);
void multiplyAdd(const float* a, const float* b, const float* c, float* out, std::size_t count);
} // namespace Rounded

namespace Fused {
/// The same functions, compiled so that the compiler may fuse both operations and round once.
void multiplyAdd(const double* a, const double* b, const double* c, double* out, std::size_t count);
void multiplyAdd(const float* a, const float* b, const float* c, float* out, std::size_t count);
} // namespace Fused
} // namespace Fenlet
