// `ArrayStore`: which arrays it refuses, and what it stores for values that an array cannot hold.
#include "doubles/counted_new.h"
#include "hosts/random_views.h"

#include <fenlethosts/array_store.h>

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <thread>

namespace Fenlet::Hosts {
namespace {

constexpr CpuElementKind tribool = CpuElementKind::Tribool;
constexpr CpuElementKind int32 = CpuElementKind::Int32;
constexpr CpuElementKind int64 = CpuElementKind::Int64;
constexpr CpuElementKind half = CpuElementKind::Half;
constexpr CpuElementKind float32 = CpuElementKind::Float32;
constexpr CpuElementKind float64 = CpuElementKind::Float64;

OutputRules narrowing(Narrowing rule) {
    OutputRules rules;
    rules.narrowing = rule;
    return rules;
}

OutputRules unknownAs(UnknownAs rule) {
    OutputRules rules;
    rules.unknown = rule;
    return rules;
}

OutputRules filled(Constant value, OutputRules rules = {}) {
    rules.fill = std::move(value);
    return rules;
}

// ---------------------------------------------------------------------------------------------
// What is refused

/// The fault that `faultOf` finds for storing a register in an array of four elements of this kind.
std::string faultOf(ArrayKind to, CpuElementKind from, const OutputRules& rules = {},
                    bool canBeMissing = false) {
    unsigned char memory[64];
    const MutableArrayView array(memory, to, 4);
    const std::string fault = ArrayStore::faultOf(array, from, 1, canBeMissing, rules);
    if (fault.empty()) {
        EXPECT_NO_THROW(ArrayStore(array, from, 1, canBeMissing, rules));
    } else {
        try {
            ArrayStore(array, from, 1, canBeMissing, rules);
            ADD_FAILURE() << "not refused: " << fault;
        } catch (const std::invalid_argument& refusal) {
            EXPECT_EQ(refusal.what(), fault);
        }
    }
    return fault;
}

TEST(ArrayStoreFaults, NameKindsThatDoNotGoTogether) {
    EXPECT_EQ(faultOf(ArrayKind::UInt8, tribool),
              "the register's kind is Tribool and the array's is UInt8; store it in a Bool or "
              "Tribool array, or select numbers by it in the program");
    EXPECT_EQ(faultOf(ArrayKind::Bool, float32),
              "the register's kind is Float32 and the array's is Bool; store it in an array of "
              "numbers, or compare it in the program");
    EXPECT_EQ(faultOf(ArrayKind::Tribool, int32),
              "the register's kind is Int32 and the array's is Tribool; store it in an array of "
              "numbers, or compare it in the program");
    EXPECT_EQ(faultOf(ArrayKind::Int16, half, narrowing(Narrowing::Saturate)),
              "the register's kind is Half and the array's is Int16; convert it to an integer in "
              "the program");
    for (const CpuElementKind kind : kindsWithoutStorage)
        EXPECT_EQ(
            faultOf(ArrayKind::Int32, kind),
            "the register's kind cannot be stored; choose a register that the program writes");
}

TEST(ArrayStoreFaults, DemandARuleForAKindThatDoesNotHoldEveryValue) {
    EXPECT_EQ(faultOf(ArrayKind::UInt8, int32),
              "an array of kind UInt8 cannot hold every value of a register of kind Int32; choose "
              "wrap, saturate or missing for the others, or use an array of kind Int32");
    EXPECT_EQ(faultOf(ArrayKind::Half, float32),
              "an array of kind Half cannot hold every value of a register of kind Float32; choose "
              "saturate or missing for the others, or use an array of kind Float32");
    EXPECT_EQ(faultOf(ArrayKind::Float32, int64, narrowing(Narrowing::Wrap)),
              "values cannot wrap around in an array of kind Float32; choose saturate or missing "
              "for those that it cannot hold, or use an array of kind Int64");
    EXPECT_EQ(faultOf(ArrayKind::Bool, tribool),
              "a Bool array cannot hold unknown truth values; choose whether they become false, "
              "true or missing, or use a Tribool array");
    const std::vector<ArrayKind> narrowIntegers = {
        ArrayKind::Int8, ArrayKind::UInt8, ArrayKind::Int16, ArrayKind::UInt16, ArrayKind::UInt32};
    // The arrays that can hold every value of each kind of register.
    const auto expectHeld = [](CpuElementKind from, const std::vector<ArrayKind>& held) {
        for (const ArrayKind to : allArrayKinds) {
            const bool isHeld = std::find(held.begin(), held.end(), to) != held.end();
            EXPECT_EQ(faultOf(to, from).empty(), isHeld)
                << cpuElementKindName(from) << " in " << arrayKindName(to);
        }
    };
    expectHeld(tribool, {ArrayKind::Tribool});
    expectHeld(int32, {ArrayKind::Int32, ArrayKind::Int64, ArrayKind::Float64});
    expectHeld(int64, {ArrayKind::Int64});
    expectHeld(half, {ArrayKind::Half, ArrayKind::Float32, ArrayKind::Float64});
    expectHeld(float32, {ArrayKind::Float32, ArrayKind::Float64});
    expectHeld(float64, {ArrayKind::Float64});
    // With a rule, every number can be stored as a float and every integer as an integer.
    for (const ArrayKind to : narrowIntegers)
        for (const CpuElementKind from : {int32, int64})
            for (const Narrowing rule : {Narrowing::Wrap, Narrowing::Saturate})
                EXPECT_EQ(faultOf(to, from, narrowing(rule)), "");
    for (const ArrayKind to : {ArrayKind::Half, ArrayKind::Float32, ArrayKind::Float64})
        for (const CpuElementKind from : {int32, int64, half, float32, float64})
            EXPECT_EQ(faultOf(to, from, narrowing(Narrowing::Saturate)), "");
    EXPECT_EQ(faultOf(ArrayKind::Int32, int64, narrowing(Narrowing::Wrap)), "");
    EXPECT_EQ(faultOf(ArrayKind::Float64, int32, narrowing(Narrowing::Wrap)), "");
    EXPECT_EQ(faultOf(ArrayKind::Bool, tribool, unknownAs(UnknownAs::True)), "");
}

TEST(ArrayStoreFaults, DemandAPlaceForMissingElements) {
    const char* const cure = "elements of the register can be missing, and the array cannot show "
                             "that; give it presence or choose a fill value";
    EXPECT_EQ(faultOf(ArrayKind::Float32, float32, {}, true), cure);
    EXPECT_EQ(faultOf(ArrayKind::Float32, float32, filled(Constant::ofReals({-1})), true), "");
    const char* const ruleCure = "values that the array cannot hold become missing, and the array "
                                 "cannot show that; give it presence or choose a fill value";
    EXPECT_EQ(faultOf(ArrayKind::Int8, int32, narrowing(Narrowing::Missing)), ruleCure);
    EXPECT_EQ(faultOf(ArrayKind::Bool, tribool, unknownAs(UnknownAs::Missing)), ruleCure);
    EXPECT_EQ(faultOf(ArrayKind::Int32, int32, narrowing(Narrowing::Missing)), "");
    EXPECT_EQ(faultOf(ArrayKind::Int8, int32,
                      filled(Constant::ofIntegers({-1}), narrowing(Narrowing::Missing))),
              "");
    unsigned char memory[16];
    unsigned char present[4];
    const MutableArrayView array(memory, ArrayKind::Int8, 4, 1, 0, present);
    EXPECT_EQ(ArrayStore::faultOf(array, int32, 1, true, narrowing(Narrowing::Missing)), "");
}

TEST(ArrayStoreFaults, NameFillValuesThatTheArrayDoesNotHold) {
    const auto faultOfFill = [](ArrayKind to, const Constant& value) {
        const bool isTruth = registerKind(to) == tribool;
        OutputRules rules = filled(value, narrowing(Narrowing::Saturate));
        rules.unknown = UnknownAs::False;
        return faultOf(to,
                       isTruth                                             ? tribool
                       : to == ArrayKind::Float64                          ? float64
                       : to >= ArrayKind::Half && to <= ArrayKind::Float32 ? float32
                                                                           : int64,
                       rules, true);
    };
    EXPECT_EQ(faultOfFill(ArrayKind::UInt8, Constant::ofIntegers({-1})),
              "an array of kind UInt8 cannot hold the fill value; choose one that it can hold");
    EXPECT_EQ(faultOfFill(ArrayKind::UInt8, Constant::ofIntegers({255})), "");
    EXPECT_NE(faultOfFill(ArrayKind::UInt8, Constant::ofIntegers({256})), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Int16, Constant::ofReals({-9999})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Int16, Constant::ofReals({-9999.5})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Int16, Constant::ofReals({std::nan("")})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Int16, Constant::ofReals({-0x1p63})), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Int64, Constant::ofReals({-0x1p63})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Int64, Constant::ofReals({0x1p63})), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Float32, Constant::ofReals({0.1})), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Float32, Constant::ofReals({std::nan("")})), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Half, Constant::ofReals({-HUGE_VAL})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Half, Constant::ofReals({-70000})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Float32, Constant::ofReals({1e39})), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Float32, Constant::ofIntegers({-9999})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Float32, Constant::ofIntegers({16777217})), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Float64, Constant::ofIntegers({16777217})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Float32, Constant::ofTribool(1)), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Tribool, Constant::ofTribool(255)), "");
    EXPECT_NE(faultOfFill(ArrayKind::Tribool, Constant::ofTribool(7)), "");
    EXPECT_NE(faultOfFill(ArrayKind::Bool, Constant::ofTribool(255)), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Bool, Constant::ofIntegers({1})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Bool, Constant::ofIntegers({2})), "");
    EXPECT_NE(faultOfFill(ArrayKind::Bool, Constant::ofReals({0.5})), "");
    EXPECT_EQ(faultOfFill(ArrayKind::Int64, Constant::ofIntegers({1, 2})),
              "the fill value has 2 components and the array 1; give it 1");
}

TEST(ArrayStoreFaults, DemandMemoryForEachElement) {
    float memory[64] = {};
    unsigned char present[64] = {};
    const auto faultAfter = [&](auto change) {
        MutableArrayView array =
            MutableArrayView(memory, ArrayKind::Float32, 6, 2).shaped({2, 3}).withPresence(present);
        change(array);
        return ArrayStore::faultOf(array, float32, 2, true, {});
    };
    EXPECT_EQ(faultAfter([](MutableArrayView&) {}), "");
    const char* const shared = "some elements of the array share memory; an array can be written "
                               "only if each element has its own";
    EXPECT_EQ(faultAfter([](MutableArrayView& array) { array.axes[0].stride = 0; }), shared);
    EXPECT_EQ(faultAfter([](MutableArrayView& array) { array.axes[0].stride = 23; }), shared);
    EXPECT_EQ(faultAfter([](MutableArrayView& array) { array.axes[0].stride = -23; }), shared);
    EXPECT_EQ(faultAfter([](MutableArrayView& array) { array.axes[0].stride = -24; }), "");
    EXPECT_EQ(faultAfter([](MutableArrayView& array) { array.axes[1].stride = 4; }), shared);
    EXPECT_EQ(faultAfter([](MutableArrayView& array) { array.componentStride = 2; }), shared);
    EXPECT_EQ(faultAfter([](MutableArrayView& array) { array.componentStride = 0; }), shared);
    // The components lie further apart than the elements.
    EXPECT_EQ(faultAfter([](MutableArrayView& array) {
                  array.componentStride = -100;
                  array.axes[0].stride = 4;
                  array.axes[1].stride = 8;
              }),
              "");
    // An axis with one element inside the array may have any stride.
    EXPECT_EQ(faultAfter([](MutableArrayView& array) {
                  array.axes[0].stride = 0;
                  array.axes[0].extent = 1;
              }),
              "");
    EXPECT_EQ(faultAfter([](MutableArrayView& array) { array.axes[1].presenceStride = 0; }),
              "some elements of the array share their presence; an array can be written only if "
              "each element has its own");
    EXPECT_EQ(ArrayStore::faultOf(MutableArrayView::of(memory, 3, 2), float32, 3, false, {}),
              "the register has 3 components and the array 2; give the array as many as the "
              "register");
    EXPECT_EQ(ArrayStore::faultOf(MutableArrayView::of(memory, -3), float32, 1, false, {}),
              "axis 0 has a size of -3; give it 0 or more");
}

// ---------------------------------------------------------------------------------------------
// What is stored

/// Stores these values in an array of `To` whose elements are 1 before. Returns the array.
template <class To, class From>
std::vector<To> stored(ArrayKind to, CpuElementKind from, const std::vector<From>& values,
                       const OutputRules& rules, unsigned char* present = nullptr) {
    std::vector<To> array(values.size(), To{1});
    const ArrayStore store(
        MutableArrayView(array.data(), to, static_cast<std::int64_t>(array.size()), 1, 0, present),
        from, 1, false, rules);
    store.store(0, static_cast<std::int64_t>(values.size()),
                reinterpret_cast<const unsigned char*>(values.data()), nullptr);
    return array;
}

TEST(ArrayStore, NarrowsIntegersByItsRule) {
    const std::vector<std::int32_t> values = {-129, -128, -1, 0, 127, 128, 255, 256, INT32_MIN};
    EXPECT_EQ((stored<std::int8_t>(ArrayKind::Int8, int32, values, narrowing(Narrowing::Wrap))),
              (std::vector<std::int8_t>{127, -128, -1, 0, 127, -128, -1, 0, 0}));
    EXPECT_EQ((stored<std::int8_t>(ArrayKind::Int8, int32, values, narrowing(Narrowing::Saturate))),
              (std::vector<std::int8_t>{-128, -128, -1, 0, 127, 127, 127, 127, -128}));
    EXPECT_EQ(
        (stored<std::uint8_t>(ArrayKind::UInt8, int32, values, narrowing(Narrowing::Saturate))),
        (std::vector<std::uint8_t>{0, 0, 0, 0, 127, 128, 255, 255, 0}));
    unsigned char present[9];
    EXPECT_EQ((stored<std::uint8_t>(ArrayKind::UInt8, int32, values, narrowing(Narrowing::Missing),
                                    present)),
              (std::vector<std::uint8_t>{0, 0, 0, 0, 127, 128, 255, 0, 0}));
    EXPECT_EQ(Bytes(present, present + 9), (Bytes{0, 0, 0, 1, 1, 1, 1, 0, 0}));
    EXPECT_EQ(
        (stored<std::uint8_t>(ArrayKind::UInt8, int32, values,
                              filled(Constant::ofIntegers({99}), narrowing(Narrowing::Missing)))),
        (std::vector<std::uint8_t>{99, 99, 99, 0, 127, 128, 255, 99, 99}));
}

TEST(ArrayStore, NarrowsFloatsByItsRule) {
    const float infinity = std::numeric_limits<float>::infinity();
    const float largest = std::numeric_limits<float>::max();
    const double justUnder = 0x1.fffffefffffffp127;
    const std::vector<double> values = {0.1, 1e39, -1e39, HUGE_VAL, -HUGE_VAL, justUnder, 0x1p-150};
    EXPECT_EQ((stored<float>(ArrayKind::Float32, float64, values, narrowing(Narrowing::Saturate))),
              (std::vector<float>{0.1f, largest, -largest, infinity, -infinity, largest, 0}));
    unsigned char present[7];
    EXPECT_EQ((stored<float>(ArrayKind::Float32, float64, values, narrowing(Narrowing::Missing),
                             present)),
              (std::vector<float>{0.1f, 0, 0, infinity, -infinity, largest, 0}));
    EXPECT_EQ(Bytes(present, present + 7), (Bytes{1, 0, 0, 1, 1, 1, 1}));
    const std::vector<float> nans = {std::nanf("")};
    EXPECT_EQ(
        (stored<std::uint16_t>(ArrayKind::Half, float32, nans, narrowing(Narrowing::Saturate))),
        std::vector<std::uint16_t>{0x7E00});
    const std::vector<float> large = {65519, 65520, -1e9f};
    EXPECT_EQ(
        (stored<std::uint16_t>(ArrayKind::Half, float32, large, narrowing(Narrowing::Saturate))),
        (std::vector<std::uint16_t>{0x7BFF, 0x7BFF, 0xFBFF}));
    const std::vector<std::int64_t> whole = {16777216, 16777217, INT64_MAX, INT64_MIN};
    EXPECT_EQ(
        (stored<float>(ArrayKind::Float32, int64, whole, narrowing(Narrowing::Missing), present)),
        (std::vector<float>{16777216, 0, 0, -0x1p63f}));
    EXPECT_EQ(Bytes(present, present + 4), (Bytes{1, 0, 0, 1}));
}

TEST(ArrayStore, StoresUnknownByItsRule) {
    const std::vector<unsigned char> values = {0, 1, 255, 7};
    EXPECT_EQ(
        (stored<unsigned char>(ArrayKind::Bool, tribool, values, unknownAs(UnknownAs::False))),
        (Bytes{0, 1, 0, 0}));
    EXPECT_EQ((stored<unsigned char>(ArrayKind::Bool, tribool, values, unknownAs(UnknownAs::True))),
              (Bytes{0, 1, 1, 1}));
    unsigned char present[4];
    EXPECT_EQ((stored<unsigned char>(ArrayKind::Bool, tribool, values,
                                     unknownAs(UnknownAs::Missing), present)),
              (Bytes{0, 1, 0, 0}));
    EXPECT_EQ(Bytes(present, present + 4), (Bytes{1, 1, 0, 0}));
    EXPECT_EQ((stored<unsigned char>(ArrayKind::Tribool, tribool, values, {})), values);
}

TEST(ArrayStore, SaysWhetherRegistersMayBeComputedInItsMemory) {
    float memory[4];
    const MutableArrayView array = MutableArrayView::of(memory, 4);
    EXPECT_TRUE(ArrayStore(array, float32, 1, false, {}).keepsEveryByte());
    EXPECT_FALSE(
        ArrayStore(array, float32, 1, false, filled(Constant::ofReals({0}))).keepsEveryByte());
    EXPECT_FALSE(ArrayStore(array, half, 1, false, {}).keepsEveryByte());
    EXPECT_EQ(ArrayStore(array, half, 1, false, {}).layout().count(), 4);
}

TEST(ArrayStore, LeavesOutWhatIsNotInTheView) {
    std::vector<std::int32_t> memory(6, 9);
    const ArrayStore store(MutableArrayView::of(memory.data() + 1, 4), int32, 1, false, {});
    const std::int32_t values[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const auto* const bytes = reinterpret_cast<const unsigned char*>(values);
    store.store(-2, 8, bytes, nullptr);
    EXPECT_EQ(memory, (std::vector<std::int32_t>{9, 3, 4, 5, 6, 9}));
    const std::vector<std::int32_t> before = memory;
    const std::int64_t far = std::numeric_limits<std::int64_t>::max();
    for (const std::int64_t first : {std::int64_t{-8}, std::int64_t{4}, far, -far - 1})
        store.store(first, 8, bytes, nullptr);
    store.store(0, 0, bytes, nullptr);
    store.store(0, -1, bytes, nullptr);
    EXPECT_EQ(memory, before);
}

TEST(ArrayStore, StoresPresenceAlone) {
    std::vector<float> memory(8, 9);
    Bytes present(8, 7);
    const MutableArrayView array = MutableArrayView::of(memory).withPresence(present.data());
    const ArrayStore store(array, float32, 1, true, {});
    const Bytes validity = {3, 0, 1, 0, 1, 0};
    store.storePresence(-2, 6, validity.data());
    EXPECT_EQ(present, (Bytes{1, 0, 1, 0, 7, 7, 7, 7}));
    store.storePresence(6, 6, nullptr);
    EXPECT_EQ(present, (Bytes{1, 0, 1, 0, 7, 7, 1, 1}));
    EXPECT_EQ(memory, std::vector<float>(8, 9));
    ArrayStore(MutableArrayView::of(memory), float32, 1, false, {}).storePresence(0, 6, nullptr);
}

TEST(ArrayStore, AllocatesNothingWhileItStores) {
    std::vector<unsigned char> memory(3000);
    std::vector<unsigned char> present(1000);
    MutableArrayView array(memory.data(), ArrayKind::UInt8, 1000, 1, 3, present.data());
    OutputRules rules = filled(Constant::ofIntegers({3}), narrowing(Narrowing::Missing));
    const ArrayStore store(array, int64, 1, true, rules);
    const std::vector<std::int64_t> values(1000, 300);
    const Doubles::AllocationCount allocations;
    store.store(0, 1000, reinterpret_cast<const unsigned char*>(values.data()), nullptr);
    EXPECT_EQ(allocations.count(), 0u);
    EXPECT_EQ(memory[999 * 3], 3);
}

TEST(ArrayStore, LetsThreadsShareABytesBits) {
    constexpr std::int64_t count = 8 * 125 + 3;
    std::vector<std::int32_t> values(count);
    Bytes validity(count);
    for (std::size_t i = 0; i < count; ++i)
        validity[i] = i % 3 != 0;
    std::vector<std::int32_t> memory(count);
    Bytes bits(count / 8 + 2);
    const ArrayStore store(MutableArrayView::of(memory).withPresenceBits(bits.data(), 5), int32, 1,
                           true, {});
    for (int turn = 0; turn < 200; ++turn) {
        std::fill(bits.begin(), bits.end(), static_cast<unsigned char>(turn % 2 == 0 ? 0 : 255));
        // Each thread stores every third element, so all threads write to the same presence bytes.
        const auto work = [&](std::int64_t first) {
            for (std::int64_t i = first; i < count; i += 3)
                store.store(i, 1, reinterpret_cast<const unsigned char*>(&values[0]),
                            validity.data() + i);
        };
        std::thread other(work, 0);
        std::thread third(work, 1);
        work(2);
        other.join();
        third.join();
        for (std::int64_t i = 0; i < count; ++i)
            ASSERT_EQ(bits[static_cast<std::size_t>((5 + i) / 8)] >> ((5 + i) % 8) & 1,
                      validity[static_cast<std::size_t>(i)])
                << i;
        ASSERT_EQ(bits[0] & 31, turn % 2 == 0 ? 0 : 31);
    }
}

} // namespace
} // namespace Fenlet::Hosts
