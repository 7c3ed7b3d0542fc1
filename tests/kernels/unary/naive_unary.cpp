// The naive Negate and Length, and the builds of the kernels that tests compare with them.
#include "naive_unary.h"

#include <bit>
#include <cmath>
#include <cstddef>

namespace Fenlet {
namespace Tiles1 {
extern const UnaryKernels unaryKernels;
}
namespace Tiles2 {
extern const UnaryKernels unaryKernels;
}
namespace Tiles3 {
extern const UnaryKernels unaryKernels;
}
namespace Tiles7 {
extern const UnaryKernels unaryKernels;
}

namespace {

constexpr CpuElementKind half = CpuElementKind::Half;
constexpr CpuElementKind single = CpuElementKind::Float32;

template <const UnaryKernels& kernels>
bool runFrom(UnaryOp op, const UnaryKinds& kinds, const UnaryArgs& args) {
    const auto& table = op == UnaryOp::Negate ? kernels.negate : kernels.length;
    table.find(kinds.result, kinds.operand)(args);
    return true;
}

bool runDispatcher(UnaryOp op, const UnaryKinds& kinds, const UnaryArgs& args) {
    return dispatchUnary(op, kinds.result, kinds.operand, args);
}

float singleOf(std::uint64_t bits) {
    return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
}

std::uint64_t bitsOf(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

float widened(std::uint64_t halfBits) {
    return singleOf(Oracle::convertBits(single, half, halfBits));
}

std::uint64_t narrowed(float value) {
    return Oracle::convertBits(half, single, bitsOf(value));
}

std::uint64_t negated(CpuElementKind kind, std::uint64_t bits) {
    if (kind == CpuElementKind::Int32)
        return 0 - bits;
    return bits ^ Oracle::formatOf(kind).signBit();
}

/// The running sum plus the square of one more component. Both have this kind.
std::uint64_t withSquare(CpuElementKind kind, std::uint64_t sum, std::uint64_t component) {
    switch (kind) {
    case CpuElementKind::Int32:
        return static_cast<std::uint32_t>(sum + component * component);
    case half: {
        const float value = widened(component);
        const float square = value * value;
        return narrowed(widened(sum) + square);
    }
    case single: {
        const float square = singleOf(component) * singleOf(component);
        return bitsOf(singleOf(sum) + square);
    }
    default: {
        const double square = std::bit_cast<double>(component) * std::bit_cast<double>(component);
        return std::bit_cast<std::uint64_t>(std::bit_cast<double>(sum) + square);
    }
    }
}

std::uint64_t rootOf(CpuElementKind kind, std::uint64_t sum) {
    switch (kind) {
    case CpuElementKind::Int32: {
        const double wide = static_cast<std::int32_t>(static_cast<std::uint32_t>(sum));
        return Oracle::convertBits(kind, CpuElementKind::Float64,
                                   std::bit_cast<std::uint64_t>(std::sqrt(wide)));
    }
    case half:
        return narrowed(std::sqrt(widened(sum)));
    case single:
        return bitsOf(std::sqrt(singleOf(sum)));
    default:
        return std::bit_cast<std::uint64_t>(std::sqrt(std::bit_cast<double>(sum)));
    }
}

} // namespace

UnaryArgs UnaryCall::argsIn(LaneMemory& memory) const {
    return {memory.at(result), memory.at(operand), count, multiplicity};
}

std::string UnaryCall::name() const {
    return std::string(op == UnaryOp::Negate ? "Negate " : "Length ") +
           cpuElementKindName(kinds.operand) + " into " + cpuElementKindName(kinds.result) +
           ", count " + std::to_string(count) + ", multiplicity " + std::to_string(multiplicity) +
           ", result " + std::to_string(result) + ", operand " + std::to_string(operand);
}

void runNaively(const UnaryCall& call, LaneMemory& memory) {
    const CpuElementKind kind = call.kinds.result;
    const auto converted = [&](std::int64_t lane) {
        return Oracle::convertBits(kind, call.kinds.operand,
                                   memory.load(call.kinds.operand, call.operand, lane));
    };
    if (call.op == UnaryOp::Negate) {
        for (std::int64_t lane = 0; lane < call.operandLanes(); ++lane)
            memory.store(kind, call.result, lane, negated(kind, converted(lane)));
        return;
    }
    for (std::int64_t element = 0; element < call.count; ++element) {
        std::uint64_t sum = 0;
        for (std::int64_t component = 0; component < call.multiplicity; ++component)
            sum = withSquare(kind, sum, converted(element * call.multiplicity + component));
        const std::uint64_t root = rootOf(kind, sum);
        if (Oracle::isNan(kind, root))
            memory.storeNan(kind, call.result, element);
        else
            memory.store(kind, call.result, element, root);
    }
}

const std::vector<UnaryBuild>& everyUnaryBuild() {
    static const std::vector<UnaryBuild> builds{
        {"the library's own", &runDispatcher},
        {"tiles of 1 lane", &runFrom<Tiles1::unaryKernels>},
        {"tiles of 2 lanes", &runFrom<Tiles2::unaryKernels>},
        {"tiles of 3 lanes", &runFrom<Tiles3::unaryKernels>},
        {"tiles of 7 lanes", &runFrom<Tiles7::unaryKernels>}};
    return builds;
}

LaneMemory layOutApart(UnaryCall& call, int misalignment, Draw& draw) {
    AreaRow areas(misalignment);
    call.operand = areas.place(call.kinds.operand, call.operandLanes());
    call.result = areas.place(call.kinds.result, call.resultLanes());
    LaneMemory memory = areas.memory();
    drawLanes(memory.at(call.operand), call.kinds.operand, call.operandLanes(), draw);
    return memory;
}

UnaryVerdict holdAgainstNaive(const UnaryBuild& build, const UnaryCall& call,
                              const LaneMemory& memory) {
    LaneMemory expected = memory;
    runNaively(call, expected);
    if (expected.isAmbiguous())
        return {true, {}};
    LaneMemory actual = memory;
    std::string difference = build.run(call.op, call.kinds, call.argsIn(actual))
                                 ? expected.firstDifference(actual)
                                 : "refused";
    if (!difference.empty())
        difference = call.name() + ", by " + build.name + ": " + difference;
    return {false, std::move(difference)};
}

} // namespace Fenlet
