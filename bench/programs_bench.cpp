// Whole programs over many elements: fields read from memory, results copied to a sink. Counted are
// elements for each second. The argument is the block size.
#include <fenletexec/interpreter.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/sinks.h>
#include <fenlethosts/uniform_table.h>
#include <fenletir/program_builder.h>

#include <benchmark/benchmark.h>
#include <cstring>
#include <functional>
#include <list>
#include <string>
#include <vector>

namespace Fenlet {
namespace {

constexpr long long elements = 4'000'000;

/// A generator that is the same everywhere.
struct Numbers {
    std::uint32_t state = 1;
    std::uint32_t next() { return state = state * 1664525 + 1013904223; }
    /// 0 to 1.
    double share() { return (next() >> 8) * 0x1p-24; }
};

template <class Value>
std::vector<Value> drawn(std::size_t count, const std::function<Value(Numbers&)>& draw) {
    Numbers numbers;
    std::vector<Value> values(count);
    for (Value& value : values)
        value = draw(numbers);
    return values;
}

/// A program with its data.
struct Workload {
    FenletProgram program;
    std::int32_t result = noRegister;
    std::vector<ArrayView> fields;
    UniformTable uniforms;
};

const std::vector<float>& singles() {
    static const auto values = drawn<float>(
        elements * 3, [](Numbers& numbers) { return static_cast<float>(0.5 + numbers.share()); });
    return values;
}

const std::vector<std::int32_t>& integers() {
    static const auto values = drawn<std::int32_t>(
        elements, [](Numbers& numbers) { return static_cast<std::int32_t>(numbers.next() >> 20); });
    return values;
}

const std::vector<std::int64_t>& places() {
    static const auto values = drawn<std::int64_t>(
        elements, [](Numbers& numbers) { return std::int64_t{numbers.next() % elements}; });
    return values;
}

const std::vector<std::uint16_t>& halves() {
    static const auto values = drawn<std::uint16_t>(elements, [](Numbers& numbers) {
        return static_cast<std::uint16_t>(0x3800 + numbers.next() % 2048);
    });
    return values;
}

/// One in ten is missing.
const std::vector<unsigned char>& validity() {
    static const auto values = drawn<unsigned char>(elements, [](Numbers& numbers) {
        return static_cast<unsigned char>(numbers.next() % 1000 >= 100);
    });
    return values;
}

/// Builds a workload, one field after another.
class Sketch {
  public:
    ProgramBuilder program{ProgramBuilder::OnError::Throw};

    Register field(const ArrayView& view, Format format, std::int32_t multiplicity = 1) {
        work.fields.push_back(view);
        const std::string name = "field " + std::to_string(work.fields.size());
        return program.loadField(program.field(name), index, format, multiplicity);
    }
    Register single(std::int32_t number) {
        return field(ArrayView::of(singles().data() + number, elements), Format::Float32);
    }
    Register constant(double value) { return program.constant(Format::Float32, {value}); }
    Workload finish(Register result) {
        work.result = program.output(result, "result").number;
        work.program = program.build().program;
        return std::move(work);
    }

  private:
    Register index = program.elementIndex();
    Workload work;
};

Workload vectorTimesUniform() {
    Sketch sketch;
    ProgramBuilder& program = sketch.program;
    const auto vector =
        sketch.field(ArrayView::of(singles().data(), elements, 3), Format::Float32, 3);
    const auto scale = program.loadUniform(program.uniform("scale"), Format::Float32);
    const auto first = program.component(program.multiply(vector, scale), 0);
    const auto isPositive = program.greater(first, sketch.constant(0));
    Workload work = sketch.finish(program.select(isPositive, first, sketch.constant(1)));
    work.uniforms.set(0, Constant::ofReals({1.5}));
    return work;
}

Workload singleArithmetic() {
    Sketch sketch;
    ProgramBuilder& program = sketch.program;
    const auto product = program.multiply(sketch.single(0), sketch.single(1));
    const auto sum = program.add(product, sketch.single(2));
    return sketch.finish(program.subtract(program.divide(sum, sketch.single(3)), sketch.single(4)));
}

Workload mixedKinds() {
    Sketch sketch;
    ProgramBuilder& program = sketch.program;
    const auto whole = sketch.field(ArrayView::of(integers().data(), elements), Format::Int32);
    const auto sum = program.add(whole, sketch.single(0), Format::Float64);
    const auto factor = program.constant(Format::Float64, {1.000001});
    return sketch.finish(program.convert(program.multiply(sum, factor), Format::Float32));
}

Workload threeValued() {
    Sketch sketch;
    ProgramBuilder& program = sketch.program;
    ArrayView holed = ArrayView::of(singles().data(), elements);
    holed.validity = validity().data();
    const auto a = sketch.field(holed, Format::Float32);
    const auto b = sketch.single(1);
    const auto c = sketch.single(2);
    const auto both =
        program.logicalAnd(program.less(a, b), program.greater(c, sketch.constant(1)));
    return sketch.finish(
        program.isTrue(program.logicalOr(both, program.logicalNot(program.equal(a, c)))));
}

Workload normalised() {
    Sketch sketch;
    ProgramBuilder& program = sketch.program;
    const auto vector =
        sketch.field(ArrayView::of(singles().data(), elements, 3), Format::Float32, 3);
    return sketch.finish(program.divide(vector, program.length(vector)));
}

Workload halfArithmetic() {
    Sketch sketch;
    ProgramBuilder& program = sketch.program;
    const auto half = [&] {
        return sketch.field({halves().data(), CpuElementKind::Half, elements, 1, 0, nullptr},
                            Format::Half);
    };
    const auto a = half();
    const auto b = half();
    return sketch.finish(program.add(program.multiply(a, b), half()));
}

Workload chosen() {
    Sketch sketch;
    ProgramBuilder& program = sketch.program;
    const auto isLess = program.less(sketch.single(0), sketch.constant(1));
    return sketch.finish(program.select(isLess, sketch.single(1), sketch.single(2)));
}

Workload integerDivision() {
    Sketch sketch;
    ProgramBuilder& program = sketch.program;
    const auto dividend = sketch.field(ArrayView::of(integers().data(), elements), Format::Int32);
    const auto divisor =
        sketch.field(ArrayView::of(integers().data() + 1, elements - 1), Format::Int32);
    return sketch.finish(program.divide(dividend, divisor));
}

Workload gathered() {
    Sketch sketch;
    ProgramBuilder& program = sketch.program;
    const auto place = sketch.field(ArrayView::of(places().data(), elements), Format::Int64);
    const auto values = program.field("values");
    Workload work = sketch.finish(program.loadField(values, place, Format::Float32));
    work.fields.push_back(ArrayView::of(singles().data(), elements));
    return work;
}

void run(benchmark::State& state, Workload (*make)()) {
    Workload work = make();
    std::list<ArrayField> fields;
    std::vector<CpuFieldAccessor*> accessors;
    for (const ArrayView& view : work.fields)
        accessors.push_back(&fields.emplace_back(view));
    Bindings bindings;
    bindings.fields = accessors.data();
    bindings.fieldCount = static_cast<std::int32_t>(accessors.size());
    bindings.uniforms = &work.uniforms;

    Interpreter interpreter;
    if (!interpreter.configure(work.program, static_cast<int>(state.range(0)))) {
        state.SkipWithError(interpreter.lastRefusalMessage());
        return;
    }
    const RegisterSpec spec = interpreter.registerFile().specOf(work.result);
    const auto bytes = static_cast<std::size_t>(elementSize(spec.kind) * spec.multiplicity);
    std::vector<unsigned char> values(elements * bytes);
    std::vector<unsigned char> valid(elements);
    FunctionSink sink([&](const RegisterFile& registers, long long start, int count) {
        const auto first = static_cast<std::size_t>(start);
        std::memcpy(values.data() + first * bytes, registers.data(work.result),
                    static_cast<std::size_t>(count) * bytes);
        std::memcpy(valid.data() + first, registers.validity(work.result),
                    static_cast<std::size_t>(count));
    });
    for (auto _ : state)
        if (!interpreter.evaluate(0, elements, bindings, sink)) {
            state.SkipWithError(interpreter.lastRefusalMessage());
            return;
        }
    state.SetItemsProcessed(state.iterations() * elements);
}

void configureTwenty(benchmark::State& state) {
    Sketch sketch;
    Register value = sketch.single(0);
    for (int i = 0; i < 18; ++i)
        value = sketch.program.add(value, value);
    const Workload work = sketch.finish(value);
    for (auto _ : state) {
        Interpreter interpreter;
        benchmark::DoNotOptimize(interpreter.configure(work.program, 1024));
    }
}

} // namespace
} // namespace Fenlet

int main(int argumentCount, char** arguments) {
    using namespace Fenlet;
    struct Named {
        const char* name;
        Workload (*make)();
    };
    constexpr Named workloads[] = {
        {"W1 vector times uniform, component, select", &vectorTimesUniform},
        {"W2 (a*b + c)/d - e", &singleArithmetic},
        {"W3 Int32 + Float32 in Float64", &mixedKinds},
        {"W4 three-valued filter, one in ten missing", &threeValued},
        {"W5 vector by its length", &normalised},
        {"W6 Half a*b + c", &halfArithmetic},
        {"W7 select at random", &chosen},
        {"W8 Int32 division", &integerDivision},
        {"W9 gather", &gathered}};
    for (const Named& workload : workloads)
        benchmark::RegisterBenchmark(
            workload.name, [workload](benchmark::State& state) { run(state, workload.make); })
            ->Arg(256)
            ->Arg(1024)
            ->Arg(4096)
            ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("configure, 20 instructions", &configureTwenty);
    benchmark::Initialize(&argumentCount, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
