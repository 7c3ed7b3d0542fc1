// Arrays in memory: the kind of their elements, and where each element lies.
#pragma once

#include <fenletexec/element_kinds.h>
#include <fenlethosts/export.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>

namespace Fenlet {

/// How an array stores one component. Registers have fewer kinds: `registerKind` names the register
/// kind that an array kind is read as.
enum class ArrayKind : std::int32_t {
    Unsupported = 0,
    Tribool = 1, ///< one byte: 0 false, 1 true, 255 unknown
    Int32 = 2,
    Int64 = 3,
    Half = 4, ///< IEEE 754 binary16
    Float32 = 5,
    Float64 = 6,
    Bool = 7, ///< one byte: 0 false, any other true
    Int8 = 8,
    UInt8 = 9,
    Int16 = 10,
    UInt16 = 11,
    UInt32 = 12,
};

/// The number of values of `ArrayKind`, including `Unsupported`.
inline constexpr int arrayKindCount = 13;

/// The array kind that stores components of register kind `kind` unchanged. `Unsupported` for a
/// value outside the enumeration.
constexpr ArrayKind arrayKind(CpuElementKind kind) {
    return kind >= CpuElementKind::Unsupported && kind <= CpuElementKind::Float64
               ? static_cast<ArrayKind>(kind)
               : ArrayKind::Unsupported;
}

/// The register kind that holds every value of an array kind. `Int8`, `UInt8`, `Int16` and `UInt16`
/// become `Int32`, `UInt32` becomes `Int64`, and `Bool` becomes `Tribool`. All other kinds keep
/// their name.
FENLETHOSTS_API CpuElementKind registerKind(ArrayKind kind);

/// Bytes of one component, 0 for `Unsupported` and for a value outside the enumeration.
FENLETHOSTS_API std::int32_t componentSize(ArrayKind kind);

/// The kind's name as the enumeration spells it, "Unsupported" for a value outside it. The text has
/// static lifetime.
FENLETHOSTS_API const char* arrayKindName(ArrayKind kind);

/// The array kind of a C++ type: the fixed-width integers up to 32 bits, `std::int64_t`, `bool`,
/// `float` and `double`; `Unsupported` for any other type. C++17 has no type for Half and Tribool:
/// construct the view with the kind instead.
template <class Value>
constexpr ArrayKind arrayKindOf() {
    static_assert(sizeof(bool) == 1);
    if constexpr (std::is_same_v<Value, bool>)
        return ArrayKind::Bool;
    else if constexpr (std::is_same_v<Value, float>)
        return ArrayKind::Float32;
    else if constexpr (std::is_same_v<Value, double>)
        return ArrayKind::Float64;
    else if constexpr (!std::is_integral_v<Value>)
        return ArrayKind::Unsupported;
    else if constexpr (sizeof(Value) == 1)
        return std::is_signed_v<Value> ? ArrayKind::Int8 : ArrayKind::UInt8;
    else if constexpr (sizeof(Value) == 2)
        return std::is_signed_v<Value> ? ArrayKind::Int16 : ArrayKind::UInt16;
    else if constexpr (sizeof(Value) == 4)
        return std::is_signed_v<Value> ? ArrayKind::Int32 : ArrayKind::UInt32;
    else
        return std::is_signed_v<Value> ? ArrayKind::Int64 : ArrayKind::Unsupported;
}

/// The largest number of axes that a view can have.
inline constexpr int mostAxes = 8;
/// The largest number of components that an element can have.
inline constexpr std::int32_t mostComponents = 65536;

/// One axis of a view. Along this axis, element i of the view is element i + `offset` of the array.
/// It is missing unless i + `offset` is from 0 to `extent` - 1.
struct ArrayAxis {
    std::int64_t size = 0;           ///< number of elements in the view
    std::int64_t stride = 0;         ///< bytes from one element to the next; may be 0 or negative
    std::int64_t presenceStride = 0; ///< the same for presence, in bytes or in bits
    std::int64_t offset = 0;         ///< the view's first element; may lie outside the array
    std::int64_t extent = 0;         ///< number of elements in the array
};

/// Which elements of an array have a value. If `data` is null, all of them do.
template <class Byte>
struct BasicPresence {
    Byte* data = nullptr; ///< presence of the array's element 0 along every axis
    bool isBits = false;  ///< a bit for each element, lowest bit of a byte first; otherwise a byte
    std::int64_t firstBit = 0; ///< which bit at `data` is element 0's; 0 for bytes
};

/// A view of an array. The view does not own the memory and never allocates. Nothing needs to be
/// aligned. Elements are numbered with the last axis varying fastest.
///
/// `Void` is `const void` in a view for reading and `void` in a view for writing.
template <class Void>
struct BasicArrayView {
    using Byte = std::conditional_t<std::is_const_v<Void>, const unsigned char, unsigned char>;

    /// The array's element 0 along every axis. May be null if the view or the array has no
    /// elements.
    Void* data = nullptr;
    ArrayKind kind = ArrayKind::Unsupported;
    std::int32_t components = 1;      ///< number of components of each element
    std::int64_t componentStride = 0; ///< bytes from one component to the next
    std::int32_t axisCount = 1;       ///< 0 for a view of one element
    ArrayAxis axes[mostAxes] = {};
    BasicPresence<Byte> presence;

    BasicArrayView() = default;

    /// `count` elements along one axis, `stride` bytes from one to the next; 0 means adjacent.
    /// `presenceBytes` has a byte for each element, 0 for a missing one; null if none is missing.
    BasicArrayView(Void* newData, ArrayKind newKind, std::int64_t count,
                   std::int32_t newComponents = 1, std::int64_t stride = 0,
                   Byte* presenceBytes = nullptr)
        : data(newData),
          kind(newKind),
          components(newComponents),
          componentStride(componentSize(newKind)) {
        axes[0] = {count, stride != 0 ? stride : componentStride * components, 1, 0, count};
        presence.data = presenceBytes;
    }
    BasicArrayView(Void* newData, CpuElementKind newKind, std::int64_t count,
                   std::int32_t newComponents = 1, std::int64_t stride = 0,
                   Byte* presenceBytes = nullptr)
        : BasicArrayView(newData, arrayKind(newKind), count, newComponents, stride, presenceBytes) {
    }

    /// A view for reading can be made from one for writing.
    template <class Other,
              class = std::enable_if_t<std::is_const_v<Void> && std::is_same_v<Other, void>>>
    BasicArrayView(const BasicArrayView<Other>& other)
        : data(other.data),
          kind(other.kind),
          components(other.components),
          componentStride(other.componentStride),
          axisCount(other.axisCount) {
        for (int axis = 0; axis < mostAxes; ++axis)
            axes[axis] = other.axes[axis];
        presence = {other.presence.data, other.presence.isBits, other.presence.firstBit};
    }

    /// `count` adjacent elements of `components` adjacent components each.
    template <class Value>
    static BasicArrayView of(Value* data, std::int64_t count, std::int32_t components = 1) {
        constexpr ArrayKind kind = arrayKindOf<std::remove_const_t<Value>>();
        static_assert(kind != ArrayKind::Unsupported, "no array kind stores values of this type");
        return {data, kind, count, components};
    }
    /// All values of a vector, array or span, with `components` of them in each element. Values
    /// left over at the end are not part of the view.
    template <class Values, class = decltype(std::declval<Values&>().data())>
    static BasicArrayView of(Values& values, std::int32_t components = 1) {
        return of(values.data(),
                  static_cast<std::int64_t>(values.size()) / (components > 0 ? components : 1),
                  components);
    }

    /// The same elements in the same order, along axes of these sizes. The view must have one axis
    /// with offset 0 that covers the whole array, and the sizes must multiply to its number of
    /// elements. Otherwise the result is a view in which `faultOfView` finds a fault.
    BasicArrayView shaped(std::initializer_list<std::int64_t> sizes) const;

    /// The view moved over its array. Element i of the result is the array's element at position i
    /// + `by` of this view. The position may lie beyond this view's edges; the element is missing
    /// if the position lies outside the array. `by` has one number for each axis; otherwise the
    /// result is a view in which `faultOfView` finds a fault.
    BasicArrayView shifted(std::initializer_list<std::int64_t> by) const;

    /// The same view with a presence byte for each element of the array, packed in the order of its
    /// elements.
    BasicArrayView withPresence(Byte* bytes) const;
    /// The same view with a presence bit for each element of the array, packed in the order of its
    /// elements. Bit `firstBit` belongs to element 0.
    BasicArrayView withPresenceBits(Byte* bits, std::int64_t firstBit = 0) const;

    /// The number of elements: the product of all sizes. -1 if `axisCount` is out of range, a size
    /// is negative, or the product needs more than 63 bits.
    std::int64_t count() const;
};

template <class Void>
std::int64_t BasicArrayView<Void>::count() const {
    if (axisCount < 0 || axisCount > mostAxes)
        return -1;
    std::int64_t elements = 1;
    bool overflows = false;
    bool isEmpty = false;
    for (int axis = 0; axis < axisCount; ++axis) {
        const std::int64_t size = axes[axis].size;
        if (size < 0)
            return -1;
        isEmpty = isEmpty || size == 0;
        overflows = overflows || __builtin_mul_overflow(elements, size, &elements);
    }
    return isEmpty ? 0 : overflows ? -1 : elements;
}

/// The product modulo 2 to the power 64. Sizes and strides are not checked yet, and signed overflow
/// would be undefined. `faultOfView` finds the views whose products overflow.
constexpr std::int64_t wrappingProduct(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}
constexpr std::int64_t wrappingSum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

template <class Void>
BasicArrayView<Void> BasicArrayView<Void>::shaped(std::initializer_list<std::int64_t> sizes) const {
    BasicArrayView shapedView = *this;
    const ArrayAxis whole = axes[0];
    shapedView.axisCount = -1;
    if (axisCount != 1 || sizes.size() > std::size_t{mostAxes} || whole.offset != 0 ||
        whole.extent != whole.size)
        return shapedView;
    auto axis = static_cast<std::int32_t>(sizes.size());
    shapedView.axisCount = axis;
    std::int64_t inner = 1;
    while (axis-- > 0) {
        const std::int64_t size = sizes.begin()[axis];
        shapedView.axes[axis] = {size, wrappingProduct(whole.stride, inner),
                                 wrappingProduct(whole.presenceStride, inner), 0, size};
        inner = wrappingProduct(inner, size);
    }
    if (shapedView.count() != whole.size)
        shapedView.axisCount = -1;
    return shapedView;
}

template <class Void>
BasicArrayView<Void> BasicArrayView<Void>::shifted(std::initializer_list<std::int64_t> by) const {
    BasicArrayView moved = *this;
    moved.axisCount = -1;
    if (axisCount < 0 || axisCount > mostAxes || by.size() != static_cast<std::size_t>(axisCount))
        return moved;
    moved.axisCount = axisCount;
    for (int axis = 0; axis < axisCount; ++axis) {
        // If the new offset overflows, it lies outside every array. The nearest offset that fits
        // into 64 bits does so, too.
        const std::int64_t way = by.begin()[axis];
        if (__builtin_add_overflow(axes[axis].offset, way, &moved.axes[axis].offset))
            moved.axes[axis].offset = way < 0 ? INT64_MIN : INT64_MAX;
    }
    return moved;
}

template <class Void>
BasicArrayView<Void> BasicArrayView<Void>::withPresence(Byte* bytes) const {
    BasicArrayView masked = *this;
    masked.presence = {bytes, false, 0};
    std::int64_t inner = 1;
    for (int axis = axisCount > mostAxes ? -1 : axisCount - 1; axis >= 0; --axis) {
        masked.axes[axis].presenceStride = inner;
        inner = wrappingProduct(inner, axes[axis].extent);
    }
    return masked;
}

template <class Void>
BasicArrayView<Void> BasicArrayView<Void>::withPresenceBits(Byte* bits,
                                                            std::int64_t firstBit) const {
    BasicArrayView masked = withPresence(bits);
    masked.presence.isBits = true;
    masked.presence.firstBit = firstBit;
    return masked;
}

/// A view for reading.
using ArrayView = BasicArrayView<const void>;
/// A view for writing.
using MutableArrayView = BasicArrayView<void>;

/// Says what is wrong with a view and what would be right; empty if nothing is wrong. Every
/// function and class that takes a view makes this check. The check cannot tell whether the view's
/// memory exists.
FENLETHOSTS_API std::string faultOfView(const ArrayView& view);

} // namespace Fenlet
