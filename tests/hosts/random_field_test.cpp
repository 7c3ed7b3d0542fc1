// Fields and layouts of random views, compared with a naive reader.
#include "hosts/random_views.h"

#include <fenlethosts/array_field.h>
#include <fenlethosts/array_layout.h>

#include <gtest/gtest.h>
#include <limits>

namespace Fenlet::Hosts {
namespace {

constexpr unsigned char guard = 0xA5;

/// A read request and its memory.
struct Asked {
    CpuElementKind kind;
    std::vector<std::int64_t> indices;
    bool contiguous = false;
    Bytes values;
    Bytes validity;
};

std::int64_t drawNumber(Dice& dice, std::int64_t count) {
    if (dice.once(20))
        return dice.pick({std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}, count,
                          std::numeric_limits<std::int64_t>::max(), std::int64_t{1} << 32});
    return dice.draw(-2, count + 1);
}

Asked drawRequest(Dice& dice, const ArrayView& view) {
    Asked asked;
    asked.kind = static_cast<CpuElementKind>(dice.draw(1, 6));
    if (dice.once(2))
        asked.kind = registerKind(view.kind);
    asked.contiguous = dice.once(2);
    const auto count =
        static_cast<std::size_t>(dice.draw(0, dice.pick<std::int64_t>({5, 70, 300})));
    const std::int64_t first = dice.draw(-20, view.count() + 5);
    for (std::size_t i = 0; i < count; ++i) {
        asked.indices.push_back(asked.contiguous ? first + static_cast<std::int64_t>(i)
                                                 : drawNumber(dice, view.count()));
        asked.validity.push_back(dice.once(6) ? 0 : static_cast<unsigned char>(dice.draw(1, 255)));
    }
    const auto bytes = static_cast<std::size_t>(elementSize(asked.kind) * view.components);
    asked.values.assign(count * bytes + 1, guard);
    return asked;
}

/// The result that the documentation of `ArrayField` promises.
Asked expectedOf(const Asked& before, const ArrayView& view) {
    Asked after = before;
    const auto size = static_cast<std::size_t>(elementSize(before.kind));
    const auto components = static_cast<std::size_t>(view.components);
    for (std::size_t i = 0; i < before.indices.size(); ++i) {
        const NaiveElement element = naiveElement(view, before.indices[i]);
        const bool isTaken = element.isInside && (before.contiguous || before.validity[i] != 0);
        for (std::size_t c = 0; c < components; ++c)
            storeBits(before.kind, after.values.data() + (i * components + c) * size,
                      isTaken ? converted(before.kind, registerKind(view.kind), element.lanes[c])
                              : 0);
        if (!isTaken || !element.isPresent)
            after.validity[i] = 0;
    }
    return after;
}

void expectReads(Dice& dice, const DrawnView& drawn, int requests) {
    ArrayField field(drawn.view);
    for (int i = 0; i < requests; ++i) {
        const Asked before = drawRequest(dice, drawn.view);
        Asked asked = before;
        const bool isServed =
            field.read({asked.values.data(), asked.validity.data(), asked.kind,
                        drawn.view.components, asked.indices.data(), asked.contiguous,
                        static_cast<std::int32_t>(asked.indices.size())});
        ASSERT_EQ(isServed, converts(asked.kind, registerKind(drawn.view.kind)));
        const Asked expected = isServed ? expectedOf(before, drawn.view) : before;
        ASSERT_EQ(asked.validity, expected.validity) << asked.contiguous;
        ASSERT_EQ(asked.values, expected.values)
            << asked.contiguous << ", " << testing::PrintToString(asked.kind);
    }
}

TEST(RandomField, ReadsWhatANaiveReaderReads) {
    Dice dice(1);
    for (int i = 0; i < 6000; ++i) {
        DrawnShape shape;
        shape.isLarge = i % 50 == 0;
        const DrawnView drawn = drawView(dice, shape);
        SCOPED_TRACE(drawn.text);
        ASSERT_EQ(faultOfView(drawn.view), "");
        expectReads(dice, drawn, 6);
        if (HasFatalFailure())
            return;
    }
}

/// Compares the addresses and runs that a layout gives with addresses that a naive function
/// computes for single elements.
void expectRuns(Dice& dice, const DrawnView& drawn) {
    const ArrayView view = drawn.view;
    const ArrayLayout layout(view);
    const auto* const data = static_cast<const unsigned char*>(view.data);
    std::vector<const unsigned char*> addresses;
    for (std::int64_t n = 0; n < view.count(); ++n) {
        const auto place = placeInArray(view, n);
        addresses.push_back(place ? data + distance(view, *place, &ArrayAxis::stride) : nullptr);
        ASSERT_EQ(layout.addressOf(n), addresses.back()) << n;
        ASSERT_EQ(layout.isPresent(n), naiveElement(view, n).isPresent) << n;
    }
    EXPECT_EQ(layout.addressOf(-1), nullptr);
    EXPECT_EQ(layout.valueMemory().begin, drawn.valueBytes == 0 ? nullptr : drawn.values->data());
    EXPECT_EQ(layout.valueMemory().end - layout.valueMemory().begin,
              static_cast<std::ptrdiff_t>(drawn.valueBytes));
    EXPECT_EQ(layout.presenceMemory().begin,
              drawn.presenceBytes == 0 ? nullptr : drawn.presence->data());
    EXPECT_EQ(layout.presenceMemory().end - layout.presenceMemory().begin,
              static_cast<std::ptrdiff_t>(drawn.presenceBytes));
    EXPECT_EQ(layout.addressOf(view.count()), nullptr);
    for (int i = 0; i < 10; ++i) {
        const std::int64_t first = dice.draw(-1, view.count());
        const std::int64_t count = dice.draw(0, 300);
        const std::int64_t stride = dice.once(2) ? layout.values().stride() : layout.elementBytes();
        const FlatRun run = layout.flatRun(first, count, stride);
        const auto at = [&](std::int64_t n) {
            return n >= 0 && n < view.count() ? addresses[static_cast<std::size_t>(n)] : nullptr;
        };
        ASSERT_LE(run.count, count);
        ASSERT_EQ(run.data, count > 0 ? at(first) : nullptr);
        ASSERT_EQ(run.count > 0, run.data != nullptr);
        for (std::int64_t k = 0; k < run.count; ++k)
            ASSERT_EQ(at(first + k), run.data + k * stride);
        const FlatRun present = layout.flatPresence(first, count);
        ASSERT_LE(present.count, count);
        for (std::int64_t k = 0; k < present.count; ++k) {
            const auto place = placeInArray(view, first + k);
            ASSERT_TRUE(place);
            ASSERT_EQ(present.data + k,
                      view.presence.data + distance(view, *place, &ArrayAxis::presenceStride));
        }
        ASSERT_TRUE(!present.data || (view.presence.data && !view.presence.isBits));
    }
}

TEST(RandomLayout, FindsElementsAndRunsWhereANaiveReaderFindsThem) {
    Dice dice(2);
    for (int i = 0; i < 3000; ++i) {
        const DrawnView drawn = drawView(dice, {});
        SCOPED_TRACE(drawn.text);
        expectRuns(dice, drawn);
        if (HasFatalFailure())
            return;
    }
}

} // namespace
} // namespace Fenlet::Hosts
