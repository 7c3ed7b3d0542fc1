// Measures how good the advised block sizes are.
//
//     block_sizes [ROUNDS [PROGRAM...]]
//
// For each program, prints the time at each block size and at the advised size, relative to the
// best size. A round runs every size once, in turn, so that a busy machine slows all sizes alike.
// The numbers are medians over the rounds of ratios within a round. Exits with 1 if a program at
// its advised size takes over 10 % longer than at its best size.
#include "programs.h"
#include "rule.h"
#include "workloads.h"

#include <fenletexec/interpreter.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/block_size.h>
#include <fenlethosts/samplers.h>
#include <fenlethosts/sinks.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace Fenlet::Bench {
namespace {

constexpr int side = 512;
constexpr long long elements = side * side;
constexpr std::array blockSizes = {128, 256, 512, 1024, 2048, 4096, 8192, 16384};
constexpr double slowest = 1.10;

/// A program with its data and samplers.
struct Subject {
    std::string name;
    Workload work;
    std::vector<int> results;
    std::vector<std::shared_ptr<FenletSampler>> samplers;
};

/// Writes the programs that only this benchmark measures.
class Inventions {
  public:
    explicit Inventions(WorkloadData& newData) : data(newData) {}

    /// A vegetation index of two bands, with a correction. It is clamped, and 0 where a mask is
    /// true.
    Subject vegetation() {
        const auto red = scaled("a");
        const auto infrared = scaled("b");
        const auto soil = uniform("soil", 0.5);
        const auto sum = program.add(program.add(infrared, red), soil);
        const auto ratio = program.divide(program.subtract(infrared, red), sum);
        const auto lifted = program.multiply(ratio, program.add(soil, constant(1)));
        const auto isVegetation = program.greater(lifted, uniform("threshold", 0.2));
        return finish("vegetation", program.select(isVegetation, lifted, constant(0)));
    }

    /// A program in which each step reads the result of the step before.
    Subject longChain(int steps) {
        const auto first = field("a", Format::Float32);
        Register value = first;
        for (int i = 0; i < steps; ++i)
            value = i % 2 == 0 ? program.add(value, first) : program.multiply(value, first);
        return finish("chain-" + std::to_string(steps), value);
    }

    /// Two vectors of three components, normalised and mixed.
    Subject vectors() {
        const auto first = field("vector", Format::Float32, 3);
        const auto light = program.constant(Format::Float32, {0.3, 0.5, 0.8});
        const auto normal = program.divide(first, program.length(first));
        const auto lit = program.multiply(normal, light);
        const auto dot =
            program.add(program.add(component(lit, 0), component(lit, 1)), component(lit, 2));
        const auto along = program.multiply(normal, program.add(dot, dot));
        return finish("vectors", program.subtract(along, light));
    }

    /// A polynomial: each of its coefficients has a register.
    Subject manyConstants() {
        const auto x = field("a", Format::Float32);
        Register value = constant(1);
        for (int i = 0; i < 16; ++i)
            value = program.add(program.multiply(value, x), constant(0.5 / (i + 1)));
        return finish("constants", value);
    }

    /// Float64 registers, all of which are used until the end.
    Subject allAlive() {
        std::vector<Register> values = {field("wide", Format::Float64)};
        for (int i = 1; i < 12; ++i)
            values.push_back(program.add(values.back(), values.front()));
        Register sum = values.back();
        for (std::size_t i = values.size() - 1; i-- > 0;)
            sum = program.multiply(sum, values[i]);
        return finish("all-alive", sum);
    }

  private:
    Register field(const std::string& name, Format format, std::int32_t components = 1) {
        if (index.number == noRegister)
            index = program.elementIndex();
        subject.work.fields.push_back(data[name].view());
        return program.loadField(program.field(name), index, format, components);
    }
    Register scaled(const std::string& name) {
        return program.multiply(field(name, Format::Float32), uniform("scale of " + name, 0.01));
    }
    Register uniform(const std::string& name, double value) {
        subject.work.uniforms.set(uniforms++, Constant::ofReals({value}));
        return program.loadUniform(program.uniform(name), Format::Float32);
    }
    Register constant(double value) { return program.constant(Format::Float32, {value}); }
    Register component(Register vector, int number) { return program.component(vector, number); }

    Subject finish(std::string name, Register result) {
        program.output(result, "result");
        subject.name = std::move(name);
        subject.results = {result.number};
        subject.work.program = program.build().program;
        index = {};
        uniforms = 0;
        return std::exchange(subject, {});
    }

    WorkloadData& data;
    ProgramBuilder program{ProgramBuilder::OnError::Throw};
    Register index;
    std::int32_t uniforms = 0;
    Subject subject;
};

/// The relief of the terrain example over a grid of heights.
Subject relief(WorkloadData& data) {
    Terrain::ReliefProgram plan = Terrain::reliefProgram(side);
    Subject subject;
    subject.name = "terrain";
    subject.results = {plan.colour, plan.visible};
    subject.work.program = std::move(plan.program);
    subject.work.fields = {data["a"].view()};
    subject.work.uniforms.set(plan.seaLevelUniform, Constant::ofReals({0.5}));
    subject.work.uniforms.set(plan.slopeScaleUniform, Constant::ofReals({1, 1}));
    subject.work.uniforms.set(plan.lightUniform, Constant::ofReals({0.5, 0.5, 0.7}));
    subject.samplers = {std::make_shared<RampSampler>(
        std::vector<RampStop>{{0, {0, 0, 0}}, {0.5, {0, 1, 0}}, {1, {1, 1, 1}}})};
    return subject;
}

/// The first program of the terrain example, which enlarges a grid.
Subject enlargement(WorkloadData& data) {
    constexpr int factor = 2;
    constexpr int cells = side / factor + 1;
    Terrain::EnlargeProgram plan = Terrain::enlargeProgram(side, factor);
    Subject subject;
    subject.name = "terrain-grid";
    subject.results = {plan.height};
    subject.work.program = std::move(plan.program);
    subject.samplers = {
        std::make_shared<GridSampler>(ArrayView::of(data["a"].as<float>(), cells * cells), cells,
                                      cells, GridSampler::Filter::Bilinear)};
    return subject;
}

/// The rule of the rules example, over one row for each element.
Subject rule(const Rules::Table& table) {
    Rules::RuleProgram compiled =
        Rules::compileRule("(low < high and rain > 0.5) or not automatic", table);
    Subject subject;
    subject.name = "rules";
    subject.results = {compiled.truth, compiled.holds};
    subject.work.program = std::move(compiled.program);
    for (const std::size_t column : compiled.columns)
        subject.work.fields.push_back(table.columns[column].view());
    return subject;
}

Rules::Table tableOfStations() {
    Rules::Table table;
    table.rows = elements;
    for (const char* const name : {"low", "high", "rain", "automatic"}) {
        Rules::Column column;
        column.name = name;
        const bool isTruth = column.name == "automatic";
        column.kind = isTruth ? Rules::Column::Kind::Truth : Rules::Column::Kind::Number;
        std::uint32_t random = static_cast<std::uint32_t>(name[0]);
        for (long long i = 0; i < elements; ++i) {
            random = random * 1664525 + 1013904223;
            column.numbers.push_back(static_cast<double>(random >> 8) / (1 << 24));
            column.truths.push_back(random >> 31 != 0);
            column.present.push_back((random >> 8) % 10 != 0);
        }
        table.columns.push_back(std::move(column));
    }
    return table;
}

/// Runs a subject at one block size.
class Runner {
  public:
    Runner(Subject& subject, int newBlockSize) : blockSize(newBlockSize) {
        for (const ArrayView& view : subject.work.fields)
            accessors.push_back(&fields.emplace_back(view));
        for (const auto& sampler : subject.samplers)
            samplers.push_back(sampler.get());
        bindings = {accessors.data(), static_cast<std::int32_t>(accessors.size()),
                    &subject.work.uniforms, samplers.data(),
                    static_cast<std::int32_t>(samplers.size())};
        if (!interpreter.configure(subject.work.program, blockSize))
            fail(subject);
        sink = std::make_unique<CollectingSink>(interpreter.registerFile(), subject.results, 0,
                                                elements);
        if (!interpreter.evaluate(0, elements, bindings, *sink))
            fail(subject);
    }

    /// Seconds for all elements.
    double time() {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point start = Clock::now();
        if (!interpreter.evaluate(0, elements, bindings, *sink))
            std::abort();
        return std::chrono::duration<double>(Clock::now() - start).count();
    }

    const int blockSize;

  private:
    [[noreturn]] void fail(const Subject& subject) const {
        std::fprintf(stderr, "block_sizes: %s: %s\n", subject.name.c_str(),
                     interpreter.lastRefusalMessage());
        std::exit(2);
    }

    std::list<ArrayField> fields;
    std::vector<CpuFieldAccessor*> accessors;
    std::vector<FenletSampler*> samplers;
    Bindings bindings;
    Interpreter interpreter;
    std::unique_ptr<CollectingSink> sink;
};

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// The time at each block size relative to the best size: medians over the rounds.
std::vector<double> relativeTimes(std::vector<std::unique_ptr<Runner>>& runners, int rounds) {
    std::vector<std::vector<double>> ratios(runners.size());
    for (int round = 0; round < rounds; ++round) {
        std::vector<double> times(runners.size());
        for (std::size_t i = 0; i < runners.size(); ++i) {
            // Each round begins with a different size.
            const std::size_t place = (i + static_cast<std::size_t>(round)) % runners.size();
            times[place] = std::min(runners[place]->time(), runners[place]->time());
        }
        for (std::size_t i = 0; i < runners.size(); ++i)
            ratios[i].push_back(times[i] / times[0]);
    }
    std::vector<double> medians;
    for (std::vector<double>& one : ratios)
        medians.push_back(median(std::move(one)));
    const double best = *std::min_element(medians.begin(), medians.end());
    for (double& one : medians)
        one /= best;
    return medians;
}

/// Prints a subject's row. Returns whether the advised size is good enough.
bool measure(Subject& subject, int rounds) {
    std::vector<std::unique_ptr<Runner>> runners;
    for (const int blockSize : blockSizes)
        runners.push_back(std::make_unique<Runner>(subject, blockSize));
    const int advised = adviseBlockSize(subject.work.program);
    const std::vector<double> times = relativeTimes(runners, rounds);
    double timeOfAdvice = 0;
    std::printf("%-14s", subject.name.c_str());
    for (std::size_t i = 0; i < times.size(); ++i) {
        const bool isAdvised = blockSizes[i] == advised;
        if (isAdvised)
            timeOfAdvice = times[i];
        std::printf(" %6.2f%c", times[i], isAdvised ? '*' : ' ');
    }
    std::printf(" %8d %7.2f\n", advised, timeOfAdvice);
    std::fflush(stdout);
    return timeOfAdvice > 0 && timeOfAdvice <= slowest;
}

} // namespace
} // namespace Fenlet::Bench

int main(int argumentCount, char** arguments) {
    using namespace Fenlet;
    using namespace Fenlet::Bench;
    const int rounds = argumentCount > 1 ? std::atoi(arguments[1]) : 21;
    if (rounds < 1) {
        std::fprintf(stderr, "usage: block_sizes [ROUNDS [PROGRAM...]]\n");
        return 2;
    }
    WorkloadData data(elements);
    const Rules::Table table = tableOfStations();
    Inventions inventions(data);
    std::vector<Subject> subjects;
    for (const NamedWorkload& named : workloads()) {
        Workload work = named.make(data);
        const int result = work.result;
        subjects.push_back({named.name, std::move(work), {result}, {}});
    }
    subjects.push_back(relief(data));
    subjects.push_back(enlargement(data));
    subjects.push_back(rule(table));
    subjects.push_back(inventions.vegetation());
    subjects.push_back(inventions.longChain(24));
    subjects.push_back(inventions.longChain(100));
    subjects.push_back(inventions.vectors());
    subjects.push_back(inventions.manyConstants());
    subjects.push_back(inventions.allAlive());

    std::printf("%-14s", "block size");
    for (const int blockSize : blockSizes)
        std::printf(" %6d ", blockSize);
    std::printf(" %8s %7s\n", "advised", "takes");
    bool isGood = true;
    for (Subject& subject : subjects)
        if (argumentCount < 3 || std::find(arguments + 2, arguments + argumentCount,
                                           subject.name) != arguments + argumentCount)
            isGood = measure(subject, rounds) && isGood;
    return isGood ? 0 : 1;
}
