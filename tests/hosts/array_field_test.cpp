// A field over an array in memory.
#include "hosts/lane_bits.h"
#include "kernels/fenced_area.h"

#include <fenlethosts/array_field.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>

namespace Fenlet::Hosts {
namespace {

constexpr unsigned char guard = 0xA5;
constexpr std::int64_t leastNumber = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t greatestNumber = std::numeric_limits<std::int64_t>::max();

/// A request for the elements with given numbers, and its memory.
struct Request {
    CpuElementKind kind;
    std::int32_t components;
    std::vector<std::int64_t> indices;
    bool contiguous = false;
    Bytes values;
    Bytes validity;

    Request(CpuElementKind newKind, std::int32_t newComponents, std::vector<std::int64_t> numbers)
        : kind(newKind),
          components(newComponents),
          indices(std::move(numbers)),
          values(indices.size() * elementBytes(), guard),
          validity(indices.size(), 1) {}

    /// `count` adjacent elements from `first` on. Element numbers wrap around.
    static Request run(CpuElementKind kind, std::int32_t components, std::int64_t first,
                       std::size_t count) {
        std::vector<std::int64_t> numbers(count);
        for (std::size_t i = 0; i < count; ++i)
            numbers[i] = static_cast<std::int64_t>(static_cast<std::uint64_t>(first) + i);
        Request request(kind, components, std::move(numbers));
        request.contiguous = true;
        return request;
    }

    std::size_t elementBytes() const {
        return static_cast<std::size_t>(elementSize(kind)) * static_cast<std::size_t>(components);
    }

    bool readFrom(ArrayField& field) {
        return field.read({values.data(), validity.data(), kind, components, indices.data(),
                           contiguous, static_cast<std::int32_t>(indices.size())});
    }

    std::uint64_t lane(std::size_t position, std::int32_t component) const {
        return loadBits(kind, values.data() + position * elementBytes() +
                                  static_cast<std::size_t>(component * elementSize(kind)));
    }
};

ArrayView viewOf(const Bytes& bytes, CpuElementKind kind, std::int32_t components = 1) {
    const std::int64_t size = std::int64_t{elementSize(kind)} * components;
    return {bytes.data(), kind, static_cast<std::int64_t>(bytes.size()) / size, components};
}

/// Expects each position to have the components of its element, converted.
void expectElements(const Request& request, const ArrayView& array) {
    const auto* const data = static_cast<const unsigned char*>(array.data);
    const CpuElementKind kind = registerKind(array.kind);
    ASSERT_EQ(arrayKind(kind), array.kind);
    for (std::size_t i = 0; i < request.indices.size(); ++i) {
        ASSERT_EQ(request.validity[i], 1) << "position " << i;
        for (std::int32_t c = 0; c < request.components; ++c)
            ASSERT_EQ(request.lane(i, c),
                      converted(request.kind, kind,
                                loadBits(kind, data + request.indices[i] * array.axes[0].stride +
                                                   c * elementSize(kind))))
                << "position " << i << ", component " << c;
    }
}

TEST(ArrayField, GivesEveryKindAsEveryKindThatItConvertsTo) {
    for (const CpuElementKind from : allKinds) {
        for (const std::int32_t components : {1, 3}) {
            const Bytes bytes = tellingLanes(from, 33);
            const ArrayView array = viewOf(bytes, from, components);
            ArrayField field(array);
            for (const CpuElementKind to : allKinds) {
                SCOPED_TRACE(testing::PrintToString(from) + " as " + testing::PrintToString(to));
                Request run = Request::run(to, components, 1, 10);
                Request scattered(to, components, {7, 0, 10, 7, 3});
                ASSERT_EQ(run.readFrom(field), converts(to, from));
                ASSERT_EQ(scattered.readFrom(field), converts(to, from));
                if (converts(to, from)) {
                    expectElements(run, array);
                    expectElements(scattered, array);
                }
            }
        }
    }
}

TEST(ArrayField, DeclinesWithoutTouchingAnything) {
    const Bytes bytes = tellingLanes(CpuElementKind::Float32, 12);
    ArrayField field(viewOf(bytes, CpuElementKind::Float32, 3));
    ArrayField truths(ArrayView{bytes.data(), CpuElementKind::Tribool, 12, 1, 0, nullptr});
    const auto expectDeclines = [](ArrayField& from, Request request) {
        EXPECT_FALSE(request.readFrom(from));
        EXPECT_EQ(request.values, Bytes(request.values.size(), guard));
        EXPECT_EQ(request.validity, Bytes(request.validity.size(), 1));
    };
    for (const std::int32_t components : {1, 2, 4})
        expectDeclines(field, Request::run(CpuElementKind::Float32, components, 0, 4));
    expectDeclines(field, Request::run(CpuElementKind::Tribool, 3, 0, 4));
    expectDeclines(truths, Request::run(CpuElementKind::Int32, 1, 0, 4));
    for (const CpuElementKind kind : kindsWithoutStorage) {
        expectDeclines(field, Request(kind, 3, {0, 1}));
        ArrayField shapeless(ArrayView{bytes.data(), kind, 4, 1, 4, nullptr});
        expectDeclines(shapeless, Request(CpuElementKind::Int32, 1, {0, 1}));
        expectDeclines(shapeless, Request(kind, 1, {0, 1}));
    }
}

TEST(ArrayField, StepsByItsOwnStride) {
    // Records of one byte, two unaligned 32-bit components, and two more bytes.
    const std::int32_t stride = 11;
    Bytes records(stride * 20 + 1, guard);
    const std::vector<std::uint64_t> bits = tellingBits(CpuElementKind::Float32);
    for (std::size_t i = 0; i < 40; ++i)
        storeBits(CpuElementKind::Float32, records.data() + 1 + (i / 2) * stride + (i % 2) * 4,
                  bits[i % bits.size()]);
    ArrayView array{records.data() + 1, CpuElementKind::Float32, 20, 2, stride, nullptr};
    for (const CpuElementKind to : {CpuElementKind::Float32, CpuElementKind::Float64}) {
        ArrayField field(array);
        Request run = Request::run(to, 2, 0, 20);
        ASSERT_TRUE(run.readFrom(field));
        expectElements(run, array);
        // Backwards, from the last record.
        const ArrayView reversed{
            records.data() + 1 + 19 * stride, CpuElementKind::Float32, 20, 2, -stride, nullptr};
        ArrayField backwards(reversed);
        ASSERT_TRUE(run.readFrom(backwards));
        expectElements(run, reversed);
    }
}

TEST(ArrayField, TakesOneRunOrSingleNumbersToTheSameResult) {
    const Bytes bytes = tellingLanes(CpuElementKind::Int64, 50);
    Bytes present(50, 1);
    for (const std::size_t missing : {0u, 7u, 8u, 9u, 31u, 49u})
        present[missing] = 0;
    for (const unsigned char* validity : {static_cast<const unsigned char*>(nullptr),
                                          static_cast<const unsigned char*>(present.data())}) {
        ArrayView array = viewOf(bytes, CpuElementKind::Int64);
        array.presence.data = validity;
        ArrayField field(array);
        for (std::int64_t first = -60; first <= 60; ++first) {
            for (const std::size_t count : {1u, 2u, 49u, 50u, 51u, 120u}) {
                Request run = Request::run(CpuElementKind::Float32, 1, first, count);
                Request single = run;
                single.contiguous = false;
                ASSERT_TRUE(run.readFrom(field));
                ASSERT_TRUE(single.readFrom(field));
                ASSERT_EQ(run.validity, single.validity) << count << " from " << first;
                for (std::size_t i = 0; i < count; ++i)
                    ASSERT_TRUE(run.validity[i] == 0 || run.lane(i, 0) == single.lane(i, 0))
                        << i << " of " << count << " from " << first;
            }
        }
    }
}

TEST(ArrayField, HasNoElementOutsideItsNumbers) {
    const Bytes bytes = tellingLanes(CpuElementKind::Int32, 4);
    ArrayField field(viewOf(bytes, CpuElementKind::Int32));
    const std::vector<std::int64_t> numbers = {leastNumber,
                                               leastNumber + 1,
                                               std::int64_t{INT_MIN} - 1,
                                               -4,
                                               -1,
                                               0,
                                               3,
                                               4,
                                               std::int64_t{1} << 32,
                                               (std::int64_t{1} << 62) + 1,
                                               greatestNumber - 3,
                                               greatestNumber};
    const Bytes expected = {0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0};
    Request request(CpuElementKind::Int32, 1, numbers);
    ASSERT_TRUE(request.readFrom(field));
    EXPECT_EQ(request.validity, expected);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        for (const std::size_t count : {1u, 2u, 4u}) {
            Request run = Request::run(CpuElementKind::Int32, 1, numbers[i], count);
            ASSERT_TRUE(run.readFrom(field));
            for (std::size_t k = 0; k < count; ++k)
                EXPECT_EQ(run.validity[k], run.indices[k] >= 0 && run.indices[k] < 4)
                    << "position " << k << " of a run from " << numbers[i];
        }
    }
}

TEST(ArrayField, AnEmptyArrayNeedsNoMemory) {
    ArrayField field(ArrayView::of(static_cast<const float*>(nullptr), 0));
    for (const bool contiguous : {true, false}) {
        Request request = Request::run(CpuElementKind::Float32, 1, -1, 3);
        request.contiguous = contiguous;
        ASSERT_TRUE(request.readFrom(field));
        EXPECT_EQ(request.validity, Bytes(3, 0));
    }
    Request nothing = Request::run(CpuElementKind::Float32, 1, 0, 0);
    EXPECT_TRUE(nothing.readFrom(field));
}

TEST(ArrayField, KeepsAwayFromPositionsThatArriveInvalid) {
    // Element numbers of invalid positions mean nothing. Their values become zero bytes.
    const Bytes bytes = tellingLanes(CpuElementKind::Int32, 4);
    ArrayField field(viewOf(bytes, CpuElementKind::Int32));
    Request request(CpuElementKind::Int32, 1, {2, 1, leastNumber, 3});
    request.validity = {1, 0, 0, 1};
    ASSERT_TRUE(request.readFrom(field));
    EXPECT_EQ(request.validity, (Bytes{1, 0, 0, 1}));
    EXPECT_EQ(request.lane(0, 0), loadBits(CpuElementKind::Int32, bytes.data() + 8));
    EXPECT_EQ(request.lane(1, 0), 0u);
    EXPECT_EQ(request.lane(2, 0), 0u);
    EXPECT_EQ(request.lane(3, 0), loadBits(CpuElementKind::Int32, bytes.data() + 12));
}

TEST(ArrayField, AnyByteButZeroMakesAnElementValid) {
    const Bytes bytes = tellingLanes(CpuElementKind::Half, 4);
    const Bytes present = {2, 0, 255, 128};
    ArrayView array = viewOf(bytes, CpuElementKind::Half);
    array.presence.data = present.data();
    ArrayField field(array);
    for (const bool contiguous : {true, false}) {
        Request request = Request::run(CpuElementKind::Half, 1, 0, 4);
        request.contiguous = contiguous;
        ASSERT_TRUE(request.readFrom(field));
        EXPECT_EQ(request.validity, (Bytes{1, 0, 1, 1}));
    }
}

TEST(ArrayField, ReadsNoByteOutsideTheArray) {
    for (const CpuElementKind kind : allKinds) {
        for (const auto fence : {FencedArea::Fence::Before, FencedArea::Fence::After}) {
            const auto size = static_cast<std::size_t>(elementSize(kind));
            FencedArea values(6 * size, fence);
            FencedArea validity(3, fence);
            std::memset(validity.data(), 1, 3);
            for (const unsigned char* present :
                 {static_cast<unsigned char*>(nullptr), validity.data()}) {
                ArrayField field(ArrayView{values.data(), kind, 3, 2, 0, present});
                for (std::int64_t first = -4; first <= 4; ++first) {
                    Request run = Request::run(kind, 2, first, 4);
                    Request single = run;
                    single.contiguous = false;
                    EXPECT_TRUE(run.readFrom(field));
                    EXPECT_TRUE(single.readFrom(field));
                }
                Request far(kind, 2, {leastNumber, greatestNumber, -1, 3});
                EXPECT_TRUE(far.readFrom(field));
                EXPECT_EQ(far.validity, Bytes(4, 0));
            }
        }
    }
}

TEST(ArrayField, GathersWordsOfEverySizeAndLargerElements) {
    const Bytes present = {1, 0, 9, 1};
    for (const CpuElementKind kind : {CpuElementKind::Tribool, CpuElementKind::Half,
                                      CpuElementKind::Float32, CpuElementKind::Int64})
        for (const std::int32_t components : {1, 2, 4, 7}) {
            const auto count = static_cast<std::size_t>(4 * components);
            const Bytes bytes = tellingLanes(kind, count);
            ArrayView array = viewOf(bytes, kind, components);
            array.presence.data = present.data();
            ArrayField field(array);
            Request run = Request::run(kind, components, -1, 6);
            Request single = run;
            single.contiguous = false;
            ASSERT_TRUE(run.readFrom(field));
            ASSERT_TRUE(single.readFrom(field));
            EXPECT_EQ(single.validity, (Bytes{0, 1, 0, 1, 1, 0}));
            EXPECT_EQ(run.validity, single.validity);
            for (const std::size_t element : {0u, 2u, 3u}) {
                const std::size_t size = bytes.size() / 4;
                const auto at = static_cast<std::ptrdiff_t>((element + 1) * size);
                const auto from = static_cast<std::ptrdiff_t>(element * size);
                EXPECT_TRUE(std::equal(bytes.begin() + from,
                                       bytes.begin() + from + static_cast<std::ptrdiff_t>(size),
                                       single.values.begin() + at));
            }
        }
}

TEST(ArrayField, ViewsOfTypedArraysSayWhatTheyHold) {
    const std::int32_t words[] = {1, 2, 3, 4};
    const std::int64_t longs[] = {5, 6};
    const float singles[] = {7};
    const double doubles[] = {8, 9, 10};
    const auto expectView = [](const ArrayView& view, const void* data, CpuElementKind kind,
                               std::int64_t count, std::int32_t components) {
        EXPECT_EQ(view.data, data);
        EXPECT_EQ(view.kind, arrayKind(kind));
        EXPECT_EQ(view.count(), count);
        EXPECT_EQ(view.components, components);
        EXPECT_EQ(view.componentStride, elementSize(kind));
        EXPECT_EQ(view.axisCount, 1);
        EXPECT_EQ(view.axes[0].stride, elementSize(kind) * components);
        EXPECT_EQ(view.axes[0].offset, 0);
        EXPECT_EQ(view.axes[0].extent, count);
        EXPECT_EQ(view.presence.data, nullptr);
        EXPECT_EQ(faultOfView(view), "");
    };
    expectView(ArrayView::of(words, 2, 2), words, CpuElementKind::Int32, 2, 2);
    expectView(ArrayView::of(longs, 2), longs, CpuElementKind::Int64, 2, 1);
    expectView(ArrayView::of(singles, 1), singles, CpuElementKind::Float32, 1, 1);
    expectView(ArrayView::of(doubles, 1, 3), doubles, CpuElementKind::Float64, 1, 3);
}

} // namespace
} // namespace Fenlet::Hosts
