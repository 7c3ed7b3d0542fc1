// Workloads by hand, block by block: one loop for each step of the program, over intermediate
// results that stay in the cache.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

namespace Fenlet::Bench {

/// Values of one block. `present` says which are present; null if all are.
template <class Value>
struct Lanes {
    const Value* values = nullptr;
    const unsigned char* present = nullptr;
    Value operator[](std::int64_t i) const { return values[i]; }
};

/// One value for all elements.
template <class Value>
struct Same {
    Value value{};
    Value operator[](std::int64_t /*i*/) const { return value; }
};

/// Values of one block. The caller handles their presence.
template <class Value>
struct Plain {
    const Value* values = nullptr;
    Value operator[](std::int64_t i) const { return values[i]; }
};

template <class Value>
unsigned char presenceAt(const Lanes<Value>& lanes, std::int64_t i) {
    return lanes.present[i];
}
template <class Value>
unsigned char presenceAt(const Plain<Value>& /*values*/, std::int64_t /*i*/) {
    return 1;
}

/// Runs the steps of a program over one block after another.
///
/// Without the whole frame, it does only what the values need: it reads fields in place, the last
/// step writes to the destination, and presence is computed only where elements can be missing.
/// With the whole frame, it does all the work of an interpreter: it copies each field into a
/// register, numbers elements, spreads constants over a register, resets each register's presence
/// for each block and combines it in each step, and copies the result and its presence out.
template <bool wholeFrame>
class Blocks {
  public:
    static constexpr std::int64_t size = 1024;

    Blocks() : storage(areas * areaBytes + alignment) {
        const auto address = reinterpret_cast<std::uintptr_t>(storage.data());
        base = storage.data() + (alignment - address % alignment) % alignment;
    }

    /// Restricts later calls of `each` to elements `newBegin` to `newEnd` - 1. By default `each`
    /// visits all elements.
    void keepTo(std::int64_t newBegin, std::int64_t newEnd) {
        firstBegin = newBegin;
        lastEnd = newEnd;
    }

    /// Calls `body` for each block, after it has reset the presence of `newRegisters` registers.
    template <class Body>
    void each(std::int64_t total, int newRegisters, Body body) {
        registers = newRegisters;
        const std::int64_t end = std::min(total, lastEnd);
        for (first = firstBegin; first < end; first += size) {
            count = std::min(size, end - first);
            used = 0;
            if constexpr (wholeFrame)
                begin();
            body();
        }
    }

    template <class Value>
    Lanes<Value> field(const Value* data, std::int64_t width = 1,
                       const unsigned char* present = nullptr) {
        if constexpr (!wholeFrame)
            return {data + first * width, present == nullptr ? nullptr : present + first};
        const int number = used++;
        std::memcpy(values<Value>(number), data + first * width,
                    static_cast<std::size_t>(count * width) * sizeof(Value));
        const Lanes<unsigned char> index{nullptr, presence(0)};
        if (present == nullptr)
            combine(presence(number), count, index);
        else
            combine(presence(number), count, index, Lanes<unsigned char>{nullptr, present + first});
        return {values<Value>(number), presence(number)};
    }

    template <class Value>
    auto constant(Value value) {
        if constexpr (!wholeFrame) {
            return Same<Value>{value};
        } else {
            const int number = used++;
            std::fill_n(values<Value>(number), count, value);
            return Lanes<Value>{values<Value>(number), presence(number)};
        }
    }

    /// Runs one step: applies `function` to the operands, whose elements have `width` components.
    template <class Value, class Function, class... Operands>
    Lanes<Value> step(std::int64_t width, Function function, Operands... operands) {
        const int number = used++;
        each(values<Value>(number), count * width, function, operands...);
        return {values<Value>(number), combined(number, operands...)};
    }

    /// Runs the program's last step. The result goes to `out` and `outPresent`, from element
    /// `first` on.
    template <class Value, class Function, class... Operands>
    void last(Value* out, unsigned char* outPresent, std::int64_t width, Function function,
              Operands... operands) {
        Value* const target = out + first * width;
        if constexpr (wholeFrame) {
            const Lanes<Value> result = step<Value>(width, function, operands...);
            copyOut(target, result.values, width, outPresent, result.present);
        } else {
            each(target, count * width, function, operands...);
        }
    }

    /// Copies a result of this block and its presence to their destination, unless the last step
    /// wrote them there.
    template <class Value>
    void copyOut(Value* target, const Value* result, std::int64_t width, unsigned char* outPresent,
                 const unsigned char* present) {
        if constexpr (wholeFrame) {
            std::memcpy(target, result, static_cast<std::size_t>(count * width) * sizeof(Value));
            std::memcpy(outPresent + first, present, static_cast<std::size_t>(count));
        }
    }

    /// The first element of this block and its number of elements.
    std::int64_t start() const { return first; }
    std::int64_t elements() const { return count; }
    /// The values of a register, for a step that writes them itself. `combined` computes the
    /// presence from the operands.
    template <class Value>
    Value* values(int number) {
        return reinterpret_cast<Value*>(base + static_cast<std::size_t>(number) * areaBytes);
    }
    int take() { return used++; }
    template <class... Operands>
    const unsigned char* combined(int number, Operands... operands) {
        if constexpr (!wholeFrame)
            return nullptr;
        else
            return combine(presence(number), count, operands...);
    }

  private:
    static constexpr std::size_t alignment = 64;
    static constexpr std::size_t areas = 16;
    // Three components of eight bytes, and a byte for each element in a separate area behind them.
    // No two areas start at the same offset within a page.
    static constexpr std::size_t areaBytes = size * 12 + size + 2 * alignment;

    unsigned char* presence(int number) {
        return base + static_cast<std::size_t>(number) * areaBytes + size * 12 + alignment;
    }

    void begin() {
        for (int number = 0; number < registers; ++number)
            std::memset(presence(number), 1, static_cast<std::size_t>(count));
        auto* const numbers = values<std::int64_t>(used++);
        for (std::int64_t i = 0; i < count; ++i)
            numbers[i] = first + i;
    }

    template <class... Operands>
    static const unsigned char* combine(unsigned char* __restrict out, std::int64_t elements,
                                        Operands... operands) {
        for (std::int64_t i = 0; i < elements; ++i)
            out[i] = static_cast<unsigned char>((presenceAt(operands, i) & ...));
        return out;
    }

    template <class Value, class Function, class... Operands>
    static void each(Value* __restrict out, std::int64_t lanes, Function function,
                     Operands... operands) {
        for (std::int64_t i = 0; i < lanes; ++i)
            out[i] = function(operands[i]...);
    }

    std::vector<unsigned char> storage;
    unsigned char* base = nullptr;
    std::int64_t firstBegin = 0;
    std::int64_t lastEnd = std::numeric_limits<std::int64_t>::max();
    std::int64_t first = 0;
    std::int64_t count = 0;
    int registers = 0;
    int used = 0;
};

} // namespace Fenlet::Bench
