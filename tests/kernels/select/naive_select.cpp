// The naive Select, and the builds of the kernels that tests compare with it.
#include "naive_select.h"

#include <cstddef>

namespace Fenlet {
namespace Tiles1 {
extern const SelectKernels selectKernels;
}
namespace Tiles2 {
extern const SelectKernels selectKernels;
}
namespace Tiles3 {
extern const SelectKernels selectKernels;
}
namespace Tiles7 {
extern const SelectKernels selectKernels;
}

namespace {

constexpr CpuElementKind tribool = CpuElementKind::Tribool;

template <const SelectKernels& kernels>
bool runFrom(const SelectKinds& kinds, const SelectArgs& args) {
    kernels.kernels.find(kinds.result, kinds.whenTrue, kinds.whenFalse)(args);
    return true;
}

bool runDispatcher(const SelectKinds& kinds, const SelectArgs& args) {
    return dispatchSelect(kinds.result, kinds.whenTrue, kinds.whenFalse, args);
}

/// A call of the naive loop, one element at a time.
struct NaiveRun {
    const SelectCall& call;
    LaneMemory& memory;

    std::uint64_t conditionOf(std::int64_t element, std::int64_t component) const {
        const std::int64_t index = call.conditionMultiplicity == 1
                                       ? element
                                       : element * call.conditionMultiplicity + component;
        return memory.load(tribool, call.places.condition, index);
    }

    void take(CpuElementKind kind, std::size_t arm, std::int64_t lane) const {
        const std::uint64_t bits = memory.load(kind, arm, lane);
        memory.store(call.kinds.result, call.places.result, lane,
                     kind == tribool ? bits : Oracle::convertBits(call.kinds.result, kind, bits));
    }

    /// Stores the component of the arm that the condition selects.
    void store(std::uint64_t condition, std::int64_t lane) const {
        if (condition == 1)
            take(call.kinds.whenTrue, call.places.whenTrue, lane);
        else if (condition == 255)
            memory.store(call.kinds.result, call.places.result, lane,
                         call.kinds.result == tribool ? 255 : 0);
        else
            take(call.kinds.whenFalse, call.places.whenFalse, lane);
    }

    bool isValid(std::uint64_t condition, std::int64_t element) const {
        if (condition == 255)
            return false;
        const bool present = condition == 1 ? call.hasTrueValidity : call.hasFalseValidity;
        return !present || memory.load(tribool,
                                       condition == 1 ? call.places.whenTrueValidity
                                                      : call.places.whenFalseValidity,
                                       element) != 0;
    }

    void oneCondition(std::int64_t element) const {
        const std::uint64_t condition = conditionOf(element, 0);
        for (std::int64_t c = 0; c < call.multiplicity; ++c)
            store(condition, element * call.multiplicity + c);
        const bool valid = call.multiplicity < 1 || isValid(condition, element);
        memory.store(tribool, call.places.resultValidity, element, valid ? 1 : 0);
    }

    void oneConditionEach(std::int64_t element) const {
        bool valid = true;
        for (std::int64_t c = 0; c < call.multiplicity; ++c) {
            const std::uint64_t condition = conditionOf(element, c);
            store(condition, element * call.multiplicity + c);
            valid = isValid(condition, element) && valid;
        }
        memory.store(tribool, call.places.resultValidity, element, valid ? 1 : 0);
    }
};

} // namespace

SelectArgs SelectCall::argsIn(LaneMemory& memory) const {
    return {memory.at(places.result),
            memory.at(places.resultValidity),
            memory.at(places.condition),
            conditionMultiplicity,
            memory.at(places.whenTrue),
            hasTrueValidity ? memory.at(places.whenTrueValidity) : nullptr,
            memory.at(places.whenFalse),
            hasFalseValidity ? memory.at(places.whenFalseValidity) : nullptr,
            count,
            multiplicity};
}

std::string SelectCall::name() const {
    std::string text = std::string("Select ") + cpuElementKindName(kinds.whenTrue) + ' ' +
                       cpuElementKindName(kinds.whenFalse) + " into " +
                       cpuElementKindName(kinds.result) + ", count " + std::to_string(count) +
                       ", multiplicity " + std::to_string(multiplicity) + " by " +
                       std::to_string(conditionMultiplicity) + ", places";
    for (const std::size_t place :
         {places.result, places.resultValidity, places.condition, places.whenTrue,
          places.whenTrueValidity, places.whenFalse, places.whenFalseValidity})
        text += ' ' + std::to_string(place);
    return text + (hasTrueValidity ? "" : ", no validity of the first arm") +
           (hasFalseValidity ? "" : ", no validity of the second arm");
}

void runNaively(const SelectCall& call, LaneMemory& memory) {
    const NaiveRun run{call, memory};
    for (std::int64_t element = 0; element < call.count; ++element)
        if (call.conditionMultiplicity == 1)
            run.oneCondition(element);
        else
            run.oneConditionEach(element);
}

const std::vector<SelectBuild>& everySelectBuild() {
    static const std::vector<SelectBuild> builds{
        {"the library's own", &runDispatcher},
        {"tiles of 1 lane", &runFrom<Tiles1::selectKernels>},
        {"tiles of 2 lanes", &runFrom<Tiles2::selectKernels>},
        {"tiles of 3 lanes", &runFrom<Tiles3::selectKernels>},
        {"tiles of 7 lanes", &runFrom<Tiles7::selectKernels>}};
    return builds;
}

void drawConditions(unsigned char* area, std::int64_t conditions, int runLength, Draw& draw) {
    constexpr unsigned char bytes[] = {1, 0, 1, 255, 1, 2, 0, 254, 1, 1, 0, 255};
    unsigned char byte = 1;
    for (std::int64_t i = 0; i < conditions; ++i) {
        if (draw.below(runLength) == 0)
            byte = bytes[draw.next() % sizeof bytes];
        area[i] = byte;
    }
}

LaneMemory layOutApart(SelectCall& call, int misalignment, int runLength, Draw& draw) {
    AreaRow areas(misalignment);
    SelectPlaces& places = call.places;
    places.whenTrue = areas.place(call.kinds.whenTrue, call.lanes());
    places.result = areas.place(call.kinds.result, call.lanes());
    places.whenFalse = areas.place(call.kinds.whenFalse, call.lanes());
    places.condition = areas.place(tribool, call.conditions());
    places.whenTrueValidity = areas.place(tribool, call.count);
    places.resultValidity = areas.place(tribool, call.count);
    places.whenFalseValidity = areas.place(tribool, call.count);
    LaneMemory memory = areas.memory();
    drawLanes(memory.at(places.whenTrue), call.kinds.whenTrue, call.lanes(), draw);
    drawLanes(memory.at(places.whenFalse), call.kinds.whenFalse, call.lanes(), draw);
    drawConditions(memory.at(places.condition), call.conditions(), runLength, draw);
    drawValidity(memory.at(places.whenTrueValidity), call.count, draw);
    drawValidity(memory.at(places.whenFalseValidity), call.count, draw);
    return memory;
}

std::string differenceFromNaive(const SelectBuild& build, const SelectCall& call,
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
