// Three-valued logic on registers.
#include "kernels/boolean/boolean.h"

#include "kernels/target/target.h"

namespace Fenlet {

inline namespace FENLET_TARGET {
extern const BooleanKernels booleanKernels;
}

void logicalNot(const LogicArgs& args) {
    booleanKernels.logicalNot(args);
}

void logicalAnd(const LogicArgs& args) {
    booleanKernels.logicalAnd(args);
}

void logicalOr(const LogicArgs& args) {
    booleanKernels.logicalOr(args);
}

void isTrue(const IsTrueArgs& args) {
    booleanKernels.isTrue(args);
}

} // namespace Fenlet
