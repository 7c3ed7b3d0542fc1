// Ready-made sinks: one collects registers into arrays, the other calls a function.
#pragma once

#include <fenletexec/interpreter.h>
#include <fenlethosts/export.h>

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

namespace Fenlet {

/// The content of one register over a range of elements.
struct CollectedRegister {
    int number = noRegister;
    RegisterSpec spec;
    std::vector<unsigned char> values;   ///< the components of each element, adjacent
    std::vector<unsigned char> validity; ///< a byte for each element: 0 or 1

    /// Component `component` of element `element`, counted from the first one of the range. `Value`
    /// is the type of the register's kind, `std::uint16_t` for `Half`. The element and the
    /// component must exist.
    template <class Value>
    Value at(std::size_t element, int component = 0) const {
        Value value;
        const std::size_t lane = element * static_cast<std::size_t>(spec.multiplicity) +
                                 static_cast<std::size_t>(component);
        std::memcpy(&value, values.data() + lane * sizeof(Value), sizeof(Value));
        return value;
    }
};

/// Copies chosen registers for every element of one range. The constructor allocates all memory.
/// The sink can be used again for another run over the same range, for example after a run that
/// ended early.
class FENLETHOSTS_API CollectingSink final : public BlockSink {
  public:
    /// `layout` is the interpreter's register file after `configure`, and `numbers` names registers
    /// of it. The range is the one that is passed to `evaluate`. Throws `std::invalid_argument` for
    /// a number that no register has.
    CollectingSink(const RegisterFile& layout, const std::vector<int>& numbers, long long first,
                   long long count);
    ~CollectingSink() override;

    /// Ends the run if the block is not within the range.
    bool consume(const RegisterFile& registers, long long blockStart, int count) override;

    /// The registers in the order of `numbers`.
    const std::vector<CollectedRegister>& collected() const { return kept; }
    const CollectedRegister& operator[](std::size_t place) const { return kept[place]; }

  private:
    std::vector<CollectedRegister> kept;
    long long first;
    long long count;
};

/// Calls a function with each block:
///
///     FunctionSink sink([&](const RegisterFile& registers, long long start, int count) { ... });
///
/// The function returns whether to go on, or nothing, which means to go on.
template <class Function>
class FunctionSink final : public BlockSink {
  public:
    explicit FunctionSink(Function newFunction) : function(std::move(newFunction)) {}

    bool consume(const RegisterFile& registers, long long blockStart, int count) override {
        if constexpr (std::is_void_v<decltype(function(registers, blockStart, count))>) {
            function(registers, blockStart, count);
            return true;
        } else {
            return function(registers, blockStart, count);
        }
    }

  private:
    Function function;
};

} // namespace Fenlet
