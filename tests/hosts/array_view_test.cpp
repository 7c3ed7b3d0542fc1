// Views: how they are made, and how faults in them are described.
#include "hosts/random_views.h"

#include <fenlethosts/array_field.h>
#include <fenlethosts/array_layout.h>

#include <array>
#include <gtest/gtest.h>
#include <limits>

namespace Fenlet::Hosts {
namespace {

constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

TEST(ArrayKind, HasANameASizeAndARegisterKind) {
    const struct {
        ArrayKind kind;
        const char* name;
        std::int32_t bytes;
        CpuElementKind inRegister;
    } facts[] = {
        {ArrayKind::Unsupported, "Unsupported", 0, CpuElementKind::Unsupported},
        {ArrayKind::Tribool, "Tribool", 1, CpuElementKind::Tribool},
        {ArrayKind::Int32, "Int32", 4, CpuElementKind::Int32},
        {ArrayKind::Int64, "Int64", 8, CpuElementKind::Int64},
        {ArrayKind::Half, "Half", 2, CpuElementKind::Half},
        {ArrayKind::Float32, "Float32", 4, CpuElementKind::Float32},
        {ArrayKind::Float64, "Float64", 8, CpuElementKind::Float64},
        {ArrayKind::Bool, "Bool", 1, CpuElementKind::Tribool},
        {ArrayKind::Int8, "Int8", 1, CpuElementKind::Int32},
        {ArrayKind::UInt8, "UInt8", 1, CpuElementKind::Int32},
        {ArrayKind::Int16, "Int16", 2, CpuElementKind::Int32},
        {ArrayKind::UInt16, "UInt16", 2, CpuElementKind::Int32},
        {ArrayKind::UInt32, "UInt32", 4, CpuElementKind::Int64},
        {static_cast<ArrayKind>(13), "Unsupported", 0, CpuElementKind::Unsupported},
        {static_cast<ArrayKind>(-1), "Unsupported", 0, CpuElementKind::Unsupported},
    };
    for (const auto& fact : facts) {
        EXPECT_STREQ(arrayKindName(fact.kind), fact.name);
        EXPECT_EQ(componentSize(fact.kind), fact.bytes) << fact.name;
        EXPECT_EQ(registerKind(fact.kind), fact.inRegister) << fact.name;
    }
    for (const CpuElementKind kind : allKinds) {
        EXPECT_STREQ(arrayKindName(arrayKind(kind)), cpuElementKindName(kind));
        EXPECT_EQ(componentSize(arrayKind(kind)), elementSize(kind));
        EXPECT_EQ(registerKind(arrayKind(kind)), kind);
    }
    for (const CpuElementKind kind : kindsWithoutStorage)
        EXPECT_EQ(arrayKind(kind), ArrayKind::Unsupported);
}

TEST(ArrayKind, IsFoundFromATypeOfTheLanguage) {
    EXPECT_EQ(arrayKindOf<bool>(), ArrayKind::Bool);
    EXPECT_EQ(arrayKindOf<std::int8_t>(), ArrayKind::Int8);
    EXPECT_EQ(arrayKindOf<std::uint8_t>(), ArrayKind::UInt8);
    EXPECT_EQ(arrayKindOf<std::int16_t>(), ArrayKind::Int16);
    EXPECT_EQ(arrayKindOf<std::uint16_t>(), ArrayKind::UInt16);
    EXPECT_EQ(arrayKindOf<std::int32_t>(), ArrayKind::Int32);
    EXPECT_EQ(arrayKindOf<std::uint32_t>(), ArrayKind::UInt32);
    EXPECT_EQ(arrayKindOf<std::int64_t>(), ArrayKind::Int64);
    EXPECT_EQ(arrayKindOf<std::uint64_t>(), ArrayKind::Unsupported);
    EXPECT_EQ(arrayKindOf<float>(), ArrayKind::Float32);
    EXPECT_EQ(arrayKindOf<double>(), ArrayKind::Float64);
    EXPECT_EQ(arrayKindOf<void*>(), ArrayKind::Unsupported);
}

/// The elements of a view over an array of bytes. A missing element is -1.
std::vector<int> elementsOf(const ArrayView& view) {
    EXPECT_EQ(faultOfView(view), "");
    std::vector<int> found;
    for (std::int64_t n = 0; n < view.count(); ++n) {
        const NaiveElement element = naiveElement(view, n);
        found.push_back(element.isPresent ? static_cast<int>(element.lanes[0]) : -1);
    }
    return found;
}

constexpr std::array<std::uint8_t, 6> six = {0, 1, 2, 3, 4, 5};

TEST(ArrayView, IsMadeOfVectorsArraysAndAddresses) {
    const std::vector<float> pairs(7);
    const ArrayView view = ArrayView::of(pairs, 2);
    EXPECT_EQ(view.data, pairs.data());
    EXPECT_EQ(view.kind, ArrayKind::Float32);
    EXPECT_EQ(view.count(), 3);
    EXPECT_EQ(view.components, 2);
    EXPECT_EQ(view.componentStride, 4);
    EXPECT_EQ(view.axes[0].stride, 8);
    EXPECT_EQ(elementsOf(ArrayView::of(six)), (std::vector<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(elementsOf(ArrayView::of(six.data(), 4)), (std::vector<int>{0, 1, 2, 3}));
    std::vector<double> written(2);
    const MutableArrayView output = MutableArrayView::of(written);
    EXPECT_EQ(output.data, written.data());
    const ArrayView readAgain = output;
    EXPECT_EQ(readAgain.data, written.data());
    EXPECT_EQ(readAgain.count(), 2);
    EXPECT_NE(faultOfView(ArrayView::of(six, 0)), "");
}

TEST(ArrayView, TakesAnotherShape) {
    const ArrayView square = ArrayView::of(six).shaped({2, 3});
    EXPECT_EQ(square.axisCount, 2);
    EXPECT_EQ(elementsOf(square), (std::vector<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(elementsOf(ArrayView::of(six.data(), 1).shaped({})), std::vector<int>{0});
    EXPECT_EQ(ArrayView::of(six.data(), 0).shaped({0, 9}).count(), 0);
    const char* const words =
        "the view was shaped or shifted in a way that does not fit it; give shaped() sizes that "
        "multiply to its number of elements, and shifted() a number for each axis";
    EXPECT_EQ(faultOfView(ArrayView::of(six).shaped({2, 2})), words);
    EXPECT_EQ(faultOfView(ArrayView::of(six).shaped({-2, -3})), words);
    EXPECT_EQ(faultOfView(ArrayView::of(six).shaped({most, 4, 3})), words);
    EXPECT_EQ(faultOfView(ArrayView::of(six).shaped({1, 1, 1, 1, 1, 1, 1, 1, 6})), words);
    EXPECT_EQ(faultOfView(square.shaped({6})), words);
    EXPECT_EQ(faultOfView(ArrayView::of(six).shifted({1}).shaped({2, 3})), words);
    EXPECT_EQ(faultOfView(square.shifted({1})), words);
    EXPECT_EQ(faultOfView(square.shifted({1}).shifted({})), words);
}

TEST(ArrayView, IsShiftedOverItsArray) {
    const ArrayView square = ArrayView::of(six).shaped({2, 3});
    EXPECT_EQ(elementsOf(square.shifted({0, 1})), (std::vector<int>{1, 2, -1, 4, 5, -1}));
    EXPECT_EQ(elementsOf(square.shifted({-1, 0})), (std::vector<int>{-1, -1, -1, 0, 1, 2}));
    EXPECT_EQ(elementsOf(square.shifted({-1, 0}).shifted({1, -1})),
              (std::vector<int>{-1, 0, 1, -1, 3, 4}));
    for (const std::int64_t far : {most, least, most - 1, least + 1}) {
        EXPECT_EQ(elementsOf(square.shifted({far, 0})), std::vector<int>(6, -1)) << far;
        EXPECT_EQ(elementsOf(square.shifted({far, 0}).shifted({far, far})),
                  std::vector<int>(6, -1));
        ArrayField field(square.shifted({0, far}));
        const std::int64_t number = 4;
        unsigned char value[4] = {1, 1, 1, 1};
        unsigned char validity = 1;
        ASSERT_TRUE(field.read({value, &validity, CpuElementKind::Int32, 1, &number, true, 1}));
        EXPECT_EQ(validity, 0);
        EXPECT_EQ(value[0], 0);
    }
}

TEST(ArrayView, HasPresenceAsBytesAndAsBits) {
    const unsigned char bytes[] = {1, 0, 7, 1, 0, 1};
    const unsigned char bits[] = {0x80, 0x16};
    const ArrayView square = ArrayView::of(six).shaped({2, 3});
    const std::vector<int> some = {0, -1, 2, 3, -1, 5};
    EXPECT_EQ(elementsOf(square.withPresence(bytes)), some);
    EXPECT_EQ(elementsOf(square.withPresenceBits(bits, 7)), some);
    EXPECT_EQ(elementsOf(square.withPresence(bytes).shifted({0, 1})),
              (std::vector<int>{-1, 2, -1, -1, 5, -1}));
    EXPECT_EQ(elementsOf(ArrayView(six.data(), ArrayKind::UInt8, 6, 1, 0, bytes)), some);
}

TEST(ArrayView, CountsNothingThatCannotBeCounted) {
    ArrayView view = ArrayView::of(six);
    view.axisCount = 9;
    EXPECT_EQ(view.count(), -1);
    EXPECT_EQ(view.shifted({1, 1, 1, 1, 1, 1, 1, 1, 1}).axisCount, -1);
    EXPECT_EQ(view.withPresence(six.data()).count(), -1);
    view.axisCount = 2;
    view.axes[1] = {-1, 0, 0, 0, 1};
    EXPECT_EQ(view.count(), -1);
    view.axes[1].size = most;
    EXPECT_EQ(view.count(), -1);
    view.axes[0].size = 0;
    EXPECT_EQ(view.count(), 0);
}

/// The fault of a view of 2 by 3 elements after `change`.
template <class Change>
std::string faultAfter(Change change) {
    ArrayView view = ArrayView::of(six).shaped({2, 3});
    change(view);
    const std::string fault = faultOfView(view);
    // A faulty view has no elements, and its field declines.
    const ArrayLayout layout(view);
    EXPECT_EQ(layout.kind() == ArrayKind::Unsupported, !fault.empty());
    ArrayField field(view);
    const std::int64_t number = 0;
    unsigned char value[64] = {};
    unsigned char validity = 1;
    EXPECT_EQ(field.read({value, &validity, CpuElementKind::Int32, view.components, &number, false,
                          fault.empty() ? 1 : 0}),
              fault.empty());
    return fault;
}

TEST(ArrayView, SaysWhatIsWrongWithIt) {
    EXPECT_EQ(faultAfter([](ArrayView&) {}), "");
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.axisCount = 9; }),
              "the view has 9 axes; give it 0 to 8");
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.axisCount = -2; }),
              "the view has -2 axes; give it 0 to 8");
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.kind = static_cast<ArrayKind>(13); }),
              "the array's kind is 13, which cannot be stored; choose one from Tribool to UInt32");
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.components = 0; }),
              "the array has 0 components to an element; give it 1 to 65536");
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.components = 65537; }),
              "the array has 65537 components to an element; give it 1 to 65536");
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.axes[1].size = -3; }),
              "axis 1 has a size of -3; give it 0 or more");
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.axes[0].extent = -1; }),
              "axis 0 has an extent of -1; give it 0 or more");
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.axes[0].size = most; }),
              "the view has more than 9223372036854775807 elements; give it smaller sizes");
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.data = nullptr; }),
              "the view has elements but no address; give it the address of the array's element 0");
    EXPECT_EQ(faultAfter([](ArrayView& view) {
                  view.data = nullptr;
                  view.axes[1].size = 0;
              }),
              "");
    EXPECT_EQ(faultAfter([](ArrayView& view) {
                  view.data = nullptr;
                  view.axes[1].extent = 0;
              }),
              "");
    const char* const tooFar =
        "the array spans more than 9223372036854775807 bytes; give it smaller strides or "
        "extents";
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.axes[0].stride = most - 2; }), tooFar);
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.axes[0].stride = least; }), tooFar);
    EXPECT_EQ(faultAfter([](ArrayView& view) { view.axes[0].extent = most; }), tooFar);
    EXPECT_EQ(faultAfter([](ArrayView& view) {
                  view.components = 65536;
                  view.componentStride = most / 60000;
              }),
              tooFar);
    // The largest possible array. The view does not include its last element.
    EXPECT_EQ(faultAfter([](ArrayView& view) {
                  view.axes[0].size = 1;
                  view.axes[0].stride = most - 3;
              }),
              "");
    EXPECT_EQ(faultAfter([](ArrayView& view) {
                  view = view.withPresenceBits(six.data());
                  view.presence.firstBit = -1;
              }),
              "presence begins at bit -1; let it begin at bit 0 or later");
    EXPECT_EQ(faultAfter([](ArrayView& view) {
                  view = view.withPresence(six.data());
                  view.presence.firstBit = 3;
              }),
              "presence has a byte for each element and begins at bit 3; let it begin at bit 0");
    EXPECT_EQ(
        faultAfter([](ArrayView& view) { view = view.withPresenceBits(six.data(), most - 4); }),
        "the array's presence spans more than 9223372036854775807 bits; give it "
        "smaller presence strides");
    EXPECT_EQ(faultAfter([](ArrayView& view) {
                  view = view.withPresence(six.data());
                  view.axes[0].presenceStride = least;
              }),
              "the array's presence spans more than 9223372036854775807 bytes; give it "
              "smaller presence strides");
}

TEST(ArrayField, ReadsStridesThatLeaveTheCaches) {
    // A column of a table with rows of 4,096 bytes, downwards and upwards.
    constexpr std::int64_t rows = 600;
    std::vector<std::uint16_t> table(rows * 2048);
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = static_cast<std::uint16_t>(i / 2048 + 1000 * (i % 2048 != 5));
    for (const std::int64_t stride : {4096, -4096}) {
        const auto* const first = table.data() + 5 + (stride < 0 ? (rows - 1) * 2048 : 0);
        ArrayField field(ArrayView(first, ArrayKind::UInt16, rows, 1, stride));
        for (const bool contiguous : {true, false})
            for (const CpuElementKind kind : {CpuElementKind::Int32, CpuElementKind::Float64}) {
                std::vector<std::int64_t> numbers(rows + 4);
                for (std::int64_t i = 0; i < rows + 4; ++i)
                    numbers[static_cast<std::size_t>(i)] = i - 2;
                Bytes values(numbers.size() * 8);
                Bytes validity(numbers.size(), 1);
                ASSERT_TRUE(field.read({values.data(), validity.data(), kind, 1, numbers.data(),
                                        contiguous, static_cast<std::int32_t>(numbers.size())}));
                for (std::size_t i = 0; i < numbers.size(); ++i) {
                    const bool isThere = i >= 2 && i < rows + 2;
                    ASSERT_EQ(validity[i], isThere);
                    const std::int64_t row = stride < 0 ? rows + 1 - static_cast<std::int64_t>(i)
                                                        : static_cast<std::int64_t>(i) - 2;
                    const auto size = static_cast<std::size_t>(elementSize(kind));
                    ASSERT_EQ(loadBits(kind, values.data() + i * size),
                              converted(kind, CpuElementKind::Int32,
                                        isThere ? static_cast<std::uint64_t>(row) : 0));
                }
            }
    }
}

} // namespace
} // namespace Fenlet::Hosts
