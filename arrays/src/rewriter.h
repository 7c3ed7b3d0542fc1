// A program while it is rewritten: what has been written so far, and what is known of it.
#pragma once

#include "program_flow.h"
#include "value_facts.h"

#include <fenletarrays/simplify.h>

#include <cstdint>
#include <vector>

namespace Fenlet {

/// Writes the new program instruction by instruction, in the order of the given one. Operands of a
/// new instruction are registers of the new program.
class Rewriter {
  public:
    /// The given program must be sound. `flow` belongs to it, and knows which of its instructions
    /// are needed. Both are borrowed.
    Rewriter(const FenletProgram& given, const ProgramFlow& flow,
             const std::vector<std::int32_t>& outputs);

    /// Takes the next needed instruction of the given program.
    void take(std::int32_t number);
    /// Leaves an instruction of the given program out.
    void drop(std::int32_t number, const char* rule) {
        simplified.rewrites.push_back({rule, number});
    }
    SimplifiedProgram finish() { return std::move(simplified); }

    // What rules ask. A register must be one that an instruction before this one has written.

    /// The one instruction that writes the register; null if several do.
    const Instruction* writerOf(std::int32_t number) const;
    /// The constant that the register holds; null if it is not known to hold one.
    const Constant* constantIn(std::int32_t number) const;
    /// Whether the register keeps its value: a single instruction writes it.
    bool isStable(std::int32_t number) const { return registers[place(number)].isStable; }
    /// Whether a single instruction reads the register, and its values are not wanted otherwise.
    bool isReadOnce(std::int32_t number) const {
        return registers[place(number)].reads == 1 && !registers[place(number)].isWanted;
    }
    const ValueFacts& factsOf(std::int32_t number) const { return registers[place(number)].facts; }
    CpuElementKind kindOf(std::int32_t number) const { return registers[place(number)].kind; }
    RegisterFormat formatOf(std::int32_t number) const {
        return simplified.program.registers[place(number)].format;
    }
    /// The number of components.
    std::int32_t widthOf(std::int32_t number) const {
        return simplified.program.registers[place(number)].multiplicity;
    }

    // What rules do with the instruction in hand.

    /// Its result has the values and presence of this register, which has the same number of
    /// components. Returns false if nothing is gained by that.
    bool becomeCopy(Instruction& instruction, std::int32_t source);
    /// It loads a constant.
    void becomeConstant(Instruction& instruction, Constant value);

  private:
    struct RegisterState {
        CpuElementKind kind = CpuElementKind::Unsupported;
        bool isStable = false;
        bool isWanted = false;
        std::int32_t reads = 0;              ///< by needed instructions of the given program
        std::int32_t writer = -1;            ///< in the new program
        std::int32_t sameAs = noRegister;    ///< the register that is read instead
        std::int32_t narrowed = noRegister;  ///< the register with the only component that is read
        std::int32_t onlyComponent = unread; ///< that component's number
        ValueFacts facts;
    };
    // Values of `onlyComponent` besides the numbers of components.
    static constexpr std::int32_t unread = -1;
    static constexpr std::int32_t several = -2;

    static std::size_t place(std::int32_t number) { return static_cast<std::size_t>(number); }
    RegisterState& stateOf(std::int32_t number) { return registers[place(number)]; }

    void countReads();
    void findOnlyComponents();
    void readComponents(const Instruction& instruction);
    bool worksByComponent(const Instruction& instruction) const;
    void learnFacts(const FenletProgram& program, const Instruction& instruction);
    std::int32_t addRegister(std::int32_t like);
    std::int32_t componentOf(std::int32_t number, std::int32_t component);
    void narrow(Instruction instruction);
    void write(Instruction instruction);
    bool applyRules(Instruction& instruction);
    bool joinEarlier(Instruction& instruction);
    bool isPure(const Instruction& instruction) const;
    void emit(const Instruction& instruction);
    void note(const char* rule) { simplified.rewrites.push_back({rule, current}); }

    const FenletProgram& given;
    const ProgramFlow& flow;
    std::vector<RegisterState> registers;
    std::vector<std::int32_t> earlier; ///< a hash table of new instructions, -1 where it is empty
    std::int32_t current = -1;         ///< the given instruction that is being rewritten
    SimplifiedProgram simplified;
};

/// A rule: looks at an instruction and at what is known, and rewrites it. Returns whether it did.
struct RewriteRule {
    const char* name;
    bool (*apply)(Rewriter& rewriter, Instruction& instruction);
};

/// The rules for a single instruction, in the order in which they are tried.
extern const RewriteRule rewriteRules[];
extern const int rewriteRuleCount;

/// Computes the result of an instruction whose operands are all constants. Returns false if it
/// cannot be a constant.
bool foldConstants(const Rewriter& rewriter, const Instruction& instruction, RegisterFormat format,
                   Constant& value);

inline bool isComparison(OpCode op) {
    return op >= OpCode::Less && op <= OpCode::NotEqual;
}

inline bool isArithmetic(OpCode op) {
    return op >= OpCode::Add && op <= OpCode::Divide;
}

} // namespace Fenlet
