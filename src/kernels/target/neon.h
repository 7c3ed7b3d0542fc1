// NEON. Every AArch64 processor has it.
#pragma once

#include "kernels/target/offers.h"

#include <arm_neon.h>

namespace Fenlet {
inline namespace FENLET_TARGET {

inline constexpr int vectorBytes = 16;

/// Whether any bit of a vector is set. Compilers do not emit this instruction for a plain loop.
template <class Vector>
inline bool isAnySet(const Vector& bytes) {
    return vmaxvq_u8(bitCast<uint8x16_t>(bytes)) != 0;
}

/// Narrows masks.
struct NarrowMasks {
    using Bytes = uint8x16_t;
    /// The masks of two vectors, each half as wide as before.
    static Bytes halved(const Bytes& low, const Bytes& high) { return vuzp1q_u8(low, high); }
    /// Puts masks of lanes of `laneBytes` bytes in order, after the last halving.
    template <int laneBytes>
    static Bytes inOrder(const Bytes& masks) {
        return masks;
    }
};

/// Four lanes at a time. Truncation is left to the compiler: this processor gives other results for
/// floats that do not fit an integer.
struct WideLanes {
    using Floats = float32x4_t;

    static Floats loadHalves(const unsigned char* in) {
        return widened(loadLane<uint16x4_t>(in, 0));
    }
    static Floats loadFloats(const unsigned char* in) { return loadLane<float32x4_t>(in, 0); }
    static Floats loadIntegers(const unsigned char* in) {
        return vcvtq_f32_s32(loadLane<int32x4_t>(in, 0));
    }
    static void storeHalves(unsigned char* out, Floats value) {
        storeLane(out, 0, narrowed(value));
    }
    static Floats rounded(Floats value) { return widened(narrowed(value)); }

  private:
    static Floats widened(uint16x4_t halves) { return vcvt_f32_f16(vreinterpret_f16_u16(halves)); }
    static uint16x4_t narrowed(Floats value) { return vreinterpret_u16_f16(vcvt_f16_f32(value)); }
};

} // namespace FENLET_TARGET
} // namespace Fenlet
