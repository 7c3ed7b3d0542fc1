// The workloads written by hand: native_peer FOLDER fused|blocks|frame|threads
//
// With `fused`, a workload is one loop over all elements. With `blocks`, it is one loop for each
// step, over blocks of 1,024 elements. `frame` adds all the work of an interpreter's frame to
// `blocks`. With `threads`, the loops of `blocks` run on every core.
#include "native_blocks.h"
#include "native_halves.h"
#include "protocol.h"

#include <cmath>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#ifdef FENLET_HAS_TBB
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/enumerable_thread_specific.h>
#include <oneapi/tbb/parallel_for.h>
#endif

namespace Fenlet::Bench {
namespace {

using Byte = unsigned char;

constexpr float scale = 1.5F;

/// The destination of a workload's result.
struct Output {
    Output(std::int64_t newCount, CpuElementKind newKind, std::int32_t newComponents, bool holed)
        : kind(newKind),
          components(newComponents),
          count(newCount),
          bytes(static_cast<std::size_t>(newCount * newComponents * elementSize(newKind))),
          present(static_cast<std::size_t>(holed ? newCount : 0), 1) {}

    template <class Value>
    Value* as() {
        return reinterpret_cast<Value*>(bytes.data());
    }
    Result result() const {
        return {kind, components, count, bytes.data(), present.empty() ? nullptr : present.data()};
    }

    CpuElementKind kind;
    std::int32_t components;
    std::int64_t count;
    std::vector<Byte> bytes;
    std::vector<Byte> present;
};

/// A workload: its inputs, its result, and its loops.
struct Written {
    const char* name;
    std::vector<std::string> arrays;
    CpuElementKind kind;
    std::int32_t components;
    bool isHoled;
    void (*fused)(WorkloadData& data, Output& out);
    void (*blocks)(WorkloadData& data, Output& out, Blocks<false>& blocks);
    void (*frame)(WorkloadData& data, Output& out, Blocks<true>& blocks);
};

Byte both(Byte left, Byte right) {
    return static_cast<Byte>(left != 0 && right != 0 ? left | right : 0);
}
Byte either(Byte left, Byte right) {
    return static_cast<Byte>(left == 1 || right == 1 ? 1 : left | right);
}
Byte inverse(Byte value) {
    return static_cast<Byte>(value > 1 ? value : value ^ 1);
}
Byte truth(bool isTrue, Byte left, Byte right) {
    return static_cast<Byte>((left & right) != 0 ? isTrue : 255);
}

/// The exact quotient: a double holds every Int32 and never rounds a quotient past a whole number.
std::int32_t quotient(std::int32_t dividend, std::int32_t divisor) {
    return static_cast<std::int32_t>(static_cast<double>(dividend) /
                                     static_cast<double>(divisor == 0 ? 1 : divisor));
}

void fused1(WorkloadData& data, Output& out) {
    const std::int64_t count = out.count;
    const float* const vector = data["vector"].as<float>();
    float* const result = out.as<float>();
    for (std::int64_t i = 0; i < count; ++i) {
        const float first = vector[i * 3] * scale;
        result[i] = first > 0 ? first : 1;
    }
}

template <bool whole>
void blocks1(WorkloadData& data, Output& out, Blocks<whole>& blocks) {
    const float* const vector = data["vector"].as<float>();
    blocks.each(out.count, 9, [&] {
        const std::int64_t count = blocks.elements();
        const auto v = blocks.field(vector, 3);
        const auto factor = blocks.constant(scale);
        const int number = blocks.take();
        auto* const product = blocks.template values<float>(number);
        for (std::int64_t i = 0; i < count; ++i)
            for (std::int64_t k = 0; k < 3; ++k)
                product[i * 3 + k] = v[i * 3 + k] * factor[i];
        const Lanes<float> scaled{product, blocks.combined(number, v, factor)};
        const int firstNumber = blocks.take();
        auto* const components = blocks.template values<float>(firstNumber);
        for (std::int64_t i = 0; i < count; ++i)
            components[i] = scaled[i * 3];
        const Lanes<float> first{components, blocks.combined(firstNumber, scaled)};
        const auto isPositive = blocks.template step<Byte>(
            1, [](float x, float zero) { return static_cast<Byte>(x > zero); }, first,
            blocks.constant(0.0F));
        blocks.last(
            out.as<float>(), out.present.data(), 1,
            [](Byte condition, float x, float one) { return condition != 0 ? x : one; }, isPositive,
            first, blocks.constant(1.0F));
    });
}

void fused2(WorkloadData& data, Output& out) {
    const std::int64_t count = out.count;
    const float* const a = data["a"].as<float>();
    const float* const b = data["b"].as<float>();
    const float* const c = data["c"].as<float>();
    const float* const d = data["d"].as<float>();
    const float* const e = data["e"].as<float>();
    float* const result = out.as<float>();
    for (std::int64_t i = 0; i < count; ++i)
        result[i] = (a[i] * b[i] + c[i]) / d[i] - e[i];
}

template <bool whole>
void blocks2(WorkloadData& data, Output& out, Blocks<whole>& blocks) {
    const float* const inputs[] = {data["a"].as<float>(), data["b"].as<float>(),
                                   data["c"].as<float>(), data["d"].as<float>(),
                                   data["e"].as<float>()};
    blocks.each(out.count, 10, [&] {
        const auto product = blocks.template step<float>(
            1, [](float x, float y) { return x * y; }, blocks.field(inputs[0]),
            blocks.field(inputs[1]));
        const auto sum = blocks.template step<float>(
            1, [](float x, float y) { return x + y; }, product, blocks.field(inputs[2]));
        const auto quotients = blocks.template step<float>(
            1, [](float x, float y) { return x / y; }, sum, blocks.field(inputs[3]));
        blocks.last(
            out.as<float>(), out.present.data(), 1, [](float x, float y) { return x - y; },
            quotients, blocks.field(inputs[4]));
    });
}

void fused3(WorkloadData& data, Output& out) {
    const std::int64_t count = out.count;
    const auto* const whole = data["whole"].as<std::int32_t>();
    const float* const a = data["a"].as<float>();
    const double* const wide = data["wide"].as<double>();
    float* const result = out.as<float>();
    for (std::int64_t i = 0; i < count; ++i)
        result[i] = static_cast<float>((static_cast<double>(whole[i]) + static_cast<double>(a[i])) *
                                       wide[i]);
}

template <bool whole>
void blocks3(WorkloadData& data, Output& out, Blocks<whole>& blocks) {
    const auto* const integers = data["whole"].as<std::int32_t>();
    const float* const singles = data["a"].as<float>();
    const double* const doubles = data["wide"].as<double>();
    blocks.each(out.count, 7, [&] {
        const auto sum = blocks.template step<double>(
            1,
            [](std::int32_t x, float y) { return static_cast<double>(x) + static_cast<double>(y); },
            blocks.field(integers), blocks.field(singles));
        const auto product = blocks.template step<double>(
            1, [](double x, double y) { return x * y; }, sum, blocks.field(doubles));
        blocks.last(
            out.as<float>(), out.present.data(), 1, [](double x) { return static_cast<float>(x); },
            product);
    });
}

void fused4(WorkloadData& data, Output& out) {
    const std::int64_t count = out.count;
    const float* const p = data["p"].as<float>();
    const float* const q = data["q"].as<float>();
    const float* const r = data["r"].as<float>();
    const Byte* const isP = data["p_present"].as<Byte>();
    const Byte* const isQ = data["q_present"].as<Byte>();
    const Byte* const isR = data["r_present"].as<Byte>();
    Byte* const result = out.as<Byte>();
    for (std::int64_t i = 0; i < count; ++i) {
        const int isBoth = (p[i] < q[i]) & (r[i] > 0.5F) & isQ[i];
        const int isOther = p[i] != r[i];
        result[i] = static_cast<Byte>((isBoth | isOther) & isP[i] & isR[i]);
    }
}

template <bool whole>
void blocks4(WorkloadData& data, Output& out, Blocks<whole>& blocks) {
    const float* const inputs[] = {data["p"].as<float>(), data["q"].as<float>(),
                                   data["r"].as<float>()};
    const Byte* const presences[] = {data["p_present"].as<Byte>(), data["q_present"].as<Byte>(),
                                     data["r_present"].as<Byte>()};
    // A comparison with a missing value gives unknown. Unknown is a value, so the result is
    // present.
    const auto values = [](const Lanes<float>& lanes) { return Plain<float>{lanes.values}; };
    const auto presence = [](const Lanes<float>& lanes) { return Plain<Byte>{lanes.present}; };
    blocks.each(out.count, 12, [&] {
        const auto p = blocks.field(inputs[0], 1, presences[0]);
        const auto q = blocks.field(inputs[1], 1, presences[1]);
        const auto r = blocks.field(inputs[2], 1, presences[2]);
        const auto isLess = blocks.template step<Byte>(
            1, [](float x, float y, Byte isX, Byte isY) { return truth(x < y, isX, isY); },
            values(p), values(q), presence(p), presence(q));
        const auto isGreater = blocks.template step<Byte>(
            1, [](float x, float y, Byte isX) { return truth(x > y, isX, isX); }, values(r),
            blocks.constant(0.5F), presence(r));
        const auto isBoth = blocks.template step<Byte>(1, both, isLess, isGreater);
        const auto isEqual = blocks.template step<Byte>(
            1, [](float x, float y, Byte isX, Byte isY) { return truth(x == y, isX, isY); },
            values(p), values(r), presence(p), presence(r));
        const auto isOther = blocks.template step<Byte>(1, inverse, isEqual);
        const auto isEither = blocks.template step<Byte>(1, either, isBoth, isOther);
        blocks.last(
            out.as<Byte>(), out.present.data(), 1,
            [](Byte value) { return static_cast<Byte>(value == 1); }, isEither);
    });
}

void fused5(WorkloadData& data, Output& out) {
    const std::int64_t count = out.count;
    const float* const vector = data["vector"].as<float>();
    float* const result = out.as<float>();
    for (std::int64_t i = 0; i < count; ++i) {
        const float x = vector[i * 3];
        const float y = vector[i * 3 + 1];
        const float z = vector[i * 3 + 2];
        const float length = std::sqrt(x * x + y * y + z * z);
        result[i * 3] = x / length;
        result[i * 3 + 1] = y / length;
        result[i * 3 + 2] = z / length;
    }
}

template <bool whole>
void blocks5(WorkloadData& data, Output& out, Blocks<whole>& blocks) {
    const float* const vector = data["vector"].as<float>();
    blocks.each(out.count, 4, [&] {
        const std::int64_t count = blocks.elements();
        const auto v = blocks.field(vector, 3);
        const int number = blocks.take();
        auto* const lengths = blocks.template values<float>(number);
        for (std::int64_t i = 0; i < count; ++i)
            lengths[i] = std::sqrt(v[i * 3] * v[i * 3] + v[i * 3 + 1] * v[i * 3 + 1] +
                                   v[i * 3 + 2] * v[i * 3 + 2]);
        const Lanes<float> length{lengths, blocks.combined(number, v)};
        const int resultNumber = blocks.take();
        float* const target = out.as<float>() + blocks.start() * 3;
        float* const quotients = whole ? blocks.template values<float>(resultNumber) : target;
        for (std::int64_t i = 0; i < count; ++i)
            for (std::int64_t k = 0; k < 3; ++k)
                quotients[i * 3 + k] = v[i * 3 + k] / length[i];
        const Byte* const present = blocks.combined(resultNumber, v, length);
        blocks.copyOut(target, quotients, 3, out.present.data(), present);
    });
}

void fused6(WorkloadData& data, Output& out) {
    multiplyAdd(out.as<std::uint16_t>(), data["half_a"].as<std::uint16_t>(),
                data["half_b"].as<std::uint16_t>(), data["half_c"].as<std::uint16_t>(), out.count);
}

template <bool whole>
void blocks6(WorkloadData& data, Output& out, Blocks<whole>& blocks) {
    const std::uint16_t* const inputs[] = {data["half_a"].as<std::uint16_t>(),
                                           data["half_b"].as<std::uint16_t>(),
                                           data["half_c"].as<std::uint16_t>()};
    blocks.each(out.count, 6, [&] {
        const auto a = blocks.field(inputs[0]);
        const auto b = blocks.field(inputs[1]);
        const int number = blocks.take();
        auto* const products = blocks.template values<std::uint16_t>(number);
        onHalves(products, a.values, b.values, blocks.elements(),
                 [](auto x, auto y) { return x * y; });
        const Lanes<std::uint16_t> product{products, blocks.combined(number, a, b)};
        const auto c = blocks.field(inputs[2]);
        const int resultNumber = blocks.take();
        auto* const target = out.as<std::uint16_t>() + blocks.start();
        auto* const sums = whole ? blocks.template values<std::uint16_t>(resultNumber) : target;
        onHalves(sums, product.values, c.values, blocks.elements(),
                 [](auto x, auto y) { return x + y; });
        const Byte* const present = blocks.combined(resultNumber, product, c);
        blocks.copyOut(target, sums, 1, out.present.data(), present);
    });
}

template <bool isRandom>
const Byte* condition(WorkloadData& data) {
    return data[isRandom ? "random" : "runs"].as<Byte>();
}

template <bool isRandom>
void fused7(WorkloadData& data, Output& out) {
    const std::int64_t count = out.count;
    const Byte* const truths = condition<isRandom>(data);
    const float* const a = data["a"].as<float>();
    const float* const b = data["b"].as<float>();
    float* const result = out.as<float>();
    for (std::int64_t i = 0; i < count; ++i)
        result[i] = truths[i] != 0 ? a[i] : b[i];
}

template <bool isRandom, bool whole>
void blocks7(WorkloadData& data, Output& out, Blocks<whole>& blocks) {
    const Byte* const truths = condition<isRandom>(data);
    const float* const a = data["a"].as<float>();
    const float* const b = data["b"].as<float>();
    blocks.each(out.count, 5, [&] {
        blocks.last(
            out.as<float>(), out.present.data(), 1,
            [](Byte isFirst, float x, float y) { return isFirst != 0 ? x : y; },
            blocks.field(truths), blocks.field(a), blocks.field(b));
    });
}

void fused8(WorkloadData& data, Output& out) {
    const std::int64_t count = out.count;
    const auto* const dividends = data["whole"].as<std::int32_t>();
    const auto* const divisors = data["divisor"].as<std::int32_t>();
    auto* const result = out.as<std::int32_t>();
    Byte* const present = out.present.data();
    for (std::int64_t i = 0; i < count; ++i) {
        result[i] = quotient(dividends[i], divisors[i]);
        present[i] = static_cast<Byte>(divisors[i] != 0);
    }
}

template <bool whole>
void blocks8(WorkloadData& data, Output& out, Blocks<whole>& blocks) {
    const auto* const dividends = data["whole"].as<std::int32_t>();
    const auto* const divisors = data["divisor"].as<std::int32_t>();
    blocks.each(out.count, 5, [&] {
        const std::int64_t count = blocks.elements();
        const auto dividend = blocks.field(dividends);
        const auto divisor = blocks.field(divisors);
        // A quotient is present if the divisor is present and not zero.
        const int number = blocks.take();
        auto* const isDivisor = blocks.template values<Byte>(number);
        for (std::int64_t i = 0; i < count; ++i)
            isDivisor[i] =
                static_cast<Byte>(divisor[i] != 0 && (!whole || divisor.present[i] != 0));
        blocks.last(out.as<std::int32_t>(), out.present.data(), 1, quotient, dividend,
                    Lanes<std::int32_t>{divisor.values, isDivisor});
        if constexpr (!whole)
            std::memcpy(out.present.data() + blocks.start(), isDivisor,
                        static_cast<std::size_t>(blocks.elements()));
    });
}

void fused9(WorkloadData& data, Output& out) {
    const std::int64_t count = out.count;
    const auto* const places = data["place"].as<std::int64_t>();
    const float* const table = data["table"].as<float>();
    const auto size = static_cast<std::uint64_t>(data["table"].count());
    float* const result = out.as<float>();
    Byte* const present = out.present.data();
    for (std::int64_t i = 0; i < count; ++i) {
        const bool isInside = static_cast<std::uint64_t>(places[i]) < size;
        result[i] = isInside ? table[places[i]] : 0;
        present[i] = isInside;
    }
}

template <bool whole>
void blocks9(WorkloadData& data, Output& out, Blocks<whole>& blocks) {
    const auto* const places = data["place"].as<std::int64_t>();
    const float* const table = data["table"].as<float>();
    const auto size = static_cast<std::uint64_t>(data["table"].count());
    const auto isInside = [size](std::int64_t place) {
        return static_cast<Byte>(static_cast<std::uint64_t>(place) < size);
    };
    blocks.each(out.count, 5, [&] {
        const auto place = blocks.field(places);
        const auto present = blocks.template step<Byte>(1, isInside, place);
        blocks.last(
            out.as<float>(), out.present.data(), 1,
            [table, isInside](std::int64_t at) { return isInside(at) != 0 ? table[at] : 0; },
            Lanes<std::int64_t>{place.values, present.values});
        if constexpr (!whole)
            std::memcpy(out.present.data() + blocks.start(), present.values,
                        static_cast<std::size_t>(blocks.elements()));
    });
}

const std::vector<Written>& written() {
    using Kind = CpuElementKind;
    static const std::vector<Written> all = {
        {"W1", {"vector"}, Kind::Float32, 1, false, &fused1, &blocks1, &blocks1},
        {"W2", {"a", "b", "c", "d", "e"}, Kind::Float32, 1, false, &fused2, &blocks2, &blocks2},
        {"W3", {"whole", "a", "wide"}, Kind::Float32, 1, false, &fused3, &blocks3, &blocks3},
        {"W4",
         {"p", "q", "r", "p_present", "q_present", "r_present"},
         Kind::Tribool,
         1,
         false,
         &fused4,
         &blocks4,
         &blocks4},
        {"W5", {"vector"}, Kind::Float32, 3, false, &fused5, &blocks5, &blocks5},
        {"W6", {"half_a", "half_b", "half_c"}, Kind::Half, 1, false, &fused6, &blocks6, &blocks6},
        {"W7-random",
         {"random", "a", "b"},
         Kind::Float32,
         1,
         false,
         &fused7<true>,
         &blocks7<true, false>,
         &blocks7<true, true>},
        {"W7-runs",
         {"runs", "a", "b"},
         Kind::Float32,
         1,
         false,
         &fused7<false>,
         &blocks7<false, false>,
         &blocks7<false, true>},
        {"W8", {"whole", "divisor"}, Kind::Int32, 1, true, &fused8, &blocks8, &blocks8},
        {"W9", {"place", "table"}, Kind::Float32, 1, true, &fused9, &blocks9, &blocks9},
    };
    return all;
}

#ifdef FENLET_HAS_TBB
/// Bare blocks on every core, in pieces that the threads take as they become free.
std::function<void()> onEveryCore(const Written& one, WorkloadData& data,
                                  const std::shared_ptr<Output>& out) {
    namespace tbb = oneapi::tbb;
    constexpr std::int64_t grain = 32768;
    const auto memory = std::make_shared<tbb::enumerable_thread_specific<Blocks<false>>>();
    return [&data, &one, out, memory] {
        tbb::parallel_for(
            tbb::blocked_range<std::int64_t>(0, out->count, grain),
            [&](const tbb::blocked_range<std::int64_t>& piece) {
                Blocks<false>& blocks = memory->local();
                blocks.keepTo(piece.begin(), piece.end());
                one.blocks(data, *out, blocks);
            },
            tbb::simple_partitioner());
    };
}
#endif

Prepared prepare(const std::string& mode, const std::string& name, WorkloadData& data) {
    for (const Written& one : written()) {
        if (name != one.name || (name == "W6" && !hasHalves))
            continue;
        const auto out = std::make_shared<Output>(data[one.arrays.front()].count(), one.kind,
                                                  one.components, one.isHoled || mode == "frame");
        const auto result = [out] { return out->result(); };
        if (mode == "fused")
            return {one.arrays, [&data, out, &one] { one.fused(data, *out); }, result};
        if (mode == "frame") {
            const auto blocks = std::make_shared<Blocks<true>>();
            return {one.arrays, [&data, out, &one, blocks] { one.frame(data, *out, *blocks); },
                    result};
        }
#ifdef FENLET_HAS_TBB
        if (mode == "threads")
            return {one.arrays, onEveryCore(one, data, out), result};
#endif
        const auto blocks = std::make_shared<Blocks<false>>();
        return {one.arrays, [&data, out, &one, blocks] { one.blocks(data, *out, *blocks); },
                result};
    }
    return {};
}

} // namespace
} // namespace Fenlet::Bench

int main(int argumentCount, char** arguments) {
    using namespace Fenlet::Bench;
    const std::string mode = argumentCount == 3 ? arguments[2] : "";
#ifdef FENLET_HAS_TBB
    const bool hasThreads = mode == "threads";
#else
    const bool hasThreads = false;
#endif
    if (mode != "fused" && mode != "blocks" && mode != "frame" && !hasThreads) {
        std::cerr << "usage: native_peer FOLDER fused|blocks|frame|threads\n";
        return 2;
    }
    return serve(arguments[1],
                 {"by hand, " + mode, [mode](const std::string& name, WorkloadData& data) {
                      return prepare(mode, name, data);
                  }});
}
