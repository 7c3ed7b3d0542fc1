// The naive comparisons, and the builds of the kernels that tests compare with them.
#include "naive_comparisons.h"

#include <algorithm>
#include <cstddef>

namespace Fenlet {
namespace Tiles1 {
extern const ComparisonKernels comparisonKernels;
}
namespace Tiles2 {
extern const ComparisonKernels comparisonKernels;
}
namespace Tiles3 {
extern const ComparisonKernels comparisonKernels;
}
namespace Tiles7 {
extern const ComparisonKernels comparisonKernels;
}

namespace {

constexpr CpuElementKind tribool = CpuElementKind::Tribool;
constexpr const char* predicateNames[] = {"Less",         "LessEqual", "Greater",
                                          "GreaterEqual", "Equal",     "NotEqual"};

std::size_t rankOf(CpuElementKind kind) {
    std::size_t rank = 0;
    while (numericKinds[rank] != kind)
        ++rank;
    return rank;
}

template <const ComparisonKernels& kernels>
bool runFrom(const ComparisonKinds& kinds, const ComparisonArgs& args) {
    kernels.kernels.find(kinds.left, kinds.right)(args);
    return true;
}

bool runDispatcher(const ComparisonKinds& kinds, const ComparisonArgs& args) {
    return dispatchComparison(kinds.left, kinds.right, args);
}

/// An integer for each value of a kind, in the same order as the values. A NaN has none.
std::int64_t orderOf(CpuElementKind kind, std::uint64_t bits) {
    if (kind == CpuElementKind::Int64)
        return static_cast<std::int64_t>(bits);
    if (kind == CpuElementKind::Int32)
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
    const std::uint64_t signBit = Oracle::formatOf(kind).signBit();
    const auto magnitude = static_cast<std::int64_t>(bits & (signBit - 1));
    return (bits & signBit) != 0 ? -magnitude : magnitude;
}

} // namespace

unsigned char compareBits(Predicate predicate, const ComparisonKinds& kinds, std::uint64_t left,
                          std::uint64_t right) {
    const CpuElementKind kind = numericKinds[std::max(rankOf(kinds.left), rankOf(kinds.right))];
    const std::uint64_t a = Oracle::convertBits(kind, kinds.left, left);
    const std::uint64_t b = Oracle::convertBits(kind, kinds.right, right);
    if (Oracle::isNan(kind, a) || Oracle::isNan(kind, b))
        return predicate == Predicate::NotEqual;
    const std::int64_t x = orderOf(kind, a);
    const std::int64_t y = orderOf(kind, b);
    switch (predicate) {
    case Predicate::Less:
        return x < y;
    case Predicate::LessEqual:
        return x <= y;
    case Predicate::Greater:
        return x > y;
    case Predicate::GreaterEqual:
        return x >= y;
    case Predicate::Equal:
        return x == y;
    case Predicate::NotEqual:
        break;
    }
    return x != y;
}

ComparisonArgs ComparisonCall::argsIn(LaneMemory& memory) const {
    return {memory.at(places.result),
            memory.at(places.left),
            hasLeftValidity ? memory.at(places.leftValidity) : nullptr,
            memory.at(places.right),
            hasRightValidity ? memory.at(places.rightValidity) : nullptr,
            count,
            multiplicity,
            rightScalar,
            static_cast<std::uint32_t>(predicate)};
}

std::string ComparisonCall::name() const {
    std::string text = std::string(predicateNames[static_cast<int>(predicate)]) + ' ' +
                       cpuElementKindName(kinds.left) + ' ' + cpuElementKindName(kinds.right) +
                       (rightScalar ? " scalar" : "") + ", count " + std::to_string(count) +
                       ", multiplicity " + std::to_string(multiplicity) + ", places";
    for (const std::size_t place :
         {places.result, places.left, places.leftValidity, places.right, places.rightValidity})
        text += ' ' + std::to_string(place);
    return text + (hasLeftValidity ? "" : ", no left validity") +
           (hasRightValidity ? "" : ", no right validity");
}

void runNaively(const ComparisonCall& call, LaneMemory& memory) {
    const ComparisonPlaces& places = call.places;
    for (std::int64_t element = 0; element < call.count; ++element) {
        const std::int64_t first = element * call.multiplicity;
        const bool unknown =
            (call.hasLeftValidity && memory.load(tribool, places.leftValidity, element) == 0) ||
            (call.hasRightValidity && memory.load(tribool, places.rightValidity, element) == 0);
        std::uint64_t right = 0;
        if (!unknown && call.rightScalar)
            right = memory.load(call.kinds.right, places.right, element);
        for (std::int64_t lane = first; lane < first + call.multiplicity; ++lane) {
            if (!unknown && !call.rightScalar)
                right = memory.load(call.kinds.right, places.right, lane);
            const std::uint64_t value =
                unknown ? 255
                        : compareBits(call.predicate, call.kinds,
                                      memory.load(call.kinds.left, places.left, lane), right);
            memory.store(tribool, places.result, lane, value);
        }
    }
}

const std::vector<ComparisonBuild>& everyComparisonBuild() {
    static const std::vector<ComparisonBuild> builds{
        {"the library's own", &runDispatcher},
        {"tiles of 1 lane", &runFrom<Tiles1::comparisonKernels>},
        {"tiles of 2 lanes", &runFrom<Tiles2::comparisonKernels>},
        {"tiles of 3 lanes", &runFrom<Tiles3::comparisonKernels>},
        {"tiles of 7 lanes", &runFrom<Tiles7::comparisonKernels>}};
    return builds;
}

void drawValidityRuns(unsigned char* area, std::int64_t elements, int runLength, Draw& draw) {
    constexpr unsigned char validBytes[] = {1, 1, 2, 128, 254, 255};
    bool valid = draw.below(2) == 0;
    for (std::int64_t element = 0; element < elements; ++element) {
        if (draw.below(runLength) == 0)
            valid = draw.below(3) != 0;
        area[element] = valid ? validBytes[draw.next() % sizeof validBytes] : 0;
    }
}

void drawOperands(const ComparisonCall& call, LaneMemory& memory, Draw& draw) {
    const ComparisonPlaces& places = call.places;
    const CpuElementKind kind = call.kinds.right;
    drawLanes(memory.at(places.left), call.kinds.left, call.lanes(), draw);
    drawLanes(memory.at(places.right), kind, call.rightLanes(), draw);
    for (std::int64_t lane = draw.below(2); lane < call.rightLanes(); lane += 1 + draw.below(3)) {
        const std::int64_t leftLane = call.rightScalar ? lane * call.multiplicity : lane;
        const std::uint64_t equal = Oracle::convertBits(
            kind, call.kinds.left, memory.load(call.kinds.left, places.left, leftLane));
        const std::uint64_t about = equal + static_cast<std::uint64_t>(draw.below(3)) - 1;
        const std::uint64_t bits = draw.below(2) == 0 ? equal : about;
        memory.store(kind, places.right, lane, bits);
    }
}

LaneMemory layOutApart(ComparisonCall& call, int misalignment, int runLength, Draw& draw) {
    AreaRow areas(misalignment);
    ComparisonPlaces& places = call.places;
    places.left = areas.place(call.kinds.left, call.lanes());
    places.result = areas.place(tribool, call.lanes());
    places.right = areas.place(call.kinds.right, call.rightLanes());
    places.leftValidity = areas.place(tribool, call.count);
    places.rightValidity = areas.place(tribool, call.count);
    LaneMemory memory = areas.memory();
    drawOperands(call, memory, draw);
    drawValidityRuns(memory.at(places.leftValidity), call.count, runLength, draw);
    drawValidityRuns(memory.at(places.rightValidity), call.count, runLength, draw);
    return memory;
}

std::string differenceFromNaive(const ComparisonBuild& build, const ComparisonCall& call,
                                const LaneMemory& memory) {
    LaneMemory expected = memory;
    runNaively(call, expected);
    LaneMemory actual = memory;
    std::string difference =
        build.run(call.kinds, call.argsIn(actual)) ? expected.firstDifference(actual) : "refused";
    if (!difference.empty())
        difference = call.name() + ", by " + build.name + ": " + difference;
    return difference;
}

} // namespace Fenlet
