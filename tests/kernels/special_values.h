// Test values for kernels: the ends of ranges, values at which results round or wrap, infinities
// and NaNs.
#pragma once

#include "oracle/lane_bits.h"
#include "vocabulary/kinds.h"

#include <fenletexec/element_kinds.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <iterator>
#include <vector>

namespace Fenlet {

/// The kinds that numbers are stored in, from the lowest rank to the highest.
inline constexpr const auto& numericKinds = NumericKinds::numbers;

/// `more`, followed by all kinds.
template <std::size_t count>
constexpr auto withAllKinds(const CpuElementKind (&more)[count]) {
    std::array<CpuElementKind, count + AllKinds::count> kinds{};
    std::copy(std::begin(AllKinds::numbers), std::end(AllKinds::numbers),
              std::copy(std::begin(more), std::end(more), kinds.begin()));
    return kinds;
}

inline constexpr auto everyKind = withAllKinds({CpuElementKind::Unsupported});

/// All kinds, and numbers that are not the number of a kind.
inline constexpr auto everyKindAndStrays = withAllKinds(
    {CpuElementKind::Unsupported, static_cast<CpuElementKind>(-1),
     static_cast<CpuElementKind>(AllKinds::count + 1), static_cast<CpuElementKind>(100)});

/// Multiplicities around vector widths and tile lengths, and those that programs use most.
inline constexpr int everyMultiplicity[] = {1, 2, 3, 4, 5, 7, 8, 15, 16, 17, 64, 600};

/// A sequence of numbers that look random and are the same in every run.
class Draw {
  public:
    explicit Draw(std::uint64_t seed) : state(seed) {}

    std::uint64_t next() {
        state += 0x9E3779B97F4A7C15u;
        std::uint64_t mixed = state;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
        return mixed ^ (mixed >> 31);
    }

    /// From 0 up to `limit`, exclusive.
    int below(int limit) { return static_cast<int>(next() % static_cast<std::uint64_t>(limit)); }

  private:
    std::uint64_t state;
};

/// The bits of a kind's special values. For `Tribool` they include bytes other than 0, 1 and 255.
inline const std::vector<std::uint64_t>& specialBits(CpuElementKind kind) {
    static const std::vector<std::uint64_t> none{0};
    static const std::vector<std::uint64_t> tribools{0, 1, 255, 2, 42, 127, 128, 254};
    static const std::vector<std::uint64_t> int32s{
        0,          1,          0xFFFFFFFF, 2,      0xFFFFFFFE, 3,      7,          0xFFFFFFF9,
        10,         300,        2048,       2049,   2051,       46341,  65504,      65519,
        65520,      0xFFFF0010, 70000,      131073, 0xFFFE0000, 131072, 16777217,   0xFEFFFFFF,
        0x5A5A5A5A, 0x7FFFFF80, 0x7FFFFFFE, 65536,  0x7FFFFFFF, 33,     0x80000000, 0x80000001};
    static const std::vector<std::uint64_t> int64s{0,
                                                   1,
                                                   0xFFFFFFFFFFFFFFFF,
                                                   2049,
                                                   2051,
                                                   65519,
                                                   65520,
                                                   0xFFFFFFFFFFFF0010,
                                                   0x7FFFFFFF,
                                                   0x80000000,
                                                   0xFFFFFFFF80000000,
                                                   0xFFFFFFFF7FFFFFFF,
                                                   0x100000000,
                                                   0x1FFFFFFFF,
                                                   16777217,
                                                   9007199254740993,
                                                   0xFFDFFFFFFFFFFFFF,
                                                   1152921573326323713,
                                                   0x7FFFFFFFFFFFFFFF,
                                                   0x7FFFFFFFFFFFFC00,
                                                   0x8000000000000000,
                                                   0x8000000000000001};
    static const std::vector<std::uint64_t> halves{
        0x0000, 0x8000, 0x0001, 0x8001, 0x03FF, 0x0400, 0x8400, 0x3800, 0x3BFF, 0x3C00,
        0xBC00, 0x3C01, 0x3F9A, 0xC1CD, 0x4000, 0x4200, 0x4900, 0x5640, 0x6800, 0x7BFF,
        0xFBFF, 0x7C00, 0xFC00, 0x7C01, 0xFC01, 0x7E00, 0xFE12, 0x7FFF};
    static const std::vector<std::uint64_t> float32s{
        0x00000000, 0x80000000, 0x00000001, 0x80000001, 0x007FFFFF, 0x00800000, 0x80800000,
        0x33000000, 0x33000001, 0x33D6BF95, 0x33800000, 0x387FC000, 0x387FE000, 0x38800000,
        0x3F000000, 0x3F666666, 0xBF000000, 0x3F800000, 0xBF800000, 0x3F801000, 0x3F803000,
        0x3F800001, 0x3FF33333, 0xBFF33333, 0x40000000, 0x4039999A, 0x41200000, 0x477FE000,
        0x477FEFFF, 0x477FF000, 0xC77FF000, 0x4B800000, 0x4EFFFFFF, 0x4F000000, 0xCF000000,
        0xCF000001, 0x4F32D05E, 0x5EFFFFFF, 0x5F000000, 0xDF000000, 0x7F7FFFFF, 0xFF7FFFFF,
        0x7F800000, 0xFF800000, 0x7F800001, 0xFF812345, 0x7FC00000, 0xFFFFFFFF};
    static const std::vector<std::uint64_t> float64s{
        0x0000000000000000, 0x8000000000000000, 0x0000000000000001, 0x8000000000000001,
        0x000FFFFFFFFFFFFF, 0x0010000000000000, 0x3E60000000000000, 0x3E60000000000001,
        0x3F0FFC0000000000, 0x3F10000000000000, 0x3690000000000000, 0x36A0000000000000,
        0x380FFFFFE0000000, 0x3FE0000000000000, 0x3FECCCCCCCCCCCCD, 0xBFE0000000000000,
        0x3FF0000000000000, 0xBFF0000000000000, 0x3FF0020000000000, 0x3FF0020000400000,
        0x3FF0060000000000, 0x3FF0000010000000, 0x3FF0000010000001, 0x3FFE666666666666,
        0xBFFE666666666666, 0x4007333333333333, 0x4024000000000000, 0x40EFFC0000000000,
        0x40EFFDFFFFFFFFFF, 0x40EFFE0000000000, 0xC0EFFE0000000000, 0x4170000010000000,
        0x41DFFFFFFFC00000, 0x41DFFFFFFFF9999A, 0x41E0000000000000, 0xC1E0000000000000,
        0xC1E00000001CCCCD, 0xC1E0000000200000, 0x41E65A0BC0000000, 0x43DFFFFFFFFFFFFF,
        0x43E0000000000000, 0xC3E0000000000000, 0xC3E0000000000001, 0x4340000000000001,
        0x47EFFFFFE0000000, 0x47EFFFFFF0000000, 0x4801E3A44F54D2E2, 0x7E37E43C8800759C,
        0x7FEFFFFFFFFFFFFF, 0xFFEFFFFFFFFFFFFF, 0x7FF0000000000000, 0xFFF0000000000000,
        0x7FF0000000000001, 0xFFF0000012345678, 0x7FF8000000000000, 0xFFFFFFFFFFFFFFFF};
    switch (kind) {
    case CpuElementKind::Tribool:
        return tribools;
    case CpuElementKind::Int32:
        return int32s;
    case CpuElementKind::Int64:
        return int64s;
    case CpuElementKind::Half:
        return halves;
    case CpuElementKind::Float32:
        return float32s;
    case CpuElementKind::Float64:
        return float64s;
    default:
        return none;
    }
}

/// The bits of a small whole number, which most programs use. For `Half`, any number below 2.
inline std::uint64_t drawWholeBits(CpuElementKind kind, Draw& draw) {
    const int whole = draw.below(201) - 100;
    if (kind == CpuElementKind::Float32)
        return std::bit_cast<std::uint32_t>(static_cast<float>(whole));
    if (kind == CpuElementKind::Float64)
        return std::bit_cast<std::uint64_t>(static_cast<double>(whole));
    if (kind == CpuElementKind::Half)
        return draw.next() & 0xBFFF;
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(whole));
}

/// The bits of a random value: a special value, any bits, or a small whole number.
inline std::uint64_t drawBits(CpuElementKind kind, Draw& draw) {
    const std::vector<std::uint64_t>& special = specialBits(kind);
    const int choice = draw.below(4);
    if (choice < 2)
        return special[draw.next() % special.size()];
    return choice == 2 ? draw.next() : drawWholeBits(kind, draw);
}

using DrawBits = std::uint64_t (*)(CpuElementKind kind, Draw& draw);

/// Fills `lanes` lanes at `area` with drawn values.
inline void drawLanes(unsigned char* area, CpuElementKind kind, std::int64_t lanes, Draw& draw,
                      DrawBits drawOne = &drawBits) {
    const auto bytes = static_cast<std::size_t>(elementSize(kind));
    for (std::int64_t lane = 0; lane < lanes; ++lane)
        Oracle::storeBits(kind, area + static_cast<std::size_t>(lane) * bytes, drawOne(kind, draw));
}

/// Fills validity bytes with 0, 1 and other bytes, which count as valid.
inline void drawValidity(unsigned char* area, std::int64_t elements, Draw& draw) {
    constexpr unsigned char bytes[] = {1, 0, 1, 255, 1, 2, 0, 128};
    for (std::int64_t element = 0; element < elements; ++element)
        area[element] = bytes[draw.next() % sizeof bytes];
}

} // namespace Fenlet
