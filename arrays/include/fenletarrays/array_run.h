// Arrays in, arrays out: runs a program over arrays that are bound by name.
#pragma once

#include <fenletarrays/export.h>
#include <fenletexec/exec_refusal.h>
#include <fenletexec/providers.h>
#include <fenlethosts/array_store.h>
#include <fenlethosts/array_view.h>
#include <fenletir/program.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace Fenlet {

class ArrayPlan;
struct RunState;

/// What a program reads under one name: an array or a provider for a field, a value for a uniform,
/// a provider for a sampler. A field, uniform or sampler without a name is called by its number, as
/// in "@0".
///
/// A uniform's value is copied. The name, the array's memory and the provider are borrowed: they
/// must stay alive until the `ArrayRun` is prepared again or destroyed.
class ArrayInput {
  public:
    /// A field. Its element n is element n of the view.
    ArrayInput(std::string_view newName, const ArrayView& newArray)
        : name(newName), sort(Sort::Array), array(newArray) {}
    /// A field of adjacent elements with one component: a vector, array or span.
    template <class Values, class = decltype(std::declval<const Values&>().data())>
    ArrayInput(std::string_view newName, const Values& values)
        : ArrayInput(newName, ArrayView::of(values)) {}
    /// A field whose values the host provides.
    ArrayInput(std::string_view newName, CpuFieldAccessor& newField)
        : name(newName), sort(Sort::Field), field(&newField) {}

    /// A uniform's value, with one component or several.
    ArrayInput(std::string_view newName, Constant newValue)
        : name(newName), sort(Sort::Value), value(std::move(newValue)) {}
    /// A uniform's value with one component; a `bool` is a truth value.
    template <class Number, class = std::enable_if_t<std::is_arithmetic_v<Number>>, class = void>
    ArrayInput(std::string_view newName, Number number)
        : name(newName), sort(Sort::Value), value(constantOf(number)) {}

    /// A sampler.
    ArrayInput(std::string_view newName, FenletSampler& newSampler)
        : name(newName), sort(Sort::Sampler), sampler(&newSampler) {}

  private:
    friend class ArrayPlan;

    enum class Sort { Array, Field, Value, Sampler };

    template <class Number>
    static Constant constantOf(Number number) {
        static_assert(std::is_floating_point_v<Number> || std::is_signed_v<Number> ||
                          sizeof(Number) < sizeof(std::int64_t),
                      "convert an unsigned 64-bit value to std::int64_t or double");
        if constexpr (std::is_same_v<Number, bool>)
            return Constant::ofTribool(number ? 1 : 0);
        else if constexpr (std::is_integral_v<Number>)
            return Constant::ofIntegers({static_cast<std::int64_t>(number)});
        else
            return Constant::ofReals({static_cast<double>(number)});
    }

    std::string_view name;
    Sort sort;
    ArrayView array;
    Constant value;
    CpuFieldAccessor* field = nullptr;
    FenletSampler* sampler = nullptr;
};

/// The array that receives a register's values. A register without a name is called by its number,
/// as in "%7".
///
/// The name and the array's memory, including its presence, are borrowed: they must stay alive
/// until the `ArrayRun` is prepared again or destroyed.
struct ArrayOutput {
    ArrayOutput(std::string_view newName, const MutableArrayView& newArray,
                const OutputRules& newRules = {})
        : name(newName), array(newArray), rules(newRules) {}
    /// All values of a vector, array or span, one component for each element.
    template <class Values, class = decltype(std::declval<Values&>().data())>
    ArrayOutput(std::string_view newName, Values& values, const OutputRules& newRules = {})
        : ArrayOutput(newName, MutableArrayView::of(values), newRules) {}

    std::string_view name;
    MutableArrayView array;
    OutputRules rules;
};

/// How an `ArrayRun` works. Results do not depend on it.
struct ArrayRunOptions {
    /// Elements in a block, 1 to 65,536; 0 chooses a size that suits the program. Larger sizes
    /// count as 65,536, negative ones as 0. Each instruction asks its provider once for each block.
    std::int32_t blockSize = 0;
    /// Whether arrays are read and written in place if that is possible. If false, all are copied
    /// block by block.
    bool inPlace = true;
    /// Whether the program is simplified first, as <fenletarrays/simplify.h> says. That is done
    /// once for each set of outputs.
    bool simplify = true;
};

/// Runs one program over arrays.
///
///     ArrayRun run(program);
///     if (!run.evaluate({{"red", red}, {"nir", nir}}, {{"ndvi", ndvi}}))
///         std::fprintf(stderr, "%s\n", run.error().c_str());
///
/// All values and presence in the outputs equal what an `Interpreter` over `ArrayField`s gives, to
/// the bit. Only which of two NaNs an operation returns is open, as it is in an `Interpreter`. A
/// program that a backend refuses is refused. So is a program whose results in one block could
/// depend on an earlier block, because `verifyProgram` finds a register that is read but never
/// written, only partly written, or misread.
///
/// An instruction does not run if no output needs its result, except one that asks a provider of
/// the host, and those that such an instruction needs.
///
/// Only one thread at a time may use an `ArrayRun`. To run parts of the range on several threads,
/// give each an `ArrayRun::Worker`. An object that was moved from can only be assigned to or
/// destroyed.
class FENLETARRAYS_API ArrayRun {
  public:
    /// The program is borrowed: it must stay alive and unchanged for as long as this object is
    /// used.
    explicit ArrayRun(const FenletProgram& program, const ArrayRunOptions& options = {});
    explicit ArrayRun(const FenletProgram&&, const ArrayRunOptions& = {}) = delete;
    ~ArrayRun();
    ArrayRun(ArrayRun&&) noexcept;
    ArrayRun& operator=(ArrayRun&&) noexcept;

    /// Binds arrays, values and providers by name and plans the run. Every field, uniform and
    /// sampler that the program reads needs an input, and at least one register needs an output.
    ///
    /// All arrays must have the same shape; for an array with one axis, the same number of elements
    /// is enough. A field that is read only at computed element numbers may have any shape. An
    /// output may lie exactly where a field that is read at the block's own element numbers lies;
    /// outputs must not share memory otherwise.
    ///
    /// Returns false if something does not fit. `error()` then says why, and nothing is prepared,
    /// not even what was prepared before. Throws what the allocator throws; nothing is prepared
    /// then either.
    [[nodiscard]] bool prepare(const std::vector<ArrayInput>& inputs,
                               const std::vector<ArrayOutput>& outputs);
    [[nodiscard]] bool prepare(std::initializer_list<ArrayInput> inputs,
                               std::initializer_list<ArrayOutput> outputs);

    /// Evaluates all elements, or `count` of them from `first` on. Allocates nothing, except for
    /// the text of an error. Returns false, with the reason in `error()`, if nothing is prepared,
    /// if the range does not lie within the arrays, or if a provider declines. When a provider
    /// declines, `refusal()` is `ProviderFailed`. The outputs of all earlier blocks are then
    /// complete; those of this block and of later ones are untouched. The same holds when a
    /// provider throws: its exception leaves this call.
    [[nodiscard]] bool run();
    [[nodiscard]] bool run(std::int64_t first, std::int64_t count);

    /// `prepare` and `run` in one call.
    [[nodiscard]] bool evaluate(std::initializer_list<ArrayInput> inputs,
                                std::initializer_list<ArrayOutput> outputs) {
        return prepare(inputs, outputs) && run();
    }
    [[nodiscard]] bool evaluate(const std::vector<ArrayInput>& inputs,
                                const std::vector<ArrayOutput>& outputs) {
        return prepare(inputs, outputs) && run();
    }

    /// Whether a run is prepared.
    bool isPrepared() const;
    /// The number of elements of the prepared run; 0 if nothing is prepared.
    std::int64_t count() const;
    /// Elements in a block of the prepared run.
    std::int32_t blockSize() const;
    /// Why the last `prepare` or `run` failed, in a sentence that names the array, register or
    /// provider at fault; empty after a success.
    const std::string& error() const;
    /// The refusal with which an `Interpreter` would have failed, such as `UnboundField`, or
    /// `ProviderFailed` for a field or uniform whose kind or components do not fit.
    /// `MultiplicityMismatch` if only `ArrayRun` refuses the program. `None` after a success, and
    /// after failures that an `Interpreter` does not know: names, shapes, ranges, outputs and
    /// shared memory.
    ExecRefusal refusal() const;

    /// How the prepared run works, for finding out where time and memory go.
    struct Figures {
        int steps = 0;                 ///< run for each block, not counting stores to outputs
        int droppedSteps = 0;          ///< instructions that do not run: no output needs them, or
                                       ///< the simplifier has replaced them
        int joinedSteps = 0;           ///< instructions that run in the loop of another one
        int fieldsInPlace = 0;         ///< loads that copy only what is not adjacent
        int outputsInPlace = 0;        ///< outputs that are computed in their arrays
        std::int64_t scratchBytes = 0; ///< block memory of each thread
    };
    Figures figures() const;

    class Worker;

  private:
    std::unique_ptr<ArrayPlan> plan;
};

/// Runs parts of a prepared `ArrayRun` with separate block memory, so that several threads can each
/// run a part at the same time. Their parts must not overlap.
class FENLETARRAYS_API ArrayRun::Worker {
  public:
    /// Allocates block memory for what `run` has prepared. If nothing is prepared, the worker
    /// refuses to run. `run` is borrowed: it must outlive the worker. After another
    /// `ArrayRun::prepare` the worker must not be used any more; make a new one.
    explicit Worker(const ArrayRun& run);
    ~Worker();
    Worker(Worker&&) noexcept;
    Worker& operator=(Worker&&) noexcept;

    /// Like the functions of `ArrayRun`, for the calls of this worker.
    [[nodiscard]] bool run(std::int64_t first, std::int64_t count);
    const std::string& error() const;
    ExecRefusal refusal() const;

  private:
    const ArrayPlan* plan;
    std::unique_ptr<RunState> state;
};

} // namespace Fenlet
