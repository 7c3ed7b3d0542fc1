// Counts the instructions that the library executes.
//
//   valgrind --tool=callgrind --callgrind-out-file=FILE instruction_costs
//
// writes one FILE.N for each piece of work, in each instruction set that valgrind supports. The
// file holds the name of the work and its number of instructions. Without valgrind, the program
// runs the work and prints nothing. Each piece runs once before it is counted, so that
// initialisation is not counted.
#include "kernel_cases.h"
#include "kernels/target/sets.h"
#include "workloads.h"

#include <fenletexec/interpreter.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/sinks.h>

#include <functional>
#include <list>
#include <stdexcept>
#include <string>
#include <valgrind/callgrind.h>

namespace Fenlet::Bench {
namespace {

constexpr int elements = 4096;
constexpr int blockSize = 512;

void count(const std::string& name, const std::function<void()>& work) {
    work();
    CALLGRIND_ZERO_STATS;
    work();
    CALLGRIND_DUMP_STATS_AT(name.c_str());
}

void require(bool succeeded, const Interpreter& interpreter) {
    if (!succeeded)
        throw std::runtime_error(interpreter.lastRefusalMessage());
}

/// A planned workload, with its providers.
class Planned {
  public:
    Planned(Workload newWorkload, int block) : workload(std::move(newWorkload)) {
        for (const ArrayView& view : workload.fields)
            accessors.push_back(&fields.emplace_back(view));
        require(interpreter.configure(workload.program, block), interpreter);
    }

    void run(BlockSink& sink, long long range) {
        const Bindings bindings{accessors.data(), static_cast<std::int32_t>(accessors.size()),
                                &workload.uniforms};
        require(interpreter.evaluate(0, range, bindings, sink), interpreter);
    }

    Workload workload;
    Interpreter interpreter;

  private:
    std::list<ArrayField> fields;
    std::vector<CpuFieldAccessor*> accessors;
};

void countKernels(const std::string& set) {
    Areas areas;
    for (const KernelCase& one : kernelCases()) {
        one.prepare(areas);
        count(set + one.name, one.call(areas));
    }
}

void countPrograms(const std::string& set, WorkloadData& data) {
    for (const NamedWorkload& named : workloads()) {
        Planned plan(named.make(data), blockSize);
        CollectingSink sink(plan.interpreter.registerFile(), {plan.workload.result}, 0, elements);
        count(set + named.name, [&] { plan.run(sink, elements); });
    }
}

/// Work that does not depend on the number of elements.
void countFixedCosts(const std::string& set, WorkloadData& data) {
    constexpr int steps = 20;
    constexpr int blocks = 100;
    const Workload chained = chain(data, steps);
    count(set + "plan of 20 instructions", [&] {
        Interpreter interpreter;
        require(interpreter.configure(chained.program, blockSize), interpreter);
    });
    Planned plan(chain(data, steps), 1);
    FunctionSink nothing([](const RegisterFile&, long long, int) {});
    count(set + "2,000 steps over one element", [&] { plan.run(nothing, blocks); });
}

} // namespace
} // namespace Fenlet::Bench

int main() {
    using namespace Fenlet;
    using namespace Fenlet::Bench;
    // Valgrind does not support AVX-512, so this set is not available under valgrind.
    WorkloadData data(elements);
    for (int set = 0; set < instructionSetCount; ++set) {
        if (!chooseInstructionSet(static_cast<InstructionSet>(set)))
            continue;
        const std::string name = instructionSetNames[set] + std::string(": ");
        countKernels(name);
        countPrograms(name, data);
        countFixedCosts(name, data);
    }
    return 0;
}
