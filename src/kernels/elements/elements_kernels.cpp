// The loops over elements.
#include "kernels/elements/elements.h"
#include "kernels/lanes/lanes.h"
#include "kernels/lanes/scans.h"
#include "kernels/lanes/vectors.h"

#include <cstring>

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

/// The vector `first`, `first` + 1, and so on. Numbers wrap around.
VectorOf<std::uint64_t> ascending(std::uint64_t first) {
    return [first]<int... lane>(Numbers<lane...>) {
        return VectorOf<std::uint64_t>{(first + lane)...};
    }
    (numbersBelow<lanesOfVector<std::uint64_t>>);
}

// Stores four vectors for each addition. Compilers would add before each store, and the additions
// would then take as long as the stores.
void runCountUp(unsigned char* out, std::int64_t start, std::int64_t count) {
    using Number = std::uint64_t;
    constexpr int lanes = lanesOfVector<Number>;
    constexpr int together = 4;
    const auto first = static_cast<Number>(start);
    auto numbers = ascending(first);
    const std::int64_t whole = count - count % (lanes * together);
    for (std::int64_t i = 0; i < whole; i += lanes * together) {
        [&]<int... part>(Numbers<part...>) {
            (storeLane(out + i * 8, part, numbers + Number{part * lanes}), ...);
        }
        (numbersBelow<together>);
        numbers += Number{lanes * together};
    }
    for (std::int64_t i = whole; i < count; ++i)
        storeLane(out, i, first + static_cast<Number>(i));
}

void runWidenIndices(std::int64_t* out, const unsigned char* in, std::int64_t count) {
    FENLET_INDEPENDENT_LANES
    for (std::int64_t i = 0; i < count; ++i)
        out[i] = loadLane<std::int32_t>(in, i);
}

bool runIsContiguous(const std::int64_t* indices, const unsigned char* validity,
                     std::int64_t count) {
    using Number = std::uint64_t;
    constexpr int lanes = lanesOfVector<Number>;
    constexpr int together = 8;
    if (count < 1)
        return true;
    const auto first = static_cast<Number>(indices[0]);
    auto expected = ascending(first);
    const std::int64_t whole = count - count % (lanes * together);
    for (std::int64_t i = 0; i < whole; i += lanes * together) {
        VectorOf<Number> breaks{};
        for (int part = 0; part < together; ++part) {
            VectorOf<Number> numbers;
            std::memcpy(&numbers, indices + i + part * lanes, sizeof numbers);
            breaks |= numbers ^ (expected + Number{static_cast<Number>(part * lanes)});
        }
        // Tests often, because scattered numbers usually show a gap early.
        if (isAnySet(bitCast<ByteVector>(breaks)))
            return false;
        expected += Number{lanes * together};
    }
    for (std::int64_t i = whole; i < count; ++i)
        if (static_cast<Number>(indices[i]) != first + static_cast<Number>(i))
            return false;
    return validity == nullptr || hasNone<Zeros>(validity, count);
}

bool runIsOneThroughout(const unsigned char* validity, std::int64_t count) {
    return hasNone<OthersThanOne>(validity, count);
}

struct BothValid {
    using Left = unsigned char;
    using Right = unsigned char;
    using Out = unsigned char;
    static Out apply(Left left, Right right) {
        return static_cast<Out>((left != 0) & (right != 0));
    }
};

} // namespace

extern const ElementKernels elementKernels;
const ElementKernels elementKernels = {&runCountUp, &runWidenIndices, &runIsContiguous,
                                       &combineRun<BothValid>, &runIsOneThroughout};

} // namespace FENLET_TARGET
} // namespace Fenlet
