// Calls kernels with arbitrary arguments: every instruction set must leave the same bytes.
//
// IEEE 754 does not define which of two NaNs a sum returns, so no lane starts as a NaN. Areas of
// integers may overlap. Areas of floats do not overlap, since a kernel could then read bytes of any
// NaN: each is a separate allocation of exactly the size that the kernel may touch.
#include "kernel_request.h"
#include "kernels/arithmetic/arithmetic.h"
#include "kernels/boolean/boolean.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/select/select.h"
#include "kernels/target/sets.h"
#include "kernels/unary/unary.h"
#include "reached.h"
#include "sources/component.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <vector>

namespace {

using namespace Fenlet;
using Fuzz::KernelFamily;
using Fuzz::KernelRequest;
namespace KernelShape = Fuzz::KernelShape;

constexpr int mostElements = 200;
constexpr int mostComponents = 9;
constexpr std::size_t mostBytes = std::size_t{mostElements} * mostComponents * 8;
constexpr std::size_t placesApart = 1700;

/// The areas of one call, filled with the input's bytes.
class Areas {
  public:
    Areas(const KernelRequest& newRequest, const std::uint8_t* newData, std::size_t newSize)
        : request(newRequest), data(newData), size(newSize) {
        if (overlap())
            pieces.push_back(filled(placesApart + mostBytes));
    }

    bool overlap() const { return (request.shape & KernelShape::overlapping) != 0; }

    /// Makes the next area. A separate area ends at the end of its allocation, and begins up to 7
    /// bytes after the beginning.
    unsigned char* next(std::size_t bytes) {
        const std::size_t place = request.places[made++];
        if (overlap())
            return pieces[0].data() + place % placesApart;
        pieces.push_back(filled(place % 8 + bytes));
        return pieces.back().data() + place % 8;
    }
    unsigned char* nextIf(bool wanted, std::size_t bytes) {
        unsigned char* const area = next(bytes);
        return wanted ? area : nullptr;
    }

    bool operator==(const Areas& other) const { return pieces == other.pieces; }

  private:
    /// Bytes that never form a NaN of any float kind, wherever a lane begins: no exponent has all
    /// bits set.
    std::vector<unsigned char> filled(std::size_t bytes) {
        std::vector<unsigned char> piece(bytes);
        for (unsigned char& byte : piece) {
            byte = static_cast<unsigned char>((data[position] + round) & 0xDF);
            if (++position == size) {
                position = 0;
                ++round;
            }
        }
        return piece;
    }

    const KernelRequest& request;
    const std::uint8_t* data;
    std::size_t size;
    std::size_t position = 0;
    unsigned round = 0; ///< how often all bytes of the input have been used
    int made = 0;
    std::deque<std::vector<unsigned char>> pieces;
};

/// A request, translated to numbers of elements and bytes.
struct Call {
    Call(const KernelRequest& newRequest, Areas& newAreas)
        : request(newRequest),
          areas(newAreas),
          count(request.count % (mostElements + 1)),
          multiplicity(1 + request.multiplicity % mostComponents),
          elements(static_cast<std::size_t>(count)),
          lanes(elements * static_cast<std::size_t>(multiplicity)) {}

    bool has(std::uint8_t shape) const { return (request.shape & shape) != 0; }
    CpuElementKind kind(int place) const {
        constexpr CpuElementKind whole[] = {CpuElementKind::Int32, CpuElementKind::Int64,
                                            CpuElementKind::Tribool};
        return areas.overlap() ? whole[request.kinds[place] % 3]
                               : static_cast<CpuElementKind>(request.kinds[place] % 8);
    }
    unsigned char* area(int place, std::size_t ofLanes) {
        return areas.next(ofLanes * static_cast<std::size_t>(elementSize(kind(place))));
    }

    bool arithmetic();
    bool comparison();
    bool select();
    bool unary();
    bool component();
    bool logic();
    bool truth();
    bool run();

    const KernelRequest& request;
    Areas& areas;
    const std::int32_t count;
    const std::int32_t multiplicity;
    const std::size_t elements;
    const std::size_t lanes;
};

bool Call::arithmetic() {
    const bool leftScalar = has(KernelShape::leftScalar);
    const bool rightScalar = has(KernelShape::rightScalar) && !leftScalar;
    ArithmeticArgs args{};
    args.result = area(0, lanes);
    args.resultValidity = areas.next(elements);
    args.left = area(1, leftScalar ? elements : lanes);
    args.right = area(2, rightScalar ? elements : lanes);
    args.count = count;
    args.multiplicity = multiplicity;
    args.leftScalar = leftScalar;
    args.rightScalar = has(KernelShape::rightScalar);
    args.op = static_cast<ArithmeticOp>(request.op % 5);
    return dispatchArithmetic(kind(0), kind(1), kind(2), args);
}

bool Call::comparison() {
    ComparisonArgs args{};
    args.result = areas.next(lanes);
    args.left = area(1, lanes);
    args.leftValidity = areas.nextIf(has(KernelShape::leftValidity), elements);
    args.right = area(2, has(KernelShape::rightScalar) ? elements : lanes);
    args.rightValidity = areas.nextIf(has(KernelShape::rightValidity), elements);
    args.count = count;
    args.multiplicity = multiplicity;
    args.rightScalar = has(KernelShape::rightScalar);
    args.predicate = request.op % 7u;
    return dispatchComparison(kind(1), kind(2), args);
}

bool Call::select() {
    const bool byElement = has(KernelShape::byElement);
    SelectArgs args{};
    args.result = area(0, lanes);
    args.resultValidity = areas.next(elements);
    args.condition = areas.next(byElement ? elements : lanes);
    args.conditionMultiplicity = byElement ? 1 : multiplicity;
    args.whenTrue = area(1, lanes);
    args.whenTrueValidity = areas.nextIf(has(KernelShape::leftValidity), elements);
    args.whenFalse = area(2, lanes);
    args.whenFalseValidity = areas.nextIf(has(KernelShape::rightValidity), elements);
    args.count = count;
    args.multiplicity = multiplicity;
    return dispatchSelect(kind(0), kind(1), kind(2), args);
}

bool Call::unary() {
    const auto op = static_cast<UnaryOp>(request.op % 3);
    unsigned char* const result = area(0, op == UnaryOp::Length ? elements : lanes);
    return dispatchUnary(op, kind(0), kind(1), {result, area(1, lanes), count, multiplicity});
}

bool Call::component() {
    unsigned char* const result = area(0, elements);
    return dispatchComponent(
        kind(0), kind(1), {result, area(1, lanes), count, multiplicity, request.op % multiplicity});
}

bool Call::logic() {
    LogicArgs args{};
    args.result = areas.next(lanes);
    args.left = areas.next(lanes);
    args.right = areas.nextIf(request.op % 3 != 0, lanes);
    args.lanes = static_cast<std::int64_t>(lanes);
    if (request.op % 3 == 0)
        logicalNot(args);
    else
        (request.op % 3 == 1 ? logicalAnd : logicalOr)(args);
    return true;
}

bool Call::truth() {
    IsTrueArgs args{};
    args.result = areas.next(lanes);
    args.resultValidity = areas.next(elements);
    args.operand = areas.next(lanes);
    args.operandValidity = areas.nextIf(has(KernelShape::leftValidity), elements);
    args.count = count;
    args.multiplicity = multiplicity;
    isTrue(args);
    return true;
}

/// Runs the kernel for the request. Returns false if there is no such kernel.
bool Call::run() {
    switch (static_cast<KernelFamily>(request.family % Fuzz::kernelFamilies)) {
    case KernelFamily::Arithmetic:
        return arithmetic();
    case KernelFamily::Comparison:
        return comparison();
    case KernelFamily::Select:
        return select();
    case KernelFamily::Unary:
        return unary();
    case KernelFamily::Component:
        return component();
    case KernelFamily::Logic:
        return logic();
    case KernelFamily::IsTrue:
        return truth();
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    KernelRequest request;
    if (size < sizeof request + 1)
        return 0;
    std::memcpy(&request, data, sizeof request);
    const std::uint8_t* const bytes = data + sizeof request;
    const std::size_t left = size - sizeof request;

    Areas expected(request, bytes, left);
    chooseInstructionSet(InstructionSet::Baseline);
    Call call(request, expected);
    const bool exists = call.run();
    for (int set = 1; set < instructionSetCount; ++set) {
        if (!chooseInstructionSet(static_cast<InstructionSet>(set)))
            continue;
        Areas areas(request, bytes, left);
        if (Call(request, areas).run() != exists || !(areas == expected))
            std::abort();
    }
    if (exists && call.count > 0)
        ++Fuzz::reached;
    return 0;
}
