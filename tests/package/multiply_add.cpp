#include "multiply_add.h"

namespace Fenlet::FENLET_TARGET {
namespace {

template <class T>
void loop(const T* a, const T* b, const T* c, T* out, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        out[i] = a[i] * b[i] + c[i];
}

} // namespace

void multiplyAdd(const double* a, const double* b, const double* c, double* out,
                 std::size_t count) {
    loop(a, b, c, out, count);
}

void multiplyAdd(const float* a, const float* b, const float* c, float* out, std::size_t count) {
    loop(a, b, c, out, count);
}

} // namespace Fenlet::FENLET_TARGET
