// The loops over elements.
#include "kernels/elements/elements.h"
#include "kernels/lanes/lanes.h"
#include "kernels/lanes/tiles.h"
#include "kernels/lanes/vectors.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

// Four vectors at a time. A compiler takes one, and then as long for the loop as for the stores.
void runCountUp(unsigned char* out, std::int64_t start, std::int64_t count) {
    using Number = std::uint64_t;
    constexpr int lanes = lanesOfVector<Number>;
    constexpr int together = 4;
    const auto first = static_cast<Number>(start);
    auto numbers = [first]<int... lane>(Numbers<lane...>) {
        return VectorOf<Number>{(first + lane)...};
    }
    (numbersBelow<lanes>);
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

/// Not 0 where a number does not run on, looking at all of them.
std::uint64_t breaks(const std::int64_t* indices, std::uint64_t first, std::int64_t count) {
    std::uint64_t found = 0;
    for (std::int64_t i = 0; i < count; ++i)
        found |= static_cast<std::uint64_t>(indices[i]) ^ (first + static_cast<std::uint64_t>(i));
    return found;
}

unsigned char anyInvalid(const unsigned char* validity, std::int64_t count) {
    unsigned char found = 0;
    for (std::int64_t i = 0; i < count; ++i)
        found |= validity[i] == 0 ? 1 : 0;
    return found;
}

// In pieces, so that scattered numbers are found out early.
bool runIsContiguous(const std::int64_t* indices, const unsigned char* validity,
                     std::int64_t count) {
    constexpr std::int64_t piece = 64;
    for (std::int64_t done = 0; done < count; done += piece) {
        const std::int64_t some = atMost(piece, count - done);
        const std::uint64_t first =
            static_cast<std::uint64_t>(indices[0]) + static_cast<std::uint64_t>(done);
        if (breaks(indices + done, first, some) != 0)
            return false;
        if (validity != nullptr && anyInvalid(validity + done, some) != 0)
            return false;
    }
    return true;
}

unsigned char differsFromOne(const unsigned char* validity, std::int64_t count) {
    unsigned char found = 0;
    for (std::int64_t i = 0; i < count; ++i)
        found |= validity[i] ^ 1;
    return found;
}

// In pieces, as above: what is missing is often missing early.
bool runIsOneThroughout(const unsigned char* validity, std::int64_t count) {
    constexpr std::int64_t piece = 256;
    for (std::int64_t done = 0; done < count; done += piece)
        if (differsFromOne(validity + done, atMost(piece, count - done)) != 0)
            return false;
    return true;
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
