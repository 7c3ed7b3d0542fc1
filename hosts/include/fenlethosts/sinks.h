// Ready-made sinks: one that collects registers into arrays, one that calls a function.
#pragma once

#include <fenletexec/interpreter.h>
#include <fenlethosts/export.h>

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

namespace Fenlet {

/// One register over a whole range of elements.
struct CollectedRegister {
    int number = noRegister;
    RegisterSpec spec;
    std::vector<unsigned char> values;   ///< the components of each element, adjacent
    std::vector<unsigned char> validity; ///< a byte for each element: 0 or 1

    /// Component `component` of element `element`, counted from the range's first. `Value` is the
    /// type of the register's kind; a `Half` is its 16 bits.
    template <class Value>
    Value at(std::size_t element, int component = 0) const {
        Value value;
        const std::size_t lane = element * static_cast<std::size_t>(spec.multiplicity) +
                                 static_cast<std::size_t>(component);
        std::memcpy(&value, values.data() + lane * sizeof(Value), sizeof(Value));
        return value;
    }
};

/// Keeps chosen registers of every element of one range. All memory is taken when it is made. After
/// a run that ended early it may serve another one over the same range.
class FENLETHOSTS_API CollectingSink final : public BlockSink {
  public:
    /// `layout` is that of the interpreter, after its `configure`; each of `numbers` is a register
    /// of it. The range is the one that `evaluate` gets. Throws `std::invalid_argument` for a
    /// number that is no register's.
    CollectingSink(const RegisterFile& layout, const std::vector<int>& numbers, long long first,
                   long long count);
    ~CollectingSink() override;

    /// Ends the run at a block outside the range.
    bool consume(const RegisterFile& registers, long long blockStart, int count) override;

    /// What was collected, in the order in which the registers were named.
    const std::vector<CollectedRegister>& collected() const { return kept; }
    const CollectedRegister& operator[](std::size_t place) const { return kept[place]; }

  private:
    std::vector<CollectedRegister> kept;
    long long first;
    long long count;
};

/// Calls a function with each block: `FunctionSink sink([&](const RegisterFile& registers,
/// long long blockStart, int count) { ... });`. It returns whether to go on, or nothing, which
/// means to.
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
