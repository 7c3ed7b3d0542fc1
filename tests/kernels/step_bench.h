// One instruction in a program, over registers that a test fills.
#pragma once

#include "doubles/program_sketch.h"
#include "doubles/recording.h"

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace Fenlet {

/// A register's declaration, and what the host loads into it.
struct LoadedRegister {
    RegisterFormat format;
    int multiplicity;
    std::function<void(const FieldRead&)> load = [](const FieldRead&) {};
};

/// A register that holds these lanes, with a validity byte for each element.
template <class Lane>
LoadedRegister loaded(RegisterFormat format, int multiplicity, std::vector<Lane> lanes,
                      std::vector<unsigned char> validity) {
    return {format, multiplicity, [lanes, validity](const FieldRead& request) {
                Doubles::storeLanes(request.values, lanes);
                Doubles::storeLanes(request.validity, validity);
            }};
}

inline LoadedRegister loadedTribools(int multiplicity, std::vector<unsigned char> lanes,
                                     std::vector<unsigned char> validity) {
    return loaded(RegisterFormat::Tribool, multiplicity, std::move(lanes), std::move(validity));
}

inline LoadedRegister loadedSingles(int multiplicity, std::vector<float> lanes,
                                    std::vector<unsigned char> validity) {
    return loaded(RegisterFormat::Float32, multiplicity, std::move(lanes), std::move(validity));
}

/// Loads registers from 0 on, and runs one instruction with these as its operands, in this order.
/// The register after the last is the result. A test may change `program` before `run`.
struct StepBench {
    Doubles::ProgramSketch program;
    Doubles::RecordingHost host;
    Interpreter interpreter;

    StepBench(OpCode op, RegisterFormat resultFormat, int resultMultiplicity,
              const std::vector<LoadedRegister>& operands) {
        program.fields.resize(1);
        for (const LoadedRegister& operand : operands)
            program.addRegister(operand.format, operand.multiplicity);
        const std::int32_t result = program.addRegister(resultFormat, resultMultiplicity);
        const std::int32_t indices = program.addRegister(RegisterFormat::Int32);
        for (std::int32_t number = 0; number < result; ++number)
            program.add(OpCode::LoadField, number, {indices}, 0);
        program.add(op, result);
        for (std::int32_t number = 0; number < result; ++number)
            program.instructions.back().operands[number] = number;
        host.field.answer = [this, operands](const FieldRead& request) {
            operands[(host.field.reads.size() - 1) % operands.size()].load(request);
            return true;
        };
    }

    /// Runs one block of `count` elements.
    bool run(int count) {
        return interpreter.configure(program, count) &&
               interpreter.evaluate(0, count, host.bindings, host.sink);
    }
    template <class Lane>
    std::vector<Lane> lanesIn(int number) const {
        return Doubles::liveLanes<Lane>(interpreter.registerFile(), number);
    }
    std::vector<unsigned char> validityIn(int number) const {
        return Doubles::liveValidity(interpreter.registerFile(), number);
    }
};

} // namespace Fenlet
