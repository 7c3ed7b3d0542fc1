// One product and one sum, as a compiler is most tempted to make one operation of them. The source
// is compiled once with the kernels' options and once for the opposite, both for processors that
// have the fused operation.
#pragma once

#include <cstddef>

namespace Fenlet {
namespace Rounded {
/// `out[i]` becomes `a[i]` * `b[i]` + `c[i]`, for `count` numbers.
void multiplyAdd(const double* a, const double* b, const double* c, double* out, std::size_t count);
void multiplyAdd(const float* a, const float* b, const float* c, float* out, std::size_t count);
} // namespace Rounded

namespace Fused {
/// The same, for a compiler that may round once.
void multiplyAdd(const double* a, const double* b, const double* c, double* out, std::size_t count);
void multiplyAdd(const float* a, const float* b, const float* c, float* out, std::size_t count);
} // namespace Fused
} // namespace Fenlet
