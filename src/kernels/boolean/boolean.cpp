// Three-valued logic on registers.
#include "kernels/boolean/boolean.h"

#include "kernels/target/sets.h"

namespace Fenlet {

FENLET_IN_EVERY_SET(extern const BooleanKernels booleanKernels)

namespace {

constexpr KernelSets<BooleanKernels> kernels = {FENLET_ADDRESSES(booleanKernels)};

} // namespace

void logicalNot(const LogicArgs& args) {
    kernels.chosen().logicalNot(args);
}

void logicalAnd(const LogicArgs& args) {
    kernels.chosen().logicalAnd(args);
}

void logicalOr(const LogicArgs& args) {
    kernels.chosen().logicalOr(args);
}

void isTrue(const IsTrueArgs& args) {
    kernels.chosen().isTrue(args);
}

} // namespace Fenlet
