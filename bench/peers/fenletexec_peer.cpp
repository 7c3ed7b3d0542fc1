// This library: fenletexec_peer FOLDER interpreter|arrays|threads [BLOCK]
//
// The interpreter copies fields into registers and collects the result. An array run reads and
// writes the arrays in place, on one thread or on every core. Without BLOCK, each uses the block
// size that it advises.
#include "protocol.h"
#include "workloads.h"

#include <fenletarrays/array_run.h>
#include <fenletexec/interpreter.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/block_size.h>
#include <fenlethosts/sinks.h>
#include <fenletparallel/parallel_run.h>

#include <cstdlib>
#include <iostream>
#include <list>
#include <memory>
#include <optional>
#include <stdexcept>

namespace Fenlet::Bench {
namespace {

struct Settings {
    std::string mode;
    int blockSize = 0; ///< 0 for the advised size
};

/// Runs a program over all its data and collects the result.
class Evaluation {
  public:
    Evaluation(Workload newWorkload, const Settings& settings) : workload(std::move(newWorkload)) {
        for (const ArrayView& view : workload.fields)
            accessors.push_back(&fields.emplace_back(view));
        bindings.fields = accessors.data();
        bindings.fieldCount = static_cast<std::int32_t>(accessors.size());
        bindings.uniforms = &workload.uniforms;
        count = workload.fields.front().count();
        const FenletProgram& program = workload.program;
        const int size = settings.blockSize > 0 ? settings.blockSize : adviseBlockSize(program);
        if (!interpreter.configure(program, size))
            throw std::runtime_error(interpreter.lastRefusalMessage());
        sink.emplace(interpreter.registerFile(), std::vector<int>{workload.result}, 0, count);
    }
    Evaluation(const Evaluation&) = delete;
    Evaluation& operator=(const Evaluation&) = delete;
    ~Evaluation() = default;

    void run() {
        if (!interpreter.evaluate(0, count, bindings, *sink))
            throw std::runtime_error(interpreter.lastRefusalMessage());
    }

    Result result() const {
        const CollectedRegister& kept = (*sink)[0];
        return {kept.spec.kind, kept.spec.multiplicity, count, kept.values.data(),
                kept.validity.data()};
    }

  private:
    Workload workload;
    std::list<ArrayField> fields;
    std::vector<CpuFieldAccessor*> accessors;
    Bindings bindings;
    Interpreter interpreter;
    std::int64_t count = 0;
    std::optional<CollectingSink> sink;
};

/// Runs a program in place, from its arrays to an array.
class InPlace {
  public:
    InPlace(Workload newWorkload, const Settings& settings)
        : workload(std::move(newWorkload)),
          about(workload.program.registerInfo(workload.result)),
          kind(blockElement(about.format)),
          count(workload.fields.front().count()),
          values(static_cast<std::size_t>(count * about.multiplicity * elementSize(kind))),
          presence(workload.canBeMissing ? static_cast<std::size_t>(count) : 0),
          work(workload.program, optionsFor(settings)),
          isParallel(settings.mode == "threads") {
        std::vector<ArrayInput> inputs;
        for (std::size_t i = 0; i < workload.fields.size(); ++i)
            inputs.emplace_back(workload.program.fields[i].name, workload.fields[i]);
        for (std::size_t i = 0; i < workload.program.uniforms.size(); ++i)
            inputs.emplace_back(workload.program.uniforms[i].name, workload.uniformValues[i]);
        MutableArrayView out(values.data(), arrayKind(kind), count, about.multiplicity);
        if (!presence.empty())
            out = out.withPresence(presence.data());
        if (!work.prepare(inputs, {ArrayOutput(about.name, out)}))
            throw std::runtime_error(work.error());
    }

    void run() {
        const bool isDone = isParallel ? runParallel(work).ok() : work.run();
        if (!isDone)
            throw std::runtime_error("the run failed: " + work.error());
    }

    Result result() const {
        return {kind, about.multiplicity, count, values.data(),
                presence.empty() ? nullptr : presence.data()};
    }

  private:
    static ArrayRunOptions optionsFor(const Settings& settings) {
        ArrayRunOptions options;
        options.blockSize = settings.blockSize;
        return options;
    }

    Workload workload;
    RegisterInfo about;
    CpuElementKind kind;
    std::int64_t count;
    std::vector<unsigned char> values;
    std::vector<unsigned char> presence;
    ArrayRun work;
    bool isParallel;
};

template <class Kind>
Prepared prepared(Workload workload, const Settings& settings) {
    const std::vector<std::string> arrays = workload.arrays;
    const auto evaluation = std::make_shared<Kind>(std::move(workload), settings);
    return {arrays, [evaluation] { evaluation->run(); },
            [evaluation] { return evaluation->result(); }};
}

Prepared prepare(const std::string& name, WorkloadData& data, const Settings& settings) {
    const NamedWorkload* const named = findWorkload(name);
    if (named == nullptr && name != "chain")
        return {};
    Workload workload = named != nullptr ? named->make(data) : chain(data, 20);
    return settings.mode == "interpreter" ? prepared<Evaluation>(std::move(workload), settings)
                                          : prepared<InPlace>(std::move(workload), settings);
}

} // namespace
} // namespace Fenlet::Bench

int main(int argumentCount, char** arguments) {
    using namespace Fenlet::Bench;
    Settings settings{argumentCount > 2 ? arguments[2] : "", 0};
    if (argumentCount > 3)
        settings.blockSize = std::atoi(arguments[3]);
    const bool hasMode =
        settings.mode == "interpreter" || settings.mode == "arrays" || settings.mode == "threads";
    if (!hasMode || argumentCount > 4 || (argumentCount > 3 && settings.blockSize < 1)) {
        std::cerr << "usage: fenletexec_peer FOLDER interpreter|arrays|threads [BLOCK]\n";
        return 2;
    }
    return serve(arguments[1],
                 {"fenletexec", [settings](const std::string& name, WorkloadData& data) {
                      return prepare(name, data, settings);
                  }});
}
