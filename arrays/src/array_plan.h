// A program bound to arrays: what `ArrayRun` prepares and runs.
#pragma once

#include "bound_step.h"
#include "program_flow.h"

#include <fenletarrays/array_run.h>
#include <fenletexec/register_file.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/uniform_table.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Fenlet {

/// Memory that begins with a cache line.
using LineBytes = std::vector<unsigned char, LineAllocator<unsigned char>>;

/// A field's input.
struct FieldSource {
    std::string_view name;
    bool isBound = false;
    ArrayView array;                      ///< where `accessor` is null
    CpuFieldAccessor* accessor = nullptr; ///< a provider of the host; it may decline
    std::unique_ptr<ArrayField> reader;   ///< reads `array` where it cannot be read in place

    /// The last instruction at which the array's memory is read, -1 for none.
    std::int32_t lastTouch = -1;
    bool isReadByNumber = false;
};

/// An output, and how it is served.
struct OutputTarget {
    std::string_view name;
    std::int32_t number = noRegister;
    MutableArrayView array;
    OutputRules rules;
    std::optional<ArrayStore> store;
    bool isInPlace = false; ///< the register's last step writes the values where they belong
};

/// Where a place lies: in the scratch of whoever runs the plan, or in an array. -1 for neither.
struct PlaceHome {
    std::int64_t dataOffset = -1;
    std::int64_t validityOffset = -1;
};

/// What one thread needs to run a plan: its places, with scratch behind them, and how its last run
/// went.
struct RunState {
    std::vector<Place> places;
    LineBytes scratch;
    std::string error;
    ExecRefusal refusal = ExecRefusal::None;

    bool refuse(std::string words, ExecRefusal code = ExecRefusal::None) {
        error = std::move(words);
        refusal = code;
        return false;
    }
};

class ArrayPlan {
  public:
    ArrayPlan(const FenletProgram& newProgram, const ArrayRunOptions& newOptions)
        : program(newProgram), options(newOptions), flow(newProgram) {}

    bool prepare(const ArrayInput* inputs, std::size_t inputCount, const ArrayOutput* outputs,
                 std::size_t outputCount);
    /// Gives a state memory for this plan, which is prepared, and fills in what never changes.
    void setUp(RunState& state) const;
    bool run(RunState& state, std::int64_t first, std::int64_t count) const;

    bool isPrepared = false;
    std::int64_t elements = 0;
    std::int32_t blockSize = 0;
    RunState own; ///< of the thread that prepares
    ArrayRun::Figures figures;

  private:
    friend class StepBinder;

    /// An address that moves on with the block: byte `first` * `bytes` behind `start`.
    struct Moving {
        std::uint32_t place;
        unsigned char* data;     ///< null where values lie elsewhere
        std::int64_t dataBytes;  ///< from one element to the next
        unsigned char* validity; ///< null where validity lies elsewhere
    };

    bool refuse(std::string words, ExecRefusal code = ExecRefusal::None) {
        return own.refuse(std::move(words), code);
    }
    // Binding, in this order; each answers false after `refuse`.
    bool bindInput(const ArrayInput& input);
    bool bindField(const ArrayInput& input, std::int32_t number);
    bool bindOutput(const ArrayOutput& output);
    bool isEverythingBound();
    bool fieldsFit();
    bool uniformsFit();
    bool settleShape();
    bool takeShape(const ArrayAxis* axes, std::int32_t axisCount, const std::string& what);
    bool memoryFits();
    bool readAndWriteFit(const FieldSource& field, const OutputTarget& output);
    bool outputsFit();
    bool runBlock(RunState& state, const Block& block) const;
    bool declined(RunState& state, const BoundStep& step, const Block& block) const;
    void store(const RunState& state, const Block& block) const;

    const FenletProgram& program;
    const ArrayRunOptions options;
    ProgramFlow flow;

    std::vector<FieldSource> fields;
    std::vector<Constant> uniformValues;
    std::vector<bool> isUniformBound;
    UniformTable uniforms;
    std::vector<FenletSampler*> samplers;
    std::vector<OutputTarget> targets;
    std::int32_t shapeAxes = -1; ///< -1 while no array has told the shape
    std::int64_t shape[mostAxes] = {};
    std::string shapeFrom; ///< the array that told it, in words

    /// A register that holds one value throughout, and the step that gives it.
    struct Constancy {
        std::uint32_t place;
        BoundStep step;
        std::int32_t uniform; ///< position in `uniformBytes`, -1 for a constant
    };

    std::vector<BoundStep> steps;
    std::vector<PlaceHome> homes; ///< by place
    std::vector<Moving> moving;
    std::vector<Constancy> constants;
    std::vector<BlockScratch> uniformBytes;
    std::int64_t scratchBytes = 0;
};

} // namespace Fenlet
