// Several threads share a program. Each thread has a separate interpreter.
#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace Fenlet {
namespace {

using namespace Doubles;

/// Computes n * 0.5 for each element number n, and n * n where that is below a uniform.
struct SharedProgram : ProgramSketch {
    std::int32_t number = addRegister(RegisterFormat::Int64);
    std::int32_t real = addRegister(RegisterFormat::Float64);
    std::int32_t half = addRegister(RegisterFormat::Float64);
    std::int32_t limit = addRegister(RegisterFormat::Float64);
    std::int32_t square = addRegister(RegisterFormat::Float64);
    std::int32_t isBelow = addRegister(RegisterFormat::Tribool);
    std::int32_t result = addRegister(RegisterFormat::Float64);

    SharedProgram() {
        uniforms.resize(1);
        add(OpCode::ElementIndex, number);
        add(OpCode::Component, real, {number}, 0);
        add(OpCode::LoadConstant, half, {}, addConstant(realConstant({0.5})));
        add(OpCode::LoadUniform, limit, {}, 0);
        add(OpCode::Multiply, half, {half, real});
        add(OpCode::Multiply, square, {real, real});
        add(OpCode::Less, isBelow, {half, limit});
        add(OpCode::Select, result, {isBelow, square, half});
    }
};

/// The work of one thread, and its results. Each thread has a separate interpreter and host.
struct Worker {
    double limit;
    std::vector<double> results;
    std::string names;
    bool ran = true;

    void work(const SharedProgram& program) {
        for (int round = 0; round < 20; ++round) {
            RecordingHost host;
            host.uniforms.answer = [this](const RecordingUniforms::Fetch& fetch) {
                storeLanes(fetch.out, std::vector<double>{limit});
                return true;
            };
            host.sink.answer = [&](const RegisterFile& registers) {
                const auto lanes = liveLanes<double>(registers, program.result);
                results.insert(results.end(), lanes.begin(), lanes.end());
                return true;
            };
            results.clear();
            Interpreter interpreter;
            ran = ran && interpreter.configure(program, 64 + round) &&
                  interpreter.evaluate(0, 1000, host.bindings, host.sink);
            // These lookups must be safe on several threads, too.
            names = std::string(execRefusalName(interpreter.lastRefusal())) + ' ' +
                    cpuElementKindName(interpreter.registerFile().specOf(program.number).kind);
        }
    }
};

TEST(Interpreters, ShareAProgramOnSeveralThreads) {
    const SharedProgram program;
    std::vector<Worker> workers;
    for (int i = 0; i < 4; ++i)
        workers.push_back({100.0 * i, {}, {}});
    std::vector<std::thread> threads;
    for (Worker& worker : workers)
        threads.emplace_back([&worker, &program] { worker.work(program); });
    for (std::thread& thread : threads)
        thread.join();
    for (const Worker& worker : workers) {
        std::vector<double> expected;
        for (int n = 0; n < 1000; ++n)
            expected.push_back(0.5 * n < worker.limit ? double{1} * n * n : 0.5 * n);
        EXPECT_TRUE(worker.ran);
        EXPECT_EQ(worker.results, expected) << worker.limit;
        EXPECT_EQ(worker.names, "None Int64");
    }
}

} // namespace
} // namespace Fenlet
