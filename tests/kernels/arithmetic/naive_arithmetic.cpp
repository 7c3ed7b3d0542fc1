// The naive arithmetic, and the builds of the kernels that tests compare with it.
#include "naive_arithmetic.h"

#include <bit>
#include <cstddef>

namespace Fenlet {
namespace Tiles1 {
extern const ArithmeticKernels arithmeticKernels;
}
namespace Tiles2 {
extern const ArithmeticKernels arithmeticKernels;
}
namespace Tiles3 {
extern const ArithmeticKernels arithmeticKernels;
}
namespace Tiles7 {
extern const ArithmeticKernels arithmeticKernels;
}

namespace {

template <const ArithmeticKernels& kernels>
bool runFrom(const ArithmeticKinds& kinds, const ArithmeticArgs& args) {
    kernels.kernels.find(kinds.result, kinds.left, kinds.right)(args);
    return true;
}

bool runDispatcher(const ArithmeticKinds& kinds, const ArithmeticArgs& args) {
    return dispatchArithmetic(kinds.result, kinds.left, kinds.right, args);
}

template <class Number>
Number operate(ArithmeticOp op, Number left, Number right) {
    switch (op) {
    case ArithmeticOp::Add:
        return left + right;
    case ArithmeticOp::Subtract:
        return left - right;
    case ArithmeticOp::Multiply:
        return left * right;
    case ArithmeticOp::Divide:
        return left / right;
    }
    return left;
}

template <class Number, class Bits>
std::uint64_t operateOnBits(ArithmeticOp op, std::uint64_t left, std::uint64_t right) {
    return std::bit_cast<Bits>(operate(op, std::bit_cast<Number>(static_cast<Bits>(left)),
                                       std::bit_cast<Number>(static_cast<Bits>(right))));
}

/// The operation on two values of the result kind; an integer divisor is neither 0 nor -1.
std::uint64_t operateOnKind(CpuElementKind kind, ArithmeticOp op, std::uint64_t left,
                            std::uint64_t right) {
    constexpr CpuElementKind half = CpuElementKind::Half;
    constexpr CpuElementKind single = CpuElementKind::Float32;
    switch (kind) {
    case CpuElementKind::Int32:
        // 64 bits hold every exact result.
        return static_cast<std::uint32_t>(operate(op, std::int64_t{static_cast<std::int32_t>(left)},
                                                  std::int64_t{static_cast<std::int32_t>(right)}));
    case half:
        return Oracle::convertBits(
            half, single,
            operateOnBits<float, std::uint32_t>(op, Oracle::convertBits(single, half, left),
                                                Oracle::convertBits(single, half, right)));
    case single:
        return operateOnBits<float, std::uint32_t>(op, left, right);
    default:
        return operateOnBits<double, std::uint64_t>(op, left, right);
    }
}

/// A call of the naive loop, one lane at a time.
struct NaiveRun {
    const ArithmeticCall& call;
    LaneMemory& memory;

    std::uint64_t left(std::int64_t index) const {
        return Oracle::convertBits(call.kinds.result, call.kinds.left,
                                   memory.load(call.kinds.left, call.places.left, index));
    }
    std::uint64_t right(std::int64_t index) const {
        return Oracle::convertBits(call.kinds.result, call.kinds.right,
                                   memory.load(call.kinds.right, call.places.right, index));
    }

    void store(std::int64_t lane, std::uint64_t leftBits, std::uint64_t rightBits) const {
        const CpuElementKind kind = call.kinds.result;
        if (Oracle::isNan(kind, leftBits) && Oracle::isNan(kind, rightBits))
            memory.storeNan(kind, call.places.result, lane);
        else if (call.dividesIntegers() && rightBits == 0xFFFFFFFF)
            memory.store(kind, call.places.result, lane, 0 - leftBits);
        else
            memory.store(kind, call.places.result, lane,
                         operateOnKind(kind, call.op, leftBits, rightBits));
    }

    void storeInvalid(std::int64_t element, std::int64_t lane) const {
        memory.store(CpuElementKind::Int32, call.places.result, lane, 0);
        memory.store(CpuElementKind::Tribool, call.places.validity, element, 0);
    }

    void leftScalar() const {
        for (std::int32_t element = 0; element < call.count; ++element) {
            const std::uint64_t scalar = left(element);
            for (std::int32_t component = 0; component < call.multiplicity; ++component) {
                const std::int64_t lane = std::int64_t{element} * call.multiplicity + component;
                const std::uint64_t other = right(lane);
                if (call.dividesIntegers() && other == 0)
                    storeInvalid(element, lane);
                else
                    store(lane, scalar, other);
            }
        }
    }

    void rightScalar() const {
        for (std::int32_t element = 0; element < call.count; ++element) {
            const std::uint64_t scalar = right(element);
            for (std::int32_t component = 0; component < call.multiplicity; ++component) {
                const std::int64_t lane = std::int64_t{element} * call.multiplicity + component;
                if (call.dividesIntegers() && scalar == 0)
                    storeInvalid(element, lane);
                else
                    store(lane, left(lane), scalar);
            }
        }
    }

    void full() const {
        const auto lanes = static_cast<std::int32_t>(static_cast<std::uint32_t>(call.count) *
                                                     static_cast<std::uint32_t>(call.multiplicity));
        for (std::int32_t lane = 0; lane < lanes; ++lane) {
            const std::uint64_t leftBits = left(lane);
            store(lane, leftBits, right(lane));
        }
    }

    void fullDivision() const {
        for (std::int32_t element = 0; element < call.count; ++element)
            for (std::int32_t component = 0; component < call.multiplicity; ++component) {
                const std::int64_t lane = std::int64_t{element} * call.multiplicity + component;
                const std::uint64_t divisor = right(lane);
                if (divisor == 0)
                    storeInvalid(element, lane);
                else
                    store(lane, left(lane), divisor);
            }
    }
};

} // namespace

ArithmeticArgs ArithmeticCall::argsIn(LaneMemory& memory) const {
    return {memory.at(places.result),
            memory.at(places.validity),
            memory.at(places.left),
            memory.at(places.right),
            count,
            multiplicity,
            shape == ArithmeticShape::LeftScalar,
            shape == ArithmeticShape::RightScalar,
            op};
}

std::string ArithmeticCall::name() const {
    constexpr const char* ops[] = {"Add", "Subtract", "Multiply", "Divide"};
    constexpr const char* shapes[] = {"full", "left scalar", "right scalar"};
    return std::string(ops[static_cast<std::size_t>(op)]) + ' ' + cpuElementKindName(kinds.left) +
           ' ' + cpuElementKindName(kinds.right) + " into " + cpuElementKindName(kinds.result) +
           ", " + shapes[static_cast<std::size_t>(shape)] + ", count " + std::to_string(count) +
           ", multiplicity " + std::to_string(multiplicity) + ", result " +
           std::to_string(places.result) + ", validity " + std::to_string(places.validity) +
           ", left " + std::to_string(places.left) + ", right " + std::to_string(places.right);
}

void runNaively(const ArithmeticCall& call, LaneMemory& memory) {
    const NaiveRun run{call, memory};
    if (call.count < 1)
        return;
    if (call.shape == ArithmeticShape::LeftScalar)
        run.leftScalar();
    else if (call.shape == ArithmeticShape::RightScalar)
        run.rightScalar();
    else if (call.dividesIntegers())
        run.fullDivision();
    else
        run.full();
}

const std::vector<ArithmeticBuild>& everyArithmeticBuild() {
    static const std::vector<ArithmeticBuild> builds{
        {"the library's own", &runDispatcher},
        {"tiles of 1 lane", &runFrom<Tiles1::arithmeticKernels>},
        {"tiles of 2 lanes", &runFrom<Tiles2::arithmeticKernels>},
        {"tiles of 3 lanes", &runFrom<Tiles3::arithmeticKernels>},
        {"tiles of 7 lanes", &runFrom<Tiles7::arithmeticKernels>}};
    return builds;
}

LaneMemory layOutApart(ArithmeticCall& call, int misalignment, Draw& draw) {
    AreaRow areas(misalignment);
    call.places.left = areas.place(call.kinds.left, call.leftLanes());
    call.places.result = areas.place(call.kinds.result, call.lanes());
    call.places.right = areas.place(call.kinds.right, call.rightLanes());
    call.places.validity = areas.place(CpuElementKind::Tribool, call.count);
    LaneMemory memory = areas.memory();
    drawLanes(memory.at(call.places.left), call.kinds.left, call.leftLanes(), draw);
    drawLanes(memory.at(call.places.right), call.kinds.right, call.rightLanes(), draw);
    drawValidity(memory.at(call.places.validity), call.count, draw);
    return memory;
}

ArithmeticVerdict holdAgainstNaive(const ArithmeticBuild& build, const ArithmeticCall& call,
                                   const LaneMemory& memory) {
    LaneMemory expected = memory;
    runNaively(call, expected);
    if (expected.isAmbiguous())
        return {true, {}};
    LaneMemory actual = memory;
    std::string difference =
        build.run(call.kinds, call.argsIn(actual)) ? expected.firstDifference(actual) : "refused";
    if (!difference.empty())
        difference = call.name() + ", by " + build.name + ": " + difference;
    return {false, std::move(difference)};
}

} // namespace Fenlet
