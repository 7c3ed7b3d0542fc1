// The first part of an input for the fuzzer of kernels. The bytes that fill the areas follow it.
#pragma once

#include <cstdint>

namespace Fenlet::Fuzz {

enum class KernelFamily : std::uint8_t {
    Arithmetic,
    Comparison,
    Select,
    Unary,
    Component,
    Logic,
    IsTrue,
};
inline constexpr int kernelFamilies = 7;

/// Bits of `KernelRequest::shape`. Each bit means what its name says: a side is a scalar, or an
/// area has validity bytes.
namespace KernelShape {
inline constexpr std::uint8_t leftScalar = 1;
inline constexpr std::uint8_t rightScalar = 2;
inline constexpr std::uint8_t byElement = 1; ///< a condition of one component
inline constexpr std::uint8_t leftValidity = 4;
inline constexpr std::uint8_t rightValidity = 8;
inline constexpr std::uint8_t overlapping = 128; ///< all areas lie in one piece of memory
} // namespace KernelShape

/// One call of a kernel. Every value of every byte has a meaning.
struct KernelRequest {
    std::uint8_t family;
    std::uint8_t kinds[3]; ///< kinds of the result, the left and the right operand
    std::uint8_t op;       ///< the family's operation, or a component's number
    std::uint8_t shape;
    std::uint8_t count;
    std::uint8_t multiplicity; ///< the multiplicity minus 1
    std::uint16_t places[7];   ///< where the areas begin, in the order in which they are made
};
static_assert(sizeof(KernelRequest) == 22, "no gaps");

} // namespace Fenlet::Fuzz
