// The naive three-valued logic, and the builds of the kernels that tests compare with it.
#include "naive_boolean.h"

#include <cstddef>

namespace Fenlet {
namespace Tiles1 {
extern const BooleanKernels booleanKernels;
}
namespace Tiles2 {
extern const BooleanKernels booleanKernels;
}
namespace Tiles3 {
extern const BooleanKernels booleanKernels;
}
namespace Tiles7 {
extern const BooleanKernels booleanKernels;
}

namespace {

constexpr CpuElementKind tribool = CpuElementKind::Tribool;
constexpr const char* opNames[] = {"Not", "And", "Or", "IsTrue"};

bool hasRight(BooleanOp op) {
    return op == BooleanOp::And || op == BooleanOp::Or;
}

} // namespace

std::string BooleanCall::name() const {
    std::string text = std::string(opNames[static_cast<int>(op)]) + ", count " +
                       std::to_string(count) + ", multiplicity " + std::to_string(multiplicity) +
                       ", places";
    for (const std::size_t place :
         {places.result, places.resultValidity, places.left, places.leftValidity, places.right})
        text += ' ' + std::to_string(place);
    return text + (hasLeftValidity ? "" : ", no validity of the operand");
}

unsigned char decide(BooleanOp op, unsigned char left, unsigned char right) {
    switch (op) {
    case BooleanOp::Not:
        if (left == 255)
            return 255;
        return left == 1 ? 0 : 1;
    case BooleanOp::And:
        if (left == 0 || right == 0)
            return 0;
        return left == 255 || right == 255 ? 255 : 1;
    case BooleanOp::Or:
        if (left == 1 || right == 1)
            return 1;
        return left == 255 || right == 255 ? 255 : 0;
    case BooleanOp::IsTrue:
        break;
    }
    return left == 1 ? 1 : 0;
}

void runNaively(const BooleanCall& call, LaneMemory& memory) {
    const auto load = [&](std::size_t area, std::int64_t lane) {
        return static_cast<unsigned char>(memory.load(tribool, area, lane));
    };
    const BooleanPlaces& places = call.places;
    for (std::int64_t element = 0; element < call.count; ++element) {
        const bool valid = call.op != BooleanOp::IsTrue || !call.hasLeftValidity ||
                           load(places.leftValidity, element) != 0;
        for (std::int64_t c = 0; c < call.multiplicity; ++c) {
            const std::int64_t lane = element * call.multiplicity + c;
            const unsigned char right = hasRight(call.op) ? load(places.right, lane) : 0;
            const unsigned char decided =
                valid ? decide(call.op, load(places.left, lane), right) : 0;
            memory.store(tribool, places.result, lane, decided);
        }
    }
    if (call.op == BooleanOp::IsTrue)
        for (std::int64_t element = 0; element < call.count; ++element)
            memory.store(tribool, places.resultValidity, element, 1);
}

void BooleanBuild::run(const BooleanCall& call, LaneMemory& memory) const {
    unsigned char* const result = memory.at(call.places.result);
    const unsigned char* const left = memory.at(call.places.left);
    const LogicArgs args{result, left, hasRight(call.op) ? memory.at(call.places.right) : nullptr,
                         call.lanes()};
    switch (call.op) {
    case BooleanOp::Not:
        return kernels.logicalNot(args);
    case BooleanOp::And:
        return kernels.logicalAnd(args);
    case BooleanOp::Or:
        return kernels.logicalOr(args);
    case BooleanOp::IsTrue:
        kernels.isTrue({result, memory.at(call.places.resultValidity), left,
                        call.hasLeftValidity ? memory.at(call.places.leftValidity) : nullptr,
                        call.count, call.multiplicity});
    }
}

const std::vector<BooleanBuild>& everyBooleanBuild() {
    static const std::vector<BooleanBuild> builds{
        {"the library's own", {&logicalNot, &logicalAnd, &logicalOr, &isTrue}},
        {"tiles of 1 lane", Tiles1::booleanKernels},
        {"tiles of 2 lanes", Tiles2::booleanKernels},
        {"tiles of 3 lanes", Tiles3::booleanKernels},
        {"tiles of 7 lanes", Tiles7::booleanKernels}};
    return builds;
}

void drawTribools(unsigned char* area, std::int64_t lanes, Draw& draw) {
    constexpr unsigned char tribools[] = {0, 1, 255};
    for (std::int64_t lane = 0; lane < lanes; ++lane)
        area[lane] = draw.below(2) == 0 ? tribools[draw.below(3)]
                                        : static_cast<unsigned char>(draw.below(256));
}

LaneMemory layOutApart(BooleanCall& call, int misalignment, Draw& draw) {
    AreaRow areas(misalignment);
    BooleanPlaces& places = call.places;
    places.left = areas.place(tribool, call.lanes());
    places.result = areas.place(tribool, call.lanes());
    places.right = areas.place(tribool, call.lanes());
    places.leftValidity = areas.place(tribool, call.count);
    places.resultValidity = areas.place(tribool, call.count);
    LaneMemory memory = areas.memory();
    drawTribools(memory.at(places.left), call.lanes(), draw);
    drawTribools(memory.at(places.right), call.lanes(), draw);
    drawValidity(memory.at(places.leftValidity), call.count, draw);
    return memory;
}

std::string differenceFromNaive(const BooleanBuild& build, const BooleanCall& call,
                                const LaneMemory& memory) {
    LaneMemory expected = memory;
    runNaively(call, expected);
    LaneMemory actual = memory;
    build.run(call, actual);
    const std::string difference = expected.firstDifference(actual);
    if (difference.empty())
        return {};
    return call.name() + ", by " + build.name + ": " + difference;
}

} // namespace Fenlet
