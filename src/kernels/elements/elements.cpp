// Calls the loops over elements in the instruction set in use.
#include "kernels/elements/elements.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const ElementKernels elementKernels)

namespace {

constexpr KernelSets<ElementKernels> kernels = {FENLET_ADDRESSES(elementKernels)};

} // namespace

void countUp(unsigned char* out, std::int64_t start, std::int64_t count) {
    kernels.chosen().countUp(out, start, count);
}

void widenIndices(std::int64_t* out, const unsigned char* in, std::int64_t count) {
    kernels.chosen().widenIndices(out, in, count);
}

bool isContiguous(const std::int64_t* indices, const unsigned char* validity, std::int64_t count) {
    return kernels.chosen().isContiguous(indices, validity, count);
}

void bothValid(unsigned char* result, const unsigned char* left, const unsigned char* right,
               std::int64_t count) {
    kernels.chosen().bothValid(result, left, right, count);
}

bool isOneThroughout(const unsigned char* validity, std::int64_t count) {
    return kernels.chosen().isOneThroughout(validity, count);
}

} // namespace Fenlet
