// Turning a bound program into a flat list of steps.
#pragma once

#include "array_plan.h"

#include <cstddef>
#include <vector>

namespace Fenlet {

/// Decides where each register's values and validity lie, and writes the list of steps. Used once,
/// for one `prepare`.
class StepBinder {
  public:
    explicit StepBinder(ArrayPlan& newPlan);

    /// Fills the plan's steps, places and memory. Answers false after the plan's `refuse`.
    bool bind();

  private:
    /// Where something lies.
    struct Home {
        enum class Kind {
            Nowhere, ///< validity: every element has a value
            Scratch, ///< `offset` bytes for each element into the scratch
            Moving,  ///< an array, from `start` on
            Varying, ///< wherever a step says, another place for each block
        };
        Kind kind = Kind::Nowhere;
        std::int64_t offset = 0;
        unsigned char* start = nullptr;
        std::int64_t bytes = 0; ///< of an element, in an array

        bool operator==(const Home& other) const {
            return kind == other.kind && offset == other.offset && start == other.start;
        }
    };
    /// A register, or one of the places that no register has.
    struct Value {
        Home data;
        Home validity;
        bool neverUnknown = false; ///< a Tribool register that holds nothing but 0 and 1
        bool isGivenBack = false;  ///< its scratch may already serve another register
        std::int64_t bytes = 0;    ///< of an element's values
    };
    /// Scratch that nobody uses at the moment.
    struct Gap {
        std::int64_t offset;
        std::int64_t bytes;
    };

    using RegisterFlow = ProgramFlow::RegisterFlow;

    static std::uint32_t placeOf(std::int32_t number) {
        return static_cast<std::uint32_t>(number) + 1;
    }
    Value& valueOf(std::int32_t number) { return values[placeOf(number)]; }
    bool asksProvider(const Instruction& instruction) const;
    bool isOutput(std::int32_t number) const;
    bool meetsOutput(const FieldSource& field, std::int32_t number) const;

    void findNeeds();
    void findTouches();
    void bindInstruction(std::int32_t number);
    void bindConstant(const BoundStep& step, const Instruction& instruction);
    void bindUniform(const BoundStep& step, const Instruction& instruction);
    void bindField(BoundStep step, const Instruction& instruction);
    bool locateField(BoundStep step, const Instruction& instruction, FieldSource& field);
    bool lendField(const Instruction& instruction, const FieldSource& field);
    void bindArithmetic(BoundStep step, const Instruction& instruction);
    void bindComparison(BoundStep step, const Instruction& instruction);
    void bindLogic(BoundStep step, const Instruction& instruction);
    void bindSelect(BoundStep step, const Instruction& instruction);

    // Where results go.
    void placeResult(const BoundStep& step);
    bool placeInOutput(const BoundStep& step);
    bool mayWriteBehind(const BoundStep& step, const OutputTarget& output) const;
    void releaseOperands(const Instruction& instruction, std::int32_t number);
    std::int64_t takeScratch(std::int64_t bytes);
    std::int64_t takeShared(std::int64_t bytes);
    std::uint32_t addPlace(std::int64_t bytes);

    // Validity.
    void shareValidity(const BoundStep& step);
    void ownValidity(const BoundStep& step);
    void noValidity(const BoundStep& step);
    void emit(BoundStep step, BoundStep::Run run);

    bool settleOutputs();
    void settleMemory();

    ArrayPlan& plan;
    const FenletProgram& program;
    ProgramFlow& flow;
    std::vector<Value> values; ///< by place
    std::vector<Gap> gaps;
    std::int64_t scratchBytes = 0;     ///< for each element
    std::int64_t constantBytes = 0;    ///< of these, such as are read only
    std::uint32_t discarded = noPlace; ///< whose data takes validity bytes that nobody reads
    std::int32_t lastDecline = -1;     ///< the last instruction that asks a provider
};

} // namespace Fenlet
