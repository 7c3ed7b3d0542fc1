// The loops for pairs of arithmetic instructions, compiled for each instruction set.
#include "fused/pairs.h"
#include "kernels/arithmetic/operations.h"
#include "kernels/lanes/lanes.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

template <class T, template <class> class First, template <class> class Second, PairSide side>
[[gnu::noinline]] void pairRun(unsigned char* out, const unsigned char* a, const unsigned char* b,
                               const unsigned char* c, std::int64_t lanes) {
    FENLET_INDEPENDENT_LANES
    FENLET_FOUR_IN_A_ROW
    for (std::int64_t i = 0; i < lanes; ++i) {
        const T inner = First<T>::apply(loadLane<T>(a, i), loadLane<T>(b, i));
        const T outer = loadLane<T>(c, i);
        storeLane(out, i,
                  side == PairSide::Left ? Second<T>::apply(inner, outer)
                                         : Second<T>::apply(outer, inner));
    }
}

template <class T, template <class> class First, template <class> class Second>
constexpr void fill(PairLoop (&sides)[2]) {
    sides[static_cast<int>(PairSide::Left)] = &pairRun<T, First, Second, PairSide::Left>;
    sides[static_cast<int>(PairSide::Right)] = &pairRun<T, First, Second, PairSide::Right>;
}

template <class T, template <class> class First>
constexpr void fill(PairLoop (&row)[4][2]) {
    fill<T, First, Add>(row[static_cast<int>(ArithmeticOp::Add)]);
    fill<T, First, Subtract>(row[static_cast<int>(ArithmeticOp::Subtract)]);
    fill<T, First, Multiply>(row[static_cast<int>(ArithmeticOp::Multiply)]);
    fill<T, First, Divide>(row[static_cast<int>(ArithmeticOp::Divide)]);
}

template <class T>
constexpr PairKernels::Loops loopsOf = [] {
    PairKernels::Loops loops{};
    fill<T, Add>(loops.of[static_cast<int>(ArithmeticOp::Add)]);
    fill<T, Subtract>(loops.of[static_cast<int>(ArithmeticOp::Subtract)]);
    fill<T, Multiply>(loops.of[static_cast<int>(ArithmeticOp::Multiply)]);
    fill<T, Divide>(loops.of[static_cast<int>(ArithmeticOp::Divide)]);
    return loops;
}();

} // namespace

extern const PairKernels pairKernels;
constinit const PairKernels pairKernels = {
    kindTable<const PairKernels::Loops*, KindsWithPairs>([]<class T>() { return &loopsOf<T>; })};

} // namespace FENLET_TARGET
} // namespace Fenlet
