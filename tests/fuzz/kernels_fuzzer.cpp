// The kernels' records with any numbers: every instruction set leaves the same bytes. Which of two
// NaNs a sum passes on is open, so no lane begins as one. Areas of integers may overlap; those of
// floats stay apart, since a result's bytes, read again as another lane, could be any NaN.
#include "kernels/arithmetic/arithmetic.h"
#include "kernels/boolean/boolean.h"
#include "kernels/comparisons/comparisons.h"
#include "kernels/select/select.h"
#include "kernels/target/sets.h"
#include "kernels/unary/unary.h"
#include "sources/component.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using namespace Fenlet;

constexpr std::size_t areaBytes = 1 << 13;
constexpr std::size_t memoryBytes = 7 * areaBytes;

/// What one input asks for.
struct Request {
    std::uint8_t family;
    std::uint8_t kinds[3];
    std::uint8_t op;
    std::uint8_t shape;
    std::uint8_t count;
    std::uint8_t multiplicity;
    std::uint16_t places[6]; ///< where the areas begin
};

bool overlaps(const Request& request) {
    return (request.shape & 0x80) != 0;
}

CpuElementKind kindOf(const Request& request, int place) {
    constexpr CpuElementKind whole[] = {CpuElementKind::Int32, CpuElementKind::Int64,
                                        CpuElementKind::Tribool};
    return overlaps(request) ? whole[request.kinds[place] % 3]
                             : static_cast<CpuElementKind>(request.kinds[place] % 8);
}

/// Runs the request over `memory`. An area has at most 200 elements of 4 components of 8 bytes.
void runKernel(const Request& request, std::vector<unsigned char>& memory) {
    const auto at = [&](int area) {
        const std::size_t own = overlaps(request) ? 0 : static_cast<std::size_t>(area) * areaBytes;
        return memory.data() + own + request.places[area] % 1700;
    };
    const std::int32_t count = request.count % 201;
    const std::int32_t multiplicity = 1 + request.multiplicity % 4;
    const CpuElementKind result = kindOf(request, 0);
    const CpuElementKind left = kindOf(request, 1);
    const CpuElementKind right = kindOf(request, 2);
    switch (request.family % 7) {
    case 0:
        dispatchArithmetic(result, left, right,
                           {at(0), at(1), at(2), at(3), count, multiplicity, request.shape % 3 == 1,
                            request.shape % 3 == 2, static_cast<ArithmeticOp>(request.op % 5)});
        break;
    case 1:
        dispatchComparison(left, right,
                           {at(0), at(2), request.shape & 2 ? at(4) : nullptr, at(3),
                            request.shape & 4 ? at(5) : nullptr, count, multiplicity,
                            (request.shape & 1) != 0, request.op % 7u});
        break;
    case 2:
        dispatchSelect(result, left, right,
                       {at(0), at(1), at(2), request.shape & 1 ? 1 : multiplicity, at(3),
                        request.shape & 2 ? at(4) : nullptr, at(5), nullptr, count, multiplicity});
        break;
    case 3:
        dispatchUnary(static_cast<UnaryOp>(request.op % 3), result, left,
                      {at(0), at(2), count, multiplicity});
        break;
    case 4:
        dispatchComponent(result, left,
                          {at(0), at(2), count, multiplicity, request.op % multiplicity});
        break;
    case 5: {
        const LogicArgs args{at(0), at(2), at(3), std::int64_t{count} * multiplicity};
        if (request.op % 3 == 0)
            logicalNot(args);
        else
            (request.op % 3 == 1 ? logicalAnd : logicalOr)(args);
        break;
    }
    default:
        isTrue({at(0), at(1), at(2), request.shape & 1 ? at(4) : nullptr, count, multiplicity});
    }
}

/// Bytes that make no NaN of any float kind, wherever a lane begins: no exponent is full.
unsigned char tame(std::uint8_t byte) {
    return byte & 0xDF;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Request request;
    if (size < sizeof request + 1)
        return 0;
    std::memcpy(&request, data, sizeof request);
    std::vector<unsigned char> start(memoryBytes);
    const std::size_t left = size - sizeof request;
    for (std::size_t i = 0; i < memoryBytes; ++i)
        start[i] = tame(static_cast<std::uint8_t>(data[sizeof request + i % left] + i / left));

    std::vector<unsigned char> expected = start;
    chooseInstructionSet(InstructionSet::Baseline);
    runKernel(request, expected);
    for (const InstructionSet set : {InstructionSet::Avx2, InstructionSet::Avx512}) {
        std::vector<unsigned char> memory = start;
        if (!chooseInstructionSet(set))
            continue;
        runKernel(request, memory);
        if (memory != expected)
            std::abort();
    }
    return 0;
}
