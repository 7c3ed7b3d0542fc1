// The evaluator's conversions, chosen by kind.
#include "lane_conversions.h"

#include "kernels/conversions/conversions.h"
#include "vocabulary/kinds.h"

#include <type_traits>

namespace Fenlet {
namespace {

template <class To, class From>
constexpr LaneConversion conversionOf() {
    if constexpr (hasConversion<To, From>)
        return &mapRun<Convert<To, From>>;
    else
        return nullptr;
}

/// Indexed by the kinds' numbers, so that a lookup is fast: fields look up a conversion for every
/// block.
constexpr auto conversions =
    kindTable<KindTable<LaneConversion, AllKinds>, AllKinds>([]<class To>() {
        return kindTable<LaneConversion, AllKinds>(
            []<class From>() { return conversionOf<To, From>(); });
    });

/// The register type for array lanes of type `Stored`.
template <class Stored>
using InRegister =
    std::conditional_t<std::is_same_v<Stored, std::uint32_t>, std::int64_t, std::int32_t>;

template <class To, class Stored>
struct ConvertStored {
    using In = Stored;
    using Out = To;
    static To apply(Stored value) { return convert<To>(InRegister<Stored>{value}); }
};

struct TruthOfByte {
    using In = unsigned char;
    using Out = Tribool;
    static Tribool apply(unsigned char value) { return value != 0 ? 1 : 0; }
};

template <class Stored>
constexpr auto conversionsOfStored = kindTable<LaneConversion, NumericKinds>(
    []<class To>() -> LaneConversion { return &mapRun<ConvertStored<To, Stored>>; });

} // namespace

LaneConversion laneConversion(CpuElementKind to, CpuElementKind from) {
    const auto number = static_cast<std::uint32_t>(to);
    return number <= AllKinds::highest ? conversions.of[number].find(from) : nullptr;
}

LaneConversion laneConversion(CpuElementKind to, ArrayKind from) {
    switch (from) {
    case ArrayKind::Bool:
        return to == CpuElementKind::Tribool ? &mapRun<TruthOfByte> : nullptr;
    case ArrayKind::Int8:
        return conversionsOfStored<std::int8_t>.find(to);
    case ArrayKind::UInt8:
        return conversionsOfStored<std::uint8_t>.find(to);
    case ArrayKind::Int16:
        return conversionsOfStored<std::int16_t>.find(to);
    case ArrayKind::UInt16:
        return conversionsOfStored<std::uint16_t>.find(to);
    case ArrayKind::UInt32:
        return conversionsOfStored<std::uint32_t>.find(to);
    default:
        // Every other array kind is also a register kind, or has no storage.
        return laneConversion(to, registerKind(from));
    }
}

} // namespace Fenlet
