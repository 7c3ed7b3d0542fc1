// The loops of three-valued logic: maps of bytes without branches.
#include "kernels/boolean/boolean.h"
#include "kernels/lanes/tiles.h"
#include "vocabulary/kinds.h"

namespace Fenlet {
inline namespace FENLET_TARGET {
namespace {

constexpr Tribool unknown = 255;

struct OnTribools {
    using In = Tribool;
    using Left = Tribool;
    using Right = Tribool;
    using Out = Tribool;
};

struct NotMap : OnTribools {
    static Tribool apply(Tribool x) {
        const Tribool ifUnknown = x == unknown ? unknown : Tribool{0};
        return static_cast<Tribool>((x != 1) | ifUnknown);
    }
};

struct IsOne : OnTribools {
    static Tribool apply(Tribool x) { return x == 1; }
};

// Only 0 is false and only 255 is unknown: any other byte counts as true.
struct AndMap : OnTribools {
    static Tribool apply(Tribool a, Tribool b) {
        const Tribool lower = a < b ? a : b;
        const Tribool higher = a < b ? b : a;
        const Tribool otherwise = higher == unknown ? unknown : Tribool{1};
        return lower == 0 ? Tribool{0} : otherwise;
    }
};

// Only 1 is true and only 255 is unknown: any other byte counts as false.
struct OrMap : OnTribools {
    static Tribool apply(Tribool a, Tribool b) {
        const bool isTrue = (a == 1) | (b == 1);
        const Tribool higher = a < b ? b : a;
        const Tribool otherwise = higher == unknown ? unknown : Tribool{0};
        return isTrue ? Tribool{1} : otherwise;
    }
};

/// True in a valid element, and false in any other.
struct IsOneAndValid : OnTribools {
    static Tribool apply(Tribool x, Tribool validity) {
        return static_cast<Tribool>((x == 1) & (validity != 0));
    }
};

void runNot(const LogicArgs& args) {
    const bool independent =
        lanesAreIndependent({args.result, args.lanes, 1}, {args.left, args.lanes, 1});
    const std::int64_t pace = independent ? args.lanes : 1;
    for (std::int64_t lane = 0; lane < args.lanes; lane += pace)
        mapRun<NotMap>(args.result + lane, args.left + lane, pace);
}

template <class Map>
void runBinary(const LogicArgs& args) {
    const LaneRange result{args.result, args.lanes, 1};
    const bool independent = lanesAreIndependent(result, {args.left, args.lanes, 1}) &&
                             lanesAreIndependent(result, {args.right, args.lanes, 1});
    const std::int64_t pace = independent ? args.lanes : 1;
    for (std::int64_t lane = 0; lane < args.lanes; lane += pace)
        combineRun<Map>(args.result + lane, args.left + lane, args.right + lane, pace);
}

bool lanesIndependent(const IsTrueArgs& args, std::int64_t lanes) {
    const LaneRange result{args.result, lanes, 1};
    const LaneRange validity{args.operandValidity, args.count, 1};
    const bool validityFits = args.operandValidity == nullptr || areDisjoint(result, validity) ||
                              (args.operandValidity == args.result && args.multiplicity == 1);
    return lanesAreIndependent(result, {args.operand, lanes, 1}) && validityFits;
}

/// Applies `isTrue` to `elements` elements, starting at `element`. They must fit into a tile,
/// unless `elements` is 1.
void isTrueOfTile(const IsTrueArgs& args, std::int64_t element, std::int64_t elements, Pace pace) {
    const std::int64_t multiplicity = args.multiplicity;
    Tile<Tribool> repeated;
    const unsigned char* validity = args.operandValidity + element;
    if (multiplicity > 1) {
        spreadRun<Tribool>(repeated.bytes, validity, elements,
                           atMost(tileLanes / elements, multiplicity));
        validity = repeated.bytes;
    }
    const std::int64_t first = element * multiplicity;
    const std::int64_t lanes = elements * multiplicity;
    for (std::int64_t done = 0; done < lanes; done += pace.lanes)
        combineRun<IsOneAndValid>(args.result + first + done, args.operand + first + done, validity,
                                  atMost(pace.lanes, lanes - done));
}

/// `isTrue` for calls in which all elements are valid, so that only the operand's bytes matter.
void isTrueThroughout(const IsTrueArgs& args, std::int64_t lanes) {
    const bool independent = lanesIndependent(args, lanes);
    const std::int64_t pace = independent ? lanes : 1;
    for (std::int64_t lane = 0; lane < lanes; lane += pace)
        mapRun<IsOne>(args.result + lane, args.operand + lane, pace);
}

void runIsTrue(const IsTrueArgs& args) {
    if (args.count < 1)
        return;
    const std::int64_t lanes = std::int64_t{args.count} * args.multiplicity;
    if (args.operandValidity == nullptr) {
        isTrueThroughout(args, lanes);
    } else if (lanes > 0) {
        Pace pace = paceOf(lanesIndependent(args, lanes), args.multiplicity);
        // Tiles hold the validity repeated for each component. With one component there is nothing
        // to repeat, so one loop covers the whole block.
        if (pace.elements > 1 && args.multiplicity == 1)
            pace = {lanes, lanes};
        for (std::int64_t element = 0; element < args.count; element += pace.elements)
            isTrueOfTile(args, element, atMost(pace.elements, args.count - element), pace);
    }
    std::memset(args.resultValidity, 1, static_cast<std::size_t>(args.count));
}

} // namespace

extern const BooleanKernels booleanKernels;
const BooleanKernels booleanKernels = {&runNot, &runBinary<AndMap>, &runBinary<OrMap>, &runIsTrue};

} // namespace FENLET_TARGET
} // namespace Fenlet
