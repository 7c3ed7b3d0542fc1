// Stores in random views, compared with a naive writer.
#include "hosts/random_views.h"

#include <fenlethosts/array_store.h>

#include <cmath>
#include <gtest/gtest.h>

namespace Fenlet::Hosts {
namespace {

/// The least and greatest integer of an array's kind.
struct WholeRange {
    std::int64_t least = 0;
    std::int64_t most = 0;
};

WholeRange rangeOf(ArrayKind kind) {
    const int bits = 8 * componentSize(kind);
    const bool isSigned =
        kind != ArrayKind::UInt8 && kind != ArrayKind::UInt16 && kind != ArrayKind::UInt32;
    if (!isSigned)
        return {0, (std::int64_t{1} << bits) - 1};
    const std::int64_t half = std::int64_t{1} << (bits - 2);
    return {-half - half, half - 1 + half};
}

bool isWhole(ArrayKind kind) {
    const CpuElementKind inRegister = registerKind(kind);
    return inRegister == CpuElementKind::Int32 || inRegister == CpuElementKind::Int64;
}

/// Stores the lowest bits in an array's lane.
void storeLaneBits(ArrayKind kind, unsigned char* lane, std::uint64_t bits) {
    const auto size = static_cast<std::size_t>(componentSize(kind));
    std::memcpy(lane, reinterpret_cast<const unsigned char*>(&bits) + Oracle::lowBytes(size), size);
}

double asDouble(CpuElementKind kind, std::uint64_t bits) {
    const std::uint64_t wide = converted(CpuElementKind::Float64, kind, bits);
    double value;
    std::memcpy(&value, &wide, sizeof value);
    return value;
}

/// One lane after narrowing.
struct NaiveLane {
    std::uint64_t bits = 0;
    bool fits = true;
};

NaiveLane narrowedTruth(ArrayKind to, std::uint64_t bits, UnknownAs rule) {
    if (to == ArrayKind::Tribool || bits <= 1)
        return {bits, true};
    return {rule == UnknownAs::True ? 1u : 0u, rule != UnknownAs::Missing};
}

NaiveLane narrowedWhole(ArrayKind to, std::int64_t value, Narrowing rule) {
    const WholeRange range = rangeOf(to);
    const bool fits = value >= range.least && value <= range.most;
    if (rule == Narrowing::Saturate && !fits)
        value = value < range.least ? range.least : range.most;
    return {static_cast<std::uint64_t>(value), fits || rule != Narrowing::Missing};
}

NaiveLane narrowedFloat(CpuElementKind to, CpuElementKind from, std::uint64_t bits,
                        Narrowing rule) {
    NaiveLane lane{converted(to, from, bits), true};
    const double rounded = asDouble(to, lane.bits);
    const bool fromInteger = from == CpuElementKind::Int32 || from == CpuElementKind::Int64;
    const bool overflows =
        std::isinf(rounded) && (fromInteger || !std::isinf(asDouble(from, bits)));
    if (rule == Narrowing::Saturate && overflows)
        lane.bits = to == CpuElementKind::Half ? (rounded < 0 ? 0xFBFF : 0x7BFF)
                                               : (rounded < 0 ? 0xFF7FFFFF : 0x7F7FFFFF);
    if (rule == Narrowing::Missing && fromInteger)
        // An integer fits if a conversion back gives the same integer.
        lane.fits = !overflows && rounded != 0x1p63 && converted(from, to, lane.bits) == bits;
    else if (rule == Narrowing::Missing)
        lane.fits = !overflows;
    return lane;
}

NaiveLane narrowedLane(ArrayKind to, CpuElementKind from, std::uint64_t bits,
                       const OutputRules& rules) {
    if (from == CpuElementKind::Tribool)
        return narrowedTruth(to, bits, rules.unknown);
    if (isWhole(to))
        return narrowedWhole(to,
                             from == CpuElementKind::Int32
                                 ? static_cast<std::int32_t>(static_cast<std::uint32_t>(bits))
                                 : static_cast<std::int64_t>(bits),
                             rules.narrowing);
    return narrowedFloat(registerKind(to), from, bits, rules.narrowing);
}

/// The arguments of a store.
struct Stored {
    CpuElementKind kind;
    std::int64_t first = 0;
    std::int64_t count = 0;
    Bytes values;
    Bytes validity; ///< empty if all are valid
};

Stored drawStored(Dice& dice, const ArrayView& view, CpuElementKind kind, bool canBeMissing) {
    Stored stored;
    stored.kind = kind;
    stored.first = dice.draw(-3, view.count());
    stored.count = dice.draw(0, dice.once(2) ? 300 : 20);
    const auto size = static_cast<std::size_t>(elementSize(kind));
    stored.values.resize(static_cast<std::size_t>(stored.count * view.components) * size);
    for (std::size_t at = 0; at < stored.values.size(); at += size)
        storeBits(kind, stored.values.data() + at, drawLane(dice, kind));
    for (std::int64_t i = 0; i < stored.count && canBeMissing; ++i)
        stored.validity.push_back(dice.once(4) ? 0 : static_cast<unsigned char>(dice.draw(1, 255)));
    return stored;
}

OutputRules drawRules(Dice& dice, const ArrayView& view) {
    OutputRules rules;
    rules.narrowing = isWhole(view.kind)
                          ? dice.pick({Narrowing::Wrap, Narrowing::Saturate, Narrowing::Missing})
                          : dice.pick({Narrowing::Saturate, Narrowing::Missing});
    rules.unknown = dice.pick({UnknownAs::False, UnknownAs::True, UnknownAs::Missing});
    if (view.presence.data == nullptr || dice.once(3)) {
        std::vector<std::int64_t> fill;
        const std::int64_t components = dice.once(2) ? 1 : view.components;
        for (std::int64_t c = 0; c < components; ++c)
            fill.push_back(dice.draw(0, 1));
        rules.fill = Constant::ofIntegers(std::move(fill));
    }
    return rules;
}

/// Does what the documentation of `ArrayStore` says, one element at a time.
void storeNaively(const MutableArrayView& view, const Stored& stored, const OutputRules& rules) {
    const auto size = static_cast<std::size_t>(elementSize(stored.kind));
    const auto components = static_cast<std::size_t>(view.components);
    for (std::int64_t i = 0; i < stored.count; ++i) {
        const std::int64_t number = stored.first + i;
        if (number < 0 || number >= view.count())
            continue;
        const auto place = placeInArray(view, number);
        if (!place)
            continue;
        const auto position = static_cast<std::size_t>(i);
        const bool isValid = stored.validity.empty() || stored.validity[position] != 0;
        bool fits = true;
        std::vector<std::uint64_t> lanes;
        for (std::size_t c = 0; c < components; ++c) {
            const NaiveLane lane = narrowedLane(
                view.kind, stored.kind,
                loadBits(stored.kind, stored.values.data() + (position * components + c) * size),
                rules);
            lanes.push_back(lane.bits);
            fits = fits && lane.fits;
        }
        auto* const element =
            static_cast<unsigned char*>(view.data) + distance(view, *place, &ArrayAxis::stride);
        for (std::size_t c = 0; c < components; ++c) {
            std::uint64_t bits = fits ? lanes[c] : 0;
            if (rules.fill && !(fits && isValid)) {
                const auto whole = rules.fill->integers[rules.fill->integers.size() == 1 ? 0 : c];
                bits = registerKind(view.kind) == CpuElementKind::Tribool
                           ? static_cast<std::uint64_t>(whole)
                           : narrowedLane(view.kind, CpuElementKind::Int64,
                                          static_cast<std::uint64_t>(whole), rules)
                                 .bits;
            }
            storeLaneBits(view.kind, element + static_cast<std::int64_t>(c) * view.componentStride,
                          bits);
        }
        if (view.presence.data == nullptr)
            continue;
        const std::int64_t at =
            view.presence.firstBit + distance(view, *place, &ArrayAxis::presenceStride);
        if (!view.presence.isBits) {
            view.presence.data[at] = fits && isValid ? 1 : 0;
            continue;
        }
        const std::int64_t byte = at >= 0 ? at / 8 : -((7 - at) / 8);
        const int bit = 1 << (at - 8 * byte);
        unsigned char& bits = view.presence.data[byte];
        bits = static_cast<unsigned char>(fits && isValid ? bits | bit : bits & ~bit);
    }
}

Bytes bytesOf(const std::unique_ptr<FencedArea>& area, std::size_t size) {
    return size == 0 ? Bytes() : Bytes(area->data(), area->data() + size);
}

void putBytes(const std::unique_ptr<FencedArea>& area, const Bytes& bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i)
        area->data()[i] = bytes[i];
}

/// Stores the same elements with `ArrayStore` and with the naive writer, and compares all memory of
/// the views. Returns whether the kinds can be stored.
bool storesAlike(Dice& dice, const DrawnView& drawn, CpuElementKind kind) {
    const OutputRules rules = drawRules(dice, drawn.view);
    const std::string fault =
        ArrayStore::faultOf(drawn.view, kind, drawn.view.components, true, rules);
    if (!fault.empty()) {
        const bool areBothTruths = (kind == CpuElementKind::Tribool) ==
                                   (registerKind(drawn.view.kind) == CpuElementKind::Tribool);
        const bool isRounding = isWhole(drawn.view.kind) && kind >= CpuElementKind::Half;
        EXPECT_TRUE(!areBothTruths || isRounding) << fault;
        return false;
    }
    const ArrayStore store(drawn.view, kind, drawn.view.components, true, rules);
    const Stored stored = drawStored(dice, drawn.view, kind, dice.once(2));
    const Bytes valuesBefore = bytesOf(drawn.values, drawn.valueBytes);
    const Bytes presenceBefore = bytesOf(drawn.presence, drawn.presenceBytes);
    store.store(stored.first, stored.count, stored.values.data(),
                stored.validity.empty() ? nullptr : stored.validity.data());
    const Bytes values = bytesOf(drawn.values, drawn.valueBytes);
    const Bytes presence = bytesOf(drawn.presence, drawn.presenceBytes);
    putBytes(drawn.values, valuesBefore);
    putBytes(drawn.presence, presenceBefore);
    storeNaively(drawn.view, stored, rules);
    EXPECT_EQ(values, bytesOf(drawn.values, drawn.valueBytes))
        << testing::PrintToString(kind) << ", rule " << static_cast<int>(rules.narrowing);
    EXPECT_EQ(presence, bytesOf(drawn.presence, drawn.presenceBytes));
    return true;
}

TEST(RandomStore, WritesWhatANaiveWriterWrites) {
    Dice dice(3);
    int stores = 0;
    for (int i = 0; i < 3000 && !HasFailure(); ++i) {
        DrawnShape shape;
        shape.isWritten = true;
        shape.isLarge = i % 50 == 0;
        const DrawnView drawn = drawView(dice, shape);
        SCOPED_TRACE(drawn.text);
        for (const CpuElementKind kind : allKinds)
            stores += storesAlike(dice, drawn, kind);
    }
    EXPECT_GT(stores, 5000);
}

} // namespace
} // namespace Fenlet::Hosts
