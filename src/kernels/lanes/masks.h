// Between lanes and the bytes that describe them, a vector of bytes at a time: the truth of a
// comparison, a condition, validity. A mask has all bits of a lane set, or none.
#pragma once

#include "kernels/lanes/vectors.h"

#include <cstdint>

namespace Fenlet {
inline namespace FENLET_TARGET {

using ByteVector = VectorOf<std::uint8_t>;

/// The masks of `vectors` consecutive vectors, starting with `maskOf(first)`, each narrowed to one
/// byte. They are in the order that `NarrowMasks::halved` leaves.
template <int vectors, int first, class MaskOf>
inline NarrowMasks::Bytes halvedMasks(const MaskOf& maskOf) {
    if constexpr (vectors == 1)
        return bitCast<NarrowMasks::Bytes>(maskOf(first));
    else
        return NarrowMasks::halved(halvedMasks<vectors / 2, first>(maskOf),
                                   halvedMasks<vectors / 2, first + vectors / 2>(maskOf));
}

/// A byte for each lane of as many vectors as a lane has bytes: `maskOf(number)` gives the masks of
/// one of them.
template <int laneBytes, class MaskOf>
inline ByteVector byteMasks(const MaskOf& maskOf) {
    return bitCast<ByteVector>(NarrowMasks::inOrder<laneBytes>(halvedMasks<laneBytes, 0>(maskOf)));
}

/// Each byte repeated over a word: vector `part` of as many as a word has bytes.
template <class Word, int part>
inline VectorOf<Word> repeatedBytes(const ByteVector& bytes) {
    if constexpr (sizeof(Word) == 1) {
        return bytes;
    } else {
        using Half = UnsignedOfSize<sizeof(Word) / 2>;
        return bitCast<VectorOf<Word>>(
            spreadPart<2, part % 2, Half>(repeatedBytes<Half, part / 2>(bytes)));
    }
}

/// Where either of two validity bytes is 0.
inline ByteVector missingMask(const ByteVector& left, const ByteVector& right) {
    return bitCast<ByteVector>((left < right ? left : right) == 0);
}

} // namespace FENLET_TARGET
} // namespace Fenlet
