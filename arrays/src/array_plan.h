// A program bound to arrays: what `ArrayRun` prepares and runs.
#pragma once

#include "array_memory.h"
#include "bound_step.h"
#include "program_flow.h"
#include "simplify.h"

#include <fenletarrays/array_run.h>
#include <fenletexec/register_file.h>
#include <fenlethosts/array_field.h>
#include <fenlethosts/uniform_table.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Fenlet {

/// Memory that begins on a cache line.
using LineBytes = std::vector<unsigned char, LineAllocator<unsigned char>>;

/// A field's input.
struct FieldSource {
    std::string_view name;
    bool isBound = false;
    ArrayView array;                      ///< used if `accessor` is null
    CpuFieldAccessor* accessor = nullptr; ///< the host's provider, which may decline; or null
    std::unique_ptr<ArrayField> reader;   ///< copies from `array`; null with an accessor
    ArrayMemory memory;                   ///< of `array`

    /// The last instruction that may read the array's memory; -1 if none does.
    std::int32_t lastTouch = -1;
    bool isReadByNumber = false; ///< by some instruction, at computed element numbers
};

/// An output: its register, its array, and how its values get there.
struct OutputTarget {
    explicit OutputTarget(const ArrayOutput& output)
        : name(output.name),
          array(output.array),
          layout(output.array),
          memory(memoryOf(layout)),
          rules(output.rules) {}

    std::string_view name;
    std::int32_t number = noRegister;
    MutableArrayView array;
    ArrayLayout layout; ///< of `array`
    ArrayMemory memory; ///< of `array`
    OutputRules rules;
    std::optional<ArrayStore> store;
    bool isInPlace = false; ///< the register's values are computed in the array
};

/// Where a place lies in the scratch, in bytes; -1 if it does not lie there.
struct PlaceHome {
    std::int64_t dataOffset = -1;
    std::int64_t validityOffset = -1;
};

/// What one thread needs to run a plan: the addresses of its places, its scratch, and the error of
/// its last run.
struct RunState {
    std::uint64_t planNumber = 0; ///< of the plan that it is set up for
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
    /// Allocates a state's memory, and fills in constants and uniforms. The plan must be complete.
    void setUp(RunState& state) const;
    bool run(RunState& state, std::int64_t first, std::int64_t count) const;

    bool isPrepared = false;
    std::uint64_t planNumber = 0; ///< another one for each `prepare`
    std::int64_t elements = 0;
    std::int32_t blockSize = 0;
    RunState own; ///< for `ArrayRun::run`; workers have other states
    ArrayRun::Figures figures;

  private:
    friend class StepBinder;

    /// A place in an array, which moves on with each block: its addresses for element 0.
    struct Moving {
        std::uint32_t place;
        unsigned char* data;     ///< null if the values do not lie in an array
        std::int64_t dataBytes;  ///< from one element to the next
        unsigned char* validity; ///< null if the validity does not lie in an array
    };

    bool refuse(std::string words, ExecRefusal code = ExecRefusal::None) {
        return own.refuse(std::move(words), code);
    }
    bool bindAll(const ArrayInput* inputs, std::size_t inputCount, const ArrayOutput* outputs,
                 std::size_t outputCount);
    // Binding, in this order. Each calls `refuse` and returns false if something does not fit.
    bool bindInput(const ArrayInput& input);
    bool bindField(const ArrayInput& input, std::int32_t number);
    bool bindOutput(const ArrayOutput& output);
    bool isEverythingBound();
    bool fieldsFit();
    bool uniformsFit();
    bool settleShape();
    bool takeShape(const ArrayView& array, const char* sort, std::string_view name);
    bool memoryFits();
    bool readAndWriteFit(const FieldSource& field, const OutputTarget& output);
    bool outputsFit();
    void simplify();
    /// The program whose instructions are bound: the user's, or the simplified one.
    const FenletProgram& boundProgram() const {
        return simplification ? simplification->result.program : program;
    }
    ProgramFlow& boundFlow() { return simplification ? simplification->flow : flow; }
    /// The instruction of the user's program that an instruction of the bound one comes from.
    std::int32_t originOf(std::int32_t number) const {
        return simplification ? simplification->result.origins[static_cast<std::size_t>(number)]
                              : number;
    }
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
    std::int32_t shapeAxes = -1; ///< -1 until an array has determined the shape
    std::int64_t shape[mostAxes] = {};
    const char* shapeFromSort = ""; ///< the array that determined it
    std::string_view shapeFromName;

    /// The program after it is simplified.
    struct Simplification {
        Simplification(const FenletProgram& given, ProgramFlow& givenFlow,
                       const std::vector<std::int32_t>& newOutputs)
            : outputs(newOutputs),
              result(simplifyExamined(given, givenFlow, outputs)),
              flow(result.program, ProgramFlow::Verified{}) {}

        std::vector<std::int32_t> outputs; ///< the registers that it computes
        SimplifiedProgram result;
        ProgramFlow flow;
    };
    std::unique_ptr<Simplification> simplification; ///< null if the program runs as it is

    /// A place that holds one value during the whole run, and the step that fills it.
    struct Constancy {
        std::uint32_t place;
        BoundStep step;
        std::int32_t uniform; ///< index into `uniformBytes`, -1 for a constant
    };

    std::vector<BoundStep> steps;
    std::vector<PlaceHome> homes; ///< by place
    std::vector<Moving> moving;
    std::vector<Constancy> constants;
    std::vector<BlockScratch> uniformBytes;
    std::int64_t scratchBytes = 0;
};

} // namespace Fenlet
