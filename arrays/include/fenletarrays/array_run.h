// Arrays in, arrays out: a program run over arrays by name, in place where they lie.
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
/// a provider for a sampler. A pool entry without a name goes by its number, as in "@0".
///
/// The name, the array's memory and the provider are borrowed until the `ArrayRun` is prepared
/// anew or destroyed.
class ArrayInput {
  public:
    /// A field. Element n of the run reads element n of the view.
    ArrayInput(std::string_view newName, const ArrayView& newArray)
        : name(newName), sort(Sort::Array), array(newArray) {}
    /// A field of adjacent elements with one component: a vector, array or span.
    template <class Values, class = decltype(std::declval<const Values&>().data())>
    ArrayInput(std::string_view newName, const Values& values)
        : ArrayInput(newName, ArrayView::of(values)) {}
    /// A field that the host computes or reads itself.
    ArrayInput(std::string_view newName, CpuFieldAccessor& newField)
        : name(newName), sort(Sort::Field), field(&newField) {}

    /// A uniform's value.
    ArrayInput(std::string_view newName, Constant newValue)
        : name(newName), sort(Sort::Value), value(std::move(newValue)) {}
    template <class Number, class = std::enable_if_t<std::is_arithmetic_v<Number>>, class = void>
    ArrayInput(std::string_view newName, Number number)
        : name(newName), sort(Sort::Value), value(constantOf(number)) {}

    /// A sampler.
    ArrayInput(std::string_view newName, FenletSampler& newSampler)
        : name(newName), sort(Sort::Sampler), sampler(&newSampler) {}

  private:
    friend class ArrayPlan;
    struct RunState;

    enum class Sort { Array, Field, Value, Sampler };

    template <class Number>
    static Constant constantOf(Number number) {
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

/// Where a register's values go. A register without a name goes by its number, as in "%7".
struct ArrayOutput {
    ArrayOutput(std::string_view newName, const MutableArrayView& newArray,
                const OutputRules& newRules = {})
        : name(newName), array(newArray), rules(newRules) {}
    template <class Values, class = decltype(std::declval<Values&>().data())>
    ArrayOutput(std::string_view newName, Values& values, const OutputRules& newRules = {})
        : ArrayOutput(newName, MutableArrayView::of(values), newRules) {}

    std::string_view name;
    MutableArrayView array;
    OutputRules rules;
};

/// How an `ArrayRun` works. Results do not depend on it.
struct ArrayRunOptions {
    /// Elements worked on at a time, 1 to 65,536; 0 for what suits the program. Providers are asked
    /// once for each block.
    std::int32_t blockSize = 0;
    /// Whether arrays are read and written where they lie, or copied block by block.
    bool inPlace = true;
};

/// Runs one program over arrays.
///
///     ArrayRun run(program);
///     if (!run.evaluate({{"red", red}, {"nir", nir}}, {{"ndvi", ndvi}}))
///         std::fprintf(stderr, "%s\n", run.error().c_str());
///
/// Every value and every presence byte that comes out equals what an `Interpreter` over
/// `ArrayField`s gives. A program that a backend refuses is refused, and so is one with a finding
/// of `verifyProgram` by which a block's results could depend on an earlier block: a register that
/// is read but never written, written in part, or misread.
///
/// A step whose result no output needs does not run, unless a provider is asked by it or for it.
///
/// One thread uses an `ArrayRun` at a time. Further threads run parts of the same range by an
/// `ArrayRun::Worker` each.
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
    /// sampler that the program reads needs an input; at least one register needs an output.
    /// Returns false, with the reason in `error()`, when something does not fit; nothing is
    /// prepared then. Arrays have the shape of the run, or one axis with as many elements; one that
    /// is only read by computed element numbers may have any. Memory that cannot be had is the
    /// allocator's exception.
    [[nodiscard]] bool prepare(const std::vector<ArrayInput>& inputs,
                               const std::vector<ArrayOutput>& outputs);
    [[nodiscard]] bool prepare(std::initializer_list<ArrayInput> inputs,
                               std::initializer_list<ArrayOutput> outputs);

    /// Evaluates all elements, or `count` of them from `first` on. Nothing is allocated. Returns
    /// false, with the reason in `error()`, when nothing is prepared, when the range is not within
    /// the arrays, and when a provider declines: `refusal()` is `ProviderFailed` then, all blocks
    /// before are complete, and the refused one and those behind it are untouched.
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
    /// Elements that the prepared run has; 0 if nothing is prepared.
    std::int64_t count() const;
    /// Elements worked on at a time by the prepared run.
    std::int32_t blockSize() const;
    /// Why the last call failed, in a sentence that names the culprit; empty after a success.
    const std::string& error() const;
    /// The refusal behind the last failure; `None` after a success, and where something that is
    /// bound does not fit.
    ExecRefusal refusal() const;

    /// What became of the arrays and steps, for whoever wants to know where the time goes.
    struct Figures {
        int steps = 0;                 ///< that run for each block, moves of data included
        int droppedSteps = 0;          ///< of the program, whose results nobody needs
        int fieldsInPlace = 0;         ///< fields that are read where they lie
        int outputsInPlace = 0;        ///< outputs that are written where they lie
        std::int64_t scratchBytes = 0; ///< memory for what lies in no array
    };
    Figures figures() const;

    class Worker;

  private:
    std::unique_ptr<ArrayPlan> plan;
};

/// Runs parts of a prepared `ArrayRun` with memory of its own, so that several threads can do so at
/// a time. Threads must not run the same elements.
class FENLETARRAYS_API ArrayRun::Worker {
  public:
    /// The run is borrowed. Preparing it anew leaves the worker without a use.
    explicit Worker(const ArrayRun& run);
    ~Worker();
    Worker(Worker&&) noexcept;
    Worker& operator=(Worker&&) noexcept;

    /// As those of `ArrayRun`.
    [[nodiscard]] bool run(std::int64_t first, std::int64_t count);
    const std::string& error() const;
    ExecRefusal refusal() const;

  private:
    const ArrayPlan* plan;
    std::unique_ptr<RunState> state;
};

} // namespace Fenlet
