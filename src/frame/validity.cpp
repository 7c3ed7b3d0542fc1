// The validity that a step's result takes from its operands.
#include "frame/validity.h"

#include "kernels/lanes/lanes.h"

#include <cstring>

namespace Fenlet {
namespace {

struct BothValid {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static Out apply(Left left, Right right) {
        return static_cast<Out>((left != 0) & (right != 0));
    }
};

} // namespace

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
        combineRun<BothValid>(result, left, right, count);
}

} // namespace Fenlet
