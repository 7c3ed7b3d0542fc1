// The measured programs.
#include "workloads.h"

namespace Fenlet::Bench {
namespace {

/// Builds a workload, field by field.
class Sketch {
  public:
    explicit Sketch(WorkloadData& source) : data(source) {}

    ProgramBuilder program{ProgramBuilder::OnError::Throw};

    Register field(const std::string& name, Format format, std::int32_t multiplicity = 1) {
        return field(name, data[name].view(), format, multiplicity);
    }
    /// A field with missing elements.
    Register holed(const std::string& name, Format format) {
        const std::string presence = name + "_present";
        work.arrays.push_back(presence);
        ArrayView view = data[name].view();
        view.presence.data = data[presence].as<unsigned char>();
        return field(name, view, format, 1);
    }
    /// A field of truth values, none of them unknown.
    Register truths(const std::string& name) {
        ArrayView view = data[name].view();
        view.kind = ArrayKind::Bool;
        return field(name, view, Format::Tribool, 1);
    }
    Register single(const std::string& name) { return field(name, Format::Float32); }
    Register gathered(const std::string& name, Register place, Format format) {
        work.arrays.push_back(name);
        work.fields.push_back(data[name].view());
        return program.loadField(program.field(name), place, format);
    }
    Register constant(double value) { return program.constant(Format::Float32, {value}); }
    Workload finish(Register result) {
        work.result = program.output(result, "result").number;
        work.program = program.build().program;
        return std::move(work);
    }

  private:
    Register field(const std::string& name, const ArrayView& view, Format format,
                   std::int32_t multiplicity) {
        work.arrays.push_back(name);
        work.fields.push_back(view);
        return program.loadField(program.field(name), index, format, multiplicity);
    }

    WorkloadData& data;
    Register index = program.elementIndex();
    Workload work;
};

Workload vectorTimesUniform(WorkloadData& data) {
    Sketch sketch(data);
    ProgramBuilder& program = sketch.program;
    const auto vector = sketch.field("vector", Format::Float32, 3);
    const auto scale = program.loadUniform(program.uniform("scale"), Format::Float32);
    const auto first = program.component(program.multiply(vector, scale), 0);
    const auto isPositive = program.greater(first, sketch.constant(0));
    Workload work = sketch.finish(program.select(isPositive, first, sketch.constant(1)));
    work.uniformValues = {Constant::ofReals({1.5})};
    work.uniforms.set(0, work.uniformValues.front());
    return work;
}

Workload singleArithmetic(WorkloadData& data) {
    Sketch sketch(data);
    ProgramBuilder& program = sketch.program;
    const auto product = program.multiply(sketch.single("a"), sketch.single("b"));
    const auto sum = program.add(product, sketch.single("c"));
    return sketch.finish(
        program.subtract(program.divide(sum, sketch.single("d")), sketch.single("e")));
}

Workload mixedKinds(WorkloadData& data) {
    Sketch sketch(data);
    ProgramBuilder& program = sketch.program;
    const auto whole = sketch.field("whole", Format::Int32);
    const auto sum = program.add(whole, sketch.single("a"), Format::Float64);
    const auto product = program.multiply(sum, sketch.field("wide", Format::Float64));
    return sketch.finish(program.convert(product, Format::Float32));
}

Workload threeValued(WorkloadData& data) {
    Sketch sketch(data);
    ProgramBuilder& program = sketch.program;
    const auto p = sketch.holed("p", Format::Float32);
    const auto q = sketch.holed("q", Format::Float32);
    const auto r = sketch.holed("r", Format::Float32);
    const auto both =
        program.logicalAnd(program.less(p, q), program.greater(r, sketch.constant(0.5)));
    return sketch.finish(
        program.isTrue(program.logicalOr(both, program.logicalNot(program.equal(p, r)))));
}

Workload normalised(WorkloadData& data) {
    Sketch sketch(data);
    ProgramBuilder& program = sketch.program;
    const auto vector = sketch.field("vector", Format::Float32, 3);
    return sketch.finish(program.divide(vector, program.length(vector)));
}

Workload halfArithmetic(WorkloadData& data) {
    Sketch sketch(data);
    ProgramBuilder& program = sketch.program;
    const auto product = program.multiply(sketch.field("half_a", Format::Half),
                                          sketch.field("half_b", Format::Half));
    return sketch.finish(program.add(product, sketch.field("half_c", Format::Half)));
}

Workload chosen(WorkloadData& data, const char* condition) {
    Sketch sketch(data);
    const auto truth = sketch.truths(condition);
    return sketch.finish(sketch.program.select(truth, sketch.single("a"), sketch.single("b")));
}

Workload chosenAtRandom(WorkloadData& data) {
    return chosen(data, "random");
}

Workload chosenInRuns(WorkloadData& data) {
    return chosen(data, "runs");
}

Workload integerDivision(WorkloadData& data) {
    Sketch sketch(data);
    const auto dividend = sketch.field("whole", Format::Int32);
    Workload work =
        sketch.finish(sketch.program.divide(dividend, sketch.field("divisor", Format::Int32)));
    work.canBeMissing = true;
    return work;
}

Workload gathered(WorkloadData& data) {
    Sketch sketch(data);
    const auto place = sketch.field("place", Format::Int64);
    Workload work = sketch.finish(sketch.gathered("table", place, Format::Float32));
    work.canBeMissing = true;
    return work;
}

} // namespace

const std::vector<NamedWorkload>& workloads() {
    static const std::vector<NamedWorkload> all = {
        {"W1", "vector of 3 times a uniform, component 0, select", &vectorTimesUniform},
        {"W2", "(a*b + c)/d - e in Float32", &singleArithmetic},
        {"W3", "(Int32 + Float32) * Float64, to Float32", &mixedKinds},
        {"W4", "(p < q and r > 0.5) or not (p = r), one in ten missing", &threeValued},
        {"W5", "vector of 3 divided by its length", &normalised},
        {"W6", "a*b + c in Half", &halfArithmetic},
        {"W7-random", "select by a random condition", &chosenAtRandom},
        {"W7-runs", "select by a condition in long runs", &chosenInRuns},
        {"W8", "Int32 division, one divisor in 32 zero", &integerDivision},
        {"W9", "gather by a random index from 16 MB", &gathered},
    };
    return all;
}

const NamedWorkload* findWorkload(const std::string& name) {
    for (const NamedWorkload& workload : workloads())
        if (name == workload.name)
            return &workload;
    return nullptr;
}

Workload chain(WorkloadData& data, int instructions) {
    Sketch sketch(data);
    const auto first = sketch.single("a");
    Register value = first;
    for (int i = 2; i < instructions; ++i)
        value = sketch.program.add(value, first);
    return sketch.finish(value);
}

Workload twoFields(WorkloadData& data, int steps) {
    Sketch sketch(data);
    const auto first = sketch.single("a");
    const auto second = sketch.single("b");
    Register value = second;
    for (int i = 0; i < steps; ++i)
        value =
            i % 2 == 0 ? sketch.program.multiply(value, first) : sketch.program.add(value, second);
    return sketch.finish(value);
}

} // namespace Fenlet::Bench
