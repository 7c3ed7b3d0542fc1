// The data of the measured programs.
#include "workload_data.h"

#include <fenlethosts/npy.h>

#include <cstring>
#include <stdexcept>

namespace Fenlet::Bench {
namespace {

constexpr std::int64_t tableElements = 4'000'000;

/// A random generator that is the same on every machine.
class Numbers {
  public:
    explicit Numbers(std::uint32_t seed) : state(seed) {}
    std::uint32_t next() { return state = state * 1664525 + 1013904223; }
    /// From 0 to `bound` - 1. `bound` is much smaller than 2^24. Uses the upper bits, which are
    /// more random.
    std::uint32_t below(std::uint32_t bound) {
        return static_cast<std::uint32_t>((std::uint64_t{next()} * bound) >> 32);
    }
    /// A number from 0 up to, but not including, 1.
    float share() { return static_cast<float>(next() >> 8) * 0x1p-24F; }

  private:
    std::uint32_t state;
};

template <class Value, class Draw>
DataArray drawn(CpuElementKind kind, std::int64_t count, std::uint32_t seed, Draw drawOne,
                std::int32_t components = 1) {
    DataArray array{kind, components, {}};
    const auto lanes = static_cast<std::size_t>(count * components);
    array.bytes.resize(lanes * sizeof(Value));
    Numbers numbers(seed);
    for (std::size_t i = 0; i < lanes; ++i) {
        const Value value = drawOne(numbers);
        std::memcpy(array.bytes.data() + i * sizeof(Value), &value, sizeof(Value));
    }
    return array;
}

template <class Draw>
DataArray singles(std::int64_t count, std::uint32_t seed, Draw drawOne,
                  std::int32_t components = 1) {
    return drawn<float>(CpuElementKind::Float32, count, seed, drawOne, components);
}

template <class Draw>
DataArray truths(std::int64_t count, std::uint32_t seed, Draw drawOne) {
    return drawn<unsigned char>(CpuElementKind::Tribool, count, seed, [&](Numbers& numbers) {
        return static_cast<unsigned char>(drawOne(numbers) ? 1 : 0);
    });
}

DataArray drawSigned(std::int64_t count, std::uint32_t seed) {
    return singles(
        count, seed, [](Numbers& numbers) { return 2 * numbers.share() - 1; }, 3);
}

/// Values near 1, so that quotients stay moderate.
DataArray drawPositive(std::int64_t count, std::uint32_t seed) {
    return singles(count, seed, [](Numbers& numbers) { return 0.5F + numbers.share(); });
}

/// Each value is one of sixteen from 0 to 1, so that many elements are equal.
DataArray drawCoarse(std::int64_t count, std::uint32_t seed) {
    return singles(count, seed, [](Numbers& numbers) {
        return static_cast<float>(numbers.below(16)) * 0.0625F;
    });
}

/// Truth values: one in ten elements is missing.
DataArray drawPresence(std::int64_t count, std::uint32_t seed) {
    return truths(count, seed, [](Numbers& numbers) { return numbers.below(10) != 0; });
}

/// The bits of values from 0.5 to 2.
DataArray drawHalves(std::int64_t count, std::uint32_t seed) {
    return drawn<std::uint16_t>(CpuElementKind::Half, count, seed, [](Numbers& numbers) {
        return static_cast<std::uint16_t>(0x3800 + numbers.below(2048));
    });
}

DataArray drawRandomTruths(std::int64_t count, std::uint32_t seed) {
    return truths(count, seed, [](Numbers& numbers) { return numbers.below(2) != 0; });
}

/// Runs of 1 to 4,000 equal values.
DataArray drawRuns(std::int64_t count, std::uint32_t seed) {
    std::uint32_t left = 0;
    bool value = false;
    return truths(count, seed, [&](Numbers& numbers) {
        if (left == 0) {
            left = 1 + numbers.below(4000);
            value = !value;
        }
        --left;
        return value;
    });
}

template <class Value>
DataArray drawWhole(CpuElementKind kind, std::int64_t count, std::uint32_t seed,
                    std::uint32_t bound) {
    return drawn<Value>(kind, count, seed, [bound](Numbers& numbers) {
        return static_cast<Value>(numbers.below(bound));
    });
}

DataArray drawInt32(std::int64_t count, std::uint32_t seed) {
    return drawWhole<std::int32_t>(CpuElementKind::Int32, count, seed, 1U << 31);
}

/// Divisors, of which one in 32 is zero.
DataArray drawDivisors(std::int64_t count, std::uint32_t seed) {
    return drawWhole<std::int32_t>(CpuElementKind::Int32, count, seed, 32);
}

DataArray drawPlaces(std::int64_t count, std::uint32_t seed) {
    return drawWhole<std::int64_t>(CpuElementKind::Int64, count, seed, tableElements);
}

DataArray drawTable(std::int64_t /*count*/, std::uint32_t seed) {
    return drawPositive(tableElements, seed);
}

DataArray drawDoubles(std::int64_t count, std::uint32_t seed) {
    return drawn<double>(CpuElementKind::Float64, count, seed, [](Numbers& numbers) {
        return 0.5 + static_cast<double>(numbers.share());
    });
}

struct NamedArray {
    const char* name;
    DataArray (*make)(std::int64_t count, std::uint32_t seed);
};

constexpr NamedArray namedArrays[] = {
    {"vector", &drawSigned},      {"a", &drawPositive},         {"b", &drawPositive},
    {"c", &drawPositive},         {"d", &drawPositive},         {"e", &drawPositive},
    {"whole", &drawInt32},        {"wide", &drawDoubles},       {"p", &drawCoarse},
    {"q", &drawCoarse},           {"r", &drawCoarse},           {"p_present", &drawPresence},
    {"q_present", &drawPresence}, {"r_present", &drawPresence}, {"half_a", &drawHalves},
    {"half_b", &drawHalves},      {"half_c", &drawHalves},      {"random", &drawRandomTruths},
    {"runs", &drawRuns},          {"divisor", &drawDivisors},   {"place", &drawPlaces},
    {"table", &drawTable},
};

} // namespace

const std::vector<std::string>& arrayNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const NamedArray& array : namedArrays)
            all.emplace_back(array.name);
        return all;
    }();
    return names;
}

DataArray draw(const std::string& name, std::int64_t count) {
    std::uint32_t seed = 1;
    for (const NamedArray& array : namedArrays) {
        if (name == array.name)
            return array.make(count, seed);
        seed += 0x9E3779B9;
    }
    throw std::invalid_argument("there is no array \"" + name + "\"");
}

WorkloadData::WorkloadData(std::int64_t count)
    : make([count](const std::string& name) { return draw(name, count); }) {}

WorkloadData::WorkloadData(const std::string& folder)
    : make([folder](const std::string& name) {
          // Copies the array into exactly as much memory as it needs, because the memory that
          // programs take in addition to their data is measured, too.
          const NpyFile file(folder + "/" + name + ".npy");
          const auto components =
              static_cast<std::int32_t>(file.shape().size() == 2 ? file.shape()[1] : 1);
          const ArrayView view = file.view(components);
          const auto* const first = static_cast<const unsigned char*>(view.data);
          const std::int64_t bytes = view.count() * components * elementSize(file.kind());
          return DataArray{file.kind(), components, {first, first + bytes}};
      }) {}

const DataArray& WorkloadData::operator[](const std::string& name) {
    const auto found = arrays.find(name);
    return found != arrays.end() ? found->second : arrays.emplace(name, make(name)).first->second;
}

} // namespace Fenlet::Bench
