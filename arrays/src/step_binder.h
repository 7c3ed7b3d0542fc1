// Turns a bound program into a flat list of steps.
#pragma once

#include "array_plan.h"
#include "register_facts.h"

#include <cstddef>
#include <deque>
#include <vector>

namespace Fenlet {

/// Decides where each register's values and validity lie, and makes the list of steps. An object
/// serves one `prepare`.
class StepBinder {
  public:
    explicit StepBinder(ArrayPlan& newPlan);

    /// Sets the plan's steps, places and memory. If an output does not fit, calls the plan's
    /// `refuse` and returns false.
    bool bind();

  private:
    /// Where values or validity lie.
    struct Home {
        enum class Kind {
            Nowhere, ///< values: not decided yet; validity: every element has a value
            Scratch, ///< in the scratch, `offset` times the block's capacity from its start
            Moving,  ///< in an array whose element 0 is at `start`
            Varying, ///< where a step decides, in each block
        };
        Kind kind = Kind::Nowhere;
        std::int64_t offset = 0;
        unsigned char* start = nullptr;
        std::int64_t bytes = 0; ///< of an element's values, if they lie in an array

        bool operator==(const Home& other) const {
            return kind == other.kind && offset == other.offset && start == other.start;
        }
    };
    /// A place: that of a register, or one that a step needs besides.
    struct Value {
        Home data;
        Home validity;
        bool isGivenBack = false; ///< its scratch may already serve another register
        std::int64_t bytes = 0;   ///< of an element's values
    };
    /// Scratch that was given back and is free. Both numbers count bytes for each element.
    struct Gap {
        std::int64_t offset;
        std::int64_t bytes;
    };

    using RegisterFlow = ProgramFlow::RegisterFlow;

    static std::uint32_t placeOf(std::int32_t number) {
        return static_cast<std::uint32_t>(number) + 1;
    }
    Value& valueOf(std::int32_t number) { return values[placeOf(number)]; }
    bool liesInArray(std::uint32_t place) const;
    bool asksProvider(const Instruction& instruction) const;
    bool isOutput(std::int32_t number) const;
    bool meetsOutput(const FieldSource& field, std::int32_t number) const;

    void findNeeds();
    void findTouches();
    void countDropped();
    void bindInstruction(std::int32_t number);
    void bindConstant(const BoundStep& step, const Instruction& instruction);
    void bindUniform(const BoundStep& step, const Instruction& instruction);
    void bindField(BoundStep step, const Instruction& instruction);
    bool locateField(BoundStep step, const Instruction& instruction, FieldSource& field);
    bool gatherField(BoundStep step, const Instruction& instruction, FieldSource& field);
    bool lendField(const Instruction& instruction, const FieldSource& field);
    bool bindDivision(BoundStep step, const Instruction& instruction);
    void bindArithmetic(BoundStep step, const Instruction& instruction);
    bool joinsStepBefore(BoundStep& step, const Instruction& instruction);
    bool joinsComparisonBefore(BoundStep& step, const Instruction& instruction);
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
    RegisterFacts facts;
    std::deque<Value> values; ///< by place
    std::vector<Gap> gaps;
    std::int64_t scratchBytes = 0;     ///< for each element
    std::int64_t constantBytes = 0;    ///< how many of them hold constants and uniforms
    std::uint32_t discarded = noPlace; ///< a place for validity bytes that are not read
    std::int32_t lastDecline = -1;     ///< the last instruction that asks a provider
};

} // namespace Fenlet
