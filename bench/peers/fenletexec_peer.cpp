// This library: fenletexec_peer FOLDER [BLOCK]. Without BLOCK it uses the advised block size.
#include "protocol.h"
#include "workloads.h"

#include <fenletexec/interpreter.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/block_size.h>
#include <fenlethosts/sinks.h>

#include <cstdlib>
#include <iostream>
#include <list>
#include <memory>
#include <optional>
#include <stdexcept>

namespace Fenlet::Bench {
namespace {

/// Runs a program over all its data and collects the result.
class Evaluation {
  public:
    Evaluation(Workload newWorkload, std::optional<int> blockSize)
        : workload(std::move(newWorkload)) {
        for (const ArrayView& view : workload.fields)
            accessors.push_back(&fields.emplace_back(view));
        bindings.fields = accessors.data();
        bindings.fieldCount = static_cast<std::int32_t>(accessors.size());
        bindings.uniforms = &workload.uniforms;
        count = workload.fields.front().count;
        const FenletProgram& program = workload.program;
        if (!interpreter.configure(program, blockSize.value_or(adviseBlockSize(program))))
            throw std::runtime_error(interpreter.lastRefusalMessage());
        sink.emplace(interpreter.registerFile(), std::vector<int>{workload.result}, 0, count);
    }
    Evaluation(const Evaluation&) = delete;
    Evaluation& operator=(const Evaluation&) = delete;
    ~Evaluation() = default;

    const std::vector<std::string>& arrays() const { return workload.arrays; }

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

Prepared prepare(const std::string& name, WorkloadData& data, std::optional<int> blockSize) {
    const NamedWorkload* const named = findWorkload(name);
    if (named == nullptr && name != "chain")
        return {};
    auto evaluation = std::make_shared<Evaluation>(
        named != nullptr ? named->make(data) : chain(data, 20), blockSize);
    return {evaluation->arrays(), [evaluation] { evaluation->run(); },
            [evaluation] { return evaluation->result(); }};
}

} // namespace
} // namespace Fenlet::Bench

int main(int argumentCount, char** arguments) {
    using namespace Fenlet::Bench;
    std::optional<int> blockSize;
    if (argumentCount > 2)
        blockSize = std::atoi(arguments[2]);
    if (argumentCount < 2 || argumentCount > 3 || blockSize.value_or(1) < 1) {
        std::cerr << "usage: fenletexec_peer FOLDER [BLOCK]\n";
        return 2;
    }
    return serve(arguments[1],
                 {"fenletexec", [blockSize](const std::string& name, WorkloadData& data) {
                      return prepare(name, data, blockSize);
                  }});
}
