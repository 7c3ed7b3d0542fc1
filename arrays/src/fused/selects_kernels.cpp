// The loops for selections, compiled for each instruction set.
#include "fused/selects.h"
#include "kernels/lanes/lanes.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

template <class Word>
[[gnu::noinline]] void selectKnown(unsigned char* out, const unsigned char* condition,
                                   const unsigned char* whenTrue, const unsigned char* whenFalse,
                                   std::int64_t lanes) {
    FENLET_INDEPENDENT_LANES
    for (std::int64_t i = 0; i < lanes; ++i) {
        // Both arms are readable in every lane. Loading both first leaves no branch in the loop.
        const Word taken = loadLane<Word>(whenTrue, i);
        const Word other = loadLane<Word>(whenFalse, i);
        storeLane(out, i, condition[i] == 1 ? taken : other);
    }
}

/// The predicates, in the order of their numbers.
template <int predicate, class T>
bool holds(T left, T right) {
    static_assert(predicate >= 0 && predicate < 6);
    if constexpr (predicate == 0)
        return left < right;
    else if constexpr (predicate == 1)
        return left <= right;
    else if constexpr (predicate == 2)
        return left > right;
    else if constexpr (predicate == 3)
        return left >= right;
    else if constexpr (predicate == 4)
        return left == right;
    else
        return left != right;
}

template <class T, int predicate>
[[gnu::noinline]] void selectCompared(unsigned char* out, const unsigned char* left,
                                      const unsigned char* right, const unsigned char* whenTrue,
                                      const unsigned char* whenFalse, std::int64_t lanes) {
    using Word = UnsignedOfSize<sizeof(T)>;
    FENLET_INDEPENDENT_LANES
    for (std::int64_t i = 0; i < lanes; ++i) {
        const Word taken = loadLane<Word>(whenTrue, i);
        const Word other = loadLane<Word>(whenFalse, i);
        storeLane(out, i,
                  holds<predicate>(loadLane<T>(left, i), loadLane<T>(right, i)) ? taken : other);
    }
}

} // namespace

extern const SelectLoops selectLoops;
constinit const SelectLoops selectLoops = {
    {&selectKnown<std::uint8_t>, &selectKnown<std::uint16_t>, &selectKnown<std::uint32_t>,
     &selectKnown<std::uint64_t>},
    kindTable<SelectLoops::Predicates, KindsToCompareAndSelect>([]<class T>() {
        return SelectLoops::Predicates{{&selectCompared<T, 0>, &selectCompared<T, 1>,
                                        &selectCompared<T, 2>, &selectCompared<T, 3>,
                                        &selectCompared<T, 4>, &selectCompared<T, 5>}};
    })};

} // namespace FENLET_TARGET
} // namespace Fenlet
