// The list of storage kinds, as types. All tables of kinds are made from it.
#pragma once

#include <fenletexec/element_kinds.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace Fenlet {

/// A `CpuElementKind::Tribool` value: 0 false, 1 true, 255 unknown.
using Tribool = unsigned char;

/// A `CpuElementKind::Half` value: IEEE 754 binary16, as its raw bits.
struct Half {
    std::uint16_t bits;
};

template <class A, class B>
inline constexpr bool isSame = false;
template <class A>
inline constexpr bool isSame<A, A> = true;

/// A kind and the type of its lanes.
template <CpuElementKind kindNumber, class LaneType>
struct Kind {
    static constexpr CpuElementKind number = kindNumber;
    using Lane = LaneType;
};

template <class... Kinds>
struct KindList;

template <class Left, class Right>
struct JoinedLists;
template <class... Left, class... Right>
struct JoinedLists<KindList<Left...>, KindList<Right...>> {
    using Type = KindList<Left..., Right...>;
};

template <bool isKept, class Kind>
struct KeptKind {
    using Type = KindList<Kind>;
};
template <class Kind>
struct KeptKind<false, Kind> {
    using Type = KindList<>;
};

/// The kinds of `List` except those in `leftOut`.
template <class List, CpuElementKind... leftOut>
struct RemainingKinds {
    using Type = List;
};
template <class First, class... Rest, CpuElementKind... leftOut>
struct RemainingKinds<KindList<First, Rest...>, leftOut...> {
    using Type =
        typename JoinedLists<typename KeptKind<((First::number != leftOut) && ...), First>::Type,
                             typename RemainingKinds<KindList<Rest...>, leftOut...>::Type>::Type;
};

/// The position of each kind in a list, indexed by the number of the kind; -1 for a kind that is
/// not in the list.
template <std::size_t numbers>
struct KindPositions {
    signed char of[numbers];
};

/// The highest number in a list of kinds.
template <class... Kinds>
inline constexpr std::size_t highestNumber = [] {
    std::size_t highest = 0;
    for (const CpuElementKind number : {Kinds::number...})
        if (static_cast<std::size_t>(number) > highest)
            highest = static_cast<std::size_t>(number);
    return highest;
}();

template <class... Kinds>
inline constexpr auto positionsAmong = [] {
    KindPositions<highestNumber<Kinds...> + 1> positions{};
    for (signed char& position : positions.of)
        position = -1;
    signed char next = 0;
    ((positions.of[static_cast<std::size_t>(Kinds::number)] = next++), ...);
    return positions;
}();

template <class... Kinds>
struct KindList {
    static constexpr int count = sizeof...(Kinds);
    static constexpr CpuElementKind numbers[] = {Kinds::number...};
    static constexpr std::size_t highest =
        highestNumber<Kinds...>; ///< the highest of these numbers

    /// The position of a kind in this list, or -1. `kind` may be any number.
    static constexpr int positionOf(CpuElementKind kind) {
        constexpr const auto& positions = positionsAmong<Kinds...>;
        const auto number = static_cast<std::uint32_t>(kind);
        return number < sizeof positions.of ? positions.of[number] : -1;
    }

    template <CpuElementKind... leftOut>
    using Without = typename RemainingKinds<KindList, leftOut...>::Type;

    /// Calls `visit.operator()<Lane>(position)` for each kind in turn.
    template <class Visit>
    static constexpr void forEach(Visit visit) {
        int position = 0;
        (visit.template operator()<typename Kinds::Lane>(position++), ...);
    }
};

/// Every storage kind. If a kind of the enumeration is missing here, element_kinds.cpp does not
/// compile.
using AllKinds =
    KindList<Kind<CpuElementKind::Tribool, Tribool>, Kind<CpuElementKind::Int32, std::int32_t>,
             Kind<CpuElementKind::Int64, std::int64_t>, Kind<CpuElementKind::Half, Half>,
             Kind<CpuElementKind::Float32, float>, Kind<CpuElementKind::Float64, double>>;

/// The kind whose lanes have this type.
template <class Lane>
inline constexpr CpuElementKind kindOf = [] {
    CpuElementKind kind = CpuElementKind::Unsupported;
    const auto find = [&]<class... Kinds>(KindList<Kinds...>) {
        ((kind = isSame<typename Kinds::Lane, Lane> ? Kinds::number : kind), ...);
    };
    find(AllKinds{});
    return kind;
}();

using NumericKinds = AllKinds::Without<CpuElementKind::Tribool>;
/// The kinds that arithmetic, Negate and Length support. They do not support Int64, which is meant
/// for element numbers.
using KindsWithArithmetic = NumericKinds::Without<CpuElementKind::Int64>;

/// Whether values can be converted between two kinds: between all numeric kinds, and from Tribool
/// to Tribool.
template <class To, class From>
inline constexpr bool hasConversion = isSame<To, Tribool> == isSame<From, Tribool>;

/// A table with an entry for each kind of a list, indexed by the number of the kind.
template <class Entry, class Kinds>
struct KindTable {
    Entry of[Kinds::highest + 1];

    /// The entry of a kind, `Entry{}` if it is not in the list. `kind` may be any number.
    constexpr Entry find(CpuElementKind kind) const {
        const auto number = static_cast<std::uint32_t>(kind);
        return number <= Kinds::highest ? of[number] : Entry{};
    }
};

/// Makes a table. The entry for the kind whose lanes have type A is `make.operator()<A>()`.
template <class Entry, class Kinds, class Make>
constexpr KindTable<Entry, Kinds> kindTable(Make make) {
    KindTable<Entry, Kinds> table{};
    Kinds::forEach([&]<class Lane>(int position) {
        table.of[static_cast<std::size_t>(Kinds::numbers[position])] =
            make.template operator()<Lane>();
    });
    return table;
}

/// A table with an entry for each pair of kinds of a list.
template <class Entry, class Kinds>
struct PairTable {
    Entry of[Kinds::count][Kinds::count];

    /// The entry of a pair, `Entry{}` if either kind is not in the list.
    constexpr Entry find(CpuElementKind first, CpuElementKind second) const {
        const int row = Kinds::positionOf(first);
        const int column = Kinds::positionOf(second);
        return row < 0 || column < 0 ? Entry{} : of[row][column];
    }
};

/// Makes a table. The entry for kinds whose lanes have types A and B is `make.operator()<A, B>()`.
template <class Entry, class Kinds, class Make>
constexpr PairTable<Entry, Kinds> pairTable(Make make) {
    PairTable<Entry, Kinds> table{};
    Kinds::forEach([&]<class First>(int row) {
        Kinds::forEach([&]<class Second>(int column) {
            table.of[row][column] = make.template operator()<First, Second>();
        });
    });
    return table;
}

/// A table with an entry for each triple of kinds of a list.
template <class Entry, class Kinds>
struct TripleTable {
    PairTable<Entry, Kinds> of[Kinds::count];

    /// The entry of a triple, `Entry{}` if one of the kinds is not in the list.
    constexpr Entry find(CpuElementKind first, CpuElementKind second, CpuElementKind third) const {
        const int position = Kinds::positionOf(first);
        return position < 0 ? Entry{} : of[position].find(second, third);
    }
};

/// Makes a table. The entry for kinds whose lanes have types A, B and C is
/// `make.operator()<A, B, C>()`.
template <class Entry, class Kinds, class Make>
constexpr TripleTable<Entry, Kinds> tripleTable(Make make) {
    TripleTable<Entry, Kinds> table{};
    Kinds::forEach([&]<class First>(int position) {
        table.of[position] = pairTable<Entry, Kinds>([make]<class Second, class Third>() {
            return make.template operator()<First, Second, Third>();
        });
    });
    return table;
}

} // namespace Fenlet
