// Seeds for the fuzzer of kernels: calls of every family, in every shape.
#include "kernel_request.h"
#include "seeds.h"

#include <fenletexec/element_kinds.h>

#include <cstring>
#include <initializer_list>
#include <iterator>

namespace Fenlet::Fuzz {
namespace {

using enum CpuElementKind;

struct Kinds {
    CpuElementKind result;
    CpuElementKind left;
    CpuElementKind right;
};

/// A call over 150 elements. Areas begin at different offsets within a word.
Seed seed(const char* name, KernelFamily family, Kinds kinds, int op, int multiplicity,
          int shape = 0) {
    KernelRequest request{};
    request.family = static_cast<std::uint8_t>(family);
    int place = 0;
    for (const CpuElementKind kind : {kinds.result, kinds.left, kinds.right})
        request.kinds[place++] = static_cast<std::uint8_t>(kind);
    request.op = static_cast<std::uint8_t>(op);
    request.shape = static_cast<std::uint8_t>(shape);
    request.count = 150;
    request.multiplicity = static_cast<std::uint8_t>(multiplicity - 1);
    for (int area = 0; area < 7; ++area)
        request.places[area] = static_cast<std::uint16_t>(area * 3 % 7);
    std::vector<std::uint8_t> bytes(sizeof request);
    std::memcpy(bytes.data(), &request, sizeof request);
    constexpr std::uint8_t content[] = {0, 1, 255, 64, 1, 0, 200, 3, 1, 129, 0, 17, 1};
    bytes.insert(bytes.end(), std::begin(content), std::end(content));
    return {name, bytes};
}

void addArithmetic(std::vector<Seed>& seeds) {
    constexpr auto family = KernelFamily::Arithmetic;
    const auto add = [&](const char* name, Kinds kinds, int op, int multiplicity, int shape = 0) {
        seeds.push_back(seed(name, family, kinds, op, multiplicity, shape));
    };
    constexpr int addition = 0, subtraction = 1, multiplication = 2, division = 3;
    add("arithmetic_full", {Float32, Float32, Float32}, addition, 1);
    add("arithmetic_mixed", {Half, Float64, Int32}, subtraction, 3);
    add("arithmetic_left_scalar", {Float64, Half, Float32}, multiplication, 4,
        KernelShape::leftScalar);
    add("arithmetic_right_scalar", {Float32, Int32, Half}, division, 9, KernelShape::rightScalar);
    add("division_int32", {Int32, Int32, Int32}, division, 1);
    add("division_int32_scalar", {Int32, Float32, Int32}, division, 3, KernelShape::rightScalar);
    add("arithmetic_overlapping", {Unsupported, Unsupported, Unsupported}, addition, 2,
        KernelShape::overlapping); // the first integer kind
}

void addComparisonsAndLogic(std::vector<Seed>& seeds) {
    const auto add = [&](const char* name, KernelFamily family, CpuElementKind left,
                         CpuElementKind right, int op, int multiplicity, int shape) {
        seeds.push_back(seed(name, family, {Tribool, left, right}, op, multiplicity, shape));
    };
    constexpr int validities = KernelShape::leftValidity | KernelShape::rightValidity;
    add("comparison_full", KernelFamily::Comparison, Int64, Int64, 0, 1, 0);
    add("comparison_scalar", KernelFamily::Comparison, Float32, Half, 3, 3,
        KernelShape::rightScalar | KernelShape::leftValidity);
    add("comparison_validities", KernelFamily::Comparison, Int32, Float64, 4, 5, validities);
    add("not", KernelFamily::Logic, Tribool, Tribool, 0, 1, 0);
    add("and", KernelFamily::Logic, Tribool, Tribool, 1, 3, 0);
    add("or", KernelFamily::Logic, Tribool, Tribool, 2, 9, 0);
    add("is_true", KernelFamily::IsTrue, Tribool, Tribool, 0, 1, KernelShape::leftValidity);
    add("is_true_vector", KernelFamily::IsTrue, Tribool, Tribool, 0, 3, KernelShape::leftValidity);
    add("is_true_all_valid", KernelFamily::IsTrue, Tribool, Tribool, 0, 4, 0);
}

void addSelects(std::vector<Seed>& seeds) {
    const auto add = [&](const char* name, Kinds kinds, int multiplicity, int shape) {
        seeds.push_back(seed(name, KernelFamily::Select, kinds, 0, multiplicity, shape));
    };
    constexpr int validities = KernelShape::leftValidity | KernelShape::rightValidity;
    add("select_scalar", {Float32, Float32, Float32}, 1, KernelShape::byElement | validities);
    add("select_by_element", {Half, Half, Half}, 3, KernelShape::byElement);
    add("select_by_component", {Float64, Float64, Float64}, 3, validities);
    add("select_converting", {Int32, Float64, Half}, 2, KernelShape::leftValidity);
    add("select_converting_by_element", {Float32, Int64, Float64}, 9, KernelShape::byElement);
    add("select_tribool", {Tribool, Tribool, Tribool}, 4, KernelShape::rightValidity);
}

void addUnaries(std::vector<Seed>& seeds) {
    const auto add = [&](const char* name, KernelFamily family, CpuElementKind result,
                         CpuElementKind operand, int op, int multiplicity) {
        seeds.push_back(seed(name, family, {result, operand, operand}, op, multiplicity));
    };
    add("negate", KernelFamily::Unary, Float32, Float32, 0, 3);
    add("negate_converting", KernelFamily::Unary, Half, Int32, 0, 1);
    add("length", KernelFamily::Unary, Float32, Float32, 1, 3);
    add("length_int32", KernelFamily::Unary, Int32, Int32, 1, 2);
    add("length_wide", KernelFamily::Unary, Half, Float64, 1, 9);
    add("component", KernelFamily::Component, Float32, Float32, 2, 3);
    add("component_converting", KernelFamily::Component, Half, Int64, 1, 4);
    add("component_tribool", KernelFamily::Component, Tribool, Tribool, 8, 9);
}

} // namespace

std::vector<Seed> kernelSeeds() {
    std::vector<Seed> seeds;
    addArithmetic(seeds);
    addComparisonsAndLogic(seeds);
    addSelects(seeds);
    addUnaries(seeds);
    return seeds;
}

} // namespace Fenlet::Fuzz
