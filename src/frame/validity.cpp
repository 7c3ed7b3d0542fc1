// The validity that a step's result takes from its operands.
#include "frame/validity.h"

#include "kernels/elements/elements.h"

#include <cstring>

namespace Fenlet {

void combineValidity(unsigned char* result, const unsigned char* left, const unsigned char* right,
                     int count) {
    if (count <= 0)
        return;
    if (left == nullptr)
        left = right;
    if (right == nullptr)
        right = left;
    if (left == nullptr)
        std::memset(result, 1, static_cast<std::size_t>(count));
    else
        bothValid(result, left, right, count);
}

} // namespace Fenlet
